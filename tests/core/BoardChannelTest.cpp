#include "fus/P_Connection.h"

#include "fus/FloatArray.h"
#include "fus/P_FUSAccess.h"
#include "fus/P_GProtocol.h"
#include "fus/P_NetPacket.h"
#include "support/ConnectedFixture.h"
#include "support/Faults.h"
#include "support/LogCapture.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

using namespace fus;
using namespace fus::test;
using namespace fus::gprotocol;

namespace {

/// What stands in front of the data in a board command and in a board's answer.
Bytes commandFrame(unsigned time, unsigned hwid, unsigned address, unsigned command,
                   const Bytes& data) {
    return zeroes(12) + be32(time) + u8(hwid) + u8(address) + be16(command) +
           be16(static_cast<unsigned>(data.size())) + data;
}

Bytes answerFrame(unsigned hwid, unsigned address, unsigned command, const Bytes& rest) {
    return zeroes(12) + u8(hwid) + u8(address) + be16(command) + rest;
}

/// The rest of a success with data, and of a refusal.
Bytes data(unsigned command, const Bytes& bytes) {
    return be16(command) + be16(static_cast<unsigned>(bytes.size())) + bytes;
}
Bytes refusal(unsigned size, const Bytes& bytes) {
    return be16(78) + be16(size) + bytes;
}

class BoardChannel : public ConnectedFixture {
protected:
    void connect(Generation generation = Generation::V31) {
        ConnectedFixture::connect(generation);
        connection = FUSAccess::getConnection(fus());
    }

    ScriptedPeer& expectCommand(unsigned hwid, unsigned address, unsigned command,
                                const Bytes& bytes) {
        return peer.expect(CMD_BOARD_CMD, commandFrame(0, hwid, address, command, bytes));
    }

    std::shared_ptr<Connection> connection;
};

} // namespace

TEST_F(BoardChannel, FramesACommandAndHoldsItsTimeToTheLimit) {
    connect();
    const unsigned limit = connection->config().getTiming(TIME_MAX_BOARD_TIMEOUT);
    const Bytes bytes = hex("0102");
    peer.expect(CMD_BOARD_CMD, commandFrame(limit, HWID_AMPLIFIER, 1, 0x1234, bytes));
    const LogCapture log(Log::INFO);
    connection->sendBoardCommand(HWID_AMPLIFIER, 1, limit, 0x1234, bytes.data(), 2);
    EXPECT_TRUE(log.has("    SendBoardCommand(HWID_AMPLIFIER=12, adr=1, "
                        "UNKNOWN_AMPLIFIER_CMD=0x1234, time=" +
                        std::to_string(limit) + " ms, datasz=2)"));
    fus().setSecureMode(false);
    EXPECT_EQ(faultOf([&] {
                  connection->sendBoardCommand(HWID_AMPLIFIER, 1, limit + 1, 70, nullptr, 0);
              }),
              "ERR_ARGUMENT: Asynchronous board command is too long");
}

TEST_F(BoardChannel, RefusesBoardsThatAreNotThereInSecureModeOnly) {
    connect();
    const auto send = [&] { connection->sendBoardCommand(HWID_AMPLIFIER, 9, 0, 70, nullptr, 0); };
    EXPECT_EQ(faultOf(send).substr(0, 12), "ERR_ARGUMENT");
    fus().setSecureMode(false);
    peer.expect(CMD_BOARD_CMD, commandFrame(0, HWID_AMPLIFIER, 9, 70, {}));
    EXPECT_EQ(faultOf(send), "");
    EXPECT_TRUE(peer.settle());
}

