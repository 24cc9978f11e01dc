// What boards tell about themselves, and the reboot.

#include "fus/P_Connection.h"

#include "fus/P_FUSAccess.h"
#include "fus/P_GProtocol.h"
#include "support/ConnectedFixture.h"
#include "support/Faults.h"
#include "support/LogCapture.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <thread>

using namespace fus;
using namespace fus::test;
using namespace fus::gprotocol;

namespace {

constexpr const char* NO_SUCH_BOARD = "ERR_ARGUMENT: Invalid board (type or address).";
constexpr const char* BAD_PACKET = "ERR_PACKET: Bad packet content";

class Introspection : public ConnectedFixture {
protected:
    /// Expects a board's command, and answers it with these data.
    void serve(unsigned hwid, unsigned address, unsigned command, const Bytes& request,
               const Bytes& data) {
        const auto size = static_cast<unsigned>(data.size());
        peer.expect(CMD_BOARD_CMD, zeroes(16) + u8(hwid) + u8(address) + be16(command) +
                                       be16(static_cast<unsigned>(request.size())) + request)
            .answer(ANSWER_BOARD, zeroes(12) + u8(hwid) + u8(address) + be16(command) +
                                      be16(command) + be16(size) + data);
    }
    void serveVersions(unsigned hwid, unsigned address, const Bytes& data) {
        serve(hwid, address, 70, {}, data);
    }
    void serveCrcDate(unsigned hwid, unsigned address, const Bytes& data) {
        serve(hwid, address, 73, zeroes(8), data);
    }

    /// So that the peer takes another one.
    void endConnection() {
        peer.expectEnd();
        fus().disconnect();
    }

    /// "hardware firmware", or the fault.
    std::string versions(BoardType type, unsigned char address) {
        Version hardware(9, 9, 9, 9);
        Version firmware(9, 9, 9, 9);
        const std::string fault =
            faultOf([&] { fus().readBoardVersions(type, address, hardware, firmware); });
        if (!fault.empty()) {
            EXPECT_EQ(hardware, Version(9, 9, 9, 9)) << "a fault changes nothing";
            return fault;
        }
        return hardware.toString() + " " + firmware.toString();
    }

    std::string infoFault(BoardType type, unsigned char address) {
        return faultOf([&] { fus().readBoardInfo(type, address); });
    }
};

} // namespace

TEST_F(Introspection, DecodesBothHardwareWordsAndTheBytesOfTheFirmwareByProtocol) {
    const struct {
        const char* data; // little-endian word, then the firmware's bytes
        const char* onV3;
        const char* onV2;
    } cases[] = {
        {"FFFFFF3F 01020304", "2015.15.63.65535 1.2.3.4", "2015.15.63.65535 1.2.4.3"},
        {"00000040 FF00FE01", "0.0.0.0 255.0.254.1", "0.0.0.0 255.0.1.254"},
        {"00000000 00000000", "2000.0.0.0 0.0.0.0", "2000.0.0.0 0.0.0.0"},
        {"FFFFFFFF 00000000", "767.255.63.255 0.0.0.0", "767.255.63.255 0.0.0.0"},
        // 10 | 9 | 11 | 513, and 257 | 2 (in the middle of the word) | 3 | 4
        {"01024B2A 00000000", "2010.9.11.513 0.0.0.0", "2010.9.11.513 0.0.0.0"},
        {"04024340 00000000", "1.2.3.4 0.0.0.0", "1.2.3.4 0.0.0.0"},
    };
    for (const Generation generation : {Generation::V31, Generation::V30, Generation::V2}) {
        connect(generation);
        for (const auto& c : cases) {
            SCOPED_TRACE(c.data);
            serveVersions(12, 1, hex(c.data));
            EXPECT_EQ(versions(BOARD_AMPLIFIER, 1), generation == Generation::V2 ? c.onV2 : c.onV3);
        }
        endConnection();
    }
}

