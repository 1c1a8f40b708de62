#include "HVKPlatform/recorded/Memory.h"

#include <utility>

namespace hvk {

namespace {

template <class Record>
using Counter = std::pair<const char*, std::uint64_t Record::*>;

constexpr Counter<VirtualMemoryStatistics> VirtualMemoryCounters[] = {
    {"wireCount", &VirtualMemoryStatistics::wireCount},
    {"freeCount", &VirtualMemoryStatistics::freeCount},
    {"activeCount", &VirtualMemoryStatistics::activeCount},
    {"inactiveCount", &VirtualMemoryStatistics::inactiveCount},
    {"compressorPageCount", &VirtualMemoryStatistics::compressorPageCount},
    {"externalPageCount", &VirtualMemoryStatistics::externalPageCount},
    {"internalPageCount", &VirtualMemoryStatistics::internalPageCount},
    {"purgeableCount", &VirtualMemoryStatistics::purgeableCount},
    {"pageIns", &VirtualMemoryStatistics::pageIns},
    {"pageOuts", &VirtualMemoryStatistics::pageOuts},
};

constexpr Counter<SwapUsage> SwapCounters[] = {
    {"total", &SwapUsage::total},
    {"available", &SwapUsage::available},
    {"used", &SwapUsage::used},
};

/// Puts the counters that `field` names over those of `record`.
template <class Record, std::size_t Count>
Record readCounters(const RecordingField& field, Record record, const Counter<Record> (&counters)[Count]) {
    field.eachEntry([&](const std::string& key, const RecordingField& entry) {
        for (const auto& [name, member] : counters) {
            if (key != name) continue;
            record.*member = entry.unsignedInteger();
            return;
        }
        entry.fault("no such field");
    });
    return record;
}

}  // namespace

void readMemory(const RecordingField& section, MemoryAnswers& answers) {
    if (const auto failure = section.failure("recording: memory")) {
        answers = {*failure, *failure, *failure};
        return;
    }
    section.allowOnly({"virtualMemory", "swapUsage", "physicalMemory"});
    readAnswer(section, "virtualMemory", "recording: memory.virtualMemory", answers.virtualMemory,
               [&](const RecordingField& field) {
                   return readCounters(field, answers.virtualMemory.valueOr({}), VirtualMemoryCounters);
               });
    readAnswer(
        section, "swapUsage", "recording: memory.swapUsage", answers.swapUsage,
        [&](const RecordingField& field) { return readCounters(field, answers.swapUsage.valueOr({}), SwapCounters); });
    readAnswer(section, "physicalMemory", "recording: memory.physicalMemory", answers.physicalMemory,
               [](const RecordingField& field) { return field.unsignedInteger(); });
}

RecordedMemory::RecordedMemory(Diagnostics& diagnostics)
    : virtualMemory_(diagnostics.source("recording: memory.virtualMemory", "virtual memory statistics")),
      swapUsage_(diagnostics.source("recording: memory.swapUsage", "swap usage")),
      physicalMemory_(diagnostics.source("recording: memory.physicalMemory", "size of the memory")) {}

Result<VirtualMemoryStatistics> RecordedMemory::virtualMemory() {
    return answer(virtualMemory_, &MemoryAnswers::virtualMemory);
}

Result<SwapUsage> RecordedMemory::swapUsage() { return answer(swapUsage_, &MemoryAnswers::swapUsage); }

Result<std::uint64_t> RecordedMemory::physicalMemory() {
    return answer(physicalMemory_, &MemoryAnswers::physicalMemory);
}

}  // namespace hvk
