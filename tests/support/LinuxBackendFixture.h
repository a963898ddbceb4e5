#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/linux/LinuxBackend.h"
#include "tests/support/BackendStep.h"
#include "tests/support/FakeKernelTree.h"
#include "tests/support/FakeThreadOps.h"
#include "tests/support/FaultyFileOps.h"
#include "tests/support/LogCapture.h"

// A Linux back-end over a fake big.LITTLE tree, with the fault-injecting layer.
class LinuxBackendFixture : public ::testing::Test {
protected:
    using Texts = std::vector<std::pair<std::string, std::string>>;  // (kernel path, text)

    void SetUp() override { mTree.buildBigLittle(); }

    LinuxBackendSettings settings(const std::string& description = "");
    // A back-end over the tree, initialised (the test fails if it is not).
    std::unique_ptr<LinuxBackend> start(const std::string& description = "");

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

    // The files' texts now, and a check that each file has the text given.
    Texts texts(const std::vector<std::string>& paths) const;
    void expectTexts(const Texts& expected) const;
    // The writes that landed in the tree, in order (see FaultyFileOps::writeLog).
    std::vector<std::string> writes() const { return mOps->writeLog(mTree.root()); }
    // Log lines at `priority` that contain `part`; the summary line ("found: ...")
    // of the last initialize.
    static int logged(const LogCapture& log, int priority, const std::string& part);
    static std::string summary(const LogCapture& log);

    FakeKernelTree mTree;
    std::shared_ptr<FaultyFileOps> mOps = std::make_shared<FaultyFileOps>();
    // No test touches a real thread unless it says so.
    std::shared_ptr<FakeThreadOps> mThreads = std::make_shared<FakeThreadOps>();
};
