#include "HVKPlatform/darwin/Graphics.h"

#include <IOKit/IOKitLib.h>
#include <dlfcn.h>
#include <mach/mach.h>

#include <cmath>
#include <utility>

#include "HVKPlatform/darwin/Cost.h"
#include "HVKPlatform/darwin/decode/Failures.h"

namespace hvk {

namespace {

/// Null stands for the main port; its named constant changed its name with macOS 12.
constexpr mach_port_t MainPort = MACH_PORT_NULL;

constexpr const char* FrameRate = "CGSGetPerformanceData";
constexpr const char* Control = "AppleGraphicsControl";
constexpr const char* Library = "/System/Library/Frameworks/ApplicationServices.framework/ApplicationServices";

constexpr std::uint32_t ControlType = 0;
constexpr std::uint32_t StartSelector = 0;
constexpr std::uint32_t StateSelector = 3;

}  // namespace

DarwinGraphicsPort::DarwinGraphicsPort(Diagnostics& diagnostics)
    : frameRate_(diagnostics.source(FrameRate, "the screen's frame rate", "run this program in a graphical session")),
      control_(diagnostics.source(Control, "which graphics processor is active")) {}

void DarwinGraphicsPort::lookUp() {
    if (std::exchange(lookedUp_, true)) return;
    // A library with Objective-C classes is never unloaded, so neither is this.
    void* const library = dlopen(Library, RTLD_LAZY | RTLD_LOCAL);
    if (library == nullptr) return;
    performanceData_ = reinterpret_cast<PerformanceData>(dlsym(library, FrameRate));
    connection_ = reinterpret_cast<Connection>(dlsym(library, "_CGSDefaultConnection"));
    if (connection_ == nullptr) connection_ = reinterpret_cast<Connection>(dlsym(library, "CGSMainConnectionID"));
}

Result<float> DarwinGraphicsPort::frameRate() {
    lookUp();
    if (performanceData_ == nullptr || connection_ == nullptr)
        return frameRate_.failed({FailureKind::Unsupported, FrameRate, "this system lacks the function"});
    const int connection = connection_();
    if (connection == 0)
        return frameRate_.failed({FailureKind::Absent, FrameRate, "no connection to the window server"});
    double frames = 0;
    double unused[3] = {};
    countSystemCalls();
    if (const int code = performanceData_(connection, &frames, &unused[0], &unused[1], &unused[2]); code != 0)
        return frameRate_.failed(decode::kernelFailure(FrameRate, static_cast<std::uint32_t>(code)));
    if (!std::isfinite(frames) || frames < 0)
        return frameRate_.failed({FailureKind::Malformed, FrameRate, "the rate is no number of frames"});
    frameRate_.works();
    return static_cast<float>(frames);
}

Result<GraphicsControlConnection> DarwinGraphicsPort::openControl() {
    countSystemCalls();
    // Consumes the dictionary.
    const io_service_t service = IOServiceGetMatchingService(MainPort, IOServiceMatching(Control));
    if (service == 0) return Failure{FailureKind::Absent, Control, "this machine does not switch"};
    io_connect_t connection = 0;
    countSystemCalls(2);
    const kern_return_t code = IOServiceOpen(service, mach_task_self(), ControlType, &connection);
    IOObjectRelease(service);
    if (code != KERN_SUCCESS || connection == 0)
        return control_.failed(decode::openFailure(Control, static_cast<std::uint32_t>(code)));
    control_.works();
    return connection;
}

Status DarwinGraphicsPort::startControl(GraphicsControlConnection connection) {
    countSystemCalls();
    const kern_return_t code = IOConnectCallScalarMethod(connection, StartSelector, nullptr, 0, nullptr, nullptr);
    if (code != KERN_SUCCESS) return control_.failed(decode::kernelFailure(Control, static_cast<std::uint32_t>(code)));
    control_.works();
    return {};
}

Result<std::int64_t> DarwinGraphicsPort::controlState(GraphicsControlConnection connection, std::uint64_t first,
                                                      std::uint64_t second) {
    const std::uint64_t inputs[] = {first, second};
    std::uint64_t output = ~std::uint64_t{0};
    std::uint32_t count = 1;
    countSystemCalls();
    const kern_return_t code = IOConnectCallScalarMethod(connection, StateSelector, inputs, 2, &output, &count);
    if (code != KERN_SUCCESS) return control_.failed(decode::kernelFailure(Control, static_cast<std::uint32_t>(code)));
    control_.works();
    return static_cast<std::int64_t>(output);
}

void DarwinGraphicsPort::closeControl(GraphicsControlConnection connection) {
    if (connection == 0) return;
    countSystemCalls();
    IOServiceClose(connection);
}

}  // namespace hvk
