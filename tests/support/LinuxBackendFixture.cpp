#include "tests/support/LinuxBackendFixture.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include "config/Vocabulary.h"

LinuxBackendSettings LinuxBackendFixture::settings(const std::string& description) {
    LinuxBackendSettings result = mTree.settings();
    result.fileOps = mOps;
    result.threadOps = mThreads;
    if (!description.empty()) {
        result.descriptionFile = mTree.writeDescription(description);
    }
    return result;
}

std::unique_ptr<LinuxBackend> LinuxBackendFixture::start(const std::string& description) {
    auto backend = std::make_unique<LinuxBackend>(settings(description));
    EXPECT_EQ(backend->initialize(), 0);
    return backend;
}

Action LinuxBackendFixture::step(int cmdId, int duration,
                                 const std::vector<std::pair<int, int>>& pairs,
                                 const std::vector<std::pair<std::string, std::string>>& items) {
    Action action;
    action.cmdId = cmdId;
    action.name = "test";
    action.duration = duration;
    for (const auto& pair : pairs) {
        const char* name = Vocabulary::nameForTag(pair.first);
        action.tagValues.insert(action.tagValues.end(), {pair.first, pair.second});
        action.keyValues.insert(action.keyValues.end(),
                                {name != nullptr ? name : "tag", std::to_string(pair.second)});
    }
    for (const auto& item : items) {
        action.tagValues.insert(action.tagValues.end(), {Vocabulary::kPlatformItemTag, 1});
        action.keyValues.insert(action.keyValues.end(), {item.first, item.second});
    }
    action.tagCount = static_cast<int>(action.tagValues.size() / 2);
    return action;
}

int LinuxBackendFixture::begin(PerfBackend& backend, const Action& action) {
    int payload = 0;
    return backend.doAction(&action, 1, &payload);
}

int LinuxBackendFixture::end(PerfBackend& backend, const Action& action) {
    int payload = Vocabulary::kEnd;
    return backend.doAction(&action, 1, &payload);
}

int LinuxBackendFixture::set(PerfBackend& backend, const std::vector<std::pair<int, int>>& pairs) {
    std::vector<int> tags;
    std::vector<int> values;
    for (const auto& pair : pairs) {
        tags.push_back(pair.first);
        values.push_back(pair.second);
    }
    return backend.setConfig(static_cast<int>(tags.size()), tags.data(), values.data());
}

int LinuxBackendFixture::get(PerfBackend& backend, int tag) {
    int value = -99;
    EXPECT_EQ(backend.getConfig(1, &tag, &value), 0);
    return value;
}

std::string LinuxBackendFixture::cpu(int policy, const char* bound) {
    return std::string(FakeKernelTree::kPolicyDir) + std::to_string(policy) + "/scaling_" + bound +
           "_freq";
}

std::string LinuxBackendFixture::gpu(const char* bound) {
    return std::string("/sys/class/devfreq/13000000.mali/") + bound + "_freq";
}

std::string LinuxBackendFixture::trip(int k) {
    return std::string(FakeKernelTree::kZoneDir) + "0/trip_point_" + std::to_string(k) + "_temp";
}

bool LinuxBackendFixture::applyThenCrash(const LinuxBackendSettings& settings,
                                         const std::function<bool(LinuxBackend&)>& apply) {
    int ready[2];
    if (pipe(ready) != 0) {
        return false;
    }
    pid_t child = fork();
    if (child == 0) {
        LinuxBackend backend(settings);
        int ok = backend.initialize() == 0 && apply(backend);
        (void)!write(ready[1], &ok, sizeof(ok));
        pause();
        _exit(0);
    }
    close(ready[1]);
    int ok = 0;
    bool answered =
        child > 0 && read(ready[0], &ok, sizeof(ok)) == static_cast<ssize_t>(sizeof(ok));
    close(ready[0]);
    if (child > 0) {
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
    }
    return answered && ok == 1;
}
