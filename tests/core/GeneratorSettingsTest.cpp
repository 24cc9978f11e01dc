#include "fus/Generator.h"

#include "fus/FloatArray.h"
#include "fus/Mask1D.h"
#include "fus/P_GProtocol.h"
#include "support/ConnectedFixture.h"
#include "support/Faults.h"
#include "support/LogCapture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <limits>
#include <sstream>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

using namespace fus;
using namespace fus::test;
using namespace fus::gprotocol;

namespace {

constexpr float NOT_A_NUMBER = std::numeric_limits<float>::quiet_NaN();
constexpr float UNBOUNDED = std::numeric_limits<float>::infinity();

// ---- Packets ------------------------------------------------------------------------------------

struct Step {
    std::uint16_t command;
    Bytes sent;
    std::uint16_t answerType;
    Bytes answer;
};

/// "board" and the hardware id, the address and the command: "board 0A00005D 6905 > 0100".
Step boardStep(const Bytes& sent, const Bytes& answer) {
    const auto frame = [](Bytes head, const Bytes& data) {
        return std::move(head) + be16(static_cast<unsigned>(data.size())) + data;
    };
    const Bytes head(sent.begin(), sent.begin() + 4);
    const Bytes command(sent.begin() + 2, sent.begin() + 4);
    return {CMD_BOARD_CMD, zeroes(16) + frame(head, Bytes(sent.begin() + 4, sent.end())),
            ANSWER_BOARD,
            zeroes(12) + (answer.empty() ? head + hex("0059") : frame(head + command, answer))};
}

/// "get 0553 > 0553 2A": the payloads of a command and its answer. Another word than "get", "set"
/// and "board" is the number of a command that is answered under that number if there is a ">",
/// and else by ANSWER_OK.
Step stepOf(const std::string& text) {
    const std::size_t blank = std::min(text.find(' '), text.size());
    const std::size_t mark = std::min(text.find('>'), text.size());
    const std::string word = text.substr(0, blank);
    const Bytes sent = hex(text.substr(blank, mark - blank));
    const Bytes answer = mark < text.size() ? hex(text.substr(mark + 1)) : Bytes();
    if (word == "board") {
        return boardStep(sent, answer);
    }
    if (word == "get") {
        return {CMD_PARAM_GET, sent, ANSWER_PARAM, answer};
    }
    const auto type = static_cast<std::uint16_t>(word == "set" ? 1116 : std::stoul(word));
    return {type, sent, mark < text.size() ? type : std::uint16_t{ANSWER_OK}, answer};
}

std::vector<std::string> parts(const std::string& text, char separator) {
    std::vector<std::string> all;
    std::istringstream stream(text);
    for (std::string part; std::getline(stream, part, separator);) {
        all.push_back(part);
    }
    return all;
}

// ---- Operations ---------------------------------------------------------------------------------

using G = Generator;
using Action = std::function<std::string(Generator&)>;
template <class T>
using Same = std::decay_t<T>; // not deduced

template <class Number>
std::string textOf(Number number) {
    return std::to_string(number);
}
std::string textOf(const FloatArray& values) {
    std::ostringstream text;
    text.precision(8);
    for (std::size_t i = 0; i < values.size(); ++i) {
        text << (i == 0 ? "" : " ") << values.get(i);
    }
    return text.str();
}
std::string textOf(const Mask1D& mask) {
    std::string text;
    for (std::size_t i = 0; i < mask.size(); ++i) {
        text += mask.get(i) ? '1' : '0';
    }
    return text;
}

template <class... Args>
Action write(void (G::*method)(Args...), Same<Args>... args) {
    return [=](Generator& g) {
        (g.*method)(args...);
        return std::string();
    };
}
template <class Result, class... Args>
Action read(Result (G::*method)(Args...), Same<Args>... args) {
    return [=](Generator& g) { return textOf((g.*method)(args...)); };
}
template <class Result, class... Args>
Action fill(void (G::*method)(Result&, Args...), Same<Args>... args) {
    return [=](Generator& g) {
        Result result{};
        (g.*method)(result, args...);
        return textOf(result);
    };
}

Mask1D mask(const char* text) {
    return Mask1D(text, 0);
}
FloatArray array(const std::vector<float>& values) {
    return FloatArray(values.data(), values.size());
}

/// An operation, what goes over the wire for it (null: the generation doesn't have it), what it
/// gives, and what it logs.
struct Operation {
    Action action;
    const char* v2;
    const char* v3;
    const char* result;
    const char* lines;
};

std::vector<Operation> operations() {
    return {
        {write(&G::setHeartBeatTimeout, 50000), nullptr,
         "board 0A00005C 68050000 50C30000 00000000", "", "Set heart-beat timeout: 50000 us"},
        {write(&G::setHeartBeatTimeout, 0), nullptr, "board 0A00005C 68050000 00000000 00000000",
         "", "Set heart-beat timeout: 0 us"},
        {read(&G::readHeartBeatTimeout), nullptr, "board 0A00005D 6805 > 50C30000 00000000",
         "50000", "Read heart-beat timeout...|Heart-beat timeout: 50000 us"},
        {fill(&G::readAmplifierTemperatures, false), "get 0558 > 0558 0002 0190 0198",
         "board 0C00004A > 6400 14000000;board 0C01004A > 6600 16000000", "50 51",
         "Read amplifier temperatures (isMax=0)"},
        {fill(&G::readAmplifierTemperatures, true), "get 0559 > 0559 0002 0190 0198",
         "board 0C00005D 280A > 64000000 00000000;board 0C01005D 280A > 66000000 00000000", "50 51",
         "Read amplifier temperatures (isMax=1)"},
        {write(&G::setMaxAmplifierTemperatures, array({50, 256})), "set 0559 0002 0190 0800",
         "board 0C00005C 280A0000 64000000 00000000;board 0C01005C 280A0000 00020000 00000000", "",
         "Set amplifier max temperatures"},
        {fill(&G::readAmplifierCurrents, false), "get 055B > 055B 0002 00002710 00002AF8",
         "board 0C00004A > 6400 0A000000;board 0C01004A > 6600 0B000000", "10 11",
         "Read amplifier currents (isMax=0)"},
        {fill(&G::readAmplifierCurrents, true), "get 055C > 055C 0002 00002710 00002AF8",
         "board 0C00005D 290A > 0A000000 00000000;board 0C01005D 290A > 0B000000 00000000", "10 11",
         "Read amplifier currents (isMax=1)"},
        {write(&G::setMaxAmplifierCurrents, array({10, NOT_A_NUMBER})),
         "set 055C 0002 00002710 00000000",
         "board 0C00005C 290A0000 0A000000 00000000;board 0C01005C 290A0000 00000000 00000000", "",
         "Set amplifier max currents"},
        {fill(&G::readMultiplexerValue), "get 055A > 055A 07", nullptr, "7",
         "Read multiplexer value|  value=7"},
        {write(&G::setMultiplexerValue, 255), "set 055A FF", nullptr, "",
         "Set multiplexer value (255)"},
        {fill(&G::readPowerSupplies), "get 0557 > 0557 0000", "board 0A00004A", "",
         "Read power supplies"},
        {fill(&G::readAmplitudeThreshold), "get 0553 > 0553 2A",
         "board 0A00005D 6A05 > 2A000000 00000000", "42",
         "Read amplitude threshold|Amplitude threshold=42"},
        {write(&G::setAmplitudeThreshold, 255), "set 0553 FF",
         "board 0A00005C 6A050000 FF000000 00000000", "", "Set amplitude threshold (value=255)"},
        {fill(&G::readOutCurrentThreshold), "get 0555 > 0555 2A",
         "board 0A00005D 6705 > 2A000000 00000000", "42",
         "Read output current threshold|Output current threshold=42"},
        {write(&G::setOutCurrentThreshold, 200), "set 0555 C8",
         "board 0A00005C 67050000 C8000000 00000000", "",
         "Set output current threshold (value=200)"},
        {fill(&G::readChannelsState), "get 0556 > 0556 0008 01000201010001FF",
         "1309 > 0008 01000201010001FF", "10111011", "Read channels state|  6 / 8 active channels"},
        {write(&G::setChannelsState, mask("11101111")), "set 0556 0008 0101010001010101",
         "1309 0008 0101010001010101", "", "Set channels state (7 active / 8)"},
        {read(&G::readPeripheralState, 0), "get 055D 00 > 055D 00 00",
         "board 0A00005D 7805 > 00000000 00000000", "0", "Read peripheral state (periph=0): 0"},
        {read(&G::readPeripheralState, 2), "get 055D 02 > 055D 02 01",
         "board 0A00005D 7A05 > 05000000 00000000", "1", "Read peripheral state (periph=2): 1"},
        {write(&G::setPeripheralState, 1, true), "set 055D 01 01",
         "board 0A00005C 79050000 01000000 00000000", "",
         "Set peripheral state (periph=1, state=1)"},
        {write(&G::setPeripheralState, 3, false), "set 055D 03 00",
         "board 0A00005C 7B050000 00000000 00000000", "",
         "Set peripheral state (periph=3, state=0)"},
        {read(&G::readShotRampDuration, true), "get 0561 > 0561 CACA 00000005",
         "board 0A00005D 6105 > 05000000 00000000", "5",
         "Read shot ramp duration (start)|Ramp duration (start): 5"},
        {read(&G::readShotRampDuration, false), "get 0562 > 0562 CACA 00000006",
         "board 0A00005D 6205 > 06000000 00000000", "6",
         "Read shot ramp duration (end)|Ramp duration (end): 6"},
        {write(&G::setShotRampDuration, true, 7), "set 0561 0000 00000007",
         "board 0A00005C 61050000 07000000 00000000", "",
         "Set shot ramp duration (start, value=7)"},
        {write(&G::setShotRampDuration, false, 6), "set 0562 0000 00000006",
         "board 0A00005C 62050000 06000000 00000000", "", "Set shot ramp duration (end, value=6)"},
        {read(&G::readClockFrequency), nullptr, "board 0A00005D 6305 > 00366E01 00000000",
         "24000000", ""},
        {write(&G::setClockFrequency, 25000000), nullptr,
         "board 0A00005C 63050000 40787D01 00000000", "", "Set the clock frequency to 25000000 Hz"},
        {read(&G::readShootingDurationTolerance), nullptr,
         "board 0A00005D 6405 > 09000000 00000000", "9", ""},
        {write(&G::setShootingDurationTolerance, 8), nullptr,
         "board 0A00005C 64050000 08000000 00000000", "", ""},
        {read(&G::readTotalShotDurationTolerance), nullptr,
         "board 0A00005D 6505 > 0A000000 00000000", "10", ""},
        {write(&G::setTotalShotDurationTolerance, 11), nullptr,
         "board 0A00005C 65050000 0B000000 00000000", "", ""},
        {write(&G::enableAmplifierPowerSupplies, true), nullptr, "1312 00000001", "",
         "enableAmplifierPowerSupplies(true)"},
        {read(&G::simulateTriggerInPulse), nullptr, "1119", "1", "simulateTriggerInPulse"},
        {write(&G::wait, 60000000), nullptr, "1120 03938700", "", "wait(60000000)"},
    };
}

class GeneratorSettings : public ConnectedFixture,
                          public ::testing::WithParamInterface<Generation> {
protected:
    bool isV2() const { return GetParam() == Generation::V2; }
    const char* wireOf(const Operation& operation) const {
        return isV2() ? operation.v2 : operation.v3;
    }

    void script(const Step& step) {
        peer.expect(step.command, step.sent).answer(step.answerType, step.answer);
    }
    void script(const char* steps) {
        for (const std::string& step : parts(steps, ';')) {
            script(stepOf(step));
        }
    }

    /// What an action gives, or the name of its error.
    std::string resultOf(const Action& action) {
        std::string result;
        const std::string fault = faultOf([&] { result = action(generator()); });
        return fault.empty() ? result : fault.substr(0, fault.find(':'));
    }
    /// The same for a generator that is sent, and answers, this.
    std::string resultOf(const Action& action, const char* steps) {
        script(steps);
        const std::string result = resultOf(action);
        EXPECT_TRUE(peer.settle());
        return result;
    }
    /// The same for another answer than the right one.
    std::string resultOf(const Action& action, Step step, std::uint16_t type, const Bytes& answer) {
        step.answerType = type;
        step.answer = answer;
        script(step);
        return resultOf(action);
    }

    void connectWithoutAmplifiers() {
        std::string ini = iniOf(GetParam());
        ini.erase(ini.find(isV2() ? "nb_adc_board" : "[AMP00]"));
        peer.sendIni(ini + "\n[Timing constraints]\n");
        for (unsigned parameters = isV2() ? 0 : 11; parameters > 0; --parameters) {
            const Step read = stepOf("board 0A00005D > 0000010000000000");
            peer.expect(read.command).answer(read.answerType, read.answer);
        }
        ASSERT_TRUE(fus().connect(ScriptedPeer::HOST, peer.port(), 5000));
    }
};

} // namespace

