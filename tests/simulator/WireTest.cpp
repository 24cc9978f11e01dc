// Exact bytes, as a real client would see them, on the three generations.
#include "Client.h"

using namespace fus::simulator;
using namespace fus::simulator::test;

namespace {

Description shipped(const char* protocol) {
    return Description::shipped(protocol);
}

std::string boardReply(std::uint32_t id, const Bytes& payload) {
    return described({id, 1307, payload});
}

// A refusal by a board: result N, the size, the code and the argument, a text.
void expectBoardRefusal(Client& client, const Bytes& command, std::uint32_t code) {
    client.send(1307, 5, command);
    const auto answer = client.readAnswer();
    ASSERT_TRUE(answer);
    ASSERT_EQ(1307U, answer->type);
    ASSERT_LT(28U, answer->payload.size());
    EXPECT_EQ(be16(78), Bytes(answer->payload.begin() + 16, answer->payload.begin() + 18));
    EXPECT_EQ(be16(static_cast<std::uint32_t>(answer->payload.size() - 20)),
              Bytes(answer->payload.begin() + 18, answer->payload.begin() + 20));
    EXPECT_EQ(toHex(le32(code)),
              toHex(Bytes(answer->payload.begin() + 20, answer->payload.begin() + 24)));
}

void expectRefusalV3(Client& client, unsigned type, const Bytes& payload, std::uint32_t code) {
    client.send(type, 77, payload);
    const auto answer = client.readAnswer();
    ASSERT_TRUE(answer);
    EXPECT_EQ(77U, answer->id);
    ASSERT_EQ(1310U, answer->type) << described(*answer);
    EXPECT_EQ(code, answer->be32At(0)) << std::hex << answer->be32At(0);
    const std::size_t text = answer->payload.size() - 16;
    EXPECT_EQ(toHex(u8(10) + u8(0) + be16(static_cast<std::uint32_t>(text)) + be32(0)),
              toHex(Bytes(answer->payload.begin() + 8, answer->payload.begin() + 16)));
    EXPECT_EQ(0, answer->payload.back());
}

std::string textV2(Client& client, unsigned type, const Bytes& payload) {
    client.send(type, 78, payload);
    const auto answer = client.readAnswer();
    if (!answer || answer->type != 1303 || answer->payload.size() < 3) {
        return answer ? described(*answer) : "end";
    }
    return {answer->payload.begin() + 2, answer->payload.end()};
}

} // namespace

TEST(Wire, GreetsWithTheLengthAndTheTextOfTheDescription) {
    for (const char* protocol : {"2.5", "3.0", "3.1"}) {
        Simulator simulator(shipped(protocol), Story::fast());
        simulator.start();
        Client client(simulator);
        EXPECT_EQ(simulator.description().wireText, client.welcome());
    }
}

TEST(Wire, AnswersBoardCommands) {
    Story story;
    Client& client = *story.client;
    struct {
        Bytes command, answer;
    } const rows[] = {
        // version 2013.2.1.0 is 13 << 26 | 2 << 22 | 1 << 16; firmware 3.1.4.0
        {boardCommand(10, 0, 70), boardAnswer(10, 0, 70, 70) + be16(8) + hex("00008134 03010400")},
        // lowest thresholds 0 and 960, divisor 8, two coefficients: -320 and 1
        {boardCommand(12, 3, 74, hex("00")), boardAnswer(12, 3, 74, 74) + be16(28) +
                                                 hex("C40B 0200 00000000 C0030000 08000000 02000000"
                                                     "C0FEFFFF 01000000")},
        // at rest: 24 degrees, 200 mA
        {boardCommand(12, 3, 74), boardAnswer(12, 3, 74, 74) + be16(4) + hex("0002 C800")},
        {boardCommand(10, 0, 74),
         boardAnswer(10, 0, 74, 74) + be16(8) + hex("8813 E02E C05D 606D")},
        {boardCommand(10, 0, 93, le16(1392)),
         boardAnswer(10, 0, 93, 93) + be16(8) + hex("40FF1005 00000000")},
        {boardCommand(10, 0, 92, le16(1380) + le16(0) + le64(0x123456789AULL)),
         boardAnswer(10, 0, 92, 89)},
        {boardCommand(10, 0, 93, le16(1380)),
         boardAnswer(10, 0, 93, 93) + be16(8) + hex("9A78563412000000")},
        {boardCommand(12, 7, 92, le16(2601) + le16(0) + le64(5000)), boardAnswer(12, 7, 92, 89)},
        {boardCommand(11, 2, 93, le16(2905)),
         boardAnswer(11, 2, 93, 93) + be16(8) + hex("0200000B 00000000")},
    };
    std::uint32_t id = 1;
    for (const auto& row : rows) {
        EXPECT_EQ(boardReply(id, row.answer), client.ask(1307, id, row.command));
        ++id;
    }
    EXPECT_EQ(5000U, story.simulator.threshold(12, 7, 1, true));
    EXPECT_EQ(9000U, story.simulator.threshold(12, 6, 1, true));
    EXPECT_EQ(0x123456789AU, story.simulator.boardParameter(10, 0, 1380));
}

