#include "HVKPlatform/recorded/PacketCapture.h"

#include <algorithm>
#include <mutex>
#include <optional>
#include <utility>

namespace hvk {

namespace {

constexpr const char* Source = "recording: packets";

/// As the real captures' read timeout.
constexpr double Pause = 0.2;

RecordedPacket readPacket(const RecordingField& field) {
    RecordedPacket packet;
    if (field.value().is_null()) {
        packet.hasHeader = false;
        return packet;
    }
    field.allowOnly({"pid", "direction", "interface", "linkType", "frame"});
    if (const auto pid = field.find("pid")) packet.pid = static_cast<std::int32_t>(pid->integer());
    const std::string direction = field.require("direction").text();
    if (direction != "in" && direction != "out") field.require("direction").wrong("\"in\" or \"out\"");
    packet.flags = direction == "out" ? PacketOutbound : PacketInbound;
    packet.interface = field.require("interface").text();
    if (const auto type = field.find("linkType"))
        packet.linkType = static_cast<std::uint32_t>(type->unsignedInteger(0xFFFFFFFF));
    if (const auto frame = field.find("frame")) packet.frame = frame->hexadecimal();
    return packet;
}

}  // namespace

void readPackets(const RecordingField& section, PacketCaptureAnswers& answers) {
    answers.packets.clear();
    if (auto failure = section.failure(Source)) {
        answers.available = std::move(*failure);
        return;
    }
    answers.available = {};
    for (std::size_t index = 0; index < section.size(); ++index) {
        const RecordingField field = section.at(index);
        if (field.value() == "end")
            answers.ends = true;
        else
            answers.packets.push_back(readPacket(field));
    }
}

/// What the captures share with the port, and may outlive it with.
struct RecordedPacketCapture::Wire {
    mutable std::mutex mutex;
    PacketCaptureAnswers answers;
    std::vector<Handle*> captures;
};

class RecordedPacketCapture::Handle : public PacketHandle {
public:
    explicit Handle(std::shared_ptr<Wire> wire) : wire_(std::move(wire)) {
        const std::lock_guard lock(wire_->mutex);
        wire_->captures.push_back(this);
    }
    ~Handle() override {
        const std::lock_guard lock(wire_->mutex);
        std::erase(wire_->captures, this);
    }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;

    Outcome next(CapturedPacket& packet) override {
        const std::lock_guard lock(wire_->mutex);
        if (waiting.empty()) return wire_->answers.ends ? Outcome::End : Outcome::Nothing;
        current_ = std::move(waiting.front());
        waiting.pop_front();
        packet = {};
        if (!current_.hasHeader) return Outcome::Packet;
        packet = {true, current_.pid, current_.flags, current_.interface, current_.linkType, current_.frame};
        return Outcome::Packet;
    }

    double pause() const override { return Pause; }

    std::deque<RecordedPacket> waiting;  ///< guarded by the wire's mutex

private:
    std::shared_ptr<Wire> wire_;
    RecordedPacket current_;
};

RecordedPacketCapture::RecordedPacketCapture(Diagnostics& diagnostics)
    : health_(diagnostics.source(Source, "traffic by process and interface")), wire_(std::make_shared<Wire>()) {}

Result<std::unique_ptr<PacketHandle>> RecordedPacketCapture::open() {
    std::optional<Failure> failure;
    {
        const std::lock_guard lock(wire_->mutex);
        if (!wire_->answers.available) failure = wire_->answers.available.failure();
    }
    if (failure) return health_.failed(*failure);
    health_.works();
    return std::unique_ptr<PacketHandle>(std::make_unique<Handle>(wire_));
}

PacketCaptureAnswers RecordedPacketCapture::answers() const {
    const std::lock_guard lock(wire_->mutex);
    return wire_->answers;
}

void RecordedPacketCapture::setAnswers(PacketCaptureAnswers answers) {
    const std::lock_guard lock(wire_->mutex);
    for (Handle* const capture : wire_->captures)
        capture->waiting.insert(capture->waiting.end(), answers.packets.begin(), answers.packets.end());
    answers.packets.clear();
    wire_->answers = std::move(answers);
}

std::size_t RecordedPacketCapture::captureCount() const {
    const std::lock_guard lock(wire_->mutex);
    return wire_->captures.size();
}

}  // namespace hvk
