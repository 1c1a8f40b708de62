// RecordedMachine.h - a machine that is written down: what it answers, and when that changes.
//
// A description in JSON says what every port answers at first; frames in time order say what changes and when. Time is
// virtual: it passes only when somebody advances it, and on the way the frames are applied and the work of the queues
// runs, in order. So a fault seen once is replayed anywhere, and a test about a minute takes no time.
//
//     auto machine = RecordedMachine::fromFile("laptop.json");
//     (*machine)->advance(60);
//
// docs/recordings.md describes the fields. A question that the recording does not describe answers Absent.
#pragma once

#include <deque>
#include <memory>
#include <optional>
#include <string>

#include "HVKBase/Export.h"
#include "HVKPlatform/Machine.h"
#include "HVKPlatform/recorded/Bluetooth.h"
#include "HVKPlatform/recorded/Files.h"
#include "HVKPlatform/recorded/Graphics.h"
#include "HVKPlatform/recorded/HID.h"
#include "HVKPlatform/recorded/HTTP.h"
#include "HVKPlatform/recorded/HardwareEvents.h"
#include "HVKPlatform/recorded/Load.h"
#include "HVKPlatform/recorded/Memory.h"
#include "HVKPlatform/recorded/PacketCapture.h"
#include "HVKPlatform/recorded/ProcessTable.h"
#include "HVKPlatform/recorded/Processor.h"
#include "HVKPlatform/recorded/Registry.h"
#include "HVKPlatform/recorded/SensorDescriptions.h"
#include "HVKPlatform/recorded/System.h"
#include "HVKPlatform/recorded/UserClient.h"
#include "HVKPlatform/recorded/VirtualClock.h"
#include "HVKPlatform/recorded/VirtualQueues.h"

namespace hvk {

/// The machine. Thread: one at a time advances it and applies frames; the ports may be asked from any.
///
/// Times of this class are those of the wall clock, in seconds since 1970. The cost port answers Unsupported: a
/// recorded machine makes no system calls.
class HVK_EXPORT RecordedMachine : public Machine {
public:
    /// The machine of a description, with its first frame applied. Every frame is checked beforehand: Malformed, with
    /// the JSON pointer of the place, when anything in it makes no sense.
    static Result<std::unique_ptr<RecordedMachine>> fromJSON(const Value& description);

    /// The same from a file. Absent when there is none, Denied when it cannot be read, Malformed for what is no JSON.
    static Result<std::unique_ptr<RecordedMachine>> fromFile(const std::string& path);

    RecordedMachine(const RecordedMachine&) = delete;
    RecordedMachine& operator=(const RecordedMachine&) = delete;

    /// What the description calls it; empty when it has no name.
    const std::string& name() const { return name_; }

    /// Moves time on by `seconds`: applies the frames and runs the queues' work that falls due, in order of time, a
    /// frame before work. The clock stays where it ends, past the last frame too; the last answers stay.
    void advance(double seconds);

    /// Moves time on until the wall clock shows `time`, or more after a frame that set it forward. A time that has come
    /// already changes nothing.
    void advanceTo(double time);

    /// The wall clock of the first frame.
    double startTime() const { return startTime_; }

    /// The wall clock of the last frame.
    double endTime() const { return endTime_; }

    /// What the wall clock will show when the next frame comes (before the frame sets it), for `advanceTo`; nothing
    /// after the last.
    std::optional<double> nextFrameTime() const;

    /// Applies one more frame now, between those of the recording. Its "time" may be left out; when it is there it sets
    /// the wall clock. Malformed, and nothing changes, when it makes no sense.
    Status setFrame(const Value& frame);

    VirtualClock& virtualClock() { return clock_; }
    VirtualQueues& virtualQueues() { return queues_; }
    TreeRegistry& treeRegistry() { return tree_; }

