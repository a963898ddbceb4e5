#pragma once

#include <string>
#include <vector>

// What a back-end shows of itself for a status view, read without changing it:
// what it found on the machine, each node it writes with the value in force,
// the original and who holds it, and the commands whose actions it holds.
// Values are texts as the back-end keeps them (numbers in the configuration's
// units where the node is numeric); empty when unknown.
struct BackendStatus {
    // One holder of a node as the back-end sees it: one of the service's
    // managers (the frequency manager's combined client and event limits through
    // setConfig, the scheduling manager's levels through doSchedLevelAction) or
    // one command's action (doAction).
    struct Holder {
        bool manager = false;
        int cmdId = 0;  // the command, when not a manager
        std::string value;
    };
    struct Node {
        int tag = 0;       // the tag it serves; 0 for a platform item
        std::string item;  // a platform item's name
        std::string file;  // the file written; empty on the simulated device
        std::string unit;
        std::string value;     // in force now
        std::string original;  // before the back-end's first write
        std::vector<Holder> holders;
    };

    std::string name;                // "sim", "linux"
    std::vector<std::string> facts;  // what it found, one line each
    std::vector<Node> nodes;
    std::vector<int> heldCommands;  // commands whose begun actions it holds, ascending
};