TEST_F(Introspection, DecodesBothFormatsOfCrcAndDate) {
    // full fields have no terminator, and what they hold exceeds what is kept by one character
    const Bytes old = hex("3412") + text("Feb 29 2020 abc") + text("12:34:56 UTC+1");
    const Bytes modern =
        hex("40420F00 EFBEADDE") + text("Mar  1 2021") + u8(0) + text("01:02:03") + zeroes(2);
    const struct {
        Bytes data;
        std::uint32_t crc;
        std::uint32_t size;
        const char* datetime;
        const char* line;
    } cases[] = {
        {old + u8(0), 0x1234, 0, "Feb 29 2020 abc 12:34:56 UTC+",
         "  CRC0: 0x1234, date: Feb 29 2020 abc, time: 12:34:56 UTC+1"},
        {modern + hex("EE") + u8(1), 0xDEADBEEF, 1000000, "Mar  1 2021 01:02:03",
         "  CRC1: 0xDEADBEEF, size: 1000000, date: Mar  1 2021, time: 01:02:03"},
        {zeroes(32), 0, 0, " ", "  CRC0: 0x0000, date: , time: "},
        {hex("00000000 0A000000") + zeroes(23) + u8(1), 10, 0, " ",
         "  CRC1: 0x0000000A, size: 0, date: , time: "},
    };
    connect(Generation::V31);
    for (const auto& c : cases) {
        SCOPED_TRACE(c.line);
        serveVersions(11, 0, hex("04024340 01020304"));
        serveCrcDate(11, 0, c.data);
        const LogCapture log(Log::INFO);
        const BoardInfo info = fus().readBoardInfo(BOARD_SYNTHESIZER, 0);
        EXPECT_EQ(info.hardwareVersion(), Version(1, 2, 3, 4));
        EXPECT_EQ(info.firmwareVersion(), Version(1, 2, 3, 4));
        EXPECT_EQ(info.firmwareCRC(), c.crc);
        EXPECT_EQ(info.firmwareSize(), c.size);
        EXPECT_STREQ(info.firmwareDatetime(), c.datetime);
        EXPECT_TRUE(log.has(c.line));
    }
}

TEST_F(Introspection, RefusesAnswersOfAnotherSizeOrFormat) {
    connect(Generation::V31);
    for (const std::size_t size : {std::size_t{0}, std::size_t{7}, std::size_t{9}}) {
        serveVersions(10, 0, zeroes(size));
        EXPECT_EQ(versions(BOARD_PROCESSOR, 0), BAD_PACKET) << size;
    }
    const struct {
        Bytes data;
        const char* fault;
    } cases[] = {{zeroes(31), BAD_PACKET},
                 {zeroes(33), BAD_PACKET},
                 {zeroes(31) + u8(2), "ERR_PACKET: Unknown format"}};
    LogCapture log(Log::ERROR);
    for (const auto& c : cases) {
        serveVersions(10, 0, zeroes(8));
        serveCrcDate(10, 0, c.data);
        EXPECT_EQ(infoFault(BOARD_PROCESSOR, 0), c.fault);
    }
    EXPECT_TRUE(log.has("Unknown packet version (2)"));
}

TEST_F(Introspection, ChecksTypeAndBoardInSecureModeOnly) {
    connect(Generation::V31);
    const auto unknown = static_cast<BoardType>(4);
    {
        const LogCapture log(Log::EXCEPTION);
        EXPECT_EQ(versions(unknown, 0), "ERR_INDEX: Invalid index");
        EXPECT_EQ(infoFault(unknown, 0), "ERR_INDEX: Invalid index");
        EXPECT_TRUE(log.hasPart("ERR_INDEX: invalid board type (4 above max="));
    }
    EXPECT_EQ(versions(BOARD_AMPLIFIER, 7).substr(0, 12), "ERR_ARGUMENT");
    EXPECT_EQ(infoFault(BOARD_AMPLIFIER, 7).substr(0, 12), "ERR_ARGUMENT");
    fus().setSecureMode(false);
    serveVersions(4, 9, hex("04024340 01020304")); // the type as it is, as hardware id
    EXPECT_EQ(versions(unknown, 9), "1.2.3.4 1.2.3.4");
    serveVersions(12, 7, hex("04024340 01020304"));
    EXPECT_EQ(versions(BOARD_AMPLIFIER, 7), "1.2.3.4 1.2.3.4");
    disconnect();
    EXPECT_EQ(versions(BOARD_AMPLIFIER, 0).substr(0, 17), "ERR_NOT_CONNECTED");
    EXPECT_EQ(infoFault(unknown, 0).substr(0, 17), "ERR_NOT_CONNECTED");
}

TEST_F(Introspection, RefusesABoardThatNothingUses) {
    connect(Generation::V31, iniOf(Generation::V31) + "[SNT03]\nhw = 1.0\n");
    EXPECT_EQ(versions(BOARD_SYNTHESIZER, 3), NO_SUCH_BOARD);
    EXPECT_EQ(infoFault(BOARD_SYNTHESIZER, 3), NO_SUCH_BOARD);
}

