// The small pieces: version record, uptime, text hash, exception guards.

#include <gtest/gtest.h>

#include <stdexcept>

#include "HVKStatistics/categories/StatisticsHash.h"
#include "HVKStatistics/core/HVKStatisticsOSVersion.h"
#include "HVKStatistics/core/HVKStatisticsUptime.h"
#include "HVKStatistics/core/HVKTryCatch.h"
#include "support/WrittenMachine.h"

namespace hvk {
namespace {

TEST(OSVersion, EveryReleaseIncludesTheOnesBefore) {
    // Each level with the number of predicates, oldest release first, that hold on it.
    const struct {
        std::array<int, 3> level;
        int predicates;
    } cases[] = {{{10, 6, 8}, 0},  {{10, 7, 0}, 1},  {{10, 9, 5}, 3},  {{10, 10, 3}, 4}, {{10, 11, 0}, 5},
                 {{10, 15, 7}, 9}, {{11, 0, 0}, 10}, {{11, 7, 1}, 10}, {{12, 0, 0}, 11}, {{26, 1, 0}, 11}};
    for (const auto& one : cases) {
        const auto machine = test::writtenMachine({{"system", {{"operatingSystemVersion", one.level}}}});
        const HVKStatisticsOSVersion version(*machine);
        const bool flags[] = {version.isLion,      version.isMountainLion, version.isMavericks,  version.isYosemite,
                              version.isElCapitan, version.isSierra,       version.isHighSierra, version.isMojave,
                              version.isCatalina,  version.isBigSur,       version.isMonterey};
        const bool live[] = {version.lion(),      version.mountainLion(), version.mavericks(),  version.yosemite(),
                             version.elCapitan(), version.sierra(),       version.highSierra(), version.mojave(),
                             version.catalina(),  version.bigSur(),       version.monterey()};
        for (int index = 0; index < 11; ++index) {
            EXPECT_EQ(flags[index], index < one.predicates) << one.level[0] << '.' << one.level[1] << " #" << index;
            EXPECT_EQ(live[index], flags[index]);
        }
    }
    UnsupportedSystemPort unknown;
    class Bent : public ForwardingMachine {
    public:
        Bent(Machine& target, SystemPort& system) : ForwardingMachine(target), system_(system) {}
        SystemPort& system() override { return system_; }

    private:
        SystemPort& system_;
    };
    const auto machine = test::writtenMachine();
    Bent bent(*machine, unknown);
    const HVKStatisticsOSVersion version(bent);
    EXPECT_EQ(version.major, 0);
    EXPECT_FALSE(version.isLion);
}

TEST(Uptime, IsWholeSecondsAndZeroWhenUnknown) {
    EXPECT_EQ(HVKStatisticsUptime(*test::writtenMachine({{"system", {{"bootTime", 1699990000.75}}}})).boot, 1699990000);
    EXPECT_EQ(HVKStatisticsUptime(*test::writtenMachine()).boot, 0);
}

TEST(StatisticsHash, GivesThePublishedDigests) {
    EXPECT_EQ(statisticsHash(""), "da39a3ee5e6b4b0d3255bfef95601890afd80709");
    EXPECT_EQ(statisticsHash("abc"), "a9993e364706816aba3e25717850c26c9cd0d89d");
    EXPECT_EQ(statisticsHash("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq"),
              "84983e441c3bd26ebaae4aa1f95129e5e54670f1");
    EXPECT_EQ(statisticsHash(std::string_view("\0", 1)), "5ba93c9db0cff93f52b521d7420e43f6eda2784f");
}

TEST(TryCatch, ContainsObjectExceptionsAndNothingElse) {
    EXPECT_NO_THROW(HVKTryCatchBlock([] { throw std::runtime_error("raised"); }));
    EXPECT_THROW(HVKTryCatchBlock([] { throw 5; }), int);

    std::vector<std::string> calls;
    const auto note = [&](const std::exception* error) { calls.emplace_back(error ? error->what() : "nothing"); };
    HVKTryCatchBlockWithError([] {}, note);
    HVKTryCatchBlockWithError([] { throw std::runtime_error("raised"); }, note);
    EXPECT_THROW(HVKTryCatchBlockWithError([] { throw 5; }, note), int);
    HVKTryCatchBlockWithError([] {},
                              [&](const std::exception* error) {
                                  note(error);
                                  if (error == nullptr) throw std::logic_error("raised by the completion");
                              });
    EXPECT_EQ(calls, (std::vector<std::string>{"nothing", "raised", "nothing", "raised by the completion"}));
}

}  // namespace
}  // namespace hvk
