#include "fus/FUSException.h"
#include "fus/P_NetPacket.h"
#include "support/Bytes.h"
#include "support/LogCapture.h"

#include <gtest/gtest.h>

#include <climits>
#include <functional>

namespace fus {
namespace {

using namespace fus::test;

NetPacket packetOf(const Bytes& bytes) {
    return NetPacket::copyOf(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
}

Bytes bytesOf(const NetPacket& packet) {
    return Bytes(packet.data(), packet.data() + packet.size());
}

TEST(NetPacketTest, ReadsAndWritesEachWidthInTheOrderThatIsSet) {
    struct Case {
        unsigned order;
        const char* bytes;
    };
    for (const Case& c : {Case{NetPacket::NETWORK, "AB 1234 89ABCDEF C0490FDB"},
                          Case{NetPacket::LITTLE, "AB 3412 EFCDAB89 DB0F49C0"},
                          Case{NetPacket::NATIVE, "AB 3412 EFCDAB89 DB0F49C0"}}) {
        SCOPED_TRACE(c.order);
        NetPacket reader = packetOf(hex(c.bytes));
        reader.setByteOrder(c.order);
        EXPECT_EQ(reader.read8(), 0xABU);
        EXPECT_EQ(reader.read16(), 0x1234U);
        EXPECT_EQ(reader.read32(), 0x89ABCDEFU);
        EXPECT_FLOAT_EQ(reader.readFloat(), -3.14159274F);
        EXPECT_EQ(reader.remaining(), 0U);

        NetPacket writer(11);
        writer.setByteOrder(c.order);
        writer.write8(0xAB);
        writer.write16(0x1234);
        writer.write32(0x89ABCDEF);
        writer.writeFloat(-3.14159274F);
        EXPECT_EQ(bytesOf(writer), hex(c.bytes));
    }
}

TEST(NetPacketTest, WritesManyWordsAsItWritesEach) {
    const std::uint32_t words[] = {0x01020304, 0x89ABCDEF, 0xFF000000, 0x000000FF, 0x00FF0080};
    for (const unsigned order : {NetPacket::NETWORK, NetPacket::LITTLE}) {
        NetPacket atOnce(22);
        NetPacket oneByOne(22);
        for (NetPacket* packet : {&atOnce, &oneByOne}) {
            packet->setByteOrder(order);
            packet->write8(7);
        }
        atOnce.writeAll32(words, 5);
        for (const std::uint32_t word : words) {
            oneByOne.write32(word);
        }
        atOnce.writeAll32(nullptr, 0);
        EXPECT_EQ(bytesOf(atOnce), bytesOf(oneByOne));
        EXPECT_EQ(atOnce.position(), 21U);
    }
}

TEST(NetPacketTest, RefusesAccessesBeyondTheEndAndLeavesTheCursor) {
    struct Case {
        const char* name;
        std::uint32_t left; // one byte too few for the access
        const char* logged;
        std::function<void(NetPacket&)> access;
    };
    const Case cases[] = {
        {"read8", 0, "packet position", [](NetPacket& p) { p.read8(); }},
        {"writeAll32", 7, "packet position for 32bits",
         [](NetPacket& p) {
             const std::uint32_t words[] = {1, 2};
             p.writeAll32(words, 2);
         }},
        {"read16", 1, "packet position for 16bits", [](NetPacket& p) { p.read16(); }},
        {"read32", 3, "packet position for 32bits", [](NetPacket& p) { p.read32(); }},
        {"readFloat", 3, "packet position for 32bits", [](NetPacket& p) { p.readFloat(); }},
        {"write8", 0, "packet position", [](NetPacket& p) { p.write8(1); }},
        {"write16", 1, "packet position for 16bits", [](NetPacket& p) { p.write16(1); }},
        {"write32", 3, "packet position for 32bits", [](NetPacket& p) { p.write32(1); }},
        {"writeFloat", 3, "packet position for 32bits", [](NetPacket& p) { p.writeFloat(1); }},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        LogCapture log(Log::EXCEPTION);
        NetPacket packet(20);
        packet.seek(-static_cast<int>(c.left), 2);
        const std::uint32_t before = packet.position();
        try {
            c.access(packet);
            ADD_FAILURE() << "went beyond the end";
        } catch (const FUSException& e) {
            EXPECT_EQ(e.errorCode(), ERR_INDEX);
        }
        EXPECT_EQ(packet.position(), before);
        EXPECT_EQ(bytesOf(packet), zeroes(20));
        EXPECT_EQ(log.lines(),
                  (LogLines{{Log::EXCEPTION, std::string("ERR_INDEX: invalid ") + c.logged + " (" +
                                                 std::to_string(before) + " above max=20)"}}));
        packet.seek(-1, 1);
        EXPECT_NO_THROW(c.access(packet)) << "one byte earlier there is room";
    }
}

TEST(NetPacketTest, ReadsOnlyIntegersOfOneTwoOrFourBytes) {
    NetPacket packet = packetOf(hex("01 0203 04050607"));
    EXPECT_EQ(packet.read(1), 0x01U);
    EXPECT_EQ(packet.read(2), 0x0203U);
    EXPECT_EQ(packet.read(4), 0x04050607U);
    packet.seek(0, 0);
    for (const unsigned width : {0U, 3U, 8U}) {
        LogCapture log;
        EXPECT_THROW(packet.read(width), FUSException);
        EXPECT_TRUE(log.has("ERR_INDEX: invalid packet read size (" + std::to_string(width) +
                            " above max=5)"));
    }
}

TEST(NetPacketTest, LooksAtAnyByteWithoutMoving) {
    const NetPacket packet = packetOf(hex("0A 0B"));
    EXPECT_EQ(packet.at(1), 0x0BU);
    EXPECT_EQ(packet.position(), 0U);
    LogCapture log;
    EXPECT_THROW(packet.at(2), FUSException);
    EXPECT_THROW(packet.at(UINT_MAX), FUSException);
    EXPECT_EQ(log.texts(), (std::vector<std::string>{
                               "ERR_INDEX: invalid packet position (2 above max=2)",
                               "ERR_INDEX: invalid packet position (4294967295 above max=2)"}));
}

TEST(NetPacketTest, CopiesAsManyBytesAsThereAre) {
    NetPacket packet = packetOf(hex("01 02 03 04 05"));
    unsigned char target[8] = {};
    packet.seek(2, 0);
    EXPECT_EQ(packet.readBytes(nullptr, 2), 0U);
    EXPECT_EQ(packet.readBytes(target, 0), 0U);
    EXPECT_EQ(packet.readBytes(target, UINT_MAX), 3U);
    EXPECT_EQ(Bytes(target, target + 4), hex("03 04 05 00"));
    EXPECT_EQ(packet.readBytes(target, 1), 0U);

    packet.seek(-2, 2);
    EXPECT_EQ(packet.writeBytes(nullptr, 2), 0U);
    EXPECT_EQ(packet.writeBytes(hex("AA BB CC").data(), 3), 2U);
    EXPECT_EQ(bytesOf(packet), hex("01 02 03 AA BB"));
}

TEST(NetPacketTest, KeepsTheCursorWithinThePacketWhereverItIsSent) {
    struct Case {
        int offset;
        int whence;
        std::uint32_t position;
    };
    for (const Case& c :
         {Case{-1, 0, 0}, Case{7, 0, 7}, Case{11, 0, 10}, Case{INT_MIN, 0, 0}, Case{2, 1, 6},
          Case{-5, 1, 0}, Case{INT_MAX, 1, 10}, Case{INT_MIN, 1, 0}, Case{1, 2, 10}, Case{-3, 2, 7},
          Case{INT_MAX, 2, 10}, Case{3, 3, 4}, Case{3, -1, 4}}) {
        NetPacket packet(10);
        packet.seek(4, 0);
        packet.seek(c.offset, c.whence);
        EXPECT_EQ(packet.position(), c.position) << c.offset << " from " << c.whence;
    }
}

TEST(NetPacketTest, ResizesToAtLeastFourBytesAndPullsTheCursorBack) {
    struct Case {
        std::uint32_t size;
        bool keep;
        const char* bytes;
        std::uint32_t position;
    };
    for (const Case& c : {Case{0, false, "00000000", 4}, Case{5, true, "0102030405", 5},
                          Case{8, true, "0102030405060000", 6},
                          Case{6, false, "010203040506", 6}, // the same size: nothing happens
                          Case{8, false, "0000000000000000", 6}}) {
        SCOPED_TRACE(c.bytes);
        NetPacket packet = packetOf(hex("01 02 03 04 05 06"));
        packet.seek(0, 2);
        packet.resize(c.size, c.keep);
        EXPECT_EQ(bytesOf(packet), hex(c.bytes));
        EXPECT_EQ(packet.position(), c.position);
    }
    NetPacket empty;
    empty.resize(0, true);
    EXPECT_EQ(bytesOf(empty), zeroes(4));
}

TEST(NetPacketTest, AdoptsOrCopiesWhatItIsGiven) {
    auto* block = new unsigned char[3]{1, 2, 3};
    NetPacket owner(3, block, true);
    EXPECT_EQ(owner.data(), block);
    NetPacket copy(3, block);
    EXPECT_NE(copy.data(), block);
    EXPECT_EQ(bytesOf(copy), hex("01 02 03"));
    EXPECT_EQ(bytesOf(NetPacket(2, nullptr, true)), zeroes(2));

    const NetPacket nothing(0, new unsigned char[3], true); // a leak check would tell
    EXPECT_EQ(nothing.size(), 0U);
    EXPECT_EQ(nothing.data(), nullptr);

    owner.seek(1, 0);
    owner.setByteOrder(NetPacket::LITTLE);
    const NetPacket moved(std::move(owner));
    EXPECT_EQ(moved.data(), block);
    EXPECT_EQ(moved.position(), 1U);
    EXPECT_EQ(moved.byteOrder(), NetPacket::LITTLE);
    EXPECT_EQ(owner.size(), 0U); // NOLINT(bugprone-use-after-move): it is an empty packet now
    const LogCapture quiet(Log::NONE);
    EXPECT_THROW(owner.read8(), FUSException);
}

TEST(NetPacketTest, RefusesAnUnknownByteOrder) {
    NetPacket packet(4);
    LogCapture log;
    try {
        packet.setByteOrder(3);
        ADD_FAILURE() << "accepted";
    } catch (const FUSException& e) {
        EXPECT_EQ(e.errorCode(), ERR_ARGUMENT);
    }
    EXPECT_EQ(packet.byteOrder(), NetPacket::NETWORK);
    EXPECT_EQ(log.lines(), (LogLines{{Log::EXCEPTION, "ERR_ARGUMENT"}}));
}

} // namespace
} // namespace fus
