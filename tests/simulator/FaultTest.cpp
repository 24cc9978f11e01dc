#include "Client.h"
#include "fussim/CommandLine.h"

#include <algorithm>
#include <chrono>

using namespace fus::simulator;
using namespace fus::simulator::test;

namespace {

template <class Function>
std::string messageOf(Function function) {
    try {
        function();
    } catch (const std::exception& error) {
        return error.what();
    }
    return "";
}

constexpr unsigned WAIT = 1120;

} // namespace

TEST(Fault, SaysWhatItDoesNotUnderstand) {
    const char* const rows[][2] = {
        {"", "unknown fault ''"},
        {"latte:ms=3", "unknown fault 'latte'"},
        {"late", "'late' needs 'ms'"},
        {"late:ms", "'ms' needs a value"},
        {"late:ms=soon", "'ms' isn't a number: 'soon'"},
        {"late:ms=-1", "'ms' isn't a number: '-1'"},
        {"late:ms=1,text=x", "'late' doesn't take 'text'"},
        {"missing:command=70000", "'command' has 16 bits: '70000'"},
        {"missing:command=CMD_NONE", "'command' is neither a number nor a known name: 'CMD_NONE'"},
        {"missing:nth=0", "'nth' counts from 1"},
        {"missing:command packet=1", "'missing' doesn't take 'command packet'"},
        {"reading:raw=1", "'reading' needs 'measure'"},
        {"board-off:shot=1", "'board-off' needs 'address'"},
        {"late:mech=CMD_DANCE,ms=1", "'mech' is neither a number nor a known name: 'CMD_DANCE'"},
        {"missing:board=CMD_CRC", "'board' is neither a number nor a known name: 'CMD_CRC'"},
        {"board-data:size=65536", "'size' has 16 bits: '65536'"},
        {"backpanel-error:action=erase", "'action' is read, set or clear: 'erase'"},
        {"bad-reading:measure=", "'bad-reading' needs 'measure'"},
        {"stop", "'stop' needs 'reason'"},
        {"stop:reason=boredom", "'reason' is none of those in the help: 'boredom'"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(row[1], messageOf([&] { Fault::parse(row[0]); }));
    }
    const Fault fault =
        Fault::parse("error:command=CMD_BOARD_CMD,nth=2,code=0x13090000,text=a,b=c");
    EXPECT_EQ(1307U, fault.command);
    EXPECT_EQ(2U, fault.nth);
    EXPECT_EQ(0x13090000U, fault.value);
    EXPECT_EQ("a,b=c", fault.text);
}

TEST(Fault, DistortsAnAnswer) {
    struct {
        const char* fault;
        const char* answer;
    } const rows[] = {
        {"wrong-type:type=1308", "1308 #1"},
        {"wrong-id", "1301 #1001"},
        {"wrong-id:command=CMD_WAIT,id=9", "1301 #9"},
        {"wrong-id:command=CMD_BOARD_CMD,id=9", "1301 #1"},
        {"payload-size:size=2,packet=ANSWER_OK", "1301 #1: 00 00"},
        {"payload-size:size=2,packet=1302", "1301 #1"},
        {"error-plain", "1302 #1"},
        {"error-v2:text=no", "1303 #1: 00 00 6E 6F"},
        {"error:code=0x12000000,arg=3,text=n",
         "1310 #1: 12 00 00 00 00 00 00 03 0A 00 00 02 00 00 00 00 6E 00"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.fault);
        Story story;
        story.simulator.addFault(row.fault);
        EXPECT_EQ(row.answer, story.client->ask(WAIT, 1, be32(0)));
        story.simulator.clearFaults();
        EXPECT_EQ("1301 #2", story.client->ask(WAIT, 2, be32(0)));
    }
}

TEST(Fault, StrikesTheAnswersOfTheBoardThatItNames) {
    const Bytes nothing = zeroes(8);
    const auto answerOf = [](unsigned address, const Bytes& data) {
        return described({1, 1307, boardAnswer(12, address, 73, 73) + data});
    };
    const Bytes sound = be16(32) + hex("00000200A109772E") + text("2019-03-11") + zeroes(2) +
                        text("16:31:30") + zeroes(2) + hex("0001");
    const Bytes odd = Bytes(sound.begin(), sound.end() - 1) + hex("02");
    const Bytes cut = be16(31) + Bytes(sound.begin() + 2, sound.end() - 1);
    struct {
        const char* fault;
        std::string answer;
    } const rows[] = {
        {"missing:board=CMD_BOARD_VERSION", answerOf(15, sound)},
        {"missing:board=73,hwid=11", answerOf(15, sound)},
        {"missing:address=0", answerOf(15, sound)},
        {"missing:board=CMD_BOARD_CRC_DATE,hwid=12,address=15", "1301 #2"},
        {"late:hwid=12,ms=60000", "1301 #2"},
        {"crc-format:format=2,address=15", answerOf(15, odd)},
        {"board-data:size=31,board=CMD_BOARD_CRC_DATE", answerOf(15, cut)},
        {"board-data:size=0", answerOf(15, be16(0))},
        {"board-error:board=73,code=0x13040000,text=x",
         described(
             {1, 1307,
              boardAnswer(12, 15, 73, 78) + be16(9) + le32(0x13040000) + le32(0) + text("x")})},
        {"board-error:board=73,address=14", answerOf(15, sound)},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.fault);
        Story story;
        story.simulator.addFault(row.fault);
        story.client->send(1307, 1, boardCommand(12, 15, 73, nothing));
        story.client->send(WAIT, 2, be32(0));
        EXPECT_EQ(row.answer, story.client->nextAnswer());
    }
}

