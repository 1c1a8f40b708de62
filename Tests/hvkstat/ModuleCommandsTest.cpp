// The commands of single modules, on machines that are written down.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "HVKStatistics/sensors/RecipeFile.h"
#include "hvkstat/Options.h"
#include "hvkstat/Stage.h"

namespace hvk::hvkstat {
namespace {

using testing::HasSubstr;
using testing::Not;

Value process(int pid, int parent, const char* name, int cputime, int memory) {
    return {{"pid", pid},
            {"parent", parent},
            {"user", 501},
            {"command", name},
            {"identity", pid},
            {"usage", {{"cputime", cputime}, {"memory", memory}, {"wakeups", 0}}},
            {"applicationType", "BackgroundOnly"}};
}

/// An editor with a helper, and a shell with a job; in the second second the helper and the job work.
Value twoFamilies() {
    const auto frame = [](double time, int helper, int job) {
        return Value{{"time", time},
                     {"processes",
                      {{"table",
                        {process(1, 0, "launchd", 0, 1048576), process(10, 1, "Editor", 0, 2097152),
                         process(11, 10, "Helper", helper, 1048576), process(20, 1, "zsh", 0, 1048576),
                         process(21, 20, "job", job, 1048576)}}}}};
    };
    return {{"schema", 1},
            {"system", {{"operatingSystemVersion", {14, 0, 0}}}},
            {"processes", {{"timebaseFrequency", 1000}}},
            {"frames", {frame(1700000000, 0, 0), frame(1700000001, 250, 500)}}};
}

Value answer(const Ran& result) {
    EXPECT_EQ(result.code, ExitOk) << result.messages;
    return Value::parse(result.output);
}

TEST(HvkstatProcesses, ListsTheBusiest) {
    const Value list = answer(runOn(twoFamilies(), {"processes", "--json", "--count", "2"}));
    ASSERT_EQ(list["processes"].size(), 2U);
    EXPECT_EQ(list["processes"][0]["name"], "job");
    EXPECT_EQ(list["processes"][0]["cpu"], 50.0);
    EXPECT_EQ(list["processes"][1]["name"], "Helper");

    const Value memory = answer(runOn(twoFamilies(), {"processes", "--json", "--sort", "memory", "--combine"}));
    EXPECT_EQ(memory["families"][0]["name"], "Editor");
    EXPECT_EQ(memory["families"][0]["memory"], 3145728.0);
    EXPECT_EQ(memory["families"].size(), 4U) << "a shell does not absorb its job";

    const Ran text = runOn(twoFamilies(), {"processes", "--count", "1"});
    EXPECT_EQ(text.output, "PID  CPU %  Name  Path\n 21   50.0  job\n");
}

TEST(HvkstatProcesses, DrawsFamiliesAsATree) {
    const Ran text = runOn(twoFamilies(), {"processes", "--tree"});
    EXPECT_THAT(text.output, HasSubstr(" 10   25.0  Editor\n 11   25.0    Helper\n"));
    const Value tree = answer(runOn(twoFamilies(), {"processes", "--tree", "--json"}))["tree"];
    ASSERT_EQ(tree.size(), 5U);
    EXPECT_EQ(tree[0]["name"], "job");
    EXPECT_EQ(tree[2]["depth"], 1);
}

TEST(HvkstatProcesses, SaysWhatIsWrong) {
    for (const auto& [arguments, words] : std::vector<std::pair<std::vector<std::string>, const char*>>{
             {{"--sort", "cpo"}, "did you mean 'cpu'?"},
             {{"--count", "0"}, "--count: '0' is not accepted"},
             {{"--threshold", "1"}, "goes with --sort power"},
             {{"--sort", "power", "--threshold", "-1"}, "--threshold: '-1' is not accepted"},
             {{"--tree", "--combine"}, "do not go together"},
             {{"--tree=maybe"}, "--tree: it takes no value"}}) {
        std::vector<std::string> all{"processes"};
        all.insert(all.end(), arguments.begin(), arguments.end());
        const Ran result = run(all);
        EXPECT_EQ(result.code, ExitUsage) << arguments[0];
        EXPECT_THAT(result.messages, HasSubstr(words));
    }
    const Ran none = runOn({{"schema", 1}, {"frames", {{{"time", 1}}}}}, {"processes"});
    EXPECT_EQ(none.code, ExitFailed);
    EXPECT_THAT(none.messages, HasSubstr("cannot be listed"));
}

/// A machine without a recipe whose sensors describe themselves; one of them does not answer.
Value describedSensors() {
    return Value::parse(R"({"schema": 1,
        "system": {"operatingSystemVersion": [14, 0, 0], "modelName": "Example,1", "preferredLanguages": ["en"]},
        "files": {"applicationSupportDirectory": "/home/user/.local/share", "content": {}},
        "controller": {"services": {"AppleSMC": {"keys": [
            {"key": "Tq3Z", "type": "sp78", "bytes": "2d80"},
            {"key": "F1aa", "type": "fpe2", "bytes": "12c0"},
            {"key": "Tdea", "type": "sp78", "unreadable": {"error": "gone"}}]}}},
        "sensors": {"revision": 1, "descriptions": [
            {"key": "Tq3Z", "kind": "temperature", "name": "CPU Package", "chip": "coretemp", "low": 0, "high": 100},
            {"key": "Tdea", "kind": "temperature", "name": "SSD", "chip": "nvme"},
            {"key": "F1aa", "kind": "fan", "name": "Fan 1", "chip": "it87"}]},
        "frames": [{"time": 1700000000}]})");
}

TEST(HvkstatSensors, WorkWithoutARecipe) {
    const Ran text = runOn(describedSensors(), {"sensors"});
    EXPECT_EQ(text.code, ExitOk);
    EXPECT_THAT(text.output, HasSubstr("45.5 °C"));
    EXPECT_THAT(text.output, HasSubstr("0.0 °C to 100.0 °C"));
    EXPECT_THAT(text.output, HasSubstr("1200 rpm"));
    EXPECT_THAT(text.output, Not(HasSubstr("SSD"))) << "a sensor that does not answer is absent";

    const Value shown = answer(runOn(describedSensors(), {"sensors", "--json", "--all"}));
    EXPECT_EQ(shown["controller"].size(), 2U) << "the keys that can be described";
    bool found = false;
    for (const Value& group : shown["groups"])
        for (const Value& sensor : group["sensors"]) {
            if (sensor["key"] != "Tq3Z") continue;
            found = true;
            EXPECT_EQ(sensor["value"], 45.5);
            EXPECT_EQ(sensor["unit"], "°C");
        }
    EXPECT_TRUE(found);
    const Value report = answer(runOn(describedSensors(), {"report", "--json", "--modules", "sensors"}));
    EXPECT_FALSE(report["sensors"].empty());
}

TEST(HvkstatSensors, ThatComeLaterAreAdded) {
    Value recording = describedSensors();
    Value descriptions = recording["sensors"]["descriptions"];
    descriptions.push_back({{"key", "Vaaa"}, {"kind", "voltage"}, {"name", "3.3V"}, {"chip", "it87"}});
    recording["frames"].push_back(
        {{"time", 1700000002},
         {"sensors", {{"revision", 2}, {"descriptions", descriptions}}},
         {"controller",
          {{"services", {{"AppleSMC", {{"changes", {{"Vaaa", {{"type", "fp88"}, {"bytes", "0340"}}}}}}}}}}}});
    const Ran result = runOn(recording, {"report", "--json", "--modules", "sensors", "--count", "2"});
    ASSERT_EQ(result.code, ExitOk) << result.messages;
    EXPECT_EQ(result.output.find("Vaaa"), result.output.rfind("Vaaa")) << "once, in the last of two samples";
    EXPECT_THAT(result.output.substr(result.output.rfind('{', result.output.rfind("Vaaa"))), HasSubstr("3.25"));
}

TEST(HvkstatGraphics, AreShownAndBecomeSensors) {
    const Value recording = Value::parse(R"json({
        "schema": 1, "system": {"operatingSystemVersion": [14, 0, 0]},
        "registry": {"name": "Root", "children": [
            {"name": "card", "classes": ["IOPCIDevice"], "properties": {"model": "Radeon Example"}, "children": [
                {"name": "accelerator", "classes": ["IOAccelerator"], "properties": {
                    "VRAM,totalMB": 4096,
                    "PerformanceStatistics": {"Device Utilization %": 37, "inUseVidMemoryBytes": 1073741824,
                                              "Temperature(C)": 61, "Total Power(W)": 103}}}]}]},
        "graphics": {"frameRate": 60},
        "frames": [{"time": 1700000000}, {"time": 1700000001}]})json");
    EXPECT_EQ(runOn(recording, {"gpu"}).output,
              "Radeon Example\n"
              "  kind                  discrete\n"
              "  processor               37.0 %\n"
              "  memory       25.0 % of 4.0 GiB\n"
              "  power                  103.0 W\n"
              "  temperature              61 °C\n"
              "screen drawn 60 times a second\n");
    const Value shown = answer(runOn(recording, {"gpu", "--json"}));
    EXPECT_EQ(shown["fps"], 60.0);
    EXPECT_EQ(shown["gpus"][0]["processor"], 37.0);
    const Value report = answer(runOn(recording, {"report", "--json", "--modules", "sensors,gpu"}));
    EXPECT_EQ(report["gpu"].size(), 1U);
    const Ran none = runOn({{"schema", 1}, {"frames", {{{"time", 1}}}}}, {"gpu"});
    EXPECT_THAT(none.messages, HasSubstr("shows no graphics processor"));
}

