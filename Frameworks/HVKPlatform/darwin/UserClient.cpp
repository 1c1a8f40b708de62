#include "HVKPlatform/darwin/UserClient.h"

#include <IOKit/IOKitLib.h>
#include <mach/mach.h>

#include "HVKPlatform/darwin/Cost.h"
#include "HVKPlatform/darwin/decode/Failures.h"

namespace hvk {

namespace {

/// Null stands for the main port; its named constant changed its name with macOS 12.
constexpr mach_port_t MainPort = MACH_PORT_NULL;

constexpr const char* Open = "IOServiceOpen";
constexpr const char* ScalarCall = "IOConnectCallScalarMethod";
constexpr const char* StructureCall = "IOConnectCallStructMethod";

}  // namespace

DarwinUserClientPort::DarwinUserClientPort(Diagnostics& diagnostics)
    : opening_(diagnostics.source(Open, "connections to drivers",
                                  "run this program outside of a sandbox that keeps drivers from it")),
      calling_(diagnostics.source(StructureCall, "what drivers answer, such as the sensors' readings")) {}

Result<UserClientConnection> DarwinUserClientPort::open(const std::string& className, std::uint32_t type) {
    const CFMutableDictionaryRef matching = IOServiceMatching(className.c_str());
    if (matching == nullptr) return Failure{FailureKind::Malformed, Open, "the class's name is not UTF-8"};
    countSystemCalls();
    // Consumes the dictionary.
    const io_service_t service = IOServiceGetMatchingService(MainPort, matching);
    if (service == 0) {
        opening_.works();
        return Failure{FailureKind::Absent, Open, "there is no service " + className};
    }
    io_connect_t connection = 0;
    countSystemCalls(2);
    const kern_return_t code = IOServiceOpen(service, mach_task_self(), type, &connection);
    IOObjectRelease(service);
    if (code != KERN_SUCCESS || connection == 0)
        return opening_.failed(decode::openFailure(Open, static_cast<std::uint32_t>(code)));
    opening_.works();
    return connection;
}

Status DarwinUserClientPort::callScalar(UserClientConnection connection, std::uint32_t selector) {
    countSystemCalls();
    const kern_return_t code = IOConnectCallScalarMethod(connection, selector, nullptr, 0, nullptr, nullptr);
    if (code == KERN_SUCCESS) return {};
    return decode::kernelFailure(ScalarCall, static_cast<std::uint32_t>(code));
}

Result<std::size_t> DarwinUserClientPort::callStructure(UserClientConnection connection, std::uint32_t selector,
                                                        std::span<const std::uint8_t> input,
                                                        std::span<std::uint8_t> output) {
    std::size_t written = output.size();
    countSystemCalls();
    const kern_return_t code =
        IOConnectCallStructMethod(connection, selector, input.data(), input.size(), output.data(), &written);
    if (code != KERN_SUCCESS)
        return calling_.failed(decode::kernelFailure(StructureCall, static_cast<std::uint32_t>(code)));
    calling_.works();
    return written;
}

void DarwinUserClientPort::close(UserClientConnection connection) {
    if (connection == 0) return;
    countSystemCalls();
    IOServiceClose(connection);
}

}  // namespace hvk
