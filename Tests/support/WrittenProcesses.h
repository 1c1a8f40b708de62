// WrittenProcesses.h - processes of a written machine, one line each.
//
//     auto machine = writtenMachine(processTable({process(1, "launchd", 0), process(50, "Editor", 1)}));
//     turn(*machine, 2, processChange(50, {{"usage", {{"cputime", 1000000000}}}}));
#pragma once

#include <initializer_list>
#include <string>

#include "HVKPlatform/Value.h"

namespace hvk::test {

/// A process of user 501 that has used nothing. `more` adds to its description or overrides it.
inline Value process(std::int32_t pid, const std::string& name, std::int32_t parent, const Value& more = nullptr) {
    Value written = {{"pid", pid},      {"parent", parent},       {"user", 501},
                     {"command", name}, {"identity", pid + 1000}, {"usage", {{"cputime", 0}}}};
    if (!more.is_null()) written.merge_patch(more);
    return written;
}

/// The section of all processes, with a time base of nanoseconds.
inline Value processTable(std::initializer_list<Value> processes) {
    Value table = Value::array();
    for (const Value& one : processes) table.push_back(one);
    return {{"processes", {{"timebaseFrequency", 1'000'000'000}, {"table", std::move(table)}}}};
}

/// The section that changes one process; null ends it.
inline Value processChange(std::int32_t pid, const Value& changes) {
    return {{"processes", {{"changes", {{std::to_string(pid), changes}}}}}};
}

/// What a process has used, in nanoseconds and bytes.
inline Value used(std::uint64_t cputime, std::uint64_t memory = 0, std::uint64_t diskRead = 0,
                  std::uint64_t diskWritten = 0, std::uint64_t wakeups = 0) {
    return {{"usage",
             {{"cputime", cputime},
              {"memory", memory},
              {"diskRead", diskRead},
              {"diskWritten", diskWritten},
              {"wakeups", wakeups}}}};
}

}  // namespace hvk::test
