// The texts of the kernel's files: what counts is read, whatever is cut or garbled is refused with a reason.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>

#include "HVKPlatform/linux/parse/AuxiliaryVector.h"
#include "HVKPlatform/linux/parse/LoadAvg.h"
#include "HVKPlatform/linux/parse/MemInfo.h"
#include "HVKPlatform/linux/parse/ProcessorList.h"
#include "HVKPlatform/linux/parse/Stat.h"

namespace hvk::parse {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

TEST(StatText, ReadsEveryFieldAndSkipsTheSum) {
    ProcessorLines lines;
    ASSERT_TRUE(
        parseProcessorLines("cpu  9 9 9 9\n"
                            "cpu0 1 2 3 4 5 6 7 8 9 10\n"
                            "cpu7 18446744073709551615 0 0 1\n"
                            "intr 5 0\nbtime 1700000000\n",
                            lines));
    ASSERT_EQ(lines.lines.size(), 2U);
    const ProcessorTimes& first = lines.lines[0].times;
    EXPECT_THAT((std::vector{first.user, first.nice, first.system, first.idle, first.iowait, first.irq, first.softirq,
                             first.steal}),
                ElementsAre(1, 2, 3, 4, 5, 6, 7, 8));
    EXPECT_EQ(lines.lines[1].processor, 7U);
    EXPECT_EQ(lines.lines[1].times.user, UINT64_MAX);
    EXPECT_EQ(lines.lines[1].times.steal, 0U) << "an old kernel prints fewer fields";
    EXPECT_FALSE(lines.endsWithThem);
}

TEST(StatText, RefusesWhatIsCutOrGarbled) {
    const struct {
        const char* text;
        const char* reason;
    } cases[] = {
        {"", "empty"},
        {"intr 1 2 3\n", "no processor line"},
        {"cpu  1 2 3 4\n", "no processor line"},
        {"cpu  1 2 3 4\ncpu0 1 2 3 4\ncpu1 1 2", "cut within line"},
        {"cpu  1 2 3 4\ncpu0 1 2 3\n", "no four numbers"},
        {"cpu  1 2 3 4\ncpu0 1 2 x 4\n", "no four numbers"},
        {"cpu  1 2 3 4\ncpu0 1 -2 3 4\n", "no four numbers"},
        {"cpu  1 2 3 4\ncpu0 18446744073709551616 2 3 4\n", "no four numbers"},
        {"cpu  1 2 3 4\ncpu70000 1 2 3 4\n", "no four numbers"},
        {"cpu  1 2 3 4\ncpux 1 2 3 4\n", "no four numbers"},
    };
    for (const auto& one : cases) {
        ProcessorLines lines;
        const Status status = parseProcessorLines(one.text, lines);
        ASSERT_FALSE(status) << one.text;
        EXPECT_EQ(status.failure().kind, FailureKind::Malformed);
        EXPECT_THAT(status.failure().detail, HasSubstr(one.reason)) << one.text;
    }
}

TEST(StatText, FindsTheBootTime) {
    EXPECT_EQ(parseBootTime("cpu 1\nbtime 1700000000\nprocesses 5\n"), 1700000000U);
    EXPECT_EQ(parseBootTime("cpu 1\nbtime 17000"), std::nullopt) << "a cut number is another number";
    EXPECT_EQ(parseBootTime("xbtime 5\nbtime\n"), std::nullopt);
}

TEST(MemInfoText, ReadsTheLinesInAnyOrder) {
    const auto info = parseMemInfo(
        "SwapFree: 5 kB\nMemFree:         100 kB\nMemTotal:       1000 kB\nKReclaimable: 7 kB\nActive(anon): 99 kB\n"
        "Active: 3 kB\nUnknown: many\n");
    ASSERT_TRUE(info);
    EXPECT_EQ(info->total, 1000U * 1024);
    EXPECT_EQ(info->free, 100U * 1024);
    EXPECT_EQ(info->swapFree, 5U * 1024);
    EXPECT_EQ(info->active, 3U * 1024);
    EXPECT_EQ(info->reclaimable, 7U * 1024);
    EXPECT_EQ(info->zswap, std::nullopt);
}

TEST(MemInfoText, RefusesWhatIsCutOrGarbled) {
    for (const char* text : {"", "MemTotal: 1000 kB\n", "MemFree: 10 kB\n", "MemTotal: 1000 kB\nMemFree: 1",
                             "MemTotal: x kB\nMemFree: 10 kB\n", "MemTotal: 18446744073709551615 kB\nMemFree: 1 kB\n"})
        EXPECT_FALSE(parseMemInfo(text)) << text;
}

TEST(PagingText, NeedsBothLinesWhole) {
    const auto counts = parsePagingCounts("nr_free_pages 5\npgpgin 20\npgpgout 30\npgpgoutx 5\n");
    ASSERT_TRUE(counts);
    EXPECT_EQ(counts->pagedInKiB, 20U);
    EXPECT_EQ(counts->pagedOutKiB, 30U);
    for (const char* text : {"", "pgpgin 20\n", "pgpgin 20\npgpgout 3", "pgpgin\npgpgout 3\n"})
        EXPECT_FALSE(parsePagingCounts(text)) << text;
}

TEST(ZramText, TakesTheThirdNumber) {
    EXPECT_EQ(parseZramMemoryUsed("  4096   512 20480 0 0 0 0 0 0\n"), 20480U);
    EXPECT_EQ(parseZramMemoryUsed("4096 512\n"), std::nullopt);
}

TEST(LoadText, KeepsTheDigits) {
    EXPECT_EQ(parseLoadAverages("0.09 12.30 301.05 2/345 6789\n").valueOr({}), (LoadAverages{{9, 1230, 30105}, 100}));
    for (const char* text : {"", "0.1 0.2 0.3 1/2 3\n", "1 2 3\n", "0.12 0.34\n", "-1.00 0.10 0.10\n",
                             "0.123 0.1 0.1\n", "99999999999.00 0.10 0.10\n"})
        EXPECT_FALSE(parseLoadAverages(text)) << text;
}

TEST(ProcessorListText, ExpandsRangesAndRefusesNonsense) {
    EXPECT_THAT(parseProcessorList("0-3,8,10-11\n").value(), ElementsAre(0, 1, 2, 3, 8, 10, 11));
    EXPECT_THAT(parseProcessorList("5,1-2,2\n").value(), ElementsAre(1, 2, 5));
    EXPECT_THAT(parseProcessorList("\n").value(), IsEmpty());
    for (const char* text : {"3-1", "a", "0-", "-1", "0--2", "0,,2", "0-4294967295"})
        EXPECT_EQ(parseProcessorList(text), std::nullopt) << text;
}

/// A vector of (type, value) pairs as one machine would lay it out.
std::string vectorBytes(std::initializer_list<std::uint64_t> words, std::size_t size, bool bigEndian) {
    std::string bytes;
    for (const std::uint64_t word : words)
        for (std::size_t index = 0; index < size; ++index)
            bytes += static_cast<char>(word >> 8 * (bigEndian ? size - 1 - index : index));
    return bytes;
}

TEST(AuxiliaryVectorBytes, ReadsEveryLayout) {
    for (const std::size_t size : {8, 4}) {
        for (const bool bigEndian : {false, true}) {
            const std::string bytes =
                vectorBytes({33, 0x7fff1000, 16, 0xbfebfbff, 6, 16384, 17, 1024, 0, 0}, size, bigEndian);
            const AuxiliaryVector vector = parseAuxiliaryVector(bytes);
            EXPECT_EQ(vector.pageSize, 16384U) << size << bigEndian;
            EXPECT_EQ(vector.ticksPerSecond, 1024U) << size << bigEndian;
            EXPECT_EQ(parseAuxiliaryVector(bytes.substr(0, bytes.size() - 2 * size)).pageSize, std::nullopt)
                << "without its end the vector is cut";
        }
    }
    EXPECT_EQ(parseAuxiliaryVector("garbage that is no vector at all").pageSize, std::nullopt);
    EXPECT_EQ(parseAuxiliaryVector({}).pageSize, std::nullopt);
}

}  // namespace
}  // namespace hvk::parse
