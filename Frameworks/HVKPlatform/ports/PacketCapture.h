// PacketCapture.h - packets as they pass, each with the process that sends or receives it.
//
// A capture is read by one thread, which may wait in `next`; it is closed when its handle goes. Whatever the system
// writes before a packet is taken off here; what a packet is worth is the module's business.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string_view>

#include "HVKBase/Export.h"
#include "HVKPlatform/Result.h"

namespace hvk {

/// The link type of an Ethernet frame.
inline constexpr std::uint32_t LinkTypeEthernet = 1;

/// The bits of `CapturedPacket::flags` that tell a packet's way.
inline constexpr std::uint32_t PacketDirectionMask = 3;
inline constexpr std::uint32_t PacketInbound = 1;
inline constexpr std::uint32_t PacketOutbound = 2;

/// One packet; its views are valid until the next one is asked for.
struct CapturedPacket {
    bool hasHeader = false;               ///< whether the system said whose it is; without that nothing below is set
    std::int32_t pid = 0;                 ///< below 1 when nobody knows
    std::uint32_t flags = 0;              ///< PacketDirectionMask and others
    std::string_view interface;           ///< "en0"
    std::uint32_t linkType = 0;           ///< of the frame
    std::span<const std::uint8_t> frame;  ///< as far as it was captured
};

/// A running capture.
class HVK_EXPORT PacketHandle {
public:
    virtual ~PacketHandle() = default;

    /// What waiting for a packet came to.
    enum class Outcome {
        Packet,   ///< there is one
        Nothing,  ///< none came within 200 ms
        End,      ///< none will come any more: the capture failed
    };

    /// Waits for a packet. pcap_next_ex.
    virtual Outcome next(CapturedPacket& packet) = 0;

    /// How long to leave the handle alone after `Nothing`, in seconds: 0 where `next` waits for itself.
    virtual double pause() const { return 0; }
};

/// Packet capture. Thread: any.
class HVK_EXPORT PacketCapturePort {
public:
    virtual ~PacketCapturePort() = default;

    /// Opens a capture on all interfaces. Fails when the handle cannot be made, with the library's own text as detail.
    /// Whether packets may be read shows later: a refused capture ends at the first `next`, and the diagnostics say
    /// why. pcap_create on "all" with packet-tap headers; on Linux on "any", with the owners of the sockets.
    virtual Result<std::unique_ptr<PacketHandle>> open() = 0;
};

/// Answers Unsupported: the base of a new adapter.
class HVK_EXPORT UnsupportedPacketCapturePort : public PacketCapturePort {
public:
    Result<std::unique_ptr<PacketHandle>> open() override { return unsupported("packet capture"); }
};

/// Hands the question on; a test overrides it.
class HVK_EXPORT ForwardingPacketCapturePort : public PacketCapturePort {
public:
    explicit ForwardingPacketCapturePort(PacketCapturePort& target) : target_(target) {}
    Result<std::unique_ptr<PacketHandle>> open() override { return target_.open(); }

protected:
    PacketCapturePort& target_;
};

}  // namespace hvk
