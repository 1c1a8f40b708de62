// The texts and messages that events are made of, whole, odd and cut short.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>

#include "HVKPlatform/linux/events/ConfigurationWatch.h"
#include "HVKPlatform/linux/events/NetworkState.h"
#include "HVKPlatform/linux/parse/DeviceDatabase.h"
#include "HVKPlatform/linux/parse/MountInfo.h"
#include "HVKPlatform/linux/parse/RouteMessages.h"
#include "HVKPlatform/linux/parse/Uevent.h"

namespace hvk {
namespace {

using namespace std::string_literals;
using parse::AddressRecord;
using parse::DefaultRouteRecord;
using parse::LinkRecord;
using parse::RouteFamily;
using testing::ElementsAre;
using testing::IsEmpty;

const std::string Words = "ACTION=add\0DEVPATH=/devices/virtual/block/loop0\0SUBSYSTEM=block\0SEQNUM=4711\0ODD\0"s;

std::string number32(std::uint32_t number) {
    return std::string(reinterpret_cast<const char*>(&number), sizeof number);
}

/// The device manager's framing of some words.
std::string managed(const std::string& words, std::uint32_t offset = 40, std::uint32_t lengthMore = 0) {
    std::string header = "libudev\0"s + "\xfe\xed\xca\xfe" + number32(40) + number32(offset) +
                         number32(static_cast<std::uint32_t>(words.size()) + lengthMore);
    header.resize(40);
    return header + words;
}

TEST(Uevents, AreReadInBothFramings) {
    for (const std::string& message : {"add@/devices/virtual/block/loop0\0"s + Words, managed(Words)}) {
        const auto event = parse::parseUevent(message);
        ASSERT_TRUE(event) << event.failure().detail;
        EXPECT_EQ(event->action, "add");
        EXPECT_EQ(event->subsystem, "block");
        EXPECT_EQ(event->name(), "loop0");
        EXPECT_EQ(event->sequence, 4711U);
        EXPECT_EQ(event->isManaged, message.starts_with("libudev"));
    }
    const std::string bad[] = {
        "",
        "nonsense",
        "@/devices/x\0"s + Words,
        "add@\0"s + Words,
        "add@/devices/x\0SUBSYSTEM=block\0"s,
        "add@/devices/x\0ACTION=add\0DEVPATH=devices\0"s,
        "add@/devices/x\0ACTION=add\0DEVPATH=/devices/\0"s,
        managed(Words).substr(0, 20),
        managed(Words, 8),
        managed(Words, 4000),
        managed(Words, 40, 1),
        managed(Words, 0xFFFFFFF0),
        "libudev\0\xfe\xed\xca\xff"s + managed(Words).substr(12),
    };
    for (const std::string& message : bad) {
        const auto event = parse::parseUevent(message);
        ASSERT_FALSE(event) << message;
        EXPECT_EQ(event.failure().kind, FailureKind::Malformed);
    }
}

TEST(MountTables, AreReadWithTheirOddities) {
    const auto mounts = parse::parseMountInfo(
        "22 1 8:1 / / rw,relatime shared:1 master:2 - ext4 /dev/sda1 rw\n"
        "23 22 0:45 /sub /a\\040b\\134c rw - btrfs /dev/sdb rw,subvol=/sub\n"
        "24 22 0:46 / /none rw -  tmpfs  rw\n"
        "25 22 0:47 / /share rw - nfs4 server:/export rw\n");
    ASSERT_TRUE(mounts) << mounts.failure().detail;
    ASSERT_EQ(mounts->size(), 4U);
    EXPECT_EQ((*mounts)[0], (parse::MountRecord{8, 1, "/", "/", "ext4", "/dev/sda1"}));
    EXPECT_EQ((*mounts)[1], (parse::MountRecord{0, 45, "/sub", "/a b\\c", "btrfs", "/dev/sdb"}));
    EXPECT_EQ((*mounts)[2].source, "") << "an empty source is none";
    EXPECT_TRUE(parse::isNetworkFileSystem((*mounts)[3].kind));
    EXPECT_FALSE(parse::isNetworkFileSystem("ext4"));
    EXPECT_TRUE(parse::parseMountInfo("")->empty());
    for (const char* bad : {"22 1 8:1 / / rw - ext4 /dev/sda1 rw", "22 1 8 / / rw - ext4 /dev/sda1 rw\n",
                            "22 1 8:1 / / rw ext4 /dev/sda1 rw\n", "x 1 8:1 / / rw - ext4 a rw\n", "\n",
                            "22 1 8:99999999999 / / rw - ext4 a rw\n", "22 1 8:1 / / rw -\n"})
        EXPECT_FALSE(parse::parseMountInfo(bad)) << bad;
}

TEST(DeviceDatabase, TellsPropertiesByWholeNames) {
    const char* content =
        "S:disk/by-id/x\nE:ID_FS_TYPE_OTHER=no\nE:ID_FS_TYPE=ext4\nE:ID_FS_LABEL_ENC=My\\x20Disk\\x2\n";
    EXPECT_EQ(parse::deviceProperty(content, "ID_FS_TYPE"), "ext4");
    EXPECT_EQ(parse::deviceProperty(content, "ID_FS"), std::nullopt);
    EXPECT_EQ(parse::decodedDeviceText(*parse::deviceProperty(content, "ID_FS_LABEL_ENC")), "My Disk\\x2");
    EXPECT_EQ(parse::deviceVariable("MAJOR=8\nPARTNAME=EFI System\n", "PARTNAME"), "EFI System");
}

// rtnetlink messages, put together as the kernel does.

std::string message(std::uint16_t type, const std::string& body, std::uint16_t flags = 0) {
    std::string bytes = number32(static_cast<std::uint32_t>(16 + body.size()));
    bytes +=
        std::string(reinterpret_cast<const char*>(&type), 2) + std::string(reinterpret_cast<const char*>(&flags), 2);
    bytes += number32(1) + number32(0) + body;
    bytes.resize((bytes.size() + 3) / 4 * 4);
    return bytes;
}

std::string attribute(std::uint16_t type, const std::string& content) {
    const auto length = static_cast<std::uint16_t>(4 + content.size());
    std::string bytes(reinterpret_cast<const char*>(&length), 2);
    bytes += std::string(reinterpret_cast<const char*>(&type), 2) + content;
    bytes.resize((bytes.size() + 3) / 4 * 4);
    return bytes;
}

std::string link(std::uint32_t index, std::uint32_t flags, const std::string& name, char family = 0) {
    return std::string(1, family) + "\0\0\0"s + number32(index) + number32(flags) + number32(0) +
           attribute(3, name + '\0');
}

std::vector<parse::RouteRecord> recordsOf(const std::string& datagram) {
    std::vector<parse::RouteRecord> records;
    EXPECT_TRUE(
        parse::parseRouteMessages(datagram, [&](parse::RouteRecord one) { records.push_back(std::move(one)); }));
    return records;
}

TEST(RouteMessages, AreReadAndWhatIsNobodysConcernIsNot) {
    const std::string address =
        "\x02\x18\0\0"s + number32(7) + attribute(1, "\x0a\0\0\x02"s) + attribute(2, "\x0a\0\0\x01"s);
    const std::string route = "\x02\0\0\0\xfe\x03\0\x01"s + number32(0) + attribute(4, number32(7)) +
                              attribute(6, number32(100)) + attribute(5, "\x0a\0\0\xfe"s);
    std::string local = route, subnet = route, blackhole = route;
    local[4] = '\xff';
    subnet[1] = 24;
    blackhole[7] = 6;
    const auto records =
        recordsOf(message(16, link(7, 0x41, "eth0")) + message(16, link(7, 0, "", 7)) + message(20, address) +
                  message(25, route) + message(24, route, 0x100) + message(24, local) + message(24, subnet) +
                  message(24, blackhole) + message(99, "x"));
    ASSERT_EQ(records.size(), 4U) << "a bridge's port, another table, a subnet and a blackhole are no news";
    EXPECT_EQ(std::get<LinkRecord>(records[0]), (LinkRecord{false, 7, "eth0", "", true, true}));
    EXPECT_EQ(std::get<AddressRecord>(records[1]),
              (AddressRecord{false, 7, RouteFamily::IPv4, 24, "\x0a\0\0\x01"s, "\x0a\0\0\x02"s}));
    EXPECT_EQ(std::get<DefaultRouteRecord>(records[2]),
              (DefaultRouteRecord{true, false, RouteFamily::IPv4, 7, 100, "\x0a\0\0\xfe"s}));
    EXPECT_TRUE(std::get<DefaultRouteRecord>(records[3]).replaces);

    const auto outcomeOf = [](const std::string& datagram) {
        return parse::parseRouteMessages(datagram, [](const parse::RouteRecord&) {});
    };
    EXPECT_TRUE(outcomeOf(message(3, number32(0)))->done);
    EXPECT_TRUE(outcomeOf(message(16, link(1, 0, "lo"), 0x10))->interrupted);
    EXPECT_EQ(outcomeOf(message(2, number32(static_cast<std::uint32_t>(-95))))->error, 95);
    const std::string whole = message(16, link(7, 1, "eth0"));
    for (std::size_t length = 1; length < whole.size(); ++length)
        EXPECT_FALSE(outcomeOf(whole.substr(0, length))) << length;
    for (const std::size_t place : {std::size_t{0}, std::size_t{32}}) {
        std::string odd = whole;
        odd[place] = 3;  // a length shorter than its own header
        EXPECT_FALSE(outcomeOf(odd));
    }
}

// The state that the messages add up to.

class NetworkStates : public testing::Test {
protected:
    std::vector<std::string> after(const parse::RouteRecord& record) {
        ConfigurationKeys keys;
        state_.apply(record, keys);
        return {keys.begin(), keys.end()};
    }
    LinkRecord eth0_{false, 2, "eth0", "\1\2\3\4\5\6", true, true};
    AddressRecord address_{false, 2, RouteFamily::IPv4, 24, "aaaa", "aaaa"};
    DefaultRouteRecord route_{false, false, RouteFamily::IPv4, 2, 100, "gggg"};
    NetworkState state_;
};

TEST_F(NetworkStates, EachDifferenceHasItsKeyAndRepetitionsHaveNone) {
    const std::string list = "State:/Network/Interface", eth0 = list + "/eth0/", global = "State:/Network/Global/IPv4";
    EXPECT_THAT(after(address_), IsEmpty()) << "of an interface that nobody knows";
    EXPECT_THAT(after(eth0_), ElementsAre(list, eth0 + "Link"));
    EXPECT_THAT(after(eth0_), IsEmpty());
    EXPECT_THAT(after(address_), ElementsAre(eth0 + "IPv4"));
    EXPECT_THAT(after(address_), IsEmpty()) << "a lease that was renewed";
    EXPECT_THAT(after(route_), ElementsAre(global));
    DefaultRouteRecord other = route_;
    other.gateway = "hhhh";
    other.replaces = true;
    EXPECT_THAT(after(other), ElementsAre(global));
    route_.replaces = true;
    EXPECT_THAT(after(route_), ElementsAre(global)) << "the one before was replaced, so it is news again";

    LinkRecord down = eth0_;
    down.up = down.running = false;
    EXPECT_THAT(after(down), ElementsAre(global, eth0 + "Link")) << "the kernel drops its routes without a word";
    LinkRecord short_ = down;
    short_.name.clear();
    short_.hardwareAddress.clear();
    EXPECT_THAT(after(short_), IsEmpty()) << "what a message leaves out did not change";
    LinkRecord renamed = down;
    renamed.name = "lan0";
    EXPECT_THAT(after(renamed), ElementsAre(list, eth0 + "Link", list + "/lan0/Link"));
    LinkRecord gone = renamed;
    gone.gone = true;
    EXPECT_THAT(after(gone), ElementsAre(list, list + "/lan0/IPv4", list + "/lan0/Link"));
    EXPECT_THAT(after(gone), IsEmpty());
    EXPECT_EQ(state_, NetworkState()) << "nothing of an interface stays behind";
}

TEST_F(NetworkStates, ADifferenceNamesWhatEitherStateHasAlone) {
    NetworkState before;
    ConfigurationKeys ignored;
    for (const parse::RouteRecord& record : {parse::RouteRecord(eth0_), parse::RouteRecord(address_)})
        before.apply(record, ignored);
    LinkRecord other{false, 3, "eth1", "", true, true};
    for (const parse::RouteRecord& record :
         {parse::RouteRecord(eth0_), parse::RouteRecord(other), parse::RouteRecord(route_)})
        state_.apply(record, ignored);
    EXPECT_THAT(NetworkState::difference(before, state_),
                ElementsAre("State:/Network/Global/IPv4", "State:/Network/Interface",
                            "State:/Network/Interface/eth0/IPv4", "State:/Network/Interface/eth1/Link"));
    EXPECT_EQ(NetworkState::difference(before, state_), NetworkState::difference(state_, before));
    EXPECT_THAT(NetworkState::difference(state_, state_), IsEmpty());
}

TEST(ConfigurationWatches, KeepWhatIsWatchedAndNeverMoreThanTheWhole) {
    std::vector<std::string> told;
    const auto watch = ConfigurationWatch::make({"Setup:/One"}, {"State:/Network/.*"},
                                                [&](const std::vector<std::string>& keys) { told = keys; });
    ASSERT_TRUE(watch);
    EXPECT_FALSE((*watch)->keep({"Setup:/Other", "xState:/Network/Interface"}));
    EXPECT_TRUE((*watch)->keep({"Setup:/One", "State:/Network/Interface"}));
    EXPECT_TRUE((*watch)->keep({"State:/Network/Interface"}));
    (*watch)->tell();
    EXPECT_THAT(told, ElementsAre("Setup:/One", "State:/Network/Interface"));
    told.clear();
    (*watch)->tell();
    EXPECT_THAT(told, IsEmpty()) << "told once";
    // A main queue that is not run, and interfaces that come and go without end.
    for (int number = 0; number < 20'000; ++number)
        (*watch)->keep({"State:/Network/Interface/veth" + std::to_string(number) + "/Link"});
    (*watch)->tell();
    EXPECT_LE(told.size(), 4096U);
    EXPECT_THAT(told, testing::Contains("State:/Network/Interface"));
    EXPECT_FALSE(ConfigurationWatch::make({}, {"("}, {}));
}

}  // namespace
}  // namespace hvk
