#include "tools/protocol/Protocol.h"

#include <cstdlib>

constexpr uint8_t Protocol::kMagic[4];

const char* statusName(Status status) {
    switch (status) {
        case Status::Ok:
            return "ok";
        case Status::PermissionDenied:
            return "permission denied";
        case Status::BadRequest:
            return "bad request";
        case Status::UnsupportedVersion:
            return "unsupported protocol version";
        case Status::TooLarge:
            return "request too large";
        case Status::UnknownRequest:
            return "unknown request";
        case Status::Busy:
            return "daemon busy";
        case Status::DumpBlocked:
            return "dump output blocked";
        case Status::DumpFailed:
            return "dump output failed";
    }
    return "unknown status";
}

bool isKnownRequestType(uint16_t type) {
    return type >= static_cast<uint16_t>(RequestType::Event) &&
           type <= static_cast<uint16_t>(RequestType::Commands);
}

std::string Protocol::defaultSocketPath() {
    const char* path = getenv(kSocketVariable);
    return path != nullptr && path[0] != '\0' ? path : kDefaultSocketPath;
}
