#include "HVKPlatform/recorded/SensorDescriptions.h"

namespace hvk {

namespace {

constexpr SensorKind Kinds[] = {SensorKind::Temperature, SensorKind::Fan,   SensorKind::Voltage,
                                SensorKind::Current,     SensorKind::Power, SensorKind::Frequency};

SensorKind readKind(const RecordingField& field) {
    const std::string text = field.text();
    for (const SensorKind kind : Kinds)
        if (text == sensorKindName(kind)) return kind;
    field.wrong("\"temperature\", \"fan\", \"voltage\", \"current\", \"power\" or \"frequency\"");
}

SensorSource readSource(const RecordingField& field) {
    const std::string text = field.text();
    if (text == "smc") return SensorSource::Controller;
    if (text == "hid") return SensorSource::HID;
    field.wrong("\"smc\" or \"hid\"");
}

SensorDescription readDescription(const RecordingField& field) {
    field.allowOnly({"key", "source", "kind", "name", "chip", "group", "low", "high"});
    SensorDescription description;
    description.key = field.require("key").text();
    if (const auto source = field.find("source")) description.source = readSource(*source);
    description.kind = readKind(field.require("kind"));
    description.name = field.require("name").text();
    if (const auto chip = field.find("chip")) description.chip = chip->text();
    if (const auto group = field.find("group")) description.group = group->text();
    if (const auto low = field.find("low")) description.low = low->number();
    if (const auto high = field.find("high")) description.high = high->number();
    if (description.low && description.high && *description.low >= *description.high)
        field.fault("\"low\" should be below \"high\"");
    return description;
}

std::vector<SensorDescription> readDescriptions(const RecordingField& field) {
    std::vector<SensorDescription> descriptions;
    for (std::size_t index = 0; index < field.size(); ++index) descriptions.push_back(readDescription(field.at(index)));
    return descriptions;
}

}  // namespace

void readSensorDescriptions(const RecordingField& section, SensorDescriptionsAnswers& answers) {
    if (auto failure = section.failure("recording: sensors")) {
        answers = {*failure, *failure};
        return;
    }
    section.allowOnly({"descriptions", "revision"});
    readAnswer(section, "descriptions", "recording: sensors.descriptions", answers.descriptions, readDescriptions);
    readAnswer(section, "revision", "recording: sensors.revision", answers.revision,
               [](const RecordingField& field) { return field.unsignedInteger(); });
}

RecordedSensorDescriptions::RecordedSensorDescriptions(Diagnostics& diagnostics)
    : descriptions_(diagnostics.source("recording: sensors.descriptions", "descriptions of sensors")),
      revision_(diagnostics.source("recording: sensors.revision", "changes of the sensors")) {}

Result<std::vector<SensorDescription>> RecordedSensorDescriptions::descriptions() {
    return answer(descriptions_, &SensorDescriptionsAnswers::descriptions);
}

Result<std::uint64_t> RecordedSensorDescriptions::revision() {
    return answer(revision_, &SensorDescriptionsAnswers::revision);
}

}  // namespace hvk
