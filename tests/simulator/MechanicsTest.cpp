#include "Briefs.h"

#include <cmath>
#include <limits>

using namespace fus::simulator;
using namespace fus::simulator::test;

namespace {

constexpr unsigned GET = 0x1000, SET = 0x1001, MOVE_DURATION = 0x1002, MOVE_STEPS = 0x1003,
                   INIT = 0x1004, TRAJ_SEND = 0x1007, TRAJ_EXEC = 0x1008, TRAJ_TRIG = 0x1009,
                   STOP = 0x100A, TRAJ_RESET = 0x100B, MOVE_TO = 0x100C, STATUS = 0x100D,
                   LOG_GET = 0x100E;
constexpr std::uint32_t ORIGIN = 1000000;
const Bytes SEARCH_UP = u8(0) + u8(160) + u8(130) + u8(10);

std::string hexWord(std::uint32_t word) {
    char digits[16];
    std::snprintf(digits, sizeof digits, "%08X", word);
    return digits;
}

// "Y" for a success, "N:20150000" for a refusal, "=1C 48 0F 00" for data; a "~" in front of what
// comes of itself.
std::string briefOf(const Answer& answer) {
    if (answer.payload.size() < 18 || (answer.type != 1307 && answer.type != 1207)) {
        return described(answer);
    }
    const std::string sign = answer.type == 1207 ? "~" : "";
    const Bytes& payload = answer.payload;
    const unsigned result = unsigned{payload[16]} << 8U | payload[17];
    const Bytes rest(payload.begin() +
                         std::min<std::ptrdiff_t>(20, payload.end() - payload.begin()),
                     payload.end());
    if (result == 'N' && rest.size() >= 4) {
        std::uint32_t code = 0;
        for (std::size_t i = 4; i > 0; --i) {
            code = code << 8U | rest[i - 1];
        }
        return sign + "N:" + hexWord(code);
    }
    const std::string letter = result == 'Y' ? "Y" : "=";
    return sign + letter + (payload.size() > 18 && result == 'Y' ? "+" : "") + toHex(rest);
}

// A client of the mechanical board.
struct Bench {
    explicit Bench(const Options& options = Story::fast(), const std::string& protocol = "3.1")
        : story(options, Description::shipped(protocol)), sim(story.simulator) {}

    void send(unsigned command, const Bytes& data = {}, std::uint32_t time = 0) {
        story.client->send(1307, ++id,
                           zeroes(12) + be32(time) + u8(15) + u8(0) + be16(command) +
                               be16(static_cast<std::uint32_t>(data.size())) + data);
    }
    std::string next() {
        const auto answer = story.client->readAnswer();
        EXPECT_TRUE(answer && answer->id <= id);
        return answer ? briefOf(*answer) : "end";
    }
    std::string ask(unsigned command, const Bytes& data = {}, std::uint32_t time = 0) {
        send(command, data, time);
        return next();
    }
    // Both answers.
    std::string askTwice(unsigned command, const Bytes& data = {}, std::uint32_t time = 0) {
        const std::string first = ask(command, data, time);
        return first + " " + next();
    }
    std::string set(unsigned axis, unsigned parameter, std::uint32_t value) {
        return ask(SET, le32(value) + u8(axis) + u8(parameter));
    }
    // All axes know where they are, and have bounds of 9000 steps to both sides.
    void initialize() {
        for (unsigned axis = 0; axis < 3; ++axis) {
            sim.setMechParameter(axis, 1, 1);
            sim.setMechParameter(axis, 2, ORIGIN);
            sim.setMechParameter(axis, 15, 9000);
            sim.setMechParameter(axis, 16, static_cast<std::uint32_t>(-9000));
        }
    }
    std::uint32_t positionOf(unsigned axis) { return sim.mechanics().axes.at(axis).position; }

