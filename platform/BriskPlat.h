#pragma once

#include "config/Action.h"

class BriskParser;
class BriskLoadXml;

// The performance back-end: every write to the kernel and firmware goes through
// it. Must accept concurrent calls and must not call back into the service.
// doAction may get a null payload with any length (a host's timed event hands
// both on as they came): a null payload is no payload and is never read.
class PerfBackend {
public:
    virtual int doAction(const Action* action, unsigned int len, const int* payload) = 0;
    virtual int setConfig(int len, const int* tags, const int* values) = 0;
    virtual int getConfig(int len, const int* tags, int* values) = 0;
    virtual int doSchedLevelAction(int len, const int* tags, const int* levels) = 0;
    virtual int setProbeTarget(int tid, int mode) = 0;
    virtual ~PerfBackend() = default;
};

// The platform adapter. Its body (constructor, destructor, initialize) belongs to
// the platform library; createParser is the service's own. Deleting it deletes
// the parser and the back-end it holds.
class BriskPlat {
public:
    BriskPlat();
    virtual ~BriskPlat();
    virtual int initialize();

    BriskPlat(const BriskPlat&) = delete;
    BriskPlat& operator=(const BriskPlat&) = delete;

    // Loads the configuration into a new BriskParser held in mParser.
    int createParser();

    BriskParser* mParser;
    PerfBackend* mPerf;
};

// Provided by the platform library.
BriskPlat* getPlat();
BriskLoadXml* createBriskLoadXml();
