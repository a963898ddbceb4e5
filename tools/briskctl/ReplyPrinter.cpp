#include "tools/briskctl/ReplyPrinter.h"

#include "config/Vocabulary.h"

int ReplyPrinter::print(const Request& request, const Reply& reply, FILE* out, FILE* err) {
    if (reply.status != Status::Ok) {
        const char* name = statusName(reply.status);
        if (reply.message.empty()) {
            fprintf(err, "briskctl: %s\n", name);
        } else {
            fprintf(err, "briskctl: %s\n", reply.message.c_str());
        }
        return reply.status == Status::PermissionDenied ? kExitDenied : kExitRefused;
    }
    switch (request.type) {
        case RequestType::Dump:
            return kExitOk;  // the text went straight to our standard output
        case RequestType::Version:
            fprintf(out, "version %d\n", reply.result);
            return kExitOk;
        case RequestType::GetConfig:
            fprintf(out, "result %d\n", reply.result);
            if (reply.result == 0) {
                for (size_t i = 0; i < request.tags.size() && i < reply.values.size(); ++i) {
                    const char* name = Vocabulary::nameForTag(request.tags[i]);
                    if (name != nullptr) {
                        fprintf(out, "%s %d\n", name, reply.values[i]);
                    } else {
                        fprintf(out, "%d %d\n", request.tags[i], reply.values[i]);
                    }
                }
            }
            break;
        case RequestType::Event:
        case RequestType::SetConfig:
            fprintf(out, "result %d\n", reply.result);
            break;
    }
    return reply.result == 0 ? kExitOk : kExitResult;
}