TEST(Wire, TellsVersionsAndFirmwareInEveryLayout) {
    const auto changed = [](const std::string& from, const std::string& to) {
        std::string text = Description::shippedText("3.1");
        return Description::parse(text.replace(text.find(from), from.size(), to));
    };
    // above the years the word has another layout: (3 + 256) << 22 | 5 << 16 | 7 << 8 | 9
    const Description newer = changed("hw = 2013.2.1.0", "hw = 3.7.5.9");
    const Bytes eight = zeroes(8);
    struct {
        Description description;
        unsigned hwid, address, command;
        Bytes data, answer;
    } const rows[] = {
        {shipped("3.1"), 10, 0, 70, {}, hex("00008134 03010400")},
        {newer, 10, 0, 70, {}, hex("0907C540 03010400")},
        {shipped("2.5"), 12, 1, 70, {}, hex("0000C428 02050002")}, // 2010.3.4.0, 2.5.2.0
        {shipped("3.1"), 12, 15, 73, eight, // of which only the board itself tells
         hex("00000200A109772E") + text("2019-03-11") + zeroes(2) + text("16:31:30") + zeroes(2) +
             hex("0001")},
        {shipped("3.0"), 11, 0, 73, eight,
         hex("0000010071EE330D") + text("2017-05-30") + zeroes(2) + text("10:12:44") + zeroes(2) +
             hex("0001")},
        {shipped("3.0"), 12, 7, 73, eight,
         hex("C8F0") + text("2017-05-30") + zeroes(5) + text("10:20:09") + zeroes(6) + hex("00")},
        {shipped("2.5"), 12, 3, 73, eight,
         hex("B790") + text("2011-09-02") + zeroes(5) + text("11:31:02") + zeroes(6) + hex("00")},
        // a full field has no end of its own
        {changed("bd = 2019-03-12 09:41:07", "bd = 12_March_2019 09:41:07.25"), 10, 0, 73, eight,
         hex("00000300E7031B5D") + text("12_March_201") + text("09:41:07.2") + hex("0001")},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(toHex(row.answer));
        Story story(Story::fast(), row.description);
        const auto size = static_cast<std::uint32_t>(row.answer.size());
        EXPECT_EQ(
            boardReply(1, boardAnswer(row.hwid, row.address, row.command, row.command) +
                              be16(size) + row.answer),
            story.client->ask(1307, 1, boardCommand(row.hwid, row.address, row.command, row.data)));
    }
}

