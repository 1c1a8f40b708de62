#include "HVKPlatform/darwin/PacketCapture.h"

#include <dlfcn.h>
#include <pcap/pcap.h>

#include "HVKPlatform/darwin/Cost.h"
#include "HVKPlatform/darwin/decode/PacketTap.h"

namespace hvk {

namespace {

constexpr const char* Source = "packet tap";
constexpr const char* Device = "all";
constexpr int Timeout = 200;  ///< milliseconds
constexpr int SnapshotLength = 262144;

class TapHandle : public PacketHandle {
public:
    TapHandle(pcap_t* capture, SourceHealth& health) : capture_(capture), health_(health) {}
    ~TapHandle() override { pcap_close(capture_); }
    TapHandle(const TapHandle&) = delete;
    TapHandle& operator=(const TapHandle&) = delete;

    Outcome next(CapturedPacket& packet) override {
        pcap_pkthdr* header = nullptr;
        const u_char* bytes = nullptr;
        countSystemCalls();
        const int outcome = pcap_next_ex(capture_, &header, &bytes);
        if (outcome == 0) return Outcome::Nothing;
        if (outcome < 0 || header == nullptr || bytes == nullptr) {
            (void)health_.failed({FailureKind::Denied, Source, pcap_geterr(capture_)});
            return Outcome::End;
        }
        packet = decode::packetTap({bytes, header->caplen}).value_or(CapturedPacket{});
        health_.works();
        return Outcome::Packet;
    }

private:
    pcap_t* capture_;
    SourceHealth& health_;
};

}  // namespace

DarwinPacketCapturePort::DarwinPacketCapturePort(Diagnostics& diagnostics)
    : health_(diagnostics.source(Source, "traffic by process and interface",
                                 "give this program access to the packet filter devices (/dev/bpf*)")) {}

Result<std::unique_ptr<PacketHandle>> DarwinPacketCapturePort::open() {
    char error[PCAP_ERRBUF_SIZE] = {};
    pcap_t* const capture = pcap_create(Device, error);
    if (capture == nullptr) return health_.failed({FailureKind::Absent, Source, error});
    pcap_set_timeout(capture, Timeout);
    using WantTap = int (*)(pcap_t*, int);
    if (const auto wantTap = reinterpret_cast<WantTap>(dlsym(RTLD_DEFAULT, "pcap_set_want_pktap"))) wantTap(capture, 1);
    pcap_set_snaplen(capture, SnapshotLength);
    // What comes of it shows when the first packet is read.
    pcap_activate(capture);
    return std::unique_ptr<PacketHandle>(std::make_unique<TapHandle>(capture, health_));
}

}  // namespace hvk