TEST(Fault, RefusesOneCommandForTheBackPanel) {
    const Bytes read = hex("9DC0178D 00000000");
    const Bytes set = hex("9DC0178E 00000000 00000001 01 01");
    Story story;
    story.simulator.addFault("backpanel-error:action=set,code=0x13070000,arg=5,text=n");
    EXPECT_EQ("1311", story.client->ask(1311, 1, read).substr(0, 4));
    EXPECT_EQ("1310 #2: 13 07 00 00 00 00 00 05 0A 00 00 02 00 00 00 00 6E 00",
              story.client->ask(1311, 2, set));
    EXPECT_EQ(256U, story.simulator.backPanel().snt.size());
    EXPECT_EQ("1301 #3", story.client->ask(WAIT, 3, be32(0))) << "the link stays";
}

TEST(Fault, CutsTheLinkInTheMiddleOfAnAnswer) {
    const Bytes whole = packet(1311, 1, be32(256) + Bytes(512, 1));
    for (std::size_t byte : {0U, 5U, 100U, 526U, 1000U}) {
        SCOPED_TRACE(byte);
        Story story;
        story.simulator.addFault("cut-answer:command=CMD_BACKPANEL_CONFIG,byte=" +
                                 std::to_string(byte));
        EXPECT_EQ("1301 #9", story.client->ask(WAIT, 9, be32(0)));
        story.client->send(1311, 1, hex("9DC0178D 00000000"));
        const Bytes sent = story.client->read(2000);
        EXPECT_EQ(toHex(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(
                                                                 std::min(byte, whole.size())))),
                  toHex(sent));
    }
}

TEST(Fault, StrikesTheNthTime) {
    Story story;
    story.simulator.addFault("missing:command=CMD_WAIT,nth=2");
    EXPECT_EQ("1301 #1", story.client->ask(WAIT, 1, be32(0)));
    story.client->send(WAIT, 2, be32(0));
    EXPECT_EQ("1301 #3", story.client->ask(WAIT, 3, be32(0)));
}

TEST(Fault, KeepsARefusedCommandFromBeingCarriedOut) {
    Story story;
    const Bytes write = boardCommand(10, 0, 92, le16(1377) + le16(0) + le64(5));
    story.simulator.addFault("board-error:code=0x13070000,arg=4,text=x");
    EXPECT_EQ(
        described({1, 1307,
                   boardAnswer(10, 0, 92, 78) + be16(9) + le32(0x13070000) + le32(4) + text("x")}),
        story.client->ask(1307, 1, write));
    EXPECT_EQ("1310", story.client->ask(1307, 2, hex("00")).substr(0, 4));
    EXPECT_EQ(0U, story.simulator.boardParameter(10, 0, 1377));
    EXPECT_EQ("1301 #3", story.client->ask(WAIT, 3, be32(0)));
}

TEST(Fault, LetsALateAnswerBeOvertaken) {
    Story story;
    story.simulator.addFault("late:command=CMD_BOARD_CMD,ms=120");
    const auto begin = std::chrono::steady_clock::now();
    story.client->send(1307, 1, boardCommand(10, 0, 70));
    EXPECT_EQ("1301 #2", story.client->ask(WAIT, 2, be32(0)));
    EXPECT_EQ("1307 #1", story.client->nextAnswer().substr(0, 7));
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(120));
}

