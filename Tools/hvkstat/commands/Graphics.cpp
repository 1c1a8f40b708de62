#include "hvkstat/commands/Graphics.h"

#include <fmt/format.h>

#include "hvkstat/render/Table.h"
#include "hvkstat/render/Units.h"

namespace hvk::hvkstat {

namespace {

std::string_view typeName(std::int64_t type) {
    switch (type) {
        case HVKStatisticsGPUTypeIntegrated: return "integrated";
        case HVKStatisticsGPUTypeExternal: return "external";
        default: return "discrete";
    }
}

bool has(const HVKStatisticsGPUItem& item, const char* mark) { return item.features.contains(mark); }

double feature(const HVKStatisticsGPUItem& item, const char* key) { return item.features.value(key, 0.0); }

std::string textOf(const HVKStatisticsGPUItem& item, const Palette& palette) {
    Table table({Align::Left, Align::Right});
    const auto row = [&](const char* name, std::string value, Style style = Style::Plain) {
        table.add({{name, Style::Faint}, {std::move(value), style}});
    };
    row("kind", std::string(typeName(item.type)) + (item.active ? "" : ", not active"));
    if (has(item, "has-processor"))
        row("processor", percentText(item.processor) + " %", styleForPercent(item.processor));
    if (item.memorySize > 0)
        row("memory", fmt::format("{} % of {}", percentText(item.memory), bytesText(item.memorySize)),
            styleForPercent(item.memory));
    if (has(item, "has-clock-core")) row("core clock", fmt::format("{:.0f} MHz", feature(item, "clock-core")));
    if (has(item, "has-clock-memory")) row("memory clock", fmt::format("{:.0f} MHz", feature(item, "clock-memory")));
    if (has(item, "has-power")) row("power", fmt::format("{:.1f} W", feature(item, "power")));
    if (has(item, "has-temperature")) row("temperature", fmt::format("{:.0f} °C", feature(item, "temperature")));
    if (has(item, "has-fan-rpm"))
        row("fan", fmt::format("{:.0f} rpm", feature(item, "fan-speed")));
    else if (has(item, "fan-percentage"))
        row("fan", percentText(feature(item, "fan-percentage")) + " %");
    return palette.paint(Style::Heading, printable(item.name)) + '\n' + table.text(palette);
}

Value jsonOf(const HVKStatisticsGPUItem& item) {
    return {{"key", item.key},
            {"name", item.name},
            {"type", typeName(item.type)},
            {"active", item.active},
            {"processor", has(item, "has-processor") ? Value(item.processor) : Value(nullptr)},
            {"memory", item.memorySize > 0 ? Value(item.memory) : Value(nullptr)},
            {"memorySize", item.memorySize},
            {"features", item.features}};
}

}  // namespace

int runGraphics(Session& session, const Options& options, const Host& host) {
    const double time = session.sample();
    const HVKStatisticsGPU& graphics = *session.framework().GPU();
    if (options.json) {
        Value items = Value::array();
        for (const auto& item : graphics.devices())
            if (!item->hidden) items.push_back(jsonOf(*item));
        host.output.write(jsonLine({{"time", time}, {"fps", graphics.fps()}, {"gpus", std::move(items)}}));
        return ExitOk;
    }
    std::string text;
    for (const auto& item : graphics.devices())
        if (!item->hidden) text += textOf(*item, host.palette());
    if (graphics.fps() > 0) text += fmt::format("screen drawn {:.0f} times a second\n", graphics.fps());
    if (text.empty())
        host.say("this machine shows no graphics processor; 'hvkstat doctor' says why");
    else
        host.output.write(text);
    return ExitOk;
}

}  // namespace hvk::hvkstat
