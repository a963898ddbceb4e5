#include "tools/briskd/DumpWatchdog.h"

#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstring>

#ifndef sigev_notify_thread_id
#define sigev_notify_thread_id _sigev_un._tid
#endif

namespace {
constexpr long kRepeatNs = 50L * 1000 * 1000;

thread_local volatile sig_atomic_t tFired = 0;

void onWatchdog(int) {
    tFired = 1;
}
}  // namespace

int DumpWatchdog::signalNumber() {
    return SIGUSR1;
}

bool DumpWatchdog::install() {
    struct sigaction action {};
    action.sa_handler = onWatchdog;
    sigemptyset(&action.sa_mask);
    action.sa_flags = 0;  // no SA_RESTART: the blocked write must return
    return sigaction(signalNumber(), &action, nullptr) == 0;
}

DumpWatchdog::DumpWatchdog(int timeoutMs) {
    tFired = 0;
    sigevent event{};
    event.sigev_notify = SIGEV_THREAD_ID;
    event.sigev_signo = signalNumber();
    event.sigev_notify_thread_id = static_cast<pid_t>(syscall(SYS_gettid));
    if (timer_create(CLOCK_MONOTONIC, &event, &mTimer) != 0) {
        return;  // no watchdog: the dump runs unbounded, as a plain host would run it
    }
    mArmed = true;
    itimerspec timing{};
    timing.it_value.tv_sec = timeoutMs / 1000;
    timing.it_value.tv_nsec = static_cast<long>(timeoutMs % 1000) * 1000 * 1000;
    if (timing.it_value.tv_sec == 0 && timing.it_value.tv_nsec == 0) {
        timing.it_value.tv_nsec = 1;
    }
    // Repeats, so that a signal that lands just before the write begins is
    // followed by one that interrupts it.
    timing.it_interval.tv_nsec = kRepeatNs;
    timer_settime(mTimer, 0, &timing, nullptr);
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, signalNumber());
    pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
}

DumpWatchdog::~DumpWatchdog() {
    if (!mArmed) {
        return;
    }
    timer_delete(mTimer);
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, signalNumber());
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
}

bool DumpWatchdog::fired() const {
    return tFired != 0;
}
