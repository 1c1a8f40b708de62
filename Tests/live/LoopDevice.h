// LoopDevice.h - a file attached to a loop device, for live tests.
#pragma once

#include <fcntl.h>
#include <linux/loop.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <utility>

namespace hvk {

/// A file attached to a loop device while it lives.
class LoopDevice {
public:
    /// Of a file of its own, or of a copy of `content`.
    explicit LoopDevice(const std::string& content = {}) {
        file_ = ::open("/tmp", O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
        if (::write(file_, content.data(), content.size()) != static_cast<ssize_t>(content.size())) why_ = "no file";
        const int control = ::open("/dev/loop-control", O_RDWR | O_CLOEXEC);
        if (::ftruncate(file_, content.empty() ? Size : static_cast<off_t>(content.size())) != 0 || control < 0)
            why_ = "no loop device can be made";
        // Another program may take the free one first.
        for (int attempt = 0; attempt < 10 && why_.empty() && name_.empty(); ++attempt) {
            const int number = ::ioctl(control, LOOP_CTL_GET_FREE);
            device_ = ::open(("/dev/loop" + std::to_string(number)).c_str(), O_RDWR | O_CLOEXEC);
            if (device_ >= 0 && ::ioctl(device_, LOOP_SET_FD, file_) == 0)
                name_ = "loop" + std::to_string(number);
            else if (errno != EBUSY)
                why_ = "no file can be attached to a loop device";
            if (name_.empty() && device_ >= 0) ::close(std::exchange(device_, -1));
        }
        if (control >= 0) ::close(control);
    }
    ~LoopDevice() {
        detach();
        ::close(file_);
    }
    LoopDevice(const LoopDevice&) = delete;
    LoopDevice& operator=(const LoopDevice&) = delete;

    /// The kernel detaches a device that somebody has open when the last one closes it.
    void detach() {
        if (device_ < 0) return;
        ::ioctl(device_, LOOP_CLR_FD);
        ::close(std::exchange(device_, -1));
    }

    static constexpr int Size = 1 << 20;
    const std::string& name() const { return name_; }
    const std::string& why() const { return why_; }

private:
    int file_ = -1;
    int device_ = -1;
    std::string name_;
    std::string why_;
};

}  // namespace hvk
