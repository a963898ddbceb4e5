#include "tools/briskd/AccessPolicy.h"

#include <grp.h>
#include <pwd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <fstream>
#include <sstream>

#include "config/Vocabulary.h"

namespace {
struct RightInfo {
    AccessPolicy::Right right;
    const char* name;
    const char* action;
};

const RightInfo kRights[AccessPolicy::kRightCount] = {
    {AccessPolicy::Right::Event, "event", "send events"},
    {AccessPolicy::Right::Dusk, "dusk", "act as DUSK"},
    {AccessPolicy::Right::Fern, "fern", "act as FERN"},
    {AccessPolicy::Right::Moss, "moss", "act as MOSS"},
    {AccessPolicy::Right::Get, "get", "read values"},
    {AccessPolicy::Right::Dump, "dump", "read the dump"},
    {AccessPolicy::Right::Admin, "admin", "act as a client other than DUSK, FERN and MOSS"},
    {AccessPolicy::Right::ProbeAny, "probe_any", "boost threads of other processes"},
};

// Longest policy line read; anything longer is an error.
constexpr size_t kMaxLine = 4096;
// Largest buffer offered to a user or group look-up.
constexpr size_t kMaxEntrySize = 16 << 20;

bool parseId(const std::string& text, unsigned long* id) {
    // (uid_t) -1 means "no id" to the kernel; it is never a real peer.
    long long value = 0;
    if (!Vocabulary::parseDecimal(text, Vocabulary::NumberForm::Digits, 0, UINT_MAX - 1LL,
                                  &value)) {
        return false;
    }
    *id = static_cast<unsigned long>(value);
    return true;
}

// Looks up user or group `name` with getpwnam_r or getgrnam_r and adds its id to
// `ids`, growing the buffer while the entry does not fit (a group of many members
// does not fit a small one). 0 when found, ENOENT when there is no such entry,
// else the look-up's error.
template <typename Entry, typename Id>
int lookUpId(int (*lookUp)(const char*, Entry*, char*, size_t, Entry**), Id Entry::*field,
             const std::string& name, std::vector<Id>* ids) {
    for (std::vector<char> buffer(16384);; buffer.resize(buffer.size() * 2)) {
        Entry entry{};
        Entry* found = nullptr;
        int error = lookUp(name.c_str(), &entry, buffer.data(), buffer.size(), &found);
        if (error == ERANGE && buffer.size() < kMaxEntrySize) {
            continue;
        }
        if (error == 0 && found != nullptr) {
            ids->push_back(found->*field);
        }
        return error != 0 ? error : found != nullptr ? 0 : ENOENT;
    }
}

std::vector<std::string> splitSubjects(const std::string& text) {
    std::vector<std::string> words;
    std::string word;
    for (char c : text) {
        if (c == ',' || c == ' ' || c == '\t') {
            if (!word.empty()) {
                words.push_back(word);
            }
            word.clear();
        } else {
            word += c;
        }
    }
    if (!word.empty()) {
        words.push_back(word);
    }
    return words;
}
}  // namespace

bool AccessPolicy::rightFromName(const std::string& name, Right* right) {
    for (const RightInfo& info : kRights) {
        if (name == info.name) {
            *right = info.right;
            return true;
        }
    }
    return false;
}

const char* AccessPolicy::rightName(Right right) {
    return kRights[static_cast<size_t>(right)].name;
}

const char* AccessPolicy::rightAction(Right right) {
    return kRights[static_cast<size_t>(right)].action;
}

AccessPolicy::Right AccessPolicy::rightForSet(int clientId, const std::vector<int32_t>& tags) {
    switch (clientId) {
        case FREQ_CLIENT_DUSK:
            return Right::Dusk;
        case FREQ_CLIENT_FERN:
            return Right::Fern;
        case FREQ_CLIENT_MOSS:
            return Right::Moss;
        case FREQ_CLIENT_CONTROL:
            return tags.size() == 1 && tags[0] == BRISK_TAG_FREQ_INFO_UPLOAD ? Right::Event
                                                                             : Right::Admin;
        default:
            return Right::Admin;
    }
}

