#include "support/ScriptedPeer.h"
#include "fus/P_GProtocol.h"
#include "fus/P_TCPClient.h"
#include "support/LogCapture.h"

#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

namespace fus::test {
namespace {

using namespace fus::gprotocol;

/// Plays a script, which ends in a step that tells the latch or in a failure, to a library that
/// sends these bytes.
void play(const std::function<void(ScriptedPeer&)>& script, const Bytes& sent) {
    const LogCapture quiet(Log::NONE);
    ScriptedPeer peer;
    peer.setPatience(std::chrono::seconds(5));
    TCPClient client;
    ASSERT_TRUE(client.connect(IPv4Address(ScriptedPeer::HOST), peer.port(), 5000));
    client.write(sent.data(), sent.size());
    client.shutdownWrite();
    script(peer);
    peer.finish();
}

TEST(ScriptedPeerTest, IsContentWithTheScriptItWasGiven) {
    play(
        [](ScriptedPeer& peer) {
            peer.allow(CMD_SEND_HEARTBEAT);
            peer.expect(CMD_WAIT, be32(7)).expect(CMD_TRAJ_STOP).answerTo(0, ANSWER_OK).expectEnd();
        },
        packet(CMD_WAIT, 3, be32(7)) + packet(CMD_SEND_HEARTBEAT, 4) + packet(CMD_TRAJ_STOP, 5) +
            packet(CMD_SEND_HEARTBEAT, 6));
}

TEST(ScriptedPeerTest, FailsTheTestOverAWrongPacketAndNamesTheStepsBehindIt) {
    testing::TestPartResultArray failures;
    {
        const testing::ScopedFakeTestPartResultReporter reporter(
            testing::ScopedFakeTestPartResultReporter::INTERCEPT_ONLY_CURRENT_THREAD, &failures);
        play([](ScriptedPeer& peer) { peer.expect(CMD_WAIT, be32(8)).answer(ANSWER_OK); },
             packet(CMD_WAIT, 3, be32(7)));
    }
    ASSERT_EQ(failures.size(), 2);
    EXPECT_NE(std::string(failures.GetTestPartResult(0).message())
                  .find("expected CMD_WAIT [00 00 00 08]\n     but got CMD_WAIT id=3 payload "
                        "[00 00 00 07]"),
              std::string::npos)
        << failures.GetTestPartResult(0).message();
    EXPECT_NE(std::string(failures.GetTestPartResult(1).message())
                  .find("step not reached: answer with type 1301"),
              std::string::npos);
}

TEST(ScriptedPeerTest, FailsTheTestOverWhatItWasNotToldToExpect) {
    EXPECT_NONFATAL_FAILURE(
        play([](ScriptedPeer& peer) { peer.expect(CMD_WAIT); }, packet(CMD_WAIT, 3) + hex("AB CD")),
        "bytes left unread: [AB CD]");
    EXPECT_NONFATAL_FAILURE(play([](ScriptedPeer& peer) { peer.expectEnd(); }, packet(CMD_WAIT, 3)),
                            "a packet before the end: CMD_WAIT");
    EXPECT_NONFATAL_FAILURE(
        play([](ScriptedPeer& peer) { peer.expect(CMD_WAIT); }, hex("0000000A 00")),
        "the connection ended after [00 00 00 0A 00], 5 bytes too early");
}

} // namespace
} // namespace fus::test
