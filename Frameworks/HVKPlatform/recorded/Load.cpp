#include "HVKPlatform/recorded/Load.h"

#include <limits>

namespace hvk {

namespace {

void readValues(const RecordingField& field, LoadAverages& averages) {
    if (field.size() != averages.values.size()) field.fault("should be three numbers");
    for (std::size_t index = 0; index < averages.values.size(); ++index)
        averages.values[index] =
            static_cast<std::uint32_t>(field.at(index).unsignedInteger(std::numeric_limits<std::uint32_t>::max()));
}

}  // namespace

void readLoad(const RecordingField& section, LoadAnswers& answers) {
    constexpr const char* Source = "recording: load.values";
    if (auto failure = section.failure(Source)) {
        answers.averages = std::move(*failure);
        return;
    }
    section.allowOnly({"values", "scale"});
    LoadAverages averages = answers.averages.valueOr({});
    // 0 is allowed: a module has to cope with it.
    if (const auto scale = section.find("scale")) averages.scale = scale->integer();
    const auto values = section.find("values");
    if (auto failure = values ? values->failure(Source) : std::nullopt) {
        answers.averages = std::move(*failure);
        return;
    }
    if (values) readValues(*values, averages);
    // A scale alone does not describe averages that nobody has described.
    if (values || answers.averages) answers.averages = averages;
}

RecordedLoad::RecordedLoad(Diagnostics& diagnostics)
    : averages_(diagnostics.source("recording: load.values", "load averages")) {}

Result<LoadAverages> RecordedLoad::loadAverages() { return answer(averages_, &LoadAnswers::averages); }

}  // namespace hvk
