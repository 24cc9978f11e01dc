#include "fus/FUSException.h"
#include "fus/P_GProtocol.h"
#include "fus/P_TCPClient.h"
#include "platform/platform.h"
#include "support/Bytes.h"
#include "support/LogCapture.h"
#include "support/ScriptedPeer.h"
#include "support/SystemNumbers.h"

#include <gtest/gtest.h>

#include <thread>

namespace fus {
namespace {

using namespace fus::test;

constexpr unsigned TIMEOUT = 10000;
/// More than the system buffers between two sockets.
constexpr std::size_t FLOOD = 64 * 1024 * 1024;

class TCPClientTest : public testing::Test {
protected:
    void connect() {
        ASSERT_TRUE(client.connect(IPv4Address(ScriptedPeer::HOST), peer.port(), TIMEOUT));
    }

    /// Reads so many bytes; fewer come back when fewer came.
    Bytes read(std::size_t size) {
        Bytes bytes(size);
        const int count = client.read(bytes.data(), size);
        bytes.resize(static_cast<std::size_t>(count));
        return bytes;
    }

    int write(const Bytes& bytes) { return client.write(bytes.data(), bytes.size()); }

    ScriptedPeer peer;
    TCPClient client;
};

TEST_F(TCPClientTest, PingsThenConnectsAndSaysSo) {
    LogCapture log(Log::VERBOSE);
    connect();
    const LogLines lines = log.lines();
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_EQ(lines[0], (LogLine{Log::INFO, "Ping '127.0.0.1' waiting 10000 ms"}));
    EXPECT_EQ(lines[1].level, Log::VERBOSE);
    EXPECT_PRED2(isLike, lines[1].text,
                 "  received pong from 127.0.0.1 (status: 0, roundtrip: # ms)");
    EXPECT_EQ(lines[2].level, Log::INFO);
    EXPECT_PRED2(isLike, lines[2].text,
                 "Socket(#) connected to 127.0.0.1@" + std::to_string(peer.port()));
    EXPECT_TRUE(client.isConnected());
    EXPECT_EQ(client.remotePort(), peer.port());
    EXPECT_EQ(client.remoteAddress().toString(), "127.0.0.1");
    EXPECT_NE(client.localPort(), 0);
}

TEST_F(TCPClientTest, RefusesAnAddressThatIsNone) {
    for (const char* name : {"", "no.such.host.invalid", static_cast<const char*>(nullptr)}) {
        LogCapture log(Log::INFO);
        const IPv4Address address(name);
        EXPECT_EQ(address.value(), 0U);
        EXPECT_FALSE(client.connect(address, peer.port(), TIMEOUT));
        EXPECT_EQ(log.lines(), (LogLines{{Log::ERROR, "connect failed: bad socket"}}));
    }
    EXPECT_FALSE(client.isConnected());
}

TEST_F(TCPClientTest, DoesNotTryTcpWhereNobodyAnswersThePing) {
    LogCapture log(Log::INFO);
    // the system lets nobody send to this address, whatever network there is
    EXPECT_FALSE(client.connect(IPv4Address("255.255.255.255"), peer.port(), 50));
    const LogLines lines = log.lines();
    ASSERT_EQ(lines.size(), 2U) << testing::PrintToString(lines);
    EXPECT_EQ(lines[0].text, "Ping '255.255.255.255' waiting 50 ms");
    EXPECT_PRED2(isLike, lines[1].text, "Ping[255.255.255.255]: *Error (#: *)");
    EXPECT_EQ(lines[1].level, Log::ERROR);
}

TEST_F(TCPClientTest, ReportsAPortWhereNobodyListens) {
    peer.finish(); // its port is free again
    LogCapture log(Log::ERROR);
    EXPECT_FALSE(client.connect(IPv4Address(ScriptedPeer::HOST), peer.port(), TIMEOUT));
    ASSERT_EQ(log.lines().size(), 1U);
    // systems differ in whether they refuse at once
    EXPECT_TRUE(isLike(log.texts()[0], "Socket(#) connect failed adr=127.0.0.1 port=" +
                                           std::to_string(peer.port()) + " error=#: *") ||
                isLike(log.texts()[0], "Connection failed: error #: *"))
        << log.texts()[0];
    EXPECT_FALSE(client.isConnected());
}

TEST_F(TCPClientTest, CallsItselfConnectedWithATimeoutOfZeroThoughNothingWasSent) {
    LogCapture log(Log::INFO);
    EXPECT_TRUE(client.connect(IPv4Address(ScriptedPeer::HOST), peer.port(), 0));
    EXPECT_TRUE(client.isConnected());
    ASSERT_EQ(log.lines().size(), 1U);
    EXPECT_TRUE(log.hasPart("connected to 127.0.0.1@"));
    log.clear();
    EXPECT_THROW(client.read32(), FUSException);
    EXPECT_TRUE(log.hasPart("recv WSAerror="));
}

TEST_F(TCPClientTest, PutsBytesTogetherHoweverTheyArrive) {
    peer.sendByteByByte(hex("00 00 00 0E 12 34 AA BB CC")).cut();
    connect();
    EXPECT_EQ(client.read32(), 14U);
    EXPECT_EQ(client.read16(), 0x1234U);
    EXPECT_EQ(read(5), hex("AA BB CC")) << "what came before the end of the stream";
    EXPECT_EQ(client.totalReceived(), 9U);
    LogCapture log;
    EXPECT_EQ(read(1), Bytes{});
    EXPECT_THROW(client.read16(), FUSException);
    EXPECT_EQ(log.lines(), (LogLines{{Log::EXCEPTION, "ERR_SOCKET_READ"}}))
        << "a direction that has ended isn't asked again";
}

TEST_F(TCPClientTest, CountsAndLogsWhatIsHandedOutNotWhatHasArrived) {
    Latch sent;
    peer.send(hex("01 02 03 04 05 06 07")).tell(sent);
    connect();
    ASSERT_TRUE(sent.wait());
    ASSERT_EQ(client.waitReadable(TIMEOUT), 1);
    EXPECT_FALSE(client.hasBufferedData());
    LogCapture log(Log::DEBUG);
    EXPECT_EQ(read(3), hex("01 02 03"));
    EXPECT_EQ(client.totalReceived(), 3U);
    EXPECT_TRUE(client.hasBufferedData());
    EXPECT_EQ(client.waitReadable(0), 0) << "the rest is here, the socket has no more";
    EXPECT_EQ(read(4), hex("04 05 06 07"));
    EXPECT_FALSE(client.hasBufferedData());
    EXPECT_EQ(client.waitReadable(0), 0);
    EXPECT_EQ(log.lines(), (LogLines{{Log::DEBUG, "  Recv    3 /   3 [ 01 02 03 ]"},
                                     {Log::DEBUG, "  Recv    4 /   4 [ 04 05 06 07 ]"}}));
}

TEST_F(TCPClientTest, HandsOutMoreThanItsBufferHolds) {
    Bytes sent(300000);
    for (std::size_t i = 0; i < sent.size(); ++i) {
        sent[i] = static_cast<unsigned char>(i * 7 + (i >> 8U));
    }
    peer.send(sent);
    connect();
    Bytes got;
    for (const std::size_t size : {1U, 65535U, 65536U, 8192U, 160736U}) {
        got += read(size);
    }
    EXPECT_TRUE(got == sent);
}

TEST_F(TCPClientTest, DumpsBytesOnlyAtTheLevelThatShowsThem) {
    struct Case {
        Log::Level level;
        LogLines lines;
    };
    const Case cases[] = {
        {Log::DEBUG,
         {{Log::DEBUG, "  Sent    2 /   2 [ 0F A0 ]"},
          {Log::DEBUG, "  Recv    2 /   2 [ 0F A0 ]"}}},
        {Log::VERBOSE, {{Log::VERBOSE, "  Recv   2 bytes..."}}},
        {Log::INFO, {}},
    };
    connect();
    for (const Case& c : cases) {
        peer.expectRaw(hex("0F A0")).send(hex("0F A0"));
        LogCapture log(c.level);
        EXPECT_EQ(write(hex("0F A0")), 2);
        EXPECT_EQ(read(2), hex("0F A0"));
        EXPECT_EQ(log.lines(), c.lines) << "level " << c.level;
    }
}

TEST_F(TCPClientTest, CutsALongDump) {
    std::string full;
    for (int i = 0; i < 340; ++i) {
        full += " 5A";
    }
    connect();
    struct Case {
        std::size_t size;
        const char* end;
    };
    for (const Case& c : {Case{340, " ]"}, Case{341, " .. ]"}, Case{2000, " .. ]"}}) {
        peer.expectRaw(Bytes(c.size, 0x5A));
        LogCapture log;
        write(Bytes(c.size, 0x5A));
        char counts[64];
        std::snprintf(counts, sizeof counts, "  Sent %4d /%4d [", static_cast<int>(c.size),
                      static_cast<int>(c.size));
        EXPECT_EQ(log.texts(), std::vector<std::string>{counts + full + c.end});
    }
}

TEST_F(TCPClientTest, SendsHeaderAndPayloadAsOneButLogsTwoWrites) {
    const Bytes header = hex("0000000D 00000007 0458");
    peer.expectRaw(header + hex("01 02 03")).expectRaw(header).expectRaw(header);
    connect();
    LogCapture log;
    EXPECT_TRUE(client.writeGather(header.data(), 10, hex("01 02 03").data(), 3));
    EXPECT_TRUE(client.writeGather(header.data(), 10, nullptr, 0));
    const Bytes large(20000, 0x11); // goes out separately
    EXPECT_TRUE(client.writeGather(header.data(), 10, large.data(), large.size()));
    peer.expectRaw(large);
    const auto lines = log.texts();
    ASSERT_GE(lines.size(), 5U);
    EXPECT_EQ(lines[0], "  Sent   10 /  10 [ 00 00 00 0D 00 00 00 07 04 58 ]");
    EXPECT_EQ(lines[1], "  Sent    3 /   3 [ 01 02 03 ]");
    EXPECT_EQ(lines[2], lines[0]);
    EXPECT_EQ(lines[3], lines[0]);
    EXPECT_EQ(lines[4].rfind("  Sent 20000 /20000 [ 11 11", 0), 0U);
    EXPECT_EQ(client.totalSent(), 10U + 3U + 10U + 10U + 20000U);
}

TEST_F(TCPClientTest, TakesAResetAsTheLossOfBothItsDirections) {
    Latch written;
    peer.awaitConnection().waitFor(written).cut(); // unread bytes make the system reset
    connect();
    ASSERT_EQ(write(hex("01 02")), 2);
    written.open();
    ASSERT_TRUE(peer.settle());
    LogCapture log(Log::INFO);
    EXPECT_EQ(read(1), Bytes{});
    const std::size_t told = log.lines().size();
    EXPECT_TRUE(told == 1 || (told == 0 && SYSTEM_NUMBERS.resetMayLookLikeAnEnd));
    EXPECT_EQ(log.hasPart("recv WSAerror="), told == 1);
    EXPECT_EQ(read(1), Bytes{});
    EXPECT_EQ(log.lines().size(), told) << "a lost connection isn't asked again";
    write(hex("03"));
    EXPECT_EQ(write(hex("04")), 0);
    EXPECT_TRUE(log.hasPart("send WSAerror="));
}

TEST_F(TCPClientTest, GivesUpAReadOrWriteWhoseTimeHasPassedForGood) {
    Latch done;
    peer.awaitConnection().waitFor(done).cut();
    connect();
    LogCapture log(Log::INFO);
    client.setReceiveTimeout(50);
    EXPECT_EQ(read(4), Bytes{});
    EXPECT_EQ(log.lines().size(), 1U);
    EXPECT_TRUE(log.hasPart("recv WSAerror="));
    EXPECT_EQ(read(4), Bytes{});
    EXPECT_EQ(log.lines().size(), 1U);

    client.setSendTimeout(50);
    EXPECT_LT(write(Bytes(FLOOD)), static_cast<int>(FLOOD));
    EXPECT_EQ(log.lines().size(), 2U);
    EXPECT_TRUE(log.hasPart("send WSAerror="));
    EXPECT_EQ(write(hex("01")), 0);
    EXPECT_EQ(log.lines().size(), 2U);
    done.open();
}

TEST_F(TCPClientTest, ShutsADirectionUnderAThreadThatIsBlockedInIt) {
    Latch writing;
    Latch done;
    peer.expectRaw(zeroes(1)).tell(writing).waitFor(done).cut();
    connect();
    LogCapture quiet(Log::NONE);
    int received = -1;
    int sent = -1;
    std::thread reader([&] {
        unsigned char byte = 0;
        received = client.read(&byte, 1);
    });
    std::thread writer([&] { sent = write(Bytes(FLOOD)); });
    EXPECT_TRUE(writing.wait());
    client.shutdownRead();
    client.shutdownWrite();
    reader.join();
    writer.join();
    EXPECT_EQ(received, 0);
    EXPECT_LT(sent, static_cast<int>(FLOOD));
    done.open();
}

TEST_F(TCPClientTest, ReadsAndWritesAtOnceFromTwoThreads) {
    constexpr int ROUNDS = 500;
    const Bytes message = hex("0000000C 00000001 0515 AABB");
    peer.awaitConnection();
    for (int i = 0; i < ROUNDS; ++i) {
        peer.send(message).expectRaw(message);
    }
    connect();
    LogCapture log(Log::DEBUG);
    std::thread reader([&] {
        for (int i = 0; i < ROUNDS; ++i) {
            EXPECT_EQ(read(12), message);
        }
    });
    for (int i = 0; i < ROUNDS; ++i) {
        EXPECT_EQ(write(message), 12);
    }
    reader.join();
    EXPECT_EQ(client.totalSent(), 12U * ROUNDS);
    EXPECT_EQ(client.totalReceived(), 12U * ROUNDS);
}

TEST_F(TCPClientTest, TellsItsTotalsWhenItClosesAndClosesOnce) {
    peer.expectRaw(hex("01 02 03")).send(hex("04 05")).expectEnd();
    connect();
    write(hex("01 02 03"));
    read(2);
    LogCapture log(Log::INFO);
    client.close();
    client.close();
    ASSERT_EQ(log.lines().size(), 1U);
    EXPECT_PRED2(isLike, log.texts()[0], "Socket(#) closed, sent: 3, recv: 2 bytes");
    EXPECT_EQ(log.lines()[0].level, Log::INFO);
    EXPECT_EQ(write(hex("01")), 0);
    EXPECT_EQ(read(1), Bytes{});
    EXPECT_FALSE(client.isConnected());
}

TEST_F(TCPClientTest, RefusesOptionsThatTheSystemRefusesAndAllOfThemOnceClosed) {
    LogCapture log;
    std::int32_t value = 1;
    try {
        client.setOption(-12345, 1, &value, sizeof value);
        ADD_FAILURE() << "accepted";
    } catch (const FUSException& e) {
        EXPECT_EQ(e.errorCode(), ERR_SOCKET_OPTION);
    }
    ASSERT_EQ(log.lines().size(), 3U);
    EXPECT_PRED2(isLike, log.texts()[0], "WSAerror=#, *");
    EXPECT_EQ(log.lines()[2], (LogLine{Log::EXCEPTION, "ERR_SOCKET_OPTION"}));

    client.setNoDelay(true);
    value = 0;
    client.getOption(platform::OPTION_NO_DELAY, &value, sizeof value, platform::LEVEL_TCP);
    EXPECT_NE(value, 0);
    client.close();
    EXPECT_THROW(client.setNoDelay(true), FUSException);
    log.clear();
    EXPECT_FALSE(client.bind(IPv4Address::ANY, 0));
    EXPECT_EQ(log.lines(), (LogLines{{Log::ERROR, "bind: bad socket"}}));
}

TEST_F(TCPClientTest, ReportsAPortThatIsTakenWhenItBinds) {
    LogCapture log;
    EXPECT_FALSE(client.bind(IPv4Address(platform::LOOPBACK_ADDRESS), peer.port()));
    ASSERT_EQ(log.lines().size(), 1U);
    EXPECT_PRED2(isLike, log.texts()[0],
                 "bind failed (addr=127.0.0.1 port=" + std::to_string(peer.port()) +
                     ") desc=#, error=#: *");
}

} // namespace
} // namespace fus
