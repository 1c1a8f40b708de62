#include "support/WrittenMachine.h"

#include <stdexcept>

namespace hvk::test {

std::unique_ptr<RecordedMachine> writtenMachine(const Value& answers) {
    Value description = {{"schema", 1},
                         {"system", {{"operatingSystemVersion", {14, 0, 0}}, {"pageSize", 4096}}},
                         {"frames", {{{"time", Start}}}}};
    description.merge_patch(answers);
    auto machine = RecordedMachine::fromJSON(description);
    if (!machine) throw std::runtime_error(machine.failure().detail);
    return std::move(*machine);
}

void turn(RecordedMachine& machine, double seconds, const Value& frame) {
    machine.advance(seconds);
    const Status applied = machine.setFrame(frame);
    if (!applied) throw std::runtime_error(applied.failure().detail);
}

Value ticks(std::initializer_list<ProcessorTicks> rows) {
    Value table = Value::array();
    for (const ProcessorTicks& row : rows) table.push_back(row);
    return {{"processor", {{"ticks", std::move(table)}}}};
}

}  // namespace hvk::test
