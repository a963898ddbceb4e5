#pragma once

#include <android/log.h>

// Every line the service logs goes to the Android log under this one tag.
#define BRISK_LOG_TAG "brisk server"

#define BRISK_LOGE(...) __android_log_print(ANDROID_LOG_ERROR, BRISK_LOG_TAG, __VA_ARGS__)
#define BRISK_LOGW(...) __android_log_print(ANDROID_LOG_WARN, BRISK_LOG_TAG, __VA_ARGS__)
#define BRISK_LOGI(...) __android_log_print(ANDROID_LOG_INFO, BRISK_LOG_TAG, __VA_ARGS__)
#define BRISK_LOGD(...) __android_log_print(ANDROID_LOG_DEBUG, BRISK_LOG_TAG, __VA_ARGS__)
