#include "HVKPlatform/linux/registry/SysfsTree.h"

#include <dirent.h>
#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <memory>

#include "HVKPlatform/linux/SystemCalls.h"
#include "HVKPlatform/linux/parse/SysfsText.h"

namespace hvk {

namespace {

constexpr std::string_view Devices = "/sys/devices";
/// sysfs attributes are a page at most; binary ones are not read here.
constexpr std::size_t MaximumAttribute = 65536;
constexpr int MaximumLinks = 40;  // as the kernel's own

bool isBelowDevices(std::string_view path) {
    return path.size() > Devices.size() && path.substr(0, Devices.size()) == Devices && path[Devices.size()] == '/';
}

/// The target of a link; nothing when it is none.
std::optional<std::string> targetOf(const std::string& fullPath) {
    char target[PATH_MAX];
    countSystemCalls();
    const ssize_t length = ::readlink(fullPath.c_str(), target, sizeof target);
    if (length < 0 || static_cast<std::size_t>(length) == sizeof target) return std::nullopt;
    return std::string(target, static_cast<std::size_t>(length));
}

/// Where a link at `path` with this target leads when there is no other link on the way.
std::string lexicalTarget(std::string_view path, std::string_view target) {
    std::string result;
    if (target.substr(0, 1) != "/") result = path.substr(0, path.rfind('/'));
    while (!target.empty()) {
        const std::string_view name = target.substr(0, target.find('/'));
        target.remove_prefix(std::min(target.size(), name.size() + 1));
        if (name == "..")
            result.resize(result.empty() ? 0 : result.rfind('/'));
        else if (!name.empty() && name != ".")
            result.append("/").append(name);
    }
    return result;
}

struct CloseDirectory {
    void operator()(DIR* directory) const { ::closedir(directory); }
};

/// The kind of a directory's entry, S_IFDIR and the like; 0 when it went away.
mode_t kindOf(DIR* directory, const dirent& entry) {
    if (entry.d_type != DT_UNKNOWN) return DTTOIF(entry.d_type);
    struct stat information {};
    countSystemCalls();
    const bool isThere = ::fstatat(::dirfd(directory), entry.d_name, &information, AT_SYMLINK_NOFOLLOW) == 0;
    return isThere ? information.st_mode & S_IFMT : 0;
}

/// A descriptor that is closed at the end.
class Descriptor {
public:
    explicit Descriptor(int number) : number_(number) {}
    ~Descriptor() {
        if (number_ < 0) return;
        countSystemCalls();
        ::close(number_);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int get() const { return number_; }

private:
    int number_;
};

}  // namespace

SysfsTree::SysfsTree(const LinuxRoot& root, Diagnostics& diagnostics)
    : root_(root),
      health_(diagnostics.source("/sys/devices", "devices", "mount sysfs at /sys")),
      directory_(::open(root.path("/").c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC)) {
    countSystemCalls();
}

SysfsTree::~SysfsTree() {
    if (directory_ >= 0) ::close(directory_);
}

Failure SysfsTree::failed(int error, const std::string& path) const {
    Failure failure = failureFromErrno(error, path);
    const bool comesAndGoes = failure.kind == FailureKind::Absent || failure.kind == FailureKind::Gone;
    return comesAndGoes && path != Devices ? failure : health_.failed(std::move(failure));
}

bool SysfsTree::exists(const std::string& path) const {
    countSystemCalls();
    return ::faccessat(AT_FDCWD, root_.path(path).c_str(), F_OK, AT_SYMLINK_NOFOLLOW) == 0;
}

std::vector<std::string> SysfsTree::directories(const std::string& path) const {
    return list(path, Wanted::Directories);
}

std::vector<std::string> SysfsTree::links(const std::string& path) const { return list(path, Wanted::Links); }

std::vector<std::string> SysfsTree::list(const std::string& path, Wanted wanted) const {
    std::vector<std::string> names;
    countSystemCalls(4);  // open, getdents twice, close
    const int descriptor =
        ::open(root_.path(path).c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0) {
        failed(errno, path);
        return names;
    }
    const std::unique_ptr<DIR, CloseDirectory> directory(::fdopendir(descriptor));
    if (!directory) {
        failed(errno, path);
        ::close(descriptor);
        return names;
    }
    for (;;) {
        errno = 0;
        const dirent* const entry = ::readdir(directory.get());
        if (entry == nullptr) break;
        const std::string_view name = entry->d_name;
        if (name == "." || name == "..") continue;
        if (kindOf(directory.get(), *entry) == (wanted == Wanted::Links ? S_IFLNK : S_IFDIR)) names.emplace_back(name);
    }
    if (errno != 0)
        failed(errno, path);
    else
        health_.works();
    std::sort(names.begin(), names.end(), parse::nameBefore);
    return names;
}

Result<SysfsIdentity> SysfsTree::identity(const std::string& path) const {
    struct statx information {};
    countSystemCalls();
    if (::statx(AT_FDCWD, root_.path(path).c_str(), AT_SYMLINK_NOFOLLOW | AT_STATX_DONT_SYNC,
                STATX_TYPE | STATX_INO | STATX_BTIME, &information) != 0)
        return failed(errno, path);
    if (!S_ISDIR(information.stx_mode)) return Failure{FailureKind::Absent, path, "it is no directory"};
    SysfsIdentity identity;
    identity.device = (static_cast<std::uint64_t>(information.stx_dev_major) << 32) | information.stx_dev_minor;
    identity.inode = information.stx_ino;
    if ((information.stx_mask & STATX_BTIME) != 0)
        identity.birthNanoseconds = information.stx_btime.tv_sec * 1'000'000'000 + information.stx_btime.tv_nsec;
    return identity;
}

Result<std::string> SysfsTree::read(const std::string& path) const {
    countSystemCalls();
    const Descriptor file(::open(root_.path(path).c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (file.get() < 0) return failed(errno, path);
    if (!root_.isLive()) {
        struct stat information {};
        countSystemCalls();
        if (::fstat(file.get(), &information) != 0) return failed(errno, path);
        if (!S_ISREG(information.st_mode))
            return health_.failed({FailureKind::Malformed, path, "it is no regular file"});
    }
    std::string content;
    char buffer[4096];
    for (;;) {
        countSystemCalls();
        const ssize_t count = ::read(file.get(), buffer, sizeof buffer);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return failed(errno, path);
        content.append(buffer, static_cast<std::size_t>(count));
        if (content.size() > MaximumAttribute)
            return health_.failed({FailureKind::Malformed, path, "it is larger than any attribute"});
        // The kernel renders an attribute whole: a reading that did not fill the buffer was the last.
        if (static_cast<std::size_t>(count) < sizeof buffer) break;
    }
    health_.works();
    return content;
}

std::optional<std::string> SysfsTree::linkName(const std::string& path) const {
    auto target = targetOf(root_.path(path));
    if (!target) return std::nullopt;
    return target->substr(target->rfind('/') + 1);
}

Result<std::string> SysfsTree::device(const std::string& link) const {
    if (const auto target = targetOf(root_.path(link))) {
        std::string path = lexicalTarget(link, *target);
        if (isBelowDevices(path) && (root_.isLive() || isPlainDirectory(path))) return path;
    }
    auto path = resolved(link);
    if (path && !isBelowDevices(*path))
        return health_.failed({FailureKind::Malformed, link, "it leads to no device but to " + *path});
    return path;
}

/// Whether there is a directory at a path and no link on the way. No answer of an old kernel is a no.
bool SysfsTree::isPlainDirectory(const std::string& path) const {
    struct open_how how {};
    how.flags = O_PATH | O_DIRECTORY | O_CLOEXEC;
    how.resolve = RESOLVE_BENEATH | RESOLVE_NO_SYMLINKS;
    countSystemCalls();
    const Descriptor directory(
        static_cast<int>(::syscall(SYS_openat2, directory_, path.c_str() + 1, &how, sizeof how)));
    return directory.get() >= 0;
}

/// Follows every link on the way, each below the root.
Result<std::string> SysfsTree::resolved(const std::string& path) const {
    std::string done;
    std::string rest = path;
    int links = 0;
    while (!rest.empty()) {
        const std::string name = rest.substr(0, rest.find('/'));
        rest.erase(0, std::min(rest.size(), name.size() + 1));
        if (name.empty() || name == ".") continue;
        if (name == "..") {
            done.resize(done.empty() ? 0 : done.rfind('/'));
            continue;
        }
        const std::string next = done + "/" + name;
        const auto target = targetOf(root_.path(next));
        if (!target) {
            done = next;
            continue;
        }
        if (++links > MaximumLinks) return health_.failed({FailureKind::Malformed, path, "its links lead in a circle"});
        if (target->substr(0, 1) == "/") done.clear();
        rest = *target + "/" + rest;
    }
    if (!exists(done)) return Failure{FailureKind::Absent, path, "it leads to nothing"};
    return done;
}

}  // namespace hvk
