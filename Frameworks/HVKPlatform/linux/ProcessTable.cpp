#include "HVKPlatform/linux/ProcessTable.h"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "HVKPlatform/linux/BestProcessSource.h"
#include "HVKPlatform/linux/SystemCalls.h"
#include "HVKPlatform/linux/parse/ProcessStat.h"

namespace hvk {

namespace {

/// The kernel itself hands out no more than this for one program's arguments.
constexpr std::size_t LongestArguments = std::size_t{6} << 20;

constexpr std::int32_t FirstProcess = 1;
constexpr std::string_view UserServiceManager = "systemd";
/// What the kernel adds to the path of a program whose file was removed or replaced.
constexpr std::string_view Deleted = " (deleted)";

std::string fileOf(std::int32_t pid, const char* name) { return "/proc/" + std::to_string(pid) + "/" + name; }

/// Splits at each NUL; what follows the last one without a NUL of its own is an argument too.
void appendArguments(std::string_view text, std::vector<std::string>& arguments) {
    while (!text.empty()) {
        const std::size_t end = text.find('\0');
        arguments.emplace_back(text.substr(0, end));
        if (end == std::string_view::npos) return;
        text.remove_prefix(end + 1);
    }
}

}  // namespace

LinuxProcessTablePort::LinuxProcessTablePort(const LinuxRoot& root, std::uint64_t ticksPerSecond,
                                             std::uint64_t pageSize, Diagnostics& diagnostics,
                                             ProcessSourceChoice choice)
    : root_(root),
      pageSize_(pageSize),
      source_(std::make_unique<BestProcessSource>(root, ticksPerSecond, pageSize, diagnostics, choice)),
      identity_(
          root, [](const char* name) { return std::getenv(name); }, diagnostics) {}

Result<ProcessInformation> LinuxProcessTablePort::information(std::int32_t pid) {
    auto information = source_->information(pid);
    // A user's service manager is the first one's child, under the first one's name.
    if (information)
        information->startsServices = pid == FirstProcess || (information->parent == FirstProcess &&
                                                              information->command == UserServiceManager);
    return information;
}

Result<std::uint64_t> LinuxProcessTablePort::footprint(std::int32_t pid) {
    const auto text = root_.readFile(fileOf(pid, "statm"), 4096);
    if (!text) return text.failure();
    const auto pages = parse::parseAnonymousPages(*text);
    if (!pages) return pages.failure();
    return *pages * pageSize_;
}

Result<std::string> LinuxProcessTablePort::executable(std::int32_t pid) {
    const std::string link = fileOf(pid, "exe");
    std::string path(4096, '\0');
    countSystemCalls();
    const ssize_t length = ::readlink(root_.path(link).c_str(), path.data(), path.size());
    if (length < 0) return identity_.failureOf(pid, failureFromErrno(errno, link));
    path.resize(static_cast<std::size_t>(length));
    if (path.ends_with(Deleted)) path.resize(path.size() - Deleted.size());
    return path;
}

Result<std::vector<std::string>> LinuxProcessTablePort::arguments(std::int32_t pid) {
    auto path = executable(pid);
    if (!path) return path.failure();
    const auto line = root_.readFile(fileOf(pid, "cmdline"), LongestArguments);
    if (!line) return identity_.failureOf(pid, line.failure());
    std::vector<std::string> arguments{std::move(*path)};
    appendArguments(*line, arguments);
    return arguments;
}

}  // namespace hvk
