#pragma once

#include <android/log.h>

#define DLOG(...) __android_log_print(ANDROID_LOG_VERBOSE, "WLANDUT", __VA_ARGS__)
