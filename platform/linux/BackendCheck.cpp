#include "platform/linux/BackendCheck.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "config/Vocabulary.h"
#include "freq/FreqTags.h"
#include "platform/linux/DescriptionReader.h"
#include "platform/linux/KernelFile.h"
#include "platform/linux/NodeArbiter.h"
#include "platform/linux/NodeTable.h"
#include "platform/linux/PlatformDiscovery.h"
#include "platform/linux/SystemFileOps.h"

namespace {
struct Tally {
    int unusable = 0;
    int rootOnly = 0;
};

// One file: its current text and whether it opens for writing.
std::string describeFile(KernelFile* file, FileOps& ops, Tally* tally) {
    std::string now;
    std::string line = file->path();
    line += file->read(&now) == 0 ? " now \"" + now + "\"" : " (unreadable)";
    int r = file->probeWritable();
    if (r != 0) {
        ++tally->unusable;
        return line + ": cannot open for writing: " + strerror(-r);
    }
    struct stat info {};
    if (ops.stat(file->path(), &info) == 0 && info.st_uid == 0 && (info.st_mode & 022) == 0) {
        ++tally->rootOnly;
    }
    return line + ": writable";
}
}  // namespace

bool BackendCheck::run(std::vector<std::string>* report) {
    std::shared_ptr<FileOps> ops =
        mSettings.fileOps != nullptr ? mSettings.fileOps : std::make_shared<SystemFileOps>();
    KernelReader reader(*ops, mSettings.kernelRoot);
    report->push_back("Linux back-end check (nothing is changed); kernel root " +
                      mSettings.kernelRoot + ", state folder " + mSettings.stateDir);
    BackendDescription description;
    std::string error;
    if (mSettings.descriptionFile.empty()) {
        report->push_back("description: none, discovery alone");
    } else if (!DescriptionReader::readFile(*ops, mSettings.descriptionFile, &description,
                                            &error)) {
        report->push_back("error: " + error);
        return false;
    } else {
        report->push_back("description: " + mSettings.descriptionFile);
    }
    MachineLayout layout;
    Journal journal(*ops, mSettings.stateDir);  // never locked nor written here
    JournalRecord record;
    NodeArbiter arbiter(reader, journal, record);
    NodeTable table;
    if (!PlatformDiscovery(reader, description).discover(&layout, &error) ||
        !table.build(layout, description.fileName, arbiter, &error)) {
        report->push_back("error: " + error);
        return false;
    }
    report->push_back(layout.summary());
    if (journal.load(&record, &error) != -ENOENT) {
        report->push_back("note: " + journal.path() +
                          " holds what an earlier run changed; briskd --restore puts it back");
    }
    Tally tally;
    for (int tag : NodeTable::handledTags()) {
        const char* name = Vocabulary::nameForTag(tag);
        std::string head = "tag " + std::to_string(tag) + " " + (name ? name : "") + " (" +
                           NodeTable::unitOf(tag) + "): ";
        const std::vector<KernelNode*>& nodes = *table.nodesFor(tag);
        if (nodes.empty()) {
            auto why = layout.tagMissing.find(tag);
            bool named = tag == BRISK_TAG_FORK_ON_BIG_CLUSTER && description.fork.given;
            tally.unusable += named ? 1 : 0;
            report->push_back(head + "nothing to write: " +
                              (why != layout.tagMissing.end() ? why->second : "absent"));
        }
        for (KernelNode* node : nodes) {
            report->push_back(head + describeFile(node->file(), *ops, &tally));
        }
    }
    for (const ItemInfo& item : layout.items) {
        bool known = false;
        KernelNode* node = table.item(item.name, &known);
        std::string head = "item " + item.name + ": ";
        if (node == nullptr) {
            ++tally.unusable;
            auto why = layout.itemMissing.find(item.name);
            report->push_back(head + (why != layout.itemMissing.end() ? why->second : "absent"));
        } else {
            report->push_back(head + describeFile(node->file(), *ops, &tally) +
                              (item.writeAtEnd ? ", \"" + item.endText + "\" at its end"
                                               : ", its original back at its end"));
        }
    }
    if (geteuid() == 0) {
        report->push_back(
            "warning: running as root, which can write files that the service's own user "
            "cannot: " +
            std::to_string(tally.rootOnly) +
            " of the files above are writable by root alone (docs/linux-backend.md, "
            "Permissions)");
    }
    report->push_back(tally.unusable == 0
                          ? "result: every capability found or described can be written"
                          : "result: " + std::to_string(tally.unusable) + " cannot be written");
    return tally.unusable == 0;
}
