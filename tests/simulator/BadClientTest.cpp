// Clients that break the rules, come in twos, or vanish.
#include "Client.h"

#include <chrono>
#include <functional>
#include <random>

using namespace fus::simulator;
using namespace fus::simulator::test;

namespace {

// The simulator still serves the next one.
void expectAlive(Simulator& simulator) {
    ASSERT_TRUE(simulator.waitForClients(0, PATIENCE_MS));
    Client next(simulator);
    EXPECT_EQ(simulator.description().wireText, next.welcome());
    EXPECT_EQ("1301 #1", next.ask(1120, 1, be32(0)));
}

double secondsOf(const std::function<void()>& action) {
    const auto begin = std::chrono::steady_clock::now();
    action();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

} // namespace

TEST(BadClient, IsCutOffForASizeThatNoPacketHas) {
    for (std::uint32_t size : {0U, 9U, 0x04000001U, 0xFFFFFFFFU}) {
        SCOPED_TRACE(size);
        Story story;
        story.client->send(be32(size) + be32(1) + be16(1113));
        EXPECT_TRUE(story.client->isAtEnd());
        expectAlive(story.simulator);
    }
}

TEST(BadClient, CostsOnlyItsOwnLinkWhateverItSends) {
    Simulator simulator(Description::builtIn(), Story::fast());
    simulator.start();
    std::mt19937 random(4711);
    const auto byte = [&] { return static_cast<unsigned char>(random()); };
    const unsigned types[] = {1102, 1103, 1109, 1113, 1115, 1116, 1119, 1121,
                              1122, 1123, 1307, 1308, 1309, 1311, 1312, 65535};
    for (unsigned round = 0; round < 20; ++round) {
        Client client(simulator);
        client.welcome();
        for (unsigned i = 0; i < 100; ++i) {
            Bytes payload(random() % 64);
            for (unsigned char& value : payload) {
                value = random() % 3 == 0 ? byte() : 0;
            }
            client.send(types[random() % std::size(types)], i, payload);
        }
        Bytes cut = packet(1122, 1, uploadV3(0, {{}, {}}));
        cut.resize(random() % cut.size());
        client.send(cut);
        client.close();
    }
    expectAlive(simulator);
}

TEST(BadClient, MayVanishInTheMiddleOfAFloodOrOfAShot) {
    for (double scale : {0.0, 1.0}) {
        Options options;
        options.timeScale = scale;
        Story story(options);
        EXPECT_EQ("1301 #1", story.client->ask(1122, 1, uploadV3(3, {{2000000, 0}})));
        EXPECT_EQ("1301 #2", story.client->ask(1123, 2, startV3(3, 4000000000U, 0, 500)));
        story.client->close();
        EXPECT_TRUE(story.simulator.waitUntilIdle(PATIENCE_MS));
        EXPECT_EQ("abandoned", story.simulator.executions().at(0).stopReason);
        expectAlive(story.simulator);
        EXPECT_EQ(1U, story.simulator.buffer(3).shots.size()) << "buffers are kept";
        EXPECT_EQ(2U, story.simulator.clientCount());
    }
}

TEST(BadClient, IsSentAwayWhileAnotherIsServed) {
    Story story;
    Client second(story.simulator);
    EXPECT_TRUE(second.isAtEnd());
    EXPECT_EQ(1U, story.simulator.refusedClients());
    EXPECT_EQ("1301 #1", story.client->ask(1120, 1, be32(0)));
    // after its good-bye the first one gives way, even if it leaves its socket open
    story.client->send(1112, 2);
    EXPECT_TRUE(story.simulator.waitForCommand(1112, 1, PATIENCE_MS));
    Client third(story.simulator);
    EXPECT_EQ(story.simulator.description().wireText, third.welcome());
    EXPECT_TRUE(story.client->isAtEnd());
}

TEST(BadClient, CannotKeepTheSimulatorFromStopping) {
    const auto flood = [](Story& story) {
        story.client->ask(1122, 1, uploadV3(0, {{}}));
        story.client->send(1123, 2, startV3(0, 4000000000U, 0, 500)); // and reads nothing
        story.simulator.waitForCommand(1123, 1, PATIENCE_MS);
    };
    const auto wait = [](Story& story) {
        story.client->send(1120, 1, be32(60000000));
        story.simulator.waitForCommand(1120, 1, PATIENCE_MS);
    };
    const auto trigger = [](Story& story) {
        story.client->ask(1122, 1, uploadV3(0, {{}}, {0, 1}));
        story.client->ask(1123, 2, startV3(0, 1, 0, 500));
    };
    const auto half = [](Story& story) { story.client->send(be32(100)); };
    const auto late = [](Story& story) {
        story.simulator.addFault("late:ms=60000");
        story.client->send(1122, 1, uploadV3(0, {{}}));
        story.client->send(1123, 2, startV3(0, 1, 0, 500));
        story.simulator.waitForCommand(1123, 1, PATIENCE_MS);
    };
    const std::function<void(Story&)> situations[] = {flood, wait, trigger, half, late};
    for (const auto& situation : situations) {
        Story story(Story::fast());
        Story slow(Story::realTime());
        for (Story* one : {&story, &slow}) {
            situation(*one);
            EXPECT_LT(secondsOf([one] { one->simulator.stop(); }), 1.0);
            EXPECT_EQ(0, one->simulator.port());
            one->simulator.clearFaults();
            one->simulator.start();
            expectAlive(one->simulator);
        }
    }
}

TEST(BadClient, GetsAPlainErrorWhenThePortIsTaken) {
    Story story;
    Options options;
    options.port = story.simulator.port();
    Simulator second(Description::builtIn(), options);
    EXPECT_THROW(second.start(), SimulatorError);
    options.host = "no.such.host.invalid";
    Simulator third(Description::builtIn(), options);
    EXPECT_THROW(third.start(), SimulatorError);
}
