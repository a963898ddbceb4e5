#pragma once

#include <string>
#include <vector>

#include "tools/protocol/Reply.h"

class BriskServer;

// A client's dump: the service writes its text into a memory file, and the
// daemon copies it to the client's descriptor, checking every write, so that an
// output that takes nothing (a full device), fails or stays blocked past the
// time limit is answered as such instead of as a dump written. A request that
// the service would answer with nothing but a log line (no option, several
// options) is refused before the service sees it.
class DumpOutput {
public:
    static Reply run(BriskServer& server, const std::vector<std::string>& args, int fd,
                     int timeoutMs);

private:
    // Copies what `from` holds to `to`; the reply says how it went.
    static Reply copy(int from, int to, int timeoutMs);
};