TEST_F(BoardChannel, TellsEveryFaultOfAnAnswer) {
    connect();
    const unsigned C = CMD_BOARD_PARAM_GET;
    const struct {
        const char* what;
        unsigned hwid;
        Bytes payload;
        const char* fault;
        const char* line;
    } cases[] = {
        {"no payload", 10, {}, "ERR_GENERATOR: Unknown generator error", nullptr},
        {"hardware id", 10, answerFrame(12, 0, C, be16(89)), "ERR_PACKET: Bad packet content",
         "ReadBoardAnswer: bad hardware type (0x0C/0A)"},
        {"address", 10, answerFrame(10, 1, C, be16(89)), "ERR_PACKET: Bad packet content",
         "ReadBoardAnswer: bad hardware address (0x01/00)"},
        {"command", 10, answerFrame(10, 0, 70, be16(89)), "ERR_PACKET: Bad packet content",
         "ReadBoardAnswer: bad HWID_PROCESSOR command type (0x0046/005D)"},
        {"result", 10, answerFrame(10, 0, C, data(74, hex("0102"))),
         "ERR_PACKET: Bad packet content",
         "ReadBoardAnswer: bad command type (got: 0x004A / expected: 005D)"},
        {"too much announced", 10, answerFrame(10, 0, C, be16(C) + be16(3) + hex("0102")),
         "ERR_PACKET: Bad packet content",
         "ReadBoardAnswer: announced size (3) != remaining bytes (2)."},
        {"refusal without code", 10, answerFrame(10, 0, C, refusal(3, hex("010203"))),
         "ERR_GENERATOR: Unknown generator error",
         "ReadBoardAnswer: board error without code (3 bytes)."},
        {"code alone", 10, answerFrame(10, 0, C, refusal(6, hex("00001513 0102"))),
         "ERR_BOARD: Generic board error. Unavailable data.", nullptr},
        {"code, argument, text", 10,
         answerFrame(10, 0, C, refusal(11, hex("00001513 07000000") + text("why"))),
         "ERR_BOARD: why", "ReadBoardAnswer: error code: 0x13150000, arg: 7, msg:'why'"},
        {"refusal that announces more", 10,
         answerFrame(10, 0, C, refusal(100, hex("00001513 00000000"))),
         "ERR_BOARD: Generic board error. Unavailable data.",
         "ReadBoardAnswer: error size (100) != remaining bytes (8)."},
        {"a frame that is cut", 10, zeroes(12) + hex("0A"), "ERR_INDEX: Invalid index", nullptr},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        peer.expect(CMD_BOARD_CMD).answer(ANSWER_BOARD, c.payload);
        const LogCapture log(Log::ERROR);
        EXPECT_EQ(faultOf([&] { connection->readBoardParam(c.hwid, 0, BPARAM_ALL_UID); }), c.fault);
        EXPECT_TRUE(c.line == nullptr || log.has(c.line));
    }
}

TEST_F(BoardChannel, GivesTheDataOfAnAnswerAtThePacketsPosition) {
    connect();
    const struct {
        const char* what;
        Bytes rest;
        unsigned returned;
        Bytes content; // of the packet, behind the two bytes in front of its position
    } cases[] = {
        {"no data, whatever follows", be16(89) + hex("FFFF"), 0, hex("EEEE")},
        {"fits", data(70, hex("01")), 1, hex("01EE")},
        {"grows", data(70, hex("010203")), 3, hex("010203")},
        {"announces less than comes", be16(70) + be16(1) + hex("010203"), 3, hex("010203")},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        peer.expect(CMD_BOARD_CMD).answer(ANSWER_BOARD, answerFrame(10, 0, 70, c.rest));
        const Bytes before = hex("EEEEEEEE");
        NetPacket packet = NetPacket::copyOf(before.data(), 4);
        packet.seek(2, 0);
        const unsigned id = connection->sendBoardCommand(10, 0, 0, 70, nullptr, 0);
        EXPECT_EQ(connection->readBoardAnswer(10, 0, id, 70, packet, TIMEOUT_DEFAULT), c.returned);
        EXPECT_EQ(packet.position(), 2U);
        EXPECT_EQ(Bytes(packet.data() + 2, packet.data() + packet.size()), c.content);
    }
    // any command, and a packet that takes nothing
    peer.expect(CMD_BOARD_CMD).answer(ANSWER_BOARD, answerFrame(10, 0, 99, data(98, hex("0102"))));
    NetPacket nothing;
    const unsigned id = connection->sendBoardCommand(10, 0, 0, 70, nullptr, 0);
    EXPECT_EQ(connection->readBoardAnswer(10, 0, id, 0, nothing, TIMEOUT_DEFAULT), 2U);
    EXPECT_EQ(nothing.size(), 0U);
}

