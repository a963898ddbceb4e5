#pragma once

#include <sys/types.h>

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "tools/briskd/PeerCredentials.h"

// Who may do what, decided from the peer's credentials only. Root (uid 0) and
// the daemon's own user are privileged: they hold every right (either could
// signal or trace the daemon anyway); any other peer holds the rights that a
// rule grants it. Asking for the version needs no right.
class AccessPolicy {
public:
    // Admin: set requests for client ids other than DUSK, FERN, MOSS and the
    // report switch. ProbeAny: probe events for threads of other processes.
    enum class Right { Event, Dusk, Fern, Moss, Get, Dump, Admin, ProbeAny };
    static constexpr size_t kRightCount = 8;

    // One rule: `right` is a right's name, `subjects` a list separated by commas
    // or blanks of "uid:N", "gid:N", "user:NAME", "group:NAME" or "any".
    bool addRule(const std::string& right, const std::string& subjects, std::string* error);
    // "RIGHT=SUBJECT[,SUBJECT...]", as given to --allow.
    bool addOption(const std::string& option, std::string* error);
    // A policy file: one rule per line, "RIGHT SUBJECT ...", '#' starts a comment.
    bool loadFile(const std::string& path, std::string* error);

    // The user the daemon runs as.
    void setOwner(uid_t uid) { mOwner = uid; }

    bool allows(const PeerCredentials& peer, Right right) const;
    // Root or the daemon's user.
    bool isPrivileged(const PeerCredentials& peer) const;

    // The right a set request needs: DUSK, FERN, MOSS for client ids 1, 2, 3;
    // the event right for the report switch (client 0 with the single tag
    // 10000), which event 20225 reaches too; the admin right for anything else.
    static Right rightForSet(int clientId, const std::vector<int32_t>& tags);
    static const char* rightName(Right right);
    static bool rightFromName(const std::string& name, Right* right);
    // What a refused peer is told it may not do ("send events", "act as DUSK").
    static const char* rightAction(Right right);

    // One line per right, for the start-up log.
    std::vector<std::string> describe() const;

private:
    struct Grants {
        bool anyone = false;
        std::vector<uid_t> uids;
        std::vector<gid_t> gids;
    };
    bool addSubject(Grants& grants, const std::string& subject, std::string* error);

    std::array<Grants, kRightCount> mGrants;
    uid_t mOwner = 0;
};
