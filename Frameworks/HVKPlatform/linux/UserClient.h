// UserClient.h - the management controller of a Linux machine: the channels of its hardware monitors behind the
// controller's calls.
//
// Every channel is a key (SensorKeys.h) of type "flt ", four bytes in little-endian order: degrees Celsius, revolutions
// per minute, volts, amperes, watts, megahertz. Keys are listed in the order in which their channels were first seen,
// and keep their index while the program runs; the index of a channel whose chip was removed answers nothing until it
// is back.
//
// A client keeps what it once learned of a key, and takes a failed call for the value 0. So the description of a key
// never depends on whether its sensor answers: any key of our shape is described, and one without a value now reads as
// the largest finite number, a client's own mark of a value that is not available.
#pragma once

#include <mutex>
#include <vector>

#include "HVKPlatform/linux/HardwareMonitors.h"
#include "HVKPlatform/ports/UserClient.h"
#include "HVKPlatform/support/ControllerProtocol.h"

namespace hvk {

/// The controller's user client. It opens where the kernel has hardware monitoring, also without a chip: one may come.
/// Nothing can be written: this program measures. Thread: any.
class LinuxUserClientPort : public UserClientPort, private ControllerKeys {
public:
    explicit LinuxUserClientPort(HardwareMonitors& monitors) : monitors_(monitors) {}
    Result<UserClientConnection> open(const std::string& className, std::uint32_t type) override;
    Status callScalar(UserClientConnection connection, std::uint32_t selector) override;
    Result<std::size_t> callStructure(UserClientConnection connection, std::uint32_t selector,
                                      std::span<const std::uint8_t> input, std::span<std::uint8_t> output) override;
    void close(UserClientConnection connection) override;

private:
    bool isOpen(UserClientConnection connection);
    std::size_t count() override;
    std::optional<std::uint32_t> keyAt(std::size_t index) override;
    Result<ControllerKeyInfo> info(std::uint32_t key) override;
    Status read(std::uint32_t key, std::span<std::uint8_t> bytes) override;
    Status write(std::uint32_t key, std::span<const std::uint8_t> bytes) override;

    HardwareMonitors& monitors_;
    std::mutex mutex_;
    std::vector<UserClientConnection> open_;
    UserClientConnection last_ = 0;
};

}  // namespace hvk