INSTANTIATE_TEST_SUITE_P(EveryGeneration, GeneratorSettings,
                         ::testing::Values(Generation::V2, Generation::V30, Generation::V31));

TEST_P(GeneratorSettings, AreReadAndWrittenInTheWayOfTheGeneration) {
    connect(GetParam());
    for (const Operation& operation : operations()) {
        const char* const wire = wireOf(operation);
        const LogCapture log(Log::INFO);
        if (wire == nullptr) {
            EXPECT_EQ(resultOf(operation.action), "ERR_PROTOCOL") << operation.lines;
            continue;
        }
        EXPECT_EQ(resultOf(operation.action, wire), operation.result) << wire;
        for (const std::string& line : parts(operation.lines, '|')) {
            EXPECT_TRUE(log.has(line)) << line;
        }
    }
    if (!isV2()) {
        peer.expect(CMD_SEND_HEARTBEAT, Bytes()); // without an answer
    }
    const LogCapture log(Log::INFO);
    EXPECT_EQ(resultOf(write(&G::sendHeartBeat)), isV2() ? "ERR_PROTOCOL" : "");
    EXPECT_TRUE(log.has("Send an heart-beat"));
}

TEST_P(GeneratorSettings, NeedAConnection) {
    for (const Operation& operation : operations()) {
        EXPECT_EQ(resultOf(operation.action), "ERR_NOT_CONNECTED");
    }
}