TEST(Wire, LetsTheBoardRefuseABoardCommand) {
    Story story;
    struct {
        Bytes command;
        std::uint32_t code;
    } const rows[] = {
        {boardCommand(11, 16, 70), 0x10010000},
        {boardCommand(15, 1, 70), 0x10010000},
        {boardCommand(10, 0, 71), 0x11020000},
        {boardCommand(10, 0, 93, hex("01")), 0x11030000},
        {boardCommand(10, 0, 70, hex("00")), 0x11030000},
        {boardCommand(10, 0, 73), 0x11030000},
        {boardCommand(10, 0, 74, hex("04")), 0x13160000},
        {boardCommand(12, 0, 93, le16(1377)), 0x13010000},
        {boardCommand(10, 0, 93, le16(2504)), 0x13010000},
        {boardCommand(10, 0, 93, le16(1385)), 0x13030000},
        {boardCommand(10, 0, 92, le16(1390) + le16(0) + le64(1)), 0x13020000},
        {boardCommand(10, 0, 92, le16(1386) + le16(0) + le64(256)), 0x13090000},
        {boardCommand(10, 0, 92, le16(1385) + le16(0) + le64(1)), 0x13090000},
        {boardCommand(10, 0, 92, le16(1379) + le16(0) + le64(26000000)), 0x13090000},
        {boardCommand(10, 0, 92, le16(1378) + le16(0) + le64(100001)), 0x13090000},
        {boardCommand(12, 3, 92, le16(2501) + le16(0) + le64(9001)), 0x13090000},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(toHex(row.command));
        expectBoardRefusal(*story.client, row.command, row.code);
    }
}

TEST(Wire, AnswersWithStatesAndKeepsThem) {
    Story story;
    Client& client = *story.client;
    Bytes channels(256, 1);
    channels[3] = 0;
    EXPECT_EQ("1301 #1", client.ask(1309, 1, be16(256) + channels));
    EXPECT_EQ(described({2, 1309, be16(256) + channels}), client.ask(1309, 2));
    EXPECT_FALSE(story.simulator.channelStates()[3]);

    story.simulator.setBoardStatus(11, 1, 3);
    client.send(1308, 3);
    const auto answer = client.readAnswer();
    ASSERT_TRUE(answer && answer->type == 1308);
    EXPECT_EQ(toHex(be32(34) + hex("0A000000 00000000 0B000000 00000000 0B010000 00000003")),
              toHex(Bytes(answer->payload.begin(), answer->payload.begin() + 28)));
    EXPECT_EQ(4U + 34 * 8, answer->payload.size());

    // nothing answers these
    client.send(1121, 4);
    client.send(1113, 5);
    EXPECT_EQ("1301 #6", client.ask(1120, 6, be32(1000)));
}

TEST(Wire, KeepsTheParametersOfProtocol2) {
    Story story(Story::fast(), shipped("2.5"));
    Client& client = *story.client;
    EXPECT_EQ("1115 #1: 05 53 FF", client.ask(1115, 1, be16(1363)));
    EXPECT_EQ("1301 #2", client.ask(1116, 2, be16(1370) + u8(9)));
    EXPECT_EQ("1115 #3: 05 5A 09", client.ask(1115, 3, be16(1370)));
    Bytes states(64, 1);
    states[63] = 0;
    EXPECT_EQ("1301 #4", client.ask(1116, 4, be16(1366) + be16(64) + states));
    EXPECT_EQ(described({5, 1115, be16(1366) + be16(64) + states}),
              client.ask(1115, 5, be16(1366)));
    EXPECT_EQ(9, story.simulator.generatorParameter(1370));
    // the boards of this generation know two commands; firmware 2.5.11.0 swaps its last two
    EXPECT_EQ(boardReply(6, boardAnswer(10, 0, 70, 70) + be16(8) + hex("00004129 0205000B")),
              client.ask(1307, 6, boardCommand(10, 0, 70)));
    expectBoardRefusal(client, boardCommand(10, 0, 93, le16(1390)), 0x11020000);
}

