#pragma once

#include <sys/types.h>

#include <string>

class BriskServer;

// A server initialised from `configPath`, or null (the reason is reported).
// *probeTid, when given, receives the id of the probe thread that init started:
// the new thread named "ProbeThread", or else the one new thread (0 when it
// could not be told apart). Delete a server only when no probe boost is pending:
// its probe thread outlives it.
BriskServer* startServer(const std::string& configPath, pid_t* probeTid = nullptr);

// The server of the entry-point, contention and probe benchmarks, built on first
// use from entryPointConfig() and kept for the life of the process. Null when it
// could not be started.
BriskServer* sharedServer();
pid_t sharedProbeTid();
// Whether that thread carries the name "ProbeThread".
bool sharedProbeThreadNamed();

// A second server over the same configuration with frequency-limit reporting
// switched on (which cannot be switched off again), kept for the process life.
BriskServer* reportingServer();
