#include "platform/linux/DescriptionReader.h"

#include <fcntl.h>
#include <tinyxml2.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <set>

#include "config/Vocabulary.h"
#include "platform/linux/KernelReader.h"
#include "platform/linux/KernelText.h"

namespace {
const char kRootName[] = "backend";
const char kNoDevice[] = "none";
constexpr long long kMaxScale = 1000000;
constexpr long long kMaxTrip = 63;

const char* const kRootAttributes[] = {"strict", "keep-on-exit", nullptr};
const char* const kClusterAttributes[] = {"name", "policies", nullptr};
const char* const kGpuAttributes[] = {"device", "scale", nullptr};
const char* const kThermalAttributes[] = {"zone", "on-trip", "control-trip", nullptr};
const char* const kForkAttributes[] = {"file", "on", "off", nullptr};
const char* const kItemAttributes[] = {"name", "file", "end-text", nullptr};

bool isPolicyName(std::string_view name) {
    return name.size() > 6 && name.compare(0, 6, "policy") == 0 &&
           name.find_first_not_of("0123456789", 6) == std::string_view::npos;
}

bool isZoneName(std::string_view name) {
    return name.size() > 12 && name.compare(0, 12, "thermal_zone") == 0 &&
           name.find_first_not_of("0123456789", 12) == std::string_view::npos;
}

// A devfreq device name is one folder name: no '/', not "." or "..".
bool isFolderName(std::string_view name) {
    return !name.empty() && name != "." && name != ".." &&
           name.find_first_of("/\0", 0, 2) == std::string_view::npos;
}
}  // namespace

bool DescriptionReader::readFile(FileOps& ops, const std::string& path, BackendDescription* out,
                                 std::string* error) {
    int fd = ops.open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY, 0);
    if (fd < 0) {
        *error = path + ": cannot read the back-end description: " + strerror(-fd);
        return false;
    }
    // Left unfilled, as a description is far smaller than the limit.
    const size_t size = kMaxSize + 1;
    std::unique_ptr<char[]> data(new char[size]);
    size_t total = 0;
    ssize_t n = 0;
    while (total < size &&
           (n = ops.pread(fd, &data[total], size - total, static_cast<off_t>(total))) > 0) {
        total += static_cast<size_t>(n);
    }
    ops.close(fd);
    if (n < 0) {
        *error = path + ": cannot read the back-end description: " + strerror(static_cast<int>(-n));
        return false;
    }
    if (total > kMaxSize) {
        *error = path + ": the back-end description is larger than " + std::to_string(kMaxSize) +
                 " bytes";
        return false;
    }
    return parse(data.get(), total, path, out, error);
}

bool DescriptionReader::parse(const char* data, size_t size, const std::string& fileName,
                              BackendDescription* out, std::string* error) {
    BackendDescription description;
    description.fileName = fileName;
    tinyxml2::XMLDocument document;
    if (document.Parse(data, size) != tinyxml2::XML_SUCCESS) {
        *error = fileName + ":" + std::to_string(document.ErrorLineNum()) + ": " +
                 (document.ErrorStr() != nullptr ? document.ErrorStr() : "not XML");
        return false;
    }
    const tinyxml2::XMLElement* root = document.RootElement();
    if (root == nullptr || strcmp(root->Name(), kRootName) != 0) {
        *error = fileName + ":" + std::to_string(root != nullptr ? root->GetLineNum() : 1) +
                 ": the document must be one <" + kRootName + "> element";
        return false;
    }
    DescriptionReader reader(&description);
    if (!reader.readRoot(root)) {
        *error = reader.mError;
        return false;
    }
    *out = std::move(description);
    return true;
}

bool DescriptionReader::readRoot(const tinyxml2::XMLElement* root) {
    if (!onlyAttributes(root, kRootAttributes) || !readFlag(root, "strict", &mOut->strict) ||
        !readFlag(root, "keep-on-exit", &mOut->keepOnExit)) {
        return false;
    }
    for (const tinyxml2::XMLElement* element = root->FirstChildElement(); element != nullptr;
         element = element->NextSiblingElement()) {
        if (!readElement(element)) {
            return false;
        }
    }
    return checkFilesOnce();
}

