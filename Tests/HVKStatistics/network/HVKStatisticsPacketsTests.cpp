// Counting packets on recorded machines.

#include "HVKStatistics/network/HVKStatisticsPackets.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "HVKLogger/DDLog.h"
#include "support/WrittenMachine.h"

namespace hvk {
namespace {

using test::Start;
using test::turn;

/// An Ethernet frame that says it carries so many bytes.
std::string frame(const std::string& type, const std::string& length) {
    const std::string header = std::string(24, '0') + type;
    return type == "86dd" ? header + "60000000" + length : header + "4500" + length;
}
std::string ipv4(const std::string& length) { return frame("0800", length); }

Value packet(std::int64_t pid, const char* direction, const char* interface, const std::string& content) {
    return {{"pid", pid}, {"direction", direction}, {"interface", interface}, {"frame", content}};
}

class Packets : public testing::Test {
protected:
    std::unique_ptr<RecordedMachine> machine = test::writtenMachine({{"packets", Value::array()}});
    HVKStatisticsPackets module{*machine};

    void pass(std::initializer_list<Value> packets) {
        turn(*machine, 1, {{"packets", Value(Value::array_t(packets))}});
        machine->advance(0.5);
    }
    HVKStatisticsPacketItem& item() { return *module.activeItem(); }
};

TEST_F(Packets, AreAddedToTheirProcessAndInterface) {
    module.start();
    pass({packet(10, "out", "en0", ipv4("0100")), packet(10, "in", "en0", ipv4("05dc")),
          packet(11, "in", "en1", frame("86dd", "0028")), packet(-1, "in", "en0", ipv4("0064")),
          packet(0, "out", "en0", ipv4("0001")), packet(10, "out", "en0", ipv4("0100")), nullptr});
    EXPECT_EQ(item().stats(5), (Value{{"packets",
                                       {{{"pid", 10}, {"download", 1500}, {"upload", 512}, {"time", Start + 1.2}},
                                        {{"pid", 11}, {"download", 40}, {"upload", 0}, {"time", Start + 1.2}},
                                        {{"pid", 0}, {"download", 100}, {"upload", 1}, {"time", Start + 1.2}}}},
                                      {"time", 5.0}}));
    EXPECT_EQ(item().interfaces(), (Value{{"interfaces",
                                           {{{"interface", "en0"}, {"download", 1600}, {"upload", 513}},
                                            {{"interface", "en1"}, {"download", 40}, {"upload", 0}}}}}));
    // Every call answers what passed since the one before.
    EXPECT_EQ(item().stats(6), (Value{{"packets", Value::array()}, {"time", 6.0}}));
    EXPECT_TRUE(item().interfaces()["interfaces"].empty());
    pass({packet(10, "out", "en0", ipv4("0007"))});
    EXPECT_EQ(item().stats(7)["packets"][0]["upload"], 7);
}

TEST_F(Packets, OfOtherKindsCountNothing) {
    const auto length = [](std::uint32_t type, std::vector<std::uint8_t> content) {
        return packetLength(type, content);
    };
    std::vector<std::uint8_t> whole(14 + 40, 0);
    whole[12] = 8;
    whole[16] = 1;
    EXPECT_EQ(length(1, whole), 256U);
    EXPECT_EQ(length(0, whole), 0U);
    EXPECT_EQ(length(1, {whole.begin(), whole.begin() + 17}), 0U) << "cut before the length";
    EXPECT_EQ(length(1, {}), 0U);
    whole[13] = 6;
    EXPECT_EQ(length(1, whole), 0U) << "an ARP frame";
}

TEST_F(Packets, APausedCaptureReadsOn) {
    module.startAndPause();
    EXPECT_TRUE(item().paused);
    pass({packet(10, "out", "en0", ipv4("0100"))});
    EXPECT_TRUE(item().stats(1)["packets"].empty());
    item().resume();
    pass({packet(10, "out", "en0", ipv4("0200"))});
    EXPECT_EQ(item().stats(2)["packets"][0]["upload"], 512) << "what passed meanwhile is not made up for";
    pass({packet(10, "out", "en0", ipv4("0300"))});
    item().flushAndPause();
    EXPECT_TRUE(item().interfaces()["interfaces"].empty());
    EXPECT_EQ(machine->recordedPacketCapture().captureCount(), 1U);

    item().resume();
    item().updateProcesses = false;
    pass({packet(10, "out", "en0", ipv4("0100"))});
    EXPECT_TRUE(item().stats(3)["packets"].empty());
    EXPECT_EQ(item().interfaces()["interfaces"].size(), 1U);
}

TEST_F(Packets, OneCaptureAtATime) {
    module.start();
    const auto first = module.activeItem();
    module.start();
    EXPECT_NE(module.activeItem(), first);
    machine->advance(0.5);
    EXPECT_FALSE(first->isCapturing());
    EXPECT_TRUE(item().isCapturing());
    EXPECT_EQ(machine->recordedPacketCapture().captureCount(), 1U);
    module.stop();
    EXPECT_EQ(module.activeItem(), nullptr);
    machine->advance(0.5);
    EXPECT_EQ(machine->recordedPacketCapture().captureCount(), 0U);
    EXPECT_EQ(machine->virtualQueues().pendingCount(), 0U);
    for (int time = 0; time < 1000; ++time) module.start();
    machine->advance(0.5);
    EXPECT_EQ(machine->recordedPacketCapture().captureCount(), 1U);
}

TEST_F(Packets, ACaptureThatFailsEnds) {
    module.start();
    pass({packet(10, "out", "en0", ipv4("0100")), "end"});
    EXPECT_FALSE(item().isCapturing());
    EXPECT_EQ(machine->recordedPacketCapture().captureCount(), 0U);
    EXPECT_TRUE(item().stats(1)["packets"].empty()) << "its tables go with it";

    std::vector<std::string> logged;
    DDLog::setSink([&](const auto& message) { logged.push_back(std::string(message.message)); });
    turn(*machine, 1, {{"packets", {{"error", "denied"}, {"detail", "no buffer space"}}}});
    module.start();
    DDLog::setSink(nullptr);
    EXPECT_FALSE(item().isCapturing());
    ASSERT_EQ(logged.size(), 1U);
    EXPECT_THAT(logged[0], testing::HasSubstr("error creating pcap 'no buffer space'"));
}

}  // namespace
}  // namespace hvk
