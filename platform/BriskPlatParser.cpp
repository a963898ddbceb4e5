#include "config/BriskLoadXml.h"
#include "config/BriskParser.h"
#include "platform/BriskPlat.h"
#include "server/BriskLog.h"

int BriskPlat::createParser() {
    BriskLoadXml* loader = createBriskLoadXml();
    if (loader == nullptr) {
        BRISK_LOGE("server get loader failed!");
        return -1;
    }
    std::map<int, Action*>* map = loader->loadXmlMap();
    if (map == nullptr) {
        BRISK_LOGE("load xml map failed!");
        delete loader;
        return -1;
    }
    delete loader;
    // An existing parser is not freed first: createParser runs once per platform.
    mParser = new BriskParser(map);
    return 0;
}
