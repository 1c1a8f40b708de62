#include "HVKPlatform/recorded/RecordedMachine.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>
#include <utility>

namespace hvk {

namespace {

constexpr std::uint64_t Schema = 1;

/// Wall-clock readings carry a quarter of a microsecond; this near a frame counts as there.
constexpr VirtualTime FrameTolerance = 1'000;

double finiteNumber(const RecordingField& field) {
    const double number = field.number();
    if (!std::isfinite(number)) field.fault("should be finite");
    return number;
}

/// The sections that may stand in a description and in a frame.
// clang-format off
constexpr const char* Sections[] = {
    "bluetooth",
    "controller",
    "files",
    "graphics",
    "hid",
    "http",
    "interfaceAddresses",
    "load",
    "memory",
    "packets",
    "processes",
    "processor",
    "sensors",
    "system",
};
// clang-format on

/// The names, and those of the sections.
std::vector<std::string_view> withSections(std::vector<std::string_view> names) {
    names.insert(names.end(), std::begin(Sections), std::end(Sections));
    return names;
}

Failure malformed(const std::string& source, const std::string& detail) {
    return {FailureKind::Malformed, source, detail};
}

}  // namespace

RecordedMachine::RecordedMachine(double wallSeconds, double monotonicSeconds)
    : startTime_(wallSeconds),
      endTime_(wallSeconds),
      frameHealth_(diagnostics_.source("recording: frames", "changes of the recorded machine")),
      clock_(wallSeconds, monotonicSeconds),
      system_(diagnostics_),
      processor_(diagnostics_),
      memory_(diagnostics_),
      load_(diagnostics_),
      processTable_(diagnostics_),
      bluetooth_(diagnostics_),
      userClients_(diagnostics_),
      graphics_(diagnostics_),
      hid_(diagnostics_),
      packetCapture_(diagnostics_),
      files_(diagnostics_),
      http_(queues_, diagnostics_),
      sensorDescriptions_(diagnostics_),
      registry_(tree_, diagnostics_),
      queues_(clock_),
      hardwareEvents_(tree_, queues_.main(), diagnostics_) {
    queues_.setEvents({[this]() -> std::optional<VirtualTime> {
                           if (frames_.empty()) return std::nullopt;
                           return frames_.front().due;
                       },
                       [this] { reachFrame(); }});
}

// Taking a recording in

Result<std::unique_ptr<RecordedMachine>> RecordedMachine::fromJSON(const Value& description) {
    try {
        return read(RecordingField(description));
    } catch (const RecordingFault& fault) {
        return fault.failure;
    }
}

Result<std::unique_ptr<RecordedMachine>> RecordedMachine::fromFile(const std::string& path) {
    std::error_code error;
    const auto status = std::filesystem::status(path, error);
    if (status.type() == std::filesystem::file_type::not_found)
        return Failure{FailureKind::Absent, path, "there is no such file"};
    if (std::filesystem::is_directory(status)) return malformed(path, "it is a directory");
    std::ifstream file(path, std::ios::binary);
    if (!file) return Failure{FailureKind::Denied, path, "it cannot be opened for reading"};
    const std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    if (file.bad()) return malformed(path, "it cannot be read to its end");

    Value description;
    try {
        description = Value::parse(text);
    } catch (const Value::parse_error& fault) {
        return malformed(path, "it is no JSON text, see byte " + std::to_string(fault.byte));
    } catch (const Value::exception& fault) {
        return malformed(path, std::string("it is no JSON text: ") + fault.what());
    }
    auto machine = fromJSON(description);
    if (machine) return machine;
    return Failure{machine.failure().kind, path, machine.failure().detail};
}

std::unique_ptr<RecordedMachine> RecordedMachine::read(const RecordingField& description) {
    const RecordingField schema = description.require("schema");
    if (schema.unsignedInteger() != Schema) schema.fault("should be 1, the only schema there is");
    description.allowOnly(withSections({"schema", "name", "registry", "frames"}));

    const RecordingField frames = description.require("frames");
    if (frames.size() == 0) frames.fault("should hold at least one frame");
    const RecordingField first = frames.at(0);
    const double wall = finiteNumber(first.require("time"));
    const auto monotonic = first.find("monotonic");

    std::unique_ptr<RecordedMachine> machine(new RecordedMachine(wall, monotonic ? finiteNumber(*monotonic) : 0));
    if (const auto name = description.find("name")) machine->name_ = name->text();
    Answers answers;
    readSections(description, answers);
    if (const auto registry = description.find("registry")) readRegistry(*registry, machine->tree_, answers.registry);
    readFrame(first, answers, machine->tree_);
    machine->setAnswers(std::move(answers));
    machine->readFrames(frames);
    return machine;
}

/// Puts the frames after the first on the axis, and applies them to a copy of everything: what does not fit is found
/// now and not in the middle of a replay.
void RecordedMachine::readFrames(const RecordingField& frames) {
    Answers tried = answers();
    const auto triedTree = tree_.copy();
    double wall = startTime_;
    double monotonic = clock_.monotonicSeconds();
    VirtualTime due = 0;
    for (std::size_t index = 1; index < frames.size(); ++index) {
        const RecordingField frame = frames.at(index);
        const RecordingField time = frame.require("time");
        const double nextWall = finiteNumber(time);
        double passed = nextWall - wall;
        if (const auto given = frame.find("monotonic")) {
            passed = finiteNumber(*given) - monotonic;
            if (passed < 0) given->fault("is before the frame before it");
        } else if (passed < 0) {
            time.fault("is before the frame before it; a wall clock that was set back needs \"monotonic\"");
        }
        readFrame(frame, tried, *triedTree);
        due = later(due, passed);
        wall = nextWall;
        monotonic += passed;
        frames_.push_back({frame.value(), due, nextWall, frame.pointer()});
    }
    endTime_ = wall;
}

/// What a description and a frame have in common.
void RecordedMachine::readSections(const RecordingField& field, Answers& answers) {
    if (const auto section = field.find("system")) readSystem(*section, answers.system);
    if (const auto section = field.find("processor")) readProcessor(*section, answers.processor);
    if (const auto section = field.find("memory")) readMemory(*section, answers.memory);
    if (const auto section = field.find("load")) readLoad(*section, answers.load);
    if (const auto section = field.find("processes")) readProcessTable(*section, answers.processes);
    if (const auto section = field.find("bluetooth")) readBluetooth(*section, answers.bluetooth);
    if (const auto section = field.find("interfaceAddresses")) readInterfaceAddresses(*section, answers.events);
    if (const auto section = field.find("files")) readFiles(*section, answers.files);
    if (const auto section = field.find("http")) readHTTP(*section, answers.http);
    if (const auto section = field.find("controller")) readUserClient(*section, answers.controller);
    if (const auto section = field.find("graphics")) readGraphics(*section, answers.graphics);
    if (const auto section = field.find("packets")) readPackets(*section, answers.packets);
    if (const auto section = field.find("hid")) readHID(*section, answers.hid);
    if (const auto section = field.find("sensors")) readSensorDescriptions(*section, answers.sensorDescriptions);
}

void RecordedMachine::readFrame(const RecordingField& frame, Answers& answers, TreeRegistry& tree) {
    frame.allowOnly(withSections({"time", "monotonic", "registry", "events"}));
    if (const auto processor = frame.find("processor"); processor && processor->value().is_object())
        if (const auto architecture = processor->find("architecture"))
            architecture->fault("does not change; it belongs to the description");
    readSections(frame, answers);
    answers.events.events.clear();
    if (const auto events = frame.find("events")) readEvents(*events, answers.events);
    if (const auto registry = frame.find("registry")) changeRegistry(*registry, tree, answers.registry);
}

// Frames

RecordedMachine::Answers RecordedMachine::answers() const {
    Answers answers;
    answers.system = system_.answers();
    answers.processor = processor_.answers();
    answers.memory = memory_.answers();
    answers.load = load_.answers();
    answers.processes = processTable_.answers();
    answers.bluetooth = bluetooth_.answers();
    answers.controller = userClients_.answers();
    answers.graphics = graphics_.answers();
    answers.packets = packetCapture_.answers();
    answers.hid = hid_.answers();
    answers.sensorDescriptions = sensorDescriptions_.answers();
    answers.registry = registry_.answers();
    answers.events = hardwareEvents_.answers();
    answers.files = files_.answers();
    answers.http = http_.answers();
    return answers;
}

void RecordedMachine::setAnswers(Answers answers) {
    system_.setAnswers(std::move(answers.system));
    processor_.setAnswers(std::move(answers.processor));
    memory_.setAnswers(std::move(answers.memory));
    load_.setAnswers(std::move(answers.load));
    processTable_.setAnswers(std::move(answers.processes));
    bluetooth_.setAnswers(std::move(answers.bluetooth));
    userClients_.setAnswers(std::move(answers.controller));
    graphics_.setAnswers(std::move(answers.graphics));
    packetCapture_.setAnswers(std::move(answers.packets));
    hid_.setAnswers(std::move(answers.hid));
    sensorDescriptions_.setAnswers(std::move(answers.sensorDescriptions));
    registry_.setAnswers(std::move(answers.registry));
    hardwareEvents_.setAnswers(std::move(answers.events));
    files_.setAnswers(std::move(answers.files));
    http_.setAnswers(std::move(answers.http));
}

/// Applies a frame whole or, by the exception that it throws, not at all.
void RecordedMachine::apply(const RecordingField& frame) {
    Answers next = answers();
    if (const auto registry = frame.find("registry"); registry && registry->value().is_array()) {
        RegistryAnswers tried = next.registry;
        changeRegistry(*registry, *tree_.copy(), tried);
    }
    // The tree is changed last, by changes that fit: all else was read by then.
    readFrame(frame, next, tree_);
    setAnswers(std::move(next));
    hardwareEvents_.lookAtServices();
}

Status RecordedMachine::setFrame(const Value& content) {
    try {
        const RecordingField frame(content);
        if (const auto monotonic = frame.find("monotonic")) monotonic->fault("a frame for now has none");
        const auto time = frame.find("time");
        const double wall = time ? finiteNumber(*time) : 0;
        apply(frame);
        if (time) clock_.setWallSeconds(wall);
        frameHealth_.works();
        return {};
    } catch (const RecordingFault& fault) {
        return frameHealth_.failed(fault.failure);
    }
}

void RecordedMachine::reachFrame() {
    const Frame frame = std::move(frames_.front());
    frames_.pop_front();
    clock_.setWallSeconds(frame.time);
    try {
        apply(RecordingField(frame.content, frame.pointer));
        frameHealth_.works();
    } catch (const RecordingFault& fault) {
        // It fitted the recording; whoever changed the tree by hand since learns why it does not any more.
        (void)frameHealth_.failed(fault.failure);
    }
}

// Time

void RecordedMachine::advance(double seconds) { queues_.runUntil(later(clock_.now(), seconds)); }

void RecordedMachine::advanceTo(double time) {
    while (time > clock_.wallSeconds() - FrameTolerance * 1e-9) {
        const VirtualTime now = clock_.now();
        const VirtualTime end = std::min(later(now, time - clock_.wallSeconds()), LatestVirtualTime);
        if (frames_.empty() || frames_.front().due > end + FrameTolerance) {
            queues_.runUntil(end);
            if (end == now) return;
        } else {
            const VirtualTime due = frames_.front().due;
            queues_.runUntil(due);
            // The clock came to `time` together with the frame, whatever that has set it to.
            if (due + FrameTolerance >= end) return;
        }
    }
}

std::optional<double> RecordedMachine::nextFrameTime() const {
    if (frames_.empty()) return std::nullopt;
    const Frame& next = frames_.front();
    const double shown = clock_.wallSecondsAt(next.due);
    // The frame's own time is free of rounding.
    return std::abs(shown - next.time) < FrameTolerance * 1e-9 ? next.time : shown;
}

}  // namespace hvk