TEST(Wire, RefusesInTheFormOfTheGeneration) {
    Story v2(Story::fast(), shipped("2.5"));
    EXPECT_EQ("Unknown command 1308.", textV2(*v2.client, 1308, {}));
    EXPECT_EQ("Unknown command 1122.", textV2(*v2.client, 1122, uploadV3(0, {{}})));
    EXPECT_EQ("Unknown parameter 1364.", textV2(*v2.client, 1115, be16(1364)));

    Story v3;
    expectRefusalV3(*v3.client, 1115, be16(1363), 0x11160000);
    expectRefusalV3(*v3.client, 1109, be32(9002), 0x13090000);
    expectRefusalV3(*v3.client, 1307, zeroes(21), 0x11140000);
    expectRefusalV3(*v3.client, 1307, boardCommand(10, 0, 70) + u8(0), 0x11140000);
    expectRefusalV3(*v3.client, 1309, be16(255) + Bytes(255, 1), 0x11140000);
    expectRefusalV3(*v3.client, 1120, be32(60000001), 0x13160000);
    expectRefusalV3(*v3.client, 1119, {}, 0x13120000);
}

TEST(Wire, TakesUploadsOfBothForms) {
    const TestShot shots[] = {{30000, 10, {7}}, {40000, 20, {8}}};
    {
        Story story;
        Bytes payload = uploadV3(2, {shots[0]}, {0, 1, 1 | 16});
        payload[15] = 2;
        EXPECT_EQ("1310", story.client->ask(1122, 1, payload + emptyRecord(shots[1])).substr(0, 4))
            << "a delay while the phase counter goes on";
        payload = uploadV3(2, {shots[0]}, {0, 1, 2 | 16});
        payload[15] = 2;
        EXPECT_EQ("1301 #2", story.client->ask(1122, 2, payload + emptyRecord(shots[1])));
        const Trajectory trajectory = story.simulator.buffer(2);
        ASSERT_EQ(2U, trajectory.shots.size());
        EXPECT_EQ(18U, trajectory.flags);
        EXPECT_EQ(1U, trajectory.trigMode);
        EXPECT_EQ(std::vector<std::uint32_t>{1000000}, trajectory.shots[0].frequencies);
        EXPECT_EQ(Bytes{64}, trajectory.shots[0].phases);
        EXPECT_EQ(Bytes{7}, trajectory.shots[0].amplitudes);
        EXPECT_TRUE(trajectory.shots[1].amplitudes.empty());
        EXPECT_EQ(40000U, trajectory.shots[1].duration);
        EXPECT_EQ(20U, trajectory.shots[1].delay);
        EXPECT_EQ("1301 #3", story.client->ask(1122, 3, be32(2) + zeroes(12)));
        EXPECT_TRUE(story.simulator.buffer(2).shots.empty());
    }
    {
        Story story(Story::fast(), shipped("2.5"));
        // channels 1 to 63, two amplitudes for the first two of them
        const Bytes mask = hex("FEFFFFFFFFFFFFFF");
        const Bytes payload =
            be32(1) + be32(64) + be32(63) + mask + be32(1) + record({30000, 20000, {7, 8}});
        EXPECT_EQ("1301 #1", story.client->ask(1102, 1, payload));
        const Trajectory trajectory = story.simulator.buffer(1);
        ASSERT_EQ(1U, trajectory.shots.size());
        EXPECT_FALSE(trajectory.channels[0]);
        EXPECT_TRUE(trajectory.channels[63]);
        EXPECT_EQ((Bytes{7, 8}), trajectory.shots[0].amplitudes);
    }
}

