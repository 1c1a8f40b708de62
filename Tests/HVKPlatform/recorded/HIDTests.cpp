// The HID readings of a recorded machine: picked by usage, read anew in each frame, failing, absent.

#include "HVKPlatform/recorded/HID.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/WrittenMachine.h"

namespace hvk {
namespace {

using test::turn;
using test::writtenMachine;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

Status temperatures(Machine& machine, std::vector<HIDReading>& readings) {
    return machine.hid().readings(HIDTemperatureUsagePage, HIDTemperatureUsage, HIDTemperatureEvent, readings);
}

TEST(RecordedHID, ReadsWhatMatchesInOrder) {
    const auto machine = writtenMachine(Value::parse(R"({"hid": {"readings": [
        {"product": "PMU tdie1", "value": 41.5},
        {"product": "lid angle", "usagePage": 32, "usage": 138, "eventType": 25, "value": 110},
        {"product": "NAND CH0 temp", "value": -3}, {"product": "NAND CH0 temp", "value": 40}]}})"));
    std::vector<HIDReading> readings = {{"old", 1}, {"old", 2}, {"old", 3}, {"old", 4}};
    ASSERT_TRUE(temperatures(*machine, readings));
    EXPECT_THAT(readings, ElementsAre(HIDReading{"PMU tdie1", 41.5}, HIDReading{"NAND CH0 temp", -3.0},
                                      HIDReading{"NAND CH0 temp", 40.0}));
    ASSERT_TRUE(machine->hid().readings(32, 138, 25, readings));
    EXPECT_THAT(readings, ElementsAre(HIDReading{"lid angle", 110.0}));
    ASSERT_TRUE(machine->hid().readings(32, 138, 15, readings));
    EXPECT_THAT(readings, IsEmpty());

    turn(*machine, 1, Value::parse(R"({"hid": {"readings": [{"product": "PMU tdie2", "value": 50}]}})"));
    ASSERT_TRUE(temperatures(*machine, readings));
    EXPECT_THAT(readings, ElementsAre(HIDReading{"PMU tdie2", 50.0}));
    for (const char* section : {R"({"error": "denied"})", R"({"readings": {"error": "denied"}})"}) {
        turn(*machine, 1, {{"hid", Value::parse(section)}});
        readings = {{"old", 1}};
        EXPECT_EQ(temperatures(*machine, readings).failure().kind, FailureKind::Denied);
        EXPECT_THAT(readings, IsEmpty());
    }
    EXPECT_EQ(temperatures(*writtenMachine(), readings).failure().kind, FailureKind::Absent);
}

TEST(RecordedHID, RefusesWhatMakesNoSense) {
    const auto machine = writtenMachine();
    const std::pair<const char*, const char*> cases[] = {
        {R"({"readings": [{"value": 1}]})", "/hid/readings/0\": has no \"product\""},
        {R"({"readings": [{"product": "a"}]})", "/hid/readings/0\": has no \"value\""},
        {R"({"readings": [{"product": "a", "value": "1"}]})", "/hid/readings/0/value\": should be a number"},
        {R"({"readings": [{"product": "a", "value": 1, "usage": 4294967296}]})", "/hid/readings/0/usage\": should be"},
        {R"({"readings": [{"product": "a", "value": 1, "unit": "C"}]})", "/hid/readings/0/unit\": no such field"},
        {R"({"readings": {}})", "/hid/readings\": should be an array"},
        {R"({"values": []})", "/hid/values\": no such field"},
    };
    for (const auto& [section, detail] : cases)
        EXPECT_THAT(machine->setFrame({{"hid", Value::parse(section)}}).failure().detail, HasSubstr(detail));
}

}  // namespace
}  // namespace hvk
