// Cooked packets, their flows, and the kernel's list of sockets.

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "HVKPlatform/linux/parse/CookedPacket.h"
#include "HVKPlatform/linux/parse/SocketDiagnostics.h"

namespace hvk {
namespace {

using namespace parse;
using Bytes = std::vector<std::uint8_t>;

Bytes operator+(Bytes left, const Bytes& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

const Bytes Ports = {0x04, 0xD2, 0x00, 0x50};

Bytes ipv4(std::uint8_t protocol, std::uint16_t fragment = 0) {
    return Bytes{0x46,
                 0,
                 0,
                 60,
                 0,
                 0,
                 static_cast<std::uint8_t>(fragment >> 8),
                 static_cast<std::uint8_t>(fragment),
                 64,
                 protocol,
                 0,
                 0,
                 10,
                 0,
                 0,
                 1,
                 10,
                 0,
                 0,
                 2,
                 1,
                 1,
                 1,
                 1};
}

Bytes ipv6(std::uint8_t next) {
    Bytes header(40, 0);
    header[0] = 0x60;
    header[6] = next;
    header[23] = 1;
    header[39] = 2;
    return header;
}

TEST(CookedPacket, HasAHeaderOfTwentyBytes) {
    Bytes bytes = {0x08, 0, 0, 0, 0, 0, 0, 7, 0, 1, 4, 6, 1, 2, 3, 4, 5, 6, 0, 0};
    bytes = bytes + ipv4(6);
    const auto cooked = cookedPacket(bytes);
    ASSERT_TRUE(cooked);
    EXPECT_EQ(cooked->protocol, CookedIPv4);
    EXPECT_EQ(cooked->interface, 7U);
    EXPECT_EQ(cooked->hardware, 1);
    EXPECT_EQ(cooked->type, CookedOutgoing);
    EXPECT_EQ(cooked->packet.size(), 24U);
    for (std::size_t size = 0; size < 20; ++size) EXPECT_FALSE(cookedPacket({bytes.data(), size}));
}

TEST(CookedPacket, BelongsToAFlow) {
    const Bytes packet = ipv4(6) + Ports;
    const auto flow = flowOf(CookedIPv4, packet);
    ASSERT_TRUE(flow);
    EXPECT_EQ(flow->protocol, 6);
    EXPECT_EQ(flow->local.port, 1234);
    EXPECT_EQ(flow->remote.port, 80);
    EXPECT_EQ(flow->local.address[12], 10);
    EXPECT_EQ(flow->local.address[11], 0xFF);
    EXPECT_EQ(flow->reversed().local.port, 80);
    EXPECT_EQ(flow->reversed().reversed(), *flow);
    EXPECT_NE(FlowHash()(*flow), FlowHash()(flow->reversed()));

    EXPECT_TRUE(flowOf(CookedIPv4, ipv4(17, 0x2000) + Ports)) << "the first fragment has the ports";
    EXPECT_FALSE(flowOf(CookedIPv4, ipv4(17, 0x0001) + Ports)) << "another fragment has not";
    EXPECT_FALSE(flowOf(CookedIPv4, ipv4(1) + Ports));
    EXPECT_FALSE(flowOf(0x0806, packet));
    for (std::size_t size = 0; size < packet.size(); ++size)
        EXPECT_FALSE(flowOf(CookedIPv4, {packet.data(), size})) << size;
}

TEST(CookedPacket, OfTheSixthVersionMayHaveHeadersBetween) {
    EXPECT_EQ(flowOf(CookedIPv6, ipv6(17) + Ports)->local.port, 1234);
    const Bytes options = {60, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    const Bytes destination = {6, 0, 0, 0, 0, 0, 0, 0};
    const Bytes packet = ipv6(0) + options + destination + Ports;
    EXPECT_EQ(flowOf(CookedIPv6, packet)->remote.port, 80);
    for (std::size_t size = 0; size < packet.size(); ++size)
        EXPECT_FALSE(flowOf(CookedIPv6, {packet.data(), size})) << size;
    EXPECT_TRUE(flowOf(CookedIPv6, ipv6(44) + Bytes{6, 0, 0, 1, 0, 0, 0, 0} + Ports));
    EXPECT_FALSE(flowOf(CookedIPv6, ipv6(44) + Bytes{6, 0, 0, 8, 0, 0, 0, 0} + Ports));
    Bytes endless = ipv6(0);
    for (int count = 0; count < 20; ++count) endless = endless + Bytes{0, 0, 0, 0, 0, 0, 0, 0};
    EXPECT_FALSE(flowOf(CookedIPv6, endless + Ports));
}

Bytes message(std::uint16_t type, const Bytes& body) {
    Bytes bytes(16, 0);
    const auto length = static_cast<std::uint32_t>(16 + body.size());
    std::memcpy(bytes.data(), &length, 4);
    std::memcpy(bytes.data() + 4, &type, 2);
    return bytes + body;
}

TEST(SocketDiagnostics, TellsSocketsAndInodes) {
    Bytes body(72, 0);
    body[0] = 2;
    body[4] = 0x04, body[5] = 0xD2, body[7] = 0x50;
    body[8] = 10, body[11] = 1, body[24] = 10, body[27] = 2;
    const std::uint32_t inode = 4711;
    std::memcpy(body.data() + 68, &inode, 4);
    std::vector<SocketRecord> sockets;
    const auto take = [&](const SocketRecord& record) { sockets.push_back(record); };
    const Bytes datagram = message(20, body) + message(99, {1, 2, 3, 4}) + message(20, body);
    const auto more = parseSockets(datagram, 6, take);
    ASSERT_TRUE(more);
    EXPECT_FALSE(*more);
    ASSERT_EQ(sockets.size(), 2U);
    EXPECT_EQ(sockets[1].inode, 4711U);
    EXPECT_EQ(sockets[1].flow, *flowOf(CookedIPv4, ipv4(6) + Ports)) << "the same as a packet's";
    EXPECT_TRUE(*parseSockets(message(20, body) + message(3, {0, 0, 0, 0}), 6, take));

    const std::int32_t denied = -1;
    Bytes error(4);
    std::memcpy(error.data(), &denied, 4);
    EXPECT_EQ(parseSockets(message(2, error), 6, take).failure().detail, "the kernel answers error 1");
    for (std::size_t size = 1; size < datagram.size(); ++size) (void)parseSockets({datagram.data(), size}, 6, take);
    Bytes endless = message(20, body);
    std::memset(endless.data(), 0, 4);
    EXPECT_FALSE(parseSockets(endless, 6, take));
}

}  // namespace
}  // namespace hvk
