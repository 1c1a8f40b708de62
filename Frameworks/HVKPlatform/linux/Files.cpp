#include "HVKPlatform/linux/Files.h"

#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <optional>

namespace hvk {

namespace {

/// A user's record does not get longer than this, whatever a directory server says.
constexpr std::size_t LongestUserRecord = 1 << 20;

/// An absolute path without slashes at the end; nothing for any other text.
std::optional<std::string> absolute(const char* text) {
    if (text == nullptr || *text != '/') return std::nullopt;
    std::string path(text);
    while (path.size() > 1 && path.back() == '/') path.pop_back();
    return path;
}

std::optional<std::string> homeOfUser() {
    std::vector<char> text(1024);
    while (true) {
        passwd record{};
        passwd* found = nullptr;
        const int error = ::getpwuid_r(::getuid(), &record, text.data(), text.size(), &found);
        if (error == ERANGE && text.size() < LongestUserRecord) {
            text.resize(text.size() * 2);
            continue;
        }
        if (error != 0 || found == nullptr) return std::nullopt;
        return absolute(found->pw_dir);
    }
}

Failure savedTree() { return {FailureKind::Unsupported, "files", "a saved tree has no files of a user"}; }

}  // namespace

LinuxFilesPort::LinuxFilesPort(const LinuxRoot& root, Diagnostics& diagnostics)
    : PosixFilesPort(diagnostics), live_(root.isLive()) {}

Result<std::string> LinuxFilesPort::applicationSupportDirectory() {
    if (!live_) return savedTree();
    if (auto data = absolute(std::getenv("XDG_DATA_HOME"))) return std::move(*data);
    auto home = absolute(std::getenv("HOME"));
    if (!home) home = homeOfUser();
    if (!home) return failed({FailureKind::Absent, "files", "the user has no home directory"});
    return (*home == "/" ? std::string() : *home) + "/.local/share";
}

Status LinuxFilesPort::createDirectory(const std::string& path) {
    if (!live_) return savedTree();
    return PosixFilesPort::createDirectory(path);
}

Result<std::vector<std::uint8_t>> LinuxFilesPort::read(const std::string& path, std::size_t limit) {
    if (!live_) return savedTree();
    return PosixFilesPort::read(path, limit);
}

Status LinuxFilesPort::replace(const std::string& path, std::span<const std::uint8_t> content) {
    if (!live_) return savedTree();
    return PosixFilesPort::replace(path, content);
}

Result<std::vector<std::string>> LinuxFilesPort::names(const std::string& directory) {
    if (!live_) return savedTree();
    return PosixFilesPort::names(directory);
}

}  // namespace hvk
