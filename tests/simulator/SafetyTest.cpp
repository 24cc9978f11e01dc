// How the generator watches itself, and what its settings do.
#include "Briefs.h"

#include <cmath>

using namespace fus::simulator;
using namespace fus::simulator::test;

namespace {

Bytes writeParameter(unsigned hwid, unsigned address, unsigned id, std::uint64_t value) {
    return boardCommand(hwid, address, 92, le16(id) + le16(0) + le64(value));
}

// Sends it; true if it was done.
bool write(Story& story, unsigned hwid, unsigned address, unsigned id, std::uint64_t value) {
    story.client->send(1307, 90, writeParameter(hwid, address, id, value));
    const auto answer = story.client->readAnswer();
    return answer && answer->type == 1307 && answer->payload == boardAnswer(hwid, address, 92, 89);
}

// Of the next shot result.
struct Shown {
    std::uint32_t duration = 0;
    std::int32_t gap = 0;
    Bytes body;

    explicit Shown(Client& client) {
        const auto answer = client.readAnswer();
        if (answer && answer->type == 1304 && answer->payload.at(RESULT_TYPE_AT) == 29) {
            duration = answer->be32At(4);
            gap = static_cast<std::int32_t>(answer->be32At(12));
            body.assign(answer->payload.begin() + BODY_AT, answer->payload.end());
        }
    }
};

Description changed(const char* protocol, const std::string& from, const std::string& to) {
    std::string text = Description::shippedText(protocol);
    for (auto at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
        text.replace(at, from.size(), to);
    }
    return Description::parse(text);
}

} // namespace

TEST(Safety, ReadsAndWritesEveryParameterOfProtocol2) {
    Story story(Story::fast(), Description::shipped("2.5"));
    const struct {
        Bytes set; // none: it is only read
        Bytes get;
        const char* answer;
    } rows[] = {
        {be16(1363) + u8(200), be16(1363), "05 53 C8"},
        {be16(1365) + u8(99), be16(1365), "05 55 63"},
        {{}, be16(1367), "05 57 00 03 00 00 13 88 00 00 2E E0 00 00 5D C0"},
        {{}, be16(1368), "05 58 00 04 00 E0 00 E0 00 E0 00 E0"},
        {{}, be16(1369), "05 59 00 04 02 80 02 80 02 80 02 80"},
        {be16(1369) + be16(4) + hex("0001 0FFF 0280 0100"), be16(1369),
         "05 59 00 04 00 01 0F FF 02 80 01 00"},
        {be16(1370) + u8(7), be16(1370), "05 5A 07"},
        {{}, be16(1371), "05 5B 00 04 00 00 01 2C 00 00 01 2C 00 00 01 2C 00 00 01 2C"},
        {be16(1372) + be16(4) + be32(1) + be32(6000) + be32(0xFFFFFF) + be32(2), be16(1372),
         "05 5C 00 04 00 00 00 01 00 00 17 70 00 FF FF FF 00 00 00 02"},
        {be16(1373) + u8(3) + u8(0), be16(1373) + u8(3), "05 5D 03 00"},
        {{}, be16(1373) + u8(0), "05 5D 00 01"},
        {be16(1377) + be16(0) + be32(50000), be16(1377), "05 61 00 00 00 00 C3 50"},
        {be16(1378) + be16(0) + be32(3), be16(1378), "05 62 00 00 00 00 00 03"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.answer);
        if (!row.set.empty()) {
            EXPECT_EQ("1301 #1", story.client->ask(1116, 1, row.set));
        }
        EXPECT_EQ(std::string("1115 #2: ") + row.answer, story.client->ask(1115, 2, row.get));
    }
    EXPECT_EQ((std::vector<std::uint32_t>{1, 0xFFF, 0x280, 0x100}),
              story.simulator.generatorParameters(1369));
    EXPECT_FALSE(story.simulator.peripheralState(3));

    for (const Bytes& refused :
         {be16(1364) + u8(0), be16(1363), be16(1363) + be16(0), be16(1367) + be16(0),
          be16(1369) + be16(3) + zeroes(6), be16(1369) + be16(4) + zeroes(7), be16(1373) + u8(0),
          be16(1373) + u8(4) + u8(0), be16(1377) + be16(0) + be32(50001), be16(1377) + be32(0)}) {
        EXPECT_EQ("1303 #3", story.client->ask(1116, 3, refused).substr(0, 7)) << toHex(refused);
    }
    EXPECT_EQ("1303 #4", story.client->ask(1115, 4, be16(1373)).substr(0, 7));
}

