#pragma once

#include <sys/types.h>

#include <map>
#include <string>
#include <vector>

#include "server/ServiceStatus.h"

class JsonWriter;

// What the daemon itself says in a status: who it is and what it was started on.
struct DaemonFacts {
    pid_t pid = 0;
    std::string version;  // the release of briskd
    std::string socket;
    std::string configuration;  // the file the service read
    std::vector<std::string> policyFiles;
    size_t allowRules = 0;  // --allow rules beside the files
    std::string backend;
    long long startedAt = 0;  // CLOCK_MONOTONIC seconds
};

// The JSON documents of the status and command-list requests (format 1, as
// docs/briskd.md documents them field by field): built from the service's and
// the back-end's read-only views and the daemon's own facts.
class StatusDocument {
public:
    static constexpr int kFormat = 1;

    static std::string status(const DaemonFacts& facts, int serviceVersion,
                              const ServiceStatus& service,
                              const std::vector<ServiceStatus::Command>& commands);
    static std::string commands(const std::vector<ServiceStatus::Command>& commands);

private:
    using Names = std::map<int, std::string>;

    static void daemon(JsonWriter& json, const DaemonFacts& facts);
    static void serviceFlags(JsonWriter& json, int version, const ServiceStatus& service);
    static void backendNodes(JsonWriter& json, const ServiceStatus& service, const Names& names);
    static void holders(JsonWriter& json, const BackendStatus::Node& node,
                        const ServiceStatus& service, const Names& names);
    static void frequency(JsonWriter& json, const ServiceStatus& service, const Names& names);
    static void scheduling(JsonWriter& json, const ServiceStatus& service);
    static void scenes(JsonWriter& json, const ServiceStatus& service, const Names& names);
    static void actions(JsonWriter& json, const ServiceStatus& service, const Names& names);
    static void threads(JsonWriter& json, const ServiceStatus& service);
};
