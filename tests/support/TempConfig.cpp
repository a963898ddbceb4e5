#include "tests/support/TempConfig.h"

#include <stdlib.h>
#include <unistd.h>

#include <fstream>
#include <stdexcept>

#include "platform/sim/CfgFileResolver.h"

TempConfig TempConfig::withCommands(const std::string& commands) {
    return TempConfig("<?xml version=\"1.0\"?>\n<policy>\n" + commands + "\n</policy>\n");
}

TempConfig TempConfig::withContent(const std::string& content) {
    return TempConfig(content);
}

TempConfig::TempConfig(const std::string& content) {
    char pattern[] = "/tmp/brisk-test-XXXXXX";
    if (mkdtemp(pattern) == nullptr) {
        throw std::runtime_error("mkdtemp failed");
    }
    mDir = pattern;
    mPath = mDir + "/brisk_config_cust.xml";
    std::ofstream(mPath, std::ios::binary) << content;
    CfgFileResolver::setFile(mPath);
}

TempConfig::~TempConfig() {
    unlink(mPath.c_str());
    rmdir(mDir.c_str());
    CfgFileResolver::reset();
}
