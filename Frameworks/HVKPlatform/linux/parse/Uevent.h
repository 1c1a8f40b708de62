// Uevent.h - a device event as it comes over netlink: the kernel's own framing and that of the device manager.
//
// The kernel sends "add@/devices/..." and then NUL-ended KEY=VALUE words. The device manager sends the same words, with
// those of its rules added, behind a header: "libudev", the number 0xfeedcafe, and where the words lie.
#pragma once

#include <cstdint>
#include <string_view>

#include "HVKPlatform/Result.h"

namespace hvk::parse {

/// One event. The texts lie in the message that it was made from.
struct Uevent {
    std::string_view action;     ///< "add", "remove", "change", "move", "bind", "unbind", "online", "offline"
    std::string_view path;       ///< below /sys: "/devices/virtual/block/loop0"
    std::string_view subsystem;  ///< "block"; empty when the kernel names none
    std::uint64_t sequence = 0;  ///< the kernel's number, the same in both framings; 0 when it is not there
    bool isManaged = false;      ///< it is the device manager's: its rules are done

    /// The device's name, the last part of the path: "loop0". The kernel writes '!' for a '/'.
    std::string_view name() const;
};

/// Reads one message. Malformed when it is neither framing, is cut short, or names no action or no path.
Result<Uevent> parseUevent(std::string_view message);

}  // namespace hvk::parse