bool DescriptionReader::readElement(const tinyxml2::XMLElement* element) {
    const std::string name = element->Name();
    if (element->FirstChildElement() != nullptr) {
        return fail(element, "<" + name + "> takes attributes only, no elements inside");
    }
    if (name == "cluster") {
        return readCluster(element);
    }
    if (name == "gpu") {
        return readGpu(element);
    }
    if (name == "thermal") {
        return readThermal(element);
    }
    if (name == "fork") {
        return readFork(element);
    }
    if (name == "item") {
        return readItem(element);
    }
    if (name == "cgroup") {
        return readCgroup(element);
    }
    if (name == "group") {
        return readGroup(element);
    }
    if (name == "hmp") {
        return readHmp(element);
    }
    if (name == "rung") {
        return readRung(element);
    }
    if (name == "thread-boost") {
        return readBoost(element);
    }
    return fail(element, "unknown element <" + name + ">");
}

bool DescriptionReader::readCluster(const tinyxml2::XMLElement* element) {
    std::string name;
    if (!onlyAttributes(element, kClusterAttributes) || !requireText(element, "name", &name)) {
        return false;
    }
    const char* policies = element->Attribute("policies");  // "": no such cluster
    if (policies == nullptr) {
        return fail(element, "<cluster> needs a \"policies\" attribute");
    }
    if (name != "little" && name != "big") {
        return fail(element, "cluster name must be \"little\" or \"big\", not \"" + name + "\"");
    }
    ClusterChoice& cluster = name == "little" ? mOut->little : mOut->big;
    ClusterChoice& other = name == "little" ? mOut->big : mOut->little;
    if (cluster.given) {
        return fail(element, "the " + name + " cluster is described twice");
    }
    cluster.given = true;
    cluster.line = element->GetLineNum();
    for (std::string_view word : KernelText::words(policies)) {
        std::string policy(word);
        if (!isPolicyName(policy)) {
            return fail(element, "\"" + policy + "\" is not a cpufreq policy name (policyN)");
        }
        for (const std::string& taken : other.policies) {
            if (taken == policy) {
                return fail(element, policy + " is in both clusters");
            }
        }
        cluster.policies.push_back(policy);
    }
    return true;
}

bool DescriptionReader::readGpu(const tinyxml2::XMLElement* element) {
    if (mOut->gpu.line != 0) {
        return fail(element, "the GPU is described twice");
    }
    if (!onlyAttributes(element, kGpuAttributes) ||
        !readNumber(element, "scale", 1, kMaxScale, &mOut->gpu.scale)) {
        return false;
    }
    mOut->gpu.line = element->GetLineNum();
    if (const char* device = element->Attribute("device")) {
        mOut->gpu.deviceGiven = true;
        mOut->gpu.device = strcmp(device, kNoDevice) == 0 ? "" : device;
        if (strcmp(device, kNoDevice) != 0 && !isFolderName(device)) {
            return fail(element, "\"" + std::string(device) + "\" is not a devfreq device name");
        }
    }
    return true;
}

bool DescriptionReader::readThermal(const tinyxml2::XMLElement* element) {
    ThermalChoice zone;
    long long onTrip = -1;
    long long controlTrip = -1;
    if (!onlyAttributes(element, kThermalAttributes) || !requireText(element, "zone", &zone.zone) ||
        !readNumber(element, "on-trip", 0, kMaxTrip, &onTrip) ||
        !readNumber(element, "control-trip", 0, kMaxTrip, &controlTrip)) {
        return false;
    }
    mOut->thermalGiven = true;
    if (zone.zone == kNoDevice) {
        return true;
    }
    if (!isZoneName(zone.zone)) {
        return fail(element, "\"" + zone.zone + "\" is not a thermal zone name (thermal_zoneN)");
    }
    if (onTrip >= 0 && onTrip == controlTrip) {
        return fail(element, "on-trip and control-trip are the same trip");
    }
    for (const ThermalChoice& other : mOut->zones) {
        if (other.zone == zone.zone) {
            return fail(element, zone.zone + " is described twice");
        }
    }
    zone.onTrip = static_cast<int>(onTrip);
    zone.controlTrip = static_cast<int>(controlTrip);
    zone.line = element->GetLineNum();
    mOut->zones.push_back(zone);
    return true;
}