// The answers of boards are tested elsewhere; a pulse that has no use is no error.
TEST_P(GeneratorSettings, TellEveryBadAnswer) {
    connect(GetParam());
    for (const Operation& operation : operations()) {
        const std::string wire = wireOf(operation) == nullptr ? "board" : wireOf(operation);
        if (wire.substr(0, 5) == "board") {
            continue;
        }
        const Step step = stepOf(wire);
        const auto answered = [&](std::uint16_t type, Bytes answer, std::size_t size) {
            answer.resize(size);
            return resultOf(operation.action, step, type, answer);
        };
        const bool isPulse = step.command == CMD_TRIGGER_PULSE;
        EXPECT_EQ(answered(ANSWER_SYSTEM_STATE, {}, 0), isPulse ? "0" : "ERR_TIMEOUT");
        EXPECT_EQ(answered(ANSWER_ERROR, {}, 0), isPulse ? "0" : "ERR_GENERATOR");
        for (std::size_t size = 0; size < step.answer.size(); ++size) {
            EXPECT_EQ(answered(step.answerType, step.answer, size), "ERR_PACKET")
                << wire << " cut to " << size;
        }
        for (std::size_t i = 0; i < std::min(step.answer.size(), std::size_t{2}); ++i) {
            Bytes other = step.answer;
            ++other[i]; // of the id, or since protocol 3.0 of the number of channels
            EXPECT_EQ(answered(step.answerType, other, other.size()), "ERR_PACKET");
        }
    }
    if (isV2()) {
        EXPECT_EQ(resultOf(read(&G::readPeripheralState, 2), "get 055D02 > 055D 03 01"),
                  "ERR_PACKET");
        fus().setDefaultAnswerTimeout(200);
        peer.expect(CMD_PARAM_GET, hex("0557"));
        EXPECT_EQ(resultOf(fill(&G::readPowerSupplies)), "ERR_TIMEOUT");
    }
}

