#include "HVKPlatform/recorded/ProcessTable.h"

#include <charconv>
#include <limits>

namespace hvk {

namespace {

constexpr auto LargestPid = static_cast<std::uint64_t>(std::numeric_limits<std::int32_t>::max());

std::int32_t readPid(const RecordingField& field) {
    return static_cast<std::int32_t>(field.unsignedInteger(LargestPid));
}

/// A parent may be -1: none is known.
std::int32_t readParent(const RecordingField& field) {
    const std::int64_t parent = field.integer();
    if (parent < -1 || parent > static_cast<std::int64_t>(LargestPid)) field.wrong("a pid or -1");
    return static_cast<std::int32_t>(parent);
}

ProcessInformation readInformation(const RecordingField& process, std::int32_t pid, ProcessInformation information) {
    information.pid = pid;
    if (const auto field = process.find("parent")) information.parent = readParent(*field);
    if (const auto field = process.find("user"))
        information.user =
            static_cast<std::uint32_t>(field->unsignedInteger(std::numeric_limits<std::uint32_t>::max()));
    if (const auto field = process.find("command")) information.command = field->text();
    if (const auto field = process.find("name")) information.name = field->text();
    if (const auto field = process.find("identity")) information.identity = field->unsignedInteger();
    if (const auto field = process.find("startsServices")) {
        if (!field->value().is_boolean()) field->wrong("true or false");
        information.startsServices = field->value().get<bool>();
    }
    if (information.identity == 0) process.fault("needs an \"identity\" other than 0");
    return information;
}

ProcessUsageKind readKind(const RecordingField& field) {
    const std::string text = field.text();
    if (text == "complete") return ProcessUsageKind::Complete;
    if (text == "cpu") return ProcessUsageKind::CPUOnly;
    if (text == "none") return ProcessUsageKind::None;
    field.wrong("\"complete\", \"cpu\" or \"none\"");
}

void readUsage(const RecordingField& field, ProcessUsage& usage) {
    field.allowOnly({"kind", "cputime", "memory", "diskRead", "diskWritten", "wakeups"});
    usage.kind = ProcessUsageKind::Complete;
    if (const auto kind = field.find("kind")) usage.kind = readKind(*kind);
    const std::pair<const char*, std::uint64_t*> counters[] = {{"cputime", &usage.cputime},
                                                               {"memory", &usage.memory},
                                                               {"diskRead", &usage.diskRead},
                                                               {"diskWritten", &usage.diskWritten},
                                                               {"wakeups", &usage.wakeups}};
    for (const auto& [name, target] : counters)
        if (const auto counter = field.find(name)) *target = counter->unsignedInteger();
}

std::vector<std::string> readArguments(const RecordingField& field) {
    std::vector<std::string> arguments;
    for (std::size_t index = 0; index < field.size(); ++index) arguments.push_back(field.at(index).text());
    return arguments;
}

bool readFlag(const RecordingField& field) {
    if (!field.value().is_boolean()) field.wrong("true or false");
    return field.value().get<bool>();
}

void readProcess(const RecordingField& field, std::int32_t pid, RecordedProcess& process) {
    constexpr const char* Source = "recording: processes";
    field.allowOnly({"pid", "parent", "user", "command", "name", "identity", "startsServices", "unreadable", "usage", "footprint",
                     "responsible", "arguments", "displayName", "applicationType", "isUnresponsive"});
    if (const auto unreadable = field.find("unreadable")) {
        auto failure = unreadable->failure(Source);
        if (!failure) unreadable->wrong("a failure");
        process.information = std::move(*failure);
    } else {
        process.information = readInformation(field, pid, process.information.valueOr({}));
        process.usage.identity = process.information->identity;
    }
    if (const auto usage = field.find("usage")) readUsage(*usage, process.usage);
    if (!process.information) process.usage = {};
    readAnswer(field, "footprint", Source, process.footprint,
               [](const RecordingField& value) { return value.unsignedInteger(); });
    readAnswer(field, "responsible", Source, process.responsible, readPid);
    readAnswer(field, "arguments", Source, process.arguments, readArguments);
    const auto text = [](const RecordingField& value) { return value.text(); };
    readAnswer(field, "displayName", Source, process.displayName, text);
    readAnswer(field, "applicationType", Source, process.applicationType, text);
    readAnswer(field, "isUnresponsive", Source, process.isUnresponsive, readFlag);
}

RecordedProcesses readTable(const RecordingField& field) {
    RecordedProcesses processes;
    for (std::size_t index = 0; index < field.size(); ++index) {
        const RecordingField entry = field.at(index);
        const std::int32_t pid = readPid(entry.require("pid"));
        const auto [added, isNew] = processes.try_emplace(pid);
        if (!isNew) entry.fault("this pid is listed twice");
        readProcess(entry, pid, added->second);
    }
    return processes;
}

void readChanges(const RecordingField& field, RecordedProcesses& processes) {
    field.eachEntry([&](const std::string& key, const RecordingField& entry) {
        std::int32_t pid = 0;
        const auto [end, error] = std::from_chars(key.data(), key.data() + key.size(), pid);
        if (error != std::errc() || end != key.data() + key.size() || pid < 0) entry.fault("should be named by a pid");
        if (entry.value().is_null())
            processes.erase(pid);
        else
            readProcess(entry, pid, processes[pid]);
    });
}

}  // namespace

void readProcessTable(const RecordingField& section, ProcessTableAnswers& answers) {
    if (auto failure = section.failure("recording: processes")) {
        answers = {*failure, *failure};
        return;
    }
    section.allowOnly({"timebaseFrequency", "table", "changes"});
    readAnswer(section, "timebaseFrequency", "recording: processes.timebaseFrequency", answers.timebaseFrequency,
               [](const RecordingField& field) { return field.integer(); });
    using Table = std::shared_ptr<const RecordedProcesses>;
    readAnswer(section, "table", "recording: processes.table", answers.table, [](const RecordingField& field) -> Table {
        return std::make_shared<const RecordedProcesses>(readTable(field));
    });
    if (const auto changes = section.find("changes")) {
        auto changed = std::make_shared<RecordedProcesses>();
        if (answers.table) *changed = **answers.table;
        readChanges(*changes, *changed);
        answers.table = Table(std::move(changed));
    }
}

RecordedProcessTable::RecordedProcessTable(Diagnostics& diagnostics)
    : timebase_(diagnostics.source("recording: processes.timebaseFrequency", "time base of processor time")),
      table_(diagnostics.source("recording: processes.table", "process table")) {}

Result<std::int64_t> RecordedProcessTable::timebaseFrequency() {
    return answer(timebase_, &ProcessTableAnswers::timebaseFrequency);
}

std::shared_ptr<const RecordedProcesses> RecordedProcessTable::table() const {
    std::lock_guard lock(mutex_);
    return answers_.table.valueOr(nullptr);
}

Status RecordedProcessTable::pids(std::vector<std::int32_t>& pids) {
    const auto processes = answer(table_, &ProcessTableAnswers::table);
    if (!processes) return processes.failure();
    pids.clear();
    for (const auto& [pid, process] : **processes) pids.push_back(pid);
    return {};
}

void RecordedProcessTable::usage(std::span<const std::int32_t> pids, std::span<ProcessUsage> usage) {
    const auto processes = table();
    for (std::size_t index = 0; index < pids.size() && index < usage.size(); ++index) {
        usage[index] = {};
        if (!processes) continue;
        const auto found = processes->find(pids[index]);
        if (found != processes->end()) usage[index] = found->second.usage;
    }
}

template <class T>
Result<T> RecordedProcessTable::ask(std::int32_t pid, Result<T> RecordedProcess::*member) const {
    const auto processes = table();
    const auto found = processes ? processes->find(pid) : RecordedProcesses::const_iterator();
    if (!processes || found == processes->end())
        return Failure{FailureKind::Gone, "recording: processes.table", "there is no process " + std::to_string(pid)};
    return found->second.*member;
}

Result<ProcessInformation> RecordedProcessTable::information(std::int32_t pid) {
    return ask(pid, &RecordedProcess::information);
}

Result<std::uint64_t> RecordedProcessTable::footprint(std::int32_t pid) {
    return ask(pid, &RecordedProcess::footprint);
}

Result<std::int32_t> RecordedProcessTable::responsible(std::int32_t pid) {
    return ask(pid, &RecordedProcess::responsible);
}

Result<std::vector<std::string>> RecordedProcessTable::arguments(std::int32_t pid) {
    return ask(pid, &RecordedProcess::arguments);
}

Result<std::string> RecordedProcessTable::displayName(std::int32_t pid, const std::string&) {
    return ask(pid, &RecordedProcess::displayName);
}

Result<std::string> RecordedProcessTable::applicationType(std::int32_t pid) {
    return ask(pid, &RecordedProcess::applicationType);
}

Result<bool> RecordedProcessTable::isUnresponsive(std::int32_t pid) {
    return ask(pid, &RecordedProcess::isUnresponsive);
}

}  // namespace hvk