TEST(Safety, MarksBadReadings) {
    Story v2(Story::fast(), Description::shipped("2.5"));
    v2.simulator.addFault("bad-reading:measure=tem,address=2");
    v2.simulator.addFault("bad-reading:measure=idc,address=0");
    v2.simulator.addFault("reading:measure=idc,address=3,raw=0x1000000");
    EXPECT_EQ("1115 #1: 05 58 00 04 00 E0 00 E0 F0 E0 00 E0", v2.client->ask(1115, 1, be16(1368)));
    EXPECT_EQ("1115 #2: 05 5B 00 04 FF 00 01 2C 00 00 01 2C 00 00 01 2C 01 00 00 00",
              v2.client->ask(1115, 2, be16(1371)));

    Story v3;
    v3.simulator.addFault("bad-reading:measure=1,hwid=12,address=4");
    EXPECT_EQ(std::vector<std::uint32_t>({512, 65535}), v3.simulator.board(12, 4).readings);
    // it isn't measured, so it stops nothing
    ASSERT_TRUE(start(v3, {{}}, {}, 1));
    EXPECT_EQ("s0/0 f0/0", readBriefs(*v3.client, 2));
}

TEST(Safety, TemperaturesFollowTheLoadInTimeAndCurrentsAtOnce) {
    const double rise = 1 - std::exp(-1.0);
    const struct {
        bool fans;
        double warm, cooled;
    } rows[] = {{true, 24 + 22 * rise, 24 + 22 * rise * std::exp(-1.0)},
                {false, 24 + 22 * (1 - std::exp(-0.4)) / 0.4,
                 24 + 22 * (1 - std::exp(-0.4)) / 0.4 * std::exp(-0.4)}};
    for (const auto& row : rows) {
        Story story;
        ASSERT_TRUE(write(story, 10, 0, 1403, row.fans ? 1 : 0));
        Bytes amplitudes(256, 0);
        std::fill_n(amplitudes.begin(), 16, 255);
        // 4 s, the time constant, with the first amplifier alone; its measures come with the shots
        ASSERT_TRUE(start(story, {{2000000, 0, amplitudes}}, {0, 0, 8}, 2));
        const std::size_t boards = 256 * 4;
        for (int shot = 0; shot < 2; ++shot) {
            const Shown shown(*story.client);
            ASSERT_EQ(boards + 64, shown.body.size());
            EXPECT_EQ("11 94 00 C8", toHex(Bytes(shown.body.begin() + boards + 32,
                                                 shown.body.begin() + boards + 36)));
            EXPECT_EQ(shot == 0 ? "c0/1" : "f0/0", readBriefs(*story.client, 1));
        }
        ASSERT_TRUE(story.simulator.waitUntilIdle(PATIENCE_MS));
        const BoardRecord warm = story.simulator.board(12, 0);
        EXPECT_NEAR(row.warm, warm.values.at(0), 0.01);
        EXPECT_EQ(static_cast<std::uint32_t>(std::lround((row.warm + 40) * 8)),
                  warm.readings.at(0));
        EXPECT_EQ(200U, warm.readings.at(1));
        EXPECT_EQ(512U, story.simulator.board(12, 1).readings.at(0));
        EXPECT_EQ("1301 #7", story.client->ask(1120, 7, be32(4000000)));
        EXPECT_NEAR(row.cooled, story.simulator.board(12, 0).values.at(0), 0.01);
    }
}

