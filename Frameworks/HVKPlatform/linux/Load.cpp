#include "HVKPlatform/linux/Load.h"

#include "HVKPlatform/linux/parse/LoadAvg.h"

namespace hvk {

LinuxLoadPort::LinuxLoadPort(const LinuxRoot& root, Diagnostics& diagnostics)
    : file_(root, "/proc/loadavg"),
      source_(diagnostics.source("/proc/loadavg", "load averages", "mount procfs at /proc")) {}

Result<LoadAverages> LinuxLoadPort::loadAverages() {
    const auto text = file_.read();
    if (!text) return source_.failed(text.failure());
    auto averages = parse::parseLoadAverages(*text);
    if (!averages) return source_.failed(averages.failure());
    source_.works();
    return averages;
}

}  // namespace hvk
