#include "HVKPlatform/linux/parse/ProcessStat.h"

#include <charconv>
#include <optional>

#include "HVKPlatform/linux/parse/Scan.h"

namespace hvk::parse {

namespace {

constexpr std::size_t LongestCommand = 15;

Failure malformed(const char* source, const char* detail) { return {FailureKind::Malformed, source, detail}; }

/// A signed decimal number of 32 bits.
std::optional<std::int32_t> toSigned(std::string_view word) {
    std::int32_t number = 0;
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), number);
    if (error != std::errc() || end != word.data() + word.size()) return std::nullopt;
    return number;
}

void skipWords(std::string_view& text, int count) {
    while (count-- > 0) (void)takeWord(text);
}

/// What stands behind `name` at the beginning of a line.
std::optional<std::string_view> valueOf(std::string_view text, std::string_view name) {
    bool complete = true;
    while (!text.empty()) {
        std::string_view line = takeLine(text, complete);
        if (!complete || !line.starts_with(name)) continue;
        line.remove_prefix(name.size());
        return line;
    }
    return std::nullopt;
}

std::optional<std::uint64_t> numberOf(std::string_view text, std::string_view name) {
    auto value = valueOf(text, name);
    return value ? takeUnsigned(*value) : std::nullopt;
}

}  // namespace

Result<ProcessStat> parseProcessStat(std::string_view text) {
    const char* const source = "/proc/[pid]/stat";
    const std::size_t open = text.find('(');
    const std::size_t close = text.rfind(')');
    if (open == std::string_view::npos || close == std::string_view::npos || close < open)
        return malformed(source, "there is no command in parentheses");
    ProcessStat stat;
    const auto pid = toSigned(trimmed(text.substr(0, open)));
    if (!pid || *pid <= 0) return malformed(source, "it does not begin with a process number");
    stat.pid = *pid;
    stat.command = text.substr(open + 1, close - open - 1);

    std::string_view rest = text.substr(close + 1);
    skipWords(rest, 1);  // 3: state
    const auto parent = toSigned(takeWord(rest));
    skipWords(rest, 1);  // 5: process group
    const auto session = toSigned(takeWord(rest));
    skipWords(rest, 2);  // 7, 8: terminal and its group
    const auto flags = takeUnsigned(rest);
    const auto minor = takeUnsigned(rest);
    skipWords(rest, 1);  // 11: minor faults of children
    const auto major = takeUnsigned(rest);
    skipWords(rest, 1);  // 13: major faults of children
    const auto user = takeUnsigned(rest);
    const auto system = takeUnsigned(rest);
    skipWords(rest, 6);  // 16 to 21
    const auto start = takeUnsigned(rest);
    skipWords(rest, 1);  // 23: virtual size
    const std::string_view residentWord = takeWord(rest);
    // Without anything behind it, the number may have been cut.
    if (!parent || !session || !flags || !minor || !major || !user || !system || !start || rest.empty())
        return malformed(source, "a field is missing or no number");
    stat.parent = *parent;
    stat.session = *session;
    stat.flags = *flags;
    stat.faults = *minor + *major;
    stat.cpuTicks = *user + *system;
    stat.startTicks = *start;
    // A counter kept in shares of each processor may be below nothing for a moment.
    stat.residentPages = toUnsigned(residentWord).value_or(0);
    return stat;
}

std::string_view shortCommand(const ProcessStat& stat) {
    std::string_view command = stat.command;
    constexpr std::string_view worker = "kworker/";
    if (stat.isKernelThread() && command.starts_with(worker) && !command.starts_with("kworker/R"))
        command = command.substr(0, command.find_first_of("-+", worker.size()));
    return command.substr(0, LongestCommand);
}

Result<std::uint64_t> parseAnonymousPages(std::string_view text) {
    skipWords(text, 1);
    const auto resident = takeUnsigned(text);
    const auto shared = takeUnsigned(text);
    if (!resident || !shared || text.empty()) return malformed("/proc/[pid]/statm", "there are no three numbers");
    return *resident - (*shared < *resident ? *shared : *resident);
}

Result<ProcessIO> parseProcessIO(std::string_view text) {
    const auto read = numberOf(text, "read_bytes:");
    const auto written = numberOf(text, "write_bytes:");
    if (!read || !written) return malformed("/proc/[pid]/io", "read_bytes or write_bytes is missing");
    return ProcessIO{*read, *written};
}

Result<std::uint64_t> parseContextSwitches(std::string_view text) {
    const auto voluntary = numberOf(text, "voluntary_ctxt_switches:");
    if (!voluntary) return malformed("/proc/[pid]/status", "the context switches are missing");
    return *voluntary;
}

Result<std::uint32_t> parseProcessUser(std::string_view text) {
    auto line = valueOf(text, "Uid:");
    if (line) {
        skipWords(*line, 1);
        const auto user = takeUnsigned(*line);
        if (user && *user <= UINT32_MAX) return static_cast<std::uint32_t>(*user);
    }
    return malformed("/proc/[pid]/status", "there is no Uid line");
}

}  // namespace hvk::parse
