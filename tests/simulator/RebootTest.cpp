// Reboots, and what outlives them.
#include "Briefs.h"

#include "fus/MProtocol.h"

using namespace fus::simulator;
using namespace fus::simulator::test;

namespace {

constexpr unsigned REBOOT = 1109;
constexpr unsigned BACK_PANEL = 1311;

Bytes setBackPanel(std::uint32_t storage, const Bytes& flags) {
    return hex("9DC0178E") + be32(storage) + be32(static_cast<std::uint32_t>(flags.size())) +
           flags + flags;
}

Bytes write(unsigned hwid, unsigned address, unsigned parameter, std::uint64_t value) {
    return boardCommand(hwid, address, 92, le16(parameter) + le16(0) + le64(value));
}

std::string done(std::uint32_t id, unsigned hwid, unsigned address) {
    return described({id, 1307, boardAnswer(hwid, address, 92, 89)});
}

// Changes what can be changed, all but the back panel.
void changeAll(Story& story) {
    Client& client = *story.client;
    EXPECT_EQ(done(1, 10, 0), client.ask(1307, 1, write(10, 0, 1379, 25000000)));
    EXPECT_EQ(done(2, 10, 0), client.ask(1307, 2, write(10, 0, 2601, 12500)));
    EXPECT_EQ(done(3, 12, 3), client.ask(1307, 3, write(12, 3, 2601, 5000)));
    EXPECT_EQ("1301 #4", client.ask(1309, 4, be16(256) + Bytes(255, 1) + u8(0)));
    EXPECT_EQ("1301 #5", client.ask(1122, 5, uploadV3(0, {{}})));
    story.simulator.setBoardStatus(11, 1, 1);
    story.simulator.disableAmplifier(2);
    story.simulator.setMechParameter(0, fus::mprotocol::PARAM_ORIGIN_FOUND, 1);
}

struct State {
    std::uint64_t clock, upbThreshold, ampThreshold;
    bool lastChannel, hasBuffer, isReset, isDisabled, hasOrigin;
};

State stateOf(const Simulator& simulator) {
    return {simulator.boardParameter(10, 0, 1379), simulator.threshold(10, 0, 1, true),
            simulator.threshold(12, 3, 1, true),   simulator.channelStates().back(),
            !simulator.buffer(0).shots.empty(),    simulator.board(11, 1).status != 0,
            simulator.board(12, 2).isDisabled,     simulator.mechanics().axes[0].isOriginFound};
}

void expectState(const State& expected, const State& state) {
    EXPECT_EQ(expected.clock, state.clock);
    EXPECT_EQ(expected.upbThreshold, state.upbThreshold);
    EXPECT_EQ(expected.ampThreshold, state.ampThreshold);
    EXPECT_EQ(expected.lastChannel, state.lastChannel);
    EXPECT_EQ(expected.hasBuffer, state.hasBuffer);
    EXPECT_EQ(expected.isReset, state.isReset);
    EXPECT_EQ(expected.isDisabled, state.isDisabled);
    EXPECT_EQ(expected.hasOrigin, state.hasOrigin);
}

} // namespace

TEST(Reboot, OfEverythingLeavesOnlyTheFlash) {
    Story story;
    changeAll(story);
    expectState({25000000, 12500, 5000, false, true, true, true, true}, stateOf(story.simulator));
    EXPECT_EQ("1301 #6", story.client->ask(BACK_PANEL, 6, setBackPanel(0, Bytes(32, 1))));
    EXPECT_EQ("1301 #7", story.client->ask(REBOOT, 7, be32(9000)));
    Client second(story.simulator);
    EXPECT_EQ(story.simulator.description().wireText, second.welcome());
    EXPECT_TRUE(story.simulator.waitForReboots(1, 0));
    expectState({24000000, 13000, 9000, true, false, false, false, false},
                stateOf(story.simulator));
    EXPECT_EQ(256U, story.simulator.channelStates().size());

    EXPECT_EQ("1301 #8", second.ask(BACK_PANEL, 8, setBackPanel(1, Bytes(48, 1))));
    EXPECT_EQ("1301 #9", second.ask(BACK_PANEL, 9, setBackPanel(0, Bytes(32, 1))));
    EXPECT_EQ("1301 #10", second.ask(REBOOT, 10, be32(9000)));
    second.close();
    EXPECT_TRUE(story.simulator.waitForReboots(2, PATIENCE_MS)) << "also without a next client";
    EXPECT_EQ(48U, story.simulator.channelStates().size());
}

