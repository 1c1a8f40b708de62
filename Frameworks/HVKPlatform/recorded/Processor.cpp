#include "HVKPlatform/recorded/Processor.h"

#include <limits>

namespace hvk {

namespace {

std::vector<ProcessorTicks> readTicks(const RecordingField& field) {
    std::vector<ProcessorTicks> ticks(field.size());
    for (std::size_t index = 0; index < ticks.size(); ++index) {
        const RecordingField processor = field.at(index);
        if (processor.size() != ProcessorStateCount) processor.fault("should be [user, system, idle, nice]");
        for (std::size_t state = 0; state < ProcessorStateCount; ++state)
            ticks[index][state] = static_cast<std::uint32_t>(
                processor.at(state).unsignedInteger(std::numeric_limits<std::uint32_t>::max()));
    }
    return ticks;
}

ProcessorArchitecture readArchitecture(const RecordingField& field) {
    const std::string name = field.text();
    if (name == "paired") return ProcessorArchitecture::Paired;
    if (name == "clustered") return ProcessorArchitecture::Clustered;
    field.fault("should be paired or clustered");
}

}  // namespace

void readProcessor(const RecordingField& section, ProcessorAnswers& answers) {
    if (auto failure = section.failure("recording: processor.ticks")) {
        answers.ticks = std::move(*failure);
        return;
    }
    section.allowOnly({"architecture", "ticks"});
    if (const auto architecture = section.find("architecture")) answers.architecture = readArchitecture(*architecture);
    readAnswer(section, "ticks", "recording: processor.ticks", answers.ticks, readTicks);
}

RecordedProcessor::RecordedProcessor(Diagnostics& diagnostics)
    : ticks_(diagnostics.source("recording: processor.ticks", "processor ticks")) {}

ProcessorArchitecture RecordedProcessor::architecture() {
    std::lock_guard lock(mutex_);
    return answers_.architecture;
}

Status RecordedProcessor::loadInfo(std::vector<ProcessorTicks>& ticks) {
    std::unique_lock lock(mutex_);
    if (!answers_.ticks) {
        Failure failure = answers_.ticks.failure();
        lock.unlock();
        return ticks_.failed(std::move(failure));
    }
    ticks.assign(answers_.ticks->begin(), answers_.ticks->end());
    lock.unlock();
    ticks_.works();
    return {};
}

}  // namespace hvk
