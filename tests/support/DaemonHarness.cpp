#include "tests/support/DaemonHarness.h"

#include <fstream>
#include <sstream>

const char kBriskd[] = BRISK_BINARY_DIR "/tools/briskd/briskd";
const char kBriskctl[] = BRISK_BINARY_DIR "/tools/briskctl/briskctl";

void put32(Bytes& out, uint32_t v) {
    for (int shift = 0; shift < 32; shift += 8) {
        out.push_back(static_cast<uint8_t>(v >> shift));
    }
}

Bytes frame(uint16_t type, const Bytes& body, uint16_t version) {
    Bytes out = {'B',
                 'R',
                 'S',
                 'K',
                 static_cast<uint8_t>(version),
                 static_cast<uint8_t>(version >> 8),
                 static_cast<uint8_t>(type),
                 static_cast<uint8_t>(type >> 8)};
    put32(out, static_cast<uint32_t>(body.size()));
    out.insert(out.end(), body.begin(), body.end());
    return out;
}

Bytes ints(std::initializer_list<int32_t> values) {
    Bytes out;
    for (int32_t v : values) {
        put32(out, static_cast<uint32_t>(v));
    }
    return out;
}

Bytes text(const std::string& s) {
    Bytes out;
    put32(out, static_cast<uint32_t>(s.size()));
    out.insert(out.end(), s.begin(), s.end());
    return out;
}

Bytes concat(std::initializer_list<Bytes> parts) {
    Bytes out;
    for (const Bytes& part : parts) {
        out.insert(out.end(), part.begin(), part.end());
    }
    return out;
}

std::string readFile(const std::string& path) {
    std::ifstream in(path);
    std::stringstream all;
    all << in.rdbuf();
    return all.str();
}

std::vector<std::string> splitLines(const std::string& all) {
    std::vector<std::string> lines;
    std::istringstream in(all);
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
    }
    return lines;
}

// What arrives on `fd` until its end; "<no end>" when it does not end in time.
std::string readToEnd(int fd, int ms) {
    std::string all;
    char buffer[4096];
    for (;;) {
        pollfd p{fd, POLLIN, 0};
        if (poll(&p, 1, ms) <= 0) {
            return "<no end>";
        }
        ssize_t n = read(fd, buffer, sizeof(buffer));
        if (n <= 0) {
            return all;
        }
        all.append(buffer, static_cast<size_t>(n));
    }
}
