#include "fus/P_Connection.h"

#include "fus/FloatArray.h"
#include "fus/P_FUSAccess.h"
#include "fus/P_GProtocol.h"
#include "fus/P_NetPacket.h"
#include "support/ConnectedFixture.h"
#include "support/Faults.h"
#include "support/LogCapture.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <string>
#include <thread>

using namespace fus;
using namespace fus::test;
using namespace fus::gprotocol;

namespace {

constexpr unsigned SHORT_TIMEOUT = 1;    // [ms], for answers that will not come
constexpr unsigned LONG_TIMEOUT = 20000; // [ms], only waited for by a failing test

/// Connects to a peer whose greeting is the test's own.
class Greeting : public ConnectedFixture {
protected:
    bool connectTo(unsigned timeoutMs = 2000) {
        return fus().connect(ScriptedPeer::HOST, peer.port(), timeoutMs);
    }
};

class Answers : public ConnectedFixture {
protected:
    void connect(Generation generation = Generation::V31) {
        ConnectedFixture::connect(generation);
        connection = FUSAccess::getConnection(fus());
        next = commandsOfConnect(generation) + 1;
    }

    std::string readFault(unsigned id, unsigned short expected, unsigned timeoutMs = LONG_TIMEOUT) {
        return faultOf([&] { connection->readAnswer(id, expected, nullptr, timeoutMs, nullptr); });
    }

    std::shared_ptr<Connection> connection;
    unsigned next = 0; // id of the next command
};

class LostLink : public Answers {
protected:
    bool waitForDisconnect(unsigned reason) {
        return listener.waitForType(FUSEvent::EVENT_DISCONNECT) &&
               listener.all<ConnectEvent>().back()->reason() == reason;
    }
};

} // namespace

// --- connecting ----------------------------------------------------------------------------------

TEST_F(Greeting, TakesATextOf32To131072BytesAndRefusesAllElse) {
    const struct {
        unsigned announced;
        const char* error;
    } cases[] = {
        {0, "Connection error: invalid INI size (0)"},
        {31, "Connection error: invalid INI size (31)"},
        {131073, "Connection error: invalid INI size (131073)"},
        {0xFFFFFFFF, "Connection error: invalid INI size (4294967295)"},
    };
    for (const auto& c : cases) {
        peer.awaitConnection().send(be32(c.announced)).cut();
        const LogCapture log(Log::ERROR);
        EXPECT_FALSE(connectTo());
        EXPECT_EQ(log.lines(Log::ERROR),
                  (LogLines{{Log::ERROR, c.error},
                            {Log::ERROR, "Connection error: can not read generator configuration "
                                         "(INI)."}}));
    }
    EXPECT_FALSE(fus().isConnected());

    std::string text = iniOf(Generation::V2);
    text.resize(131072, '\n');
    peer.sendIni(text);
    EXPECT_TRUE(connectTo());
    EXPECT_EQ(fus().getInitString(), text);
    EXPECT_EQ(fus().getTotalReceived(), 131072U + 4U);
}

TEST_F(Greeting, SaysHowMuchOfAnUnfinishedTextHasCome) {
    peer.awaitConnection().send(be32(100) + text("[Version]\r\n")).cut();
    const LogCapture log(Log::ERROR);
    EXPECT_FALSE(connectTo());
    EXPECT_TRUE(log.has("Connection error: can not read expected amount of data (11/100)"));
}

TEST_F(Greeting, RemovesCarriageReturnsAndKeepsTheText) {
    std::string dos;
    for (const char c : iniOf(Generation::V2)) {
        dos += c == '\n' ? "\r\n" : std::string(1, c);
    }
    peer.sendIni(dos);
    ASSERT_TRUE(connectTo());
    EXPECT_EQ(fus().getInitString(), iniOf(Generation::V2));
    EXPECT_EQ(fus().getProtocolVersion(), Version(2, 9, 0, 0));
}

TEST_F(Greeting, FailsWithoutAReachableGenerator) {
    LogCapture log(Log::INFO);
    EXPECT_FALSE(fus().connect("", 1670, 100));
    EXPECT_FALSE(fus().connect(nullptr, 1670, 100));
    EXPECT_FALSE(fus().connect("127.0.0.1", 0, 100));
    EXPECT_EQ(log.count("Invalid host address or port"), 3U);
    log.clear();
    EXPECT_FALSE(connectTo(0)); // a time-out of 0 opens nothing
    EXPECT_EQ(log.lines().back().text,
              "Connection error: can not read generator configuration (INI).");
    EXPECT_FALSE(fus().isConnected());
    EXPECT_EQ(fus().getInitString(), nullptr);
    EXPECT_EQ(fus().getTotalSent(), 0U);
}

