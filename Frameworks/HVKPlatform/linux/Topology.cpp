#include "HVKPlatform/linux/Topology.h"

#include <algorithm>
#include <map>
#include <set>
#include <string>

#include "HVKPlatform/linux/parse/ProcessorList.h"
#include "HVKPlatform/linux/parse/Scan.h"
#include "HVKPlatform/linux/parse/Stat.h"

namespace hvk {

namespace {

const std::string ProcessorDirectory = "/sys/devices/system/cpu";

std::string processorFile(std::uint32_t processor, std::string_view file) {
    return ProcessorDirectory + "/cpu" + std::to_string(processor) + "/" + std::string(file);
}

std::optional<std::vector<std::uint32_t>> readList(const LinuxRoot& root, const std::string& file) {
    const auto line = root.readLine(file);
    return line ? parse::parseProcessorList(*line) : std::nullopt;
}

std::optional<std::uint64_t> readNumber(const LinuxRoot& root, const std::string& file) {
    const auto line = root.readLine(file);
    return line ? parse::toUnsigned(*line) : std::nullopt;
}

/// The processors that the machine has; what /proc/stat lists where sysfs says nothing.
std::vector<std::uint32_t> presentProcessors(const LinuxRoot& root) {
    for (const char* file : {"/present", "/possible", "/online"}) {
        const auto list = readList(root, ProcessorDirectory + file);
        if (list && !list->empty()) return *list;
    }
    std::vector<std::uint32_t> processors;
    parse::ProcessorLines lines;
    const auto stat = root.readFile("/proc/stat");
    if (stat && parse::parseProcessorLines(*stat, lines))
        for (const auto& line : lines.lines) processors.push_back(line.processor);
    std::sort(processors.begin(), processors.end());
    return processors;
}

/// The processors that share a core with this one, itself included.
std::vector<std::uint32_t> threadSiblings(const LinuxRoot& root, std::uint32_t processor) {
    for (const char* file : {"topology/thread_siblings_list", "topology/core_cpus_list"}) {
        const auto list = readList(root, processorFile(processor, file));
        if (list && std::find(list->begin(), list->end(), processor) != list->end()) return *list;
    }
    return {processor};
}

/// Puts the processors in the order of their first thread, the siblings of each right behind it.
void place(const LinuxRoot& root, const std::vector<std::uint32_t>& present, Topology& topology) {
    const auto onlineList = readList(root, ProcessorDirectory + "/online");
    const std::set<std::uint32_t> online(onlineList ? onlineList->begin() : present.begin(),
                                         onlineList ? onlineList->end() : present.end());
    const std::set<std::uint32_t> known(present.begin(), present.end());
    std::set<std::uint32_t> placed;
    for (const std::uint32_t first : present) {
        if (placed.contains(first)) continue;
        ++topology.physicalCores;
        for (const std::uint32_t processor : threadSiblings(root, first)) {
            if (!known.contains(processor) || !placed.insert(processor).second) continue;
            ProcessorPlace& entry = topology.places.emplace_back();
            entry.processor = processor;
            entry.online = online.contains(processor);
            // An unknown cluster is -1 or 65535.
            const auto cluster = readNumber(root, processorFile(processor, "topology/cluster_id"));
            if (cluster && *cluster < 0xFFFF) entry.clusterId = static_cast<std::uint32_t>(*cluster);
        }
    }
}

bool classifyByPmu(const LinuxRoot& root, Topology& topology) {
    const auto core = readList(root, "/sys/devices/cpu_core/cpus");
    const auto atom = readList(root, "/sys/devices/cpu_atom/cpus");
    const auto lowPower = readList(root, "/sys/devices/cpu_lowpower/cpus");
    if (!core || !(atom || lowPower)) return false;
    // Whatever is not a performance core is an efficiency core, the low-power island included.
    const std::set<std::uint32_t> performance(core->begin(), core->end());
    for (ProcessorPlace& entry : topology.places)
        if (!performance.contains(entry.processor)) entry.cluster = ProcessorCluster::Efficiency;
    return true;
}

/// The figure of each processor; empty unless every online processor has one and they differ.
std::map<std::uint32_t, std::uint64_t> differingFigures(const LinuxRoot& root, const Topology& topology,
                                                        std::string_view file) {
    std::map<std::uint32_t, std::uint64_t> figures;
    std::set<std::uint64_t> distinct;
    for (const ProcessorPlace& entry : topology.places) {
        const auto figure = readNumber(root, processorFile(entry.processor, file));
        if (!figure && entry.online) return {};
        if (!figure) continue;
        figures[entry.processor] = *figure;
        distinct.insert(*figure);
    }
    return distinct.size() > 1 ? figures : std::map<std::uint32_t, std::uint64_t>{};
}

/// Classes the processors by a figure; `isEfficiency` gets it and the lowest and highest of all.
template <class IsEfficiency>
bool classifyByFigure(const LinuxRoot& root, Topology& topology, std::string_view file, IsEfficiency isEfficiency) {
    const auto figures = differingFigures(root, topology, file);
    if (figures.empty()) return false;
    const auto less = [](const auto& left, const auto& right) { return left.second < right.second; };
    const auto [lowest, highest] = std::minmax_element(figures.begin(), figures.end(), less);
    for (ProcessorPlace& entry : topology.places) {
        const auto figure = figures.find(entry.processor);
        if (figure != figures.end() && isEfficiency(figure->second, lowest->second, highest->second))
            entry.cluster = ProcessorCluster::Efficiency;
    }
    return true;
}

bool classify(const LinuxRoot& root, Topology& topology) {
    if (classifyByPmu(root, topology)) return true;
    const auto isLowest = [](std::uint64_t figure, std::uint64_t lowest, std::uint64_t) { return figure == lowest; };
    const auto isBelowHighest = [](std::uint64_t figure, std::uint64_t, std::uint64_t highest) {
        return figure < highest;
    };
    return classifyByFigure(root, topology, "cpu_capacity", isLowest) ||
           classifyByFigure(root, topology, "acpi_cppc/nominal_perf", isBelowHighest) ||
           classifyByFigure(root, topology, "cpufreq/base_frequency", isBelowHighest);
}

}  // namespace

Topology readTopology(const LinuxRoot& root) {
    Topology topology;
    place(root, presentProcessors(root), topology);
    topology.isHybrid = classify(root, topology);
    return topology;
}

}  // namespace hvk