TEST(HvkstatTraffic, IsToldByProcessAndByInterface) {
    const auto packet = [](int pid, const char* direction, const char* interface, const char* length) {
        return Value{{"pid", pid},
                     {"direction", direction},
                     {"interface", interface},
                     {"frame", std::string(24, '0') + "08004500" + length}};
    };
    Value recording = twoFamilies();
    recording["packets"] = Value::array();
    recording["frames"].push_back({{"time", 1700000001.5},
                                   {"packets",
                                    {packet(11, "in", "en0", "0400"), packet(20, "out", "en1", "0800"),
                                     packet(0, "in", "en0", "0010"), packet(77, "in", "en0", "0001")}}});
    const Ran text = runOn(recording, {"traffic", "--interval", "2"});
    EXPECT_EQ(text.output,
              "  PID  Download     Upload  Name\n"
              "   20     0 B/s  1.0 KiB/s  zsh\n"
              "   11   512 B/s      0 B/s  Helper\n"
              "    0     8 B/s      0 B/s  (unknown)\n"
              "   77     0 B/s      0 B/s  (ended)\n");
    const Value shown = answer(runOn(recording, {"traffic", "--by", "interface", "--json", "--interval", "2"}));
    EXPECT_EQ(shown["interval"], 2.0);
    EXPECT_EQ(shown["interfaces"], (Value{{{"interface", "en1"}, {"download", 0}, {"upload", 2048}},
                                          {{"interface", "en0"}, {"download", 1041}, {"upload", 0}}}));
    const Value report = answer(runOn(recording, {"report", "--json", "--modules", "packets", "--interval", "2"}));
    EXPECT_EQ(report["packets"]["packets"].size(), 4U);
    recording["packets"] = {{"error", "denied"}};
    const Ran none = runOn(recording, {"traffic"});
    EXPECT_EQ(none.code, ExitFailed);
    EXPECT_THAT(none.messages, HasSubstr("packets cannot be captured here"));
    EXPECT_THAT(run({"traffic", "--by", "port"}).messages, HasSubstr("--by: 'port' is not accepted"));
}

