// The log: lines reach the sink in force, and nothing below the level does.

#include "HVKLogger/DDLog.h"

#include <gtest/gtest.h>

namespace hvk {
namespace {

TEST(DDLog, WritesWhatMattersToTheHostsSink) {
    std::vector<DDLogMessage> lines;
    DDLog::setSink([&](const DDLogMessage& message) { lines.push_back(message); });
    HVKLogInfo("Statistics: Disks changed");
    DDLog::setLevel(DDLogFlag::Info);
    HVKLogInfo("Statistics: Disks changed");
    HVKLogError("a dropped request");
    DDLog::log(DDLogFlag::Debug, "file", "method", 1, "too fine");
    DDLog::setLevel(DDLogFlag::Warning);
    DDLog::setSink(nullptr);

    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[0].message, "Statistics: Disks changed");
    EXPECT_EQ(lines[0].method, "TestBody");
    EXPECT_GT(lines[0].line, 0);
    EXPECT_EQ(lines[1].flag, DDLogFlag::Error);
}

}  // namespace
}  // namespace hvk
