#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

// The briskd request/reply protocol, version 1, shared by the daemon and its
// clients. Every message is a frame: a 12-byte header (magic "BRSK", version,
// type, body length; all integers little-endian) followed by the body. The
// layout of each body is documented in docs/protocol.md.
struct Protocol {
    static constexpr uint8_t kMagic[4] = {'B', 'R', 'S', 'K'};
    static constexpr uint16_t kVersion = 1;
    static constexpr size_t kHeaderSize = 12;

    // Limits. A request whose body exceeds kMaxBodySize is refused before it is
    // read; the other limits are checked while its body is decoded.
    static constexpr uint32_t kMaxBodySize = 16384;
    // Replies may be larger: a get returns one value per tag asked for, a status
    // or command list a document.
    static constexpr uint32_t kMaxReplyBodySize = 1 << 20;
    static constexpr uint32_t kMaxDocumentSize = kMaxReplyBodySize - 1024;
    static constexpr uint32_t kMaxTextSize = 4096;
    static constexpr uint32_t kMaxDumpArgs = 16;
    // At most this many descriptors are taken from one request; more are closed.
    static constexpr size_t kMaxPassedFds = 4;

    // The options a dump takes, one at a time, for messages.
    static constexpr const char* kDumpOptions =
        "--help, --logon, --logoff, --freqlist, --easgrouplist";

    // The reply to a request of type T has the type T | kReplyFlag.
    static constexpr uint16_t kReplyFlag = 0x8000;

    static constexpr const char* kDefaultSocketPath = "/run/brisk/briskd.sock";
    // The environment variable that names another default socket.
    static constexpr const char* kSocketVariable = "BRISK_SOCKET";
    // $BRISK_SOCKET when set and not empty, else kDefaultSocketPath.
    static std::string defaultSocketPath();
};

enum class RequestType : uint16_t {
    Event = 1,      // briskEvent
    SetConfig = 2,  // briskSetConfig
    GetConfig = 3,  // briskGetConfig
    Dump = 4,       // dumpBriskServerInfo on the descriptor passed with the request
    Version = 5,    // briskGetVersion
    Status = 6,     // what the service holds now, as a JSON document
    Commands = 7,   // the configured commands with their names and routes, as JSON
};

// What the daemon made of a request. Only Ok carries an entry point's result.
enum class Status : int32_t {
    Ok = 0,
    PermissionDenied = 1,
    BadRequest = 2,          // malformed body, or not a briskd frame at all
    UnsupportedVersion = 3,  // header version other than kVersion
    TooLarge = 4,            // body longer than kMaxBodySize
    UnknownRequest = 5,      // request type not known to this daemon
    Busy = 6,                // connection limit reached
    DumpBlocked = 7,         // the dump descriptor did not take the text in time
    DumpFailed = 8,          // the dump text could not be written to the descriptor
};

// A short English name of a status ("permission denied"), for messages.
const char* statusName(Status status);
// True when `type` names one of the request types above.
bool isKnownRequestType(uint16_t type);
