// The body of the platform adapter that every back-end shares: it owns the
// parser and the back-end it holds. A back-end's adapter derives from it and
// supplies initialize, getPlat and createBriskLoadXml (platform/sim/ for the
// simulated device).
#include "platform/BriskPlat.h"

#include "config/BriskParser.h"

BriskPlat::BriskPlat() : mParser(nullptr), mPerf(nullptr) {}

BriskPlat::~BriskPlat() {
    delete mParser;
    mParser = nullptr;
    delete mPerf;
    mPerf = nullptr;
}

int BriskPlat::initialize() {
    return 0;
}