TEST(Safety, AMeasureBeyondItsThresholdStopsAnExecution) {
    const std::vector<TestShot> full{{2000000, 0, {255}}};
    const struct {
        const char* protocol;
        Bytes setting; // V2: of 1116; V3: of 1307
        const char* results;
        const char* record;
        double heat; // [degrees] at the stop
    } rows[] = {
        {"3.1", writeParameter(12, 5, 2600, 560), "x0/0:28000100", "amplifier-temp 12/5", 30},
        {"3.1", writeParameter(12, 5, 2601, 4499), "x0/0:28000101", "amplifier-current 12/5", 24},
        {"3.1", writeParameter(12, 5, 2601, 4500), "s0/0 f0/0", " 0/0", 0},
        {"3.1", writeParameter(10, 0, 2503, 27201), "x0/0:28000005", "board-measure 10/0", 24},
        {"3.1", writeParameter(12, 5, 2500, 513), "x0/0:28000002", "board-measure 12/5", 24},
        {"3.0", writeParameter(12, 7, 2600, 600), "x0/0:28000100", "amplifier-temp 12/7", 35},
        {"2.5", be16(1369) + be16(4) + hex("0280 0280 0118 0280"), "t0/0:<1031>",
         "amplifier-temp 12/2", 35},
        {"2.5", be16(1372) + be16(4) + be32(9999) + be32(3999) + be32(9999) + be32(9999),
         "t0/0:<1039>", "amplifier-current 12/1", 28},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.record);
        Story story(Story::fast(), Description::shipped(row.protocol));
        const bool isV2 = story.simulator.description().isV2();
        const std::string answer = story.client->ask(isV2 ? 1116 : 1307, 5, row.setting);
        ASSERT_EQ(isV2 ? "1301 #5" : "1307 #5", answer.substr(0, 7));
        ASSERT_TRUE(start(story, full, {}, 1));
        EXPECT_EQ(row.results, readBriefs(*story.client, countOf(row.results)));
        ASSERT_TRUE(story.simulator.waitUntilIdle(PATIENCE_MS));
        const ExecutionRecord record = story.simulator.executions().at(0);
        EXPECT_EQ(row.record, record.stopReason + " " + std::to_string(record.stopHwid) + "/" +
                                  std::to_string(record.stopAddress));
        const BoardRecord board = story.simulator.board(12, record.stopAddress);
        EXPECT_NEAR(row.heat ? row.heat : board.values.at(0), board.values.at(0), 0.3);
        EXPECT_EQ(record.stopReason == "amplifier-current", board.isDisabled);
    }
}

TEST(Safety, ABoardThatDrewTooMuchIsDisabledUntilTheSupplyIsSwitchedOnAgain) {
    Story story;
    Client& client = *story.client;
    Bytes states(256, 1);
    states[3] = 0; // by hand
    EXPECT_EQ("1301 #1", client.ask(1309, 1, be16(256) + states));
    story.simulator.addFault("reading:measure=idc,address=2,raw=9001");
    ASSERT_TRUE(start(story, {{}}, {}, 1));
    const auto answer = client.readAnswer();
    ASSERT_TRUE(answer);
    // the code, what was read, the board
    EXPECT_EQ(toHex(hex("28000101 00002329 0C02")),
              toHex(Bytes(answer->payload.begin() + BODY_AT, answer->payload.begin() + 38)));
    story.simulator.clearFaults();
    Bytes readBack = states;
    std::fill_n(readBack.begin() + 32, 16, 0);
    EXPECT_EQ(described({2, 1309, be16(256) + readBack}), client.ask(1309, 2));
    EXPECT_EQ(4U, story.simulator.board(12, 2).status);
    EXPECT_EQ(0U, story.simulator.board(12, 1).status);
    // the others go on without it
    EXPECT_EQ("1301 #3", client.ask(1123, 3, startV3(0, 1, 0, 501)));
    const Shown shown(client);
    ASSERT_EQ(1024U, shown.body.size());
    EXPECT_EQ(0, shown.body[3]);
    EXPECT_EQ(0, shown.body[40]);
    EXPECT_NE(0, shown.body[50]);
    EXPECT_EQ("f0/0", readBriefs(client, 1));

    EXPECT_EQ("1301 #4", client.ask(1312, 4, be32(1)));
    EXPECT_EQ(described({5, 1309, be16(256) + states}), client.ask(1309, 5));
    EXPECT_EQ(0U, story.simulator.board(12, 2).status);
}

TEST(Safety, ShutsChannelsAndBoardsOffByItselfInTheMiddleOfAnExecution) {
    Story story;
    story.simulator.addFault("channel-off:channel=7,execution=1,shot=1");
    story.simulator.addFault("board-off:address=1,execution=2");
    // the third shot goes on with the second one's lists
    Bytes payload = uploadV3(0, {{}, {10000, 0, {100}}});
    payload[15] = 3;
    EXPECT_EQ("1301 #1", story.client->ask(1122, 1, payload + emptyRecord({})));
    EXPECT_EQ("1301 #2", story.client->ask(1123, 2, startV3(0, 9, 0, 500)));
    for (int execution = 0; execution < 2; ++execution) {
        for (int shot = 0; shot < 3; ++shot) {
            SCOPED_TRACE(execution * 10 + shot);
            const Shown shown(*story.client);
            ASSERT_EQ(1024U, shown.body.size());
            EXPECT_NEAR(shot == 0 ? 176 : 88, shown.body[6], 8);
            EXPECT_EQ(execution == 1 && shot > 0, shown.body[7] == 0);
        }
        EXPECT_EQ("c2/" + std::to_string(8 - execution), readBriefs(*story.client, 1));
    }
    EXPECT_EQ("x0/6:13140000", readBriefs(*story.client, 1));
    const std::vector<bool> states = story.simulator.channelStates();
    EXPECT_FALSE(states[7] || states[16] || states[31]);
    EXPECT_TRUE(states[6] && states[32] && story.simulator.manualChannelStates()[7]);
    story.simulator.restore();
    EXPECT_TRUE(story.simulator.channelStates()[7]);
}

