// WrittenMachine.h - a recorded machine that a test writes down in a few lines.
//
//     auto machine = writtenMachine({{"processor", {{"ticks", {{0, 0, 0, 0}}}}}});
//     HVKStatisticsCPU cpu(*machine);
//     turn(*machine, 1, {{"processor", {{"ticks", {{30, 10, 60, 0}}}}}});
#pragma once

#include <memory>

#include "HVKPlatform/recorded/RecordedMachine.h"

namespace hvk::test {

/// When every written machine starts, in seconds since 1970.
inline constexpr double Start = 1700000000.0;

/// A machine of interface level 14.0 and 4096-byte pages. `answers` describes what else it answers at first and
/// overrides these: the sections of a recording.
std::unique_ptr<RecordedMachine> writtenMachine(const Value& answers = Value::object());

/// Lets `seconds` pass, then changes what the machine answers.
void turn(RecordedMachine& machine, double seconds, const Value& frame = Value::object());

/// The section of processor counters: one row of user, system, idle, nice for each processor.
Value ticks(std::initializer_list<ProcessorTicks> rows);

}  // namespace hvk::test
