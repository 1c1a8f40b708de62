// Digests and authentication codes, against the vectors published with the algorithms.

#include <gtest/gtest.h>

#include "HVKPlatform/ports/Digests.h"
#include "HVKStatistics/categories/CommonDigest.h"
#include "HVKStatistics/categories/CommonHMAC.h"
#include "support/Hexadecimal.h"

namespace hvk {
namespace {

using test::hexadecimal;

TEST(CommonDigest, GivesThePublishedDigests) {
    // FIPS 180: "abc", and nothing.
    const DataOrText abc("abc");
    EXPECT_EQ(hexadecimal(SHA1Hash(abc.bytes)), "a9993e364706816aba3e25717850c26c9cd0d89d");
    EXPECT_EQ(hexadecimal(SHA224Hash(abc.bytes)), "23097d223405d8228642a477bda255b32aadbce4bda0b3f7e36c9da7");
    EXPECT_EQ(hexadecimal(SHA256Hash(abc.bytes)), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    EXPECT_EQ(hexadecimal(SHA384Hash(abc.bytes)),
              "cb00753f45a35e8bb5a03d699ac65007272c32ab0eded1631a8b605a43ff5bed"
              "8086072ba1e7cc2358baeca134c825a7");
    EXPECT_EQ(hexadecimal(SHA512Hash(abc.bytes)),
              "ddaf35a193617abacc417349ae20413112e6fa4e89a97ea20a9eeee64b55d39a"
              "2192992a274fc1a836ba3c23a3feebbd454d4423643ce80e2a9ac94fa54ca49f");
    EXPECT_EQ(hexadecimal(SHA1Hash({})), "da39a3ee5e6b4b0d3255bfef95601890afd80709");
    EXPECT_EQ(hexadecimal(SHA256Hash({})), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
    EXPECT_EQ(hexadecimal(SHA1Hash(DataBuffer(1000000, 'a'))), "34aa973cd4c4daa4f61eeb2bdbad27316534016f");
    // RFC 1321
    EXPECT_EQ(hexadecimal(messageDigest(DigestAlgorithm::MD5, abc.bytes)), "900150983cd24fb0d6963f7d28e17f72");
    EXPECT_EQ(hexadecimal(messageDigest(DigestAlgorithm::MD5, {})), "d41d8cd98f00b204e9800998ecf8427e");
    EXPECT_TRUE(messageDigest(static_cast<DigestAlgorithm>(6), abc.bytes).empty());
}

TEST(CommonHMAC, GivesThePublishedCodesCutToTwentyBytes) {
    // RFC 2202 and 4231: the first two cases, and a key longer than a block.
    const DataOrText greeting("Hi There");
    const DataOrText question("what do ya want for nothing?");
    const DataOrText larger("Test Using Larger Than Block-Size Key - Hash Key First");
    const DataBuffer key(20, 0x0b);
    const struct {
        DataBuffer code;
        const char* expected;
    } cases[] = {
        {HMACWithAlgorithm(greeting.bytes, 0, key), "b617318655057264e28bc0b6fb378c8ef146be00"},
        {HMACWithAlgorithm(question.bytes, 0, "Jefe"), "effcdf6ae5eb2fa2d27416d5f184df9c259a7c79"},
        {HMACWithAlgorithm(larger.bytes, 0, DataBuffer(80, 0xaa)), "aa4ae5e15272d00e95705637ce8a3b55ed402112"},
        {HMACWithAlgorithm(greeting.bytes, 1, DataBuffer(16, 0x0b)), "9294727a3638bb1c13f48ef8158bfc9d"},
        {HMACWithAlgorithm(question.bytes, 1, "Jefe"), "750c783e6ab0b503eaa86e310a5db738"},
        {HMACWithAlgorithm(larger.bytes, 1, DataBuffer(80, 0xaa)), "6b1ab7fe4bd7bf8f0b62e6ce61b9d0cd"},
        {HMACWithAlgorithm(greeting.bytes, 2, key), "b0344c61d8db38535ca8afceaf0bf12b881dc200"},
        {HMACWithAlgorithm(greeting.bytes, 3, key), "afd03944d84895626b0825f4ab46907f15f9dadb"},
        {HMACWithAlgorithm(greeting.bytes, 4, key), "87aa7cdea5ef619d4ff0b4241a1d6cb02379f4e2"},
        {HMACWithAlgorithm(greeting.bytes, 5, key), "896fb1128abbdf196832107cd49df33f47b4b116"},
        {HMACWithAlgorithm({}, 0), "fbdb1d1b18aa6c08324b7d64b71fb76370690e1d"},
        {HMACWithAlgorithm({}, 0, ""), "fbdb1d1b18aa6c08324b7d64b71fb76370690e1d"},
        {HMACWithAlgorithm(greeting.bytes, 6, key), ""},
    };
    for (const auto& one : cases) EXPECT_EQ(hexadecimal(one.code), one.expected);
    EXPECT_EQ(hexadecimal(messageAuthenticationCode(DigestAlgorithm::SHA256, key, greeting.bytes)),
              "b0344c61d8db38535ca8afceaf0bf12b881dc200c9833da726e9376c2e32cff7");
}

}  // namespace
}  // namespace hvk
