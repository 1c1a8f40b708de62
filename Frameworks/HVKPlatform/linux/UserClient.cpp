#include "HVKPlatform/linux/UserClient.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace hvk {

namespace {

constexpr const char* Source = "hardware monitors";
constexpr std::uint32_t FloatType = 0x666C7420;  // "flt "
constexpr std::uint32_t FloatSize = 4;

Failure notOpen() { return {FailureKind::Gone, Source, "the connection is not open"}; }
Failure noSuchMethod(std::uint32_t selector) {
    return unsupported("method " + std::to_string(selector) + " of the controller");
}

}  // namespace

Result<UserClientConnection> LinuxUserClientPort::open(const std::string& className, std::uint32_t type) {
    if (className != ControllerServiceClass)
        return Failure{FailureKind::Absent, className, "this machine has no such service"};
    if (type != ControllerClientType) return unsupported("user client " + std::to_string(type) + " of " + className);
    if (!monitors_.exists())
        return Failure{FailureKind::Absent, "/sys/class/hwmon", "this machine has no hardware monitoring"};
    std::lock_guard lock(mutex_);
    open_.push_back(++last_);
    return last_;
}

bool LinuxUserClientPort::isOpen(UserClientConnection connection) {
    std::lock_guard lock(mutex_);
    return std::find(open_.begin(), open_.end(), connection) != open_.end();
}

Status LinuxUserClientPort::callScalar(UserClientConnection connection, std::uint32_t selector) {
    if (!isOpen(connection)) return notOpen();
    if (selector != ControllerOpenSelector) return noSuchMethod(selector);
    return {};
}

Result<std::size_t> LinuxUserClientPort::callStructure(UserClientConnection connection, std::uint32_t selector,
                                                       std::span<const std::uint8_t> input,
                                                       std::span<std::uint8_t> output) {
    if (!isOpen(connection)) return notOpen();
    if (selector != ControllerCallSelector) return noSuchMethod(selector);
    return answerControllerCall(*this, input, output);
}

void LinuxUserClientPort::close(UserClientConnection connection) {
    std::lock_guard lock(mutex_);
    std::erase(open_, connection);
}

std::size_t LinuxUserClientPort::count() { return monitors_.places(); }

std::optional<std::uint32_t> LinuxUserClientPort::keyAt(std::size_t index) { return monitors_.keyAt(index); }

Result<ControllerKeyInfo> LinuxUserClientPort::info(std::uint32_t key) {
    if (!isSensorKey(key)) return Failure{FailureKind::Absent, Source, "there is no such key"};
    return ControllerKeyInfo{FloatSize, FloatType, 0};
}

Status LinuxUserClientPort::read(std::uint32_t key, std::span<std::uint8_t> bytes) {
    const auto value = static_cast<float>(monitors_.read(key).value_or(std::numeric_limits<float>::max()));
    std::uint32_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    for (std::size_t index = 0; index < FloatSize; ++index) bytes[index] = static_cast<std::uint8_t>(bits >> 8 * index);
    return {};
}

Status LinuxUserClientPort::write(std::uint32_t, std::span<const std::uint8_t>) {
    return Failure{FailureKind::Denied, Source, "this program measures; it sets no fans and no limits"};
}

}  // namespace hvk
