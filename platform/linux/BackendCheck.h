#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/linux/BackendDescription.h"
#include "platform/linux/LinuxBackendSettings.h"
#include "platform/linux/MachineLayout.h"

class GroupLevels;
class KernelFile;
class KernelReader;
class NodeTable;

// What the Linux back-end would do on this machine, found without changing
// anything: what discovery found, what each tag, platform item and scheduling
// group maps to (file, unit, current value), which files it could not open for
// writing and why, and how threads would be boosted.
class BackendCheck {
public:
    explicit BackendCheck(const LinuxBackendSettings& settings) : mSettings(settings) {}

    // True when every capability that is there or that the description names can
    // be written. The report is one line per finding.
    bool run(std::vector<std::string>* report);

private:
    void checkTags(const NodeTable& table);
    void checkItems(const NodeTable& table);
    void checkGroups(const GroupLevels& groups);
    void checkBoosts(const KernelReader& reader);
    // One file: its current text and whether it opens for writing.
    std::string describeFile(KernelFile* file);

    const LinuxBackendSettings& mSettings;
    std::shared_ptr<FileOps> mOps;
    BackendDescription mDescription;
    MachineLayout mLayout;
    std::vector<std::string>* mReport = nullptr;
    int mUnusable = 0;
    int mRootOnly = 0;
};
