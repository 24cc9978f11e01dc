#include "platform/platform.h"
#include "platform/icmpPacket.h"
#include "platform/kernelVersion.h"
#include "support/Bytes.h"
#include "support/Latch.h"
#include "support/SystemNumbers.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <regex>
#include <thread>
#include <vector>

namespace fus::platform {
namespace {

using namespace fus::test;

constexpr unsigned AMPLE_MS = 20000;

/// Two connected ends over the loopback interface.
class SocketPairTest : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(startNetwork(), 0);
        const Socket listener = openTcpSocket();
        ASSERT_EQ(bindSocket(listener, LOOPBACK_ADDRESS, 0), 0);
        ASSERT_EQ(listenSocket(listener, 1), 0);
        std::uint32_t address = 0;
        ASSERT_EQ(socketName(listener, address, m_port), 0);
        EXPECT_EQ(address, LOOPBACK_ADDRESS);
        m_near = openTcpSocket();
        ASSERT_EQ(connectSocket(m_near, LOOPBACK_ADDRESS, m_port), 0) << lastSocketError();
        std::uint16_t port = 0;
        m_far = acceptSocket(listener, address, port);
        ASSERT_NE(m_far, NO_SOCKET);
        std::uint16_t nearPort = 0;
        EXPECT_EQ(socketName(m_near, address, nearPort), 0);
        EXPECT_EQ(port, nearPort);
        closeSocket(listener);
    }

    void TearDown() override {
        for (const Socket socket : {m_near, m_far})
            if (socket != NO_SOCKET)
                closeSocket(socket);
        EXPECT_EQ(stopNetwork(), 0);
    }

    Socket m_near = NO_SOCKET;
    Socket m_far = NO_SOCKET;
    std::uint16_t m_port = 0;
};

TEST_F(SocketPairTest, MovesBytesAndTellsTheEndOfTheStream) {
    char buffer[8] = {};
    EXPECT_EQ(waitReadable(m_far, 0), 0);
    EXPECT_EQ(send(m_near, "hello", 5), 5);
    EXPECT_EQ(waitReadable(m_far, AMPLE_MS), 1);
    EXPECT_EQ(receive(m_far, buffer, sizeof(buffer)), 5);
    EXPECT_STREQ(buffer, "hello");
    EXPECT_EQ(shutdownWrite(m_near), 0);
    EXPECT_EQ(waitReadable(m_far, AMPLE_MS), 1);
    EXPECT_EQ(receive(m_far, buffer, sizeof(buffer)), 0);
}

TEST_F(SocketPairTest, CountsAReceiveTimeoutAsALostConnectionButNotAnEmptyNonBlockingSocket) {
    std::uint32_t milliseconds = 1030;
    int length = sizeof(milliseconds);
    const int level = SOCKET_LEVEL_SOCKET;
    ASSERT_EQ(setSocketOption(m_near, level, OPTION_RECEIVE_TIMEOUT, &milliseconds, length), 0);
    milliseconds = 0;
    EXPECT_EQ(getSocketOption(m_near, level, OPTION_RECEIVE_TIMEOUT, &milliseconds, length), 0);
    // the system may round it to its own tick
    EXPECT_NEAR(milliseconds, 1030, 20);
    milliseconds = 30;
    ASSERT_EQ(setSocketOption(m_near, level, OPTION_RECEIVE_TIMEOUT, &milliseconds, length), 0);

    char buffer[4];
    const std::uint64_t before = monotonicNanoseconds();
    EXPECT_EQ(receive(m_near, buffer, sizeof(buffer)), -1);
    const int timedOut = lastSocketError();
    EXPECT_GE(monotonicNanoseconds() - before, 25'000'000U);
    EXPECT_TRUE(isConnectionLost(timedOut));
    EXPECT_FALSE(isWouldBlock(timedOut));

    ASSERT_EQ(setBlocking(m_near, false), 0);
    EXPECT_EQ(receive(m_near, buffer, sizeof(buffer)), -1);
    const int wouldBlock = lastSocketError();
    EXPECT_TRUE(isWouldBlock(wouldBlock));
    EXPECT_FALSE(isConnectionLost(wouldBlock));
}

TEST_F(SocketPairTest, SurvivesSendingToAPeerThatIsGone) {
    closeSocket(m_far);
    m_far = NO_SOCKET;
    const std::vector<char> data(65536);
    int result = 0;
    for (int i = 0; i < 1000 && result >= 0; ++i)
        result = send(m_near, data.data(), data.size());
    ASSERT_EQ(result, -1);
    EXPECT_TRUE(isConnectionLost(lastSocketError())) << socketErrorText(lastSocketError());
}

