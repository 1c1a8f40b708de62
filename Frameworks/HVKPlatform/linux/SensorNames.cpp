#include "HVKPlatform/linux/SensorNames.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <map>
#include <utility>

namespace hvk {

namespace {

using Name = SensorName;

bool contains(std::string_view text, std::string_view part) { return text.find(part) != std::string_view::npos; }

std::string lowerCase(std::string_view text) {
    std::string lower(text);
    for (char& c : lower) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return lower;
}

/// A label as a name: underscores are blanks.
std::string readable(std::string_view label) {
    std::string name(label);
    std::replace(name.begin(), name.end(), '_', ' ');
    return name;
}

/// Fans share one average whatever chip turns them.
std::string groupOf(SensorKind kind, std::string group) { return kind == SensorKind::Fan ? "Fans" : std::move(group); }

/// A word that says what the channel measures, for those that say nothing else.
std::string numberedKind(SensorKind kind, unsigned index) {
    constexpr std::array<const char*, 6> Words = {"Temperature", "Fan", "Voltage", "Current", "Power", "Frequency"};
    // Voltages are counted from 0 by the kernel.
    const unsigned number = kind == SensorKind::Voltage ? index + 1 : index;
    return std::string(Words[static_cast<std::size_t>(kind)]) + " " + std::to_string(number);
}

Name processorName(const SensorOrigin& origin, std::string_view label) {
    if (label.starts_with("package id") || label.starts_with("esocket") || label.starts_with("physical id"))
        return {"CPU Package", "CPU"};
    if (label.starts_with("core ") || label.starts_with("ecore")) return {"CPU Core", "CPU Cores"};
    if (label.starts_with("tccd")) return {"CPU CCD", "CPU Dies"};
    if (label == "tdie") return {"CPU Die", "CPU"};
    if (contains(label, "soc")) return {"SOC", ""};
    if (contains(label, "core")) return {"CPU Core Supply", ""};
    if (label.empty() || label == "tctl") return {"CPU", "CPU"};
    return {"CPU " + readable(origin.label), ""};
}

Name graphicsName(const SensorOrigin& origin, std::string_view label) {
    if (origin.kind == SensorKind::Fan) return {"GPU Fan", ""};
    if (label == "junction") return {"GPU Hotspot", ""};
    if (label == "mem" || label == "mclk" || label == "vram") return {"GPU VRAM", ""};
    if (label == "vddnb") return {"GPU Northbridge", ""};
    if (label == "pkg" || label == "card") return {"GPU " + std::string(label == "pkg" ? "Package" : "Card"), ""};
    const std::array<std::string_view, 6> main = {"", "edge", "vddgfx", "ppt", "slowppt", "sclk"};
    if (std::find(main.begin(), main.end(), label) != main.end()) return {"GPU", "GPU"};
    return {"GPU " + readable(origin.label), ""};
}

bool isProcessorChip(std::string_view chip) {
    return chip == "coretemp" || chip == "k10temp" || chip == "k8temp" || chip == "zenpower" ||
           chip == "fam15h_power" || chip == "amd_energy" || chip == "via_cputemp" || chip == "cpu_thermal" ||
           chip.starts_with("cpu") || chip == "soc_thermal" || chip == "x86_pkg_temp";
}

bool isGraphicsChip(std::string_view chip) {
    return chip == "amdgpu" || chip == "radeon" || chip == "nouveau" || chip == "i915" || chip == "xe" ||
           chip == "panthor" || chip.starts_with("gpu");
}

bool isWirelessChip(std::string_view chip) {
    return chip.starts_with("iwlwifi") || chip.starts_with("mt7") || chip.starts_with("ath1") ||
           chip.starts_with("rtw") || chip.starts_with("brcmf");
}

bool isNetworkChip(std::string_view chip) {
    return chip.starts_with("r816") || chip.starts_with("r812") || chip == "igb" || chip == "ixgbe" ||
           chip == "bnxt_en" || chip.starts_with("mlx") || chip == "tg3" || chip == "atlantic" ||
           chip.starts_with("enp") || chip.starts_with("eth");
}

/// What the labels of board controllers stand for.
std::string boardName(std::string_view label) {
    const std::string lower = lowerCase(label);
    constexpr std::array<std::pair<std::string_view, std::string_view>, 12> Known = {{
        {"cputin", "CPU Socket"},
        {"systin", "System"},
        {"tsi0_temp", "CPU"},
        {"peci agent 0", "CPU"},
        {"smbusmaster 0", "CPU"},
        {"pch_chip_temp", "Chipset"},
        {"pch_cpu_temp", "Chipset CPU"},
        {"sodimm", "Memory"},
        {"dimm", "Memory"},
        {"vcore", "CPU Core Supply"},
        {"processor fan", "CPU Fan"},
        {"ambient", "Ambient"},
    }};
    for (const auto& [known, name] : Known)
        if (lower == known) return std::string(name);
    if (lower.starts_with("auxtin")) return "Auxiliary" + std::string(lower.size() > 6 ? " " + lower.substr(6) : "");
    return readable(label);
}

/// Names that the number follows at once; a number behind any other would be read as that of a fan or a memory module.
bool takesNumber(const std::string& name) {
    return !(name.ends_with(" Fan") || name.ends_with(" Memory") || name.ends_with(" GPU") ||
             name.ends_with(" Battery"));
}

}  // namespace

SensorName sensorName(const SensorOrigin& origin) {
    const std::string label = lowerCase(origin.label);
    const std::string chip = lowerCase(origin.chip);
    const auto grouped = [&](Name name) {
        name.group = groupOf(origin.kind, std::move(name.group));
        return name;
    };
    if (isProcessorChip(chip)) return grouped(processorName(origin, label));
    if (isGraphicsChip(chip)) return grouped(graphicsName(origin, label));
    if (chip == "nvme")
        return label.empty() || label == "composite" ? Name{"SSD", "SSD"} : Name{"SSD " + readable(origin.label), ""};
    if (chip == "drivetemp") return {"Disk", "Disks"};
    if (chip == "jc42" || chip == "spd5118" || chip == "ddr5_temp") return {"Memory", "Memory"};
    if (isWirelessChip(chip)) return {"Wi-Fi", ""};
    if (isNetworkChip(chip)) return {"Network", ""};
    if (chip.starts_with("pch")) return {"Chipset", ""};
    if (chip.starts_with("bat") || chip == "macsmc_battery")
        return grouped({origin.label.empty() ? "Battery" : "Battery " + readable(origin.label), "Battery"});
    if (chip.starts_with("adp") || chip == "ac") return grouped({"DC In", ""});
    if (chip.starts_with("ucsi")) return grouped({"USB-C", ""});
    if (chip == "acpitz")
        return grouped(
            {origin.kind == SensorKind::Temperature ? "System" : numberedKind(origin.kind, origin.index), ""});
    if (!origin.label.empty()) {
        std::string name = boardName(origin.label);
        std::string group = name == "Memory" ? "Memory" : "";
        return grouped({std::move(name), std::move(group)});
    }
    return grouped({numberedKind(origin.kind, origin.index), ""});
}

SensorName thermalZoneName(std::string_view type) {
    std::string chip = lowerCase(type);
    std::replace(chip.begin(), chip.end(), '-', '_');
    if (chip == "x86_pkg_temp") return {"CPU Package", "CPU"};
    if (chip == "battery") return {"Battery", "Battery"};
    if (isProcessorChip(chip) || chip == "tcpu") return {"CPU", "CPU"};
    if (isGraphicsChip(chip)) return {"GPU", "GPU"};
    if (isWirelessChip(chip)) return {"Wi-Fi", ""};
    if (chip.starts_with("pch")) return {"Chipset", ""};
    if (chip == "acpitz") return {"System", ""};
    return {readable(type), ""};
}

void numberAlikeNames(std::vector<SensorDescription>& descriptions) {
    std::map<std::pair<SensorKind, std::string>, unsigned> alike;
    for (const SensorDescription& each : descriptions) ++alike[{each.kind, each.name}];
    // Names that are unique keep what they have; a number never makes one of those again.
    std::map<SensorKind, std::vector<std::string>> taken;
    for (const auto& [key, count] : alike)
        if (count == 1) taken[key.first].push_back(key.second);
    std::map<std::pair<SensorKind, std::string>, unsigned> numbers;
    for (SensorDescription& each : descriptions) {
        const std::pair key(each.kind, each.name);
        if (alike[key] == 1) continue;
        auto& names = taken[each.kind];
        std::string numbered;
        do {
            numbered = each.name + (takesNumber(each.name) ? " " : " #") + std::to_string(++numbers[key]);
        } while (std::find(names.begin(), names.end(), numbered) != names.end());
        names.push_back(numbered);
        each.name = std::move(numbered);
    }
}

}  // namespace hvk
