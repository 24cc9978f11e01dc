// What an execution sends, and in what order.
#include "Briefs.h"

using namespace fus::simulator;
using namespace fus::simulator::test;

TEST(Execution, SendsTheResultsThatModeAndFlagsAskFor) {
    const std::vector<TestShot> one{{40000, 2400}};
    const std::vector<TestShot> two{{40000, 0}, {40000, 1}};
    struct {
        const char* protocol;
        std::vector<TestShot> shots;
        Modes modes;
        std::uint32_t count;
        const char* results;
    } const rows[] = {
        {"3.1", two, {}, 3, "s0/2 s1/2 c1/2 s0/1 s1/1 c1/1 s0/0 s1/0 f1/0"},
        {"3.1", two, {0, 0, 2}, 2, "s0/1 s1/1 s0/0 s1/0 f1/0"},
        {"3.1", two, {0, 0, 64}, 2, "c1/1 f1/0"},
        {"3.1", two, {0, 0, 64 | 2}, 2, "f1/0"},
        {"3.1", two, {1}, 2, "c1/1 f1/0"},
        {"3.1", two, {2}, 2, "f1/0"},
        {"3.0", one, {2}, 2, "f0/0"},
        {"3.0", two, {3}, 2, "f1/0"},
        {"3.0", two, {}, 1, "s0/0 s1/0 f1/0"},
        {"2.5", one, {}, 2, "s0/1 t0/1:<1030> s0/0 t0/0:<1030>"},
        {"2.5", one, {2}, 2, "t0/0:<1030>"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.results);
        Story story(Story::fast(), Description::shipped(row.protocol));
        ASSERT_TRUE(start(story, row.shots, row.modes, row.count));
        EXPECT_EQ(row.results, readBriefs(*story.client, countOf(row.results)));
        EXPECT_TRUE(story.simulator.waitUntilIdle(PATIENCE_MS));
        EXPECT_TRUE(story.client->isQuiet(20));
        const ExecutionRecord record = story.simulator.executions().at(0);
        EXPECT_EQ(row.count, record.executionsDone);
        EXPECT_EQ(row.count * row.shots.size(), record.shotsDone);
    }
}

TEST(Execution, SendsNothingWhenNoResultsAreWanted) {
    Story story;
    ASSERT_TRUE(start(story, {{}}, {}, 3, 0));
    EXPECT_TRUE(story.simulator.waitUntilIdle(PATIENCE_MS));
    EXPECT_EQ("1301 #7", story.client->ask(1120, 7, be32(0)));
}

TEST(Execution, WritesAShotResultAsTheFormatHasIt) {
    Story story;
    ASSERT_TRUE(start(story, {{12345, 7}}, {0, 0, 8}, 1, 0xABCDEF01));
    const auto answer = story.client->readAnswer();
    ASSERT_TRUE(answer);
    EXPECT_EQ(0xABCDEF01U, answer->id);
    EXPECT_EQ(256U, answer->be32At(0));
    EXPECT_EQ(12345U, answer->be32At(4));
    EXPECT_LE(static_cast<std::int32_t>(answer->be32At(12)), 2);
    EXPECT_GE(static_cast<std::int32_t>(answer->be32At(12)), -2);
    EXPECT_EQ(toHex(hex("0000 1D 00 00000000")),
              toHex(Bytes(answer->payload.begin() + 20, answer->payload.begin() + 28)));
    EXPECT_EQ(BODY_AT + 256 * 4 + 16 * 4, answer->payload.size());
    // and the execution's own result: code, argument, board, length and text
    const auto last = story.client->readAnswer();
    ASSERT_TRUE(last);
    const std::string words = "Execution finished.";
    EXPECT_EQ(toHex(hex("38000001 00000000 0A00 0014 00000000") + text(words) + u8(0)),
              toHex(Bytes(last->payload.begin() + BODY_AT, last->payload.end())));
}

