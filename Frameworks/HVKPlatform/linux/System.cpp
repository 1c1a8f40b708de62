#include "HVKPlatform/linux/System.h"

#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cctype>
#include <cstdlib>
#include <vector>

#include "HVKPlatform/linux/SystemCalls.h"
#include "HVKPlatform/linux/parse/AuxiliaryVector.h"
#include "HVKPlatform/linux/parse/MemInfo.h"
#include "HVKPlatform/linux/parse/Scan.h"
#include "HVKPlatform/linux/parse/Stat.h"

namespace hvk {

namespace {

constexpr std::uint64_t UsualPageSize = 4096;
constexpr std::uint64_t UserTicksPerSecond = 100;

/// A middle directory entry has pagesize / 8 slots of a page each; 2 MiB gives 4 KiB, 32 MiB gives 16 KiB.
std::optional<std::uint64_t> pageSizeFromHugePages(std::uint64_t hugePageSize) {
    for (std::uint64_t pageSize = 4096; pageSize <= 65536; pageSize *= 2)
        if (pageSize * (pageSize / 8) == hugePageSize) return pageSize;
    return std::nullopt;
}

/// What makers leave in a product name that they never filled in.
bool isFiller(std::string name) {
    std::transform(name.begin(), name.end(), name.begin(), [](unsigned char c) { return std::tolower(c); });
    static constexpr std::array fillers = {
        "to be filled", "system product name", "default string", "not applicable", "not specified", "o.e.m.", "none",
        "unknown"};
    return std::any_of(fillers.begin(), fillers.end(), [&](const char* filler) { return name.find(filler) == 0; });
}

/// The value of the first "name : value" line with that name.
std::optional<std::string> valueOfLine(std::string_view text, std::string_view name) {
    while (!text.empty()) {
        bool complete = false;
        const std::string_view line = parse::takeLine(text, complete);
        const std::size_t colon = line.find(':');
        if (colon == std::string_view::npos || parse::trimmed(line.substr(0, colon)) != name) continue;
        const std::string_view value = parse::trimmed(line.substr(colon + 1));
        if (!value.empty()) return std::string(value);
    }
    return std::nullopt;
}

/// Read once: another thread of the host may change its environment at any time, which a reader must not meet.
parse::LocaleSettings environmentLocale() {
    const auto variable = [](const char* name) {
        const char* text = ::getenv(name);
        return std::string(text == nullptr ? "" : text);
    };
    return {variable("LC_ALL"), variable("LC_MESSAGES"), variable("LANG"), variable("LANGUAGE")};
}

}  // namespace

LinuxSystemPort::LinuxSystemPort(const LinuxRoot& root, const Topology& topology, Diagnostics& diagnostics)
    : root_(root),
      topology_(topology),
      bootTimeSource_(diagnostics.source("/proc/stat btime", "boot time", "mount procfs at /proc")),
      modelSource_(diagnostics.source("/sys/class/dmi/id", "model name",
                                      "virtual machines and boards without firmware tables have none")),
      topologySource_(diagnostics.source("/sys/devices/system/cpu", "processor topology", "mount sysfs at /sys")) {
    readConstants(diagnostics);
    if (isRunningSystem()) locale_ = environmentLocale();
}

/// Whether the machine is the one that this program runs on, and not a tree of files or another root.
bool LinuxSystemPort::isRunningSystem() const { return root_.isLive() && root_.directory().empty(); }

void LinuxSystemPort::readConstants(Diagnostics& diagnostics) {
    if (root_.isLive()) {
        pageSize_ = static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
        ticksPerSecond_ = static_cast<std::uint64_t>(::sysconf(_SC_CLK_TCK));
        return;
    }
    SourceHealth& source = diagnostics.source("/proc/self/auxv", "page size and tick rate of a saved tree",
                                              "save /proc/self/auxv with the tree");
    parse::AuxiliaryVector vector;
    if (const auto bytes = root_.readFile("/proc/self/auxv")) {
        vector = parse::parseAuxiliaryVector(*bytes);
        if (vector.pageSize)
            source.works();
        else
            (void)source.failed({FailureKind::Malformed, "/proc/self/auxv", "no layout fits the bytes"});
    } else {
        (void)source.failed(bytes.failure());
    }
    ticksPerSecond_ = vector.ticksPerSecond.value_or(UserTicksPerSecond);
    if (vector.pageSize) {
        pageSize_ = *vector.pageSize;
        return;
    }
    std::optional<std::uint64_t> fromHugePages;
    if (const auto text = root_.readFile("/proc/meminfo"))
        if (const auto info = parse::parseMemInfo(*text)) fromHugePages = pageSizeFromHugePages(info->hugePageSize);
    pageSize_ = fromHugePages.value_or(UsualPageSize);
    source.note(fromHugePages ? "page size derived from the size of huge pages; tick rate taken as 100"
                              : "page size taken as 4096 and tick rate as 100");
}

Result<std::string> LinuxSystemPort::operatingSystemName() {
    if (const auto release = root_.readLine("/proc/sys/kernel/osrelease")) return "Linux " + *release;
    if (const auto version = root_.readLine("/proc/version")) {
        std::string_view text = *version;  // "Linux version 6.1.0 (builder) ..."
        parse::takeWord(text);
        parse::takeWord(text);
        if (const std::string_view release = parse::takeWord(text); !release.empty())
            return "Linux " + std::string(release);
    }
    return Failure{FailureKind::Absent, "/proc/version", "the kernel's release is not told"};
}

Result<double> LinuxSystemPort::bootTime() {
    const auto stat = root_.readFile("/proc/stat");
    if (!stat) return bootTimeSource_.failed(stat.failure());
    const auto boot = parse::parseBootTime(*stat);
    if (!boot) return bootTimeSource_.failed({FailureKind::Malformed, "/proc/stat", "there is no btime line"});
    bootTimeSource_.works();
    return static_cast<double>(*boot);
}

Result<std::string> LinuxSystemPort::modelName() {
    for (const char* file : {"/sys/class/dmi/id/product_name", "/sys/class/dmi/id/board_name",
                             "/sys/firmware/devicetree/base/model", "/proc/device-tree/model"}) {
        const auto name = root_.readLine(file);
        if (name && !isFiller(*name)) {
            modelSource_.works();
            return *name;
        }
    }
    if (const auto text = root_.readFile("/proc/cpuinfo")) {
        for (const char* line : {"Model", "Hardware"}) {
            if (const auto name = valueOfLine(*text, line)) {
                modelSource_.works();
                return *name;
            }
        }
    }
    return modelSource_.failed({FailureKind::Absent, "/sys/class/dmi/id", "the firmware names no model"});
}

Result<std::uint32_t> LinuxSystemPort::logicalProcessorCount() {
    if (topology_.places.empty())
        return topologySource_.failed({FailureKind::Absent, "/sys/devices/system/cpu", "no processor is listed"});
    topologySource_.works();
    return static_cast<std::uint32_t>(topology_.places.size());
}

Result<std::uint32_t> LinuxSystemPort::physicalProcessorCount() {
    if (topology_.physicalCores == 0)
        return topologySource_.failed({FailureKind::Absent, "/sys/devices/system/cpu", "no processor is listed"});
    topologySource_.works();
    return topology_.physicalCores;
}

Result<std::string> LinuxSystemPort::userName(std::uint32_t user) {
    const Failure unknown{FailureKind::Absent, "/etc/passwd", "there is no user " + std::to_string(user)};
    if (!isRunningSystem()) {
        const auto text = root_.readFile("/etc/passwd");
        if (!text) return text.failure();
        std::string_view rest = *text;
        while (!rest.empty()) {
            bool complete = false;
            const std::string_view line = parse::takeLine(rest, complete);
            const std::size_t name = line.find(':');
            const std::size_t password = name == std::string_view::npos ? name : line.find(':', name + 1);
            if (password == std::string_view::npos) continue;
            const std::size_t end = line.find(':', password + 1);
            const auto number = parse::toUnsigned(line.substr(password + 1, end - password - 1));
            if (number && *number == user) return std::string(line.substr(0, name));
        }
        return unknown;
    }
    std::vector<char> buffer(16384);
    passwd entry{};
    passwd* found = nullptr;
    if (::getpwuid_r(user, &entry, buffer.data(), buffer.size(), &found) != 0 || found == nullptr) return unknown;
    return std::string(found->pw_name);
}

Result<std::vector<std::string>> LinuxSystemPort::preferredLanguages() {
    if (isRunningSystem()) return parse::preferredLanguages(locale_);
    for (const char* file : {"/etc/locale.conf", "/etc/default/locale"}) {
        const auto text = root_.readFile(file);
        if (!text) continue;
        const parse::LocaleSettings settings = parse::parseLocaleSettings(*text);
        if (!settings.isEmpty()) return parse::preferredLanguages(settings);
    }
    return Failure{FailureKind::Absent, "/etc/locale.conf", "the saved tree names no locale"};
}

}  // namespace hvk
