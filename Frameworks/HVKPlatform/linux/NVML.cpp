#include "HVKPlatform/linux/NVML.h"

#include <dlfcn.h>

#include <algorithm>
#include <string>
#include <type_traits>
#include <utility>

namespace hvk {

namespace {

// The library's own numbers.
constexpr int Success = 0;
constexpr int NoPermission = 4;
constexpr int NotFound = 6;
constexpr int DriverNotLoaded = 9;
constexpr int Lost = 15;
constexpr unsigned GraphicsClock = 0;
constexpr unsigned MemoryClock = 2;
constexpr unsigned DieTemperature = 0;
constexpr unsigned NameSize = 96;

struct Device;

struct Utilization {
    unsigned processor;
    unsigned memory;
};

struct Memory {
    unsigned long long total;
    unsigned long long free;
    unsigned long long used;
};

}  // namespace

/// What is asked of the library; a function that an old one lacks is null, the first three are needed.
struct NVML::Functions {
    int (*initialize)();
    int (*deviceAt)(const char*, Device**);
    const char* (*errorText)(int);
    int (*name)(Device*, char*, unsigned);
    int (*utilization)(Device*, Utilization*);
    int (*memory)(Device*, Memory*);
    int (*clock)(Device*, unsigned, unsigned*);
    int (*fanSpeed)(Device*, unsigned*);
    int (*power)(Device*, unsigned*);
    int (*temperature)(Device*, unsigned, unsigned*);
};

NVML::NVML(std::string library) : library_(std::move(library)) {}

Failure NVML::failure(int code, const std::string& what) const {
    FailureKind kind = FailureKind::Malformed;
    if (code == NoPermission) kind = FailureKind::Denied;
    if (code == NotFound || code == DriverNotLoaded) kind = FailureKind::Absent;
    if (code == Lost) kind = FailureKind::Gone;
    const char* text = functions_->errorText != nullptr ? functions_->errorText(code) : nullptr;
    return {kind, library_, what + ": " + (text != nullptr ? text : "error " + std::to_string(code))};
}

Status NVML::open() {
    if (std::exchange(opened_, true)) {
        if (closed_) return *closed_;
        return {};
    }
    void* const library = dlopen(library_.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
        closed_ = Failure{FailureKind::Absent, library_, "the library is not installed"};
        return *closed_;
    }
    static_assert(sizeof(void*) == sizeof(int (*)()));
    const auto find = [library](const char* name, auto& function) {
        function = reinterpret_cast<std::remove_reference_t<decltype(function)>>(dlsym(library, name));
    };
    auto functions = std::make_shared<Functions>();
    find("nvmlInit_v2", functions->initialize);
    find("nvmlDeviceGetHandleByPciBusId_v2", functions->deviceAt);
    find("nvmlErrorString", functions->errorText);
    find("nvmlDeviceGetName", functions->name);
    find("nvmlDeviceGetUtilizationRates", functions->utilization);
    find("nvmlDeviceGetMemoryInfo", functions->memory);
    find("nvmlDeviceGetClockInfo", functions->clock);
    find("nvmlDeviceGetFanSpeed", functions->fanSpeed);
    find("nvmlDeviceGetPowerUsage", functions->power);
    find("nvmlDeviceGetTemperature", functions->temperature);
    functions_ = functions;
    if (functions->initialize == nullptr || functions->deviceAt == nullptr)
        closed_ = Failure{FailureKind::Malformed, library_, "it lacks the functions of a management library"};
    else if (const int code = functions->initialize(); code != Success)
        closed_ = failure(code, "the library does not start");
    if (closed_) return *closed_;
    return {};
}

Result<NVMLFigures> NVML::figures(const std::string& address) {
    const std::lock_guard lock(mutex_);
    if (const Status status = open(); !status) return status.failure();
    const Functions& ask = *functions_;
    Device* device = nullptr;
    if (const int code = ask.deviceAt(address.c_str(), &device); code != Success)
        return failure(code, "the device at " + address);

    NVMLFigures figures;
    const auto number = [](auto* function, auto... arguments) {
        unsigned value = 0;
        return function != nullptr && function(arguments..., &value) == Success ? static_cast<double>(value) : -1;
    };
    char name[NameSize] = {};
    if (ask.name != nullptr && ask.name(device, name, NameSize) == Success)
        figures.name.assign(name, std::find(name, name + NameSize, '\0'));
    Utilization utilization{};
    if (ask.utilization != nullptr && ask.utilization(device, &utilization) == Success)
        figures.utilization = utilization.processor;
    Memory memory{};
    if (ask.memory != nullptr && ask.memory(device, &memory) == Success) {
        figures.memoryTotal = static_cast<double>(memory.total);
        figures.memoryFree = static_cast<double>(memory.free);
        figures.memoryUsed = static_cast<double>(memory.used);
    }
    figures.coreClock = number(ask.clock, device, GraphicsClock);
    figures.memoryClock = number(ask.clock, device, MemoryClock);
    figures.fanPercentage = number(ask.fanSpeed, device);
    if (const double milliwatts = number(ask.power, device); milliwatts >= 0) figures.power = milliwatts / 1000;
    figures.temperature = number(ask.temperature, device, DieTemperature);
    return figures;
}

}  // namespace hvk
