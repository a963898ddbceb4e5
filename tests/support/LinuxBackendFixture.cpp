#include "tests/support/LinuxBackendFixture.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

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

LinuxBackendFixture::Texts LinuxBackendFixture::texts(const std::vector<std::string>& paths) const {
    Texts result;
    for (const std::string& path : paths) {
        result.emplace_back(path, mTree.read(path));
    }
    return result;
}

void LinuxBackendFixture::expectTexts(const Texts& expected) const {
    for (const auto& file : expected) {
        EXPECT_EQ(mTree.read(file.first), file.second) << file.first;
    }
}

int LinuxBackendFixture::logged(const LogCapture& log, int priority, const std::string& part) {
    int n = 0;
    for (const LogLine& line : log.lines()) {
        n += line.priority == priority && line.text.find(part) != std::string::npos;
    }
    return n;
}

std::string LinuxBackendFixture::summary(const LogCapture& log) {
    std::string found;
    for (const LogLine& line : log.lines()) {
        found = line.text.compare(0, 7, "found: ") == 0 ? line.text : found;
    }
    return found;
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
