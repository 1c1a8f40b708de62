// What the Mac's kernel tells of processes: records at the offsets of its headers, and bytes that a process wrote
// itself.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <string>

#include "HVKPlatform/darwin/Record.h"
#include "HVKPlatform/darwin/decode/ProcessArguments.h"
#include "HVKPlatform/darwin/decode/ProcessIdentities.h"
#include "HVKPlatform/darwin/decode/ProcessRecords.h"

namespace hvk::decode {
namespace {

using std::string_literals::operator""s;
using std::string_view_literals::operator""sv;
using testing::ElementsAre;
using testing::Optional;

constexpr std::uint64_t Started = 1'700'000'000;

/// proc_bsdinfo of process 812, at the front of a record of `size` bytes.
Record processRecord(std::size_t size = ProcessInformationSize) {
    Record record(size);
    record.u32(12, 812).u32(16, 1).u32(20, 501);
    record.text(48, "Web Content\0"sv).text(64, "Web Content Helper\0"sv);
    record.u64(120, Started).u64(128, 250'000);
    return record;
}

/// KERN_PROCARGS2 with the given count and what follows it.
std::vector<std::uint8_t> argumentRecord(std::int32_t count, const std::string& texts) {
    std::vector<std::uint8_t> bytes(sizeof count + texts.size());
    std::memcpy(bytes.data(), &count, sizeof count);
    std::memcpy(bytes.data() + sizeof count, texts.data(), texts.size());
    return bytes;
}

TEST(DarwinProcessRecords, TellsWhoAProcessIs) {
    Record record = processRecord();
    const auto information = decodeProcessInformation(record.bytes());
    ASSERT_TRUE(information);
    EXPECT_EQ(information->pid, 812);
    EXPECT_EQ(information->parent, 1);
    EXPECT_EQ(information->user, 501U);
    EXPECT_EQ(information->command, "Web Content");
    EXPECT_EQ(information->name, "Web Content Helper");
    EXPECT_EQ(information->identity, Started * 1'000'000 + 250'000);

    // Full fields have no end mark, and the next field does not leak in.
    record.text(48, "com.apple.WebKit"sv).text(64, "com.apple.WebKit.Networking.long"sv);
    const auto full = decodeProcessInformation(record.bytes());
    ASSERT_TRUE(full);
    EXPECT_EQ(full->command, "com.apple.WebKit");
    EXPECT_EQ(full->name, "com.apple.WebKit.Networking.long");

    record.text(64, "\0"sv);
    EXPECT_EQ(decodeProcessInformation(record.bytes())->name, "");
}

TEST(DarwinProcessRecords, IdentifiesAProcessByItsStartInEveryRecordThatHasIt) {
    Record record = processRecord(TaskAllInformationSize);
    record.u64(136 + 16, 5'000).u64(136 + 24, 2'500);
    const std::uint64_t identity = decodeProcessInformation(record.bytes())->identity;
    EXPECT_EQ(*decodeProcessIdentity(record.bytes()), identity);
    const auto usage = decodeTaskUsage(record.bytes());
    ASSERT_TRUE(usage);
    EXPECT_EQ(usage->identity, identity);
    EXPECT_EQ(usage->cputime, 7'500U);
    EXPECT_EQ(usage->kind, ProcessUsageKind::CPUOnly);

    // One microsecond makes another process; the kernel's own starts before the clock is set.
    EXPECT_NE(*decodeProcessIdentity(record.u64(128, 250'001).bytes()), identity);
    EXPECT_EQ(*decodeProcessIdentity(record.u64(120, 0).u64(128, 0).bytes()), 1U);
}

TEST(DarwinProcessRecords, ReadsWhatAProcessHasUsed) {
    Record record(ResourceUsageSize);
    record.u64(16, 1ULL << 40).u64(24, 7).u64(32, 88).u64(72, 123'456'789).u64(80, 42'000);
    record.u64(144, 5'000'000'000).u64(152, 6'000'000'000);
    const auto resources = decodeResourceUsage(record.bytes());
    ASSERT_TRUE(resources);
    EXPECT_EQ(resources->startTicks, 42'000U);
    EXPECT_EQ(resources->usage.cputime, (1ULL << 40) + 7);
    EXPECT_EQ(resources->usage.memory, 123'456'789U);
    EXPECT_EQ(resources->usage.diskRead, 5'000'000'000U);
    EXPECT_EQ(resources->usage.diskWritten, 6'000'000'000U);
    EXPECT_EQ(resources->usage.wakeups, 88U) << "those of the idle package, not all interrupts";
    EXPECT_EQ(resources->usage.kind, ProcessUsageKind::Complete);

    EXPECT_EQ(decodeFootprint(Record(TaskMemorySize).u64(144, 987'654'321).bytes()).valueOr(0), 987'654'321U);
}

TEST(DarwinProcessRecords, ReadsTheTimeBase) {
    EXPECT_EQ(decodeTimebaseFrequency(Record(8).u64(0, 24'000'000).bytes()).valueOr(0), 24'000'000);
    for (const std::int64_t none : {std::int64_t{0}, std::int64_t{-1}})
        EXPECT_THAT(failureOf(decodeTimebaseFrequency(Record(8).at(0, none).bytes())), Optional(FailureKind::Absent));
}

TEST(DarwinProcessRecords, ListsEachProcessOnceInOrder) {
    std::vector<std::int32_t> pids = {9};
    const std::int32_t listed[] = {812, 1, 0, 812, 77};
    ASSERT_TRUE(decodeProcessList(listed, pids));
    EXPECT_THAT(pids, ElementsAre(0, 1, 77, 812));
    EXPECT_THAT(failureOf(decodeProcessList({}, pids)), Optional(FailureKind::Absent));
    EXPECT_THAT(pids, ElementsAre(0, 1, 77, 812));
}

TEST(DarwinProcessRecords, RefusesEachOneByteTooShort) {
    const Record record = processRecord(TaskAllInformationSize);
    const auto refused = Optional(FailureKind::Malformed);
    EXPECT_THAT(failureOf(decodeProcessInformation(record.first(ProcessInformationSize - 1))), refused);
    EXPECT_THAT(failureOf(decodeProcessIdentity(record.first(ProcessInformationSize - 1))), refused);
    EXPECT_THAT(failureOf(decodeTaskUsage(record.first(TaskAllInformationSize - 1))), refused);
    EXPECT_THAT(failureOf(decodeResourceUsage(record.first(ResourceUsageSize - 1))), refused);
    EXPECT_THAT(failureOf(decodeFootprint(record.first(TaskMemorySize - 1))), refused);
    EXPECT_THAT(failureOf(decodeTimebaseFrequency(record.first(7))), refused);
    EXPECT_THAT(failureOf(decodeProcessInformation({})), refused);
}

TEST(DarwinProcessArguments, TellsThePathThenTheArgumentsAndNothingOfTheEnvironment) {
    const auto texts = decodeProcessArguments(argumentRecord(
        4, "/Applications/Web App.app/Contents/MacOS/app\0\0\0\0app\0--bundlepath\0\0/tmp/x\0SECRET=1\0"s));
    ASSERT_TRUE(texts);
    EXPECT_THAT(*texts,
                ElementsAre("/Applications/Web App.app/Contents/MacOS/app", "app", "--bundlepath", "", "/tmp/x"));

    EXPECT_THAT(*decodeProcessArguments(argumentRecord(0, "/bin/ls\0\0SECRET=1\0"s)), ElementsAre("/bin/ls"));
    EXPECT_THAT(*decodeProcessArguments(argumentRecord(1, "/bin/ls\0\0ls\0"s)), ElementsAre("/bin/ls", "ls"));
}

TEST(DarwinProcessArguments, SurvivesWhatAProcessMayWrite) {
    constexpr std::int32_t Many = std::numeric_limits<std::int32_t>::max();
    EXPECT_THAT(*decodeProcessArguments(argumentRecord(Many, "/bin/ls\0a\0b"s)), ElementsAre("/bin/ls", "a", "b"))
        << "a count beyond the bytes, and no end mark";
    EXPECT_THAT(*decodeProcessArguments(argumentRecord(2, "/bin/ls"s)), ElementsAre("/bin/ls"));
    EXPECT_THAT(*decodeProcessArguments(argumentRecord(2, "/bin/ls\0\0\0\0"s)), ElementsAre("/bin/ls"));
    EXPECT_THAT(*decodeProcessArguments(argumentRecord(1, "/bin/\xFF\0\xFE"s)), ElementsAre("/bin/\xFF", "\xFE"))
        << "bytes are handed on as they are";

    const auto refused = Optional(FailureKind::Malformed);
    EXPECT_THAT(failureOf(decodeProcessArguments(argumentRecord(1, ""s))), refused);
    EXPECT_THAT(failureOf(decodeProcessArguments(argumentRecord(1, "\0\0ls\0"s))), refused) << "no path";
    EXPECT_THAT(failureOf(decodeProcessArguments(argumentRecord(-1, "/bin/ls\0ls\0"s))), refused);
    EXPECT_THAT(failureOf(decodeProcessArguments(bytesOf("\1\0\0"sv))), refused);
    EXPECT_THAT(failureOf(decodeProcessArguments({})), refused);
}

TEST(DarwinProcessIdentities, HoldAsLongAsThePidIsTheSameProcess) {
    ProcessIdentities identities;
    identities.beginPass();
    EXPECT_EQ(identities.find(10, 100), 0U) << "nothing is known at first";
    identities.remember(10, 100, 1001);
    identities.remember(20, 200, 2002);
    identities.remember(30, 300, 3003);
    identities.endPass();

    // 10 has ended and its pid is taken again, 20 has ended, 30 lives on.
    identities.beginPass();
    EXPECT_EQ(identities.find(10, 150), 0U);
    identities.remember(10, 150, 1501);
    EXPECT_EQ(identities.find(15, 300), 0U);
    EXPECT_EQ(identities.find(30, 300), 3003U);
    EXPECT_EQ(identities.find(40, 300), 0U) << "behind the last one that is known";
    identities.endPass();

    identities.beginPass();
    EXPECT_EQ(identities.find(10, 150), 1501U);
    EXPECT_EQ(identities.find(20, 200), 0U) << "a pass that did not ask has forgotten";
    EXPECT_EQ(identities.find(30, 300), 3003U);
    identities.endPass();
}

}  // namespace
}  // namespace hvk::decode
