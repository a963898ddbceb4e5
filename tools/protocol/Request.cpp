#include "tools/protocol/Request.h"

#include "tools/protocol/WireReader.h"
#include "tools/protocol/WireWriter.h"

namespace {
constexpr size_t kIntSize = 4;
// "4096 bytes", for the messages.
std::string textLimit() {
    return std::to_string(Protocol::kMaxTextSize) + " bytes";
}

bool readInts(WireReader& reader, uint32_t count, std::vector<int32_t>* out) {
    out->resize(count);
    for (uint32_t i = 0; i < count; ++i) {
        if (!reader.getI32(&(*out)[i])) {
            return false;
        }
    }
    return true;
}

bool decodeEvent(WireReader& reader, Request* out, std::string* error) {
    uint32_t count = 0;
    if (!reader.getI32(&out->cmdId) || !reader.getText(&out->msg, Protocol::kMaxTextSize)) {
        *error = "event: truncated command id or message (message limit " + textLimit() + ")";
        return false;
    }
    if (out->msg.find('\0') != std::string::npos) {
        *error = "event: message holds a NUL byte";
        return false;
    }
    if (!reader.getCount(&count, kIntSize) || !readInts(reader, count, &out->values)) {
        *error = "event: payload count does not match the values sent";
        return false;
    }
    return true;
}

bool decodeSetConfig(WireReader& reader, Request* out, std::string* error) {
    uint32_t count = 0;
    if (!reader.getI32(&out->clientId) || !reader.getCount(&count, 2 * kIntSize)) {
        *error = "set: pair count does not match the pairs sent";
        return false;
    }
    out->tags.resize(count);
    out->values.resize(count);
    for (uint32_t i = 0; i < count; ++i) {
        if (!reader.getI32(&out->tags[i]) || !reader.getI32(&out->values[i])) {
            *error = "set: truncated pair";
            return false;
        }
    }
    return true;
}

bool decodeGetConfig(WireReader& reader, Request* out, std::string* error) {
    uint32_t count = 0;
    if (!reader.getCount(&count, kIntSize) || !readInts(reader, count, &out->tags)) {
        *error = "get: tag count does not match the tags sent";
        return false;
    }
    return true;
}

bool decodeDump(WireReader& reader, Request* out, std::string* error) {
    uint32_t count = 0;
    if (!reader.getCount(&count, kIntSize) || count > Protocol::kMaxDumpArgs) {
        *error = "dump: bad argument count (limit " + std::to_string(Protocol::kMaxDumpArgs) + ")";
        return false;
    }
    out->args.resize(count);
    for (uint32_t i = 0; i < count; ++i) {
        if (!reader.getText(&out->args[i], Protocol::kMaxTextSize)) {
            *error = "dump: truncated or too long argument (limit " + textLimit() + ")";
            return false;
        }
    }
    return true;
}
}  // namespace

std::vector<uint8_t> Request::encodeBody() const {
    WireWriter writer;
    switch (type) {
        case RequestType::Event:
            writer.putI32(cmdId);
            writer.putText(msg);
            writer.putU32(static_cast<uint32_t>(values.size()));
            for (int32_t value : values) {
                writer.putI32(value);
            }
            break;
        case RequestType::SetConfig:
            writer.putI32(clientId);
            writer.putU32(static_cast<uint32_t>(tags.size()));
            for (size_t i = 0; i < tags.size(); ++i) {
                writer.putI32(tags[i]);
                writer.putI32(i < values.size() ? values[i] : 0);
            }
            break;
        case RequestType::GetConfig:
            writer.putU32(static_cast<uint32_t>(tags.size()));
            for (int32_t tag : tags) {
                writer.putI32(tag);
            }
            break;
        case RequestType::Dump:
            writer.putU32(static_cast<uint32_t>(args.size()));
            for (const std::string& arg : args) {
                writer.putText(arg);
            }
            break;
        case RequestType::Version:
        case RequestType::Status:
        case RequestType::Commands:
            break;
    }
    return writer.take();
}

bool Request::checkLimits(std::string* error) const {
    if (msg.size() > Protocol::kMaxTextSize) {
        *error = "the message is " + std::to_string(msg.size()) +
                 " bytes long, over the protocol's limit of " + textLimit();
        return false;
    }
    if (args.size() > Protocol::kMaxDumpArgs) {
        *error = std::to_string(args.size()) + " arguments, over the protocol's limit of " +
                 std::to_string(Protocol::kMaxDumpArgs);
        return false;
    }
    for (size_t i = 0; i < args.size(); ++i) {
        if (args[i].size() > Protocol::kMaxTextSize) {
            *error = "argument " + std::to_string(i + 1) + " is " + std::to_string(args[i].size()) +
                     " bytes long, over the protocol's limit of " + textLimit();
            return false;
        }
    }
    size_t bodySize = encodeBody().size();
    if (bodySize > Protocol::kMaxBodySize) {
        size_t count = type == RequestType::Event ? values.size() : tags.size();
        const char* items = type == RequestType::Event       ? "values"
                            : type == RequestType::SetConfig ? "pairs"
                                                             : "tags";
        *error = std::to_string(count) + " " + items + " make a request body of " +
                 std::to_string(bodySize) + " bytes, over the protocol's limit of " +
                 std::to_string(Protocol::kMaxBodySize) + " bytes";
        return false;
    }
    return true;
}

bool Request::decodeBody(RequestType type, const std::vector<uint8_t>& body, Request* out,
                         std::string* error) {
    *out = Request();
    out->type = type;
    WireReader reader(body.data(), body.size());
    bool ok = true;
    switch (type) {
        case RequestType::Event:
            ok = decodeEvent(reader, out, error);
            break;
        case RequestType::SetConfig:
            ok = decodeSetConfig(reader, out, error);
            break;
        case RequestType::GetConfig:
            ok = decodeGetConfig(reader, out, error);
            break;
        case RequestType::Dump:
            ok = decodeDump(reader, out, error);
            break;
        case RequestType::Version:
        case RequestType::Status:
        case RequestType::Commands:
            break;
    }
    if (ok && !reader.atEnd()) {
        *error = "bytes left over after the request";
        ok = false;
    }
    return ok;
}
