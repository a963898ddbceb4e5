#pragma once

// Functions of the device's own libraries that the service only calls. On a
// device they come from the customisation and jank-log libraries; on Linux the
// brisk_plat library supplies stand-ins.
#include <cstddef>

// The size of the buffer that receives the configuration's path: a path holds at
// most one byte less.
constexpr size_t kCfgPathBufferSize = 128;

extern "C" {
// Resolves `relativePath` to a readable configuration file, writing the path into
// `buffer` (kCfgPathBufferSize bytes). Returns `buffer`, or null when no file was
// found.
char* get_one_cfg_file(const char* relativePath, int type, char* buffer);

// Writes one record to the system's jank event log.
// NOLINTNEXTLINE(bugprone-reserved-identifier): the device library's own name.
int __zqlog_jank_print(int level, int eventId, const char* format, ...)
    __attribute__((format(printf, 3, 4)));
}
