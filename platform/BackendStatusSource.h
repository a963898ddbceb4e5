#pragma once

#include "platform/BackendStatus.h"

// A back-end that can show what it holds implements this beside PerfBackend;
// the service's status view finds it there. Reading changes nothing, writes
// no kernel file and never calls into the service; it may take the back-end's
// own lock for a moment.
class BackendStatusSource {
public:
    virtual void readStatus(BackendStatus* out) = 0;

protected:
    ~BackendStatusSource() = default;
};