TEST_P(GeneratorSettings, RefuseBeforeAnythingIsSent) {
    const struct {
        Generation since;
        Action action;
        const char* fault; // a beginning
        const char* line;  // logged all the same; "": none is
    } cases[] = {
        {Generation::V30, write(&G::setHeartBeatTimeout, 49999),
         "ERR_ARGUMENT: Heart-beat timeout too low.", "Set heart-beat timeout: 49999 us"},
        {Generation::V2, write(&G::setMaxAmplifierTemperatures, array({300})), "ERR_ARGUMENT",
         "Set amplifier max temperatures"},
        {Generation::V2, write(&G::setMaxAmplifierTemperatures, array({256, 256.5F})),
         "ERR_ARGUMENT: Temperature threshold[1] is out of range (256.5).",
         "Set amplifier max temperatures"},
        {Generation::V2, write(&G::setMaxAmplifierTemperatures, array({-1, 300})),
         "ERR_ARGUMENT: Temperature threshold[0] is out of range (-1).",
         "Set amplifier max temperatures"},
        {Generation::V2, write(&G::setMaxAmplifierCurrents, array({NOT_A_NUMBER, UNBOUNDED})),
         "ERR_ARGUMENT: Current threshold[1] is out of range (inf).", "Set amplifier max currents"},
        {Generation::V2, write(&G::setMultiplexerValue, 256), "ERR_ARGUMENT", ""},
        {Generation::V2, write(&G::setAmplitudeThreshold, 256), "ERR_ARGUMENT",
         "Set amplitude threshold (value=256)"},
        {Generation::V2, write(&G::setOutCurrentThreshold, 256), "ERR_ARGUMENT",
         "Set output current threshold (value=256)"},
        {Generation::V2, write(&G::setChannelsState, mask("1111111")), "ERR_ARGUMENT",
         "Set channels state (7 active / 7)"},
        {Generation::V2, read(&G::readPeripheralState, 4), "ERR_ARGUMENT", ""},
        {Generation::V2, write(&G::setPeripheralState, 4, true), "ERR_ARGUMENT", ""},
        {Generation::V2, write(&G::setShotRampDuration, true, 8), "ERR_ARGUMENT",
         "Set shot ramp duration (start, value=8)"},
        {Generation::V2, write(&G::setClockFrequency, 26000000), "ERR_ARGUMENT",
         "Set the clock frequency to 26000000 Hz"},
        {Generation::V30, write(&G::wait, 60000001), "ERR_ARGUMENT: Wait delay too large.",
         "wait(60000001)"},
    };
    connect(GetParam());
    for (const auto& c : cases) {
        const LogCapture log(Log::INFO);
        const std::string fault = faultOf([&] { c.action(generator()); });
        const bool exists = c.since <= GetParam();
        const std::string expected = exists ? c.fault : "ERR_PROTOCOL";
        EXPECT_EQ(fault.substr(0, expected.size()), expected) << c.line;
        EXPECT_EQ(log.lines(Log::EXCEPTION).size(), 1U) << fault;
        EXPECT_TRUE(*c.line == 0 ? log.lines(Log::INFO).empty() : log.has(c.line)) << c.line;
    }
}

