#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>

#include "hvkstat/Modules.h"
#include "hvkstat/Program.h"
#include "hvkstat/Stage.h"
#include "hvkstat/commands/History.h"
#include "hvkstat/commands/Live.h"
#include "hvkstat/render/Palette.h"
#include "hvkstat/render/ReportText.h"
#include "hvkstat/render/Table.h"
#include "hvkstat/render/Units.h"

namespace hvk::hvkstat {
namespace {

using testing::HasSubstr;
using testing::Not;

std::vector<Value> lines(const std::string& text) {
    std::vector<Value> values;
    std::size_t begin = 0;
    while (begin < text.size()) {
        const std::size_t end = text.find('\n', begin);
        values.push_back(Value::parse(text.substr(begin, end - begin)));
        begin = end + 1;
    }
    return values;
}

TEST(HvkstatReport, ShowsAMachineToAPerson) {
    const Ran result =
        runOn(sixSeconds(), {"report", "--interval", "2", "--modules", "cpu,memory,load,processes,sensors,gpu,uptime"});
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(result.messages, "");
    EXPECT_EQ(result.output, R"(2023-11-14 22:13:22  Example,1  Example 1.0
Processors  user 15.0 %, system 10.0 %
  CPU  Class        User  System
    0  efficiency   15.0    10.0
    1  efficiency   15.0    10.0
    2  performance  15.0    10.0
    3  performance  15.0    10.0
Memory      pressure 31.2 %
  total         8.0 GiB
  wired         2.0 GiB  25.0 %
  app           2.5 GiB  31.2 %
  compressed  512.0 MiB   6.2 %
  file cache    2.0 GiB  25.0 %
  free          1.0 GiB  12.5 %
Paging      1000 pages in, 50 out since the start
Swap        195.3 KiB of 976.6 KiB used (20.0 %)
Load        1.02  0.50  0.25  (1, 5, 15 minutes)
Processes   unknown
Sensors     none
Graphics    none
Uptime      1 day 03:46:42, since 2023-11-13 18:26:40
)");
}

TEST(HvkstatReport, IsOneObjectALineForAProgram) {
    const Ran result = runOn(sixSeconds(), {"report", "--json", "--count", "3", "--modules", "cpu,memory,load,uptime"});
    EXPECT_EQ(result.code, 0);
    const std::vector<Value> samples = lines(result.output);
    ASSERT_EQ(samples.size(), 3u);
    const Value core = {{"user", 30.0}, {"system", 10.0}, {"time", 1700000003.0}};
    EXPECT_EQ(
        samples[2],
        (Value{{"time", 1700000003.0},
               {"cpu", {{"user", 30.0}, {"system", 10.0}, {"time", 1700000003.0}, {"cores", {core, core, core, core}}}},
               {"memory",
                {{"wired", 2147483648.0},
                 {"free", 1073741824.0},
                 {"total", 8589934592.0},
                 {"pagein", 0.0},
                 {"pageout", 0.0},
                 {"swapused", 300000.0},
                 {"swaptotal", 1000000.0},
                 {"filecache", 2147483648.0},
                 {"app", 2684354560.0},
                 {"compressed", 536870912.0}}},
               {"load", {{"one", 1.03}, {"five", 0.5}, {"fifteen", 0.25}}},
               {"uptime", {{"boot", 1699900000.0}, {"uptime", 100003.0}}}}));

    const Ran chosen = runOn(sixSeconds(), {"--modules", "load", "--json"});
    EXPECT_EQ(chosen.output, "{\"load\":{\"fifteen\":0.25,\"five\":0.5,\"one\":1.01},\"time\":1700000001.0}\n");
}

TEST(HvkstatReport, ShowsWhatIsMissing) {
    const Value bare = {{"schema", 1}, {"frames", {{{"time", 1700000000}}}}};
    const Ran result = runOn(bare, {});
    EXPECT_EQ(result.code, 0);
    EXPECT_THAT(result.output, HasSubstr("no processor information"));
    EXPECT_THAT(result.output, HasSubstr("Swap        none\n"));
    EXPECT_THAT(result.output, HasSubstr("Uptime      unknown\n"));
    EXPECT_EQ(lines(runOn(bare, {"--json", "--modules", "uptime"}).output)[0]["uptime"],
              (Value{{"boot", 0.0}, {"uptime", 0.0}}));
}

TEST(HvkstatReport, ForeignTextCannotDriveTheTerminal) {
    Value recording = sixSeconds();
    recording["system"]["modelName"] = "Evil\x1b[2J\nModel";
    const Ran result = runOn(recording, {"report"});
    EXPECT_THAT(result.output, HasSubstr("Evil?[2J?Model"));
    EXPECT_THAT(result.output, Not(HasSubstr("\x1b")));
}

TEST(HvkstatReport, ColoursOnlyWhereTheyAreWanted) {
    Value recording = sixSeconds();
    recording["frames"][1]["processor"]["ticks"] = {{95, 5, 90, 0}, {0, 0, 190, 0}, {0, 0, 190, 0}, {0, 0, 190, 0}};
    EXPECT_THAT(runOn(recording, {"report"}, true).output, HasSubstr("\x1b[31m95.0\x1b[0m"));
    EXPECT_THAT(runOn(recording, {"report"}, false).output, Not(HasSubstr("\x1b")));
    EXPECT_FALSE(coloursWanted("1", "xterm"));
    EXPECT_FALSE(coloursWanted(nullptr, "dumb"));
    EXPECT_FALSE(coloursWanted(nullptr, nullptr));
    EXPECT_TRUE(coloursWanted(nullptr, "xterm"));
    EXPECT_TRUE(coloursWanted("", "xterm")) << "an empty NO_COLOR is as good as none";
}

TEST(HvkstatReport, MachineThatCannotBeOpened) {
    const Ran missing = run({"report", "--machine", "/nonexistent/machine.json"});
    EXPECT_EQ(missing.code, 1);
    EXPECT_EQ(missing.messages, "hvkstat: /nonexistent/machine.json: there is no such file (absent)\n");
    const TemporaryFile garbage("{\"schema\": 1");
    const Ran broken = run({"--machine", garbage.path(), "doctor"});
    EXPECT_EQ(broken.code, 1);
    EXPECT_THAT(broken.messages, HasSubstr("(malformed)"));
    EXPECT_EQ(broken.output, "");
}

TEST(HvkstatHistory, ReplaysEveryFrameIntoSpansNewestFirst) {
    const Ran text = runOn(sixSeconds(), {"history", "cpu", "--start", "-5", "--end", "now", "--interval", "2"});
    EXPECT_EQ(text.code, 0);
    EXPECT_EQ(text.output,
              "Until                User %  System %\n"
              "2023-11-14 22:13:25    45.0      10.0\n"
              "2023-11-14 22:13:23    25.0      10.0\n"
              "2023-11-14 22:13:21    10.0      10.0\n");

    // Absolute, and the other way round.
    const Ran json = runOn(
        sixSeconds(), {"--json", "history", "load", "--start", "1700000004", "--end", "1700000002", "--interval", "1"});
    const std::vector<Value> means = lines(json.output);
    ASSERT_EQ(means.size(), 2u);
    EXPECT_EQ(means[0]["time"], 1700000004.0);
    EXPECT_EQ(means[0]["type"], "load");
    EXPECT_EQ(means[0]["interval"], 1);
    EXPECT_NEAR(means[0]["one"].get<double>(), 1.04, 1e-6);
    EXPECT_NEAR(means[1]["one"].get<double>(), 1.03, 1e-6);

    // The first frame counts for what needs no earlier reading.
    const std::vector<Value> swap =
        lines(runOn(sixSeconds(), {"history", "swap", "--json", "--start", "-6", "--interval", "6"}).output);
    ASSERT_EQ(swap.size(), 1u);
    EXPECT_NEAR(swap[0]["swap"].get<double>(), 0.25, 1e-9);

    const Ran nothing = runOn(sixSeconds(), {"history", "cpu", "--start", "5", "--end", "50", "--json"});
    EXPECT_EQ(nothing.code, 0);
    EXPECT_EQ(nothing.output, "");
    EXPECT_EQ(nothing.messages, "hvkstat: no sample lies in the window\n");
}

TEST(HvkstatHistory, LongRecordingLosesNothing) {
    Value recording = {{"schema", 1}, {"frames", Value::array()}};
    for (int second = 0; second < 3000; ++second)
        recording["frames"].push_back(
            {{"time", 1000 + second}, {"load", {{"values", {second < 1500 ? 100 : 300, 0, 0}}, {"scale", 100}}}});
    const std::vector<Value> means = lines(
        runOn(recording, {"history", "load", "--json", "--start", "999", "--end", "3999", "--interval", "500"}).output);
    ASSERT_EQ(means.size(), 6u) << "more frames than a history keeps";
    EXPECT_EQ(means[0]["one"], 3.0);
    EXPECT_EQ(means[5]["one"], 1.0);
    EXPECT_EQ(means[5]["time"], 1499.0);
}

TEST(HvkstatHistory, WindowsAndSpans) {
    EXPECT_EQ(resolveWindow({-10, true}, {0, true}, 500), (Window{500, 490}));
    EXPECT_EQ(resolveWindow({600, false}, {-10, true}, 500), (Window{600, 490}));
    EXPECT_EQ(*spansOf({25, 0}, 10), (std::vector<Window>{{25, 15}, {15, 5}, {5, 0}}));
    EXPECT_FALSE(spansOf({200001, 0}, 1));
    EXPECT_EQ(runOn(sixSeconds(), {"history", "cpu", "--start", "0", "--end", "now"}).code, 2) << "too many spans";
}

TEST(HvkstatHistory, LiveMachineIsMeasuredFromNowOn) {
    // A window in the past begins now and holds every planned sample, however late, within half a period.
    const MeasuringPlan past = *planMeasuring({1000, 940}, 10, 1000);
    EXPECT_TRUE(past.moved);
    EXPECT_EQ(past.samples, 60u);
    EXPECT_EQ(past.period, 1);
    EXPECT_EQ(past.window, (Window{1060.5, 1000.5}));

    const MeasuringPlan future = *planMeasuring({1100, 1040}, 10, 1000);
    EXPECT_FALSE(future.moved);
    EXPECT_EQ(future.delay, 40);
    EXPECT_EQ(future.samples, 60u);
    EXPECT_EQ(future.window, (Window{1100, 1040}));

    const MeasuringPlan brief = *planMeasuring({1000, 999.5}, 10, 1000);
    EXPECT_EQ(brief.samples, 1u) << "a window shorter than a second gets its sample";
    const MeasuringPlan coarse = *planMeasuring({100000, 92800}, 3600, 100000);
    EXPECT_EQ(coarse.period, 4) << "a span never holds more samples than a history keeps";
    EXPECT_FALSE(planMeasuring({1000, 1000 - 8 * 86400}, 10, 1000));
}

TEST(HvkstatDoctor, SaysWhatFailsAndWhatAPassCosts) {
    Value recording = sixSeconds();
    recording["frames"][0]["load"] = {{"values", {{"error", "denied"}, {"detail", "not for you"}}}};
    const Ran text = runOn(recording, {"doctor"});
    EXPECT_EQ(text.code, 0) << "failing sources are the answer";
    EXPECT_THAT(text.output, HasSubstr("works"));
    EXPECT_THAT(text.output, HasSubstr("denied: not for you\n"));
    EXPECT_THAT(text.output,
                HasSubstr("Last pass\n  Module     CPU time  System calls\n  cpu               -             -\n"));

    const Value json = lines(runOn(recording, {"doctor", "--json"}).output)[0];
    bool found = false;
    for (const Value& source : json["sources"]) {
        if (source["purpose"] != "load averages") continue;
        found = true;
        EXPECT_EQ(source["state"], "fails");
        EXPECT_EQ(source["failure"]["kind"], "denied");
        EXPECT_EQ(source["failures"], source["readings"]);
    }
    EXPECT_TRUE(found);
    EXPECT_EQ(json["passes"].size(), moduleNames().size());
}

TEST(HvkstatDoctor, FailsOnlyWhenNothingCanBeRead) {
    const TemporaryDirectory tree;
    std::filesystem::create_directory(tree.path() + "/proc");
    const Ran nothing = run({"doctor", "--root", tree.path()});
    EXPECT_EQ(nothing.code, 1);
    EXPECT_THAT(nothing.output, HasSubstr("fails"));
    EXPECT_EQ(nothing.messages, "hvkstat: nothing could be read from this machine\n");

    std::ofstream(tree.path() + "/proc/loadavg") << "0.12 0.34 0.56 1/99 1234\n";
    const Ran something = run({"doctor", "--root", tree.path()});
    EXPECT_EQ(something.code, 0);
    EXPECT_EQ(something.messages, "");
}

TEST(HvkstatRender, UnitsAndTables) {
    EXPECT_EQ(bytesText(0), "0 B");
    EXPECT_EQ(bytesText(1023), "1023 B");
    EXPECT_EQ(bytesText(1536), "1.5 KiB");
    EXPECT_EQ(bytesText(1048575), "1.0 MiB") << "never 1024.0 KiB";
    EXPECT_EQ(bytesText(std::nan("")), "-");
    EXPECT_EQ(durationText(93784.9), "1 day 02:03:04");
    EXPECT_EQ(durationText(2 * 86400), "2 days 00:00:00");
    EXPECT_EQ(durationText(-1), "-");
    EXPECT_EQ(timeText(1e18), "-");
    EXPECT_EQ(processorTimeText(0.000123), "123 us");
    EXPECT_EQ(processorTimeText(0.0999), "99.9 ms");

    Table table({Align::Left, Align::Right}, 0);
    table.add({{"\xc3\xa4"}, {"1"}});
    table.addRemark(1, {"wider than any column"});
    table.add({{"long"}, {"100"}});
    table.add({{"no end"}});
    EXPECT_EQ(table.text(Palette(false)), "\xc3\xa4         1\n        wider than any column\nlong    100\nno end\n");
}

TEST(HvkstatRender, ManyCoresStandSideBySide) {
    ReportView view;
    view.processors = ProcessorsView{0, 0, std::vector<CoreView>(20, CoreView{1, 12.5, 3})};
    std::size_t longest = 0;
    const std::string text = drawReport(view, Palette(false), 80);
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = text.find('\n', begin);
        longest = std::max(longest, end - begin);
        begin = end + 1;
    }
    EXPECT_LE(longest, 80u);
    EXPECT_THAT(text, HasSubstr("   10  first thread  12.5     3.0"));
    EXPECT_THAT(text, HasSubstr("\n    9  first thread"));
}

TEST(HvkstatLive, ScreenHoldsWhatFits) {
    EXPECT_EQ(fitToScreen("one\ntwo\nthree\n", 2), "one\x1b[K\r\ntwo\x1b[K\x1b[J");
    EXPECT_EQ(fitToScreen("one\n", 5), "one\x1b[K\x1b[J");
}

}  // namespace
}  // namespace hvk::hvkstat