TEST(Execution, MeasuresFollowAmplitudePhaseAndChannelState) {
    Story story;
    Bytes states(256, 1);
    states[9] = 0;
    EXPECT_EQ("1301 #3", story.client->ask(1309, 3, be16(256) + states));
    Bytes amplitudes(256, 100);
    amplitudes[4] = 0;
    amplitudes[5] = 200;
    // the second shot goes on with the first one's lists
    Bytes payload = uploadV3(0, {{10000, 0, amplitudes}});
    payload[15] = 2;
    EXPECT_EQ("1301 #1", story.client->ask(1122, 1, payload + emptyRecord({})));
    EXPECT_EQ("1301 #2", story.client->ask(1123, 2, startV3(0, 1, 0, 500)));
    const auto first = story.client->readAnswer();
    const auto second = story.client->readAnswer();
    ASSERT_TRUE(first && second);
    const auto measure = [](const Answer& answer, std::size_t which, std::size_t channel) {
        return static_cast<int>(answer.payload.at(BODY_AT + which * 256 + channel));
    };
    for (const Answer& answer : {*first, *second}) {
        // 100 / 255 of 90 V at 0.4 V a step, within spread and noise; 1 MHz is the resonance
        EXPECT_NEAR(88, measure(answer, 0, 0), 5);
        EXPECT_NEAR(176, measure(answer, 0, 5), 8);
        EXPECT_NEAR(71, measure(answer, 1, 0), 5);  // 50 ohm, 10 mA a step
        EXPECT_NEAR(128, measure(answer, 2, 0), 2); // in phase
        EXPECT_NEAR(64, measure(answer, 3, 0), 6);
        for (std::size_t silent : {std::size_t{4}, std::size_t{9}}) {
            for (std::size_t which = 0; which < 4; ++which) {
                EXPECT_EQ(0, measure(answer, which, silent));
            }
        }
    }
    EXPECT_NE(first->payload, second->payload) << "noise differs from shot to shot";
}

TEST(Execution, RepeatsItsMeasuresWithTheSameSeed) {
    const auto results = [](std::uint64_t seed) {
        Options options = Story::fast();
        options.seed = seed;
        Story story(options, Description::shipped("3.0"));
        EXPECT_TRUE(start(story, {{20000, 0}, {20000, 0}}, {}, 2));
        return story.client->read((38 + 128 * 5) * 4);
    };
    const Bytes once = results(7);
    EXPECT_EQ(once, results(7));
    EXPECT_NE(once, results(8));
}

TEST(Execution, TakesItsTimeScaled) {
    Options options;
    options.timeScale = 0.1;
    Story story(options);
    const auto begin = std::chrono::steady_clock::now();
    ASSERT_TRUE(start(story, {{500000, 250000}, {500000, 250000}}, {}, 2, 500, 1000000));
    EXPECT_EQ("s0/1 s1/1 c1/1 s0/0 s1/0 f1/0", readBriefs(*story.client, 6));
    EXPECT_GE(secondsSince(begin), 0.4);
}

TEST(Execution, StopsAtOnceInAShotInADelayAndWhileItWaitsForAPulse) {
    struct {
        TestShot shot;
        Modes modes;
        const char* results;
    } const rows[] = {
        {{2000000, 0}, {}, "x0/1:38030000"},
        {{1000, 9000000}, {}, "s0/1 x0/1:38030000"},
        {{10000, 0}, {0, 1}, "x0/1:38030000"},
        {{2000000, 2400}, {2}, "x0/1:38030000"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.results);
        Story story(Story::realTime());
        ASSERT_TRUE(start(story, {row.shot}, row.modes, 2));
        const std::size_t count = countOf(row.results);
        const std::string before = count > 1 ? readBriefs(*story.client, count - 1) + " " : "";
        const auto begin = std::chrono::steady_clock::now();
        story.client->send(1113, 3);
        EXPECT_EQ(row.results, before + readBriefs(*story.client, 1));
        EXPECT_LT(secondsSince(begin), 0.9);
        EXPECT_TRUE(story.simulator.waitUntilIdle(PATIENCE_MS));
        EXPECT_EQ("user", story.simulator.executions().at(0).stopReason);
        // and it can be started again
        EXPECT_EQ("1301 #4", story.client->ask(1123, 4, startV3(0, 1, 0, 501)));
    }
}

TEST(Execution, StopsInAFlood) {
    Story story;
    ASSERT_TRUE(start(story, {{}}, {}, 4000000000U));
    Client& client = *story.client;
    EXPECT_EQ("s0/3999999999 c0/3999999999", readBriefs(client, 2));
    client.send(1113, 3);
    std::string last;
    for (std::size_t i = 0; i < 10000000 && last.find(":38030000") == last.npos; ++i) {
        last = readBriefs(client, 1);
        ASSERT_NE("end", last);
    }
    EXPECT_EQ('x', last[0]);
}