TEST_F(Greeting, ClosesTheOldConnectionBeforeTheNew) {
    connect(Generation::V2);
    peer.expectEnd();
    greet(peer, Generation::V31);
    ASSERT_TRUE(connectTo());
    ASSERT_TRUE(listener.waitForCount(2));
    EXPECT_EQ(listener.types(), (std::vector<FUSEvent::EventType>{FUSEvent::EVENT_DISCONNECT,
                                                                  FUSEvent::EVENT_CONNECT}));
}

TEST_F(Greeting, GivesUpAGeneratorWhoseMeasuresCantBeRead) {
    peer.sendIni(iniOf(Generation::V31));
    for (unsigned i = 0; i < commandsOfConnect(Generation::V31); ++i) {
        peer.expect(CMD_BOARD_CMD).answer(ANSWER_ERROR);
    }
    EXPECT_EQ(faultOf([&] { connectTo(); }),
              "ERR_CONFIG: Hardware configuration mismatch (definition/connected)");
    EXPECT_FALSE(fus().isConnected());
}

TEST(DefaultAnswerTimeout, IsAMultipleOf200) {
    FUS& fus = FUS::getInstance();
    const struct {
        unsigned given;
        bool taken;
        unsigned result;
    } cases[] = {{1, true, 200},           {200, true, 200},
                 {201, true, 400},         {0, true, 200},
                 {0x0FFFFFFF, false, 200}, {0x0FFFFFFE, true, 200},
                 {999, true, 1000},        {0xFFFFFFFF, true, 4294967200},
                 {5000, true, 5000}};
    for (const auto& c : cases) {
        EXPECT_EQ(fus.setDefaultAnswerTimeout(c.given), c.taken) << c.given;
        EXPECT_EQ(fus.getDefaultAnswerTimeout(), c.result) << c.given;
    }
}

// --- commands and answers ------------------------------------------------------------------------

TEST_F(Answers, PutHeaderAndPayloadOnTheWire) {
    connect();
    peer.expectRaw(be32(13) + be32(next) + hex("0521 AABBCC"));
    peer.expectRaw(hex("0000000A") + be32(next + 1) + hex("0459"));
    peer.expectRaw(text("as it is"));
    LogCapture log(Log::INFO);
    const Bytes payload = hex("AABBCC");
    EXPECT_EQ(connection->sendCommand(0x0521, payload.data(), 3), next);
    EXPECT_EQ(connection->sendCommand(CMD_TRAJ_STOP, nullptr, 0), next + 1);
    EXPECT_EQ(connection->sendRawData("as it is", 8), 8U);
    EXPECT_EQ(
        log.texts(),
        (std::vector<std::string>{
            "Unknown generator command 1313",
            "    SendCommand (?CMD?=0x0521, id=" + std::to_string(next) + ", sz=13)",
            "    SendCommand (CMD_TRAJ_STOP=0x0459, id=" + std::to_string(next + 1) + ", sz=10)"}));
    EXPECT_TRUE(peer.settle());
}

TEST_F(Answers, AreFoundByIdAndHandedOverWithTheirPayload) {
    connect();
    peer.sendPacket(ANSWER_PARAM, 70, hex("0102030405")).sendPacket(ANSWER_OK, 71);
    std::unique_ptr<NetPacket> packet;
    unsigned short type = 0;
    ASSERT_TRUE(connection->readAnswer(71, ANSWER_OK, &packet, LONG_TIMEOUT, &type));
    EXPECT_EQ(packet, nullptr);
    EXPECT_EQ(type, ANSWER_OK);
    EXPECT_TRUE(connection->checkAnswer(70, ANSWER_ANY));
    EXPECT_TRUE(connection->checkAnswer(70, ANSWER_PARAM));
    EXPECT_FALSE(connection->checkAnswer(70, ANSWER_OK));
    EXPECT_FALSE(connection->checkAnswer(71, ANSWER_ANY));
    ASSERT_TRUE(connection->readAnswer(70, ANSWER_ANY, &packet, LONG_TIMEOUT, &type));
    ASSERT_NE(packet, nullptr);
    EXPECT_EQ(packet->read32(), 0x01020304U);
    EXPECT_EQ(type, ANSWER_PARAM);
}

