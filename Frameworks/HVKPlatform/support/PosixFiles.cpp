#include "HVKPlatform/support/PosixFiles.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <string_view>
#include <system_error>
#include <utility>

namespace hvk {

namespace {

constexpr std::string_view UnfinishedEnding = ".unfinished";
constexpr int MostNames = 100;

Failure failureOf(int error, const std::string& path, const char* step) {
    FailureKind kind = FailureKind::Malformed;
    switch (error) {
        case ENOENT:
        case ENOTDIR: kind = FailureKind::Absent; break;
        case EACCES:
        case EPERM:
        case EROFS: kind = FailureKind::Denied; break;
        case ESTALE:
        case ENXIO:
        case ENODEV: kind = FailureKind::Gone; break;
        case ETIMEDOUT: kind = FailureKind::TimedOut; break;
        default: break;
    }
    return {kind, path, std::string(step) + ": " + std::generic_category().message(error)};
}

/// A descriptor that is closed at the end.
class Descriptor {
public:
    explicit Descriptor(int number) : number_(number) {}
    ~Descriptor() {
        if (number_ >= 0) ::close(number_);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int get() const { return number_; }
    int release() { return std::exchange(number_, -1); }

private:
    int number_;
};

struct Place {
    std::string directory;  ///< "." for a name alone
    std::string name;
};

Place split(const std::string& path) {
    const auto slash = path.rfind('/');
    if (slash == std::string::npos) return {".", path};
    return {slash == 0 ? "/" : path.substr(0, slash), path.substr(slash + 1)};
}

/// The names in a directory but for "." and ".."; an errno when it cannot be listed.
std::vector<std::string> list(const std::string& directory, int& error) {
    std::vector<std::string> names;
    const std::unique_ptr<DIR, int (*)(DIR*)> stream(::opendir(directory.c_str()), &::closedir);
    error = stream ? 0 : errno;
    if (!stream) return names;
    errno = 0;
    while (const dirent* entry = ::readdir(stream.get())) {
        const std::string_view name = entry->d_name;
        if (name != "." && name != "..") names.emplace_back(name);
        errno = 0;
    }
    error = errno;
    return names;
}

bool isUnfinished(std::string_view name) { return name.starts_with('.') && name.ends_with(UnfinishedEnding); }

/// What the unfinished files of one file have in common.
std::string unfinishedStart(const std::string& name) { return '.' + name + '.'; }

/// Takes away what killed writers of a file left. A writer at work holds a lock on its own.
void removeRemnants(const Place& place, PosixCalls& calls) {
    int error = 0;
    const std::string start = unfinishedStart(place.name);
    for (const std::string& name : list(place.directory, error)) {
        if (!name.starts_with(start) || !isUnfinished(name)) continue;
        const std::string path = place.directory + '/' + name;
        const Descriptor file(::open(path.c_str(), O_WRONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
        if (file.get() >= 0 && calls.lock(file.get()) == 0) (void)calls.remove(path.c_str());
    }
}

/// A new file beside the one to replace, locked for as long as it is written; removed unless it was renamed.
class NewFile {
public:
    NewFile(const Place& place, PosixCalls& calls) : calls_(calls) {
        static std::atomic<unsigned> counter{0};
        for (int attempt = 0; attempt < MostNames && descriptor_ < 0; ++attempt) {
            path_ = place.directory + '/' + unfinishedStart(place.name) + std::to_string(::getpid()) + '-' +
                    std::to_string(counter++) + std::string(UnfinishedEnding);
            descriptor_ = calls_.create(path_.c_str());
            error_ = descriptor_ < 0 ? errno : 0;
            if (descriptor_ < 0 && error_ != EEXIST && error_ != EINTR) break;
            if (descriptor_ >= 0 && !isOurs()) abandon();
        }
    }
    ~NewFile() {
        if (descriptor_ >= 0) (void)calls_.close(descriptor_);
        if (!path_.empty()) (void)calls_.remove(path_.c_str());
    }
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;

    int get() const { return descriptor_; }
    const std::string& path() const { return path_; }

    /// Why there is none.
    int error() const { return error_; }

    /// Renames it; from then on it is not removed any more.
    int moveTo(const std::string& path) {
        if (calls_.rename(path_.c_str(), path.c_str()) != 0) return -1;
        path_.clear();
        return 0;
    }

    int close() { return calls_.close(std::exchange(descriptor_, -1)); }

private:
    /// Whether the lock was taken before anybody took the file for a remnant.
    bool isOurs() const {
        struct stat status {};
        const int locked = calls_.lock(descriptor_);
        // A file system without locks has nobody who takes files away either.
        if (locked != 0 && errno == EWOULDBLOCK) return false;
        return ::fstat(descriptor_, &status) == 0 && status.st_nlink > 0;
    }

    void abandon() {
        (void)calls_.close(std::exchange(descriptor_, -1));
        (void)calls_.remove(path_.c_str());
        error_ = EBUSY;
    }

    PosixCalls& calls_;
    std::string path_;
    int descriptor_ = -1;
    int error_ = EBUSY;
};

bool writeAll(int descriptor, std::span<const std::uint8_t> content, PosixCalls& calls) {
    while (!content.empty()) {
        const ssize_t count = calls.write(descriptor, content.data(), content.size());
        if (count < 0) {
            if (errno == EINTR) continue;
            return false;
        }
        if (count == 0) {
            errno = ENOSPC;
            return false;
        }
        content = content.subspan(static_cast<std::size_t>(count));
    }
    return true;
}

PosixCalls& systemCalls() {
    static PosixCalls calls;
    return calls;
}

}  // namespace

int PosixCalls::create(const char* path) {
    return ::open(path, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0644);
}

int PosixCalls::lock(int descriptor) { return ::flock(descriptor, LOCK_EX | LOCK_NB); }

ssize_t PosixCalls::write(int descriptor, const void* bytes, std::size_t size) {
    return ::write(descriptor, bytes, size);
}

int PosixCalls::synchronize(int descriptor) {
#ifdef F_FULLFSYNC
    // fsync hands the bytes to the drive and does not wait until they are on it. Not every file system has more.
    if (::fcntl(descriptor, F_FULLFSYNC) == 0) return 0;
#endif
    return ::fsync(descriptor);
}

int PosixCalls::close(int descriptor) { return ::close(descriptor); }

int PosixCalls::rename(const char* from, const char* to) { return ::rename(from, to); }

int PosixCalls::remove(const char* path) { return ::unlink(path); }

PosixFilesPort::PosixFilesPort(Diagnostics& diagnostics) : PosixFilesPort(diagnostics, systemCalls()) {}

PosixFilesPort::PosixFilesPort(Diagnostics& diagnostics, PosixCalls& calls)
    : health_(diagnostics.source("files", "what is kept for the user", "check the rights of the directory")),
      calls_(calls) {}

Failure PosixFilesPort::failed(Failure failure) {
    if (failure.kind == FailureKind::Absent) {
        health_.works();
        return failure;
    }
    return health_.failed(std::move(failure));
}

Result<std::string> PosixFilesPort::applicationSupportDirectory() {
    return Failure{FailureKind::Absent, "files", "this system has no directory for what a program keeps"};
}

Status PosixFilesPort::createDirectory(const std::string& path) {
    // From the top down; a directory that is there already may lie below one that cannot be written to.
    for (std::size_t end = 1; end != std::string::npos;) {
        end = path.find('/', end);
        const std::string part = path.substr(0, end);
        if (end != std::string::npos) ++end;
        struct stat status {};
        if (::stat(part.c_str(), &status) == 0) {
            if (!S_ISDIR(status.st_mode)) return failed(failureOf(ENOTDIR, part, "cannot make the directory"));
            continue;
        }
        if (::mkdir(part.c_str(), 0700) == 0) continue;
        const int error = errno;
        // Somebody else was faster.
        if (error == EEXIST && ::stat(part.c_str(), &status) == 0 && S_ISDIR(status.st_mode)) continue;
        return failed(failureOf(error, part, "cannot make the directory"));
    }
    health_.works();
    return {};
}

Result<std::vector<std::uint8_t>> PosixFilesPort::read(const std::string& path, std::size_t limit) {
    const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    if (file.get() < 0) {
        if (errno == ELOOP) return failed({FailureKind::Malformed, path, "this is a link and no file"});
        return failed(failureOf(errno, path, "cannot open the file"));
    }
    struct stat status {};
    if (::fstat(file.get(), &status) != 0) return failed(failureOf(errno, path, "cannot look at the file"));
    if (!S_ISREG(status.st_mode)) return failed({FailureKind::Malformed, path, "this is no regular file"});

    const auto tooLong = [&] {
        return failed({FailureKind::Malformed, path, "it is longer than " + std::to_string(limit) + " bytes"});
    };
    if (static_cast<std::uint64_t>(status.st_size) > limit) return tooLong();
    // It may grow meanwhile: one byte more than was announced shows it.
    std::vector<std::uint8_t> content(static_cast<std::size_t>(status.st_size) + 1);
    std::size_t length = 0;
    while (true) {
        const ssize_t count = ::read(file.get(), content.data() + length, content.size() - length);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return failed(failureOf(errno, path, "cannot read the file"));
        if (count == 0) break;
        length += static_cast<std::size_t>(count);
        if (length > limit) return tooLong();
        if (length == content.size()) content.resize(length * 2);
    }
    content.resize(length);
    health_.works();
    return content;
}

Status PosixFilesPort::replace(const std::string& path, std::span<const std::uint8_t> content) {
    const Place place = split(path);
    struct stat status {};
    if (::lstat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode) && !S_ISLNK(status.st_mode))
        return failed({FailureKind::Malformed, path, "this is no regular file"});
    removeRemnants(place, calls_);
    NewFile file(place, calls_);
    const auto failedAt = [&](const char* step, int error) { return failed(failureOf(error, path, step)); };
    if (file.get() < 0) return failedAt("cannot make a file beside it", file.error());
    if (!writeAll(file.get(), content, calls_)) return failedAt("cannot write the new file", errno);
    if (calls_.synchronize(file.get()) != 0) return failedAt("cannot bring the new file to the disk", errno);
    if (file.moveTo(path) != 0) return failedAt("cannot put the new file in place", errno);
    // The content is on the disk: what closing could still complain of is not the file's.
    (void)file.close();

    // The new file is in place. Only its name might still be lost with the power, and then the old content is there.
    const Descriptor directory(::open(place.directory.c_str(), O_RDONLY | O_CLOEXEC | O_DIRECTORY));
    if (directory.get() >= 0) (void)calls_.synchronize(directory.get());
    health_.works();
    return {};
}

Result<std::vector<std::string>> PosixFilesPort::names(const std::string& directory) {
    int error = 0;
    auto names = list(directory, error);
    if (error != 0) return failed(failureOf(error, directory, "cannot list the directory"));
    std::erase_if(names, isUnfinished);
    health_.works();
    return names;
}

}  // namespace hvk
