#include "HVKPlatform/Machine.h"

#include <atomic>

#include "HVKPlatform/LiveMachine.h"
#include "HVKPlatform/ports/Graphics.h"
#include "HVKPlatform/ports/PacketCapture.h"

namespace hvk {

namespace {

std::atomic<Machine*> namedMachine{nullptr};

/// A port of a machine that has none: it keeps no state, so one serves all.
template <class Unsupported>
Unsupported& unsupportedPort() {
    static Unsupported port;
    return port;
}

}  // namespace

Machine& Machine::current() {
    if (Machine* named = namedMachine.load()) return *named;
    // Never destroyed: modules of static duration may still use it while the process ends.
    static Machine& live = *makeLiveMachine().release();
    return live;
}

GraphicsPort& Machine::graphics() { return unsupportedPort<UnsupportedGraphicsPort>(); }
PacketCapturePort& Machine::packetCapture() { return unsupportedPort<UnsupportedPacketCapturePort>(); }

void Machine::setCurrent(Machine& machine) { namedMachine.store(&machine); }

}  // namespace hvk
