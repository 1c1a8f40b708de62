// The header before each packet of a packet-tap capture.

#include "HVKPlatform/darwin/decode/PacketTap.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace hvk {
namespace {

void put(std::vector<std::uint8_t>& bytes, std::size_t at, std::uint32_t value) {
    for (std::size_t index = 0; index < 4; ++index) bytes[at + index] = static_cast<std::uint8_t>(value >> 8 * index);
}

/// A header of so many bytes and a frame of four behind it.
std::vector<std::uint8_t> tap(std::uint32_t headerSize) {
    std::vector<std::uint8_t> bytes(headerSize + 4, 0xEE);
    put(bytes, 0, headerSize);
    put(bytes, 4, 1);
    put(bytes, 8, 1);
    std::memset(bytes.data() + 12, 0, 24);
    std::memcpy(bytes.data() + 12, "en0", 3);
    put(bytes, 36, 0x22002);
    put(bytes, 52, 812);
    return bytes;
}

TEST(PacketTap, IsReadByItsOwnLength) {
    for (const std::uint32_t size : {108U, 156U}) {
        const auto bytes = tap(size);
        const auto packet = decode::packetTap(bytes);
        ASSERT_TRUE(packet);
        EXPECT_TRUE(packet->hasHeader);
        EXPECT_EQ(packet->pid, 812);
        EXPECT_EQ(packet->interface, "en0");
        EXPECT_EQ(packet->linkType, LinkTypeEthernet);
        EXPECT_EQ(packet->flags & PacketDirectionMask, PacketOutbound);
        EXPECT_EQ(packet->frame.size(), 4U);
        EXPECT_EQ(packet->frame.data(), bytes.data() + size);
    }
    auto full = tap(108);
    std::memset(full.data() + 12, 'x', 24);
    put(full, 52, 0xFFFFFFFF);
    EXPECT_EQ(decode::packetTap(full)->interface.size(), 24U) << "a name that fills its place has no end mark";
    EXPECT_EQ(decode::packetTap(full)->pid, -1);
}

TEST(PacketTap, WhatMakesNoSenseIsNoPacket) {
    const auto bytes = tap(108);
    for (std::size_t size = 0; size < 108; ++size) EXPECT_FALSE(decode::packetTap({bytes.data(), size})) << size;
    EXPECT_TRUE(decode::packetTap({bytes.data(), 108})) << "an empty frame";
    for (const std::uint32_t length : {0U, 55U, 113U, 0xFFFFFFFFU}) {
        auto wrong = tap(108);
        put(wrong, 0, length);
        EXPECT_FALSE(decode::packetTap(wrong)) << length;
    }
    auto nothing = tap(108);
    put(nothing, 4, 0);
    EXPECT_FALSE(decode::packetTap(nothing)) << "no packet follows";
}

}  // namespace
}  // namespace hvk
