#pragma once

#include <string>
#include <vector>

#include "platform/BackendStatus.h"
#include "server/EventRouter.h"

// A read-only picture of what the service holds at one moment, filled by
// BriskServer::readStatus for hosts that show it (briskd's status request).
// Nothing of the service changes when it is taken.
struct ServiceStatus {
    struct Scene {
        int cmdId;
        int priority;  // 0 when the scene has none in the priority map
    };
    struct TagValue {
        int tag;
        int value;
    };
    // A client's last request per limit tag; tags it never set are left out.
    struct ClientLimits {
        int clientId;
        std::vector<TagValue> limits;
    };
    // A floor or ceiling that a running event holds.
    struct EventLimit {
        int cmdId;
        int tag;
        int value;
    };
    // One scheduling group's levels: in force, the defaults and each client's.
    struct GroupLevels {
        int tag;
        int current;
        int defaults;
        int dusk;
        int fern;
        int moss;
    };
    // A configured command as its first step routes it.
    struct Command {
        int cmdId;
        std::string name;
        int duration;  // EventRouter::kNoStep for a command without steps
        EventRouter::Route route;
    };

    bool inited = false;
    bool verboseLog = false;
    int appliedScene = 0;             // 0: none
    std::vector<Scene> activeScenes;  // ascending ids, the applied one included
    std::vector<ClientLimits> clients;
    std::vector<TagValue> combined;  // the clients' combined value per limit tag
    std::vector<EventLimit> eventLimits;
    bool reportingOn = false;
    std::vector<GroupLevels> groups;
    std::vector<unsigned int> boostedThreads;
    std::vector<unsigned int> waitingThreads;  // started work, not boosted yet
    // The back-end's own view, when it offers one (BackendStatusSource).
    BackendStatus backend;
};
