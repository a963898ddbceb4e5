#pragma once

#include <climits>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

class KernelFile;

// Who holds a value on a node: the frequency manager (through setConfig), or one
// command's request (doAction), told apart per probed thread.
struct HolderKey {
    int cmdId;
    int instance;
    bool operator==(const HolderKey& o) const { return cmdId == o.cmdId && instance == o.instance; }
    bool operator!=(const HolderKey& o) const { return !(*this == o); }
    bool operator<(const HolderKey& o) const {
        return cmdId != o.cmdId ? cmdId < o.cmdId : instance < o.instance;
    }
};

// The frequency manager's holder and the scheduling manager's; no command has
// these ids.
constexpr HolderKey kManagerHolder{INT_MIN, 0};
constexpr HolderKey kSchedHolder{INT_MIN + 1, 0};

struct Holder {
    HolderKey key;
    long long value = 0;  // in the file's unit
    std::string text;     // what a Latest node writes for this holder
    uint64_t seq = 0;     // when it began; the latest wins on a Latest node
};

// What a node wants written: a number formatted into `number`, or a view of a
// holder's or the node's own text (valid until its holders change).
struct WantedText {
    char number[24];
    std::string_view text;
};

class KernelNode;

// What puts one holder of a node back as it was before a hold or a release.
struct HolderUndo {
    KernelNode* node = nullptr;
    HolderKey key{0, 0};
    bool existed = false;    // the key held the node before
    bool textSaved = false;  // old.text holds the text before (else it did not change)
    Holder old;
};

// How a node combines its holders.
enum class NodeRole {
    Floor,    // the highest positive value, never above the partner ceiling in force
    Ceiling,  // the lowest positive value
    Latest,   // the most recently begun holder
};

// One file and every holder's value for it. With no holder the file's original
// comes back (or, for a platform item that says so, its end text).
class KernelNode {
public:
    KernelNode(NodeRole role, KernelFile* file, long long scale)
        : mRole(role), mFile(file), mScale(scale) {}

    NodeRole role() const { return mRole; }
    KernelFile* file() const { return mFile; }
    long long scale() const { return mScale; }
    KernelNode* partner() const { return mPartner; }
    // Floor and ceiling of one pair of bounds.
    static void pair(KernelNode* floor, KernelNode* ceiling);
    // A platform item that writes `text` when its last holder goes.
    void setEndText(std::string text);

    const std::vector<Holder>& holders() const { return mHolders; }
    // Adds or replaces `key`'s holder (a value in the file's unit); for a Latest
    // node, `text` is what it writes. `undo` receives what reverses it. False,
    // changing nothing (not even when it began), when `key` already holds just that.
    bool hold(HolderKey key, long long value, std::string_view text, uint64_t seq,
              HolderUndo* undo);
    // Removes `key`'s holder, if any; `undo` receives what reverses it.
    void release(HolderKey key, HolderUndo* undo);
    // Reverses one hold or release (the newest first, when there are several).
    void revert(HolderUndo* undo);

    // The text the file should hold now. False when the original should come back
    // (no holder and no end text).
    bool wanted(WantedText* out);
    // The numeric value in force: held, else the original; false when unknown.
    bool valueInForce(long long* value);

private:
    bool heldValue(long long* value) const;
    // The held value, a floor cut to the ceiling in force; false without holder.
    bool heldInForce(long long* value) const;
    const Holder* latest() const;

    NodeRole mRole;
    KernelFile* mFile;
    long long mScale;
    KernelNode* mPartner = nullptr;
    bool mHasEndText = false;
    std::string mEndText;
    std::vector<Holder> mHolders;
};
