#include "tools/brisk-sim/SimServer.h"

SimServer::~SimServer() {
    stopProbeWorker(false);
}
