#include "config/BriskParser.h"

#include "config/RecordChain.h"
#include "server/BriskLog.h"

BriskParser::BriskParser(std::map<int, Action*>* map) : mMap(map) {}

BriskParser::~BriskParser() {
    if (mMap == nullptr) {
        return;
    }
    for (auto& entry : *mMap) {
        deleteRecordChain(entry.second);
    }
    delete mMap;
    mMap = nullptr;
}

int BriskParser::doParse(int cmdId, Action* out) {
    if (out == nullptr || mMap == nullptr) {
        BRISK_LOGE("doParse failed, nullptr!");
        return 2;
    }
    auto it = mMap->find(cmdId);
    if (it == mMap->end()) {
        return 1;
    }
    const Action* header = it->second;
    if (header == nullptr || header->next == nullptr) {
        return 0;
    }
    // Copy-assignment copies `next` too, so the caller's record leads on into our chain.
    *out = *header->next;
    return 0;
}

std::vector<int> BriskParser::commandIds() const {
    std::vector<int> ids;
    if (mMap != nullptr) {
        ids.reserve(mMap->size());
        for (const auto& entry : *mMap) {
            ids.push_back(entry.first);
        }
    }
    return ids;
}
