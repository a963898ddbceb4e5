#pragma once

#include <cstdio>
#include <string>

#include "tools/protocol/Reply.h"
#include "tools/protocol/Request.h"

// Prints a reply the way briskctl shows it, as text or as JSON, and chooses the
// exit status.
class ReplyPrinter {
public:
    static constexpr int kExitOk = 0;
    static constexpr int kExitResult = 1;  // the service answered with a result other than 0
    static constexpr int kExitUsage = 2;
    static constexpr int kExitUnreachable = 3;
    static constexpr int kExitDenied = 4;
    static constexpr int kExitRefused = 5;

    explicit ReplyPrinter(bool json) : mJson(json) {}

    // Results and values go to `out`; a refusal goes to `err` as one line.
    // `dumpText` is the dump read back for --json (a plain dump went straight
    // to standard output).
    int print(const Request& request, const Reply& reply, FILE* out, FILE* err,
              const std::string& dumpText = std::string()) const;

    // What a result means for this request ("the configuration has no command 150").
    static std::string meaning(const Request& request, int result);

private:
    void printResult(const Request& request, const Reply& reply, FILE* out) const;
    // False (with a line on `err`) for a document that cannot be read.
    bool printDocument(const Request& request, const Reply& reply, FILE* out, FILE* err) const;

    bool mJson;
};
