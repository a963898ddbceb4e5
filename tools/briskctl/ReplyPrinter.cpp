#include "tools/briskctl/ReplyPrinter.h"

#include "config/Vocabulary.h"
#include "tools/briskctl/CommandList.h"
#include "tools/briskctl/StatusPrinter.h"
#include "tools/protocol/JsonReader.h"
#include "tools/protocol/JsonWriter.h"

namespace {
const char* requestName(RequestType type) {
    switch (type) {
        case RequestType::Event:
            return "event";
        case RequestType::SetConfig:
            return "set";
        case RequestType::GetConfig:
            return "get";
        case RequestType::Dump:
            return "dump";
        case RequestType::Version:
            return "version";
        case RequestType::Status:
            return "status";
        case RequestType::Commands:
            return "commands";
    }
    return "request";
}
}  // namespace

std::string ReplyPrinter::meaning(const Request& request, int result) {
    if (request.type == RequestType::Event && result == Vocabulary::kResultParseFailed) {
        return "the configuration has no command " + std::to_string(request.cmdId);
    }
    if (result == Vocabulary::kResultExecutorFailed) {
        switch (request.type) {
            case RequestType::SetConfig:
                return "the request was refused (a value out of range, or the device failed)";
            case RequestType::GetConfig:
                return "the device could not read the values";
            default:
                break;
        }
    }
    const char* text = Vocabulary::resultMeaning(result);
    return text != nullptr ? text : "the device's own failure code";
}

int ReplyPrinter::print(const Request& request, const Reply& reply, FILE* out, FILE* err,
                        const std::string& dumpText) const {
    if (reply.status != Status::Ok) {
        const char* name = statusName(reply.status);
        fprintf(err, "briskctl: %s\n", reply.message.empty() ? name : reply.message.c_str());
        return reply.status == Status::PermissionDenied ? kExitDenied : kExitRefused;
    }
    switch (request.type) {
        case RequestType::Dump:
            if (mJson) {
                JsonWriter json;
                json.beginObject();
                json.field("request", "dump");
                json.field("option", request.args.empty() ? std::string() : request.args[0]);
                json.field("text", dumpText);
                json.endObject();
                fputs(json.take().c_str(), out);
            }
            return kExitOk;  // without --json the text went straight to standard output
        case RequestType::Version:
            if (mJson) {
                JsonWriter json;
                json.beginObject();
                json.field("request", "version");
                json.field("version", reply.result);
                json.endObject();
                fputs(json.take().c_str(), out);
            } else {
                fprintf(out, "version %d\n", reply.result);
            }
            return kExitOk;
        case RequestType::Status:
        case RequestType::Commands:
            return printDocument(request, reply, out, err) ? kExitOk : kExitRefused;
        case RequestType::Event:
        case RequestType::SetConfig:
        case RequestType::GetConfig:
            printResult(request, reply, out);
            break;
    }
    return reply.result == 0 ? kExitOk : kExitResult;
}

void ReplyPrinter::printResult(const Request& request, const Reply& reply, FILE* out) const {
    const bool values = request.type == RequestType::GetConfig && reply.result == 0;
    const size_t count = values ? std::min(request.tags.size(), reply.values.size()) : 0;
    if (!mJson) {
        fprintf(out, "result %d: %s\n", reply.result, meaning(request, reply.result).c_str());
        for (size_t i = 0; i < count; ++i) {
            const char* name = Vocabulary::nameForTag(request.tags[i]);
            const std::string tag = name != nullptr ? name : std::to_string(request.tags[i]);
            fprintf(out, "%s %d\n", tag.c_str(), reply.values[i]);
        }
        return;
    }
    JsonWriter json;
    json.beginObject();
    json.field("request", requestName(request.type));
    if (request.type == RequestType::Event) {
        json.field("command", request.cmdId);
    } else if (request.type == RequestType::SetConfig) {
        json.field("client", request.clientId);
    }
    json.field("result", reply.result);
    json.field("meaning", meaning(request, reply.result));
    if (request.type == RequestType::GetConfig) {
        json.key("values");
        json.beginArray();
        for (size_t i = 0; i < count; ++i) {
            json.beginObject();
            json.field("tag", request.tags[i]);
            json.field("name", Vocabulary::nameForTag(request.tags[i]));
            json.field("value", reply.values[i]);
            json.endObject();
        }
        json.endArray();
    }
    json.endObject();
    fputs(json.take().c_str(), out);
}

bool ReplyPrinter::printDocument(const Request& request, const Reply& reply, FILE* out,
                                 FILE* err) const {
    Json document;
    std::string error;
    if (!parseJson(reply.document, &document, &error)) {
        fprintf(err, "briskctl: the daemon's %s cannot be read: %s\n", requestName(request.type),
                error.c_str());
        return false;
    }
    if (mJson) {
        fputs(reply.document.c_str(), out);
        return true;
    }
    if (request.type == RequestType::Status) {
        StatusPrinter::print(document, out);
    } else {
        CommandList(document).print(out);
    }
    return true;
}
