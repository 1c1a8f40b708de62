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

/// The processors still to be placed, and what is known of which belong together.
class Placing {
public:
    Placing(const LinuxRoot& root, const std::vector<std::uint32_t>& present)
        : root_(root), present_(present), unplaced_(present.begin(), present.end()) {
        const auto online = readList(root, ProcessorDirectory + "/online");
        for (const std::uint32_t processor : online ? *online : present) online_.insert(processor);
        const std::string control = root.readLine(ProcessorDirectory + "/smt/control").value_or("");
        hasThreads_ = control == "on" || control == "off" || control == "forceoff";
        for (const std::uint32_t processor : present)
            hasThreads_ = hasThreads_ || threadSiblings(root, processor).size() > 1;
    }

    /// Puts the processors in the order of their first thread, the siblings of each right behind it.
    void run(Topology& topology) {
        for (const std::uint32_t first : present_) {
            if (!unplaced_.contains(first)) continue;
            ++topology.physicalCores;
            const std::vector<std::uint32_t> siblings = threadSiblings(root_, first);
            for (const std::uint32_t processor : siblings) put(processor, siblings.size(), topology);
            if (siblings.size() == 1 && hasThreads_ && online_.contains(first)) putOfflineSibling(topology);
        }
    }

private:
    void put(std::uint32_t processor, std::size_t threads, Topology& topology) {
        if (unplaced_.erase(processor) == 0) return;
        ProcessorPlace& entry = topology.places.emplace_back();
        entry.processor = processor;
        entry.online = online_.contains(processor);
        entry.threads = static_cast<std::uint32_t>(threads);
        // An unknown cluster is -1 or 65535.
        const auto cluster = readNumber(root_, processorFile(processor, "topology/cluster_id"));
        if (cluster && *cluster < 0xFFFF) entry.clusterId = static_cast<std::uint32_t>(*cluster);
    }

    /// An offline thread no longer names its core. The kernel numbers second threads in the order of the first ones, so
    /// the next offline processor is taken for the sibling that a lone thread lacks: every pair stays a pair.
    void putOfflineSibling(Topology& topology) {
        for (const std::uint32_t processor : unplaced_) {
            if (online_.contains(processor)) continue;
            put(processor, 1, topology);
            return;
        }
    }

    const LinuxRoot& root_;
    const std::vector<std::uint32_t>& present_;
    std::set<std::uint32_t> unplaced_;
    std::set<std::uint32_t> online_;
    bool hasThreads_ = false;  ///< cores have two threads, or would have if it were not turned off
};

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

/// Whether some cores have two threads and others one, as hybrid x86 has; a server whose cores merely differ in base
/// frequency has not.
bool hasMixedThreads(const Topology& topology) {
    bool lone = false;
    bool paired = false;
    for (const ProcessorPlace& entry : topology.places) {
        if (!entry.online) continue;
        (entry.threads > 1 ? paired : lone) = true;
    }
    return lone && paired;
}

bool classify(const LinuxRoot& root, Topology& topology) {
    if (classifyByPmu(root, topology)) return true;
    const auto isLowest = [](std::uint64_t figure, std::uint64_t lowest, std::uint64_t) { return figure == lowest; };
    const auto isBelowHighest = [](std::uint64_t figure, std::uint64_t, std::uint64_t highest) {
        return figure < highest;
    };
    if (classifyByFigure(root, topology, "cpu_capacity", isLowest)) return true;
    if (!hasMixedThreads(topology)) return false;
    return classifyByFigure(root, topology, "acpi_cppc/nominal_perf", isBelowHighest) ||
           classifyByFigure(root, topology, "cpufreq/base_frequency", isBelowHighest);
}

}  // namespace

Topology readTopology(const LinuxRoot& root) {
    Topology topology;
    const std::vector<std::uint32_t> present = presentProcessors(root);
    Placing(root, present).run(topology);
    topology.isHybrid = classify(root, topology);
    return topology;
}

}  // namespace hvk
