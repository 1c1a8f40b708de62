#include "HVKPlatform/Machine.h"

#include <atomic>

#include "HVKPlatform/LiveMachine.h"

namespace hvk {

namespace {

std::atomic<Machine*> namedMachine{nullptr};

}  // namespace

Machine& Machine::current() {
    if (Machine* named = namedMachine.load()) return *named;
    // Never destroyed: modules of static duration may still use it while the process ends.
    static Machine& live = *makeLiveMachine().release();
    return live;
}

void Machine::setCurrent(Machine& machine) { namedMachine.store(&machine); }

}  // namespace hvk