TEST_F(Introspection, KnowsTheOldProcessorWithoutAskingIt) {
    connect(Generation::V2);
    const LogCapture log(Log::EXCEPTION);
    EXPECT_EQ(versions(BOARD_PROCESSOR, 0), "1.0.0.0 2.9.1.4");
    const BoardInfo info = fus().readBoardInfo(BOARD_PROCESSOR, 0);
    EXPECT_EQ(info.firmwareVersion(), Version(2, 9, 1, 4));
    EXPECT_EQ(info.hardwareVersion(), Version(1, 0, 0, 0));
    EXPECT_EQ(info.firmwareCRC(), 0U);
    EXPECT_STREQ(info.firmwareDatetime(), "");
    // the versions look at the address alone, the rest looks at the board first
    EXPECT_EQ(infoFault(BOARD_PROCESSOR, 1).substr(0, 12), "ERR_ARGUMENT");
    EXPECT_FALSE(log.hasPart("board address"));
    EXPECT_EQ(versions(BOARD_PROCESSOR, 1), "ERR_INDEX: Invalid index");
    EXPECT_TRUE(log.hasPart("ERR_INDEX: invalid board address (1 above max="));
    fus().setSecureMode(false);
    EXPECT_EQ(infoFault(BOARD_PROCESSOR, 1), "ERR_INDEX: Invalid index");
}

TEST_F(Introspection, PassesOnRefusalsAndSilence) {
    connect(Generation::V31);
    serveVersions(12, 0, zeroes(8));
    peer.expect(CMD_BOARD_CMD)
        .answer(ANSWER_BOARD, zeroes(12) + hex("0C00 0049 004E 0004 00001513"));
    EXPECT_EQ(infoFault(BOARD_AMPLIFIER, 0), "ERR_BOARD: Generic board error. Unavailable data.");
    fus().setDefaultAnswerTimeout(200);
    peer.expect(CMD_BOARD_CMD);
    EXPECT_EQ(versions(BOARD_AMPLIFIER, 0).substr(0, 11), "ERR_TIMEOUT");
    EXPECT_TRUE(fus().isConnected());
}

TEST_F(Introspection, GivesVersionsAndCountsByTypeOfBoard) {
    // served first: the unique id of the mechanical board, which is asked for at connect
    greet(peer, Generation::V31,
          "[UPB00]\nhw = 1.1\nsw = 1.2\n" + iniOf(Generation::V31).substr(8) +
              "[AMP05]\n[MOT00]\nhw = 6.1\nsw = 6.2\n");
    serve(15, 0, 93, le16(2905), le64(7));
    ASSERT_TRUE(fus().connect(ScriptedPeer::HOST, peer.port(), 5000));
    const struct {
        BoardType type;
        Version hardware;
        Version firmware;
        unsigned active;
        unsigned detected;
    } cases[] = {
        {BOARD_PROCESSOR, {1, 1, 0, 0}, {1, 2, 0, 0}, 1, 1},
        {BOARD_SYNTHESIZER, {2010, 9, 11, 0}, {0, 0, 0, 0}, 1, 1},
        {BOARD_AMPLIFIER, {0, 0, 0, 0}, {0, 0, 0, 0}, 2, 3},
        {BOARD_MECHANICS, {6, 1, 0, 0}, {6, 2, 0, 0}, 1, 1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.type);
        EXPECT_EQ(fus().getHardwareVersion(c.type), c.hardware);
        EXPECT_EQ(fus().getFirmwareVersion(c.type), c.firmware);
        EXPECT_EQ(fus().getBoardCount(c.type), c.active);
        EXPECT_EQ(fus().getDetectedBoardCount(c.type), c.detected);
    }
    EXPECT_EQ(fus().getProtocolVersion(), Version(3, 1, 0, 0));
    const std::function<void(BoardType)> getters[] = {
        [&](BoardType type) { fus().getHardwareVersion(type); },
        [&](BoardType type) { fus().getFirmwareVersion(type); },
        [&](BoardType type) { fus().getBoardCount(type); },
        [&](BoardType type) { fus().getDetectedBoardCount(type); },
    };
    for (const auto& getter : getters) {
        EXPECT_EQ(faultOf([&] { getter(static_cast<BoardType>(4)); }), "ERR_INDEX: Invalid index");
    }
    disconnect();
    for (const auto& getter : getters) {
        EXPECT_EQ(faultOf([&] { getter(BOARD_PROCESSOR); }).substr(0, 17), "ERR_NOT_CONNECTED");
    }
}