    Story story;
    Simulator& sim;
    std::uint32_t id = 0;
};

Bytes moveTo(std::uint32_t axis0, std::uint32_t axis1, std::uint32_t axis2, std::uint32_t ms) {
    return le32(axis0) + le32(axis1) + le32(axis2) + le32(ms);
}

Bytes moves(unsigned axis, const std::vector<std::pair<int, std::uint32_t>>& list) {
    Bytes data = u8(static_cast<std::uint32_t>(list.size())) + u8(axis) + le16(0);
    for (const auto& [offset, ms] : list) {
        data += le32(ORIGIN + static_cast<std::uint32_t>(offset)) + le32(ms);
    }
    return data;
}

Bytes repeated(std::uint32_t delay, std::uint32_t count) {
    return le32(delay) + le32(count);
}

} // namespace

TEST(Mechanics, AnswersByteForByte) {
    Bench bench;
    struct {
        unsigned command;
        const char* data;
        const char* answer;
    } const rows[] = {
        {GET, "00 00", "10 00 10 00 00 04 1C 48 0F 00"},
        {SET, "34 12 00 00 01 0F", "10 01 00 59"},
        {STATUS, "", "10 0D 10 0D 00 04 00 00 00 00"},
        {STOP, "",
         "10 0A 00 4E 00 1F 00 00 15 20 00 00 00 00 "
         "4E 6F 20 6F 6E 67 6F 69 6E 67 20 64 69 73 70 6C 61 63 65 6D 65 6E 74"},
        {93, "10 0E", "00 5D 00 5D 00 08 02 00 00 00 00 00 00 00"},
        {0x1005, "00",
         "10 05 00 4E 00 23 00 00 02 11 05 10 00 00 "
         "55 6E 6B 6E 6F 77 6E 20 62 6F 61 72 64 20 63 6F 6D 6D 61 6E 64 20 34 31 30 31 2E"},
    };
    for (const auto& row : rows) {
        bench.send(row.command, hex(row.data));
        const auto answer = bench.story.client->readAnswer();
        ASSERT_TRUE(answer);
        EXPECT_EQ(toHex(zeroes(12) + hex("0F 00") + hex(row.answer)), toHex(answer->payload));
    }
    EXPECT_EQ(0x1234U, bench.sim.mechParameter(1, 15));
}

TEST(Mechanics, KnowsTheTypesOfItsParameters) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    struct {
        unsigned axis, parameter;
        std::uint32_t value;
        const char* answer;
    } const rows[] = {
        {0, 0, 1, "N:200C0000"},
        {2, 28, 1, "N:200C021C"},
        {0, 29, 1, "N:200B001D"},
        {3, 5, 1, "N:20030300"},
        {0, 1, 1, "N:200D0001"},
        {0, 1, 0, "Y"},
        {1, 4, 2, "N:200D0104"},
        {1, 4, 1, "Y"},
        {0, 13, 256, "N:200D000D"},
        {0, 13, 255, "Y"},
        {0, 9, 3, "N:200D0009"},
        {0, 5, floatBits(nan), "N:200D0005"},
        {0, 5, floatBits(1.5F), "Y"},
        {0, 16, 0xFFFFFF00, "Y"},
        {2, 22, 40, "Y"},
    };
    Bench bench;
    for (const auto& row : rows) {
        EXPECT_EQ(row.answer, bench.set(row.axis, row.parameter, row.value))
            << row.axis << ", " << row.parameter;
    }
    EXPECT_EQ("=28 00 00 00", bench.ask(GET, hex("00 16"))) << "one for all axes";
    EXPECT_EQ("=03 00 00 00", bench.ask(GET, hex("00 17")));
    EXPECT_EQ("=00 00 C0 3F", bench.ask(GET, hex("00 05")));
    EXPECT_EQ("N:11030000", bench.ask(GET, hex("00")));
    Bench old(Story::fast(), "2.5");
    EXPECT_EQ("N:200B001C", old.ask(GET, hex("00 1C")))
        << "protocol 1 has no DAC value of a search";
    EXPECT_EQ("=01 00 00 00 00 00 00 00", old.ask(93, hex("10 0E")));
}

