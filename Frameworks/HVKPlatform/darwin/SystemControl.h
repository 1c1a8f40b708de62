// SystemControl.h - one sysctl: how it is named, and its raw bytes. Decoding them is decode/'s.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "HVKPlatform/Result.h"

namespace hvk {

/// A sysctl that is read as bytes. Thread: any.
class SystemControl {
public:
    /// By number, e.g. {CTL_VM, VM_LOADAVG}; `name` is what the failures show.
    SystemControl(std::string name, std::array<int, 2> numbers);

    /// By name, for those that have no fixed number; the numbers are looked up at each reading.
    explicit SystemControl(std::string name);

    const std::string& name() const { return name_; }

    /// Reads into `buffer` and answers the part of it that was written. Fails as decode::systemControlFailure says.
    Result<std::span<const std::uint8_t>> read(std::span<std::uint8_t> buffer) const;

private:
    std::string name_;
    std::vector<int> numbers_;
};

}  // namespace hvk
