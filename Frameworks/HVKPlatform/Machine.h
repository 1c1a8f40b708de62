// Machine.h - the set of all ports: everything the framework asks of the computer it measures.
//
// Three adapters implement it: the live system (linux/ or darwin/), and recorded/. A statistic module takes its machine
// by constructor and cannot tell which one it runs on. A port's reference is valid for the machine's life.
#pragma once

#include "HVKBase/Export.h"
#include "HVKPlatform/ports/Bluetooth.h"
#include "HVKPlatform/ports/Clock.h"
#include "HVKPlatform/ports/Cost.h"
#include "HVKPlatform/ports/Files.h"
#include "HVKPlatform/ports/HID.h"
#include "HVKPlatform/ports/HTTP.h"
#include "HVKPlatform/ports/HardwareEvents.h"
#include "HVKPlatform/ports/Load.h"
#include "HVKPlatform/ports/Memory.h"
#include "HVKPlatform/ports/ProcessTable.h"
#include "HVKPlatform/ports/Processor.h"
#include "HVKPlatform/ports/Queues.h"
#include "HVKPlatform/ports/Registry.h"
#include "HVKPlatform/ports/SensorDescriptions.h"
#include "HVKPlatform/ports/System.h"
#include "HVKPlatform/ports/UserClient.h"
#include "HVKPlatform/support/Diagnostics.h"

namespace hvk {

class GraphicsPort;
class PacketCapturePort;

/// A machine to measure.
class HVK_EXPORT Machine {
public:
    virtual ~Machine() = default;

    /// The ports, one for each family of questions; what each answers stands in its own header.
    virtual ClockPort& clock() = 0;
    virtual SystemPort& system() = 0;
    virtual ProcessorPort& processor() = 0;
    virtual MemoryPort& memory() = 0;
    virtual ProcessTablePort& processTable() = 0;
    virtual LoadPort& load() = 0;
    virtual RegistryPort& registry() = 0;
    virtual BluetoothPort& bluetooth() = 0;
    virtual UserClientPort& userClients() = 0;
    virtual HIDPort& hid() = 0;
    virtual SensorDescriptionsPort& sensorDescriptions() = 0;
    virtual FilesPort& files() = 0;
    virtual HTTPPort& http() = 0;
    virtual HardwareEventsPort& hardwareEvents() = 0;
    virtual QueuesPort& queues() = 0;
    virtual CostPort& cost() = 0;

    // Ports that an adapter need not have: these answer Unsupported. Whoever uses one includes its header.
    virtual GraphicsPort& graphics();
    virtual PacketCapturePort& packetCapture();

    /// The state of the sources that the ports read.
    virtual Diagnostics& diagnostics() = 0;

    /// The machine that modules made without one measure: the live one, unless `setCurrent` named another. The live
    /// machine is made on first use. Thread: any.
    static Machine& current();

    /// Names the machine that `current` answers from now on; it must outlive its use. Called before the first module
    /// is made.
    static void setCurrent(Machine& machine);
};

/// Hands every port on; a test overrides the one it bends.
class HVK_EXPORT ForwardingMachine : public Machine {
public:
    explicit ForwardingMachine(Machine& target) : target_(target) {}
    ClockPort& clock() override { return target_.clock(); }
    SystemPort& system() override { return target_.system(); }
    ProcessorPort& processor() override { return target_.processor(); }
    MemoryPort& memory() override { return target_.memory(); }
    ProcessTablePort& processTable() override { return target_.processTable(); }
    LoadPort& load() override { return target_.load(); }
    RegistryPort& registry() override { return target_.registry(); }
    BluetoothPort& bluetooth() override { return target_.bluetooth(); }
    UserClientPort& userClients() override { return target_.userClients(); }
    HIDPort& hid() override { return target_.hid(); }
    SensorDescriptionsPort& sensorDescriptions() override { return target_.sensorDescriptions(); }
    FilesPort& files() override { return target_.files(); }
    HTTPPort& http() override { return target_.http(); }
    HardwareEventsPort& hardwareEvents() override { return target_.hardwareEvents(); }
    QueuesPort& queues() override { return target_.queues(); }
    CostPort& cost() override { return target_.cost(); }
    GraphicsPort& graphics() override { return target_.graphics(); }
    PacketCapturePort& packetCapture() override { return target_.packetCapture(); }
    Diagnostics& diagnostics() override { return target_.diagnostics(); }

protected:
    Machine& target_;
};

}  // namespace hvk
