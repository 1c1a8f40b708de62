// PacketCapture.h - packets of all interfaces through libpcap's device "any", with the owners of their sockets.
//
// Ethernet, and the loopback which looks like it, is handed on as Ethernet frames, everything else as what it is: a
// tunnel's packets pass once more inside another's. A packet of the loopback is seen once and has two ends here: it is
// handed on twice, as sent and as received. What passes a port of a bridge or a bond has no owner there: its owner is
// that of the packet on the bridge.
#pragma once

#include "HVKPlatform/linux/LinuxRoot.h"
#include "HVKPlatform/ports/PacketCapture.h"
#include "HVKPlatform/support/Diagnostics.h"

namespace hvk {

/// PacketCapturePort of Linux. A saved tree captures nothing.
class LinuxPacketCapturePort : public PacketCapturePort {
public:
    LinuxPacketCapturePort(const LinuxRoot& root, Diagnostics& diagnostics);
    Result<std::unique_ptr<PacketHandle>> open() override;

private:
    const LinuxRoot& root_;
    Diagnostics& diagnostics_;
    SourceHealth& health_;
};

}  // namespace hvk
