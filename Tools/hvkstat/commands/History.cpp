#include "hvkstat/commands/History.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "HVKPlatform/recorded/RecordedMachine.h"
#include "HVKStatistics/core/StatisticsHistoryRecords.h"
#include "hvkstat/render/Table.h"
#include "hvkstat/render/Units.h"

namespace hvk::hvkstat {

namespace {

constexpr double MostSpans = 100000;
constexpr double LongestMeasuring = 7 * 86400;

/// Takes each span's mean once the samples have come to its newer end.
class MeanCollector {
public:
    MeanCollector(HVKStatisticsFramework& framework, const HistoryEntry& history, std::vector<Window> spans,
                  std::int64_t seconds)
        : framework_(framework), history_(history), open_(std::move(spans)), seconds_(seconds) {}

    /// A sample of that time is in the history.
    void sampled(double time) {
        while (!open_.empty() && open_.back().newer <= time) closeOldest();
    }

    /// The means of all spans that hold a sample, newest first; there are no more samples to come.
    std::vector<Value> finish() {
        while (!open_.empty()) closeOldest();
        std::reverse(means_.begin(), means_.end());
        return std::move(means_);
    }

private:
    void closeOldest() {
        Value mean = history_.average(framework_, open_.back().newer, open_.back().older, seconds_);
        if (!mean.is_null()) means_.push_back(std::move(mean));
        open_.pop_back();
    }

