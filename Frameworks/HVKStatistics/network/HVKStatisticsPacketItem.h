// HVKStatisticsPacketItem.h - one capture: a loop that reads packets, and the two tables into which it adds them.
//
// It owns the counting; where packets come from, and whose they are, is the machine's business. Turning amounts into
// rates belongs to whoever collects them.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <unordered_map>
#include <vector>

#include "HVKBase/Export.h"
#include "HVKPlatform/Machine.h"
#include "HVKPlatform/Value.h"
#include "HVKPlatform/ports/PacketCapture.h"

namespace hvk {

/// The bytes of the packet that a frame carries: the IPv4 total length or the IPv6 payload length of an Ethernet frame;
/// 0 for every other link type and protocol, and for a frame that was cut before the number.
HVK_EXPORT std::uint32_t packetLength(std::uint32_t linkType, std::span<const std::uint8_t> frame);

/// A capture. Made by HVKStatisticsPackets; it lives as long as its loop runs. Thread: any. The tables are guarded by a
/// lock, not by a queue: a packet is added in tens of nanoseconds, and handing it to a queue would cost more.
class HVK_EXPORT HVKStatisticsPacketItem : public std::enable_shared_from_this<HVKStatisticsPacketItem> {
public:
    /// `queue` runs the loop. Starts nothing.
    HVKStatisticsPacketItem(Machine& machine, std::shared_ptr<Queue> queue);

    std::atomic<bool> finished = false;         ///< the loop is asked to end; it looks after each packet or 200 ms
    std::atomic<bool> paused = false;           ///< packets are read and not counted
    std::atomic<bool> updateProcesses = true;   ///< count by process
    std::atomic<bool> updateInterfaces = true;  ///< count by interface

    /// Where the loop runs.
    const std::shared_ptr<Queue>& queue() const { return queue_; }

    /// Opens the capture and starts the loop on the queue. One that cannot be opened is logged, and the item stays
    /// idle; one that is refused ends by itself. Called once.
    void capture();

    /// What passed since the last call, by process: {"packets": [{"pid", "download", "upload", "time"}], "time"}.
    /// Bytes; the "time" of a process is that of its first packet, in seconds since 1970. Pid 0 has what nobody owns.
    Value stats(double time);

    /// What passed since the last call, by interface: {"interfaces": [{"interface", "download", "upload"}]}.
    Value interfaces();

    /// Forgets what passed.
    void flush();

    /// The same, and counts nothing until `resume`. The capture goes on.
    void flushAndPause();
    void resume();

    /// Asks the loop to end.
    void stop();

    /// Whether the loop runs.
    bool isCapturing() const { return capturing_; }

private:
    struct ProcessRecord {
        std::int32_t pid = -1;
        std::uint64_t upload = 0;
        std::uint64_t download = 0;
        double time = 0;
    };
    struct InterfaceRecord {
        std::uint64_t upload = 0;
        std::uint64_t download = 0;
        std::string interface;
    };

    void readPackets();
    void addPacket(const CapturedPacket& packet);
    void end();

    Machine& machine_;
    std::shared_ptr<Queue> queue_;
    std::unique_ptr<PacketHandle> handle_;  ///< the loop's own
    std::atomic<bool> capturing_ = false;

    std::mutex mutex_;  ///< guards the tables
    std::vector<ProcessRecord> processes_;
    std::unordered_map<std::int32_t, std::size_t> places_;  ///< of the processes in their table
    std::vector<InterfaceRecord> interfaces_;
};

}  // namespace hvk