TEST_P(GeneratorSettings, GoToTheGeneratorAsTheyAreWithoutSecureMode) {
    connect(GetParam());
    fus().setSecureMode(false);
    const std::string channels(4096 * 2, '0');
    const std::string most = "1309 > 1000" + channels;
    const std::string tooMany = "1309 > 1001 00" + channels;
    const std::string mostV2 = "get 0556 > 0556 1000" + channels;
    const std::string tooManyV2 = "get 0556 > 0556 1001 00" + channels;
    const Operation cases[] = {
        {write(&G::setHeartBeatTimeout, 49999), "board 0A00005C 68050000 4FC30000 00000000",
         "board 0A00005C 68050000 4FC30000 00000000", "", ""},
        {write(&G::setClockFrequency, 26000000), "board 0A00005C 63050000 80BA8C01 00000000",
         "board 0A00005C 63050000 80BA8C01 00000000", "", ""},
        {write(&G::setShotRampDuration, true, 8), "set 0561 0000 00000008",
         "board 0A00005C 61050000 08000000 00000000", "", ""},
        {write(&G::wait, 60000001), "1120 03938701", "1120 03938701", "", ""},
        {write(&G::setChannelsState, mask("10")), "set 0556 0002 0100", "1309 0002 0100", "", ""},
        {write(&G::setAmplitudeThreshold, 256), "", "", "ERR_ARGUMENT", ""},
        {write(&G::setOutCurrentThreshold, 256), "", "", "ERR_ARGUMENT", ""},
        {write(&G::setMultiplexerValue, 256), "", "", "ERR_ARGUMENT", ""},
        {write(&G::setMultiplexerValue, 5), "set 055A 05", "set 055A 05", "", ""},
        {write(&G::setMaxAmplifierTemperatures, array({-1, UNBOUNDED})), "set 0559 0002 0FF8 0000",
         "board 0C00005C 280A0000 FEFFFFFF 00000000;board 0C01005C 280A0000 00000000 00000000", "",
         ""},
        {fill(&G::readChannelsState), tooManyV2.c_str(), tooMany.c_str(), "ERR_PACKET", ""},
        {fill(&G::readChannelsState), mostV2.c_str(), most.c_str(), channels.c_str() + 4096, ""},
    };
    for (const Operation& c : cases) {
        EXPECT_EQ(resultOf(c.action, wireOf(c)), c.result) << std::string(wireOf(c), 0, 50);
    }
    if (!isV2()) {
        EXPECT_EQ(resultOf(read(&G::readPeripheralState, 4)), "ERR_ARGUMENT");
    }
}

