#include "HVKStatistics/network/HVKStatisticsPacketItem.h"

#include <algorithm>
#include <utility>

#include "HVKLogger/DDLog.h"

namespace hvk {

namespace {

// An Ethernet frame: two addresses, the type of what follows, and that.
constexpr std::size_t EtherTypeAt = 12;
constexpr std::size_t EthernetHeaderSize = 14;
constexpr std::uint16_t EtherTypeIPv4 = 0x0800;
constexpr std::uint16_t EtherTypeIPv6 = 0x86DD;
constexpr std::size_t IPv4TotalLengthAt = EthernetHeaderSize + 2;
constexpr std::size_t IPv6PayloadLengthAt = EthernetHeaderSize + 4;

/// Packets that are read before the queue's other work has its turn.
constexpr int PacketsAtOnce = 4096;

/// A table grows by so many records at a time.
constexpr std::size_t Growth = 10;

/// Longer names are cut.
constexpr std::size_t LongestInterfaceName = 24;

/// 16 bits in network order; 0 when they were not captured.
std::uint16_t networkNumber(std::span<const std::uint8_t> bytes, std::size_t at) {
    if (bytes.size() < at + 2) return 0;
    return static_cast<std::uint16_t>(bytes[at] << 8 | bytes[at + 1]);
}

template <class Record>
Record& added(std::vector<Record>& table, Record record) {
    if (table.size() == table.capacity()) table.reserve(table.size() + Growth);
    return table.emplace_back(std::move(record));
}

template <class Record>
void count(Record& record, bool isOutbound, std::uint32_t length) {
    (isOutbound ? record.upload : record.download) += length;
}

}  // namespace

std::uint32_t packetLength(std::uint32_t linkType, std::span<const std::uint8_t> frame) {
    if (linkType != LinkTypeEthernet) return 0;
    switch (networkNumber(frame, EtherTypeAt)) {
        case EtherTypeIPv4: return networkNumber(frame, IPv4TotalLengthAt);
        case EtherTypeIPv6: return networkNumber(frame, IPv6PayloadLengthAt);
        default: return 0;
    }
}

HVKStatisticsPacketItem::HVKStatisticsPacketItem(Machine& machine, std::shared_ptr<Queue> queue)
    : machine_(machine), queue_(std::move(queue)) {}

void HVKStatisticsPacketItem::capture() {
    auto handle = machine_.packetCapture().open();
    if (!handle) {
        HVKLogError("error creating pcap '" + handle.failure().detail + "'");
        return;
    }
    handle_ = *std::move(handle);
    capturing_ = true;
    queue_->async([weak = weak_from_this()] {
        if (const auto self = weak.lock()) self->readPackets();
    });
}

/// One turn of the loop: it goes on in a new piece of work, so that a queue on which time is virtual is not held up.
void HVKStatisticsPacketItem::readPackets() {
    CapturedPacket packet;
    for (int read = 0; read < PacketsAtOnce; ++read) {
        if (finished) return end();
        switch (handle_->next(packet)) {
            case PacketHandle::Outcome::End: return end();
            case PacketHandle::Outcome::Packet:
                if (!paused && packet.hasHeader) addPacket(packet);
                continue;
            case PacketHandle::Outcome::Nothing: break;
        }
        if (const double pause = handle_->pause(); pause > 0)
            return queue_->asyncAfter(pause, [weak = weak_from_this()] {
                if (const auto self = weak.lock()) self->readPackets();
            });
    }
    queue_->async([weak = weak_from_this()] {
        if (const auto self = weak.lock()) self->readPackets();
    });
}

void HVKStatisticsPacketItem::end() {
    handle_.reset();
    capturing_ = false;
    flush();
}

void HVKStatisticsPacketItem::addPacket(const CapturedPacket& packet) {
    const bool byProcess = updateProcesses;
    const bool byInterface = updateInterfaces;
    if (!byProcess && !byInterface) return;
    const std::uint32_t length = packetLength(packet.linkType, packet.frame);
    const bool isOutbound = (packet.flags & PacketDirectionMask) == PacketOutbound;
    const std::int32_t pid = std::max(packet.pid, 0);
    const std::string_view name = packet.interface.substr(0, LongestInterfaceName);

    const std::lock_guard lock(mutex_);
    if (byProcess) {
        const auto [place, isNew] = places_.try_emplace(pid, processes_.size());
        if (isNew) added(processes_, {pid, 0, 0, machine_.clock().wallSeconds()});
        count(processes_[place->second], isOutbound, length);
    }
    if (byInterface) {
        auto found = std::find_if(interfaces_.begin(), interfaces_.end(),
                                  [name](const InterfaceRecord& record) { return record.interface == name; });
        count(found != interfaces_.end() ? *found : added(interfaces_, {0, 0, std::string(name)}), isOutbound, length);
    }
}

Value HVKStatisticsPacketItem::stats(double time) {
    Value packets = Value::array();
    const std::lock_guard lock(mutex_);
    for (const ProcessRecord& record : processes_)
        packets.push_back(
            {{"pid", record.pid}, {"download", record.download}, {"upload", record.upload}, {"time", record.time}});
    processes_.clear();
    places_.clear();
    return {{"packets", std::move(packets)}, {"time", time}};
}

Value HVKStatisticsPacketItem::interfaces() {
    Value interfaces = Value::array();
    const std::lock_guard lock(mutex_);
    for (const InterfaceRecord& record : interfaces_)
        interfaces.push_back(
            {{"interface", record.interface}, {"download", record.download}, {"upload", record.upload}});
    interfaces_.clear();
    return {{"interfaces", std::move(interfaces)}};
}

void HVKStatisticsPacketItem::flush() {
    const std::lock_guard lock(mutex_);
    processes_.clear();
    places_.clear();
    interfaces_.clear();
}

void HVKStatisticsPacketItem::flushAndPause() {
    paused = true;
    flush();
}

void HVKStatisticsPacketItem::resume() { paused = false; }

void HVKStatisticsPacketItem::stop() { finished = true; }

}  // namespace hvk