TEST(Safety, ShootsOnlyWithItsPeripheralsOn) {
    const char* const stops[] = {"x0/0:13140000", "x0/0:13140000", "x0/0:13140000", ""};
    for (unsigned peripheral = 0; peripheral < 4; ++peripheral) {
        SCOPED_TRACE(peripheral);
        const bool isNeeded = *stops[peripheral] != '\0';
        Story story(Story::realTime());
        ASSERT_TRUE(start(story, {{isNeeded ? 2000000U : 10000U, 0}}, {}, 1));
        ASSERT_TRUE(write(story, 10, 0, 1400 + peripheral, 0) || !isNeeded);
        if (isNeeded) {
            EXPECT_EQ(stops[peripheral], readBriefs(*story.client, 1));
            EXPECT_EQ("1310 #3: 13 14",
                      story.client->ask(1123, 3, startV3(0, 1, 0, 501)).substr(0, 14));
            ASSERT_TRUE(write(story, 10, 0, 1400 + peripheral, 1));
            EXPECT_EQ("1301 #4", story.client->ask(1123, 4, startV3(0, 1, 0, 501)));
        }
    }
    // it doesn't wait for a pulse without its supply either
    Story story;
    ASSERT_TRUE(start(story, {{}}, {0, 1}, 1));
    ASSERT_TRUE(story.simulator.waitForTriggerWait(PATIENCE_MS));
    story.client->send(1312, 3, be32(0));
    EXPECT_EQ("!1301 #3 x0/0:13140000", readBriefs(*story.client, 2));
    Story v2(Story::fast(), Description::shipped("2.5"));
    EXPECT_EQ("1301 #1", v2.client->ask(1116, 1, be16(1373) + be16(0)));
    EXPECT_EQ("1115 #2: 05 57 00 03 00 00 13 88 00 00 2E E0 00 00 00 00",
              v2.client->ask(1115, 2, be16(1367)));
    EXPECT_FALSE(start(v2, {{40000, 0}}, {}, 1));
}

TEST(Safety, ShowsInTheStatusWhatIsWrongWithABoard) {
    const struct {
        const char* protocol;
        Bytes command; // of 1312
        std::uint32_t upb, snt, amp;
    } rows[] = {{"3.1", be32(0), 4, 0, 4}, {"3.1", be32(1), 0, 0, 0}, {"3.0", be32(0), 4, 0, 4}};
    for (const auto& row : rows) {
        Story story(Story::fast(), Description::shipped(row.protocol));
        EXPECT_EQ("1301 #1", story.client->ask(1312, 1, row.command));
        EXPECT_EQ(row.upb, story.simulator.board(10, 0).status);
        EXPECT_EQ(row.snt, story.simulator.board(11, 3).status);
        EXPECT_EQ(row.amp, story.simulator.board(12, 3).status);
    }
    Story story;
    EXPECT_EQ("1310 #1: 13 09", story.client->ask(1312, 1, be32(2)).substr(0, 14));
    // with the main switch alone, amplifiers with a switch of their own stay without supply
    EXPECT_EQ("1301 #2", story.client->ask(1312, 2, be32(0)));
    ASSERT_TRUE(write(story, 10, 0, 1400, 1));
    EXPECT_EQ(0U, story.simulator.board(10, 0).status);
    EXPECT_EQ(4U, story.simulator.board(12, 3).status);
    // a reset of the slave boards
    ASSERT_TRUE(write(story, 12, 3, 2601, 5000));
    ASSERT_TRUE(write(story, 10, 0, 1402, 0));
    EXPECT_FALSE(write(story, 12, 3, 2601, 5000)) << "it is held in reset";
    ASSERT_TRUE(write(story, 10, 0, 1402, 1));
    EXPECT_EQ(0U, story.simulator.board(10, 0).status);
    EXPECT_EQ(1U, story.simulator.board(11, 3).status);
    EXPECT_EQ(1U, story.simulator.board(12, 3).status);
    EXPECT_EQ(9000U, story.simulator.threshold(12, 3, 1, true));
    story.simulator.addFault("board-status:hwid=11,address=3,status=2");
    EXPECT_EQ(3U, story.simulator.board(11, 3).status);
}

