// LiveMachine.mm - composes the macOS adapter.
#include "HVKPlatform/LiveMachine.h"

#include "HVKPlatform/darwin/Bluetooth.h"
#include "HVKPlatform/darwin/Clock.h"
#include "HVKPlatform/darwin/Cost.h"
#include "HVKPlatform/darwin/Files.h"
#include "HVKPlatform/darwin/HTTP.h"
#include "HVKPlatform/darwin/Graphics.h"
#include "HVKPlatform/darwin/HID.h"
#include "HVKPlatform/darwin/HardwareEvents.h"
#include "HVKPlatform/darwin/HostPort.h"
#include "HVKPlatform/darwin/Load.h"
#include "HVKPlatform/darwin/Memory.h"
#include "HVKPlatform/darwin/PacketCapture.h"
#include "HVKPlatform/darwin/ProcessTable.h"
#include "HVKPlatform/darwin/Processor.h"
#include "HVKPlatform/darwin/Queues.h"
#include "HVKPlatform/darwin/Registry.h"
#include "HVKPlatform/darwin/SensorDescriptions.h"
#include "HVKPlatform/darwin/System.h"
#include "HVKPlatform/darwin/UserClient.h"

namespace hvk {

namespace {

class DarwinMachine : public Machine {
public:
    // An answer is handed to the queues: none comes any more when they end.
    ~DarwinMachine() override { http_.stop(); }

    ClockPort& clock() override { return clock_; }
    SystemPort& system() override { return system_; }
    ProcessorPort& processor() override { return processor_; }
    MemoryPort& memory() override { return memory_; }
    LoadPort& load() override { return load_; }
    ProcessTablePort& processTable() override { return processTable_; }
    RegistryPort& registry() override { return registry_; }
    BluetoothPort& bluetooth() override { return bluetooth_; }
    UserClientPort& userClients() override { return userClients_; }
    HIDPort& hid() override { return hid_; }
    SensorDescriptionsPort& sensorDescriptions() override { return sensorDescriptions_; }
    FilesPort& files() override { return files_; }
    HTTPPort& http() override { return http_; }
    HardwareEventsPort& hardwareEvents() override { return hardwareEvents_; }
    QueuesPort& queues() override { return queues_; }
    GraphicsPort& graphics() override { return graphics_; }
    PacketCapturePort& packetCapture() override { return packetCapture_; }
    CostPort& cost() override { return cost_; }
    Diagnostics& diagnostics() override { return diagnostics_; }

private:
    Diagnostics diagnostics_;
    HostPort host_;
    DarwinClockPort clock_;
    DarwinSystemPort system_{host_, diagnostics_};
    DarwinProcessorPort processor_{host_, diagnostics_};
    DarwinMemoryPort memory_{host_, diagnostics_};
    DarwinLoadPort load_{diagnostics_};
    DarwinProcessTablePort processTable_{diagnostics_};
    DarwinRegistryPort registry_{diagnostics_};
    DarwinBluetoothPort bluetooth_{diagnostics_};
    DarwinHardwareEventsPort hardwareEvents_{diagnostics_};
    DarwinUserClientPort userClients_{diagnostics_};
    DarwinHIDPort hid_{diagnostics_};
    DarwinFilesPort files_{diagnostics_};
    DarwinHTTPPort http_{diagnostics_};
    DarwinSensorDescriptionsPort sensorDescriptions_;
    DarwinGraphicsPort graphics_{diagnostics_};
    DarwinPacketCapturePort packetCapture_{diagnostics_};
    DarwinCostPort cost_{diagnostics_};
    // Last, so destroyed first: no work runs while the ports that it uses go.
    DarwinQueuesPort queues_;
};

}  // namespace

std::unique_ptr<Machine> makeLiveMachine() { return std::make_unique<DarwinMachine>(); }

Result<std::unique_ptr<Machine>> makeSavedMachine(const std::string& root) {
    return Failure{FailureKind::Unsupported, root, "saved trees of files are read on Linux only"};
}

}  // namespace hvk
