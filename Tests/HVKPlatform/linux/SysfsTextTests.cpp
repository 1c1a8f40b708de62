// The texts of sysfs: counters of a block device, and names that become paths.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "HVKPlatform/linux/parse/BlockStat.h"
#include "HVKPlatform/linux/parse/SysfsText.h"

namespace hvk::parse {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

TEST(BlockStatText, TellsReadsFromWritesInBytesAndNanoseconds) {
    const auto statistics = parseBlockStatistics(
        "  920068    98289 78736298  1104485   277041   113376 192580152   830881        3   146900  1962954    67150"
        "       34 116957776    26127    26541     1460\n",
        "stat");
    ASSERT_TRUE(statistics);
    EXPECT_EQ(statistics->readOperations, 920068U);
    EXPECT_EQ(statistics->readBytes, 78736298ULL * 512);
    EXPECT_EQ(statistics->readNanoseconds, 1104485000000U);
    EXPECT_EQ(statistics->writeOperations, 277041U);
    EXPECT_EQ(statistics->writeBytes, 192580152ULL * 512);
    EXPECT_EQ(statistics->writeNanoseconds, 830881000000U);
    EXPECT_EQ(statistics->requestsInFlight, 3U);
    EXPECT_EQ(statistics->activeNanoseconds, 146900000000U);

    const struct {
        const char* text;
        const char* reason;
    } bad[] = {{"", "field 1"},
               {"1 2 3 4 5 6 7 8 9 10", "field 11"},
               {"1 2 x 4 5 6 7 8 9 10 11", "field 3"},
               {"1 2 -3 4 5 6 7 8 9 10 11", "field 3"},
               {"1 2 18446744073709551615 4 5 6 7 8 9 10 11", "64 bits"}};
    for (const auto& one : bad) {
        const auto refused = parseBlockStatistics(one.text, "stat");
        ASSERT_FALSE(refused) << one.text;
        EXPECT_EQ(refused.failure().kind, FailureKind::Malformed);
        EXPECT_THAT(refused.failure().detail, HasSubstr(one.reason)) << one.text;
    }
}

TEST(SysfsText, NamesNeverBecomeTheSameComponent) {
    EXPECT_EQ(escapedName("soc@0"), "soc%400");
    EXPECT_EQ(escapedName("a/b%\x7F\n"), "a%2Fb%25%7F%0A");
    EXPECT_EQ(escapedName("Gr\xC3\xB6\xC3\x9F"
                          "e"),
              "Gr\xC3\xB6\xC3\x9F"
              "e")
        << "letters of any script stay";
    // Overlong, a surrogate, above the last code point, cut short, a lone continuation.
    EXPECT_EQ(escapedName("\xC0\xAF\xED\xA0\x80\xF4\x90\x80\x80\xE2\x82"), "%C0%AF%ED%A0%80%F4%90%80%80%E2%82");
    EXPECT_EQ(readableText("a\xFF\xE2\x82\xAC"), "a\xEF\xBF\xBD\xE2\x82\xAC");
}

TEST(SysfsText, SortsAsPeopleNumberThings) {
    std::vector<std::string> paths = {"/d/sdaa", "/d/nvme0n1/p10", "/d/sdb", "/d/nvme0n1", "/d/nvme0n1/p2", "/d/sda"};
    std::sort(paths.begin(), paths.end(), pathBefore);
    EXPECT_THAT(paths, ElementsAre("/d/sda", "/d/sdb", "/d/sdaa", "/d/nvme0n1", "/d/nvme0n1/p2", "/d/nvme0n1/p10"));
    EXPECT_FALSE(pathBefore("/d/sda", "/d/sda"));
}

TEST(SysfsText, ReadsIdentifiersAndAddresses) {
    EXPECT_EQ(hexadecimal("0x8086"), 0x8086U);
    EXPECT_EQ(hexadecimal("0781"), 0x781U);
    for (const char* word : {"", "0x", "0x1G", "-1", "0x123456789", "0x0x1", " 1"})
        EXPECT_FALSE(hexadecimal(word)) << word;
    EXPECT_EQ(hardwareAddress("52:54:00:12:34:ff"), std::string("\x52\x54\x00\x12\x34\xFF", 6));
    for (const char* text : {"", "5", "52:", "52:5", "52-54", "52:zz", "0x:52"})
        EXPECT_EQ(hardwareAddress(text), "") << text;
    EXPECT_EQ(capitalized("power_supply"), "PowerSupply");
    EXPECT_EQ(capitalized("serial-base"), "SerialBase");
}

}  // namespace
}  // namespace hvk::parse
