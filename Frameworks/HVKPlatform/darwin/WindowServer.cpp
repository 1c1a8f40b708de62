#include "HVKPlatform/darwin/WindowServer.h"

#include <dlfcn.h>

#include <string>
#include <utility>

#include "HVKPlatform/darwin/Cost.h"

namespace hvk {

namespace {

constexpr const char* Source = "CGSEventIsAppUnresponsive";
/// Brings Core Graphics and the process manager's successor with it.
constexpr const char* Library = "/System/Library/Frameworks/ApplicationServices.framework/ApplicationServices";

}  // namespace

void WindowServer::lookUp() {
    if (std::exchange(lookedUp_, true)) return;
    // A library with Objective-C classes is never unloaded, so neither is this.
    void* const library = dlopen(Library, RTLD_LAZY | RTLD_LOCAL);
    if (library == nullptr) return;
    findSerialNumber_ = reinterpret_cast<FindSerialNumber>(dlsym(library, "GetProcessForPID"));
    isUnresponsive_ = reinterpret_cast<IsUnresponsive>(dlsym(library, "CGSEventIsAppUnresponsive"));
    connection_ = reinterpret_cast<Connection>(dlsym(library, "_CGSDefaultConnection"));
    if (connection_ == nullptr) connection_ = reinterpret_cast<Connection>(dlsym(library, "CGSMainConnectionID"));
}

Result<bool> WindowServer::isUnresponsive(std::int32_t pid) {
    lookUp();
    if (findSerialNumber_ == nullptr || isUnresponsive_ == nullptr || connection_ == nullptr)
        return Failure{FailureKind::Unsupported, Source, "this system lacks the functions that tell it"};
    ProcessSerialNumber serialNumber{};
    countSystemCalls();
    if (findSerialNumber_(pid, &serialNumber) != 0)
        return Failure{FailureKind::Absent, Source, "process " + std::to_string(pid) + " is no application"};
    const int connection = connection_();
    if (connection == 0) return Failure{FailureKind::Absent, Source, "no connection to the window server"};
    countSystemCalls();
    return isUnresponsive_(connection, &serialNumber);
}

}  // namespace hvk
