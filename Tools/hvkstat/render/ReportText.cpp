#include "hvkstat/render/ReportText.h"

#include <fmt/format.h>

#include <algorithm>

#include "HVKStatistics/processor/HVKStatisticsCPUCore.h"
#include "hvkstat/render/Table.h"
#include "hvkstat/render/Units.h"

namespace hvk::hvkstat {

namespace {

/// Columns that one core takes up beside another: number, class, two figures and their gaps.
constexpr std::size_t CoreCellWidth = 38;
/// Up to so many cores stand below each other however wide the screen is.
constexpr std::size_t CoresInOneColumn = 8;

std::string heading(const Palette& palette, std::string_view name, std::string_view rest) {
    constexpr std::size_t HeadingWidth = 12;
    std::string line = palette.paint(Style::Heading, name);
    line.append(HeadingWidth - std::min(HeadingWidth - 1, name.size()), ' ');
    line += rest;
    return line + '\n';
}

std::string drawTitle(const ReportView& view, const Palette& palette) {
    std::string title = palette.paint(Style::Faint, timeText(view.time));
    for (const std::string& name : {view.model, view.system})
        if (!name.empty()) title += "  " + palette.paint(Style::Heading, printable(name));
    return title + '\n';
}

std::string drawCores(const std::vector<CoreView>& cores, const Palette& palette, std::size_t width) {
    const std::size_t side = cores.size() <= CoresInOneColumn ? 1 : std::max<std::size_t>(1, width / CoreCellWidth);
    const std::size_t rows = (cores.size() + side - 1) / side;

    std::vector<Align> columns;
    std::vector<Cell> header;
    for (std::size_t place = 0; place < side && place * rows < cores.size(); ++place) {
        columns.insert(columns.end(), {Align::Right, Align::Left, Align::Right, Align::Right});
        for (const char* name : {"CPU", "Class", "User", "System"}) header.push_back({name, Style::Faint});
    }
    Table table(columns);
    table.add(std::move(header));
    for (std::size_t row = 0; row < rows; ++row) {
        std::vector<Cell> cells;
        for (std::size_t index = row; index < cores.size(); index += rows) {
            const CoreView& core = cores[index];
            const Style style = styleForPercent(core.user + core.system);
            cells.push_back({std::to_string(index)});
            cells.push_back({std::string(coreTypeName(core.type))});
            cells.push_back({percentText(core.user), style});
            cells.push_back({percentText(core.system), style});
        }
        table.add(std::move(cells));
    }
    return table.text(palette);
}

std::string drawProcessors(const ProcessorsView& processors, const Palette& palette, std::size_t width) {
    if (processors.cores.empty()) return heading(palette, "Processors", "no processor information");
    const Style style = styleForPercent(processors.user + processors.system);
    const std::string text =
        heading(palette, "Processors",
                fmt::format("user {} %, system {} %", palette.paint(style, percentText(processors.user)),
                            palette.paint(style, percentText(processors.system))));
    return text + drawCores(processors.cores, palette, width);
}

std::string drawMemory(const HVKStatisticsMemorySample& memory, const Palette& palette) {
    std::string text = heading(
        palette, "Memory",
        fmt::format("pressure {} %", palette.paint(styleForPercent(memory.pressure), percentText(memory.pressure))));
    Table table({Align::Left, Align::Right, Align::Right});
    table.add({{"total", Style::Faint}, {bytesText(memory.total)}, {}});
    const auto share = [&](const char* name, double bytes) {
        table.add({{name, Style::Faint}, {bytesText(bytes)}, {percentText(percentOf(bytes, memory.total)) + " %"}});
    };
    share("wired", memory.wired);
    share("app", memory.app);
    share("compressed", memory.compressed);
    share("file cache", memory.filecache);
    share("free", memory.free);
    text += table.text(palette);

    // The first reading counts since the machine's start, the others since the one before.
    const bool first = memory.pagein == memory.pageinTotal && memory.pageout == memory.pageoutTotal;
    text += heading(
        palette, "Paging",
        fmt::format("{:.0f} pages in, {:.0f} out{}", memory.pagein, memory.pageout, first ? " since the start" : ""));
    const double swapPercent = percentOf(memory.swapused, memory.swaptotal);
    text += heading(palette, "Swap",
                    memory.swaptotal == 0
                        ? std::string("none")
                        : fmt::format("{} of {} used ({} %)", bytesText(memory.swapused), bytesText(memory.swaptotal),
                                      palette.paint(styleForPercent(swapPercent), percentText(swapPercent))));
    return text;
}

std::string drawLoad(const HVKStatisticsLoadSample& load, const Palette& palette) {
    return heading(palette, "Load",
                   fmt::format("{:.2f}  {:.2f}  {:.2f}  (1, 5, 15 minutes)", load.one, load.five, load.fifteen));
}

std::string drawProcesses(const ProcessesView& processes, const Palette& palette) {
    if (processes.count == 0) return heading(palette, "Processes", "unknown");
    Table table({Align::Right, Align::Right, Align::Left});
    table.add({{"PID", Style::Faint}, {"CPU %", Style::Faint}, {"Family", Style::Faint}});
    for (const FamilyView& family : processes.families)
        table.add({{std::to_string(family.pid)},
                   {percentText(family.cpu), styleForPercent(family.cpu)},
                   {printable(family.name)}});
    return heading(palette, "Processes", std::to_string(processes.count)) + table.text(palette);
}

std::string drawSensors(const SensorsView& sensors, const Palette& palette) {
    Table table({Align::Left, Align::Right});
    for (const SensorView& sensor : sensors.sensors)
        table.add({{printable(sensor.name), Style::Faint}, {sensorText(sensor.type, sensor.value)}});
    return heading(palette, "Sensors", sensors.count == 0 ? "none" : std::to_string(sensors.count)) +
           table.text(palette);
}

std::string drawGraphics(const std::vector<GraphicsView>& graphics, const Palette& palette) {
    Table table({Align::Left, Align::Right, Align::Right});
    for (const GraphicsView& item : graphics)
        table.add({{printable(item.name), Style::Faint},
                   {percentText(item.processor) + " %", styleForPercent(item.processor)},
                   {item.hasMemory ? "memory " + percentText(item.memory) + " %" : ""}});
    return heading(palette, "Graphics", graphics.empty() ? "none" : std::to_string(graphics.size())) +
           table.text(palette);
}

std::string drawTraffic(const std::vector<TrafficView>& traffic, const Palette& palette) {
    Table table({Align::Left, Align::Right, Align::Right});
    for (const TrafficView& row : traffic)
        table.add({{printable(row.interface), Style::Faint},
                   {bytesText(row.download) + " in"},
                   {bytesText(row.upload) + " out"}});
    return heading(palette, "Traffic", traffic.empty() ? "none" : "") + table.text(palette);
}

std::string drawUptime(const UptimeView& uptime, const Palette& palette) {
    if (uptime.boot == 0) return heading(palette, "Uptime", "unknown");
    return heading(palette, "Uptime", fmt::format("{}, since {}", durationText(uptime.uptime), timeText(uptime.boot)));
}

}  // namespace

std::string_view coreTypeName(int type) {
    switch (type) {
        case HVKStatisticsCPUCoreTypeFirstOfPair: return "first thread";
        case HVKStatisticsCPUCoreTypePerformance: return "performance";
        case HVKStatisticsCPUCoreTypeEfficiency: return "efficiency";
        case HVKStatisticsCPUCoreTypeSecondOfPair: return "second thread";
        default: return "unknown";
    }
}

std::string drawReport(const ReportView& view, const Palette& palette, std::size_t width) {
    std::string text = drawTitle(view, palette);
    if (view.processors) text += drawProcessors(*view.processors, palette, width);
    if (view.memory) text += drawMemory(*view.memory, palette);
    if (view.load) text += drawLoad(*view.load, palette);
    if (view.processes) text += drawProcesses(*view.processes, palette);
    if (view.sensors) text += drawSensors(*view.sensors, palette);
    if (view.graphics) text += drawGraphics(*view.graphics, palette);
    if (view.traffic) text += drawTraffic(*view.traffic, palette);
    if (view.uptime) text += drawUptime(*view.uptime, palette);
    return text;
}

}  // namespace hvk::hvkstat
