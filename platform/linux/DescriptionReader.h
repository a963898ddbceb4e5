#pragma once

#include <string>

#include "platform/linux/BackendDescription.h"
#include "platform/linux/FileOps.h"

namespace tinyxml2 {
class XMLElement;
}

// Reads a back-end description (one XML document, tinyxml2). Any problem is an
// error naming the file, the line and what is wrong; nothing is half-read.
class DescriptionReader {
public:
    // The file `path`, read through `ops` (at most kMaxSize bytes).
    static bool readFile(FileOps& ops, const std::string& path, BackendDescription* out,
                         std::string* error);
    // A document in memory; `fileName` only names it in messages.
    static bool parse(const char* data, size_t size, const std::string& fileName,
                      BackendDescription* out, std::string* error);

    static constexpr size_t kMaxSize = size_t{256} * 1024;

private:
    explicit DescriptionReader(BackendDescription* out) : mOut(out) {}

    bool readRoot(const tinyxml2::XMLElement* root);
    bool readElement(const tinyxml2::XMLElement* element);
    bool readCluster(const tinyxml2::XMLElement* element);
    bool readGpu(const tinyxml2::XMLElement* element);
    bool readThermal(const tinyxml2::XMLElement* element);
    bool readFork(const tinyxml2::XMLElement* element);
    bool readItem(const tinyxml2::XMLElement* element);
    bool readCgroup(const tinyxml2::XMLElement* element);
    bool readGroup(const tinyxml2::XMLElement* element);
    bool readHmp(const tinyxml2::XMLElement* element);
    bool readRung(const tinyxml2::XMLElement* element);
    bool readBoost(const tinyxml2::XMLElement* element);
    bool readGroupTag(const tinyxml2::XMLElement* element, const std::string& name, int* tag);
    bool readPercent(const tinyxml2::XMLElement* element, const char* name, int* hundredths);
    bool checkFilesOnce();

    // Every attribute of `element` must be one of `allowed` (null-terminated).
    bool onlyAttributes(const tinyxml2::XMLElement* element, const char* const* allowed);
    bool requireText(const tinyxml2::XMLElement* element, const char* name, std::string* out);
    bool readFlag(const tinyxml2::XMLElement* element, const char* name, bool* out);
    bool readNumber(const tinyxml2::XMLElement* element, const char* name, long long low,
                    long long high, long long* out);
    bool readTunablePath(const tinyxml2::XMLElement* element, std::string* out);
    bool fail(const tinyxml2::XMLElement* element, const std::string& problem);

    BackendDescription* mOut;
    std::string mError;
};
