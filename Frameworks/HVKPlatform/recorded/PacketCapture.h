// PacketCapture.h - the packets that pass on a recorded machine.
#pragma once

#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "HVKBase/Export.h"
#include "HVKPlatform/ports/PacketCapture.h"
#include "HVKPlatform/recorded/RecordedPort.h"
#include "HVKPlatform/recorded/RecordingField.h"

namespace hvk {

/// One packet as the recording describes it.
struct RecordedPacket {
    bool hasHeader = true;
    std::int32_t pid = 0;
    std::uint32_t flags = 0;
    std::string interface;
    std::uint32_t linkType = LinkTypeEthernet;
    std::vector<std::uint8_t> frame;
};

/// What the port answers. Packets belong to the frame that names them: they pass once. On a machine whose recording
/// does not mention them none pass.
struct PacketCaptureAnswers {
    Status available;
    std::vector<RecordedPacket> packets;
    bool ends = false;  ///< the capture fails behind the packets
};

/// Reads a section "packets": an array of {"pid", "direction" ("in" or "out"), "interface", "linkType", "frame"
/// (data)}, null for a packet that nobody explains, and "end" for a capture that fails. Throws RecordingFault.
void readPackets(const RecordingField& section, PacketCaptureAnswers& answers);

/// The port. A packet passes every capture that is open when its frame comes.
class HVK_EXPORT RecordedPacketCapture : public PacketCapturePort {
public:
    explicit RecordedPacketCapture(Diagnostics& diagnostics);
    Result<std::unique_ptr<PacketHandle>> open() override;

    /// What the port answers now, without packets: they have passed.
    PacketCaptureAnswers answers() const;
    /// What it answers from now on; the packets pass now.
    void setAnswers(PacketCaptureAnswers answers);

    /// How many captures are open.
    std::size_t captureCount() const;

private:
    struct Wire;
    class Handle;

    SourceHealth& health_;
    std::shared_ptr<Wire> wire_;
};

}  // namespace hvk
