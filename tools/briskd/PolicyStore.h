#pragma once

#include <sys/types.h>

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "tools/briskd/AccessPolicy.h"

// The access policy in force. Connection threads take the current one per
// request; a re-read (SIGHUP) builds a whole new policy and swaps it in, so a
// request is decided by one policy, never by half of each.
class PolicyStore {
public:
    // Where a policy comes from: files, then --allow rules.
    struct Sources {
        uid_t owner = 0;
        std::vector<std::string> files;
        std::vector<std::string> rules;
    };

    // Reads every source into a new policy; null with `error` set when one is
    // unreadable or wrong (the file and line, the rule).
    static std::shared_ptr<const AccessPolicy> build(const Sources& sources, std::string* error);

    void set(std::shared_ptr<const AccessPolicy> policy);
    std::shared_ptr<const AccessPolicy> current() const;

private:
    mutable std::mutex mMutex;
    std::shared_ptr<const AccessPolicy> mPolicy = std::make_shared<AccessPolicy>();
};
