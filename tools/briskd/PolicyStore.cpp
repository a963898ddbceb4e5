#include "tools/briskd/PolicyStore.h"

std::shared_ptr<const AccessPolicy> PolicyStore::build(const Sources& sources, std::string* error) {
    auto policy = std::make_shared<AccessPolicy>();
    policy->setOwner(sources.owner);
    for (const std::string& file : sources.files) {
        if (!policy->loadFile(file, error)) {
            return nullptr;
        }
    }
    for (const std::string& rule : sources.rules) {
        std::string reason;
        if (!policy->addOption(rule, &reason)) {
            *error = "--allow ";
            *error += rule;
            *error += ": ";
            *error += reason;
            return nullptr;
        }
    }
    return policy;
}

void PolicyStore::set(std::shared_ptr<const AccessPolicy> policy) {
    std::lock_guard<std::mutex> lock(mMutex);
    mPolicy = std::move(policy);
}

std::shared_ptr<const AccessPolicy> PolicyStore::current() const {
    std::lock_guard<std::mutex> lock(mMutex);
    return mPolicy;
}
