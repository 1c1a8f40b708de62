#include "HVKPlatform/linux/KernelFile.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "HVKPlatform/linux/SystemCalls.h"

namespace hvk {

namespace {

constexpr std::size_t InitialBuffer = 16384;
/// No file that is read here comes near it; an endless one is not followed.
constexpr std::size_t MaximumBuffer = std::size_t{64} << 20;

/// Whether a descriptor may be kept: the kernel renders the file anew at each reading from its beginning.
bool isRenderedByKernel(int descriptor) {
    struct statfs information {};
    countSystemCalls();
    if (::fstatfs(descriptor, &information) != 0) return false;
    return information.f_type == PROC_SUPER_MAGIC || information.f_type == SYSFS_MAGIC;
}

}  // namespace

KernelFile::KernelFile(const LinuxRoot& root, std::string file) : file_(std::move(file)), path_(root.path(file_)) {}

KernelFile::~KernelFile() { close(); }

KernelFile::KernelFile(KernelFile&& other) noexcept
    : file_(std::move(other.file_)),
      path_(std::move(other.path_)),
      buffer_(std::move(other.buffer_)),
      descriptor_(std::exchange(other.descriptor_, -1)),
      keep_(other.keep_) {}

KernelFile& KernelFile::operator=(KernelFile&& other) noexcept {
    if (this != &other) {
        close();
        file_ = std::move(other.file_);
        path_ = std::move(other.path_);
        buffer_ = std::move(other.buffer_);
        descriptor_ = std::exchange(other.descriptor_, -1);
        keep_ = other.keep_;
    }
    return *this;
}

Status KernelFile::open() {
    if (descriptor_ >= 0) return {};
    countSystemCalls();
    descriptor_ = ::open(path_.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (descriptor_ < 0) return failureFromErrno(errno, file_);
    keep_ = isRenderedByKernel(descriptor_);
    if (buffer_.empty()) buffer_.resize(InitialBuffer);
    return {};
}

void KernelFile::close() {
    if (descriptor_ < 0) return;
    countSystemCalls();
    ::close(std::exchange(descriptor_, -1));
}

Result<std::size_t> KernelFile::readAt(std::size_t offset) {
    for (;;) {
        countSystemCalls();
        const ssize_t count =
            ::pread(descriptor_, buffer_.data() + offset, buffer_.size() - offset, static_cast<off_t>(offset));
        if (count >= 0) return static_cast<std::size_t>(count);
        if (errno != EINTR) return failureFromErrno(errno, file_);
    }
}

template <class IsEnough>
Result<std::string_view> KernelFile::readUntil(IsEnough isEnough) {
    if (auto opened = open(); !opened) return opened.failure();
    std::size_t length = 0;
    for (;;) {
        if (length == buffer_.size()) {
            if (length >= MaximumBuffer) {
                close();
                return Failure{FailureKind::Malformed, file_, "the file has no end"};
            }
            buffer_.resize(length * 2);
        }
        const auto count = readAt(length);
        if (!count) {
            // A kept descriptor of a device that went away stays broken: the next reading opens the file anew.
            close();
            return count.failure();
        }
        length += *count;
        if (*count == 0 || (length < buffer_.size() && isEnough(std::string_view(buffer_.data(), length)))) break;
    }
    if (!keep_) close();
    return std::string_view(buffer_.data(), length);
}

Result<std::string_view> KernelFile::read() {
    return readUntil([](std::string_view) { return true; });
}

Result<std::string_view> KernelFile::readThrough(std::string_view lastName) {
    return readUntil([lastName](std::string_view text) {
        for (std::size_t at = text.find(lastName); at != std::string_view::npos; at = text.find(lastName, at + 1)) {
            if (at == 0 || text[at - 1] == '\n') return text.find('\n', at) != std::string_view::npos;
        }
        return false;
    });
}

}  // namespace hvk
