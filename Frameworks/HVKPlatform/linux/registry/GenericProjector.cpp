#include "HVKPlatform/linux/registry/GenericProjector.h"

#include "HVKPlatform/linux/parse/SysfsText.h"

namespace hvk {

namespace {

std::string classOf(const std::string& subsystem) { return "Linux" + parse::capitalized(subsystem) + "Device"; }

}  // namespace

bool GenericProjector::serves(const std::string&) const { return true; }

bool GenericProjector::mayYield(const std::string& subsystem, const std::string& className) const {
    return className == classOf(subsystem);
}

std::optional<Projection> GenericProjector::project(const SysfsDevice& device) const {
    Projection projection;
    if (!device.subsystem().empty()) projection.classes.push_back(classOf(device.subsystem()));
    projection.classes.emplace_back("IOService");
    return projection;
}

}  // namespace hvk