TEST(Reboot, OfTheSlavesLeavesWhatTheProcessorHolds) {
    Story story;
    changeAll(story);
    EXPECT_EQ("1301 #6", story.client->ask(BACK_PANEL, 6, setBackPanel(0, Bytes(32, 1))));
    EXPECT_EQ("1301 #7", story.client->ask(REBOOT, 7, be32(9001)));
    expectState({24000000, 12500, 9000, true, true, false, false, false}, stateOf(story.simulator));
    Client next(story.simulator);
    next.welcome();
    EXPECT_EQ(32U, story.simulator.channelStates().size());
    EXPECT_FALSE(story.simulator.waitForReboots(1, 0));
}

TEST(Reboot, OfTheSlavesHappensByTheirPeripheralToo) {
    for (const char* protocol : {"2.5", "3.1"}) {
        Story story(Story::fast(), Description::shipped(protocol));
        story.simulator.setMechParameter(0, fus::mprotocol::PARAM_ORIGIN_FOUND, 1);
        for (unsigned state : {0U, 1U}) {
            EXPECT_TRUE(story.simulator.mechanics().axes[0].isOriginFound);
            const std::string answer =
                *protocol == '2' ? story.client->ask(1116, 1, be16(1373) + u8(2) + u8(state))
                                 : story.client->ask(1307, 1, write(10, 0, 1402, state));
            EXPECT_EQ(*protocol == '2' ? "1301 #1" : done(1, 10, 0), answer);
        }
        EXPECT_FALSE(story.simulator.mechanics().axes[0].isOriginFound);
    }
}

TEST(Reboot, StopsWhatRuns) {
    for (std::uint32_t what : {9000U, 9001U}) {
        Story story;
        ASSERT_TRUE(start(story, {{}}, {}, 4000000000U, 0));
        EXPECT_EQ("1301 #7", story.client->ask(REBOOT, 7, be32(what)));
        EXPECT_EQ("abandoned", story.simulator.executions().at(0).stopReason);
    }
}

TEST(Reboot, RefusesAnythingElse) {
    for (const char* protocol : {"2.5", "3.1"}) {
        Story story(Story::fast(), Description::shipped(protocol));
        const std::string refusal = *protocol == '2' ? "1303" : "1310";
        for (const Bytes& payload : {be32(9002), be16(9000), be32(9000) + u8(0), Bytes()}) {
            EXPECT_EQ(refusal, story.client->ask(REBOOT, 1, payload).substr(0, 4));
        }
        EXPECT_EQ("1301 #2", story.client->ask(REBOOT, 2, be32(9000)));
    }
}

TEST(Reboot, TakesItsTime) {
    Description description = Description::builtIn();
    description.rebootSeconds = 0.4;
    description.slaveRebootSeconds = 0.2;
    Story story(Story::realTime(), description);
    auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ("1301 #1", story.client->ask(REBOOT, 1, be32(9001)));
    EXPECT_GE(secondsSince(begin), 0.2);
    story.client->close();

    Client second(story.simulator);
    second.welcome();
    begin = std::chrono::steady_clock::now();
    EXPECT_EQ("1301 #2", second.ask(REBOOT, 2, be32(9000)));
    EXPECT_LT(secondsSince(begin), 0.4) << "the answer comes first";
    second.close();
    EXPECT_TRUE(story.simulator.waitForClients(0, PATIENCE_MS));
    unsigned refused = 0;
    std::string welcome;
    while (welcome.empty() && secondsSince(begin) < PATIENCE_MS / 1000) {
        const fus::platform::Socket socket = fus::platform::openTcpSocket();
        const int failed = fus::platform::connectSocket(socket, fus::platform::LOOPBACK_ADDRESS,
                                                        story.simulator.port());
        unsigned char first = 0;
        if (failed == 0 && fus::platform::receive(socket, &first, 1) == 1) {
            welcome = "came";
        }
        refused += failed == 0 ? 0 : 1;
        fus::platform::closeSocket(socket);
    }
    EXPECT_EQ("came", welcome);
    EXPECT_LT(0U, refused);
    EXPECT_GE(secondsSince(begin), 0.4);
}
