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

std::string fields(const Json* object, std::initializer_list<const char*> keys) {
    std::string out;
    for (const char* key : keys) {
        const Json* v = object == nullptr ? nullptr : object->get(key);
        if (v == nullptr || v->type == Json::Type::Null ||
            (v->type == Json::Type::String && v->text.empty())) {
            continue;
        }
        out += out.empty() ? "" : " ";
        if (v->type == Json::Type::Number) {
            out += std::to_string(static_cast<long long>(v->number));
        } else if (v->type == Json::Type::Bool) {
            out += v->boolean ? "true" : "false";
        } else {
            out += v->text;
        }
    }
    return out;
}

std::string eachFields(const Json* array, std::initializer_list<const char*> keys) {
    std::string out;
    for (size_t i = 0; array != nullptr && i < array->items.size(); ++i) {
        out += (i == 0 ? "" : "; ") + fields(&array->items[i], keys);
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

ChildAs::ChildAs(uid_t uid, const std::function<void(ChildAs&)>& body) {
    if (pipe2(mReport, O_CLOEXEC) != 0 || pipe2(mRelease, O_CLOEXEC) != 0) {
        return;
    }
    mPid = fork();
    if (mPid == 0) {
        close(mReport[0]);
        close(mRelease[1]);
        if (setgroups(0, nullptr) != 0 || setgid(uid) != 0 || setuid(uid) != 0) {
            _exit(126);
        }
        body(*this);
        _exit(0);
    }
    close(mReport[1]);
    close(mRelease[0]);
    mReport[1] = mRelease[0] = -1;
}

ChildAs::~ChildAs() {
    for (int fd : {mReport[0], mReport[1], mRelease[0], mRelease[1]}) {
        if (fd >= 0) {
            close(fd);
        }
    }
    if (mPid > 0) {
        waitpid(mPid, nullptr, 0);
    }
}