TEST(Safety, TheWatchdogCutsAShotThatIsTooLong) {
    const struct {
        Description description;
        const char* fault;
        std::uint32_t duration;
        const char* result;
        bool gap;
    } rows[] = {
        {Description::shipped("3.1"), nullptr, 2100000, "x0/0:29000101", true},
        {Description::shipped("3.0"), nullptr, 2100000, "x0/0:29000101", true},
        // synthesizers that don't tell: it is the duration that shows it
        {changed("3.1", "wed = 1", "wed = 0"), nullptr, 2100000, "x0/0:38020001", true},
        {Description::shipped("3.1"), "no-watchdog", 2500000, "f0/0", false},
    };
    for (const auto& row : rows) {
        Story story(Story::fast(), row.description);
        if (row.fault) {
            story.simulator.addFault(row.fault);
        }
        EXPECT_FALSE(start(story, {{2500000, 0}}, {}, 1)) << "its checks are on";
        ASSERT_TRUE(write(story, 10, 0, 1385, 0xC3D1E58A));
        ASSERT_TRUE(start(story, {{2500000, 0}}, {}, 1));
        const Shown shown(*story.client);
        EXPECT_EQ(row.duration, shown.duration);
        EXPECT_NEAR(row.gap ? -400000 : 0, shown.gap, 2);
        EXPECT_EQ(row.result, readBriefs(*story.client, 1));
        ASSERT_TRUE(write(story, 10, 0, 1385, 0x4B7A60F2));
        EXPECT_FALSE(start(story, {{2500000, 0}}, {}, 1)) << "its checks are on again";
    }
}

TEST(Safety, StopsAShotOutOfTolerance) {
    const struct {
        const char* fault;
        const char* results;
    } rows[] = {
        {"slow-shot:us=100,shot=1", "s0/0 s1/0 f1/0"},
        {"slow-shot:us=101,shot=1", "s0/0 s1/0 x1/0:38020001"},
        {"late-shot:us=1000", "s0/0 s1/0 f1/0"},
        {"late-shot:us=1001", "s0/0 x0/0:38020001"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.fault);
        Story story;
        story.simulator.addFault(row.fault);
        ASSERT_TRUE(start(story, {{}, {}}, {}, 1));
        EXPECT_EQ(row.results, readBriefs(*story.client, countOf(row.results)));
    }
}

TEST(Safety, RampsAndThresholdsLimitWhatIsEmitted) {
    const struct {
        unsigned parameter;
        std::uint64_t value;
        int volts, amperes; // ADC values
    } rows[] = {
        {1377, 0, 176, 141},    {1377, 10000, 176, 141},
        {1377, 20000, 112, 90}, // half way up to 255
        {1378, 40000, 56, 45},  {1383, 141 / 2, 88, 70},
        {1383, 0, 1, 1},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.value);
        Story story;
        ASSERT_TRUE(write(story, 10, 0, row.parameter, row.value));
        ASSERT_TRUE(start(story, {{}}, {}, 1));
        const Shown shown(*story.client);
        ASSERT_EQ(1024U, shown.body.size());
        EXPECT_NEAR(row.volts, shown.body[0], 6);
        EXPECT_NEAR(row.amperes, shown.body[256], 6);
    }
    // an amplitude threshold that was lowered after the upload
    Story story;
    EXPECT_EQ("1301 #1", story.client->ask(1122, 1, uploadV3(0, {{}})));
    ASSERT_TRUE(write(story, 10, 0, 1386, 199));
    EXPECT_EQ("1310 #2: 13 16", story.client->ask(1123, 2, startV3(0, 1, 0, 5)).substr(0, 14));
}

TEST(Safety, AWaitDelaysAllThatFollows) {
    Story story(Story::realTime());
    ASSERT_TRUE(start(story, {{2000000, 0}}, {}, 1));
    const auto begin = std::chrono::steady_clock::now();
    story.client->send(1120, 3, be32(300000));
    story.client->send(1113, 4);
    EXPECT_EQ("!1301 #3 x0/0:38030000", readBriefs(*story.client, 2));
    EXPECT_GE(secondsSince(begin), 0.3);
}

TEST(Safety, GoesOnAsLongAsTheHeartBeatComes) {
    Story story(Story::realTime());
    ASSERT_TRUE(write(story, 10, 0, 1384, 500000));
    ASSERT_TRUE(start(story, {{80000, 0}}, {}, 10));
    for (int execution = 9; execution >= 0; --execution) {
        const std::string left = std::to_string(execution);
        ASSERT_EQ("s0/" + left + (execution ? " c0/" : " f0/") + left,
                  readBriefs(*story.client, 2));
        story.client->send(1121, 9);
    }
}