TEST_F(BoardChannel, ReadsAndWritesParametersOf64Bits) {
    connect();
    LogCapture log(Log::INFO);
    expectCommand(10, 0, 93, hex("590B"))
        .answer(ANSWER_BOARD, answerFrame(10, 0, 93, data(93, hex("08070605 04030201"))));
    EXPECT_EQ(generator().readBoardParam(BOARD_PROCESSOR, 0, BPARAM_ALL_UID), 0x0102030405060708U);
    EXPECT_EQ(log.lines().front().text,
              "Read board parameter (HWID_PROCESSOR #0, BPARAM_ALL_UID/2905)");
    EXPECT_EQ(log.lines().back().text, "  BPARAM_ALL_UID/2905 = 72623859790382856");
    log.clear();
    expectCommand(12, 1, 92, hex("6B05 0000 08070605 04030201"))
        .answer(ANSWER_BOARD, answerFrame(12, 1, 92, be16(89)));
    generator().writeBoardParam(BOARD_AMPLIFIER, 1, BPARAM_UPB_MIN_TOTAL_SHOT_DURATION_NORMAL,
                                0x0102030405060708U);
    EXPECT_EQ(log.lines().front().text,
              "Write board parameter (HWID_AMPLIFIER #1, "
              "BPARAM_UPB_MIN_TOTAL_SHOT_DURATION_NORMAL/1387): 72623859790382856");
    peer.expect(CMD_BOARD_CMD).answer(ANSWER_BOARD, answerFrame(10, 0, 93, data(93, zeroes(4))));
    EXPECT_EQ(faultOf([&] { generator().readBoardParam(BOARD_PROCESSOR, 0, 1375); }),
              "ERR_PACKET: Bad packet content");
}

TEST_F(BoardChannel, KeepsThresholdsAsParametersByMeasure) {
    connect();
    LogCapture log(Log::INFO);
    expectCommand(12, 1, 93, le16(2601))
        .answer(ANSWER_BOARD, answerFrame(12, 1, 93, data(93, le64(0x1FFFFFFFFULL))));
    EXPECT_EQ(generator().readBoardThreshold(BOARD_AMPLIFIER, 1, 1, true), 0xFFFFFFFFU);
    EXPECT_EQ(log.lines().front().text, "Read board threshold(HWID_AMPLIFIER #1, 1, UP)");
    EXPECT_EQ(log.lines().back().text, "  threshold(ADC) = 8589934591");
    log.clear();
    expectCommand(12, 0, 92, le16(2500) + zeroes(2) + le64(77))
        .answer(ANSWER_BOARD, answerFrame(12, 0, 92, be16(89)));
    generator().setBoardThreshold(BOARD_AMPLIFIER, 0, 0, false, 77);
    EXPECT_EQ(log.lines().front().text, "Set board threshold(HWID_AMPLIFIER, 0, 0, LO) to 77");
    EXPECT_EQ(faultOf([&] { generator().readBoardThreshold(BOARD_AMPLIFIER, 0, 2, true); }),
              "ERR_INDEX: Invalid index");
    EXPECT_TRUE(log.hasPart("ERR_INDEX: invalid measure index (2 above max="));
}

TEST_F(BoardChannel, ReadsTheMeasuresOfOneAndOfAllBoards) {
    connect();
    FloatArray values;
    const Bytes measures = hex("0A00 64000000"); // tem 10, idc 100
    expectCommand(12, 1, 74, {}).answer(ANSWER_BOARD, answerFrame(12, 1, 74, data(74, measures)));
    generator().readBoardMeasures(BOARD_AMPLIFIER, 1, values, true);
    ASSERT_EQ(values.size(), 2U);
    EXPECT_EQ(values.get(0), 10.0F);
    EXPECT_EQ(values.get(1), 100.0F);

    for (unsigned address = 0; address < 2; ++address) {
        expectCommand(12, address, 74, {})
            .answer(ANSWER_BOARD,
                    answerFrame(12, address, 74, data(74, le16(address) + le32(40 + address))));
    }
    connection->readAllBoardsMeasures(HWID_AMPLIFIER, 1, values, true);
    ASSERT_EQ(values.size(), 2U);
    EXPECT_EQ(values.get(0), 40.0F);
    EXPECT_EQ(values.get(1), 41.0F);

    // an answer that is too short holds no values
    peer.expect(CMD_BOARD_CMD).answer(ANSWER_BOARD, answerFrame(12, 0, 74, data(74, hex("0A"))));
    EXPECT_EQ(faultOf([&] { generator().readBoardMeasures(BOARD_AMPLIFIER, 0, values, true); }),
              "ERR_PACKET: Bad packet content");
    EXPECT_EQ(faultOf([&] { generator().readBoardMeasures(BOARD_SYNTHESIZER, 0, values, true); }),
              "ERR_ARGUMENT: No measure definition for this type of board.");
    EXPECT_EQ(faultOf([&] { connection->readAllBoardsMeasures(HWID_AMPLIFIER, 2, values, true); }),
              "ERR_ARGUMENT: Invalid measure index.");
    EXPECT_EQ(
        faultOf([&] { connection->readAllBoardsMeasures(HWID_SYNTHESIZER, 0, values, true); }),
        "ERR_ARGUMENT: Invalid hardware type.");
}

