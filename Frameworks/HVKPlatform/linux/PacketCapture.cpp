#include "HVKPlatform/linux/PacketCapture.h"

#include <net/if.h>
#include <net/if_arp.h>
#include <pcap/pcap.h>
#include <poll.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <optional>
#include <string>
#include <unordered_map>

#include "HVKPlatform/linux/SocketOwners.h"
#include "HVKPlatform/linux/SystemCalls.h"
#include "HVKPlatform/linux/parse/CookedPacket.h"

namespace hvk {

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr const char* Source = "packet capture";
constexpr const char* Device = "any";
constexpr const char* Grant = "run as root, or grant the program: setcap cap_net_raw+ep PROGRAM";
constexpr int Timeout = 200;  ///< milliseconds
/// The headers up to the ports: lengths and owners need no more, and the kernel copies no more.
constexpr int SnapshotLength = 160;
constexpr int BufferSize = 16 << 20;
constexpr std::size_t EthernetHeaderSize = 14;
/// Names of interfaces and the bridges that they belong to are looked up again.
constexpr auto InterfaceFor = 5s;
constexpr auto LookAtDrops = 1s;

class AnyHandle : public PacketHandle {
public:
    AnyHandle(const LinuxRoot& root, Diagnostics& diagnostics, SourceHealth& health, pcap_t* capture,
              std::optional<Failure> refusal)
        : root_(root), health_(health), owners_(root, diagnostics), capture_(capture), refusal_(std::move(refusal)) {}
    ~AnyHandle() override { pcap_close(capture_); }
    AnyHandle(const AnyHandle&) = delete;
    AnyHandle& operator=(const AnyHandle&) = delete;

    Outcome next(CapturedPacket& packet) override {
        if (refusal_) {
            (void)health_.failed(*refusal_);
            return Outcome::End;
        }
        if (receiver_) {
            packet = asReceived();
            return Outcome::Packet;
        }
        pcap_pkthdr* header = nullptr;
        const u_char* bytes = nullptr;
        int outcome = pcap_next_ex(capture_, &header, &bytes);
        // The library itself waits until a packet comes, however long.
        if (outcome == 0 && waitForPackets()) outcome = pcap_next_ex(capture_, &header, &bytes);
        if (const auto now = Clock::now(); now >= nextLook_) lookAtDrops(now);
        if (outcome == 0) return Outcome::Nothing;
        if (outcome < 0 || header == nullptr || bytes == nullptr) {
            (void)health_.failed({FailureKind::Gone, Source, pcap_geterr(capture_)});
            return Outcome::End;
        }
        packet = {};
        if (const auto cooked = parse::cookedPacket({bytes, header->caplen})) packet = explained(*cooked);
        return Outcome::Packet;
    }

private:
    struct Interface {
        std::string name;
        bool isPort = false;
        Clock::time_point until;
    };

    /// Whether packets came within the time.
    bool waitForPackets() const {
        pollfd descriptor{pcap_get_selectable_fd(capture_), POLLIN, 0};
        countSystemCalls();
        return ::poll(&descriptor, 1, Timeout) > 0;
    }

    const Interface& interface(std::uint32_t number) {
        Interface& known = interfaces_[number];
        const auto now = Clock::now();
        if (now < known.until) return known;
        std::array<char, IF_NAMESIZE> name{};
        countSystemCalls();
        known.name = ::if_indextoname(number, name.data()) != nullptr ? name.data() : std::to_string(number);
        known.isPort = !root_.list("/sys/class/net/" + known.name + "/master").empty();
        known.until = now + InterfaceFor;
        return known;
    }

