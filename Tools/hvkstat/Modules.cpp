#include "hvkstat/Modules.h"

#include "hvkstat/SensorRecipe.h"

namespace hvk::hvkstat {

namespace {

void fillCPU(HVKStatisticsFramework& framework, double, ReportView& view) {
    ProcessorsView processors;
    const auto& module = *framework.CPU();
    processors.user = module.history()[0].user;
    processors.system = module.history()[0].system;
    for (const auto& core : module.cores())
        processors.cores.push_back({core->type(), core->history()[0].user, core->history()[0].system});
    view.processors = std::move(processors);
}

void fillMemory(HVKStatisticsFramework& framework, double, ReportView& view) {
    view.memory = framework.Memory()->memory();
}

void fillLoad(HVKStatisticsFramework& framework, double, ReportView& view) { view.load = framework.Load()->load(); }

/// Seconds since the machine started; 0 when that is not known, as `boot` is then.
double uptimeSeconds(const HVKStatisticsUptime& uptime, double time) {
    return uptime.boot == 0 ? 0 : time - uptime.boot;
}

void fillUptime(HVKStatisticsFramework& framework, double time, ReportView& view) {
    view.uptime = UptimeView{framework.Uptime()->boot, uptimeSeconds(*framework.Uptime(), time)};
}

Value uptimeStats(HVKStatisticsFramework& framework, double time) {
    return {{"boot", framework.Uptime()->boot}, {"uptime", uptimeSeconds(*framework.Uptime(), time)}};
}

/// The lists that this host shows: the busiest processes and families by each of these.
constexpr ProcessListKey ProcessKeys[] = {ProcessListKey::CPU,     ProcessListKey::Memory,
                                          ProcessListKey::Power,   ProcessListKey::Energy,
                                          ProcessListKey::Network, ProcessListKey::DiskActivity};
constexpr std::int64_t ProcessRows = 10;
constexpr std::int64_t ProcessRowsShown = 5;

Value processesStats(HVKStatisticsFramework& framework, double) {
    HVKStatisticsProcesses& processes = *framework.Processes();
    Value lists = {{"count", processes.processes().size()}};
    for (const ProcessListKey key : ProcessKeys) {
        ProcessListConfig configuration{key, ProcessRows, 0, false};
        lists[configuration.cacheKey()] = processes.processesWithConfig(configuration).toValue();
        configuration.combine = true;
        lists[configuration.cacheKey()] = processes.combinedProcessesWithConfig(configuration).toValue();
    }
    return lists;
}

void fillProcesses(HVKStatisticsFramework& framework, double, ReportView& view) {
    HVKStatisticsProcesses& processes = *framework.Processes();
    ProcessesView shown;
    shown.count = processes.processes().size();
    const ProcessListRows& list =
        processes.combinedProcessesWithConfig({ProcessListKey::CPU, ProcessRowsShown, 0, true});
    for (const ProcessListRow& row : list.rows)
        shown.families.push_back({row.process->pid, row.process->name, row.values[0]});
    view.processes = std::move(shown);
}

void fillSensors(HVKStatisticsFramework& framework, double, ReportView& view) {
    const HVKStatisticsSensors& sensors = *framework.Sensors();
    SensorsView shown;
    shown.count = sensors.sensors().size();
    for (const Value& key : sensors.defaultSensors()) {
        const auto sensor = key.is_string() ? sensors.sensorWithKey(key.get<std::string>()) : nullptr;
        if (sensor && sensor->exists) shown.sensors.push_back({sensor->name, sensor->type, sensor->value});
    }
    view.sensors = std::move(shown);
}

void fillGraphics(HVKStatisticsFramework& framework, double, ReportView& view) {
    std::vector<GraphicsView> shown;
    for (const auto& item : framework.GPU()->devices())
        if (!item->hidden) shown.push_back({item->name, item->processor, item->memory, item->memorySize > 0});
    view.graphics = std::move(shown);
}

/// What passed since the last sample; null where nothing can be captured.
Value packetsStats(HVKStatisticsFramework& framework, double time) {
    const auto item = framework.Packets()->activeItem();
    if (!item || !item->isCapturing()) return nullptr;
    Value stats = item->stats(time);
    stats.update(item->interfaces());
    return stats;
}

void fillPackets(HVKStatisticsFramework& framework, double time, ReportView& view) {
    const Value stats = packetsStats(framework, time);
    if (stats.is_null()) return;
    std::vector<TrafficView> shown;
    for (const Value& row : stats["interfaces"])
        shown.push_back(
            {row["interface"].get<std::string>(), row["download"].get<double>(), row["upload"].get<double>()});
    view.traffic = std::move(shown);
}

std::vector<ModuleEntry> makeEntries() {
    using Framework = HVKStatisticsFramework;
    return {
        {"cpu",
         [](Framework& framework, double time) { framework.CPU()->update(time); },
         [](Framework& framework, double) { return framework.CPU()->stats(); },
         fillCPU,
         {{"cpu",
           {{"user", "User", HistoryUnit::Percent}, {"system", "System", HistoryUnit::Percent}},
           [](Framework& framework, double start, double end, std::int64_t interval) {
               return framework.CPU()->historyAverage(start, end, interval);
           }}},
         true},
        {"memory",
         [](Framework& framework, double time) { framework.Memory()->update(time); },
         [](Framework& framework, double) { return framework.Memory()->stats(); },
         fillMemory,
         {{"memory",
           {{"pressure", "Pressure", HistoryUnit::Percent},
            {"wired", "Wired", HistoryUnit::Mebibytes},
            {"app", "App", HistoryUnit::Mebibytes},
            {"compressed", "Compressed", HistoryUnit::Mebibytes},
            {"total", "Total", HistoryUnit::Mebibytes}},
           [](Framework& framework, double start, double end, std::int64_t interval) {
               return framework.Memory()->historyAverage(start, end, interval);
           }},
          {"swap",
           {{"swap", "Used", HistoryUnit::Fraction}},
           [](Framework& framework, double start, double end, std::int64_t interval) {
               return framework.Memory()->swapHistoryAverage(start, end, interval);
           }}}},
        {"load",
         [](Framework& framework, double time) { framework.Load()->update(time); },
         [](Framework& framework, double) { return framework.Load()->stats(); },
         fillLoad,
         {{"load",
           {{"one", "1 min"}, {"five", "5 min"}, {"fifteen", "15 min"}},
           [](Framework& framework, double start, double end, std::int64_t interval) {
               return framework.Load()->historyAverage(start, end, interval);
           }}}},
        {"processes",
         [](Framework& framework, double time) { framework.Processes()->update(time); },
         processesStats,
         fillProcesses,
         {},
         true,
         [](Framework& framework, Machine&, double time) { framework.Processes()->update(time); }},
        {"sensors",
         [](Framework& framework, double time) { framework.Sensors()->update(time); },
         [](Framework& framework, double) { return framework.Sensors()->stats(); },
         fillSensors,
         {},
         false,
         [](Framework& framework, Machine& machine, double) { prepareSensors(framework, machine); }},
        {"gpu",
         [](Framework& framework, double time) {
             framework.GPU()->update(time);
             framework.Sensors()->addGPUSensors(framework.GPU()->devices(), time);
         },
         [](Framework& framework, double) { return framework.GPU()->stats(); },
         fillGraphics,
         {},
         false,
         // Some figures are made from counters.
         [](Framework& framework, Machine&, double time) { framework.GPU()->update(time); }},
        {"packets",
         // They are counted as they pass.
         [](Framework&, double) {},
         packetsStats,
         fillPackets,
         {},
         true,
         [](Framework& framework, Machine&, double) { framework.Packets()->start(); }},
        // The boot time is read when the module is made.
        {"uptime", [](Framework&, double) {}, uptimeStats, fillUptime, {}},
    };
}

}  // namespace

const std::vector<ModuleEntry>& moduleEntries() {
    static const std::vector<ModuleEntry> entries = makeEntries();
    return entries;
}

const ModuleEntry* findModule(std::string_view name) {
    for (const ModuleEntry& entry : moduleEntries())
        if (entry.name == name) return &entry;
    return nullptr;
}

HistoryChoice findHistory(std::string_view name) {
    for (const ModuleEntry& entry : moduleEntries())
        for (const HistoryEntry& history : entry.histories)
            if (history.name == name) return {&entry, &history};
    return {};
}

std::vector<std::string> moduleNames() {
    std::vector<std::string> names;
    for (const ModuleEntry& entry : moduleEntries()) names.emplace_back(entry.name);
    return names;
}

std::vector<std::string> historyNames() {
    std::vector<std::string> names;
    for (const ModuleEntry& entry : moduleEntries())
        for (const HistoryEntry& history : entry.histories) names.emplace_back(history.name);
    return names;
}

}  // namespace hvk::hvkstat