TEST_F(SocketPairTest, WakesWhoReadsOrWaitsToReadWhenItsReadSideIsShut) {
    char byte = 0;
    const std::function<int()> calls[] = {
        [&] { return receive(m_near, &byte, 1) == 0 || isConnectionLost(lastSocketError()); },
        [&] { return waitReadable(m_far, AMPLE_MS); },
    };
    const Socket sockets[] = {m_near, m_far};
    for (std::size_t i = 0; i < std::size(calls); ++i) {
        SCOPED_TRACE(i);
        std::atomic<int> result{-2};
        std::thread reader([&] { result = calls[i](); });
        // again and again: the call may not have begun yet
        for (std::uint64_t begin = tick64(); result == -2 && tick64() - begin < AMPLE_MS;) {
            shutdownRead(sockets[i]);
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        reader.join();
        EXPECT_EQ(result, 1);
    }
}

TEST_F(SocketPairTest, FailsWithTheNumbersOfItsSystem) {
    const SystemNumbers& numbers = SYSTEM_NUMBERS;
    const std::uint32_t timeout = 1;
    const Socket idle = openTcpSocket();
    ASSERT_EQ(bindSocket(idle, LOOPBACK_ADDRESS, 0), 0);
    std::uint32_t address = 0;
    std::uint16_t port = 0;
    ASSERT_EQ(socketName(idle, address, port), 0);
    const Socket other = openTcpSocket();
    char byte = 0;
    struct Case {
        const char* what;
        int expected;
        std::function<int()> call;
    };
    const Case cases[] = {
        {"no time left", numbers.timedOut,
         [&] {
             setSocketOption(m_near, SOCKET_LEVEL_SOCKET, OPTION_RECEIVE_TIMEOUT, &timeout, 4);
             return receive(m_near, &byte, 1);
         }},
        {"nothing there", numbers.wouldBlock,
         [&] {
             setBlocking(m_near, false);
             return receive(m_near, &byte, 1);
         }},
        {"a direction that is shut", numbers.shut,
         [&] {
             shutdownWrite(m_near);
             return send(m_near, &byte, 1);
         }},
        {"never connected", numbers.notConnected, [&] { return receive(other, &byte, 1); }},
        {"a port in use", numbers.addressInUse,
         [&] { return bindSocket(other, LOOPBACK_ADDRESS, port); }},
        {"nobody listens", numbers.refused,
         [&] { return connectSocket(other, LOOPBACK_ADDRESS, port); }},
        {"no socket", numbers.notASocket,
         [&] {
             closeSocket(idle);
             closeSocket(other);
             return setBlocking(other, true);
         }},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(c.call(), -1) << c.what;
        EXPECT_EQ(lastSocketError(), c.expected) << c.what;
    }
    for (const int lost : numbers.lost)
        EXPECT_TRUE(isConnectionLost(lost)) << lost;
    for (const int kept : {0, numbers.wouldBlock, numbers.addressInUse, numbers.refused,
                           numbers.notASocket, numbers.busy, numbers.badAddress})
        EXPECT_FALSE(isConnectionLost(kept)) << kept;
    EXPECT_TRUE(isWouldBlock(numbers.wouldBlock));
    EXPECT_TRUE(isBusy(numbers.busy));
    EXPECT_TRUE(isBadAddress(numbers.badAddress));
}

TEST_F(SocketPairTest, LetsAPortBeListenedOnAgainButNeverTwice) {
    const auto listenOn = [](std::uint16_t port) {
        const Socket socket = openTcpSocket();
        const int on = 1;
        EXPECT_EQ(setSocketOption(socket, SOCKET_LEVEL_SOCKET, OPTION_REUSE_ADDRESS, &on, 4), 0);
        if (bindSocket(socket, LOOPBACK_ADDRESS, port) == 0 && listenSocket(socket, 1) == 0)
            return socket;
        closeSocket(socket);
        return NO_SOCKET;
    };
    const Socket first = listenOn(0);
    std::uint32_t address = 0;
    std::uint16_t port = 0;
    ASSERT_EQ(socketName(first, address, port), 0);
    const Socket client = openTcpSocket();
    ASSERT_EQ(connectSocket(client, LOOPBACK_ADDRESS, port), 0);
    std::uint16_t clientPort = 0;
    closeSocket(acceptSocket(first, address, clientPort)); // which the system remembers for a while
    closeSocket(first);
    closeSocket(client);

    const Socket second = listenOn(port);
    EXPECT_NE(second, NO_SOCKET) << socketErrorText(lastSocketError());
    EXPECT_EQ(listenOn(port), NO_SOCKET);
    closeSocket(second);
}

TEST(PlatformTest, ReadsAndWritesAddresses) {
    struct Case {
        const char* name;
        std::uint32_t address;
    };
    ASSERT_EQ(startNetwork(), 0);
    for (const Case& c : {Case{"127.0.0.1", 0x7F000001}, Case{"localhost", 0x7F000001},
                          Case{"192.168.1.250", 0xC0A801FA}, Case{"", 0}, Case{nullptr, 0},
                          Case{"256.1.1.1.1", 0}, Case{"not a host name", 0}})
        EXPECT_EQ(resolveIPv4(c.name), c.address) << (c.name != nullptr ? c.name : "null");
    EXPECT_EQ(formatIPv4(0xC0A801FA), "192.168.1.250");
    EXPECT_EQ(formatIPv4(0), "0.0.0.0");
    EXPECT_EQ(stopNetwork(), 0);
}

TEST(PlatformTest, TellsItsSystem) {
    EXPECT_EQ(systemType(), SYSTEM_NUMBERS.type);
    EXPECT_STREQ(systemTypeName(), SYSTEM_NUMBERS.name);
    EXPECT_TRUE(std::regex_match(systemName(), std::regex(SYSTEM_NUMBERS.systemName)))
        << systemName();
}

TEST(KernelVersionTest, NamesTheWorkstationAndTheServerOfEachVersion) {
    struct Case {
        KernelVersion version;
        bool is64Bits;
        const char* name;
    };
    for (const Case& c : {
             Case{{5, 0, 2195, 1}, false, "Windows 2000 (5.0.2195.1) 32bits"},
             Case{{5, 1, 2600, 0}, false, "Windows XP (5.1.2600.0) 32bits"},
             Case{{5, 2, 3790, 0}, true, "Windows ?? or Server 2003 (5.2.3790.0) 64bits"},
             Case{
                 {6, 0, 6001, 18000}, true, "Windows Vista or Server 2008 (6.0.6001.18000) 64bits"},
             Case{{6, 1, 7601, 2}, true, "Windows 7 or Server 2008 R2 (6.1.7601.2) 64bits"},
             Case{{6, 2, 9200, 0}, false, "Windows 8 or Server 2012 (6.2.9200.0) 32bits"},
             Case{{6, 3, 9600, 0}, true, "Windows 8.1 or Server 2012 R2 (6.3.9600.0) 64bits"},
             Case{{10, 0, 19041, 1}, true, "Windows 10 or Server 2016 (10.0.19041.1) 64bits"},
             Case{{10, 1, 0, 0}, true, "Windows ?? (10.1.0.0) 64bits"},
             Case{{4, 0, 0, 0}, false, "Windows ?? (4.0.0.0) 32bits"},
         })
        EXPECT_EQ(windowsName(c.version, c.is64Bits), c.name);
    EXPECT_EQ(windowsName(true), "Windows 64bits");
    EXPECT_EQ(windowsName(false), "Windows 32bits");
}

class EchoTest : public testing::Test {
protected:
    static EchoResult echo(std::uint32_t address, unsigned timeoutMs) {
        return icmpEcho(address, PAYLOAD, sizeof(PAYLOAD), 56, timeoutMs);
    }

    void SetUp() override {
        if (echo(LOOPBACK_ADDRESS, AMPLE_MS).stage == EchoStage::CANNOT_OPEN)
            GTEST_SKIP() << "this user may not send echo requests";
    }

    static constexpr char PAYLOAD[16] = "Are you there?";
};

TEST_F(EchoTest, IsAnsweredByTheLoopbackInterface) {
    const EchoResult result = echo(LOOPBACK_ADDRESS, AMPLE_MS);
    EXPECT_EQ(result.stage, EchoStage::REPLIED) << result.errorText;
    EXPECT_EQ(result.status, 0);
    EXPECT_GE(result.roundTrip, 0);
}

TEST_F(EchoTest, FindsItsOwnReplyAmongThoseOfOthers) {
    std::vector<std::thread> threads;
    std::atomic<int> replies{0};
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&] {
            for (int i = 0; i < 20; ++i)
                if (echo(LOOPBACK_ADDRESS, AMPLE_MS).stage == EchoStage::REPLIED)
                    ++replies;
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(replies, 80);
}

TEST_F(EchoTest, FailsWithAnErrorOfTheSystem) {
    struct Case {
        std::uint32_t address;
        unsigned timeoutMs;
    };
    // the system refuses to send to everybody; and nobody can answer within no time
    for (const Case& c : {Case{0xFFFFFFFF, AMPLE_MS}, Case{LOOPBACK_ADDRESS, 0}}) {
        SCOPED_TRACE(formatIPv4(c.address));
        const EchoResult result = echo(c.address, c.timeoutMs);
        EXPECT_EQ(result.stage, EchoStage::FAILED);
        EXPECT_NE(result.error, 0);
        EXPECT_NE(result.errorText, "");
    }
}

TEST(IcmpPacketTest, BuildsARequestWithItsChecksum) {
    const EchoRequest even = {0x1234, 0x0001, "ab", 2};
    const EchoRequest odd = {0x1234, 0x0001, "abc", 3};
    EXPECT_EQ(buildEchoRequest(even), hex("08 00 8468 1234 0001 6162"));
    EXPECT_EQ(buildEchoRequest(odd), hex("08 00 2168 1234 0001 616263"));
}

TEST(IcmpPacketTest, TellsItsReplyFromForeignPacketsAndDeliveryErrors) {
    const std::string ip = "45000000 00000000 00000000 7F000001 7F000001 ";
    const std::string ipWithOptions = "46000000 00000000 00000000 7F000001 7F000001 00000000 ";
    struct Case {
        std::string bytes;
        EchoMatch match;
        int status;
    };
    const Case cases[] = {
        {"00 00 0000 1234 0001 6162", EchoMatch::ECHO, 0},
        {"08 00 0000 1234 0001 6162", EchoMatch::FOREIGN, 0}, // the request itself
        {"00 00 0000 1235 0001 6162", EchoMatch::FOREIGN, 0},
        {"00 00 0000 1234 0002 6162", EchoMatch::FOREIGN, 0},
        {"00 00 0000 1234 0001 6163", EchoMatch::FOREIGN, 0},
        {"00 00 0000 1234 0001 616200", EchoMatch::FOREIGN, 0},
        {"00 00 0000 1234 0001 61", EchoMatch::FOREIGN, 0},
        {"00 00 0000", EchoMatch::FOREIGN, 0},
        {"03 01 0000 00000000 " + ip + "08 00 8468 1234 0001", EchoMatch::ERROR, 11003},
        {"03 00 0000 00000000 " + ipWithOptions + "08 00 8468 1234 0001", EchoMatch::ERROR, 11002},
        {"0B 00 0000 00000000 " + ip + "08 00 8468 1234 0001 61", EchoMatch::ERROR, 11013},
        {"03 0D 0000 00000000 " + ip + "08 00 8468 1234 0001", EchoMatch::ERROR, 11003},
        {"03 01 0000 00000000 " + ip + "08 00 8468 1234 0002", EchoMatch::FOREIGN, 0},
        {"03 01 0000 00000000 " + ip + "08 00 8468 1234 00", EchoMatch::FOREIGN, 0},
        {"05 01 0000 00000000 " + ip + "08 00 8468 1234 0001", EchoMatch::FOREIGN, 0},
        {"03 01 0000 00000000 4F000000", EchoMatch::FOREIGN, 0},
    };
    const EchoRequest request = {0x1234, 0x0001, "ab", 2};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.bytes);
        const Bytes message = hex(c.bytes);
        EchoStatus status = {0, ""};
        EXPECT_EQ(matchEchoReply(request, message.data(), message.size(), false, status), c.match);
        EXPECT_EQ(status.status, c.status);
    }
    const Bytes otherId = hex("00 00 0000 9999 0001 6162");
    EchoStatus status = {0, ""};
    EXPECT_EQ(matchEchoReply(request, otherId.data(), otherId.size(), true, status),
              EchoMatch::ECHO);
}

struct Body {
    Latch proceed;
    std::atomic<std::uint32_t> id{0};
};

std::uint32_t runBody(void* argument) {
    auto& body = *static_cast<Body*>(argument);
    body.id = currentThreadId();
    body.proceed.wait();
    return 3;
}

TEST(SystemThreadTest, HasItsIdFromBirthAndIsSignalledAtItsEnd) {
    Body body;
    const auto thread = SystemThread::create(&runBody, &body, 1);
    ASSERT_NE(thread, nullptr);
    EXPECT_NE(thread->id(), 0U);
    EXPECT_NE(thread->id(), currentThreadId());
    EXPECT_EQ(thread->wait(20), SystemThread::Wait::TIMED_OUT);
    EXPECT_EQ(body.id, 0U);
    EXPECT_TRUE(thread->resume());
    EXPECT_EQ(thread->wait(0), SystemThread::Wait::TIMED_OUT);
    body.proceed.open();
    EXPECT_EQ(thread->wait(AMPLE_MS), SystemThread::Wait::SIGNALLED);
    EXPECT_EQ(body.id, thread->id());
    EXPECT_EQ(thread->exitCode(), 3U);
}

} // namespace
} // namespace fus::platform
