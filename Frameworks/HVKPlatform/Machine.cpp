#include "HVKPlatform/Machine.h"

#include <atomic>

#include "HVKPlatform/LiveMachine.h"
#include "HVKPlatform/ports/BluetoothDevices.h"
#include "HVKPlatform/ports/ConfigurationStore.h"
#include "HVKPlatform/ports/Graphics.h"
#include "HVKPlatform/ports/NetworkInterfaces.h"
#include "HVKPlatform/ports/PacketCapture.h"
#include "HVKPlatform/ports/PowerSources.h"
#include "HVKPlatform/ports/SMART.h"
#include "HVKPlatform/ports/Tasks.h"
#include "HVKPlatform/ports/Volumes.h"

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

BluetoothDevicesPort& Machine::bluetoothDevices() { return unsupportedPort<UnsupportedBluetoothDevicesPort>(); }
ConfigurationStorePort& Machine::configurationStore() { return unsupportedPort<UnsupportedConfigurationStorePort>(); }
GraphicsPort& Machine::graphics() { return unsupportedPort<UnsupportedGraphicsPort>(); }
NetworkInterfacesPort& Machine::networkInterfaces() { return unsupportedPort<UnsupportedNetworkInterfacesPort>(); }
PacketCapturePort& Machine::packetCapture() { return unsupportedPort<UnsupportedPacketCapturePort>(); }
PowerSourcesPort& Machine::powerSources() { return unsupportedPort<UnsupportedPowerSourcesPort>(); }
SMARTPort& Machine::smart() { return unsupportedPort<UnsupportedSMARTPort>(); }
TasksPort& Machine::tasks() { return unsupportedPort<UnsupportedTasksPort>(); }
VolumesPort& Machine::volumes() { return unsupportedPort<UnsupportedVolumesPort>(); }

void Machine::setCurrent(Machine& machine) { namedMachine.store(&machine); }

}  // namespace hvk