TEST_P(GeneratorSettings, TellWhatNoAmplifierMeasures) {
    connectWithoutAmplifiers();
    EXPECT_EQ(resultOf(fill(&G::readAmplifierTemperatures, true)), "ERR_NOT_AVAILABLE");
    EXPECT_EQ(resultOf(fill(&G::readAmplifierCurrents, false)), "ERR_NOT_AVAILABLE");
    if (!isV2()) { // an older generator would be asked
        EXPECT_EQ(resultOf(write(&G::setMaxAmplifierTemperatures, FloatArray())),
                  "ERR_NOT_AVAILABLE");
        fus().setSecureMode(false);
        EXPECT_EQ(resultOf(fill(&G::readAmplifierCurrents, false)), "ERR_NOT_AVAILABLE");
    }
}

using EncodedSettings = GeneratorSettings;

INSTANTIATE_TEST_SUITE_P(OlderGeneration, EncodedSettings, ::testing::Values(Generation::V2));

TEST_P(EncodedSettings, MarkBadReadingsAndCutFloats) {
    connect(GetParam());
    fus().setSecureMode(false);
    const LogCapture log(Log::VERBOSE);
    const Operation cases[] = {
        {fill(&G::readAmplifierTemperatures, false),
         "get 0558 > 0558 0005 0FFF 1000 1190 FFFF 0000", "", "511.875 -1000 -1000 -1000 0", ""},
        {fill(&G::readAmplifierCurrents, false),
         "get 055B > 055B 0004 00FFFFFF 01000000 FFFFFFFF 00000001", "",
         "16777.215 -1000 -1000 0.001", ""},
        {fill(&G::readPowerSupplies), "get 0557 > 0557 0003 00006D60 FFFFCFC7 7FFFFFFF", "",
         "28 -12.345 2147483.8", ""},
        {write(&G::setMaxAmplifierTemperatures,
               array({-1, 256.5F, NOT_A_NUMBER, -UNBOUNDED, 1e30F, 0.249F, 8191.9F})),
         "set 0559 0007 0FF8 0804 0000 0000 0000 0001 0FFF", "", "", ""},
        {write(&G::setMaxAmplifierCurrents,
               array({-1.5F, 3e6F, NOT_A_NUMBER, UNBOUNDED, -1e30F, 0.29F})),
         "set 055C 0006 FFFFFA24 B2D05E00 00000000 00000000 00000000 00000122", "", "", ""},
    };
    for (const Operation& c : cases) {
        EXPECT_EQ(resultOf(c.action, c.v2), c.result) << c.v2;
    }
    EXPECT_TRUE(log.has("measure[1]= -12.345"));
}

// ---- The watchdog -------------------------------------------------------------------------------

namespace {

using WatchdogCheck = GeneratorSettings;

constexpr char CHECKS_OFF[] = "board 0A00005C 69050000 8AE5D1C3 00000000";
constexpr char CHECKS_ON[] = "board 0A00005C 69050000 F2607A4B 00000000";

/// What a generator does with a shot that is too long.
struct WatchdogCase {
    const char* what;
    std::uint16_t uploadAnswer;
    std::uint16_t startAnswer;
    std::vector<Bytes> results;
    bool passed;
};

/// The head of an asynchronous packet.
Bytes resultOfType(unsigned type, unsigned duration = 0) {
    return be32(8) + be32(duration) + zeroes(14) + u8(type) + zeroes(5);
}
/// The measures of 8 channels of "vrf1,irf2,pvi4".
Bytes shotResult(unsigned duration) {
    return resultOfType(29, duration) + zeroes(56);
}
Bytes execResult(unsigned code) {
    return resultOfType(32) + be32(code) + hex("00000000 0A 00 0001 00000000 00");
}

} // namespace

