#include "HVKPlatform/recorded/System.h"

#include <charconv>
#include <limits>
#include <utility>

namespace hvk {

namespace {

constexpr auto Largest32 = std::numeric_limits<std::uint32_t>::max();

OperatingSystemVersion readVersion(const RecordingField& field) {
    if (field.size() != 3) field.fault("should be [major, minor, bugfix]");
    return {field.at(0).integer(), field.at(1).integer(), field.at(2).integer()};
}

std::string readText(const RecordingField& field) { return field.text(); }
double readNumber(const RecordingField& field) { return field.number(); }
std::uint64_t readInteger(const RecordingField& field) { return field.unsignedInteger(); }
std::uint32_t readCount(const RecordingField& field) {
    return static_cast<std::uint32_t>(field.unsignedInteger(Largest32));
}

std::vector<std::string> readTexts(const RecordingField& field) {
    std::vector<std::string> texts;
    for (std::size_t index = 0; index < field.size(); ++index) texts.push_back(field.at(index).text());
    return texts;
}

void readUsers(const RecordingField& field, SystemAnswers& answers) {
    constexpr const char* Source = "recording: system.users";
    if (auto failure = field.failure(Source)) {
        answers.users.clear();
        answers.otherUsers = std::move(*failure);
        return;
    }
    answers.otherUsers = {FailureKind::Absent, Source, "no such user"};
    field.eachEntry([&](const std::string& key, const RecordingField& name) {
        std::uint32_t user = 0;
        const auto [end, error] = std::from_chars(key.data(), key.data() + key.size(), user);
        if (error != std::errc() || end != key.data() + key.size()) name.fault("should be named by a user number");
        auto failure = name.failure(Source);
        answers.users.insert_or_assign(
            user, failure ? Result<std::string>(std::move(*failure)) : Result<std::string>(name.text()));
    });
}

}  // namespace

void readSystem(const RecordingField& section, SystemAnswers& answers) {
    if (auto failure = section.failure("recording: system")) {
        answers = {*failure, *failure, *failure, *failure, *failure, *failure,
                   *failure, *failure, *failure, {},       *failure};
        return;
    }
    section.allowOnly({"operatingSystemVersion", "operatingSystemName", "bootTime", "pageSize", "ticksPerSecond",
                       "modelName", "logicalProcessorCount", "physicalProcessorCount", "users", "preferredLanguages"});
    const auto read = [&](const std::string& key, auto& answer, auto reader) {
        readAnswer(section, key, "recording: system." + key, answer, reader);
    };
    read("operatingSystemVersion", answers.operatingSystemVersion, readVersion);
    read("operatingSystemName", answers.operatingSystemName, readText);
    read("bootTime", answers.bootTime, readNumber);
    read("pageSize", answers.pageSize, readInteger);
    read("ticksPerSecond", answers.ticksPerSecond, readInteger);
    read("modelName", answers.modelName, readText);
    read("logicalProcessorCount", answers.logicalProcessorCount, readCount);
    read("physicalProcessorCount", answers.physicalProcessorCount, readCount);
    read("preferredLanguages", answers.preferredLanguages, readTexts);
    if (const auto users = section.find("users")) readUsers(*users, answers);
}

RecordedSystem::RecordedSystem(Diagnostics& diagnostics)
    : operatingSystemVersion_(
          diagnostics.source("recording: system.operatingSystemVersion", "operating system version")),
      operatingSystemName_(diagnostics.source("recording: system.operatingSystemName", "operating system name")),
      bootTime_(diagnostics.source("recording: system.bootTime", "boot time")),
      pageSize_(diagnostics.source("recording: system.pageSize", "page size")),
      ticksPerSecond_(diagnostics.source("recording: system.ticksPerSecond", "tick rate")),
      modelName_(diagnostics.source("recording: system.modelName", "model name")),
      logicalProcessorCount_(diagnostics.source("recording: system.logicalProcessorCount", "logical processors")),
      physicalProcessorCount_(diagnostics.source("recording: system.physicalProcessorCount", "physical cores")),
      users_(diagnostics.source("recording: system.users", "user names")),
      preferredLanguages_(diagnostics.source("recording: system.preferredLanguages", "preferred languages")) {}

Result<OperatingSystemVersion> RecordedSystem::operatingSystemVersion() {
    return answer(operatingSystemVersion_, &SystemAnswers::operatingSystemVersion);
}

Result<std::string> RecordedSystem::operatingSystemName() {
    return answer(operatingSystemName_, &SystemAnswers::operatingSystemName);
}

Result<double> RecordedSystem::bootTime() { return answer(bootTime_, &SystemAnswers::bootTime); }

Result<std::uint64_t> RecordedSystem::pageSize() { return answer(pageSize_, &SystemAnswers::pageSize); }

Result<std::uint64_t> RecordedSystem::ticksPerSecond() {
    return answer(ticksPerSecond_, &SystemAnswers::ticksPerSecond);
}

Result<std::string> RecordedSystem::modelName() { return answer(modelName_, &SystemAnswers::modelName); }

Result<std::uint32_t> RecordedSystem::logicalProcessorCount() {
    return answer(logicalProcessorCount_, &SystemAnswers::logicalProcessorCount);
}

Result<std::uint32_t> RecordedSystem::physicalProcessorCount() {
    return answer(physicalProcessorCount_, &SystemAnswers::physicalProcessorCount);
}

Result<std::string> RecordedSystem::userName(std::uint32_t user) {
    std::unique_lock lock(mutex_);
    const auto found = answers_.users.find(user);
    auto name = found != answers_.users.end() ? found->second : Result<std::string>(answers_.otherUsers);
    lock.unlock();
    return noted(users_, std::move(name));
}

Result<std::vector<std::string>> RecordedSystem::preferredLanguages() {
    return answer(preferredLanguages_, &SystemAnswers::preferredLanguages);
}

}  // namespace hvk
