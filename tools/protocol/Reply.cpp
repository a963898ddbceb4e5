#include "tools/protocol/Reply.h"

#include "tools/protocol/WireReader.h"
#include "tools/protocol/WireWriter.h"

std::vector<uint8_t> Reply::encodeBody() const {
    WireWriter writer;
    writer.putI32(static_cast<int32_t>(status));
    writer.putText(message);
    writer.putI32(result);
    writer.putU32(static_cast<uint32_t>(values.size()));
    for (int32_t value : values) {
        writer.putI32(value);
    }
    if (!document.empty()) {
        writer.putText(document);
    }
    return writer.take();
}

bool Reply::decodeBody(const std::vector<uint8_t>& body, Reply* out) {
    *out = Reply();
    WireReader reader(body.data(), body.size());
    int32_t status = 0;
    uint32_t count = 0;
    if (!reader.getI32(&status) || !reader.getText(&out->message, Protocol::kMaxTextSize) ||
        !reader.getI32(&out->result) || !reader.getCount(&count, 4)) {
        return false;
    }
    out->status = static_cast<Status>(status);
    out->values.resize(count);
    for (uint32_t i = 0; i < count; ++i) {
        if (!reader.getI32(&out->values[i])) {
            return false;
        }
    }
    // A document, when there is one, is never empty: an empty one is sent as none.
    if (!reader.atEnd() &&
        (!reader.getText(&out->document, Protocol::kMaxDocumentSize) || out->document.empty())) {
        return false;
    }
    return reader.atEnd();
}
