// The form of a recording: the documented example loads, and what makes no sense is refused with its place.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "HVKPlatform/recorded/RecordedMachine.h"
#include "support/SavedTree.h"

namespace hvk {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

Value::json_pointer pointer(const char* text) { return Value::json_pointer(text); }

Value wholeRecording() {
    return Value::parse(R"({
        "schema": 1, "name": "whole",
        "system": {"operatingSystemVersion": [14, 0, 0], "users": {"0": "root"}},
        "processor": {"architecture": "paired"},
        "bluetooth": {"authorization": 3},
        "registry": {"name": "Root", "children": [{"name": "a", "properties": {"x": {"$data": "00ff"}}}]},
        "frames": [
            {"time": 10, "processor": {"ticks": [[1, 2, 3, 4]]}, "load": {"values": [1, 2, 3], "scale": 1}},
            {"time": 11, "memory": {"physicalMemory": 1}, "registry": [{"remove": "IOService:/a"}]}]})");
}

TEST(RecordingFormat, RefusesWhatMakesNoSenseAndSaysWhere) {
    ASSERT_TRUE(RecordedMachine::fromJSON(wholeRecording()));
    const Value failure{{"error", "sleepy"}};
    const struct {
        const char* place;  ///< where the value is put
        Value value;
        const char* detail;
    } cases[] = {
        {"/schema", 2, "\"/schema\": should be 1"},
        {"/schema", "1", "\"/schema\": should be a whole number"},
        {"/name", 7, "\"/name\": should be text, is number"},
        {"/nmae", "x", "\"/nmae\": no such field"},
        {"/frames", Value::array(), "\"/frames\": should hold at least one frame"},
        {"/frames", 5, "\"/frames\": should be an array, is number"},
        {"/frames/0/time", nullptr, "\"/frames/0/time\": should be a number"},
        {"/frames/1/time", 9, "\"/frames/1/time\": is before"},
        {"/frames/1/monotonic", -1, "\"/frames/1/monotonic\": is before"},
        {"/frames/1", Value::object(), "\"/frames/1\": has no \"time\""},
        {"/frames/1", "x", "\"/frames/1\": should be a dictionary"},
        {"/frames/1/name", "x", "\"/frames/1/name\": no such field"},
        {"/frames/1/processor/architecture", "paired", "\"/frames/1/processor/architecture\": does not change"},
        {"/processor/architecture", "round", "\"/processor/architecture\": should be paired or clustered"},
        {"/frames/0/processor/ticks/0", Value::array({1, 2, 3}), "\"/frames/0/processor/ticks/0\": should be [user"},
        {"/frames/0/processor/ticks/0/2", 4294967296, "\"/frames/0/processor/ticks/0/2\": should be a whole number"},
        {"/frames/0/processor/ticks/0/2", -1, "\"/frames/0/processor/ticks/0/2\": should be a whole number"},
        {"/frames/0/processor/ticks/0/2", 1.5, "\"/frames/0/processor/ticks/0/2\": should be a whole number"},
        {"/frames/0/load/values/1", "2", "\"/frames/0/load/values/1\": should be a whole number"},
        {"/frames/0/load/values", Value::array({1}), "\"/frames/0/load/values\": should be three numbers"},
        {"/frames/0/load", failure, "\"/frames/0/load/error\": should be unsupported, absent"},
        {"/frames/0/load/error", "denied", "\"/frames/0/load/scale\": no such field"},
        {"/frames/1/memory/virtualMemory", {{"freeCuont", 1}}, "\"/frames/1/memory/virtualMemory/freeCuont\": no such"},
        {"/frames/1/memory/swapUsage", 0, "\"/frames/1/memory/swapUsage\": should be a dictionary"},
        {"/system/operatingSystemVersion", Value::array({14}), "\"/system/operatingSystemVersion\": should be [major"},
        {"/system/preferredLanguages", Value::array({7}), "\"/system/preferredLanguages/0\": should be"},
        {"/system/users/~0ann~1", "x", "\"/system/users/~0ann~1\": should be named by a user number"},
        {"/bluetooth/authorization", 4, "\"/bluetooth/authorization\": should be a whole number from 0 to 3"},
        {"/registry/location", "0", "\"/registry/location\": the root has none"},
        {"/registry/children/0/name", "", "\"/registry/children/0/name\": should not be empty"},
        {"/registry/children/0/properties/x/$data", "0",
         "\"/registry/children/0/properties/x/$data\": should be pairs"},
        {"/registry/children/0/properties/x/$data", "0g", "\"/registry/children/0/properties/x/$data\": should be pa"},
        {"/registry/children/0/children", 1, "\"/registry/children/0/children\": should be an array"},
        {"/frames/1/registry/0/remove", "IOService:/b", "\"/frames/1/registry/0/remove\": no entry at IOService:/b"},
        {"/frames/1/registry/0/remove", "IOService:/", "\"/frames/1/registry/0/remove\": the root cannot"},
        {"/frames/1/registry/0/why", 1, "\"/frames/1/registry/0/why\": no such field"},
        {"/frames/1/registry/0", Value::object(), "\"/frames/1/registry/0\": should have one of"},
        {"/frames/1/registry/1",
         {{"set", "IOService:/a"}, {"properties", Value::object()}},
         "\"/frames/1/registry/1/set\": no entry"},
        {"/frames/1/registry/1", {{"add", "IOService:/"}}, "\"/frames/1/registry/1\": has no \"entry\""},
    };
    for (const auto& one : cases) {
        Value description = wholeRecording();
        description[pointer(one.place)] = one.value;
        const auto machine = RecordedMachine::fromJSON(description);
        ASSERT_FALSE(machine) << one.place << " = " << one.value;
        EXPECT_EQ(machine.failure().kind, FailureKind::Malformed);
        EXPECT_THAT(machine.failure().detail, StartsWith(one.detail)) << one.value;
    }
    for (const Value& whole : {Value(), Value(1), Value::array(), Value::object()})
        EXPECT_EQ(RecordedMachine::fromJSON(whole).failure().kind, FailureKind::Malformed) << whole;
}

