/* Visibility marker for the symbols that libwlbtfactory.so exports. Everything
 * else in the library is built with hidden visibility. */
#pragma once

#if defined(__GNUC__)
#define WLBT_API __attribute__((visibility("default")))
#else
#define WLBT_API
#endif
