#include "platform/linux/SystemThreadOps.h"

#include <linux/sched.h>
#include <linux/sched/types.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>

int SystemThreadOps::getUtilClamp(int tid, unsigned* minimum, unsigned* maximum) {
    sched_attr attr{};
    if (syscall(SYS_sched_getattr, tid, &attr, sizeof(attr), 0) != 0) {
        return -errno;
    }
    *minimum = attr.sched_util_min;
    *maximum = attr.sched_util_max;
    return 0;
}

int SystemThreadOps::setUtilClampMin(int tid, unsigned minimum) {
    sched_attr attr{};
    attr.size = sizeof(attr);
    attr.sched_flags = SCHED_FLAG_KEEP_ALL | SCHED_FLAG_UTIL_CLAMP_MIN;
    attr.sched_util_min = minimum;
    return syscall(SYS_sched_setattr, tid, &attr, 0) != 0 ? -errno : 0;
}

int SystemThreadOps::getNice(int tid, int* nice) {
    // -1 is a valid nice value: errno tells a failure apart.
    errno = 0;
    int value = getpriority(PRIO_PROCESS, static_cast<id_t>(tid));
    if (value == -1 && errno != 0) {
        return -errno;
    }
    *nice = value;
    return 0;
}

int SystemThreadOps::setNice(int tid, int nice) {
    return setpriority(PRIO_PROCESS, static_cast<id_t>(tid), nice) != 0 ? -errno : 0;
}
