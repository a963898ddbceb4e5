#pragma once

#include <utils/RefBase.h>
#include <utils/Timers.h>

#include "probe/ProbeThread.h"

// One thread id in one of the worker's queues. A time stamp of 0 marks a finished
// item, which the loop removes on its next pass; a finished item is never revived,
// it is replaced by a new one.
class ProbeHandler::ProbeThread::ProbeItem : virtual public android::RefBase {
public:
    ProbeItem(unsigned int tid, nsecs_t timestamp);
    ~ProbeItem() override;

    unsigned int mTid;
    nsecs_t mTimestamp;  // monotonic time at which the item entered its queue
};
