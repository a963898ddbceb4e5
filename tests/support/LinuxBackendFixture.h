#pragma once

#include <gtest/gtest.h>

#include <functional>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "config/Action.h"
#include "platform/linux/LinuxBackend.h"
#include "tests/support/FakeKernelTree.h"
#include "tests/support/FakeThreadOps.h"
#include "tests/support/FaultyFileOps.h"

// A Linux back-end over a fake big.LITTLE tree, with the fault-injecting layer.
class LinuxBackendFixture : public ::testing::Test {
protected:
    void SetUp() override { mTree.buildBigLittle(); }

    LinuxBackendSettings settings(const std::string& description = "");
    // A back-end over the tree, initialised (the test fails if it is not).
    std::unique_ptr<LinuxBackend> start(const std::string& description = "");

    // A step as the configuration gives it: numeric pairs, then platform items
    // (tag 10) with their name and text.
    static Action step(int cmdId, int duration, const std::vector<std::pair<int, int>>& pairs,
                       const std::vector<std::pair<std::string, std::string>>& items = {});
    static int begin(PerfBackend& backend, const Action& action);
    static int end(PerfBackend& backend, const Action& action);
    static int set(PerfBackend& backend, const std::vector<std::pair<int, int>>& pairs);
    static int get(PerfBackend& backend, int tag);
    // Runs `apply` in a child process with a back-end of `settings` and kills it
    // with SIGKILL once `apply` has answered: a back-end that never restores.
    // True when the back-end started and `apply` succeeded.
    static bool applyThenCrash(const LinuxBackendSettings& settings,
                               const std::function<bool(LinuxBackend&)>& apply);

    // Kernel paths of the tree.
    static std::string cpu(int policy, const char* bound);  // "min" or "max"
    static std::string gpu(const char* bound);
    static std::string trip(int k);

    // The writes that landed in the tree, in order (see FaultyFileOps::writeLog).
    std::vector<std::string> writes() const { return mOps->writeLog(mTree.root()); }

    FakeKernelTree mTree;
    std::shared_ptr<FaultyFileOps> mOps = std::make_shared<FaultyFileOps>();
    // No test touches a real thread unless it says so.
    std::shared_ptr<FakeThreadOps> mThreads = std::make_shared<FakeThreadOps>();
};