TEST(HvkstatEvents, AreALineEachUntilTheRecordingEnds) {
    const Value recording = Value::parse(R"json({
        "schema": 1, "system": {"operatingSystemVersion": [14, 0, 0]}, "bluetooth": {"authorization": 2},
        "frames": [
            {"time": 1700000000},
            {"time": 1700000002, "events": [{"disk": "appeared", "description": {"DAVolumeMountable": true}}]},
            {"time": 1700000006, "events": [
                {"disk": "appeared", "description": {"DAVolumeMountable": true}},
                {"disk": "appeared", "description": {"DAVolumeMountable": true, "DADeviceModel": "Disk Image",
                                                     "DAVolumePath": "/Volumes/Image"}},
                {"configuration": ["State:/Network/Interface/en0/Link"]}]},
            {"time": 1700000009, "events": [{"powerSources": true}]}]})json");
    EXPECT_EQ(runOn(recording, {"events"}).output,
              "2023-11-14 22:13:20.000  network tunnels changed\n"
              "2023-11-14 22:13:26.000  disks changed\n"
              "2023-11-14 22:13:26.000  disk images changed\n"
              "2023-11-14 22:13:26.000  network configuration changed: State:/Network/Interface/en0/Link\n"
              "2023-11-14 22:13:29.000  power source changed\n");
    const Ran first = runOn(recording, {"events", "--json", "--for", "6"});
    EXPECT_EQ(first.code, ExitOk) << first.messages;
    EXPECT_THAT(first.output, testing::EndsWith("{\"event\":\"network-configuration\",\"keys\":[\"State:/Network/"
                                                "Interface/en0/Link\"],\"time\":1700000006.0}\n"));
    for (const char* wrong : {"-1", "x", "1e9", ""})
        EXPECT_EQ(runOn(recording, {"events", "--for", wrong}).code, ExitUsage) << wrong;

    const TemporaryDirectory tree;
    std::filesystem::create_directory(tree.path() + "/proc");
    const Ran none = run({"events", "--root", tree.path()});
    EXPECT_EQ(none.code, ExitFailed);
    EXPECT_THAT(none.messages, HasSubstr("a saved tree does not change"));
}

TEST(HvkstatRecipe, IsMadeOfWhatTheSensorsSay) {
    const Value recipe = answer(runOn(describedSensors(), {"recipe", "make"}));
    EXPECT_EQ(recipe["version"], 1);
    EXPECT_FALSE(recipe["sensors"]["supported"].empty());

    const TemporaryDirectory directory;
    const std::string file = directory.path() + "/made.recipe";
    EXPECT_EQ(runOn(describedSensors(), {"recipe", "make", file}).code, ExitOk);
    EXPECT_EQ(answer(run({"recipe", "decode", file})), recipe);
    EXPECT_EQ(run({"recipe", "check", file}).code, ExitOk);

    const Ran silent = runOn({{"schema", 1}, {"frames", {{{"time", 1}}}}}, {"recipe", "make"});
    EXPECT_EQ(silent.code, ExitFailed);
    EXPECT_THAT(silent.messages, HasSubstr("absent"));
}

}  // namespace
}  // namespace hvk::hvkstat