TEST(RecordingFormat, RefusesWhatIsTooDeep) {
    Value entry{{"name", "deep"}};
    Value property = 1;
    for (int level = 0; level < 1000; ++level) {
        entry = Value{{"name", "deep"}, {"children", Value::array({entry})}};
        property = Value::array({property});
    }
    for (const auto& [place, value] : {std::pair{"/registry", entry}, {"/registry/properties/x", property}}) {
        Value description = wholeRecording();
        description[pointer(place)] = value;
        const auto machine = RecordedMachine::fromJSON(description);
        ASSERT_FALSE(machine);
        EXPECT_THAT(machine.failure().detail, HasSubstr("is nested too deeply"));
    }
}

TEST(RecordingFormat, PropertiesKeepDictionariesThatOnlyLookLikeFailures) {
    Value description = wholeRecording();
    description[pointer("/registry/children/0/properties")] = Value::parse(
        R"({"a": {"error": "denied", "count": 1}, "b": {"error": "E5"}, "c": {"d": {"error": "denied"}},
            "e": {"$data": "", "f": [{"$data": "AA"}]}})");
    const auto machine = RecordedMachine::fromJSON(description);
    ASSERT_TRUE(machine) << machine.failure().detail;
    RegistryPort& registry = (*machine)->registry();
    const RegistryReference entry(registry, *registry.entryAtPath("IOService:/a"));
    EXPECT_EQ(*registry.property(entry.get(), "a"), Value::parse(R"({"error": "denied", "count": 1})"));
    EXPECT_EQ(*registry.property(entry.get(), "b"), Value::parse(R"({"error": "E5"})"));
    EXPECT_EQ((*registry.property(entry.get(), "c"))["d"]["error"], "denied");
    EXPECT_EQ((*registry.property(entry.get(), "e"))["f"][0], Value::binary({0xAA}));
}

TEST(RecordingFormat, FilesAreReadOrRefusedWithAReason) {
    test::SavedTree folder;
    const auto load = [&](const std::string& text) {
        folder.write("/machine.json", text);
        return RecordedMachine::fromFile(folder.path("/machine.json"));
    };
    EXPECT_TRUE(load(wholeRecording().dump()));
    EXPECT_THAT(load("{\"schema\": 1,").failure().detail, HasSubstr("see byte"));
    EXPECT_EQ(load("{\"schema\": 1e999}").failure().kind, FailureKind::Malformed);
    EXPECT_EQ(load("").failure().kind, FailureKind::Malformed);
    const auto refused = load("{\"schema\": 3}");
    EXPECT_THAT(refused.failure().source, HasSubstr("machine.json"));
    EXPECT_THAT(refused.failure().detail, HasSubstr("/schema"));
    EXPECT_EQ(RecordedMachine::fromFile(folder.path("/none.json")).failure().kind, FailureKind::Absent);
    EXPECT_EQ(RecordedMachine::fromFile(folder.root()).failure().kind, FailureKind::Malformed);
}

TEST(RecordingFormat, TheDocumentedExampleIsARecording) {
    std::ifstream file(HVK_SOURCE_DIR "/docs/recordings.md");
    ASSERT_TRUE(file);
    std::ostringstream text;
    text << file.rdbuf();
    const std::string fence = "```json\n";
    const auto start = text.str().find(fence);
    ASSERT_NE(start, std::string::npos);
    const auto end = text.str().find("\n```", start);
    const std::string example = text.str().substr(start + fence.size(), end - start - fence.size());

    const auto loaded = RecordedMachine::fromJSON(Value::parse(example));
    ASSERT_TRUE(loaded) << loaded.failure().detail;
    RecordedMachine& machine = **loaded;
    // Every field that the document names must be in its example: these are all that there are.
    for (const SourceReport& report : machine.diagnostics().reports()) {
        const std::string field = report.source.substr(report.source.find(": ") + 2);
        const auto last = field.substr(field.find('.') + 1);
        EXPECT_THAT(example, HasSubstr("\"" + last + "\"")) << report.source;
    }
    while (const auto next = machine.nextFrameTime()) machine.advanceTo(*next);
    EXPECT_EQ(machine.clock().wallSeconds(), machine.endTime());
    EXPECT_EQ(machine.memory().swapUsage().failure().kind, FailureKind::Denied);
}

}  // namespace
}  // namespace hvk