TEST(Wire, RefusesUploadsThatTheHardwareCannotShoot) {
    Story story;
    const Bytes good = uploadV3(0, {{}});
    const Bytes noFrequency = uploadV3(0, {}) + hex("0000 0001 00 0001 00 00002710 00000000");
    const auto withCount = [](Bytes payload, unsigned count) {
        payload[15] = static_cast<unsigned char>(count);
        return payload;
    };
    struct {
        Bytes payload;
        std::uint32_t code;
    } const rows[] = {
        {{}, 0x11140000},
        {Bytes(good.begin(), good.end() - 1), 0x11140000},
        {good + u8(0), 0x11140000},
        {withCount(good, 2), 0x11140000},
        {uploadV3(8, {{}}), 0x13160000},
        {uploadV3(0, std::vector<TestShot>(2049)), 0x130B0000},
        {withCount(noFrequency, 1), 0x13100000},
        {uploadV3(0, {{10000, 0, {1, 2}}}), 0x13160000},
        {uploadV3(0, {{9999, 0}}), 0x13160000},
        {uploadV3(0, {{2000001, 0}}), 0x13160000},
        {uploadV3(0, {{10000, 9990001}}), 0x13160000},
        {uploadV3(0, {{10000, 4294967295U}}), 0x13160000},
        {uploadV3(0, {{10000, 2399}}, {2}), 0x13160000},
        {uploadV3(0, std::vector<TestShot>(5), {2}), 0x130B0000},
        {uploadV3(0, {{}}, {3}), 0x13090000},
        {uploadV3(0, {{}}, {0, 4}), 0x13090000},
        {uploadV3(0, {{}}, {0, 0, 0, 2}), 0x13090000},
        {uploadV3(0, {{}}, {0, 0, 128}), 0x13090000},
        {uploadV3(0, {{}}, {0, 0, 16}), 0x13090000},
        {uploadV3(0, {{}}, {0, 0, 8 | 64}), 0x13090000},
        {uploadV3(0, {{}}, {1, 0, 8}), 0x13090000},
        {uploadV3(0, {{10000, 2400}}, {2, 0, 32}), 0x13090000},
    };
    for (std::size_t i = 0; i < std::size(rows); ++i) {
        SCOPED_TRACE(i);
        expectRefusalV3(*story.client, 1122, rows[i].payload, rows[i].code);
    }
    EXPECT_TRUE(story.simulator.buffer(0).shots.empty());
    // flag 4, and the parameter that turns the checks off
    EXPECT_EQ("1301 #1", story.client->ask(1122, 1, uploadV3(0, {{1, 0}}, {0, 0, 4})));
    story.simulator.setBoardParameter(10, 0, 1385, 0xC3D1E58A);
    EXPECT_EQ("1301 #2", story.client->ask(1122, 2, uploadV3(0, {{2500000, 0}})));
    // the amplitude threshold isn't a matter of timing
    story.simulator.setBoardParameter(10, 0, 1386, 199);
    expectRefusalV3(*story.client, 1122, uploadV3(0, {{}}), 0x13160000);
}

TEST(Wire, RefusesStartsThatMakeNoSense) {
    Story v3;
    EXPECT_EQ("1301 #1", v3.client->ask(1122, 1, uploadV3(0, {{}, {}})));
    EXPECT_EQ("1301 #2", v3.client->ask(1122, 2, uploadV3(1, {{}, {}}, {0, 2})));
    expectRefusalV3(*v3.client, 1123, startV3(8, 1, 0, 5), 0x13160000);
    expectRefusalV3(*v3.client, 1123, startV3(7, 1, 0, 5), 0x13120000);
    expectRefusalV3(*v3.client, 1123, startV3(0, 0, 0, 5), 0x13090000);
    expectRefusalV3(*v3.client, 1123, startV3(0, 2, 85000001, 5), 0x13160000);
    expectRefusalV3(*v3.client, 1123, startV3(1, 2, 1, 5), 0x13160000);
    expectRefusalV3(*v3.client, 1123, startV3(0, 1, 0, 5) + u8(0), 0x11140000);
    EXPECT_TRUE(v3.simulator.executions().empty());

    // Here the modes come with the start.
    Story v2(Story::fast(), shipped("2.5"));
    EXPECT_EQ("1301 #1", v2.client->ask(1102, 1, uploadV2(0, 64, {{30000, 9999}})));
    EXPECT_EQ("Bad electronic mode 3.", textV2(*v2.client, 1103, startV2(0, 1, 0, 5, {3})));
    EXPECT_EQ("Shot 0: duration and delay 39999 us, allowed are 40000 to 10000000 us.",
              textV2(*v2.client, 1103, startV2(0, 1, 0, 5)));
    EXPECT_EQ("1301 #9", v2.client->ask(1103, 9, startV2(0, 1, 0, 0, {1})));
}