    // The ports, to be scripted one answer at a time.
    RecordedSystem& recordedSystem() { return system_; }
    RecordedProcessor& recordedProcessor() { return processor_; }
    RecordedMemory& recordedMemory() { return memory_; }
    RecordedLoad& recordedLoad() { return load_; }
    RecordedProcessTable& recordedProcessTable() { return processTable_; }
    RecordedBluetooth& recordedBluetooth() { return bluetooth_; }
    RecordedHardwareEvents& recordedHardwareEvents() { return hardwareEvents_; }
    RecordedFiles& recordedFiles() { return files_; }
    RecordedHTTP& recordedHTTP() { return http_; }
    RecordedPacketCapture& recordedPacketCapture() { return packetCapture_; }
    RecordedUserClient& recordedUserClients() { return userClients_; }
    RecordedGraphics& recordedGraphics() { return graphics_; }
    RecordedHID& recordedHID() { return hid_; }
    RecordedSensorDescriptions& recordedSensorDescriptions() { return sensorDescriptions_; }

    ClockPort& clock() override { return clock_; }
    SystemPort& system() override { return system_; }
    ProcessorPort& processor() override { return processor_; }
    MemoryPort& memory() override { return memory_; }
    LoadPort& load() override { return load_; }
    ProcessTablePort& processTable() override { return processTable_; }
    RegistryPort& registry() override { return registry_; }
    BluetoothPort& bluetooth() override { return bluetooth_; }
    UserClientPort& userClients() override { return userClients_; }
    HIDPort& hid() override { return hid_; }
    SensorDescriptionsPort& sensorDescriptions() override { return sensorDescriptions_; }
    FilesPort& files() override { return files_; }
    HTTPPort& http() override { return http_; }
    HardwareEventsPort& hardwareEvents() override { return hardwareEvents_; }
    QueuesPort& queues() override { return queues_; }
    GraphicsPort& graphics() override { return graphics_; }
    PacketCapturePort& packetCapture() override { return packetCapture_; }
    CostPort& cost() override { return cost_; }
    Diagnostics& diagnostics() override { return diagnostics_; }

private:
    /// A frame that is still to come; it was checked when the recording was taken in.
    struct Frame {
        Value content;
        VirtualTime due = 0;
        double time = 0;
        std::string pointer;
    };

    /// All answers of the ports but the registry's tree.
    struct Answers {
        SystemAnswers system;
        ProcessorAnswers processor;
        MemoryAnswers memory;
        LoadAnswers load;
        ProcessTableAnswers processes;
        BluetoothAnswers bluetooth;
        UserClientAnswers controller;
        GraphicsAnswers graphics;
        HIDAnswers hid;
        PacketCaptureAnswers packets;
        SensorDescriptionsAnswers sensorDescriptions;
        RegistryAnswers registry;
        HardwareEventAnswers events;
        FilesAnswers files;
        HTTPAnswers http;
    };

    RecordedMachine(double wallSeconds, double monotonicSeconds);

    static std::unique_ptr<RecordedMachine> read(const RecordingField& description);
    static void readSections(const RecordingField& field, Answers& answers);
    static void readFrame(const RecordingField& frame, Answers& answers, TreeRegistry& tree);
    void readFrames(const RecordingField& frames);

    Answers answers() const;
    void setAnswers(Answers answers);
    void apply(const RecordingField& frame);
    void reachFrame();

    std::string name_;
    double startTime_;
    double endTime_;
    Diagnostics diagnostics_;
    SourceHealth& frameHealth_;
    VirtualClock clock_;
    TreeRegistry tree_;
    RecordedSystem system_;
    RecordedProcessor processor_;
    RecordedMemory memory_;
    RecordedLoad load_;
    RecordedProcessTable processTable_;
    RecordedBluetooth bluetooth_;
    RecordedUserClient userClients_;
    RecordedGraphics graphics_;
    RecordedHID hid_;
    RecordedPacketCapture packetCapture_;
    RecordedFiles files_;
    RecordedHTTP http_;
    RecordedSensorDescriptions sensorDescriptions_;
    RecordedRegistry registry_;
    UnsupportedCostPort cost_;
    std::deque<Frame> frames_;
    VirtualQueues queues_;  ///< destroyed early: work that never ran may hold handles of the tree
    RecordedHardwareEvents hardwareEvents_;
};

}  // namespace hvk
