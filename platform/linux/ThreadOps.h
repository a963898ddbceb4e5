#pragma once

// The per-thread system calls of thread boosts, one virtual call each, so that
// tests can answer as kernels with util clamping do (this machine's answers
// EOPNOTSUPP) and inject EPERM or ESRCH. Every operation returns -errno on
// failure.
class ThreadOps {
public:
    virtual ~ThreadOps() = default;

    // sched_getattr: the thread's util clamp minimum and maximum (0..1024).
    virtual int getUtilClamp(int tid, unsigned* minimum, unsigned* maximum) = 0;
    // sched_setattr with SCHED_FLAG_KEEP_ALL | SCHED_FLAG_UTIL_CLAMP_MIN: the
    // policy and its parameters stay, only the minimum changes.
    virtual int setUtilClampMin(int tid, unsigned minimum) = 0;
    // getpriority / setpriority (PRIO_PROCESS) of one thread: its nice value.
    virtual int getNice(int tid, int* nice) = 0;
    virtual int setNice(int tid, int nice) = 0;

    // The top of the util clamp scale (the kernel's SCHED_CAPACITY_SCALE).
    static constexpr unsigned kMaxClamp = 1024;
};
