#include "HVKPlatform/linux/LinuxMachine.h"

namespace hvk {

LinuxMachine::LinuxMachine(const std::string& root, ProcessSourceChoice choice)
    : root_(root),
      topology_(readTopology(root_)),
      clock_(root_),
      system_(root_, topology_, diagnostics_),
      processor_(root_, topology_, system_.ticksPerSecond().valueOr(100), diagnostics_),
      memory_(root_, system_.pageSize().valueOr(4096), clock_, diagnostics_),
      load_(root_, diagnostics_),
      processTable_(root_, system_.ticksPerSecond().valueOr(100), system_.pageSize().valueOr(4096), diagnostics_,
                    choice),
      registry_(root_, topology_, diagnostics_),
      hardwareEvents_(root_, registry_, queues_, diagnostics_),
      monitors_(root_, clock_, diagnostics_),
      userClients_(monitors_),
      hid_(root_, diagnostics_),
      sensorDescriptions_(monitors_, hid_),
      files_(root_, diagnostics_),
      http_(root_, diagnostics_),
      packetCapture_(root_, diagnostics_) {}

LinuxMachine::~LinuxMachine() {
    hardwareEvents_.stop();
    http_.stop();
}

}  // namespace hvk