TEST(Mechanics, FindsReferencesAndSaysWhyNot) {
    struct {
        const char* search; // axis, maximum, first, step
        const char* fault;
        unsigned zeroCount;
        const char* answers;
        std::uint32_t status, origin, origin2;
        unsigned dac;
    } const rows[] = {
        {"00 A0 82 0A", "", 1, "Y ~Y", 0, ORIGIN, 0, 140},
        {"00 32 78 14", "", 1, "Y ~Y", 0, ORIGIN, 0, 100},
        {"01 A0 90 01", "", 2, "Y ~Y", 0, ORIGIN, 1002000, 144},
        {"01 32 64 0A", "", 2, "Y ~Y", 0, ORIGIN, 1002000, 100},
        {"02 A0 90 0A", "", 1, "Y ~Y", 0, ORIGIN, 0, 144},
        {"02 32 64 0A", "", 1, "Y ~Y", 0, 964000, 0, 100},
        {"00 A0 90 0A", "", 2, "Y ~N:220000FF", 0x20070000, 0, 0, 144},
        {"01 A0 90 0A", "no-reference:axis=1,reference=2", 2, "Y ~N:220000FF", 0x20070100, 0, 0,
         144},
        {"02 A0 90 0A", "no-reference:axis=2", 1, "Y ~N:220000FF", 0x20060200, 0, 0, 144},
        {"00 A0 82 0A", "axis-block:axis=0", 1, "Y ~N:220000FF", 0x20010000, 0, 0, 160},
        {"00 32 64 0A", "axis-block:axis=0,at=1000500", 1, "Y ~N:220000FF", 0x20060000, 0, 0, 100},
        {"00 A0 82 0A", "encoder-cable:axis=0", 1, "Y ~N:220000FF", 0x20010000, 0, 0, 160},
        {"00 8A 82 04", "", 1, "Y ~N:220000FF", 0x20010000, 0, 0, 138},
        {"00 A0 82 0A", "motor-cable:axis=0", 1, "N:200E0000 -", 0, 0, 0, 0},
        {"00 7F 78 0A", "", 1, "N:20050000 -", 0, 0, 0, 0},
        {"00 82 A0 0A", "", 1, "N:20050000 -", 0, 0, 0, 0},
        {"00 A0 64 0A", "", 1, "N:20050000 -", 0, 0, 0, 0},
        {"00 A0 82 00", "", 1, "N:20050000 -", 0, 0, 0, 0},
        {"03 A0 82 0A", "", 1, "N:20030300 -", 0, 0, 0, 0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(std::string(row.search) + " " + row.fault);
        Bench bench;
        bench.set(1, 4, 1);
        const Bytes data = hex(row.search);
        bench.sim.setMechParameter(data[0] % 3U, 9, row.zeroCount);
        if (*row.fault != '\0') {
            bench.sim.addFault(row.fault);
        }
        const std::string first = bench.ask(INIT, data, 30000);
        EXPECT_EQ(row.answers, first + " " + (first == "Y" ? bench.next() : "-"));
        const MechanicsState state = bench.sim.mechanics();
        const AxisState& axis = state.axes[data[0] % 3U];
        EXPECT_EQ(row.origin != 0, axis.isOriginFound);
        EXPECT_EQ(hexWord(row.status), hexWord(state.status));
        EXPECT_EQ(row.origin, axis.origin);
        EXPECT_EQ(row.origin2, axis.origin2);
        EXPECT_EQ(row.dac, axis.searchDac);
    }
    Bench wrong; // wired the other way round than it is told
    EXPECT_EQ("Y ~N:220000FF", wrong.askTwice(INIT, hex("01 A0 90 0A")));
    EXPECT_EQ("=00 01 22 20", wrong.ask(STATUS));
}

TEST(Mechanics, RefusesMotionsThatCannotBe) {
    struct {
        bool isInitialized;
        unsigned command;
        Bytes data;
        const char* answer;
    } const rows[] = {
        {false, MOVE_TO, moveTo(ORIGIN, 0, 0, 500), "N:20040000"},
        {false, TRAJ_EXEC, repeated(0, 1), "N:200F0000"},
        {true, MOVE_TO, moveTo(0, 0, 0, 500), "N:200F0000"},
        {true, MOVE_TO, moveTo(0, ORIGIN, 0, 0),
         "N:200F0000"}, // the position is taken for the time
        {true, MOVE_TO, moveTo(0, ORIGIN + 9001, 0, 500), "N:20110100"},
        {true, MOVE_TO, moveTo(ORIGIN + 9000, 0, 0, 100), "N:201A0000"},
        {true, MOVE_TO, le32(ORIGIN) + le32(500), "N:11030000"},
        {true, TRAJ_EXEC, repeated(0, 0), "N:20160000"},
        {true, TRAJ_EXEC, le32(0) + u8(1), "N:11030000"},
        {true, TRAJ_TRIG, repeated(0, 1) + u8(2), "N:20200002"},
        {true, TRAJ_SEND, moves(3, {{0, 100}}), "N:20030300"},
        {true, TRAJ_SEND, moves(0, {}), "N:200F0000"},
        {true, TRAJ_SEND, moves(0, std::vector<std::pair<int, std::uint32_t>>(101, {0, 9})),
         "N:20170000"},
        {true, TRAJ_SEND, moves(1, {{0, 100}, {5, 0}}), "Y ~N:20100101"},
        {true, TRAJ_SEND, moves(2, {{-9001, 100}}), "Y ~N:20110200"},
        {true, TRAJ_SEND, moves(0, {{0, 10}, {2001, 99}}), "Y ~N:20120001"},
        {true, TRAJ_SEND, moves(0, {{0, 10}, {2000, 99}}), "Y ~Y"},
        {true, MOVE_STEPS, le32(5) + u8(3) + u8(200), "N:20030300"},
        {true, LOG_GET, u8(0) + u8(0), "N:201C0000"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.answer);
        Bench bench;
        if (row.isInitialized) {
            bench.initialize();
        }
        if (row.command == TRAJ_TRIG) {
            bench.askTwice(TRAJ_SEND, moves(0, {{0, 500}}));
        }
        const bool isTwice = std::string(row.answer).find('~') != std::string::npos;
        EXPECT_EQ(row.answer, isTwice ? bench.askTwice(row.command, row.data)
                                      : bench.ask(row.command, row.data));
        EXPECT_TRUE(bench.sim.waitForRest(PATIENCE_MS));
    }
}

TEST(Mechanics, MovesByDacValueUntilSomethingStopsIt) {
    struct {
        unsigned command;
        std::uint32_t amount;
        unsigned dac;
        const char* fault;
        bool hasProtection;
        std::uint32_t time;
        const char* result;
        std::uint32_t position;
        double duration;
    } const rows[] = {
        {MOVE_DURATION, 100, 159, "", true, 150, "~Y", 1003000, 100},
        {MOVE_DURATION, 100, 95, "", true, 150, "~Y", 1000000, 100},
        {MOVE_DURATION, 100, 127, "", true, 150, "~Y", 1001500, 100},
        {MOVE_STEPS, 3000, 159, "", true, 0, "~Y", 1004500, 200},
        {MOVE_DURATION, 900, 159, "", true, 0, "~N:220000FF", 1012000, 760},
        {MOVE_DURATION, 900, 159, "", false, 0, "~Y", 1012000, 900},
        {MOVE_DURATION, 900, 130, "", true, 0, "~N:220000FF", 1001500, 60},
        {MOVE_STEPS, 3000, 159, "axis-block:axis=0,at=1002100", true, 0, "~N:220000FF", 1002100,
         100},
        {MOVE_STEPS, 3000, 159, "", true, 199, "~N:12000000", 1004500, 200},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(std::to_string(row.dac) + " " + row.fault);
        Bench bench;
        bench.sim.setMechParameter(0, 26, row.hasProtection ? 1 : 0);
        if (*row.fault != '\0') {
            bench.sim.addFault(row.fault);
        }
        EXPECT_EQ(std::string("Y ") + row.result,
                  bench.askTwice(row.command, le32(row.amount) + u8(0) + u8(row.dac), row.time));
        ASSERT_TRUE(bench.sim.waitForRest(PATIENCE_MS));
        const MechanicsState state = bench.sim.mechanics();
        EXPECT_EQ(row.position, state.axes[0].position);
        ASSERT_EQ(1U, state.motions.size());
        EXPECT_NEAR(row.duration, state.motions[0].duration, 0.01);
    }
}

TEST(Mechanics, GoesToPositionsOverTime) {
    Bench bench(Story::realTime());
    bench.initialize();
    EXPECT_EQ("Y", bench.ask(MOVE_TO, moveTo(1004500, 0, 998000, 300), 350));
    const auto begin = std::chrono::steady_clock::now();
    std::uint32_t last = 1001500;
    double fastest = 0;
    for (MechanicsState state = bench.sim.mechanics(); state.isMoving;
         state = bench.sim.mechanics()) {
        EXPECT_LE(last, state.axes[0].position);
        EXPECT_EQ(998500U, state.axes[1].position);
        EXPECT_LE(state.axes[2].speed, 0);
        last = state.axes[0].position;
        fastest = std::max(fastest, state.axes[0].speed);
    }
    EXPECT_GT(secondsSince(begin), 0.25);
    EXPECT_NEAR(3000 / 0.275, fastest, 1) << "ramps of 25 ms";
    EXPECT_EQ("~Y", bench.next());
    EXPECT_EQ(1004500U, bench.positionOf(0));
    EXPECT_EQ(998000U, bench.positionOf(2));
    EXPECT_EQ("=" + toHex(leFloat(static_cast<float>(3000.0 / 275 / 25))),
              bench.ask(GET, hex("00 11")));
    const std::string line = bench.sim.mechanics().axes[0].log.at(1);
    EXPECT_NE(std::string::npos, line.find("CMD_MOVE_TO done at 1004500")) << line;
    EXPECT_EQ("=" + toHex(text(line)), bench.ask(LOG_GET, hex("00 01")));
    EXPECT_EQ("N:201D0002", bench.ask(LOG_GET, hex("00 02")));
}

TEST(Mechanics, StoresRepeatsAndForgetsADisplacement) {
    Bench bench;
    bench.initialize();
    EXPECT_EQ("Y ~Y", bench.askTwice(TRAJ_SEND, moves(0, {{1500, 100}, {2500, 200}})));
    EXPECT_EQ("Y ~Y", bench.askTwice(TRAJ_SEND, moves(2, {{-1000, 500}})));
    EXPECT_EQ("=02 00 00 00", bench.ask(GET, hex("00 13")));
    EXPECT_EQ("Y ~Y", bench.askTwice(TRAJ_EXEC, repeated(50, 3)));
    MechanicsState state = bench.sim.mechanics();
    EXPECT_EQ(3 * 500 + 2 * 50, state.motions.at(0).duration);
    EXPECT_EQ(1002500U, state.axes[0].position);
    EXPECT_EQ(999000U, state.axes[2].position);
    EXPECT_EQ(2U, state.displacement[0].size());
    EXPECT_EQ("Y ~Y", bench.askTwice(TRAJ_SEND, moves(0, {{2500, 10}, {4500, 200}})));
    EXPECT_EQ("N:20130000", bench.ask(TRAJ_EXEC, repeated(0, 2))) << "it can't get back in time";
    EXPECT_EQ("Y ~Y", bench.askTwice(TRAJ_EXEC, repeated(0, 1)));
    EXPECT_EQ("Y", bench.ask(TRAJ_RESET));
    EXPECT_EQ("N:200F0000", bench.ask(TRAJ_EXEC, repeated(0, 1)));

    Bench old(Story::fast(), "2.5");
    old.initialize();
    old.askTwice(TRAJ_SEND, moves(0, {{1500, 100}}));
    EXPECT_EQ("Y ~Y", old.askTwice(TRAJ_EXEC, le32(0) + u8(255)));
    EXPECT_EQ(25500, old.sim.mechanics().motions.at(0).duration);
    EXPECT_EQ("Y", old.ask(TRAJ_TRIG, le32(0) + u8(2) + u8(1)));
    EXPECT_TRUE(old.sim.mechanics().isPrepared);
}

TEST(Mechanics, StopsWhateverMoves) {
    struct {
        unsigned command;
        Bytes data;
        const char* busy;
        const char* result;
        const char* status;
    } const rows[] = {
        {INIT, hex("00 A0 88 01"), "N:201F0000", "~Y", "=00 00 09 20"},
        {MOVE_DURATION, le32(30000) + u8(0) + u8(140), "N:201F0000", "~N:38030000", "=00 00 09 20"},
        {MOVE_TO, moveTo(ORIGIN, 0, 0, 30000), "N:20140000", "~N:38030000", "=00 00 18 20"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.command);
        Bench bench(Story::realTime());
        if (row.command == MOVE_TO) {
            bench.initialize();
        }
        EXPECT_EQ("Y", bench.ask(row.command, row.data, 60000));
        EXPECT_EQ(row.busy, bench.set(0, 5, 0));
        EXPECT_EQ("Y", bench.ask(STOP));
        EXPECT_EQ(row.result, bench.next());
        EXPECT_EQ(row.status, bench.ask(STATUS));
        EXPECT_EQ(row.command == MOVE_TO, bench.sim.mechanics().axes[0].isOriginFound);
        EXPECT_EQ("N:20150000", bench.ask(STOP));
    }
}

TEST(Mechanics, SuffersInMidMotion) {
    struct {
        const char* fault;
        bool isGuided;
        const char* status;
    } const rows[] = {
        {"motor-cable:axis=0", true, "=00 00 0E 20"},
        {"motor-cable:axis=0", false, "=00 00 0E 20"},
        {"axis-block:axis=0", true, "=00 00 19 20"},
        {"axis-block:axis=0", false, "=00 00 01 20"},
        {"encoder-cable:axis=0", false, "=00 00 02 20"},
        {"tolerance:axis=0,ms=20", true, "=00 00 19 20"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.fault);
        Bench bench(Story::realTime());
        bench.initialize();
        bench.sim.setMechParameter(0, 27, 1);
        EXPECT_EQ("Y", row.isGuided ? bench.ask(MOVE_TO, moveTo(ORIGIN, 0, 0, 30000))
                                    : bench.ask(MOVE_DURATION, le32(30000) + u8(0) + u8(140)));
        bench.sim.addFault(row.fault);
        EXPECT_EQ("~N:220000FF", bench.next());
        EXPECT_EQ(row.status, bench.ask(STATUS));
        EXPECT_EQ("=" + toHex(hex(std::string(row.status).substr(7, 2)) + zeroes(3)),
                  bench.ask(GET, hex("00 14")));
    }
    Bench bench;
    bench.initialize();
    bench.sim.addFault("off-target:axis=0");
    EXPECT_EQ("Y ~N:220000FF", bench.askTwice(MOVE_TO, moveTo(ORIGIN, 0, 0, 200)));
    EXPECT_EQ("=00 00 1B 20", bench.ask(STATUS));
}

TEST(Mechanics, AnswersAsTheFaultsWillHaveIt) {
    struct {
        const char* fault;
        unsigned command;
        std::string answers;
    } const rows[] = {
        {"mech-error:mech=CMD_INIT", INIT, "N:201F0000 | N:201F0000"},
        {"mech-error:mech=CMD_MOVE_TO", INIT, "Y ~Y"},
        {"mech-error:code=0x12000000,nth=2", INIT, "Y ~Y"},
        {"mech-fail:mech=CMD_INIT,code=0x10010000", INIT, "Y ~N:10010000"},
        {"mech-fail:status=0x20190000", MOVE_DURATION, "Y ~N:220000FF"},
        {"mech-data:size=3,packet=ANSWER_BOARD", INIT, "=00 00 00 ~Y"},
        {"mech-data:size=2,packet=ANSWER_BOARD_ASYNC", INIT, "Y ~=00 00"},
        {"mech-data:size=2,packet=ANSWER_BOARD_ASYNC", MOVE_DURATION, "Y ~Y+00 00"},
        {"mech-data:size=0,packet=ANSWER_BOARD_ASYNC", MOVE_DURATION, "Y ~Y+"},
        {"late:mech=CMD_INIT,packet=ANSWER_BOARD,ms=150", INIT, "~Y Y"},
        {"late:mech=0x1004,packet=ANSWER_BOARD_ASYNC,ms=50", INIT, "Y ~Y"},
        {"missing:mech=CMD_INIT,packet=ANSWER_BOARD", INIT, "~Y | =00 00 00 00"},
        {"missing:mech=CMD_INIT,packet=ANSWER_BOARD_ASYNC", INIT, "Y | =00 00 00 00"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.fault);
        Bench bench;
        bench.sim.addFault(row.fault);
        const bool isSearch = row.command == INIT;
        bench.send(row.command, isSearch ? SEARCH_UP : le32(10) + u8(0) + u8(150));
        const std::string first = bench.next();
        const std::size_t bar = row.answers.find(" | ");
        if (bar == std::string::npos) {
            EXPECT_EQ(row.answers, first + " " + bench.next());
            continue;
        }
        EXPECT_EQ(row.answers.substr(0, bar), first);
        ASSERT_TRUE(bench.sim.waitForRest(PATIENCE_MS));
        EXPECT_EQ(row.answers.substr(bar + 3),
                  first[0] == 'N' ? bench.ask(INIT, SEARCH_UP) : bench.ask(STATUS));
    }
}

TEST(Mechanics, MovesWithTheExecutionThatTriggersIt) {
    const Modes mixed{0, 0, 0, 1};
    for (const std::string protocol : {"3.1", "2.5"}) {
        const bool isV2 = protocol == "2.5";
        const Bytes repetition = isV2 ? le32(0) + u8(2) : repeated(0, 2);
        struct {
            const char* what;
            const char* briefs;
            const char* v2Briefs;
            std::uint32_t status;
        } const rows[] = {
            {"", "s0/0 f0/0", "s0/0 t0/0:<1030>", 0},
            {"tolerance:axis=0,ms=120", "s0/0 x0/0:38020000", "s0/0 t0/0:<1040>", 0x20190000},
            {"stop", "s0/0 x0/0:38030000", "s0/0 t0/0:<1033>", 0x20180000},
            {"shooting stop", "s0/0 x0/0:38030000", "s0/0 t0/0:<1033>", 0x20210000},
        };
        for (const auto& row : rows) {
            SCOPED_TRACE(protocol + " " + row.what);
            const std::string what = row.what;
            Bench bench(Story::realTime(), protocol);
            bench.initialize();
            bench.askTwice(TRAJ_SEND, moves(0, {{2500, 100}, {1500, 100}}));
            EXPECT_FALSE(start(bench.story, {{50000, 0}}, mixed, 1)) << "nothing is prepared";
            EXPECT_EQ("Y", bench.ask(TRAJ_TRIG, repetition + u8(1)));
            EXPECT_FALSE(bench.sim.mechanics().isMoving);
            if (what.find(':') != std::string::npos) {
                bench.sim.addFault(what);
            }
            ASSERT_TRUE(start(bench.story, {{50000, 0}}, mixed, 1));
            std::string briefs = readBriefs(*bench.story.client, 1);
            if (what == "stop") {
                EXPECT_EQ("Y", bench.ask(STOP));
            } else if (what == "shooting stop") {
                bench.story.client->send(1113, 9);
            }
            briefs += " " + readBriefs(*bench.story.client, 1);
            EXPECT_EQ(isV2 ? row.v2Briefs : row.briefs, briefs);
            ASSERT_TRUE(bench.sim.waitForRest(PATIENCE_MS));
            const MechanicsState state = bench.sim.mechanics();
            EXPECT_EQ(hexWord(row.status), hexWord(state.status));
            EXPECT_FALSE(state.isPrepared);
            ASSERT_EQ(1U, state.motions.size());
            EXPECT_TRUE(state.motions[0].wasDriven);
            if (what.empty()) {
                EXPECT_EQ(400, state.motions[0].duration);
            }
            EXPECT_EQ("N:20150000", bench.ask(STOP)) << "and no packet of its own before";
        }
    }
}

TEST(Mechanics, IsAtRestForTheNextClient) {
    Bench bench(Story::realTime());
    EXPECT_EQ("Y", bench.ask(INIT, hex("00 A0 88 01"), 30000));
    bench.story.client->close();
    ASSERT_TRUE(bench.sim.waitForClients(0, PATIENCE_MS));
    bench.story.client = std::make_unique<Client>(bench.sim);
    bench.story.client->welcome();
    EXPECT_EQ("Y", bench.set(0, 5, 0));
    EXPECT_EQ("=00 00 21 20", bench.ask(STATUS));
}
