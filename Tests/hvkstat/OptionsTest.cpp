#include "hvkstat/Options.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "hvkstat/Modules.h"
#include "hvkstat/Stage.h"

namespace hvk::hvkstat {
namespace {

Options parsed(const std::vector<std::string>& arguments) {
    const auto outcome = parseArguments(arguments);
    const Options* options = std::get_if<Options>(&outcome);
    EXPECT_NE(options, nullptr) << std::get<Exit>(outcome).message;
    return options != nullptr ? *options : Options{};
}

TEST(HvkstatOptions, StandBeforeOrBehindTheCommand) {
    const std::vector<std::vector<std::string>> orders = {
        {"report", "--root", "DIR", "--json", "--interval", "0.5", "--count=3", "--modules", "load,cpu,cpu"},
        {"--root", "DIR", "--json", "--interval", "0.5", "--count=3", "--modules", "load,cpu,cpu", "report"},
        {"--json", "--root=DIR", "report", "--modules=load,cpu,cpu", "--interval=0.5", "--count", "3"},
    };
    for (const auto& arguments : orders) {
        const Options options = parsed(arguments);
        EXPECT_EQ(options.command, CommandName::Report);
        EXPECT_EQ(options.root, "DIR");
        EXPECT_TRUE(options.json);
        EXPECT_EQ(options.interval, 0.5);
        EXPECT_EQ(options.count, 3u);
        EXPECT_EQ(options.modules, (std::vector<std::string>{"cpu", "load"})) << "each once, in the program's order";
    }
    // A value that looks like a command or an option is still a value.
    EXPECT_EQ(parsed({"--root", "doctor", "history", "cpu"}).root, "doctor");
    EXPECT_EQ(parsed({"history", "--start", "-60", "--end", "-5", "swap"}).history, "swap");
    EXPECT_EQ(parsed({"report", "--count", "1", "--count", "2"}).count, 2u) << "the last one counts";
}

TEST(HvkstatOptions, NoCommandIsTheLiveViewUnlessAskedForOutput) {
    EXPECT_TRUE(parsed({}).liveWhenTerminal);
    EXPECT_TRUE(parsed({"--interval", "5"}).liveWhenTerminal);
    EXPECT_FALSE(parsed({"--json"}).liveWhenTerminal);
    EXPECT_FALSE(parsed({"--count", "2"}).liveWhenTerminal);
    EXPECT_FALSE(parsed({"report"}).liveWhenTerminal);
}

TEST(HvkstatOptions, WrongUseSaysWhatWouldBeRight) {
    struct Case {
        std::vector<std::string> arguments;
        std::string message;
    };
    const std::string interval = "it takes a number of seconds from 0.001 to 86400";
    const std::string count = "it takes a whole number from 1 to 1000000000";
    const std::string bound =
        "it takes seconds since 1970 (1700000000), seconds before the end (-60, a year at most), or now";
    std::string modules;
    for (const std::string& name : moduleNames()) modules += (modules.empty() ? "" : ", ") + name;
    std::string histories;
    for (const std::string& name : historyNames()) histories += (histories.empty() ? "" : ", ") + name;
    const std::vector<Case> cases = {
        {{"reprot"}, "'reprot' is no command; did you mean 'report'?"},
        {{"frobnicate"}, "'frobnicate' is no command; the commands are report, history, "},
        {{"report", "--intervl", "3"}, "--intervl: no such option; did you mean --interval?"},
        {{"--mahcine", "x", "doctor"}, "--mahcine: no such option; did you mean --machine?"},
        {{"doctor", "--count", "3"},
         "--count: 'doctor' has no such option; it takes --help, --json, --version, --root, --machine"},
        {{"report", "extra"}, "'extra' is one word too many for 'report'"},
        {{"report", "doctor"}, "'doctor' is one word too many for 'report'"},
        {{"report", "--interval", "0"}, "--interval: '0' is not accepted; " + interval},
        {{"report", "--interval", "-1"}, "--interval: '-1' is not accepted; " + interval},
        {{"report", "--interval", "nan"}, "--interval: 'nan' is not accepted; " + interval},
        {{"report", "--interval", "inf"}, "--interval: 'inf' is not accepted; " + interval},
        {{"report", "--interval", "1e9"}, "--interval: '1e9' is not accepted; " + interval},
        {{"report", "--interval", "2s"}, "--interval: '2s' is not accepted; " + interval},
        {{"report", "--interval"}, "--interval: its value is missing; " + interval},
        {{"report", "--count", "0"}, "--count: '0' is not accepted; " + count},
        {{"report", "--count", "-2"}, "--count: '-2' is not accepted; " + count},
        {{"report", "--count", "1.5"}, "--count: '1.5' is not accepted; " + count},
        {{"report", "--count", "99999999999999999999"}, "--count: '99999999999999999999' is not accepted; " + count},
        {{"report", "--modules", "cpu,lod"},
         "--modules: 'lod' is no module, did you mean 'load'?; the modules are " + modules},
        {{"report", "--modules", "cpu,"}, "--modules: '' is no module; the modules are " + modules},
        {{"--json=maybe"}, "--json: it takes no value"},
        {{"history"}, "history: MODULE is missing; it is one of " + histories},
        {{"history", "uptime"}, "history: 'uptime' keeps no history; MODULE is one of " + histories},
        {{"history", "cpu", "--start", "noon"}, "--start: 'noon' is not accepted; " + bound},
        {{"history", "cpu", "--end", "1e300"}, "--end: '1e300' is not accepted; " + bound},
        {{"history", "cpu", "--start", "now", "--end", "-0"},
         "--start and --end are the same moment; a window needs two"},
        {{"history", "cpu", "--interval", "1.5"},
         "--interval: '1.5' is not accepted; it takes a whole number of seconds from 1 to 31536000"},
        {{"history", "cpu", "--interval"},
         "--interval: its value is missing; it takes a whole number of seconds from 1 to 31536000"},
        {{"--root", "a", "--machine", "b"}, "--root and --machine name two machines; one can be measured"},
        {{"--machine"}, "--machine: its value is missing; it takes the name of a file"},
    };
    for (const Case& wrong : cases) {
        const Ran result = run(wrong.arguments);
        EXPECT_EQ(result.code, 2) << wrong.message;
        EXPECT_THAT(result.messages, testing::StartsWith("hvkstat: " + wrong.message));
        EXPECT_THAT(result.messages, testing::EndsWith("\nTry 'hvkstat --help'.\n"));
        EXPECT_EQ(result.output, "");
    }
}

TEST(HvkstatOptions, HelpAndVersionAreData) {
    EXPECT_EQ(run({"--version"}).output, "hvkstat 0.1.0\n");
    const Ran all = run({"--help"});
    EXPECT_EQ(all.code, 0);
    for (const char* word : {"report", "history", "doctor", "--root", "--machine"})
        EXPECT_NE(all.output.find(word), std::string::npos) << word;
    EXPECT_EQ(run({"history", "--help"}).output, run({"--help", "history"}).output);
    EXPECT_NE(run({"history", "--help"}).output.find("A live machine keeps no history"), std::string::npos);
}

TEST(HvkstatOptions, TimesAreAbsoluteOrBeforeTheEnd) {
    EXPECT_EQ(*parseTimeBound("1700000000.5"), (TimeBound{1700000000.5, false}));
    EXPECT_EQ(*parseTimeBound("0"), (TimeBound{0, true}));
    EXPECT_EQ(*parseTimeBound("-60"), (TimeBound{-60, true}));
    EXPECT_EQ(*parseTimeBound("-0"), (TimeBound{0, true}));
    EXPECT_EQ(*parseTimeBound("now"), (TimeBound{0, true}));
    for (const char* text : {"", "-", "--5", "0x10", "1 ", "nan", "-inf", "-1e9", "yesterday"})
        EXPECT_FALSE(parseTimeBound(text)) << text;
}

}  // namespace
}  // namespace hvk::hvkstat
