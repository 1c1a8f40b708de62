// The processes of a recorded machine: listed, patched, ended, and unreadable.

#include "HVKPlatform/recorded/ProcessTable.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/WrittenMachine.h"

namespace hvk {
namespace {

using test::turn;
using test::writtenMachine;
using testing::ElementsAre;
using testing::HasSubstr;

Value table() {
    return Value::parse(R"({"processes": {"timebaseFrequency": 24000000, "table": [
        {"pid": 812, "parent": 1, "user": 501, "command": "editor", "identity": 7, "responsible": 812,
         "arguments": ["/Applications/Editor.app/Contents/MacOS/Editor", "-x"],
         "usage": {"cputime": 100, "memory": 4096, "wakeups": 3}},
        {"pid": 1, "parent": 0, "command": "launchd", "identity": 1, "usage": {"kind": "cpu", "cputime": 9}},
        {"pid": 40, "unreadable": {"error": "denied"}}]}})");
}

TEST(RecordedProcesses, AreListedInOrderAndPatched) {
    const auto machine = writtenMachine(table());
    ProcessTablePort& port = machine->processTable();
    std::vector<std::int32_t> pids;
    ASSERT_TRUE(port.pids(pids));
    EXPECT_THAT(pids, ElementsAre(1, 40, 812));
    EXPECT_EQ(port.timebaseFrequency().valueOr(0), 24000000);
    EXPECT_EQ(port.information(812)->command, "editor");
    EXPECT_EQ(port.information(40).failure().kind, FailureKind::Denied);
    EXPECT_EQ(port.information(5).failure().kind, FailureKind::Gone);
    EXPECT_EQ(port.footprint(1).failure().kind, FailureKind::Absent);
    EXPECT_EQ(port.arguments(812)->size(), 2U);

    turn(*machine, 1, {{"processes", {{"changes", {{"812", {{"usage", {{"cputime", 150}}}}}, {"1", nullptr}}}}}});
    ASSERT_TRUE(port.pids(pids));
    EXPECT_THAT(pids, ElementsAre(40, 812));
    std::vector<ProcessUsage> usage(3);
    port.usage(std::vector<std::int32_t>{1, 40, 812}, usage);
    EXPECT_EQ(usage[0].kind, ProcessUsageKind::None) << "it ended";
    EXPECT_EQ(usage[1].kind, ProcessUsageKind::None);
    EXPECT_EQ(usage[2].cputime, 150U);
    EXPECT_EQ(usage[2].memory, 4096U) << "what a patch does not name stays";
    EXPECT_EQ(usage[2].identity, 7U);

    turn(*machine, 1, {{"processes", {{"error", "timed out"}}}});
    EXPECT_EQ(port.pids(pids).failure().kind, FailureKind::TimedOut);
    EXPECT_THAT(pids, ElementsAre(40, 812)) << "the caller's list stays";
}

TEST(RecordedProcesses, AFrameThatMakesNoSenseChangesNothing) {
    const auto machine = writtenMachine(table());
    for (const char* frame : {R"({"table": [{"pid": 5}]})", R"({"table": [{"identity": 1}]})",
                              R"({"table": [{"pid": 5, "identity": 1}, {"pid": 5, "identity": 2}]})",
                              R"({"table": [{"pid": 4294967296, "identity": 1}]})", R"({"changes": {"x": null}})",
                              R"({"changes": {"-3": null}})", R"({"changes": {"812": {"usage": {"kind": "all"}}}})",
                              R"({"changes": {"812": {"usage": {"cpu": 5}}}})",
                              R"({"changes": {"812": {"isUnresponsive": 1}}})", R"({"list": []})"}) {
        const Status status = machine->setFrame({{"processes", Value::parse(frame)}});
        ASSERT_FALSE(status) << frame;
        EXPECT_THAT(status.failure().detail, HasSubstr("/processes"));
        EXPECT_EQ(machine->processTable().information(812)->user, 501U);
    }
}

}  // namespace
}  // namespace hvk
