#pragma once

#include <cstdio>

#include "tools/protocol/Reply.h"
#include "tools/protocol/Request.h"

// Prints a reply the way briskctl shows it and chooses the exit status.
class ReplyPrinter {
public:
    static constexpr int kExitOk = 0;
    static constexpr int kExitResult = 1;  // the service answered with a result other than 0
    static constexpr int kExitUsage = 2;
    static constexpr int kExitUnreachable = 3;
    static constexpr int kExitDenied = 4;
    static constexpr int kExitRefused = 5;

    // Results and values go to `out`; a refusal goes to `err` as one line.
    static int print(const Request& request, const Reply& reply, FILE* out, FILE* err);
};
