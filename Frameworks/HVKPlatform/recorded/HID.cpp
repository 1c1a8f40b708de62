#include "HVKPlatform/recorded/HID.h"

#include <limits>

namespace hvk {

namespace {

constexpr const char* Source = "recording: hid.readings";

using Readings = std::shared_ptr<const std::vector<RecordedHIDReading>>;

RecordedHIDReading readReading(const RecordingField& field) {
    field.allowOnly({"product", "value", "usagePage", "usage", "eventType"});
    RecordedHIDReading reading;
    reading.reading = {field.require("product").text(), field.require("value").number()};
    const std::pair<const char*, std::uint32_t*> numbers[] = {
        {"usagePage", &reading.usagePage}, {"usage", &reading.usage}, {"eventType", &reading.eventType}};
    for (const auto& [name, target] : numbers)
        if (const auto number = field.find(name))
            *target = static_cast<std::uint32_t>(number->unsignedInteger(std::numeric_limits<std::uint32_t>::max()));
    return reading;
}

}  // namespace

void readHID(const RecordingField& section, HIDAnswers& answers) {
    if (auto failure = section.failure(Source)) {
        answers.readings = std::move(*failure);
        return;
    }
    section.allowOnly({"readings"});
    readAnswer(section, "readings", Source, answers.readings, [](const RecordingField& field) -> Readings {
        std::vector<RecordedHIDReading> readings;
        for (std::size_t index = 0; index < field.size(); ++index) readings.push_back(readReading(field.at(index)));
        return std::make_shared<const std::vector<RecordedHIDReading>>(std::move(readings));
    });
}

RecordedHID::RecordedHID(Diagnostics& diagnostics) : readings_(diagnostics.source(Source, "HID temperature sensors")) {}

Status RecordedHID::readings(std::uint32_t usagePage, std::uint32_t usage, std::uint32_t eventType,
                             std::vector<HIDReading>& readings) {
    const auto recorded = answer(readings_, &HIDAnswers::readings);
    std::size_t count = 0;
    if (recorded)
        for (const RecordedHIDReading& each : **recorded) {
            if (each.usagePage != usagePage || each.usage != usage || each.eventType != eventType) continue;
            if (count == readings.size()) readings.emplace_back();
            readings[count++] = each.reading;
        }
    readings.resize(count);
    if (!recorded) return recorded.failure();
    return {};
}

}  // namespace hvk
