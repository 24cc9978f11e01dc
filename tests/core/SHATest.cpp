#include "fus/P_SHA.h"

#include "support/Bytes.h"
#include "support/LogCapture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

using namespace fus;

namespace {

/// The message `times` times over, in pieces of `portion` bytes.
std::string digestOf(const std::string& message, size_t portion, unsigned times = 1) {
    SHA1 sha;
    sha.init();
    for (; times > 0; --times) {
        for (size_t at = 0; at < message.size(); at += portion) {
            sha.addData(&message[at], std::min(portion, message.size() - at));
        }
    }
    EXPECT_EQ(nullptr, sha.digest());
    sha.close();
    EXPECT_EQ(20U, sha.digestSize());
    std::string hex = test::toHex(test::Bytes(sha.digest(), sha.digest() + sha.digestSize()));
    hex.erase(std::remove(hex.begin(), hex.end(), ' '), hex.end());
    return hex;
}

TEST(SHATest, GivesThePublishedDigestsInWhateverPiecesTheMessageComes) {
    const struct {
        std::string message;
        const char* digest;
    } rows[] = {
        {"", "DA39A3EE5E6B4B0D3255BFEF95601890AFD80709"},
        {"abc", "A9993E364706816ABA3E25717850C26C9CD0D89D"},
        {"abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq",
         "84983E441C3BD26EBAAE4AA1F95129E5E54670F1"},
        {"abcdefghbcdefghicdefghijdefghijkefghijklfghijklmghijklmnhijklmnoijklmnopjklmnopqklmnopqr"
         "lmnopqrsmnopqrstnopqrstu",
         "A49B2446A02C645BF419F995B67091253A04A259"},
        {std::string(55, 'a'), "C1C8BBDC22796E28C0E15163D20899B65621D65A"},
        {std::string(56, 'a'), "C2DB330F6083854C99D4B5BFB6E8F29F201BE699"},
        {std::string(63, 'a'), "03F09F5B158A7A8CDAD920BDDC29B81C18A551F5"},
        {std::string(64, 'a'), "0098BA824B5C16427BD7A1122A5A442A25EC644D"},
        {std::string(65, 'a'), "11655326C708D70319BE2610E8A57D9A5B959D3B"},
        {std::string(119, 'a'), "EE971065AAA017E0632A8CA6C77BB3BF8B1DFC56"},
        {std::string(120, 'a'), "F34C1488385346A55709BA056DDD08280DD4C6D6"},
        {std::string(1000000, 'a'), "34AA973CD4C4DAA4F61EEB2BDBAD27316534016F"},
        {{'k', '=', '\xE9', '\0', '\xFF', 'v'}, "EC64AFF2F95CD9B415E4F9DB1B93FB3DACA6D1B0"},
    };
    for (const auto& row : rows) {
        for (const size_t portion : {1U, 3U, 63U, 64U, 65U, 200U, 1000000U}) {
            EXPECT_EQ(row.digest, digestOf(row.message, portion))
                << row.message.size() << " bytes by " << portion;
        }
    }
}

TEST(SHATest, CountsBeyondThe32BitsOfHalfItsLength) {
    const std::string megabyte(1U << 20U, 'a');
    EXPECT_EQ("5930B5E0918A262AF08C30D46DF1AE31CA2CF5F4", digestOf(megabyte, megabyte.size(), 513));
}

TEST(SHATest, TellsEachStepAndTakesNothingFromNowhere) {
    test::LogCapture log;
    SHA1 sha;
    sha.init();
    sha.addData(nullptr, 0);
    sha.addData("abc", 3);
    sha.close();
    EXPECT_EQ((test::LogLines{{Log::DEBUG, "SHA1: init."},
                              {Log::DEBUG, "SHA1: adding 0 bytes of data."},
                              {Log::DEBUG, "SHA1: adding 3 bytes of data."},
                              {Log::DEBUG, "SHA1: closing."}}),
              log.lines());
    EXPECT_EQ(0xA9, sha.digest()[0]);
    EXPECT_EQ(0x9D, sha.digest()[19]);
}

} // namespace
