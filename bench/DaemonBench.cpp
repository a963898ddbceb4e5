#include "Registry.h"

void registerDaemonBenchmarks() {}
