#include "hvkstat/commands/Processes.h"

#include <algorithm>
#include <span>

#include "hvkstat/render/Table.h"
#include "hvkstat/render/Units.h"

namespace hvk::hvkstat {

namespace {

/// A figure and how it is headed.
struct Column {
    ProcessMetric metric;
    std::string_view title;
};

/// The figures of a key, the first the one that it sorts by where there is one only.
std::span<const Column> columnsOf(ProcessListKey key) {
    static constexpr Column CPU[] = {{ProcessMetric::CPU, "CPU %"}};
    static constexpr Column Memory[] = {{ProcessMetric::Memory, "Memory"}};
    static constexpr Column Power[] = {{ProcessMetric::Power, "Power"}};
    static constexpr Column Energy[] = {{ProcessMetric::Energy, "Energy"}};
    static constexpr Column Network[] = {{ProcessMetric::NetworkUpload, "Upload"},
                                         {ProcessMetric::NetworkDownload, "Download"}};
    static constexpr Column Disk[] = {{ProcessMetric::DiskRead, "Read"}, {ProcessMetric::DiskWrite, "Write"}};
    switch (key) {
        case ProcessListKey::Memory: return Memory;
        case ProcessListKey::Power: return Power;
        case ProcessListKey::Energy: return Energy;
        case ProcessListKey::Network: return Network;
        case ProcessListKey::DiskActivity: return Disk;
        default: return CPU;
    }
}

ProcessListKey keyNamed(const std::string& name) {
    for (const ProcessListKey key : {ProcessListKey::Memory, ProcessListKey::Power, ProcessListKey::Energy,
                                     ProcessListKey::Network, ProcessListKey::DiskActivity})
        if (processListKeyName(key) == name) return key;
    return ProcessListKey::CPU;
}

std::string figureText(ProcessMetric metric, double figure) {
    switch (metric) {
        case ProcessMetric::CPU:
        case ProcessMetric::Power:
        case ProcessMetric::Energy: return percentText(figure);
        case ProcessMetric::Memory: return bytesText(figure);
        default: return bytesText(figure) + "/s";
    }
}

Style figureStyle(ProcessMetric metric, double figure) {
    return metric == ProcessMetric::CPU ? styleForPercent(figure) : Style::Plain;
}

Table makeTable(std::span<const Column> figures) {
    std::vector<Align> columns{Align::Right};
    std::vector<Cell> header{{"PID", Style::Faint}};
    for (const Column& figure : figures) {
        columns.push_back(Align::Right);
        header.push_back({std::string(figure.title), Style::Faint});
    }
    columns.insert(columns.end(), {Align::Left, Align::Left});
    header.push_back({"Name", Style::Faint});
    header.push_back({"Path", Style::Faint});
    Table table(columns, 0);
    table.add(std::move(header));
    return table;
}

void addRow(Table& table, const StatisticsProcessItem& process, std::span<const Column> figures,
            std::span<const double> values, const std::string& name) {
    std::vector<Cell> row{{std::to_string(process.pid)}};
    for (std::size_t index = 0; index < figures.size(); ++index)
        row.push_back(
            {figureText(figures[index].metric, values[index]), figureStyle(figures[index].metric, values[index])});
    row.push_back({printable(name)});
    row.push_back({printable(process.path), Style::Faint});
    table.add(std::move(row));
}

// The tree

/// A node and how deep it stands.
struct Placed {
    const ProcessHierarchyNode* node;
    std::size_t depth;
};

/// The families, the busiest first at every level, each followed by its members; at most `rows`.
std::vector<Placed> walk(ProcessHierarchyNodes& top, std::span<const Column> figures, std::uint64_t rows) {
    const auto rank = [&](const ProcessHierarchyNode* node) {
        double largest = node->sum(figures[0].metric);
        for (const Column& figure : figures) largest = std::max(largest, node->sum(figure.metric));
        return largest;
    };
    std::vector<Placed> open, placed;
    const auto push = [&](const ProcessHierarchyNodes& nodes, std::size_t depth) {
        const std::size_t first = open.size();
        for (const ProcessHierarchyNode& node : nodes) open.push_back({&node, depth});
        std::stable_sort(open.begin() + static_cast<std::ptrdiff_t>(first), open.end(),
                         [&](const Placed& one, const Placed& other) { return rank(one.node) < rank(other.node); });
    };
    push(top, 0);
    while (!open.empty() && placed.size() < rows) {
        const Placed next = open.back();
        open.pop_back();
        placed.push_back(next);
        push(next.node->children, next.depth + 1);
    }
    return placed;
}

Value treeValue(const std::vector<Placed>& placed, std::span<const Column> figures) {
    Value list = Value::array();
    for (const Placed& one : placed) {
        const StatisticsProcessItem& process = *one.node->process();
        Value row = {{"pid", process.pid}, {"name", process.name}, {"path", process.path}, {"depth", one.depth}};
        for (const Column& figure : figures)
            row[std::string(processMetricName(figure.metric))] = one.node->sum(figure.metric);
        list.push_back(std::move(row));
    }
    return list;
}

std::string treeText(const std::vector<Placed>& placed, std::span<const Column> figures, const Palette& palette) {
    Table table = makeTable(figures);
    std::vector<double> values(figures.size());
    for (const Placed& one : placed) {
        const StatisticsProcessItem& process = *one.node->process();
        for (std::size_t index = 0; index < figures.size(); ++index)
            values[index] = one.node->sum(figures[index].metric);
        addRow(table, process, figures, values, std::string(one.depth * 2, ' ') + process.name);
    }
    return table.text(palette);
}

std::string listText(const ProcessListRows& list, std::span<const Column> figures, const Palette& palette) {
    Table table = makeTable(figures);
    for (const ProcessListRow& row : list.rows) addRow(table, *row.process, figures, row.values, row.process->name);
    return table.text(palette);
}

}  // namespace

int runProcesses(Session& session, const Options& options, const Host& host) {
    session.wait(options.interval);
    const double time = session.sample();
    HVKStatisticsProcesses& processes = *session.framework().Processes();
    if (processes.processes().empty()) {
        host.say("the processes of this machine cannot be listed; 'hvkstat doctor' says why");
        return ExitFailed;
    }

    const ProcessListKey key = keyNamed(options.sort);
    const auto figures = columnsOf(key);
    Value answer = {{"time", time}, {"sort", options.sort}};
    std::string text;
    if (options.tree) {
        ProcessHierarchyNodes& top = processes.hierarchy();
        for (const Column& figure : figures)
            for (ProcessHierarchyNode& node : top) processes.hierarchySort(node, figure.metric);
        const std::vector<Placed> placed = walk(top, figures, options.rows);
        if (options.json)
            answer["tree"] = treeValue(placed, figures);
        else
            text = treeText(placed, figures, host.palette());
    } else {
        const ProcessListConfig configuration{key, static_cast<std::int64_t>(options.rows),
                                              options.threshold.value_or(0), options.combine};
        const ProcessListRows& list = options.combine ? processes.combinedProcessesWithConfig(configuration)
                                                      : processes.processesWithConfig(configuration);
        if (options.json)
            answer[options.combine ? "families" : "processes"] = list.toValue();
        else
            text = listText(list, figures, host.palette());
    }
    host.output.write(options.json ? jsonLine(answer) : text);
    return ExitOk;
}

}  // namespace hvk::hvkstat
