// The service's entry points: one server, initialised over the simulated device
// with a configuration that covers every route, takes a sequence of calls decoded
// from the input: events, client requests, reads, dumps and version requests with
// arbitrary ids, messages, lengths, payloads, clients, tags and counts, and
// failures of the device's next calls. Lengths never exceed the arrays passed (a
// host's promise); a null array may come with any length.
//
// The server lives for the whole run, as in a host. Its probe worker is stopped
// after start-up so that every run of an input does the same (the worker boosts on
// a timer), and the probe queues and the device's record are emptied after each
// input so that they do not grow with the run.
#include <fuzzer/FuzzedDataProvider.h>

#include <cstdlib>
#include <memory>

#include "platform/sim/SimDevice.h"
#include "tests/fuzz/CallPicker.h"
#include "tests/fuzz/FuzzHost.h"
#include "tests/support/ServerHarness.h"

namespace {
constexpr size_t kMostCalls = 64;
constexpr size_t kMostValues = 12;
constexpr int kMostFaults = 3;

InspectableServer& server() {
    static InspectableServer* instance = [] {
        FuzzHost::quietOutputs();
        static TempConfig config = TempConfig::withCommands(fullTestConfig());
        auto* created = new InspectableServer();
        if (created->init() != BriskServer::kResultOk) {
            abort();  // the harness is broken, not the service
        }
        created->stopProbeWorker(false);
        return created;
    }();
    return *instance;
}

// A pointer to the array, or null (then any length may come with it).
template <typename T>
T* arrayOrNull(FuzzedDataProvider& in, std::vector<T>& array) {
    return in.ConsumeIntegralInRange<int>(0, 15) == 0 ? nullptr : array.data();
}

// The length of two parallel arrays of `size` elements: at most `size` while
// either is passed, anything when both are null.
int length(FuzzedDataProvider& in, CallPicker& pick, const int* tags, const int* values,
           size_t size) {
    if (tags == nullptr && values == nullptr) {
        return in.ConsumeIntegral<int>();
    }
    return pick.length(size, true);
}

void event(FuzzedDataProvider& in, CallPicker& pick) {
    const int cmdId = pick.cmdId();
    const bool noMessage = in.ConsumeIntegralInRange<int>(0, 15) == 0;
    const std::string msg = pick.message();
    std::vector<int> payload = pick.values(kMostValues);
    const int* values = arrayOrNull(in, payload);
    const unsigned int len = values == nullptr
                                 ? in.ConsumeIntegral<unsigned int>()
                                 : static_cast<unsigned int>(pick.length(payload.size(), false));
    server().briskEvent(cmdId, noMessage ? nullptr : msg.c_str(), len, values);
}

void setConfig(FuzzedDataProvider& in, CallPicker& pick) {
    const int clientId = pick.clientId();
    std::vector<int> tags = pick.tags(kMostValues);
    std::vector<int> configs(tags.size());
    for (int& config : configs) {
        config = pick.value();
    }
    const int* tagArray = arrayOrNull(in, tags);
    const int* configArray = arrayOrNull(in, configs);
    server().briskSetConfig(clientId, length(in, pick, tagArray, configArray, tags.size()),
                            tagArray, configArray);
}

void getConfig(FuzzedDataProvider& in, CallPicker& pick) {
    std::vector<int> tags = pick.tags(kMostValues);
    std::vector<int> configs(tags.size());
    const int* tagArray = arrayOrNull(in, tags);
    int* configArray = arrayOrNull(in, configs);
    server().briskGetConfig(length(in, pick, tagArray, configArray, tags.size()), tagArray,
                            configArray);
}

void dump(FuzzedDataProvider& in, CallPicker& pick) {
    // /dev/null, no descriptor, or one that is not open.
    const int fds[] = {FuzzHost::nullFd(), -1, 1000};
    const int fd = fds[in.ConsumeIntegralInRange<size_t>(0, 2)];
    server().dumpBriskServerInfo(fd, pick.dumpArgs());
}

void fault(FuzzedDataProvider& in) {
    const auto op = static_cast<SimCall::Op>(
        in.ConsumeIntegralInRange<int>(0, static_cast<int>(SimCall::Op::SetProbeTarget)));
    const int code = in.ConsumeBool() ? -1 : in.ConsumeIntegral<int>();
    SimDevice::instance().failNext(op, code, in.ConsumeIntegralInRange<int>(1, kMostFaults));
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    InspectableServer& service = server();
    FuzzedDataProvider in(data, size);
    CallPicker pick(in);
    for (size_t calls = 0; calls < kMostCalls && in.remaining_bytes() > 0; ++calls) {
        switch (in.ConsumeIntegralInRange<int>(0, 5)) {
            case 0:
                event(in, pick);
                break;
            case 1:
                setConfig(in, pick);
                break;
            case 2:
                getConfig(in, pick);
                break;
            case 3:
                dump(in, pick);
                break;
            case 4:
                fault(in);
                break;
            default:
                service.briskGetVersion();
                break;
        }
    }
    // Faults not taken would carry over into the next input.
    SimDevice::instance().reset();
    FuzzHost::forgetProbes(service.mProbeHandler);
    return 0;
}
