#include "HVKPlatform/linux/AttributeFile.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/resource.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string_view>
#include <utility>

#include "HVKPlatform/linux/SystemCalls.h"
#include "HVKPlatform/linux/parse/HardwareMonitor.h"

namespace hvk {

namespace {

constexpr std::ptrdiff_t MostDescriptors = 2048;
/// Room for any 64-bit number and a newline; a longer content is none.
constexpr std::size_t NumberSize = 32;

std::ptrdiff_t shareOfDescriptors() {
    rlimit limit{};
    countSystemCalls();
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0) return 0;
    return static_cast<std::ptrdiff_t>(std::min<rlim_t>(limit.rlim_cur / 8, MostDescriptors));
}

bool isSysfs(int descriptor) {
    struct statfs information {};
    countSystemCalls();
    return ::fstatfs(descriptor, &information) == 0 && information.f_type == SYSFS_MAGIC;
}

}  // namespace

DescriptorBudget::DescriptorBudget(Keep keep) : keep_(keep), left_(shareOfDescriptors()) {}

bool DescriptorBudget::take() {
    if (left_.fetch_sub(1) > 0) return true;
    ++left_;
    return false;
}

AttributeFile::AttributeFile(AttributeFile&& other) noexcept
    : path_(std::move(other.path_)),
      budget_(other.budget_),
      descriptor_(std::exchange(other.descriptor_, -1)),
      kept_(std::exchange(other.kept_, false)) {
    other.path_.clear();
}

AttributeFile& AttributeFile::operator=(AttributeFile&& other) noexcept {
    if (this != &other) {
        close();
        path_ = std::move(other.path_);
        other.path_.clear();
        budget_ = other.budget_;
        descriptor_ = std::exchange(other.descriptor_, -1);
        kept_ = std::exchange(other.kept_, false);
    }
    return *this;
}

void AttributeFile::close() {
    if (descriptor_ < 0) return;
    countSystemCalls();
    ::close(std::exchange(descriptor_, -1));
    if (std::exchange(kept_, false)) budget_->giveBack();
}

std::ptrdiff_t AttributeFile::readInto(char* line, std::size_t size) {
    if (descriptor_ < 0) {
        countSystemCalls();
        // A FIFO in a saved tree must not block.
        descriptor_ = ::open(path_.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
        if (descriptor_ < 0) return -errno;
        kept_ = (budget_->keepsEverything() || isSysfs(descriptor_)) && budget_->take();
    }
    std::ptrdiff_t count;
    do {
        countSystemCalls();
        count = ::pread(descriptor_, line, size, 0);
    } while (count < 0 && errno == EINTR);
    if (count < 0) count = -errno;
    // The descriptor of a device that went away stays broken.
    if (!kept_ || count == -ENODEV || count == -ENOENT) close();
    return count;
}

AttributeReading AttributeFile::read() {
    char text[NumberSize];
    const std::ptrdiff_t count = readInto(text, sizeof text);
    if (count < 0) return {static_cast<int>(-count), 0};
    const auto number = parse::parseMonitorNumber(std::string_view(text, static_cast<std::size_t>(count)));
    if (!number || count == sizeof text) return {EBADMSG, 0};
    return {0, *number};
}

}  // namespace hvk
