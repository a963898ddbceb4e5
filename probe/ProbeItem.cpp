#include "probe/ProbeItem.h"

ProbeHandler::ProbeThread::ProbeItem::ProbeItem(unsigned int tid, nsecs_t timestamp)
    : mTid(tid), mTimestamp(timestamp) {}

ProbeHandler::ProbeThread::ProbeItem::~ProbeItem() = default;