    HVKStatisticsFramework& framework_;
    const HistoryEntry& history_;
    std::vector<Window> open_;  ///< newest first
    std::int64_t seconds_;
    std::vector<Value> means_;  ///< oldest first
};

/// Samples a recorded machine at every frame up to the window's end.
void replay(Session& session, const ModuleEntry& module, const Window& window, MeanCollector& means) {
    RecordedMachine& machine = *session.recorded();
    if (!module.overInterval) means.sampled(session.sample());
    while (const auto next = machine.nextFrameTime()) {
        machine.advanceTo(*next);
        const double time = session.sample();
        means.sampled(time);
        if (time > window.newer) break;
    }
}

/// Samples a live machine as planned. Times count from the start, so that lateness does not add up.
void measure(Session& session, const MeasuringPlan& plan, MeanCollector& means) {
    ClockPort& clock = session.machine().clock();
    const double begin = clock.monotonicSeconds() + plan.delay;
    const auto waitUntil = [&](double moment) { session.wait(std::max(0.0, moment - clock.monotonicSeconds())); };
    if (plan.delay > 0) {
        // The first span's processor use must not cover the waiting.
        waitUntil(begin);
        session.sample();
    }
    for (std::uint64_t sample = 1; sample <= plan.samples; ++sample) {
        waitUntil(begin + static_cast<double>(sample) * plan.period);
        means.sampled(session.sample());
    }
}

std::string columnTitle(const HistoryColumn& column) {
    switch (column.unit) {
        case HistoryUnit::Number: break;
        case HistoryUnit::Percent:
        case HistoryUnit::Fraction: return fmt::format("{} %", column.title);
        case HistoryUnit::Mebibytes: return fmt::format("{} MiB", column.title);
    }
    return std::string(column.title);
}

std::string columnText(const HistoryColumn& column, double number) {
    switch (column.unit) {
        case HistoryUnit::Number: return fmt::format("{:.2f}", number);
        case HistoryUnit::Percent:
        case HistoryUnit::Mebibytes: return percentText(number);
        case HistoryUnit::Fraction: return percentText(number * 100);
    }
    return {};
}

std::string drawMeans(const HistoryEntry& history, const std::vector<Value>& means, const Palette& palette) {
    std::vector<Align> columns = {Align::Left};
    std::vector<Cell> header = {{"Until", Style::Faint}};
    for (const HistoryColumn& column : history.columns) {
        columns.push_back(Align::Right);
        header.push_back({columnTitle(column), Style::Faint});
    }
    Table table(columns, 0);
    table.add(std::move(header));
    for (const Value& mean : means) {
        std::vector<Cell> row = {{timeText(mean["time"].get<double>())}};
        for (const HistoryColumn& column : history.columns)
            row.push_back({columnText(column, mean[std::string(column.key)].get<double>())});
        table.add(std::move(row));
    }
    return table.text(palette);
}

void print(const HistoryEntry& history, const std::vector<Value>& means, bool json, const Host& host) {
    if (means.empty()) {
        host.say("no sample lies in the window");
        return;
    }
    std::string text;
    if (json)
        for (const Value& mean : means) text += jsonLine(mean);
    else
        text = drawMeans(history, means, host.palette());
    host.output.write(text);
}

int wrongUse(const Host& host, const Failure& failure) {
    host.say(failure.detail);
    return ExitUsage;
}

}  // namespace

Window resolveWindow(const TimeBound& one, const TimeBound& other, double now) {
    const auto moment = [now](const TimeBound& bound) { return bound.relative ? now + bound.seconds : bound.seconds; };
    return {std::max(moment(one), moment(other)), std::min(moment(one), moment(other))};
}

Result<std::vector<Window>> spansOf(const Window& window, std::int64_t seconds) {
    const double length = window.newer - window.older;
    const auto step = static_cast<double>(seconds);
    if (length / step > MostSpans)
        return Failure{FailureKind::Malformed, "--interval",
                       fmt::format("the window has more than {:.0f} spans of {} s; --interval takes a longer one",
                                   MostSpans, seconds)};
    std::vector<Window> spans;
    // Each bound from the window's end and not from its neighbour: no error adds up.
    for (double index = 0; index * step < length; ++index)
        spans.push_back({window.newer - index * step, std::max(window.older, window.newer - (index + 1) * step)});
    return spans;
}

Result<MeasuringPlan> planMeasuring(const Window& window, std::int64_t seconds, double now) {
    MeasuringPlan plan;
    plan.moved = window.newer <= now;
    const double length = window.newer - window.older;
    const double total = plan.moved ? length : window.newer - now;
    if (total > LongestMeasuring)
        return Failure{FailureKind::Malformed, "--start",
                       "a live machine keeps no history for this command and would be measured for more than 7 days; "
                       "--start and --end take a shorter window"};
    // No more samples in a span than a history keeps.
    plan.period = std::max(1.0, std::ceil(static_cast<double>(seconds) / static_cast<double>(ModuleHistoryCapacity)));
    if (plan.moved) {
        plan.period = std::min(plan.period, length);
        plan.window = {now + length + plan.period / 2, now + plan.period / 2};
    } else {
        plan.window = window;
        plan.period = std::min(plan.period, std::min(total, length));
        plan.delay = std::max(0.0, window.older - now);
    }
    const double measured = plan.window.newer - now - plan.delay;
    plan.samples = static_cast<std::uint64_t>(std::floor(measured / plan.period));
    return plan;
}

int runHistory(Session& session, const Options& options, const Host& host) {
    const HistoryChoice choice = findHistory(options.history);
    RecordedMachine* recorded = session.recorded();
    const double now = session.machine().clock().wallSeconds();
    Window window = resolveWindow(options.start, options.end, recorded != nullptr ? recorded->endTime() : now);
    if (!(window.older < window.newer)) {
        host.say("--start and --end are the same moment; a window needs two");
        return ExitUsage;
    }
    MeasuringPlan plan;
    if (recorded == nullptr) {
        const auto planned = planMeasuring(window, options.bucketSeconds, now);
        if (!planned) return wrongUse(host, planned.failure());
        plan = *planned;
        window = plan.window;
    }
    auto spans = spansOf(window, options.bucketSeconds);
    if (!spans) return wrongUse(host, spans.failure());

    MeanCollector means(session.framework(), *choice.history, std::move(*spans), options.bucketSeconds);
    if (recorded != nullptr) {
        replay(session, *choice.module, window, means);
    } else {
        host.say(fmt::format("measuring for {:g} s", plan.delay + static_cast<double>(plan.samples) * plan.period));
        measure(session, plan, means);
    }
    print(*choice.history, means.finish(), options.json, host);
    return ExitOk;
}

}  // namespace hvk::hvkstat
