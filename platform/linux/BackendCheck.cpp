#include "platform/linux/BackendCheck.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "config/Vocabulary.h"
#include "freq/FreqTags.h"
#include "platform/linux/CapabilityNotes.h"
#include "platform/linux/CgroupDiscovery.h"
#include "platform/linux/DescriptionReader.h"
#include "platform/linux/GroupLevels.h"
#include "platform/linux/KernelFile.h"
#include "platform/linux/NodeArbiter.h"
#include "platform/linux/NodeTable.h"
#include "platform/linux/PlatformDiscovery.h"
#include "platform/linux/SchedLadder.h"
#include "platform/linux/SystemFileOps.h"
#include "platform/linux/ThreadOps.h"

namespace {
// Present on kernels built with util clamping of tasks.
const char kUclampSysctl[] = "/proc/sys/kernel/sched_util_clamp_min";
}  // namespace

std::string BackendCheck::describeFile(KernelFile* file) {
    std::string now;
    std::string line = file->path();
    line += file->read(&now) == 0 ? " now \"" + now + "\"" : " (unreadable)";
    int r = file->probeWritable();
    if (r != 0) {
        ++mUnusable;
        return line + ": cannot open for writing: " + strerror(-r);
    }
    struct stat info {};
    if (mOps->stat(file->path(), &info) == 0 && info.st_uid == 0 && (info.st_mode & 022) == 0) {
        ++mRootOnly;
    }
    return line + ": writable";
}

bool BackendCheck::run(std::vector<std::string>* report) {
    mReport = report;
    mOps = mSettings.fileOps != nullptr ? mSettings.fileOps : std::make_shared<SystemFileOps>();
    KernelReader reader(*mOps, mSettings.kernelRoot);
    report->push_back("Linux back-end check (nothing is changed); kernel root " +
                      mSettings.kernelRoot + ", state folder " + mSettings.stateDir);
    std::string error;
    if (mSettings.descriptionFile.empty()) {
        report->push_back("description: none, discovery alone");
    } else if (!DescriptionReader::readFile(*mOps, mSettings.descriptionFile, &mDescription,
                                            &error)) {
        report->push_back("error: " + error);
        return false;
    } else {
        report->push_back("description: " + mSettings.descriptionFile);
    }
    Journal journal(*mOps, mSettings.stateDir);  // never locked nor written here
    JournalRecord record;
    NodeArbiter arbiter(reader, journal, record);
    NodeTable table;
    CapabilityNotes notes(mDescription, mLayout, table);
    SchedLadder ladder;
    GroupLevels groups(mLayout.cgroups, ladder, arbiter, notes);
    if (!PlatformDiscovery(reader, mDescription).discover(&mLayout, &error) ||
        !CgroupDiscovery(reader, mDescription).discover(&mLayout.cgroups, &error) ||
        !table.build(mLayout, mDescription.fileName, arbiter, &error) || !groups.build(&error)) {
        report->push_back("error: " + error);
        return false;
    }
    report->push_back(mLayout.summary());
    if (journal.load(&record, &error) != -ENOENT) {
        report->push_back("note: " + journal.path() +
                          " holds what an earlier run changed; briskd --restore puts it back");
    }
    checkTags(table);
    checkItems(table);
    checkGroups(groups);
    checkBoosts(reader);
    if (geteuid() == 0) {
        report->push_back(
            "warning: running as root, which can write files that the service's own user "
            "cannot: " +
            std::to_string(mRootOnly) +
            " of the files above are writable by root alone (docs/linux-backend.md, "
            "Permissions)");
    }
    report->push_back(mUnusable == 0
                          ? "result: every capability found or described can be written"
                          : "result: " + std::to_string(mUnusable) + " cannot be written");
    return mUnusable == 0;
}

void BackendCheck::checkTags(const NodeTable& table) {
    for (int tag : NodeTable::handledTags()) {
        const char* name = Vocabulary::nameForTag(tag);
        std::string head = "tag " + std::to_string(tag) + " " + (name ? name : "") + " (" +
                           NodeTable::unitOf(tag) + "): ";
        const std::vector<KernelNode*>& nodes = *table.nodesFor(tag);
        if (nodes.empty()) {
            auto why = mLayout.tagMissing.find(tag);
            bool named = tag == BRISK_TAG_FORK_ON_BIG_CLUSTER && mDescription.fork.given;
            mUnusable += named ? 1 : 0;
            mReport->push_back(head + "nothing to write: " +
                               (why != mLayout.tagMissing.end() ? why->second : "absent"));
        }
        for (KernelNode* node : nodes) {
            mReport->push_back(head + describeFile(node->file()));
        }
    }
}

void BackendCheck::checkItems(const NodeTable& table) {
    for (const ItemInfo& item : mLayout.items) {
        bool known = false;
        KernelNode* node = table.item(item.name, &known);
        std::string head = "item " + item.name + ": ";
        if (node == nullptr) {
            ++mUnusable;
            auto why = mLayout.itemMissing.find(item.name);
            mReport->push_back(head + (why != mLayout.itemMissing.end() ? why->second : "absent"));
        } else {
            mReport->push_back(head + describeFile(node->file()) +
                               (item.writeAtEnd ? ", \"" + item.endText + "\" at its end"
                                                : ", its original back at its end"));
        }
    }
}

void BackendCheck::checkGroups(const GroupLevels& groups) {
    for (const GroupLevels::GroupNodes& nodes : groups.nodes()) {
        std::string head =
            "group " + std::to_string(nodes.group->tag) + " " + nodes.group->folder + ": ";
        for (KernelNode* node : {nodes.uclampMin, nodes.uclampMax, nodes.weight}) {
            if (node != nullptr) {
                mReport->push_back(head + describeFile(node->file()));
            }
        }
        if (nodes.uclampMin == nullptr) {
            mReport->push_back(head + "no cpu.uclamp files: levels set the weight alone");
        }
    }
    for (const auto& entry : mLayout.cgroups.missing) {
        // A group the description maps must be there; the others may be absent.
        bool named = false;
        for (const GroupChoice& choice : mDescription.groups) {
            named |= choice.tag == entry.first && !choice.folder.empty();
        }
        mUnusable += named ? 1 : 0;
        mReport->push_back("group " + std::to_string(entry.first) + ": " + entry.second);
    }
}

void BackendCheck::checkBoosts(const KernelReader& reader) {
    const BoostChoice& boost = mDescription.boost;
    std::string line = "thread boosts: ";
    if (reader.exists(reader.path(kUclampSysctl))) {
        line += "util clamp minimum " + std::to_string(boost.uclampMin) + " of " +
                std::to_string(ThreadOps::kMaxClamp);
    } else {
        line += std::string("no util clamping on this kernel (no ") + kUclampSysctl + "): " +
                (boost.niceFallback
                     ? "nice value lowered by " + std::to_string(boost.niceStep) + " instead"
                     : std::string("nothing, as described"));
    }
    mReport->push_back(line + "; boosting another user's threads needs CAP_SYS_NICE");
}