TEST_F(BoardChannel, SetsTheThresholdOfAllBoards) {
    connect();
    for (unsigned address = 0; address < 2; ++address) {
        expectCommand(12, address, 92, le16(2601) + zeroes(2) + le64(50 + address))
            .answer(ANSWER_BOARD, answerFrame(12, address, 92, be16(89)));
    }
    FloatArray values(2, 50.9F);
    values.set(1, 51.9F);
    connection->setAllBoardsThreshold(HWID_AMPLIFIER, 1, true, values, true);
    EXPECT_TRUE(peer.settle());
    EXPECT_EQ(faultOf([&] {
                  connection->setAllBoardsThreshold(HWID_AMPLIFIER, 1, true, FloatArray(3, 1.0F),
                                                    true);
              }),
              "ERR_ARGUMENT: Invalid values size.");
}

TEST_F(BoardChannel, RefreshesTheStatusOfAllBoards) {
    connect();
    peer.expect(CMD_SYSTEM_STATE, Bytes{})
        .answer(ANSWER_SYSTEM_STATE,
                be32(2) + hex("0A 00 EEEE 00000000") + hex("0C 01 EEEE 00000004"));
    LogCapture log(Log::VERBOSE);
    EXPECT_FALSE(generator().refreshBoardsStatus());
    EXPECT_TRUE(log.has("  Status[12# 1] = 0x00000004"));
    EXPECT_EQ(generator().getBoardStatus(BOARD_AMPLIFIER, 1), 4U);
    EXPECT_EQ(generator().getBoardStatus(BOARD_AMPLIFIER, 0), 0U);
    peer.expect(CMD_SYSTEM_STATE).answer(ANSWER_SYSTEM_STATE, be32(0));
    EXPECT_TRUE(generator().refreshBoardsStatus());
    peer.expect(CMD_SYSTEM_STATE).answer(ANSWER_SYSTEM_STATE, be32(1) + hex("0C 07 0000 00000000"));
    EXPECT_EQ(faultOf([&] { generator().refreshBoardsStatus(); }).substr(0, 12), "ERR_ARGUMENT");
    peer.expect(CMD_SYSTEM_STATE).answer(ANSWER_SYSTEM_STATE, be32(0xFFFFFFFF));
    EXPECT_EQ(faultOf([&] { generator().refreshBoardsStatus(); }).substr(0, 9), "ERR_INDEX");
}

TEST_F(BoardChannel, IsClosedBeforeProtocol3) {
    connect(Generation::V2);
    FloatArray values;
    const std::vector<std::function<void()>> operations = {
        [&] { generator().readBoardParam(BOARD_PROCESSOR, 0, 1375); },
        [&] { generator().writeBoardParam(BOARD_PROCESSOR, 0, 1375, 1); },
        [&] { generator().readBoardMeasures(BOARD_AMPLIFIER, 0, values, true); },
        [&] { generator().readBoardThreshold(BOARD_AMPLIFIER, 0, 0, true); },
        [&] { generator().setBoardThreshold(BOARD_AMPLIFIER, 0, 0, true, 1); },
        [&] { generator().refreshBoardsStatus(); },
        [&] { generator().getBoardStatus(BOARD_AMPLIFIER, 0); },
    };
    for (const auto& operation : operations) {
        EXPECT_EQ(faultOf(operation),
                  "ERR_PROTOCOL: Command not available in this generator protocol version");
    }
}
