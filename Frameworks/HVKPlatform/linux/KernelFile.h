// KernelFile.h - a kernel file that is read again and again: kept open, read into one buffer, no allocation.
//
// Opening costs more than reading (half of the time for /proc/stat), so the descriptor of a procfs or sysfs file is
// kept and read from its beginning each time. A file of a saved tree is opened anew each time: it may be replaced.
#pragma once

#include <string>
#include <string_view>

#include "HVKPlatform/Result.h"
#include "HVKPlatform/linux/LinuxRoot.h"

namespace hvk {

/// One file. Thread: one at a time.
class KernelFile {
public:
    /// `file` is the machine's name of it, "/proc/stat".
    KernelFile(const LinuxRoot& root, std::string file);
    ~KernelFile();
    KernelFile(KernelFile&& other) noexcept;
    KernelFile& operator=(KernelFile&& other) noexcept;
    KernelFile(const KernelFile&) = delete;
    KernelFile& operator=(const KernelFile&) = delete;

    /// The machine's name of the file.
    const std::string& name() const { return file_; }

    /// The whole content in one read: right for files that the kernel renders whole (stat, meminfo, loadavg, sysfs
    /// attributes). The view is valid until the next reading.
    Result<std::string_view> read();

    /// The content up to and including the line that begins with `lastName`, or all of it when there is none: for files
    /// that the kernel renders page by page and of which the beginning is wanted.
    Result<std::string_view> readThrough(std::string_view lastName);

private:
    Status open();
    void close();
    /// Fills the buffer from `offset` on; the number of bytes, 0 at the end.
    Result<std::size_t> readAt(std::size_t offset);
    template <class IsEnough>
    Result<std::string_view> readUntil(IsEnough isEnough);

    std::string file_;
    std::string path_;
    std::string buffer_;
    int descriptor_ = -1;
    bool keep_ = false;
};

}  // namespace hvk
