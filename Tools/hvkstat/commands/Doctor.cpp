#include "hvkstat/commands/Doctor.h"

#include <fmt/format.h>

#include <algorithm>

#include "hvkstat/render/Table.h"
#include "hvkstat/render/Units.h"

namespace hvk::hvkstat {

namespace {

/// The login manager answers within this time, or later than anybody waits for.
constexpr double EventPatience = 0.2;

std::string_view stateName(SourceState state) {
    switch (state) {
        case SourceState::Works: return "works";
        case SourceState::Fails: return "fails";
        case SourceState::NotAsked: return "not asked";
    }
    return "";
}

Style stateStyle(SourceState state) {
    switch (state) {
        case SourceState::Works: return Style::Good;
        case SourceState::Fails: return Style::Alarm;
        case SourceState::NotAsked: return Style::Faint;
    }
    return Style::Plain;
}

Value failureDictionary(const Failure& failure) {
    return {{"kind", failureKindName(failure.kind)}, {"source", failure.source}, {"detail", failure.detail}};
}

Value sourceDictionary(const SourceReport& source) {
    Value dictionary = {{"source", source.source},
                        {"purpose", source.purpose},
                        {"state", stateName(sourceState(source))},
                        {"readings", source.readings},
                        {"failures", source.failures}};
    if (source.failure) dictionary["failure"] = failureDictionary(*source.failure);
    if (source.lastFailure) dictionary["last-failure"] = failureDictionary(*source.lastFailure);
    if (!source.mend.empty()) dictionary["mend"] = source.mend;
    if (!source.note.empty()) dictionary["note"] = source.note;
    return dictionary;
}

Value costDictionary(const PassCost& cost) {
    Value dictionary = Value::object();
    if (cost.processorSeconds) dictionary["processor-seconds"] = *cost.processorSeconds;
    if (cost.systemCalls) dictionary["system-calls"] = *cost.systemCalls;
    return dictionary;
}

Value doctorDictionary(const std::vector<SourceReport>& sources, const std::vector<PassCost>& costs) {
    Value dictionary = {{"sources", Value::array()}, {"passes", Value::object()}};
    for (const SourceReport& source : sources) dictionary["sources"].push_back(sourceDictionary(source));
    for (const PassCost& cost : costs) dictionary["passes"][std::string(cost.module->name)] = costDictionary(cost);
    return dictionary;
}

std::string drawSources(const std::vector<SourceReport>& sources, const Palette& palette) {
    Table table({Align::Left, Align::Left, Align::Left});
    const auto remark = [&](std::string_view what, const std::string& text) {
        table.addRemark(1, {fmt::format("{}: {}", what, printable(text))});
    };
    for (const SourceReport& source : sources) {
        const SourceState state = sourceState(source);
        table.add({{std::string(stateName(state)), stateStyle(state)},
                   {printable(source.purpose)},
                   {printable(source.source), Style::Faint}});
        if (source.failure) {
            remark(failureKindName(source.failure->kind), source.failure->detail);
            if (!source.mend.empty()) remark("to mend it", source.mend);
        } else if (source.failures != 0) {
            remark("failed before", fmt::format("{} of {} readings, last {}: {}", source.failures, source.readings,
                                                failureKindName(source.lastFailure->kind), source.lastFailure->detail));
        }
        if (!source.note.empty()) remark("note", source.note);
    }
    return table.text(palette);
}

std::string drawCosts(const std::vector<PassCost>& costs, const Palette& palette) {
    Table table({Align::Left, Align::Right, Align::Right});
    table.add({{"Module", Style::Faint}, {"CPU time", Style::Faint}, {"System calls", Style::Faint}});
    for (const PassCost& cost : costs)
        table.add({{std::string(cost.module->name)},
                   {cost.processorSeconds ? processorTimeText(*cost.processorSeconds) : "-"},
                   {cost.systemCalls ? std::to_string(*cost.systemCalls) : "-"}});
    return table.text(palette);
}

std::string drawDoctor(const std::vector<SourceReport>& sources, const std::vector<PassCost>& costs,
                       const Palette& palette) {
    std::string text = palette.paint(Style::Heading, "Sources") + '\n';
    text += sources.empty() ? "  this machine keeps no account of its sources\n" : drawSources(sources, palette);
    text += '\n' + palette.paint(Style::Heading, "Last pass") + '\n';
    return text + drawCosts(costs, palette);
}

bool anythingRead(const std::vector<SourceReport>& sources) {
    return std::any_of(sources.begin(), sources.end(),
                       [](const SourceReport& source) { return source.readings > source.failures; });
}

/// Two passes over the processes, so that their sources have a state too; the second finds what the first kept.
void askProcesses(ProcessTablePort& table) {
    std::vector<std::int32_t> pids;
    std::vector<ProcessUsage> usage;
    for (int pass = 0; pass < 2; ++pass) {
        if (!table.pids(pids)) return;
        usage.resize(pids.size());
        table.usage(pids, usage);
    }
}

/// Asks for the constants that no module has asked for, so that their sources have a state too.
void askConstants(SystemPort& system) {
    (void)system.operatingSystemName();
    (void)system.modelName();
    (void)system.logicalProcessorCount();
    (void)system.physicalProcessorCount();
}

/// Starts the notifications of a live machine, so that their sources have a state too.
void askEvents(Session& session, const Options& options) {
    if (!options.root.empty() || session.recorded() != nullptr) return;
    session.framework().startNotifications();
    session.wait(EventPatience);
}

}  // namespace

SourceState sourceState(const SourceReport& source) {
    if (source.failure) return SourceState::Fails;
    return source.readings == 0 ? SourceState::NotAsked : SourceState::Works;
}

int runDoctor(Session& session, const Options& options, const Host& host) {
    session.wait(0);
    session.sample();
    session.sample();
    askConstants(session.machine().system());
    askProcesses(session.machine().processTable());
    askEvents(session, options);
    const std::vector<SourceReport> sources = session.machine().diagnostics().reports();
    host.output.write(options.json ? jsonLine(doctorDictionary(sources, session.lastPass()))
                                   : drawDoctor(sources, session.lastPass(), host.palette()));
    if (anythingRead(sources)) return ExitOk;
    host.say("nothing could be read from this machine");
    return ExitFailed;
}

}  // namespace hvk::hvkstat
