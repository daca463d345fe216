// Log tags of the factory layers; every line goes to the Android log at
// verbose priority.
#pragma once

#include <android/log.h>

#define TAG_SERVICE_IF "FACTORY_SERVICE_IF"
#define TAG_THREAD "FACTORY_THREAD"
#define TAG_SERVICE_UTIL "FACTORY_SERVICE_UTIL"
#define TAG_COMMAND_HANDLER "COMMAND_HANDLER"

#define FLOG(tag, ...) __android_log_print(ANDROID_LOG_VERBOSE, tag, __VA_ARGS__)