TEST_F(Answers, OfAnotherTypeAreDroppedAndReported) {
    connect();
    peer.sendPacket(ANSWER_OK, 7);
    unsigned short type = 0;
    const LogCapture log(Log::ERROR);
    EXPECT_FALSE(connection->readAnswer(7, ANSWER_PARAM, nullptr, LONG_TIMEOUT, &type));
    EXPECT_EQ(type, ANSWER_OK);
    EXPECT_FALSE(connection->checkAnswer(7, ANSWER_ANY));
    EXPECT_EQ(log.texts().back(), "ReadAnswer: unexpected packet type (deleted) (id=7, "
                                  "expected=1115, found=1301)");
}

TEST_F(Answers, ThatComeTooLateStayForWhoeverAsksAgain) {
    connect();
    Latch asked;
    peer.waitFor(asked).sendPacket(ANSWER_OK, 9);
    {
        const LogCapture log(Log::ERROR);
        EXPECT_FALSE(connection->readAnswer(9, ANSWER_OK, nullptr, SHORT_TIMEOUT, nullptr));
        EXPECT_EQ(log.texts().back(),
                  "ReadAnswer not found (id=9, type=ANSWER_OK(0x515), inbox=0)");
    }
    asked.open();
    EXPECT_TRUE(connection->readAnswer(9, ANSWER_OK, nullptr, LONG_TIMEOUT, nullptr));
}

TEST_F(Answers, ThatSayErrorAreThrownWhateverWasExpected) {
    connect();
    const Bytes info = hex("13150000 00000007 0C 03 0005 EEEEEEEE") + text("why?") + u8(0);
    peer.sendPacket(ANSWER_ERROR, 1001)
        .sendPacket(ANSWER_ERROR_MSG, 1002, hex("0000") + text("old words"))
        .sendPacket(ANSWER_ERROR_MSG, 1003, hex("00"))
        .sendPacket(ANSWER_ERROR_MSGV3, 1004, info)
        .sendPacket(ANSWER_ERROR_MSGV3, 1005, hex("131500"));
    const LogCapture log(Log::ERROR);
    EXPECT_EQ(readFault(1001, ANSWER_OK), "ERR_GENERATOR: Unknown generator error");
    EXPECT_EQ(readFault(1002, ANSWER_OK), "ERR_GENERATOR: old words");
    EXPECT_TRUE(log.has("Version 2 error received from a V3 generator."));
    EXPECT_TRUE(log.has("ERR_GENERATOR: old words"));
    EXPECT_EQ(readFault(1003, ANSWER_OK), "ERR_GENERATOR: Unknown generator error");
    EXPECT_EQ(readFault(1004, ANSWER_ANY),
              "ERR_BOARD: code: 0x13150000, arg: 7, board: HWID_AMPLIFIER #3, msg: why?");
    EXPECT_EQ(readFault(1005, ANSWER_ANY).substr(0, 9), "ERR_INDEX");
    try {
        peer.sendPacket(ANSWER_ERROR_MSGV3, 1006, info);
        connection->readAnswer(1006, ANSWER_OK, nullptr, LONG_TIMEOUT, nullptr);
        FAIL() << "nothing was thrown";
    } catch (const FUSException& e) {
        EXPECT_EQ(e.hardwareCode().rawCode(), 0x13150000U);
    }
}

TEST_F(Answers, MayComeInSingleBytesAndAsLargeAsTheLimit) {
    connect();
    peer.sendByteByByte(packet(ANSWER_PARAM, 50, hex("0102")))
        .sendPacket(ANSWER_PARAM, 51, zeroes(8182));
    std::unique_ptr<NetPacket> answer;
    ASSERT_TRUE(connection->readAnswer(50, ANSWER_PARAM, &answer, LONG_TIMEOUT, nullptr));
    EXPECT_EQ(answer->read16(), 0x0102);
    ASSERT_TRUE(connection->readAnswer(51, ANSWER_PARAM, &answer, LONG_TIMEOUT, nullptr));
    EXPECT_EQ(answer->size(), 8182U);
}

TEST_F(Answers, OfAnUnknownTypeAreIgnored) {
    connect();
    const LogCapture log(Log::ERROR);
    peer.sendPacket(4711, 60, hex("01")).sendPacket(ANSWER_OK, 61);
    EXPECT_TRUE(connection->readAnswer(61, ANSWER_OK, nullptr, LONG_TIMEOUT, nullptr));
    EXPECT_TRUE(log.has("Unknown packet type (4711) -> ignored."));
    EXPECT_FALSE(connection->checkAnswer(60, ANSWER_ANY));
}

