#include "hvkstat/commands/Sensors.h"

#include <fmt/format.h>

#include "HVKStatistics/sensors/StatisticsSensorItem.h"
#include "hvkstat/render/Table.h"
#include "hvkstat/render/Units.h"

namespace hvk::hvkstat {

namespace {

bool answers(const StatisticsSensorItem& sensor) {
    return sensor.exists && sensor.value.load() != StatisticsSensorNotAvailable;
}

std::string rangeText(const StatisticsSensorItem& sensor) {
    if (!(sensor.high > sensor.low)) return {};
    return fmt::format("{} to {}", sensorText(sensor.type, sensor.low), sensorText(sensor.type, sensor.high));
}

Value sensorDetails(const StatisticsSensorItem& sensor) {
    Value details = {{"key", sensor.key},         {"name", sensor.name},
                     {"type", sensor.type},       {"unit", std::string(sensorUnit(sensor.type))},
                     {"low", sensor.low},         {"high", sensor.high},
                     {"exists", answers(sensor)}, {"off", sensor.off.load()}};
    details["value"] = answers(sensor) ? Value(sensor.value.load()) : Value(nullptr);
    return details;
}

Value jsonOf(HVKStatisticsSensors& sensors, double time, bool all) {
    Value groups = Value::array();
    for (const SensorGroup& group : sensors.immutableGroups()) {
        Value members = Value::array();
        for (const auto& sensor : group.sensors)
            if (all || answers(*sensor)) members.push_back(sensorDetails(*sensor));
        if (members.empty()) continue;
        groups.push_back({{"identifier", group.identifier},
                          {"key", group.key},
                          {"type", group.type},
                          {"name", sensors.nameForGroup(group)},
                          {"sensors", std::move(members)}});
    }
    Value answer = {{"time", time}, {"groups", std::move(groups)}};
    if (all) answer["controller"] = sensors.allSensors();
    return answer;
}

std::string textOf(HVKStatisticsSensors& sensors, bool all, const Palette& palette) {
    std::string text;
    for (const SensorGroup& group : sensors.immutableGroups()) {
        Table table({Align::Left, Align::Right, Align::Left});
        std::size_t rows = 0;
        for (const auto& sensor : group.sensors) {
            if (!all && !answers(*sensor)) continue;
            ++rows;
            const std::string value = answers(*sensor) ? sensorText(sensor->type, sensor->value) : "-";
            table.add({{printable(sensor->name)}, {value}, {rangeText(*sensor), Style::Faint}});
        }
        if (rows == 0) continue;
        text += palette.paint(Style::Heading, printable(sensors.nameForGroup(group))) + '\n' + table.text(palette);
    }
    const Value keys = all ? sensors.allSensors() : Value();
    if (keys.is_array() && !keys.empty()) {
        text += palette.paint(Style::Heading, "Controller") + '\n';
        Table table({Align::Left, Align::Right});
        for (const Value& key : keys) {
            const double value = key["value"].get<double>();
            table.add({{printable(key["key"].get<std::string>())},
                       {value == StatisticsSensorNotAvailable ? "-" : fmt::format("{:.2f}", value)}});
        }
        text += table.text(palette);
    }
    return text;
}

}  // namespace

int runSensors(Session& session, const Options& options, const Host& host) {
    const double time = session.sample();
    HVKStatisticsSensors& sensors = *session.framework().Sensors();
    if (options.json) {
        host.output.write(jsonLine(jsonOf(sensors, time, options.all)));
        return ExitOk;
    }
    const std::string text = textOf(sensors, options.all, host.palette());
    if (text.empty())
        host.say("this machine shows no sensors; 'hvkstat doctor' says why");
    else
        host.output.write(text);
    return ExitOk;
}

}  // namespace hvk::hvkstat
