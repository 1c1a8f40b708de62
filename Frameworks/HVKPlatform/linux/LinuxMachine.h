// LinuxMachine.h - a Linux machine: the running one, or a tree of files saved from one.
#pragma once

#include "HVKPlatform/Machine.h"
#include "HVKPlatform/linux/Bluetooth.h"
#include "HVKPlatform/linux/Clock.h"
#include "HVKPlatform/linux/Cost.h"
#include "HVKPlatform/linux/Files.h"
#include "HVKPlatform/linux/Graphics.h"
#include "HVKPlatform/linux/HID.h"
#include "HVKPlatform/linux/HTTP.h"
#include "HVKPlatform/linux/HardwareEvents.h"
#include "HVKPlatform/linux/HardwareMonitors.h"
#include "HVKPlatform/linux/LinuxRoot.h"
#include "HVKPlatform/linux/Load.h"
#include "HVKPlatform/linux/Memory.h"
#include "HVKPlatform/linux/PacketCapture.h"
#include "HVKPlatform/linux/ProcessTable.h"
#include "HVKPlatform/linux/Processor.h"
#include "HVKPlatform/linux/Queues.h"
#include "HVKPlatform/linux/Registry.h"
#include "HVKPlatform/linux/SensorDescriptions.h"
#include "HVKPlatform/linux/System.h"
#include "HVKPlatform/linux/Topology.h"
#include "HVKPlatform/linux/UserClient.h"

namespace hvk {

/// All ports over one root.
class LinuxMachine : public Machine {
public:
    /// `choice` is for tests and measurements of one source.
    explicit LinuxMachine(const std::string& root = "/", ProcessSourceChoice choice = ProcessSourceChoice::Best);
    ~LinuxMachine() override;
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
    LinuxHardwareEventsPort& hardwareEvents() override { return hardwareEvents_; }
    QueuesPort& queues() override { return queues_; }
    GraphicsPort& graphics() override { return graphics_; }
    PacketCapturePort& packetCapture() override { return packetCapture_; }
    CostPort& cost() override { return cost_; }
    Diagnostics& diagnostics() override { return diagnostics_; }

    /// What the controller and the descriptions of sensors are made of.
    HardwareMonitors& monitors() { return monitors_; }

private:
    Diagnostics diagnostics_;
    LinuxRoot root_;
    Topology topology_;
    LinuxClockPort clock_;
    LinuxSystemPort system_;
    LinuxProcessorPort processor_;
    LinuxMemoryPort memory_;
    LinuxLoadPort load_;
    LinuxProcessTablePort processTable_;
    LinuxRegistryPort registry_;
    LinuxBluetoothPort bluetooth_;
    LinuxHardwareEventsPort hardwareEvents_;
    HardwareMonitors monitors_;
    LinuxUserClientPort userClients_;
    LinuxHIDPort hid_;
    LinuxSensorDescriptionsPort sensorDescriptions_;
    LinuxFilesPort files_;
    CurlHTTPPort http_;
    LinuxGraphicsPort graphics_;
    LinuxPacketCapturePort packetCapture_;
    LinuxCostPort cost_;
    AsioQueuesPort queues_;  ///< last, so that its threads end before what they use
};

}  // namespace hvk