TEST_F(Answers, OfBoardsThatComeLaterReachWhoSentTheCommand) {
    connect();
    const LogCapture log(Log::ERROR);
    peer.sendPacket(ANSWER_BOARD_ASYNC, 80, zeroes(12) + hex("0C 02 005D 0059"));
    EXPECT_TRUE(connection->readAnswer(80, ANSWER_BOARD_ASYNC, nullptr, LONG_TIMEOUT, nullptr));
    EXPECT_TRUE(log.has("Unexpected asynchronous packet from HWID_AMPLIFIER #2: "
                        "cmd=CMD_BOARD_PARAM_GET=0x005D, id=80, result=0x0059"));
    peer.sendPacket(ANSWER_BOARD_ASYNC, 81, zeroes(3)).sendPacket(ANSWER_OK, 82);
    EXPECT_TRUE(connection->readAnswer(82, ANSWER_OK, nullptr, LONG_TIMEOUT, nullptr));
    EXPECT_FALSE(connection->checkAnswer(81, ANSWER_ANY));
}

TEST_F(Answers, EndWhenAPacketCantBeOne) {
    const Bytes impossible[] = {
        packet(ANSWER_OK, 5, zeroes(8183)),           // one byte above the limit
        be32(9) + be32(5) + be16(ANSWER_OK),          // smaller than its header
        be32(0xFFFFFFFF) + be32(5) + be16(ANSWER_OK), // a lie
        packet(ANSWER_ANY, 5),                        // no type
    };
    for (const Bytes& bytes : impossible) {
        connect();
        Latch sent;
        peer.send(bytes).sendPacket(ANSWER_OK, 6).tell(sent);
        ASSERT_TRUE(sent.wait());
        // the thread is gone: answers time out, and nobody is told
        EXPECT_FALSE(connection->readAnswer(6, ANSWER_OK, nullptr, SHORT_TIMEOUT, nullptr));
        EXPECT_TRUE(fus().isConnected());
        EXPECT_TRUE(connection->isOpen());
        peer.run("forget what was unread", [] {});
        connection.reset();
        fus().disconnect();
        EXPECT_TRUE(listener.waitForType(FUSEvent::EVENT_DISCONNECT));
        listener.clear();
        peer.expectEnd();
    }
}

TEST_F(Answers, OfAV2GeneratorCarryParameters) {
    connect(Generation::V2);
    peer.expect(CMD_PARAM_GET, hex("0553")).answer(ANSWER_PARAM, hex("0553 2A"));
    EXPECT_EQ(connection->readGeneratorParameter(1363), 0x2AU);
    peer.expect(CMD_PARAM_SET, hex("0553 2B")).answer(ANSWER_OK);
    connection->writeGeneratorParameter(1363, 0x2B);
    peer.expect(CMD_PARAM_GET).answer(ANSWER_PARAM, hex("0554 2A"));
    EXPECT_EQ(faultOf([&] { connection->readGeneratorParameter(1363); }).substr(0, 10),
              "ERR_PACKET");
    peer.expect(CMD_PARAM_GET).answer(ANSWER_PARAM);
    EXPECT_EQ(faultOf([&] { connection->readGeneratorParameter(1363); }).substr(0, 10),
              "ERR_PACKET");
    peer.expect(CMD_PARAM_SET).answer(ANSWER_PARAM);
    EXPECT_EQ(faultOf([&] { connection->writeGeneratorParameter(1363, 1); }).substr(0, 11),
              "ERR_TIMEOUT");
}

TEST_F(Answers, OfAV3GeneratorCarryNoParameters) {
    connect(Generation::V30);
    EXPECT_EQ(faultOf([&] { connection->readGeneratorParameter(1363); }).substr(0, 12),
              "ERR_PROTOCOL");
    EXPECT_EQ(faultOf([&] { connection->writeGeneratorParameter(1363, 1); }).substr(0, 12),
              "ERR_PROTOCOL");
    fus().setSecureMode(false);
    peer.expect(CMD_PARAM_SET, hex("0553 01")).answer(ANSWER_OK);
    connection->writeGeneratorParameter(1363, 1);
}

// --- the loss of the link ------------------------------------------------------------------------