TEST_F(Introspection, RebootsAndEndsTheConnectionWithIt) {
    const struct {
        unsigned what;
        bool secure;
        Bytes payload;
        bool connectedAfter;
    } cases[] = {
        {REBOOT_ALL, true, hex("00002328"), false},
        {REBOOT_SLAVES, true, hex("00002329"), false},
        {9002, false, hex("0000232A"), true},
        {REBOOT_ALL, false, hex("00002328"), false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        connect(Generation::V2);
        fus().setSecureMode(c.secure);
        peer.expect(CMD_REBOOT, c.payload).answer(ANSWER_OK);
        const LogCapture log(Log::INFO);
        fus().reboot(c.what);
        EXPECT_TRUE(log.has("Reboot (what=" + std::to_string(c.what) + ")"));
        EXPECT_EQ(fus().isConnected(), c.connectedAfter);
        if (!c.connectedAfter) {
            ASSERT_TRUE(listener.waitForType(FUSEvent::EVENT_DISCONNECT));
            EXPECT_EQ(listener.all<ConnectEvent>()[0]->reason(), ConnectEvent::REASON_USER_REQUEST);
        }
        endConnection();
        fus().setSecureMode(true);
    }
}

TEST_F(Introspection, TakesARebootsAnswerAndTheEndOfTheLinkRightBehindItForWhatTheyAre) {
    for (int round = 0; round < 20; ++round) { // who notices which first is a matter of luck
        connect(Generation::V2);
        peer.expect(CMD_REBOOT).answer(ANSWER_OK).cut();
        EXPECT_EQ(faultOf([&] { fus().reboot(REBOOT_ALL); }), "");
        ASSERT_TRUE(listener.waitForType(FUSEvent::EVENT_DISCONNECT));
        EXPECT_EQ(listener.all<ConnectEvent>()[0]->reason(), ConnectEvent::REASON_USER_REQUEST);
        listener.clear();
    }
}

TEST_F(Introspection, StaysConnectedWhenARebootIsRefusedOrNotConfirmed) {
    EXPECT_EQ(faultOf([&] { fus().reboot(REBOOT_ALL); }).substr(0, 17), "ERR_NOT_CONNECTED");
    connect(Generation::V31);
    {
        const LogCapture log(Log::INFO);
        EXPECT_EQ(faultOf([&] { fus().reboot(9002); }), "ERR_ARGUMENT: Bad argument");
        EXPECT_FALSE(log.hasPart("Reboot"));
    }
    peer.expect(CMD_REBOOT).answer(ANSWER_ERROR);
    EXPECT_EQ(faultOf([&] { fus().reboot(REBOOT_ALL); }).substr(0, 13), "ERR_GENERATOR");
    peer.expect(CMD_REBOOT).answer(ANSWER_PARAM);
    EXPECT_EQ(faultOf([&] { fus().reboot(REBOOT_SLAVES); }).substr(0, 11), "ERR_TIMEOUT");
    EXPECT_TRUE(fus().isConnected());
}

TEST_F(Introspection, WaitsLongerForSlavesThanForOtherAnswers) {
    EXPECT_EQ(rebootTimeout(REBOOT_SLAVES, 5000), 12000U);
    EXPECT_EQ(rebootTimeout(REBOOT_SLAVES, 12200), 12200U);
    EXPECT_EQ(rebootTimeout(REBOOT_ALL, 5000), 5000U);
    EXPECT_EQ(rebootTimeout(9002, 200), 200U);

    connect(Generation::V31);
    fus().setDefaultAnswerTimeout(200);
    const auto connection = FUSAccess::getConnection(fus());
    const Latch sent;
    const Latch waited;
    peer.expect(CMD_REBOOT).tell(sent).waitFor(waited).answer(ANSWER_OK);
    std::string fault = "not back";
    std::thread rebooter([&] { fault = faultOf([&] { fus().reboot(REBOOT_SLAVES); }); });
    EXPECT_TRUE(sent.wait());
    // three waits by the default time-out, one after the other, outlast one that began before
    for (int i = 0; i < 3; ++i) {
        EXPECT_FALSE(connection->readAnswer(12345, ANSWER_OK, nullptr, TIMEOUT_DEFAULT, nullptr));
    }
    waited.open();
    rebooter.join();
    EXPECT_EQ(fault, "");
    EXPECT_FALSE(fus().isConnected());
}
