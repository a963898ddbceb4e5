#pragma once

#include "platform/linux/ThreadOps.h"

// The real system calls.
class SystemThreadOps : public ThreadOps {
public:
    int getUtilClamp(int tid, unsigned* minimum, unsigned* maximum) override;
    int setUtilClampMin(int tid, unsigned minimum) override;
    int getNice(int tid, int* nice) override;
    int setNice(int tid, int nice) override;
};
