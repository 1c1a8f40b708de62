// PacketCapture.h - packets as they pass, with the processes that they belong to.
#pragma once

#include "HVKBase/Export.h"
#include "HVKPlatform/Result.h"

namespace hvk {

/// Packets as they pass, with the processes that they belong to. Thread: the main thread.
class HVK_EXPORT PacketCapturePort {
public:
    virtual ~PacketCapturePort() = default;
};

/// Answers Unsupported to everything: the base of a new adapter.
class HVK_EXPORT UnsupportedPacketCapturePort : public PacketCapturePort {};

/// Hands every question on; a test overrides the one it bends.
class HVK_EXPORT ForwardingPacketCapturePort : public PacketCapturePort {
public:
    explicit ForwardingPacketCapturePort(PacketCapturePort& target) : target_(target) {}

protected:
    PacketCapturePort& target_;
};

}  // namespace hvk
