#include "tools/brisk-sim/DumpCapture.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <system_error>
#include <thread>

namespace {
void readAll(int fd, std::string* text) {
    char buffer[4096];
    for (;;) {
        ssize_t n = read(fd, buffer, sizeof(buffer));
        if (n > 0) {
            text->append(buffer, static_cast<size_t>(n));
        } else if (n == 0 || errno != EINTR) {
            return;
        }
    }
}
}  // namespace

bool DumpCapture::capture(const std::function<void(int fd)>& dump, std::string* text,
                          std::string* error) {
    int fds[2];
    if (pipe2(fds, O_CLOEXEC) != 0) {
        *error = std::string("cannot create a pipe: ") + strerror(errno);
        return false;
    }
    text->clear();
    std::thread reader;
    try {
        reader = std::thread(readAll, fds[0], text);
    } catch (const std::system_error& e) {
        close(fds[0]);
        close(fds[1]);
        *error = std::string("cannot start the pipe reader: ") + e.what();
        return false;
    }
    dump(fds[1]);
    close(fds[1]);
    reader.join();
    close(fds[0]);
    return true;
}

std::vector<std::string> DumpCapture::pieces(const std::string& text) {
    std::vector<std::string> out;
    size_t start = 0;
    for (;;) {
        size_t end = text.find('\n', start);
        if (end == std::string::npos) {
            if (start < text.size()) {
                out.push_back(text.substr(start));
            }
            return out;
        }
        out.push_back(text.substr(start, end - start));
        start = end + 1;
    }
}
