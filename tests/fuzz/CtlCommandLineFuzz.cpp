// briskctl's command line: the input is the argument list, one argument per line
// (a NUL ends an argument too: no argument of a real command line holds one).
// A line that parses into a request must make a request that the daemon decodes
// back into the same request and that fits the protocol's limits; a line that
// does not must say why.
#include <cstdlib>

#include "tests/fuzz/FuzzHost.h"
#include "tools/briskctl/CtlCommandLine.h"

namespace {
constexpr size_t kMostArgs = 64;

std::vector<std::string> arguments(const std::string& text) {
    std::vector<std::string> args;
    size_t start = 0;
    while (start <= text.size() && args.size() < kMostArgs) {
        size_t end = text.find_first_of(std::string("\n\0", 2), start);
        if (end == std::string::npos) {
            end = text.size();
        }
        args.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    return args;
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const CtlCommandLine line = CtlCommandLine::parse(arguments(FuzzHost::text(data, size)));
    if (line.outcome != CtlCommandLine::Outcome::Run) {
        if (line.text.empty()) {
            abort();  // help and usage errors have their text
        }
        return 0;
    }
    std::string error;
    const std::vector<uint8_t> body = line.request.encodeBody();
    Request decoded;
    if (!line.request.checkLimits(&error) ||
        !Request::decodeBody(line.request.type, body, &decoded, &error) ||
        decoded.encodeBody() != body) {
        abort();
    }
    return 0;
}