bool AccessPolicy::addSubject(Grants& grants, const std::string& subject, std::string* error) {
    if (subject == "any") {
        grants.anyone = true;
        return true;
    }
    size_t colon = subject.find(':');
    std::string kind = subject.substr(0, colon);
    std::string value = colon == std::string::npos ? std::string() : subject.substr(colon + 1);
    unsigned long id = 0;
    if (kind == "uid" && parseId(value, &id)) {
        grants.uids.push_back(static_cast<uid_t>(id));
        return true;
    }
    if (kind == "gid" && parseId(value, &id)) {
        grants.gids.push_back(static_cast<gid_t>(id));
        return true;
    }
    if ((kind == "user" || kind == "group") && !value.empty()) {
        int failure = kind == "user" ? lookUpId(getpwnam_r, &passwd::pw_uid, value, &grants.uids)
                                     : lookUpId(getgrnam_r, &group::gr_gid, value, &grants.gids);
        if (failure != 0) {
            *error = failure == ENOENT
                         ? "no such " + kind + ": " + value
                         : "cannot look up " + kind + " " + value + ": " + strerror(failure);
            return false;
        }
        return true;
    }
    *error = "bad subject '" + subject + "' (expected uid:N, gid:N, user:NAME, group:NAME or any)";
    return false;
}

bool AccessPolicy::addRule(const std::string& right, const std::string& subjects,
                           std::string* error) {
    Right which;
    if (!rightFromName(right, &which)) {
        std::string names;
        for (const RightInfo& info : kRights) {
            names += names.empty() ? info.name : std::string(", ") + info.name;
        }
        *error = "unknown right '" + right + "' (expected one of " + names + ")";
        return false;
    }
    std::vector<std::string> words = splitSubjects(subjects);
    if (words.empty()) {
        *error = "right '" + right + "' names nobody";
        return false;
    }
    // All subjects are checked before any is granted: a bad rule grants nothing.
    Grants grants = mGrants[static_cast<size_t>(which)];
    for (const std::string& word : words) {
        if (!addSubject(grants, word, error)) {
            return false;
        }
    }
    mGrants[static_cast<size_t>(which)] = grants;
    return true;
}

bool AccessPolicy::addOption(const std::string& option, std::string* error) {
    size_t equals = option.find('=');
    if (equals == std::string::npos) {
        *error = "expected RIGHT=SUBJECT[,SUBJECT...], got '" + option + "'";
        return false;
    }
    return addRule(option.substr(0, equals), option.substr(equals + 1), error);
}

bool AccessPolicy::loadFile(const std::string& path, std::string* error) {
    std::ifstream in(path);
    if (!in) {
        *error = path + ": cannot be read";
        return false;
    }
    std::string line;
    int number = 0;
    while (std::getline(in, line)) {
        ++number;
        std::string where = path + ":" + std::to_string(number) + ": ";
        if (line.size() > kMaxLine) {
            *error = where + "line too long";
            return false;
        }
        size_t hash = line.find('#');
        if (hash != std::string::npos) {
            line.erase(hash);
        }
        std::istringstream words(line);
        std::string right;
        if (!(words >> right)) {
            continue;
        }
        std::string rest;
        std::getline(words, rest);
        std::string reason;
        if (!addRule(right, rest, &reason)) {
            *error = where + reason;
            return false;
        }
    }
    return true;
}

bool AccessPolicy::isPrivileged(const PeerCredentials& peer) const {
    return peer.uid == 0 || peer.uid == mOwner;
}

bool AccessPolicy::allows(const PeerCredentials& peer, Right right) const {
    if (isPrivileged(peer)) {
        return true;
    }
    const Grants& grants = mGrants[static_cast<size_t>(right)];
    if (grants.anyone) {
        return true;
    }
    if (std::find(grants.uids.begin(), grants.uids.end(), peer.uid) != grants.uids.end()) {
        return true;
    }
    return std::any_of(grants.gids.begin(), grants.gids.end(),
                       [&peer](gid_t gid) { return peer.inGroup(gid); });
}

std::vector<std::string> AccessPolicy::describe() const {
    std::vector<std::string> lines;
    for (const RightInfo& info : kRights) {
        const Grants& grants = mGrants[static_cast<size_t>(info.right)];
        std::string line = std::string(info.name) + ": root";
        if (mOwner != 0) {
            line += ", uid " + std::to_string(mOwner) + " (the daemon's user)";
        }
        if (grants.anyone) {
            line += ", anyone";
        }
        for (uid_t uid : grants.uids) {
            line += ", uid " + std::to_string(uid);
        }
        for (gid_t gid : grants.gids) {
            line += ", gid " + std::to_string(gid);
        }
        lines.push_back(line);
    }
    return lines;
}