TEST_F(LostLink, TellsListenersOnceAndFailsCommandsAtOnce) {
    const Bytes beginnings[] = {{}, hex("0000"), be32(30) + be32(1) + be16(ANSWER_OK) + zeroes(3)};
    for (const Bytes& beginning : beginnings) {
        connect();
        peer.send(beginning).cut();
        ASSERT_TRUE(waitForDisconnect(ConnectEvent::REASON_SOCKET_ERROR));
        EXPECT_FALSE(fus().isConnected());
        EXPECT_EQ(faultOf([&] { generator().stopTrajectory(); }),
                  "ERR_NOT_CONNECTED: Not connected to the generator");
        EXPECT_EQ(faultOf([&] { connection->sendCommand(CMD_WAIT, nullptr, 0); }),
                  "ERR_NOT_CONNECTED: Not connected to the generator");
        EXPECT_EQ(listener.types(), (std::vector<FUSEvent::EventType>{FUSEvent::EVENT_DISCONNECT}));
        connection.reset();
        listener.clear();
    }
}

TEST_F(LostLink, LeavesWholeWhatIsHeldOfItsDescription) {
    connect();
    const auto held = fus().holdDescription();
    const Board board = fus().getBoard(BOARD_AMPLIFIER, 1);
    const char* const text = fus().getInitString();
    connection.reset();
    peer.cut();
    ASSERT_TRUE(waitForDisconnect(ConnectEvent::REASON_SOCKET_ERROR));
    EXPECT_EQ(board.address(), 1);
    EXPECT_STREQ(board.boardMeasure(0).name(), "tem");
    EXPECT_EQ(text, iniOf(Generation::V31));
    EXPECT_EQ(faultOf([&] { fus().holdDescription(); }),
              "ERR_NOT_CONNECTED: Not connected to the generator");
}

TEST_F(LostLink, IsNoticedWhenItBreaksWhileConnecting) {
    peer.sendIni(iniOf(Generation::V2)).cut();
    fus().registerListener(&listener);
    // whether the break is noticed before the end of the connect is a matter of luck
    const std::string fault =
        faultOf([&] { fus().connect(ScriptedPeer::HOST, peer.port(), LONG_TIMEOUT); });
    EXPECT_TRUE(fault.empty() || fault == "ERR_NOT_CONNECTED: Not connected to the generator")
        << fault;
    EXPECT_TRUE(waitForDisconnect(ConnectEvent::REASON_SOCKET_ERROR));
    EXPECT_FALSE(fus().isConnected());
}

TEST_F(LostLink, WakesWhoWaitsForAnAnswer) {
    connect();
    auto found = std::async(std::launch::async, [&] {
        bool success = false;
        // it may come too late to wait at all, and be told so
        faultOf([&] {
            success = connection->readAnswer(500, ANSWER_OK, nullptr, TIMEOUT_INFINITE, nullptr);
        });
        return success;
    });
    peer.cut();
    EXPECT_FALSE(found.get());
    EXPECT_TRUE(waitForDisconnect(ConnectEvent::REASON_SOCKET_ERROR));
}

TEST_F(LostLink, IsNoticedByAWriteThatFails) {
    connect();
    Latch dead;
    peer.cut().tell(dead);
    ASSERT_TRUE(dead.wait());
    // the first writes may still be taken by the system; the link is dead soon after
    const Bytes payload = zeroes(4000);
    std::string fault;
    while (fault.empty()) {
        fault = faultOf([&] { connection->sendCommand(CMD_WAIT, payload.data(), 4000); });
    }
    EXPECT_TRUE(fault.substr(0, 16) == "ERR_SOCKET_WRITE" ||
                fault.substr(0, 17) == "ERR_NOT_CONNECTED")
        << fault;
    EXPECT_TRUE(waitForDisconnect(ConnectEvent::REASON_SOCKET_ERROR));
}

TEST_F(LostLink, OfAGeneratorThatNoLongerReadsFreesTheSenders) {
    greet(peer, Generation::V2);
    fus().registerListener(&listener);
    ASSERT_TRUE(fus().connect(ScriptedPeer::HOST, peer.port(), 300)); // also bounds a send
    ASSERT_TRUE(listener.waitForType(FUSEvent::EVENT_CONNECT));
    connection = FUSAccess::getConnection(fus());
    Latch done;
    peer.waitFor(done);
    const Bytes payload(1U << 20U, 0);
    std::string fault;
    for (int i = 0; i < 1000 && fault.empty(); ++i) {
        fault = faultOf([&] { connection->sendCommand(CMD_WAIT, payload.data(), 1U << 20U); });
    }
    EXPECT_EQ(fault.substr(0, 16), "ERR_SOCKET_WRITE");
    EXPECT_TRUE(waitForDisconnect(ConnectEvent::REASON_SOCKET_ERROR));
    peer.cut();
    done.open();
}

