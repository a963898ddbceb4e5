#pragma once

#include <android/log.h>

// The daemon's own lines go to the Android log (standard error under briskd)
// under this tag; the service logs under its own.
#define BRISKD_LOG_TAG "briskd"

#define BRISKD_LOGE(...) __android_log_print(ANDROID_LOG_ERROR, BRISKD_LOG_TAG, __VA_ARGS__)
#define BRISKD_LOGW(...) __android_log_print(ANDROID_LOG_WARN, BRISKD_LOG_TAG, __VA_ARGS__)
#define BRISKD_LOGI(...) __android_log_print(ANDROID_LOG_INFO, BRISKD_LOG_TAG, __VA_ARGS__)
#define BRISKD_LOGD(...) __android_log_print(ANDROID_LOG_DEBUG, BRISKD_LOG_TAG, __VA_ARGS__)