    CapturedPacket explained(const parse::CookedPacket& cooked) {
        const bool isLoopback = cooked.hardware == ARPHRD_LOOPBACK;
        const Interface& from = interface(cooked.interface);
        const bool isOutgoing = cooked.type == parse::CookedOutgoing || isLoopback;
        CapturedPacket packet;
        packet.hasHeader = true;
        packet.interface = from.name;
        packet.flags = isOutgoing ? PacketOutbound : PacketInbound;
        packet.linkType = LinkTypeEthernet;
        if (cooked.hardware == ARPHRD_ETHER || isLoopback) {
            frame_[EthernetHeaderSize - 2] = static_cast<std::uint8_t>(cooked.protocol >> 8);
            frame_[EthernetHeaderSize - 1] = static_cast<std::uint8_t>(cooked.protocol);
            const std::size_t size = std::min(cooked.packet.size(), frame_.size() - EthernetHeaderSize);
            std::copy_n(cooked.packet.begin(), size, frame_.begin() + EthernetHeaderSize);
            packet.frame = {frame_.data(), EthernetHeaderSize + size};
        } else {
            packet.linkType = DLT_RAW;
            packet.frame = cooked.packet;
        }
        if (from.isPort) return packet;
        const auto flow = parse::flowOf(cooked.protocol, cooked.packet);
        if (!flow) return packet;
        packet.pid = owners_.owner(isOutgoing ? *flow : flow->reversed());
        if (isLoopback) {
            receiver_ = packet;
            receiver_->pid = owners_.owner(flow->reversed());
        }
        return packet;
    }

    /// The other end of the loopback packet that was handed on last; its frame is still there.
    CapturedPacket asReceived() {
        CapturedPacket packet = *receiver_;
        receiver_.reset();
        packet.flags = PacketInbound;
        return packet;
    }

    void lookAtDrops(Clock::time_point now) {
        nextLook_ = now + LookAtDrops;
        pcap_stat statistics{};
        countSystemCalls();
        if (pcap_stats(capture_, &statistics) != 0) return;
        health_.works();
        if (statistics.ps_drop == dropped_) return;
        dropped_ = statistics.ps_drop;
        health_.note(std::to_string(dropped_) + " of " + std::to_string(statistics.ps_recv) +
                     " packets came faster than they were read, and were not counted");
    }

    const LinuxRoot& root_;
    SourceHealth& health_;
    SocketOwners owners_;
    pcap_t* capture_;
    std::optional<Failure> refusal_;
    std::unordered_map<std::uint32_t, Interface> interfaces_;
    std::array<std::uint8_t, EthernetHeaderSize + SnapshotLength> frame_{};
    std::optional<CapturedPacket> receiver_;
    Clock::time_point nextLook_{};
    unsigned dropped_ = 0;
};

/// Why a capture that was activated cannot be read; nothing when it can.
std::optional<Failure> refusal(pcap_t* capture, int outcome) {
    if (outcome >= 0) return std::nullopt;
    const bool isDenied = outcome == PCAP_ERROR_PERM_DENIED;
    std::string detail = pcap_geterr(capture);
    if (detail.empty()) detail = pcap_statustostr(outcome);
    return Failure{isDenied ? FailureKind::Denied : FailureKind::Absent, Source, std::move(detail)};
}

}  // namespace

LinuxPacketCapturePort::LinuxPacketCapturePort(const LinuxRoot& root, Diagnostics& diagnostics)
    : root_(root),
      diagnostics_(diagnostics),
      health_(diagnostics.source(Source, "traffic by process and interface", Grant)) {}

Result<std::unique_ptr<PacketHandle>> LinuxPacketCapturePort::open() {
    char error[PCAP_ERRBUF_SIZE] = {};
    pcap_t* const capture = pcap_create(Device, error);
    if (capture == nullptr) return health_.failed({FailureKind::Absent, Source, error});
    std::optional<Failure> refused;
    if (!root_.isLive()) {
        refused = Failure{FailureKind::Absent, Source, "no packets pass on a saved machine"};
    } else {
        pcap_set_timeout(capture, Timeout);
        pcap_set_snaplen(capture, SnapshotLength);
        pcap_set_buffer_size(capture, BufferSize);
        countSystemCalls(8);
        refused = refusal(capture, pcap_activate(capture));
        if (!refused && pcap_set_datalink(capture, DLT_LINUX_SLL2) != 0)
            refused = Failure{FailureKind::Unsupported, Source, pcap_geterr(capture)};
        if (!refused && pcap_setnonblock(capture, 1, error) != 0)
            refused = Failure{FailureKind::Unsupported, Source, error};
    }
    return std::unique_ptr<PacketHandle>(
        std::make_unique<AnyHandle>(root_, diagnostics_, health_, capture, std::move(refused)));
}

}  // namespace hvk