TEST(Execution, NamesTheReasonOfEachStop) {
    struct {
        const char* reason;
        const char* v2;
        const char* v3;
    } const rows[] = {
        {"user", "t1/1:<1033>", "x1/1:38030000"},
        {"switched", "t1/1:<1034>", "x1/1:38030001"},
        {"internal", "t1/1:<1035>", "x1/1:130F0000"},
        {"amplifier-temp", "t1/1:<1031>", "x1/1:28000100"},
        {"amplifier-current", "t1/1:<1039>", "x1/1:28000101"},
        {"mechanical", "t1/1:<1040>", "x1/1:38020000"},
        {"trigger", "t1/1:<1042>", "x1/1:38030100"},
        {"timing", "t1/1:<1041>", "x1/1:38020001"},
        {"watchdog", "t1/1:<1032>", "x1/1:29000101"},
        {"heartbeat", "t1/1:<1043>", "x1/1:38030200"},
        {"board-measure", "t1/1:<1037>", "x1/1:28000002"},
        {"power-supply", "t1/1:<1036>", "x1/1:13140000"},
        {"board-disabled", "t1/1:<1038>", "x1/1:13140000"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.reason);
        for (const char* protocol : {"2.5", "3.1"}) {
            const bool isV2 = protocol[0] == '2';
            Story story(Story::fast(), Description::shipped(protocol));
            story.simulator.addFault(std::string("stop:reason=") + row.reason +
                                     ",execution=1,shot=1");
            ASSERT_TRUE(start(story, {{40000, 0}, {40000, 0}}, {}, 3, 500, 1000));
            const std::string done = isV2 ? "t1/2:<1030>" : "c1/2";
            EXPECT_EQ("s0/2 s1/2 " + done + " s0/1 " + (isV2 ? row.v2 : row.v3),
                      readBriefs(*story.client, 5));
        }
    }
    EXPECT_EQ(std::size(rows), stopReasonNames().size());
}

TEST(Execution, WaitsForThePulsesOfItsTriggerMode) {
    struct {
        unsigned mode;
        std::vector<const char*> afterEachPulse;
    } const rows[] = {
        {1, {"s0/1 s1/1 c1/1 s0/0 s1/0 f1/0"}},
        {2, {"s0/1 s1/1 c1/1", "s0/0 s1/0 f1/0"}},
        {3, {"s0/1", "s1/1 c1/1", "s0/0", "s1/0 f1/0"}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.mode);
        Story story;
        ASSERT_TRUE(start(story, {{}, {}}, {0, row.mode}, 2));
        std::uint32_t id = 10;
        for (const char* results : row.afterEachPulse) {
            story.client->send(1119, id);
            EXPECT_EQ("!1301 #" + std::to_string(id++) + " " + results,
                      readBriefs(*story.client, countOf(results) + 1));
        }
        EXPECT_TRUE(story.simulator.waitUntilIdle(PATIENCE_MS));
    }
}

TEST(Execution, StopsAtAPulseWithinATriggeredShotUnlessToldToIgnoreIt) {
    Story strict(Story::realTime());
    ASSERT_TRUE(start(strict, {{2000000, 0}}, {0, 1}, 1));
    EXPECT_EQ("1301 #3", strict.client->ask(1119, 3));
    strict.simulator.pulse();
    EXPECT_EQ("x0/0:38030100", readBriefs(*strict.client, 1));

    Story tolerant(Story::realTime());
    ASSERT_TRUE(start(tolerant, {{1000, 500000}}, {0, 1, 16}, 1));
    EXPECT_EQ("1301 #3", tolerant.client->ask(1119, 3));
    EXPECT_EQ("s0/0", readBriefs(*tolerant.client, 1));
    EXPECT_EQ("1310 #4", tolerant.client->ask(1119, 4).substr(0, 7));
    EXPECT_EQ("f0/0", readBriefs(*tolerant.client, 1));

    Options options = Story::fast();
    options.triggerEveryMs = 5;
    Story pulsed(options);
    ASSERT_TRUE(start(pulsed, {{}, {}}, {0, 3, 16}, 1));
    EXPECT_EQ("s0/0 s1/0 f1/0", readBriefs(*pulsed.client, 3));
}

TEST(Execution, StopsWithoutAHeartBeatInTime) {
    Story beat(Story::realTime());
    EXPECT_EQ("1307",
              beat.client->ask(1307, 9, boardCommand(10, 0, 92, le16(1384) + le16(0) + le64(50000)))
                  .substr(0, 4));
    ASSERT_TRUE(start(beat, {{2000000, 0}}, {}, 1));
    EXPECT_EQ("x0/0:38030200", readBriefs(*beat.client, 1));
}

TEST(Execution, IsAloneUnlessItIsSwitchable) {
    Story story(Story::realTime());
    ASSERT_TRUE(start(story, {{2000000, 0}}, {}, 1));
    EXPECT_EQ("1301 #3", story.client->ask(1122, 3, uploadV3(1, {{10000, 0}})));
    EXPECT_EQ("1310 #4: 13 11", story.client->ask(1122, 4, uploadV3(0, {{}})).substr(0, 14));
    EXPECT_EQ("1310 #5: 13 13", story.client->ask(1123, 5, startV3(1, 1, 0, 501)).substr(0, 14));
    story.client->send(1113, 6);
    EXPECT_EQ("x0/0:38030000", readBriefs(*story.client, 1));

    ASSERT_TRUE(start(story, {{2000000, 0}}, {0, 0, 32}, 1));
    story.client->send(1123, 7, startV3(1, 1, 0, 501));
    EXPECT_EQ("x0/0:38030001 !1301 #7 s0/0 f0/0", readBriefs(*story.client, 4));
}
