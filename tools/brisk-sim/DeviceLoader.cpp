#include "tools/brisk-sim/DeviceLoader.h"

#include <sys/stat.h>

#include "platform/linux/DescriptionReader.h"
#include "platform/linux/KernelReader.h"
#include "platform/linux/LinuxBackend.h"
#include "platform/linux/NodeTable.h"
#include "platform/linux/PlatformDiscovery.h"
#include "platform/linux/SystemFileOps.h"
#include "tools/brisk-sim/DeviceFileReader.h"
#include "tools/brisk-sim/FileText.h"

namespace {
bool isFolder(const std::string& path) {
    struct stat info {};
    return stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

// A description is an XML document; a device file never starts with '<'.
bool isXml(const std::string& text) {
    const size_t first = text.find_first_not_of(" \t\r\n");
    return first != std::string::npos && text[first] == '<';
}

// Keeps `path` in `slot`, which must still be empty.
bool takeOnce(const std::string& path, const char* what, std::string* slot, std::string* error) {
    if (!slot->empty()) {
        *error = "--device names two " + std::string(what) + "s: " + *slot + " and " + path;
        return false;
    }
    *slot = path;
    return true;
}

// The hardware maxima the back-end answers for tags 22, 24 and 26 on the machine
// at `kernelRoot`.
bool discoverMaxima(const std::string& kernelRoot, const BackendDescription& choices,
                    DeviceModel* model, std::string* error) {
    SystemFileOps ops;
    const KernelReader reader(ops, kernelRoot);
    MachineLayout layout;
    if (!PlatformDiscovery(reader, choices).discover(&layout, error)) {
        return false;
    }
    const NodeTable table;
    for (int i = 0; i < Vocabulary::kFreqDomainCount; ++i) {
        model->hardwareMax[i] =
            table.configValue(Vocabulary::kFreqLimitPairs[i].hardwareMax, layout);
    }
    return true;
}
}  // namespace

bool DeviceLoader::take(const std::string& path, Sources* sources, std::string* error) {
    if (isFolder(path)) {
        return takeOnce(path, "kernel root", &sources->kernelRoot, error);
    }
    std::string text;
    std::string why;
    if (!FileText::read(path, DescriptionReader::kMaxSize, &text, &why)) {
        *error = "cannot read the device file " + path + ": " + why;
        return false;
    }
    const bool xml = isXml(text);
    if (!takeOnce(path, xml ? "back-end description" : "device file",
                  xml ? &sources->descriptionPath : &sources->deviceFile, error)) {
        return false;
    }
    (xml ? sources->description : sources->deviceText) = std::move(text);
    return true;
}

bool DeviceLoader::load(const std::vector<std::string>& paths, DeviceModel* out,
                        std::string* error) {
    Sources sources;
    for (const std::string& path : paths) {
        if (!take(path, &sources, error)) {
            return false;
        }
    }
    if (sources.deviceFile.empty()) {
        return fromBackend(sources, out, error);
    }
    if (paths.size() > 1) {
        *error = "the device file " + sources.deviceFile +
                 " describes the device alone: give it without a description or a kernel root";
        return false;
    }
    return DeviceFileReader::parse(sources.deviceText, sources.deviceFile, out, error);
}

bool DeviceLoader::fromBackend(const Sources& sources, DeviceModel* out, std::string* error) {
    const std::string& descriptionPath = sources.descriptionPath;
    const std::string& kernelRoot = sources.kernelRoot;
    BackendDescription choices;
    if (!descriptionPath.empty() &&
        !DescriptionReader::parse(sources.description.data(), sources.description.size(),
                                  descriptionPath, &choices, error)) {
        return false;
    }
    DeviceModel model;
    model.itemsKnown = true;
    model.items.insert(LinuxBackend::kBoostMinimumItem);
    for (const ItemChoice& item : choices.items) {
        model.items.insert(item.name);
    }
    if (!kernelRoot.empty() && !discoverMaxima(kernelRoot, choices, &model, error)) {
        return false;
    }
    const std::string machine = "the machine at " + kernelRoot;
    model.source = descriptionPath.empty() ? machine + " (no back-end description)"
                   : kernelRoot.empty()
                       ? "the back-end description " + descriptionPath
                       : "the back-end description " + descriptionPath + " on " + machine;
    *out = model;
    return true;
}
