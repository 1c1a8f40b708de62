#include "hvkstat/commands/Traffic.h"

#include <fmt/format.h>

#include <algorithm>

#include "hvkstat/render/Table.h"
#include "hvkstat/render/Units.h"

namespace hvk::hvkstat {

namespace {

double bytesOf(const Value& row) { return row["upload"].get<double>() + row["download"].get<double>(); }

/// The name of a process; what nobody owns has none.
std::string processName(Machine& machine, std::int32_t pid) {
    if (pid == 0) return "(unknown)";
    const auto information = machine.processTable().information(pid);
    if (!information) return "(ended)";
    return information->name.empty() ? information->command : information->name;
}

Value processRows(Session& session, const Value& packets) {
    Value rows = Value::array();
    for (const Value& packet : packets) {
        const auto pid = packet["pid"].get<std::int32_t>();
        rows.push_back({{"pid", pid},
                        {"name", processName(session.machine(), pid)},
                        {"download", packet["download"]},
                        {"upload", packet["upload"]}});
    }
    return rows;
}

std::string rate(const Value& bytes, double seconds) { return bytesText(bytes.get<double>() / seconds) + "/s"; }

std::string textOf(const Value& rows, bool byProcess, double seconds, const Palette& palette) {
    Table table(byProcess ? std::vector<Align>{Align::Right, Align::Right, Align::Right, Align::Left}
                          : std::vector<Align>{Align::Right, Align::Right, Align::Left});
    std::vector<Cell> titles;
    if (byProcess) titles.push_back({"PID", Style::Faint});
    for (const char* title : {"Download", "Upload", byProcess ? "Name" : "Interface"})
        titles.push_back({title, Style::Faint});
    table.add(std::move(titles));
    for (const Value& row : rows) {
        std::vector<Cell> cells;
        if (byProcess) cells.push_back({std::to_string(row["pid"].get<std::int32_t>())});
        cells.push_back({rate(row["download"], seconds)});
        cells.push_back({rate(row["upload"], seconds)});
        cells.push_back({printable(row[byProcess ? "name" : "interface"].get<std::string>())});
        table.add(std::move(cells));
    }
    return table.text(palette);
}

}  // namespace

int runTraffic(Session& session, const Options& options, const Host& host) {
    const double begin = session.machine().clock().wallSeconds();
    session.wait(options.interval);
    const double time = session.sample();
    const auto item = session.framework().Packets()->activeItem();
    if (!item || !item->isCapturing()) {
        host.say("packets cannot be captured here; 'hvkstat doctor' says why");
        return ExitFailed;
    }
    const bool byProcess = options.trafficBy == TrafficBy::Process;
    Value rows = byProcess ? processRows(session, item->stats(time)["packets"]) : item->interfaces()["interfaces"];
    std::stable_sort(rows.begin(), rows.end(),
                     [](const Value& left, const Value& right) { return bytesOf(left) > bytesOf(right); });
    if (options.json)
        host.output.write(jsonLine(
            {{"time", time}, {"interval", time - begin}, {byProcess ? "processes" : "interfaces", std::move(rows)}}));
    else
        host.output.write(textOf(rows, byProcess, std::max(time - begin, 1e-3), host.palette()));
    return ExitOk;
}

}  // namespace hvk::hvkstat