bool DescriptionReader::readFork(const tinyxml2::XMLElement* element) {
    ForkChoice& fork = mOut->fork;
    if (fork.given) {
        return fail(element, "fork_on_big_cluster is described twice");
    }
    if (!onlyAttributes(element, kForkAttributes) || !readTunablePath(element, &fork.file)) {
        return false;
    }
    fork.given = true;
    fork.line = element->GetLineNum();
    if (const char* on = element->Attribute("on")) {
        fork.onText = on;
    }
    if (const char* off = element->Attribute("off")) {
        fork.offText = off;
    }
    if (fork.onText == fork.offText) {
        return fail(element, "the on and off texts are the same");
    }
    return true;
}

bool DescriptionReader::readItem(const tinyxml2::XMLElement* element) {
    ItemChoice item;
    if (!onlyAttributes(element, kItemAttributes) || !requireText(element, "name", &item.name) ||
        !readTunablePath(element, &item.file)) {
        return false;
    }
    for (const ItemChoice& other : mOut->items) {
        if (other.name == item.name) {
            return fail(element, "item " + item.name + " is described twice");
        }
    }
    if (const char* endText = element->Attribute("end-text")) {
        item.writeAtEnd = true;
        item.endText = endText;
    }
    item.line = element->GetLineNum();
    mOut->items.push_back(item);
    return true;
}

bool DescriptionReader::checkFilesOnce() {
    std::set<std::string> files;
    if (mOut->fork.given) {
        files.insert(mOut->fork.file);
    }
    for (const ItemChoice& item : mOut->items) {
        if (!files.insert(item.file).second) {
            mError = mOut->fileName + ":" + std::to_string(item.line) + ": " + item.file +
                     " is written by two entries";
            return false;
        }
    }
    return true;
}

bool DescriptionReader::onlyAttributes(const tinyxml2::XMLElement* element,
                                       const char* const* allowed) {
    for (const tinyxml2::XMLAttribute* a = element->FirstAttribute(); a != nullptr; a = a->Next()) {
        bool known = false;
        for (const char* const* name = allowed; *name != nullptr && !known; ++name) {
            known = strcmp(a->Name(), *name) == 0;
        }
        if (!known) {
            return fail(element, "<" + std::string(element->Name()) + "> has no attribute \"" +
                                     a->Name() + "\"");
        }
    }
    return true;
}

bool DescriptionReader::requireText(const tinyxml2::XMLElement* element, const char* name,
                                    std::string* out) {
    const char* value = element->Attribute(name);
    if (value == nullptr || *value == '\0') {
        return fail(element,
                    "<" + std::string(element->Name()) + "> needs a \"" + name + "\" attribute");
    }
    *out = value;
    return true;
}

bool DescriptionReader::readFlag(const tinyxml2::XMLElement* element, const char* name, bool* out) {
    const char* value = element->Attribute(name);
    if (value == nullptr) {
        return true;
    }
    if (strcmp(value, "yes") == 0 || strcmp(value, "true") == 0) {
        *out = true;
    } else if (strcmp(value, "no") == 0 || strcmp(value, "false") == 0) {
        *out = false;
    } else {
        return fail(element, std::string(name) + " must be yes or no, not \"" + value + "\"");
    }
    return true;
}

bool DescriptionReader::readNumber(const tinyxml2::XMLElement* element, const char* name,
                                   long long low, long long high, long long* out) {
    const char* value = element->Attribute(name);
    if (value == nullptr) {
        return true;
    }
    long long number = 0;
    if (!KernelText::parseInt(value, &number) || number < low || number > high) {
        return fail(element, std::string(name) + " must be a whole number from " +
                                 std::to_string(low) + " to " + std::to_string(high) + ", not \"" +
                                 value + "\"");
    }
    *out = number;
    return true;
}

bool DescriptionReader::readTunablePath(const tinyxml2::XMLElement* element, std::string* out) {
    if (!requireText(element, "file", out)) {
        return false;
    }
    if (!KernelReader::isTunablePath(*out)) {
        return fail(element, "file " + *out +
                                 " must be an absolute path under /sys or /proc/sys, without"
                                 " \".\" or \"..\" parts");
    }
    return true;
}

bool DescriptionReader::fail(const tinyxml2::XMLElement* element, const std::string& problem) {
    mError = mOut->fileName + ":" + std::to_string(element->GetLineNum()) + ": " + problem;
    return false;
}
