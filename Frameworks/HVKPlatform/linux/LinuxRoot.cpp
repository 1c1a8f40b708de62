#include "HVKPlatform/linux/LinuxRoot.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <system_error>

#include "HVKPlatform/linux/SystemCalls.h"
#include "HVKPlatform/linux/parse/Scan.h"

namespace hvk {

namespace {

bool isProcfs(const std::string& path) {
    struct statfs information {};
    countSystemCalls();
    return ::statfs(path.c_str(), &information) == 0 && information.f_type == PROC_SUPER_MAGIC;
}

}  // namespace

Failure failureFromErrno(int error, std::string source) {
    FailureKind kind = FailureKind::Malformed;
    switch (error) {
        case ENOENT:
        case ENOTDIR: kind = FailureKind::Absent; break;
        case EACCES:
        case EPERM: kind = FailureKind::Denied; break;
        case ESRCH:
        case ENODEV:
        case ENXIO:
        case ESTALE: kind = FailureKind::Gone; break;
        case ETIMEDOUT: kind = FailureKind::TimedOut; break;
        case ENOSYS:
        case EOPNOTSUPP: kind = FailureKind::Unsupported; break;
        default: break;
    }
    return {kind, std::move(source), std::generic_category().message(error)};
}

LinuxRoot::LinuxRoot(std::string directory) : directory_(std::move(directory)) {
    while (!directory_.empty() && directory_.back() == '/') directory_.pop_back();
    live_ = directory_.empty() || isProcfs(path("/proc"));
}

std::string LinuxRoot::path(std::string_view file) const { return directory_ + std::string(file); }

Result<std::string> LinuxRoot::readFile(std::string_view file, std::size_t limit) const {
    const std::string full = path(file);
    countSystemCalls();
    const int descriptor = ::open(full.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (descriptor < 0) return failureFromErrno(errno, std::string(file));
    std::string content;
    char buffer[4096];
    int error = 0;
    while (content.size() < limit) {
        countSystemCalls();
        const ssize_t count = ::read(descriptor, buffer, std::min(sizeof buffer, limit - content.size()));
        if (count == 0) break;
        if (count < 0) {
            if (errno == EINTR) continue;
            error = errno;
            break;
        }
        content.append(buffer, static_cast<std::size_t>(count));
    }
    countSystemCalls();
    ::close(descriptor);
    if (error != 0) return failureFromErrno(error, std::string(file));
    return content;
}

std::optional<std::string> LinuxRoot::readLine(std::string_view file) const {
    const auto content = readFile(file, 4096);
    if (!content) return std::nullopt;
    const std::string_view text = parse::trimmed(*content);
    if (text.empty()) return std::nullopt;
    return std::string(text.substr(0, text.find('\n')));
}

std::vector<std::string> LinuxRoot::list(std::string_view directory) const {
    std::vector<std::string> names;
    std::error_code error;
    countSystemCalls(3);  // open, getdents, close
    for (std::filesystem::directory_iterator entry(path(directory), error), end; !error && entry != end;
         entry.increment(error))
        names.push_back(entry->path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

}  // namespace hvk
