// PacketCapture.h - the packet tap, through libpcap.
#pragma once

#include "HVKPlatform/ports/PacketCapture.h"
#include "HVKPlatform/support/Diagnostics.h"

namespace hvk {

/// PacketCapturePort of macOS. The library's function for packet-tap headers is in no public header and looked up.
class DarwinPacketCapturePort : public PacketCapturePort {
public:
    explicit DarwinPacketCapturePort(Diagnostics& diagnostics);
    Result<std::unique_ptr<PacketHandle>> open() override;

private:
    SourceHealth& health_;
};

}  // namespace hvk
