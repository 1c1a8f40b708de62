// The records of the Mac's kernel: written here field by field, at the offsets that the kernel's headers give them.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <limits>

#include "HVKPlatform/darwin/Record.h"
#include "HVKPlatform/darwin/decode/Bluetooth.h"
#include "HVKPlatform/darwin/decode/Failures.h"
#include "HVKPlatform/darwin/decode/Load.h"
#include "HVKPlatform/darwin/decode/Memory.h"
#include "HVKPlatform/darwin/decode/Processor.h"
#include "HVKPlatform/darwin/decode/Queues.h"
#include "HVKPlatform/darwin/decode/System.h"

namespace hvk::decode {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Optional;

TEST(DarwinProcessorLoad, ReadsFourCountersOfEachProcessorInTheKernelsOrder) {
    Record record(32);
    for (std::uint32_t word = 0; word < 7; ++word) record.u32(word * 4, 100 + word);
    record.u32(28, 0xFFFFFFFF);
    std::vector<ProcessorTicks> ticks;
    ASSERT_TRUE(decodeProcessorLoad(record.bytes(), 2, ticks));
    EXPECT_THAT(ticks, ElementsAre(ElementsAre(100, 101, 102, 103), ElementsAre(104, 105, 106, 0xFFFFFFFF)));
    EXPECT_EQ(ticks[0][ProcessorStateIdle], 102U);
    EXPECT_EQ(ticks[0][ProcessorStateNice], 103U);

    const auto* buffer = ticks.data();
    ASSERT_TRUE(decodeProcessorLoad(record.bytes(), 2, ticks));
    EXPECT_EQ(ticks.data(), buffer) << "a steady pass keeps the caller's buffer";
}

TEST(DarwinProcessorLoad, LeavesTheTicksAloneWhenTheRecordMakesNoSense) {
    const Record record(32);
    const std::vector<ProcessorTicks> before = {{1, 2, 3, 4}};
    const struct {
        std::size_t bytes;
        std::size_t processors;
    } cases[] = {{0, 0}, {32, 0}, {0, 1}, {15, 1}, {31, 2}, {32, 3}, {32, std::numeric_limits<std::size_t>::max()}};
    for (const auto& one : cases) {
        std::vector<ProcessorTicks> ticks = before;
        const Status status = decodeProcessorLoad(record.first(one.bytes), one.processors, ticks);
        EXPECT_THAT(failureOf(status), Optional(FailureKind::Malformed)) << one.bytes << " bytes";
        EXPECT_EQ(ticks, before);
    }
}

TEST(DarwinMemory, ReadsTheCountersFromAmongTheOthers) {
    Record record(VirtualMemorySize);
    record.u32(0, 1).u32(4, 2).u32(8, 3).u32(12, 4).u64(32, 0x1'0000'0005).u64(40, 0x1'0000'0006);
    record.u32(88, 7).u32(128, 8).u32(136, 9).u32(140, 10);
    const auto statistics = decodeVirtualMemory(record.bytes());
    ASSERT_TRUE(statistics);
    VirtualMemoryStatistics expected;
    expected.freeCount = 1;
    expected.activeCount = 2;
    expected.inactiveCount = 3;
    expected.wireCount = 4;
    expected.pageIns = 0x1'0000'0005;
    expected.pageOuts = 0x1'0000'0006;
    expected.purgeableCount = 7;
    expected.compressorPageCount = 8;
    expected.externalPageCount = 9;
    expected.internalPageCount = 10;
    EXPECT_EQ(*statistics, expected);
}

TEST(DarwinMemory, ReadsTheSwapSpace) {
    Record record(SwapUsageSize);
    record.u64(0, 3'221'225'472).u64(8, 1'000'000'000).u64(16, 2'221'225'472);
    const auto usage = decodeSwapUsage(record.bytes());
    ASSERT_TRUE(usage);
    EXPECT_EQ(*usage, (SwapUsage{3'221'225'472, 1'000'000'000, 2'221'225'472}));
}

TEST(DarwinLoad, ReadsFixedPointNumbersAndTheScaleBehindThePadding) {
    Record record(LoadAveragesSize);
    record.u32(0, 4096).u32(4, 3072).u32(8, 1024).u64(16, 2048);
    const auto averages = decodeLoadAverages(record.bytes());
    ASSERT_TRUE(averages);
    EXPECT_EQ(*averages, (LoadAverages{{4096, 3072, 1024}, 2048}));

    for (const std::int64_t scale : {std::int64_t{0}, std::int64_t{-2048}}) {
        const auto refused = decodeLoadAverages(record.at(16, scale).bytes());
        ASSERT_THAT(failureOf(refused), Optional(FailureKind::Malformed)) << "nothing is divided by " << scale;
        EXPECT_THAT(refused.failure().detail, HasSubstr("scale"));
    }
}

TEST(DarwinSystem, ReadsWholeSecondsOfTheBootTime) {
    Record record(TimeValueSize);
    record.at(0, std::int64_t{1'700'000'000}).u32(8, 999'999);
    const auto boot = decodeBootTime(record.bytes());
    ASSERT_TRUE(boot);
    EXPECT_EQ(*boot, 1'700'000'000.0);
    EXPECT_FALSE(decodeBootTime(record.at(0, std::int64_t{0}).bytes())) << "a kernel that does not know its boot time";
}

TEST(DarwinSystem, ReadsTextCountsAndSizes) {
    using std::string_view_literals::operator""sv;
    EXPECT_EQ(decodeText("hw.model", bytesOf("MacBookPro18,1\0\xEE"sv)).valueOr(""), "MacBookPro18,1");
    EXPECT_EQ(decodeText("hw.model", bytesOf("Mac13,2"sv)).valueOr(""), "Mac13,2") << "cut before its end mark";
    for (const auto text : {""sv, "\0"sv, "\0Mac"sv})
        EXPECT_THAT(failureOf(decodeText("hw.model", bytesOf(text))), Optional(FailureKind::Malformed));

    EXPECT_EQ(decodeCount("hw.logicalcpu_max", Record(4).u32(0, 10).bytes()).valueOr(0), 10U);
    for (const std::int32_t count : {0, -1}) {
        const auto refused = decodeCount("hw.logicalcpu_max", Record(4).at(0, count).bytes());
        ASSERT_THAT(failureOf(refused), Optional(FailureKind::Malformed));
        EXPECT_EQ(refused.failure().source, "hw.logicalcpu_max");
    }
    EXPECT_EQ(decodeSize("hw.memsize", Record(8).u64(0, 1ULL << 40).bytes()).valueOr(0), 1ULL << 40);
}

TEST(DarwinSystem, NamesTheSystemAsPeopleDo) {
    EXPECT_EQ(operatingSystemName({12, 6, 0}), "macOS 12.6");
    EXPECT_EQ(operatingSystemName({13, 0, 1}), "macOS 13.0.1");
}

TEST(DarwinRecords, RefusesEachOneByteTooShortAndSaysSo) {
    const Record record(VirtualMemorySize);
    const auto check = [](const auto& result, std::size_t size) {
        ASSERT_THAT(failureOf(result), Optional(FailureKind::Malformed)) << size;
        EXPECT_THAT(result.failure().detail, HasSubstr(std::to_string(size) + " bytes"));
    };
    check(decodeVirtualMemory(record.first(VirtualMemorySize - 1)), VirtualMemorySize - 1);
    check(decodeVirtualMemory(record.first(96)), 96);  // the revision before the compressor
    check(decodeSwapUsage(record.first(SwapUsageSize - 1)), SwapUsageSize - 1);
    check(decodeLoadAverages(record.first(LoadAveragesSize - 1)), LoadAveragesSize - 1);
    check(decodeBootTime(record.first(TimeValueSize - 1)), TimeValueSize - 1);
    check(decodeCount("hw.physicalcpu_max", record.first(3)), 3);
    check(decodeSize("hw.memsize", record.first(4)), 4);
    check(decodeSwapUsage({}), 0);
}

TEST(DarwinBluetooth, KnowsFourAnswers) {
    EXPECT_EQ(*decodeBluetoothAuthorization(0), BluetoothAuthorization::NotDetermined);
    EXPECT_EQ(*decodeBluetoothAuthorization(3), BluetoothAuthorization::AllowedAlways);
    for (const std::int64_t number : {-1, 4})
        EXPECT_THAT(failureOf(decodeBluetoothAuthorization(number)), Optional(FailureKind::Malformed));
}

TEST(DarwinFailures, TellWhatACallerCanActOn) {
    const struct {
        std::uint32_t code;
        FailureKind kind;
    } kernel[] = {
        {0xe00002c1, FailureKind::Denied},
        {8, FailureKind::Denied},
        {0xe00002c7, FailureKind::Unsupported},
        {0xfffffed1, FailureKind::Unsupported},
        {0x10000003, FailureKind::Gone},
        {0xe00002d9, FailureKind::Gone},
        {4, FailureKind::Malformed},
        {0xe00002d6, FailureKind::TimedOut},
        {5, FailureKind::Absent},
        {0xdeadbeef, FailureKind::Absent},
    };
    for (const auto& one : kernel) EXPECT_EQ(kernelFailure("call", one.code).kind, one.kind) << std::hex << one.code;
    EXPECT_EQ(kernelFailure("call", 0xe00002c1), (Failure{FailureKind::Denied, "call", "kernel error 0xe00002c1"}));

    EXPECT_EQ(openFailure("open", 0xe00002c5).kind, FailureKind::Gone) << "the driver is there";
    EXPECT_EQ(openFailure("open", 0xe00002e2).kind, FailureKind::Denied);

    EXPECT_EQ(systemControlFailure("kern.none", ENOENT).kind, FailureKind::Unsupported);
    EXPECT_EQ(systemControlFailure("kern.none", EPERM).kind, FailureKind::Denied);
    EXPECT_EQ(systemControlFailure("vm.swapusage", ENOMEM).kind, FailureKind::Malformed);
    EXPECT_EQ(systemControlFailure("vm.swapusage", EINTR).kind, FailureKind::Absent);
    EXPECT_NE(systemControlFailure("kern.none", EPERM).detail, "");

    EXPECT_EQ(processFailure("proc_pidinfo", 77, ESRCH).kind, FailureKind::Gone);
    EXPECT_EQ(processFailure("proc_pidinfo", 77, EPERM).kind, FailureKind::Denied);
    EXPECT_EQ(processFailure("KERN_PROCARGS2", 77, EINVAL).kind, FailureKind::Absent);
    EXPECT_THAT(processFailure("proc_pidinfo", 77, ESRCH).detail, HasSubstr("process 77"));
}

TEST(DarwinQueues, SetsNoTimerEarlierThanAsked) {
    EXPECT_EQ(delayNanoseconds(0.2), 200'000'000);
    EXPECT_EQ(delayNanoseconds(1e-10), 1);
    for (const double nothing : {0.0, -1.0, std::numeric_limits<double>::quiet_NaN()})
        EXPECT_EQ(delayNanoseconds(nothing), 0);
    const std::int64_t longest = delayNanoseconds(std::numeric_limits<double>::infinity());
    EXPECT_GT(longest, std::int64_t{36'500} * 86'400 * 1'000'000'000);
    EXPECT_EQ(delayNanoseconds(1e300), longest);

    EXPECT_EQ(intervalNanoseconds(10), 10'000'000'000);
    EXPECT_EQ(intervalNanoseconds(0), 1'000'000) << "a timer of no interval does not spin";
    EXPECT_EQ(leewayNanoseconds(200'000'000), 20'000'000);
    EXPECT_EQ(leewayNanoseconds(10'000'000'000), 100'000'000);
}

}  // namespace
}  // namespace hvk::decode
