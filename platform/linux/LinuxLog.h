#pragma once

#include <android/log.h>

// The Linux back-end logs under a tag of its own, so that an operator can tell
// what the machine refused from what the service decided.
#define BRISK_LINUX_LOG_TAG "brisk linux"

#define LINUX_LOGE(...) __android_log_print(ANDROID_LOG_ERROR, BRISK_LINUX_LOG_TAG, __VA_ARGS__)
#define LINUX_LOGW(...) __android_log_print(ANDROID_LOG_WARN, BRISK_LINUX_LOG_TAG, __VA_ARGS__)
#define LINUX_LOGI(...) __android_log_print(ANDROID_LOG_INFO, BRISK_LINUX_LOG_TAG, __VA_ARGS__)
