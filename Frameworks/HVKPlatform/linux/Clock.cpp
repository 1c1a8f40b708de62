#include "HVKPlatform/linux/Clock.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <string>

#include "HVKPlatform/linux/SystemCalls.h"
#include "HVKPlatform/linux/parse/Scan.h"
#include "HVKPlatform/linux/parse/Stat.h"

namespace hvk {

namespace {

double readClock(clockid_t clock) {
    timespec now{};
    ::clock_gettime(clock, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

/// When a tree was saved.
double savedTime(const LinuxRoot& root) {
    const auto stat = root.readFile("/proc/stat");
    const auto boot = stat ? parse::parseBootTime(*stat) : std::nullopt;
    const auto uptime = root.readLine("/proc/uptime");
    if (boot && uptime) return static_cast<double>(*boot) + std::strtod(uptime->c_str(), nullptr);

    double newest = 0;
    for (const char* file : {"/proc/stat", "/proc/meminfo", "/proc/cpuinfo", "/sys"}) {
        struct stat information {};
        countSystemCalls();
        if (::stat(root.path(file).c_str(), &information) == 0)
            newest = std::max(newest, static_cast<double>(information.st_mtim.tv_sec));
    }
    return newest;
}

}  // namespace

LinuxClockPort::LinuxClockPort(const LinuxRoot& root) : live_(root.isLive()) {
    if (live_) return;
    savedAt_ = savedTime(root);
    startedAt_ = readClock(CLOCK_MONOTONIC);
}

double LinuxClockPort::wallSeconds() {
    if (live_) return readClock(CLOCK_REALTIME);
    return savedAt_ + (readClock(CLOCK_MONOTONIC) - startedAt_);
}

double LinuxClockPort::monotonicSeconds() { return readClock(CLOCK_MONOTONIC); }

}  // namespace hvk