INSTANTIATE_TEST_SUITE_P(LatestGeneration, WatchdogCheck, ::testing::Values(Generation::V31));

TEST_P(WatchdogCheck, TellsWhetherTheWatchdogCutsAShotThatIsTooLong) {
    const WatchdogCase cases[] = {
        {"cut", ANSWER_OK, ANSWER_OK, {shotResult(2199999), execResult(0x38000001)}, true},
        {"not cut", ANSWER_OK, ANSWER_OK, {shotResult(2200000), execResult(0x38000001)}, false},
        {"stopped", ANSWER_OK, ANSWER_OK, {execResult(0x29000101)}, true},
        {"stopped otherwise", ANSWER_OK, ANSWER_OK, {execResult(0x38020001)}, false},
        {"silence", ANSWER_OK, ANSWER_OK, {}, false},
        {"upload refused", ANSWER_ERROR, ANSWER_OK, {}, false},
        {"start refused", ANSWER_OK, ANSWER_ERROR, {}, false},
    };
    connect(Generation::V31);
    unsigned id = commandsOfConnect(Generation::V31);
    for (const WatchdogCase& c : cases) {
        script(CHECKS_OFF);
        peer.expect(CMD_TRAJ_SEND_V3, hex("00000000 00000000 00 00 00 00 00000001"
                                          "0001 000F4240 0001 00 0001 00 0007A2B0 00000000"))
            .answer(c.uploadAnswer);
        id += 2;
        if (c.uploadAnswer == ANSWER_OK) {
            peer.expect(CMD_TRAJ_EXEC_V3).answer(c.startAnswer);
            ++id; // the execution's; the command has the next one
            for (const Bytes& result : c.results) {
                peer.sendPacket(ANSWER_EXEC_ASYNC, id, result);
            }
            ++id;
        }
        script(CHECKS_ON);
        const LogCapture log(Log::VERBOSE);
        EXPECT_EQ(generator().checkWatchdog(), c.passed) << c.what;
        ASSERT_TRUE(peer.settle()) << c.what;
        id += c.passed ? 1 : 2; // with a stop
        EXPECT_EQ(log.count("Stop electronic trajectory"), c.passed ? 0U : 1U) << c.what;
        EXPECT_TRUE(log.has("badDuration_us = 500400"));
        EXPECT_EQ(log.count("waitExecution (timeout_ms = 1000)"),
                  c.startAnswer == ANSWER_OK && c.uploadAnswer == ANSWER_OK ? 1U : 0U);
        EXPECT_EQ(log.count("Changing Generator secure mode: 0"), 1U) << c.what;
        EXPECT_EQ(log.count("Changing Generator secure mode: 1"), 1U) << c.what;
        EXPECT_TRUE(log.has("    FUS: unregister 1 items -> 1 listeners")) << c.what;
        EXPECT_TRUE(fus().isInSecureMode()) << c.what;
    }
}

TEST_P(WatchdogCheck, LeavesSecureModeOnWhenTheWatchdogCheckCantBeginOrEnd) {
    connect(Generation::V31);
    const Bytes refusal = zeroes(12) + hex("0A 00 005C 004E 0004 00001513");
    const Action check = read(&G::checkWatchdog);
    EXPECT_EQ(resultOf(check, stepOf(CHECKS_OFF), ANSWER_BOARD, refusal), "ERR_BOARD");
    EXPECT_TRUE(fus().isInSecureMode());

    script(CHECKS_OFF);
    peer.expect(CMD_TRAJ_SEND_V3).answer(ANSWER_ERROR);
    EXPECT_EQ(resultOf(check, stepOf(CHECKS_ON), ANSWER_BOARD, refusal), "ERR_BOARD");
    EXPECT_TRUE(fus().isInSecureMode());
}
