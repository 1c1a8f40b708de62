#include "HVKPlatform/darwin/SystemControl.h"

#include <sys/sysctl.h>
#include <sys/types.h>

#include <cerrno>

#include "HVKPlatform/darwin/Cost.h"
#include "HVKPlatform/darwin/decode/Failures.h"

namespace hvk {

SystemControl::SystemControl(std::string name, std::array<int, 2> numbers)
    : name_(std::move(name)), numbers_(numbers.begin(), numbers.end()) {}

SystemControl::SystemControl(std::string name) : name_(std::move(name)) {}

Result<std::span<const std::uint8_t>> SystemControl::read(std::span<std::uint8_t> buffer) const {
    std::size_t size = buffer.size();
    countSystemCalls();
    const int status = numbers_.empty() ? sysctlbyname(name_.c_str(), buffer.data(), &size, nullptr, 0)
                                        : sysctl(const_cast<int*>(numbers_.data()), static_cast<u_int>(numbers_.size()),
                                                 buffer.data(), &size, nullptr, 0);
    if (status != 0) return decode::systemControlFailure(name_, errno);
    return std::span<const std::uint8_t>(buffer.first(size));
}

}  // namespace hvk
