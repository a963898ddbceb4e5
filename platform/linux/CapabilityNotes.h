#pragma once

#include <set>
#include <string>

#include "config/Action.h"
#include "platform/linux/BackendDescription.h"
#include "platform/linux/MachineLayout.h"
#include "platform/linux/NodeTable.h"

// What this machine lacks, said once. A tag or platform item with nothing to
// write here is warned about the first time it is asked for and otherwise
// ignored (a configuration may be shared between devices); a description marked
// strict makes it fail the call instead. Tags the back-end does not write at
// all get one warning each.
class CapabilityNotes {
public:
    CapabilityNotes(const BackendDescription& description, const MachineLayout& layout,
                    const NodeTable& table)
        : mDescription(description), mLayout(layout), mTable(table) {}

    // True (after a warning the first time) when `tag`, or platform item `item`
    // when given, has nothing to write on this machine.
    bool absent(int tag, const std::string* item);
    // In strict mode, -ENODEV when any of the request's tags is absent; 0
    // otherwise (and always without strict).
    int strictAbsence(const int* tags, int count);
    // The same for the tags and platform items of a step.
    int strictAbsence(const Action& step);
    // One warning per tag (a negative tag: a message of its own).
    void warnOnce(int tag, const std::string& why);
    // One warning per `key`.
    void warnOnce(const std::string& key, const std::string& message);

private:
    const BackendDescription& mDescription;
    const MachineLayout& mLayout;
    const NodeTable& mTable;
    std::set<std::string> mWarned;
};