TEST(Fault, MovesTheAcknowledgementOfAStart) {
    const std::string ack = toHex(packet(1301, 2));
    struct {
        const char* fault;
        std::size_t position; // of the acknowledgement among the packets
    } const rows[] = {{"results-with-ack", 0}, {"results-before-ack", 1}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.fault);
        Story story;
        story.simulator.addFault(row.fault);
        EXPECT_EQ("1301 #1", story.client->ask(1122, 1, uploadV3(0, {{}})));
        story.client->send(1123, 2, startV3(0, 1, 0, 500));
        const std::string segment = toHex(story.client->readSome());
        const std::size_t shotResult = 38 + 1024;
        EXPECT_EQ(row.position * shotResult * 3, segment.find(ack));
        EXPECT_LT(shotResult * 3, segment.size());
    }
}

TEST(Fault, CutsTheLinkAtAByte) {
    for (std::uint32_t byte : {0U, 3U, 4U, 5000U, 20000U}) {
        SCOPED_TRACE(byte);
        Options options = Story::fast();
        options.faults.push_back(Fault::parse("close-at:byte=" + std::to_string(byte)));
        Simulator simulator(Description::builtIn(), options);
        simulator.start();
        Client client(simulator);
        client.send(1122, 1, uploadV3(0, {{}}));
        client.send(1123, 2, startV3(0, 4000000000U, 0, 500));
        EXPECT_EQ(byte, client.read(1 << 20).size());
        EXPECT_TRUE(simulator.waitForClients(0, PATIENCE_MS));
        EXPECT_TRUE(simulator.waitUntilIdle(PATIENCE_MS));
    }
}

TEST(Fault, OtherMisbehaviour) {
    Story story;
    story.simulator.addFault("single-bytes");
    story.simulator.addFault("answer-silent");
    story.simulator.addFault("shot-error:shot=1,text=burnt");
    EXPECT_EQ("1301 #1", story.client->ask(1113, 1));
    EXPECT_EQ("1301 #2", story.client->ask(1122, 2, uploadV3(0, {{}, {}})));
    EXPECT_EQ("1301 #3", story.client->ask(1123, 3, startV3(0, 1, 0, 500)));
    EXPECT_EQ("1304 #500", story.client->nextAnswer().substr(0, 9));
    const auto answer = story.client->readAnswer();
    ASSERT_TRUE(answer);
    EXPECT_EQ(30, answer->payload.at(22));
    EXPECT_EQ(text("burnt"), Bytes(answer->payload.begin() + 28, answer->payload.end()));
    EXPECT_EQ("1304 #500", story.client->nextAnswer().substr(0, 9));
    EXPECT_EQ("1301 #4", story.client->ask(1112, 4));
}

TEST(Fault, TellsWhichKeysItNeeds) {
    const std::string help = Fault::help();
    for (const char* keys : {" ms [command packet ", " raw measure [hwid address]",
                             " address [execution shot]", " [command nth]", " byte\n"}) {
        EXPECT_NE(std::string::npos, help.find(keys)) << keys;
    }
}

TEST(CommandLine, SaysWhatItDoesNotUnderstand) {
    const struct {
        std::vector<std::string> arguments;
        const char* fault;
    } rows[] = {
        {{"port"}, "unknown option 'port'"},
        {{"--port"}, "--port needs a value"},
        {{"--port", "70000"}, "--port: '70000' isn't a number from 0 to 65535"},
        {{"--port="}, "--port: '' isn't a number from 0 to 65535"},
        {{"--verbose=1"}, "--verbose takes no value"},
        {{"--time-scale", "nan"}, "--time-scale: 'nan' isn't a number from 0 to 1000"},
        {{"--fault", "late"}, "--fault: 'late' needs 'ms'"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(row.fault, messageOf([&] { CommandLine::parse(row.arguments); }));
    }
    const CommandLine line = CommandLine::parse(
        {"--port=0", "--fault", "missing:nth=1", "--time-scale", "0.5", "--fault", "single-bytes"});
    EXPECT_EQ(0, line.options.port);
    EXPECT_EQ(0.5, line.options.timeScale);
    EXPECT_EQ(2U, line.options.faults.size());
}
