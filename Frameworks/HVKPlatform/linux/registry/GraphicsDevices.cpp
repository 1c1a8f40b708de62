#include "HVKPlatform/linux/registry/GraphicsDevices.h"

#include <algorithm>
#include <array>
#include <utility>

#include "HVKPlatform/linux/parse/PCIIdentifiers.h"
#include "HVKPlatform/linux/parse/Scan.h"

namespace hvk {

namespace {

constexpr std::array<std::string_view, 7> Drivers = {"amdgpu", "radeon", "i915", "xe", "nouveau", "nvidia", "nova"};
constexpr std::string_view ManagedDriver = "nvidia";

constexpr std::uint32_t Intel = 0x8086;
constexpr std::uint32_t AMD = 0x1002;
constexpr std::uint32_t Nvidia = 0x10de;

constexpr double HertzPerMegahertz = 1e6;
constexpr double MillisecondsPerSecond = 1e3;
constexpr double FullPulseWidth = 255;

std::string driverOf(const SysfsDevice& device) {
    const auto driver = device.link("driver");
    return driver && driver->is_string() ? driver->get<std::string>() : std::string();
}

std::optional<double> number(const SysfsDevice& device, const std::string& attribute) {
    const auto value = device.number(attribute);
    if (!value || !value->is_number()) return std::nullopt;
    return value->get<double>();
}

void set(Value& stats, const char* key, std::optional<double> value, double scale = 1) {
    if (value) stats[key] = *value * scale;
}

/// The first directory in a directory of the device, "hwmon/hwmon3"; nothing when there is none.
std::optional<std::string> firstIn(const SysfsDevice& device, const std::string& directory, std::string_view prefix) {
    for (const std::string& name : device.directories(directory))
        if (name.compare(0, prefix.size(), prefix) == 0) return directory + "/" + name;
    return std::nullopt;
}

/// What the hardware monitor of the device tells.
void readMonitor(const SysfsDevice& device, Value& stats) {
    const auto monitor = firstIn(device, "hwmon", "hwmon");
    if (!monitor) return;
    set(stats, "Core Clock(MHz)", number(device, *monitor + "/freq1_input"), 1 / HertzPerMegahertz);
    set(stats, "Memory Clock(MHz)", number(device, *monitor + "/freq2_input"), 1 / HertzPerMegahertz);
    set(stats, "Fan Speed(RPM)", number(device, *monitor + "/fan1_input"));
    set(stats, "Fan Speed(%)", number(device, *monitor + "/pwm1"), 100 / FullPulseWidth);
    auto power = number(device, *monitor + "/power1_average");
    if (!power) power = number(device, *monitor + "/power1_input");
    set(stats, "Total Power(W)", power, 1e-6);
    set(stats, "Temperature(C)", number(device, *monitor + "/temp1_input"), 1e-3);
}

}  // namespace

GraphicsDevices::GraphicsDevices(const LinuxRoot& root, Diagnostics& diagnostics)
    : root_(root),
      health_(diagnostics.source("graphics drivers", "the figures of the graphics processors",
                                 "install the management library of the driver's maker")) {}

bool GraphicsDevices::isGraphics(const SysfsDevice& device) {
    const std::string driver = driverOf(device);
    return std::find(Drivers.begin(), Drivers.end(), driver) != Drivers.end();
}

// --- who it is

std::string GraphicsDevices::listedName(const SysfsDevice& device) const {
    const auto vendor = device.hexadecimal("vendor");
    const auto product = device.hexadecimal("device");
    if (!vendor || !product) return {};
    const auto maker = vendor->get<std::uint32_t>();
    std::string name;
    constexpr std::size_t ListLimit = 16 << 20;
    for (const char* file : {"/usr/share/misc/pci.ids", "/usr/share/hwdata/pci.ids"}) {
        const auto list = root_.readFile(file, ListLimit);
        if (!list) continue;
        if (const auto listed = parse::pciDeviceName(*list, maker, product->get<std::uint32_t>()))
            name = parse::marketedName(*listed);
        if (!name.empty()) break;
    }
    // The processor's own graphics lie on its own bus.
    const bool isBuiltIn = device.kernelName().substr(0, 8) == "0000:00:";
    if (maker == Intel) {
        if (name.empty()) name = isBuiltIn ? "Graphics" : "Arc Graphics";
        const bool saysSo = name.find("Intel") != std::string::npos;
        return isBuiltIn && !saysSo ? "Intel " + name : name;
    }
    if (name.empty() && maker == AMD) return "Radeon Graphics";
    if (name.empty() && maker == Nvidia) return "NVIDIA Graphics";
    return name;
}

Result<Value> GraphicsDevices::model(const SysfsDevice& device) {
    // Told by the driver from its own memory.
    const auto information =
        root_.readFile("/proc/driver/nvidia/gpus/" + std::string(device.kernelName()) + "/information");
    if (information) {
        std::string_view text = *information;
        bool complete = false;
        while (!text.empty()) {
            std::string_view line = parse::takeLine(text, complete);
            constexpr std::string_view Label = "Model:";
            if (line.substr(0, Label.size()) != Label) continue;
            if (const auto name = parse::trimmed(line.substr(Label.size())); !name.empty()) return Value(name);
        }
    }
    if (auto product = device.text("product_name")) return product;
    if (std::string name = listedName(device); !name.empty()) return Value(std::move(name));
    return Failure{FailureKind::Absent, device.path(), "nobody knows its model"};
}

// --- how it is

Result<Value> GraphicsDevices::statistics(const SysfsDevice& device) {
    const bool sleeps = device.sleeps();
    Value stats;
    if (!sleeps) stats = read(device);
    const std::lock_guard lock(mutex_);
    const bool noted = asleep_.count(device.path()) != 0;
    if (sleeps != noted) {
        if (sleeps)
            asleep_[device.path()] = device.kernelName();
        else
            asleep_.erase(device.path());
        std::string note;
        for (const auto& [path, name] : asleep_) note += (note.empty() ? "" : ", ") + name;
        health_.note(note.empty() ? note : "asleep, and not woken: " + note);
    }
    Value& last = last_[device.path()];
    if (!sleeps) last = std::move(stats);
    if (last.empty()) return Failure{FailureKind::Absent, device.path(), "no figures yet"};
    return last;
}

Result<Value> GraphicsDevices::memorySize(const SysfsDevice& device) {
    if (driverOf(device) == ManagedDriver) {
        if (device.sleeps()) return Failure{FailureKind::Absent, device.path(), "it sleeps"};
        const auto figures = management(device);
        if (!figures) return figures.failure();
        if (figures->memoryTotal > 0) return Value(static_cast<std::uint64_t>(figures->memoryTotal));
        return Failure{FailureKind::Absent, device.path(), "it does not tell its memory"};
    }
    return device.ifAwake([&] { return device.number("mem_info_vram_total"); });
}

Value GraphicsDevices::read(const SysfsDevice& device) {
    const std::string driver = driverOf(device);
    if (driver == ManagedDriver) return managementStatistics(device);
    Value stats = Value::object();
    readMonitor(device, stats);
    if (driver == "amdgpu") readAMD(device, stats);
    if (driver == "i915" || driver == "xe") readIntel(device, stats);
    health_.works();
    return stats;
}

Result<NVMLFigures> GraphicsDevices::management(const SysfsDevice& device) {
    // The library speaks of the running machine, whatever tree is read.
    if (!root_.isLive())
        return Failure{FailureKind::Absent, "graphics drivers", "a saved machine has no management library"};
    auto figures = library_.figures(std::string(device.kernelName()));
    if (figures)
        health_.works();
    else
        (void)health_.failed(figures.failure());
    return figures;
}

Value GraphicsDevices::managementStatistics(const SysfsDevice& device) {
    Value stats = Value::object();
    const auto figures = management(device);
    if (!figures) return stats;
    const auto known = [](double value) { return value < 0 ? std::nullopt : std::optional<double>(value); };
    set(stats, "Device Utilization %", known(figures->utilization));
    set(stats, "Core Clock(MHz)", known(figures->coreClock));
    set(stats, "Memory Clock(MHz)", known(figures->memoryClock));
    set(stats, "Fan Speed(%)", known(figures->fanPercentage));
    set(stats, "Total Power(W)", known(figures->power));
    set(stats, "Temperature(C)", known(figures->temperature));
    set(stats, "vramUsedBytes", known(figures->memoryUsed));
    set(stats, "inUseVidMemoryBytes", known(figures->memoryUsed));
    set(stats, "vramFreeBytes", known(figures->memoryFree));
    return stats;
}

void GraphicsDevices::readAMD(const SysfsDevice& device, Value& stats) const {
    set(stats, "Device Utilization %", number(device, "gpu_busy_percent"));
    const auto used = number(device, "mem_info_vram_used");
    const auto total = number(device, "mem_info_vram_total");
    set(stats, "vramUsedBytes", used);
    set(stats, "inUseVidMemoryBytes", used);
    if (used && total) set(stats, "vramFreeBytes", std::max(0.0, *total - *used));
    if (number(device, "mem_info_gtt_used")) {
        set(stats, "gartUsedBytes", number(device, "mem_info_gtt_used"));
        set(stats, "gartSizeBytes", number(device, "mem_info_gtt_total"));
    }
}

void GraphicsDevices::readIntel(const SysfsDevice& device, Value& stats) {
    std::optional<double> clock;
    std::optional<double> idle;
    std::string idleFile;
    if (const auto card = firstIn(device, "drm", "card")) {
        clock = number(device, *card + "/gt_act_freq_mhz");
        idleFile = *card + "/gt/gt0/rc6_residency_ms";
        if (!device.has(idleFile)) idleFile = *card + "/power/rc6_residency_ms";
        idle = number(device, idleFile);
    }
    if (device.has("tile0/gt0")) {
        clock = number(device, "tile0/gt0/freq0/act_freq");
        idleFile = "tile0/gt0/gtidle/idle_residency_ms";
        idle = number(device, idleFile);
    }
    set(stats, "Core Clock(MHz)", clock);
    if (idle)
        if (const auto share = rate(device.file(idleFile), *idle / MillisecondsPerSecond))
            stats["Device Utilization %"] = std::clamp(100 * (1 - *share), 0.0, 100.0);
    if (stats.contains("Total Power(W)")) return;
    // Cards of this maker count energy.
    const auto monitor = firstIn(device, "hwmon", "hwmon");
    if (!monitor) return;
    if (const auto energy = number(device, *monitor + "/energy1_input"))
        set(stats, "Total Power(W)", rate(device.file(*monitor + "/energy1_input"), *energy * 1e-6));
}

/// How much a counter grew each second since it was read last. Nothing at first, when it was set back, and in a saved
/// tree, whose counters stand still while the clock goes on.
std::optional<double> GraphicsDevices::rate(const std::string& file, double value) {
    if (!root_.isLive()) return std::nullopt;
    const Reading now{value, Clock::now()};
    const std::lock_guard lock(mutex_);
    const auto [found, isFirst] = counters_.try_emplace(file, now);
    const Reading before = std::exchange(found->second, now);
    const double seconds = std::chrono::duration<double>(now.time - before.time).count();
    if (isFirst || seconds <= 0 || value < before.value) return std::nullopt;
    return (value - before.value) / seconds;
}

}  // namespace hvk