TEST_F(LostLink, InTheMiddleOfAPacketHoldsUpNoStop) {
    connect();
    const Bytes whole = packet(ANSWER_PARAM, 77, hex("01020304"));
    for (const std::size_t cut : {3U, 12U}) {
        const Bytes head(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(cut));
        const Bytes tail(whole.begin() + static_cast<std::ptrdiff_t>(cut), whole.end());
        peer.send(head).expect(CMD_SEND_HEARTBEAT).send(tail);
        connection->sendCommand(CMD_SEND_HEARTBEAT, nullptr, 0);
        EXPECT_TRUE(connection->readAnswer(77, ANSWER_PARAM, nullptr, LONG_TIMEOUT, nullptr));
    }
}

TEST_F(LostLink, ComesWithAPacketThatDoesNotEnd) {
    greet(peer, Generation::V2);
    fus().registerListener(&listener);
    ASSERT_TRUE(fus().connect(ScriptedPeer::HOST, peer.port(), 200)); // also bounds the silence
    Latch done;
    const LogCapture log(Log::ERROR);
    peer.send(packet(ANSWER_PARAM, 77, hex("0102"))).send(hex("000000")).waitFor(done);
    EXPECT_TRUE(waitForDisconnect(ConnectEvent::REASON_SOCKET_ERROR));
    EXPECT_TRUE(log.hasPart("recv WSAerror="));
    EXPECT_TRUE(log.has("Reader: socket read error (header)"));
    peer.cut();
    done.open();
}

// --- disconnecting -------------------------------------------------------------------------------

TEST_F(LostLink, IsNotReportedForADisconnectOfOnesOwn) {
    connect();
    LogCapture log(Log::INFO);
    fus().disconnect();
    EXPECT_TRUE(waitForDisconnect(ConnectEvent::REASON_USER_REQUEST));
    EXPECT_TRUE(log.has("Disconnecting (reason=user request)"));
    EXPECT_TRUE(log.has("Closing connection"));
    EXPECT_TRUE(
        log.has("    SendCommand (CMD_CLOSE=0x0458, id=" + std::to_string(next + 1) + ", sz=10)"));
    EXPECT_TRUE(log.lines(Log::ERROR).empty());
    log.clear();
    fus().disconnect(); // without a connection: a line, and no event
    EXPECT_EQ(log.texts(), std::vector<std::string>{"Disconnecting (reason=user request)"});
    EXPECT_EQ(listener.types().size(), 1U);
}

TEST_F(LostLink, ByADisconnectEndsAnswersThatAreAwaited) {
    connect();
    Latch waiting;
    auto found = std::async(std::launch::async, [&] {
        bool success = false;
        waiting.open();
        faultOf([&] {
            success = connection->readAnswer(500, ANSWER_OK, nullptr, TIMEOUT_INFINITE, nullptr);
        });
        return success;
    });
    ASSERT_TRUE(waiting.wait());
    fus().disconnect();
    EXPECT_FALSE(found.get());
}

TEST_F(LostLink, MayBeWantedByAListenerWhileOthersSend) {
    RecordingListener closer([&](FUSEvent& event) {
        if (event.type() == FUSEvent::EVENT_EXEC_START) {
            fus().disconnect();
        }
    });
    for (int round = 0; round < 5; ++round) {
        connect();
        fus().registerListener(&closer);
        peer.run("read what comes", [] {});
        std::atomic<bool> ended{false};
        std::thread sender([&] {
            while (!ended) {
                ended =
                    !faultOf([&] { connection->sendCommand(CMD_TRAJ_STOP, nullptr, 0); }).empty();
            }
        });
        FUSAccess::notifyListeners(fus(), new ExecStartEvent(1, 1, 0, EXEC_ELEC_NORMAL,
                                                             EXEC_TRIGGER_IGNORED, EXEC_MECH_NONE));
        EXPECT_TRUE(waitForDisconnect(ConnectEvent::REASON_USER_REQUEST));
        sender.join();
        fus().unregisterListener(&closer);
        connection.reset();
        listener.clear();
        peer.expectEnd();
    }
}

TEST_F(LostLink, IsClosedOnceWhenManyThreadsDisconnect) {
    connect();
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] { fus().disconnect(); });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_TRUE(waitForDisconnect(ConnectEvent::REASON_USER_REQUEST));
    EXPECT_FALSE(fus().isConnected());
    EXPECT_EQ(listener.types().size(), 1U);
}
