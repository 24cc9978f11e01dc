#include "fus/P_GeneratorDefinition.h"

#include "fus/FUSEvent.h"
#include "fus/P_GProtocol.h"
#include "support/ConnectedFixture.h"
#include "support/Faults.h"
#include "support/LogCapture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <functional>
#include <random>
#include <sstream>
#include <streambuf>
#include <string>
#include <thread>
#include <vector>

using namespace fus;
using namespace fus::test;
using namespace fus::gprotocol;

namespace {

/// The text with a part of it replaced.
std::string with(std::string text, const std::string& from, const std::string& to) {
    return text.replace(text.find(from), from.size(), to);
}

/// A definition for the small generator of protocol 3.1, when that has a version.
const std::string GOOD = R"([config]
ip = 127.0.0.1
channels = 8
generatorCount = 1
amplifierCount = 2
[amplifier]
version = 1.2.3.4
type = 1
measures = 3
[coeffs0]
c0 = 2 | 0.5
c1 = -1 | 200
c2 = 1 | 0
)";
// What doesn't fit that generator.
const std::string OTHER_VERSION = with(GOOD, "1.2.3.4", "1.2.3.5");
const std::string OTHER_MEASURES =
    with(GOOD, "type = 1\nmeasures = 3\n[coeffs0]", "type = 2\nmeasures = 4\n[coeffs1]");

bool isEmpty(const GeneratorDefinition& d) {
    bool empty = !d.isLoaded() && d.host() == nullptr && d.port() == 0 && d.channels() == 0 &&
                 d.amplifierVersion() == nullVersion && d.amplifierType() == AMPLIFIER_UNKNOWN &&
                 d.measureCount() == 0 && d.maxPower() == 0.0F && !d.definesVoltages() &&
                 d.checkVoltages(FloatArray(1, -100.0F)) == 0 && d.backPanelSNT().size() == 0 &&
                 d.backPanelAMP().size() == 0 && d.backPanelStorage() == 0 &&
                 d.clockFrequency() == 0;
    for (const BoardType type : {BOARD_PROCESSOR, BOARD_AMPLIFIER}) {
        empty = empty && d.boardCount(type) == 0 && d.boardThresholds(type, false).size() == 0 &&
                d.boardThresholds(type, true).size() == 0;
    }
    return empty;
}

// ---- Loading ------------------------------------------------------------------------------------

const std::string ALL_WRONG = R"([config]
ip =
port = 65536
clock = 24
minVoltages = 1|5|6|7|8
maxVoltages = 2
[backpanel]
SNT.mask = 1110
AMP.mask = 01
target = RAM+FLASH
[thresholds]
minUPB = 2
maxUPB = 2
minAMP = 1|nan|3
maxAMP = 2|5
[amplifier]
version = no
type = 4
measures = 4
maxPower = 0
onboardLoad = 0
[coeffs0]
c0 = 1
c2 = 1
)";

// One line after the other is mended. The object stays the same: what one load leaves in it spoils
// the next.
TEST(GeneratorDefinition, ChecksItsRequirementsInTheirOrder) {
    struct Step {
        std::string failure, wrong, right, detail = "";
    };
    const Step steps[] = {
        {"m_generatorHost != nullptr", "ip =", "ip = host"},
        {"m_generatorPort != 0", "65536", "1"},
        {"m_channels != 0", "port = 1\n", "port = 1\nchannels = 2\n"},
        {"! (m_amplifierVersion == nullVersion)", "version = no", "version = 1"},
        {"m_amplifierType >= gprotocol::AMPLIFIER_FIRST && m_amplifierType < "
         "gprotocol::AMPLIFIER_COUNT",
         "type = 4", "type = 3"},
        {"m_measureCount == EXPECTED_COMPONENTS[m_amplifierType]", "measures = 4", "measures = 3"},
        {"m_measureCount == m_decoders.size()", "c2 = 1", "c1 =\nc2 = 1"},
        {"m_onboardLoad != 0.0f", "onboardLoad = 0", "onboardLoad = 1"},
        {"m_maxVoltages.size() == m_minVoltages.size()", "Voltages = 2", "Voltages = 2|5|7|8|9"},
        {"m_minVoltages[i] < m_maxVoltages[i]", "Voltages = 2|5", "Voltages = 2|6",
         "  invalid voltage range #2: [5, 5]\n"},
        {"m_minBOThresholds[btype][i] < m_maxBOThresholds[btype][i]", "minUPB = 2", "minUPB = 1",
         "  invalid UPB BO thresholds #1: [2, 2]\n"},
        {"m_minBOThresholds[btype][i] < m_maxBOThresholds[btype][i]", "nan", "4",
         "  invalid AMP BO thresholds #2: [nan, 5]\n"},
        {"m_bkpMaskSNT.activeCount() == m_bkpMaskAMP.activeCount()", "AMP.mask = 01",
         "AMP.mask = 0111"},
        {"m_bkpMaskSNT.activeCount() == m_channels", "1110\nAMP.mask = 0111",
         "1-010\nAMP.mask = 11"},
    };
    const std::string ignored = "  failed requirement(ignored): m_maxPower != 0.0f";
    std::string text = ALL_WRONG;
    GeneratorDefinition definition;
    LogCapture log(Log::ERROR);
    for (const Step& step : steps) {
        log.clear();
        EXPECT_FALSE(definition.loadText(text.c_str()));
        EXPECT_EQ(log.text(), (&step - steps >= 7 ? ignored + "\n" : "") + step.detail +
                                  "  failed requirement: " + step.failure);
        EXPECT_EQ(log.lines(Log::ERROR), log.lines());
        EXPECT_TRUE(isEmpty(definition)) << step.failure;
        text = with(text, step.wrong, step.right);
    }
    log.clear();
    EXPECT_TRUE(definition.loadText(text.c_str()));
    EXPECT_EQ(log.text(), ignored);
    EXPECT_TRUE(definition.loadText(with(text, "maxPower = 0", "maxPower = 5").c_str()));
    EXPECT_EQ(definition.backPanelSNT(), Mask1D("1010", 0));
    EXPECT_EQ(definition.backPanelAMP(), Mask1D("11", 0));
    EXPECT_EQ(definition.backPanelStorage(), 2U);
    EXPECT_EQ(definition.clockFrequency(), 24000000U);
    EXPECT_TRUE(definition.definesVoltages());
    EXPECT_FALSE(definition.loadText("[config]"));
    EXPECT_TRUE(isEmpty(definition)) << "a failed load leaves something of the one before";
}

TEST(GeneratorDefinition, ToleratesWhatIsOnlyOdd) {
    struct Case {
        std::string from, to;
        bool loads;
        std::string errors;
    };
    const std::string level = "  failed requirement: ";
    const Case cases[] = {
        {"[amp", "clock = 26\n[amp", true, "Invalid value for parameter 'clock', using default."},
        {"[amp", "[backpanel]\ntarget = ram\n[amp", true,
         "Unknown [backpanel].target value (ram), RAM used instead (accepted values are RAM and "
         "RAM+FLASH)."},
        {"[amp", "[backpanel]\nSNT.mask = 000\nAMP.mask = 1\n[amp", true, ""},
        {"measures = 3", "measures = 3\nonboardLoad = 0\nmaxPower = inf", true, ""},
        {"c0 =", "VADCThreshold = 255\nIADCThreshold = 0\nc0 =", true, ""},
        {"c0 =", "VADCThreshold = -1\nc0 =", false, level + "vthreshold >= 0 && vthreshold < 256"},
        {"c0 =", "IADCThreshold = 256\nc0 =", false, level + "ithreshold >= 0 && ithreshold < 256"},
        {"ip =", "ip", false, "*\nError parsing generator definition: *Config.cpp@#)"},
        {"channels = 8", "channels = eight", false,
         "parameter 'channels': can not be converted to integer\n" + level + "m_channels != 0"},
        {"[coeffs0]", "[coeffs1]", true, ""},
        {"c1 = -1 |", "c1 = -1 | x |", true, "parameter 'c1': can not read float item 1"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.to);
        GeneratorDefinition definition;
        const LogCapture log(Log::ERROR);
        EXPECT_EQ(definition.loadText(with(GOOD, c.from, c.to).c_str()), c.loads);
        EXPECT_EQ(isEmpty(definition), !c.loads);
        EXPECT_EQ(definition.port(), c.loads ? 1670 : 0);
        EXPECT_EQ(definition.clockFrequency() + definition.backPanelStorage(), 0U);
        EXPECT_TRUE(isLike(log.text(), c.errors)) << log.text();
    }
}

TEST(GeneratorDefinition, TellsItsPolynomialsByRisingPower) {
    const LogCapture log(Log::VERBOSE);
    GeneratorDefinition d;
    const std::string coefficients = "0]\nc0 = -2.5e-3|3|-2|1.5\nc1 = 2 1\nc2 =\nc3 = 7\n[coeffs";
    EXPECT_TRUE(d.loadText(with(OTHER_MEASURES, "[coeffs", "[coeffs" + coefficients).c_str()));
    EXPECT_EQ(log.lines(), (LogLines{{Log::INFO, "Generator: ampli=1.2.3.4, type=2, measures=4"},
                                     {Log::VERBOSE, "poly0 = 1.5 -2 v +3 v^2 -0.0025 v^3"},
                                     {Log::VERBOSE, "poly1 = 1 +2 v"},
                                     {Log::VERBOSE, "poly2 = "},
                                     {Log::VERBOSE, "poly3 = 7"}}));
    float values[] = {2, 4, 3.14F, 1};
    EXPECT_EQ(d.computePower(7, FloatArray(values, 4)), -1.0F);
    EXPECT_TRUE(
        log.has("  compute[ch=  7]: V=2.00 V, I=4.00 A, Ph=3.14 rad, power=-8.000 W -> -1"));
    values[2] = 0;
    EXPECT_EQ(d.computePower(7, FloatArray(values, 4)), 8.0F);
    EXPECT_NE(faultOf([&] { d.computePower(7, FloatArray(values, 3)); }), "");
    EXPECT_NE(faultOf([&] { d.boardCount(4); }), "");
    EXPECT_EQ(log.count("ERR_ARGUMENT"), 2U);
    EXPECT_NE(faultOf([&] { d.boardThresholds(static_cast<BoardType>(4), true); }), "");
    EXPECT_TRUE(log.has("ERR_INDEX: invalid board type (4 above max=4)"));
}

/// Gives a text, and fails behind it as a disk does.
class BrokenBuffer : public std::stringbuf {
public:
    using std::stringbuf::stringbuf;

protected:
    int_type underflow() override {
        const int_type next = std::stringbuf::underflow();
        return next != traits_type::eof() ? next : throw std::ios_base::failure("gone");
    }
};

TEST(GeneratorDefinition, RefusesWhatItCanNotReadToTheEnd) {
    GeneratorDefinition definition;
    const LogCapture quietly(Log::NONE);
    EXPECT_FALSE(definition.loadFile(std::filesystem::temp_directory_path().string().c_str()));
    BrokenBuffer buffer(GOOD);
    std::istream stream(&buffer);
    EXPECT_FALSE(definition.load(stream)) << "nobody knows what its end would have said";
    EXPECT_FALSE(definition.load(stream));
    EXPECT_TRUE(isEmpty(definition));
}

// ---- Connected ----------------------------------------------------------------------------------

class Definition : public ConnectedFixture {
protected:
    ~Definition() override { generator().clearDefinition(); }

    /// The small generator, with a version of its amplifiers.
    static std::string ini(Generation generation) {
        return with(iniOf(generation), "[AMP00]", "[AMP00]\nhw = 1.2.3.4");
    }

    bool load(const std::string& text) { return generator().loadDefinitionString(text.c_str()); }

    bool converts() { return generator().isShotResultConversionEnabled(); }

    /// A write of a board parameter, and the board's word for it.
    void expectWrite(unsigned hwid, unsigned address, unsigned param, unsigned value,
                     bool refused = false) {
        const Bytes frame = zeroes(12) + u8(hwid) + u8(address);
        peer.expect(CMD_BOARD_CMD, zeroes(4) + frame + be16(92) + be16(12) + le16(param) + le16(0) +
                                       le32(value) + le32(0));
        peer.answer(refused ? ANSWER_ERROR : ANSWER_BOARD,
                    refused ? Bytes() : frame + be16(92) + be16(92) + be16(0));
    }

    /// Lets go of a connection, so that the peer can have another.
    void hangUp() {
        peer.expectEnd();
        fus().disconnect();
    }

    /// A shot with all measures of a channel, and of a board, as "value:size ...". The first and
    /// the last of its three channels saw nothing.
    static ShotResult shotOf(const std::string& channel, const std::string& board) {
        std::vector<unsigned char> bytes;
        const auto add = [&bytes](const std::string& measures, bool amongOthers) {
            std::vector<unsigned> sizes;
            std::istringstream text(measures);
            char colon = 0;
            for (unsigned value = 0, size = 0; text >> value >> colon >> size;) {
                sizes.push_back(size);
                bytes.resize(bytes.size() + (amongOthers ? size : 0));
                for (unsigned i = 0; i < size; ++i) { // little-endian, as all our hosts
                    bytes.push_back(static_cast<unsigned char>(value >> 8 * i));
                }
                bytes.resize(bytes.size() + (amongOthers ? size : 0));
            }
            return sizes;
        };
        const std::vector<unsigned> channelSizes = add(channel, true);
        const std::vector<unsigned> boardSizes = add(board, false);
        const auto size = static_cast<unsigned>(bytes.size());
        auto* const data = new unsigned char[size];
        std::copy(bytes.begin(), bytes.end(), data);
        return ShotEvent(1, 0, 0, AMPLIFIER_UNKNOWN, 0, 0, data, size, 3, board.empty() ? 0 : 1,
                         static_cast<unsigned>(channelSizes.size()),
                         static_cast<unsigned>(boardSizes.size()), channelSizes.data(),
                         boardSizes.data())
            .shotResult();
    }
};

const std::string THRESHOLDS = "[thresholds]\nminAMP = 3|-4\nmaxAMP = 40000|6|7\nminUPB = 1\n";

TEST_F(Definition, IsAppliedWhenItsGeneratorIsConnected) {
    struct Case {
        Generation generation;
        std::string ini;
        std::vector<BoardAddress> active; // with measures
        std::string defined;              // where it is
        const char* host;                 // to connect to
        std::uint16_t port;
    };
    const std::string v30 = ini(Generation::V30);
    const std::string v31 = ini(Generation::V31);
    const std::string port = "\nport = " + std::to_string(peer.port());
    const std::vector<BoardAddress> all = {{10, 0}, {12, 0}, {12, 1}};
    const std::vector<BoardAddress> amplifiers(all.begin() + 1, all.end());
    const std::string withUPB = with(v31, "[UPB00]", "[UPB00]\nbo = tem2,idc4");
    const std::string withoutFirst = with(v31, "1111-1111", "0000-1111");
    const Case cases[] = {
        {Generation::V31, withUPB, all, "127.0.0.1" + port, nullptr, 0},
        {Generation::V30, v30, amplifiers, "127.9.9.9" + port, "127.0.0.1", 0},
        {Generation::V31, withoutFirst, {all[2]}, "127.0.0.1", "", peer.port()},
    };
    for (const Case& c : cases) {
        ASSERT_TRUE(load(with(GOOD, "127.0.0.1", c.defined + "\nclock = 25") + THRESHOLDS));
        EXPECT_EQ(fus().getDefinitionHost(), c.defined.substr(0, 9));
        EXPECT_EQ(fus().getDefinitionPort(), c.port == 0 ? peer.port() : 1670);
        greet(peer, c.generation, c.ini, c.active);
        expectWrite(10, 0, 1379, 25000000);
        for (const auto& [hwid, address] : c.active) {
            // a raw value is twice the physical one of the first measure, and that of the second
            if (hwid == 10) {
                expectWrite(hwid, address, 2500, 2);
                continue;
            }
            expectWrite(hwid, address, 2500, 0);
            expectWrite(hwid, address, 2600, 65535);
            expectWrite(hwid, address, 2500, 6, address == 1);
            expectWrite(hwid, address, 2600, 80000, address == 1);
            expectWrite(hwid, address, 2501, 0);
            expectWrite(hwid, address, 2601, 0); // four bytes: no upper end of the range
            expectWrite(hwid, address, 2501, 0);
            expectWrite(hwid, address, 2601, 6);
        }
        const LogCapture log(Log::VERBOSE);
        ASSERT_TRUE(fus().connect(c.host, c.port, 5000));
        EXPECT_TRUE(log.has("Applying definition: clock frequency"));
        EXPECT_TRUE(log.has("Applying definition: board measure thresholds"));
        EXPECT_FALSE(log.hasPart("AFTER the connection"));
        hangUp();
    }
}

TEST_F(Definition, IsNotAppliedQuietlyWhereItCanNotBe) {
    constexpr char WARNING[] = "Warning: can not apply the [thresholds] section on a v2 generator.";
    ASSERT_TRUE(load(with(GOOD, "channels", "clock = 25\nchannels") + THRESHOLDS));
    LogCapture log(Log::ERROR);
    connect(Generation::V2);
    EXPECT_EQ(
        log.lines(),
        (LogLines{{Log::ERROR, "Warning: can not apply the 'clock' setting on a v2 generator."},
                  {Log::ERROR, WARNING}}));
    for (const char* key : {"minUPB", "maxUPB", "minAMP", "maxAMP", "minSNT"}) {
        ASSERT_TRUE(load(GOOD + "[thresholds]\n" + key + " = 1"));
        log.clear();
        fus().applyDefBoardMeasureThresholds();
        EXPECT_EQ(log.has(WARNING), key != std::string("minSNT")) << key;
    }
    hangUp();
    ASSERT_TRUE(listener.waitForType(FUSEvent::EVENT_DISCONNECT));
    listener.clear();
    ASSERT_TRUE(load(GOOD + THRESHOLDS));
    greet(peer, Generation::V31);
    expectWrite(12, 0, 2500, 0, true);
    EXPECT_NE(faultOf([&] { fus().connect(ScriptedPeer::HOST, peer.port(), 5000); }), "");
    EXPECT_TRUE(fus().isConnected());
    disconnect();
    ASSERT_TRUE(listener.waitForType(FUSEvent::EVENT_DISCONNECT));
    EXPECT_EQ(listener.events().size(), 1U) << "nobody heard of a connection";
}

TEST_F(Definition, IsHeldAgainstWhatIsConnected) {
    const std::string mismatch = "Generator configuration mismatch: bad ";
    struct Step {
        std::string right, wrong, message, detail;
    };
    // All is wrong at first; one thing after the other is mended.
    const Step steps[] = {
        {"channels = 8", "channels = 9", "channel count", " (got 8 but expecting 9)"},
        {"type = 1\nmeasures = 3\n[coeffs0]", "type = 2\nmeasures = 4\n[coeffs1]",
         "shot result measurement count", " (got 3 but expecting 4)"},
        {"1.2.3.4", "1.2.4.3", "amplifier version", " (expected: 1.2.4.3, connected: 1.2.3.4)"},
        {"generatorCount = 1", "generatorCount = 2", "board count",
         " for type SNT (got 1 while 2 expected)"},
        {"amplifierCount = 2", "amplifierCount = -1", "board count",
         " for type AMP (got 2 while -1 expected)"},
        {"[amp", "mechanicsCount = 1\n[amp", "board count",
         " for type MOT (got 0 while 1 expected)"},
    };
    EXPECT_EQ(faultOf([&] { fus().checkConfiguration(); }).substr(0, 17), "ERR_NOT_CONNECTED");
    connect(Generation::V31, ini(Generation::V31));
    EXPECT_EQ(faultOf([&] { fus().checkConfiguration(); }),
              "ERR_CONFIG: No generator definition loaded");
    std::string text = GOOD;
    for (const Step& step : steps) {
        text = with(text, step.right, step.wrong);
    }
    for (const Step& step : steps) {
        ASSERT_TRUE(load(text));
        const LogCapture log(Log::INFO);
        const std::string message = mismatch + step.message;
        EXPECT_EQ(faultOf([&] { fus().checkConfiguration(); }), "ERR_CONFIG: " + message);
        EXPECT_EQ(log.lines(), (LogLines{{Log::INFO, "Checking generator configuration"},
                                         {Log::ERROR, message + step.detail},
                                         {Log::EXCEPTION, "ERR_CONFIG: " + message}}));
        text = with(text, step.wrong, step.right);
    }
    ASSERT_TRUE(load(text));
    EXPECT_EQ(faultOf([&] { fus().checkConfiguration(); }), "");
}

TEST_F(Definition, CountsTheVoltagesThatAreOutOfTheirRanges) {
    const FloatArray none;
    EXPECT_EQ(faultOf([&] { fus().checkVoltages(none); }).substr(0, 17), "ERR_NOT_CONNECTED");
    connect(Generation::V2);
    EXPECT_EQ(faultOf([&] { fus().checkVoltages(none); }),
              "ERR_CONFIG: No generator definition loaded");
    const float values[] = {0.5F, 5.5F, std::nanf(""), HUGE_VALF, -100};
    const FloatArray voltages(values, 5);
    const LogCapture log(Log::INFO);
    load(GOOD);
    EXPECT_EQ(fus().checkVoltages(voltages), 0U);
    EXPECT_TRUE(log.has("Check voltage ignored since no min/max in definition."));
    load(with(GOOD, "channels", "minVoltages = 1|1|1|1\nmaxVoltages = 5|5.5|5|5\nchannels"));
    EXPECT_FALSE(fus().getDefinitionHasVoltage());
    EXPECT_EQ(fus().checkVoltages(voltages), 2U);
    EXPECT_TRUE(log.has("bad voltage[0]: 0.5 not within [1, 5]"));
    EXPECT_TRUE(log.has("bad voltage[3]: inf not within [1, 5]"));
    EXPECT_EQ(fus().checkVoltages(FloatArray(values, 1)), 1U);
}

TEST_F(Definition, IsComparedAtConnectsAndAtLoadsWhileConnected) {
    struct Case {
        std::string before, after;
        Generation generation;
        std::string ini;
        bool fits; // the one before; the one after doesn't, or the other way round
    };
    const std::string v31 = ini(Generation::V31);
    // none fits amplifiers that have neither a version nor measures
    const std::string bare = with(iniOf(Generation::V2), "amp_board = 4", "amp_board = 0");
    const Case cases[] = {
        {GOOD, OTHER_MEASURES, Generation::V31, v31, true},
        {OTHER_VERSION, GOOD, Generation::V31, v31, false},
        {OTHER_MEASURES, GOOD, Generation::V31, v31, false},
        {"", GOOD, Generation::V2, bare, true},
    };
    for (const Case& c : cases) {
        generator().clearDefinition();
        EXPECT_EQ(load(c.before), !c.before.empty());
        EXPECT_FALSE(converts()) << "nothing to compare with";
        connect(c.generation, c.ini);
        EXPECT_EQ(converts(), c.fits) << c.before;
        ASSERT_TRUE(load(c.after));
        EXPECT_EQ(converts(), !c.fits) << c.after;
        hangUp();
        load(c.before);
        EXPECT_EQ(converts(), !c.fits) << "a load without a connection has no say";
    }
}

TEST_F(Definition, IsGoneAfterAFailedLoadAndAfterAClear) {
    const std::string path = (std::filesystem::temp_directory_path() /
                              ("fus-definition-" + std::to_string(std::random_device{}())))
                                 .string();
    std::ofstream(path) << GOOD;
    struct Case {
        std::function<bool()> lose;
        std::string lines;
    };
    const std::string late =
        "\nWarning: the generator definition has been loaded AFTER the connection, only "
        "polynomials "
        "for shot results will be used. Other parameters are ignored (BKP, clock, thresholds).";
    const std::string from = "Loading generator definition from ";
    const Case cases[] = {
        {[&] { return load(with(GOOD, "ip", "id")); }, "*\n" + from + "a string: error" + late},
        {[&] { return generator().loadDefinition("no/file"); },
         "Can not open file 'no/file'.\n" + from + "'no/file': error" + late},
        {[&] { return load(""); }, ""},
        {[&] { return generator().loadDefinition(nullptr); }, ""},
        {[&] { return generator().clearDefinition(), false; }, ""},
    };
    connect(Generation::V31, ini(Generation::V31));
    LogCapture log(Log::INFO);
    for (const Case& c : cases) {
        log.clear();
        EXPECT_TRUE(generator().loadDefinition(path.c_str()));
        EXPECT_TRUE(isLike(log.text(), "*\n" + from + "'" + path + "': success" + late));
        EXPECT_EQ(log.lines(Log::ERROR).size(), 1U);
        EXPECT_TRUE(converts());
        EXPECT_EQ(ShotResult::maxPower(), 3.0F);
        log.clear();
        EXPECT_FALSE(c.lose());
        EXPECT_TRUE(isLike(log.text(), c.lines)) << log.text();
        EXPECT_FALSE(converts() || generator().isDefinitionLoaded());
        EXPECT_EQ(ShotResult::maxPower(), 0.0F);
        EXPECT_EQ(fus().getDefinitionHost(), nullptr);
    }
    std::filesystem::remove(path);
}

TEST_F(Definition, ConvertsShotsAndKeepsWhatWasConvertedBeforeAFailure) {
    LogCapture log(Log::ERROR);
    connect(Generation::V31, ini(Generation::V31));
    struct Case {
        std::string definition, channel, board;
        std::string converted; // all channels' values, measure by measure; powers; board's values
        std::string errors;
    };
    const std::string bare = with(GOOD, "[coeffs0]", "[coeffs1]");
    const std::string byVoltages = with(GOOD, "type = 1", "type = 3");
    const std::string failed = "computeResultPowers failed on ";
    const std::string computed = "  compute[ch=  1]: ";
    const std::string none = "0 0 0 0 0 0 0 0 0 ; 0 0 0 ; ";
    const Case cases[] = {
        {GOOD, "10:1 190:1 30:1", "7:2 9:4", "0 20.5 0 0 10 0 0 30 0 ; 0 10.5 0 ; 3.5 9 ", ""},
        {GOOD, "10:2 190:4 30:1", "", "0 20.5 0 0 10 0 0 30 0 ; 0 10.5 0 ; ", ""},
        {GOOD, "1000:2 70000:4 3:2", "", "0 2000.5 0 0 0 0 0 3 0 ; 0 2000.5 0 ; ", ""},
        {GOOD, "10:1 20:1 3:1", "", "0 20.5 0 0 180 0 0 3 0 ; 0 -1 0 ; ",
         computed + "Pf=20.50 W, Pr=180.00 W, power=-159.500 W -> -1"},
        {byVoltages, "10:2 20:1 3:1", "", "0 20.5 0 0 180 0 0 3 0 ; 0 -1 0 ; ",
         computed + "Vf=20.50 V, Vr=180.00 V, power=-639.595 W"},
        {bare, "0:1 0:1 0:1", "", none, ""},
        {bare, "1:1 2:1 3:1", "7:2 9:4", "0 -1 -1 0 -1 -1 0 -1 -1 ; 0 -1 -1 ; 3.5 9 ",
         "ERR_ARGUMENT\n" + failed + "channel 1, measure 3"},
        {GOOD, "1:1 2:1", "", "-1 -1 -1 -1 -1 -1 ; -1 -1 -1 ; ",
         "ERR_ARGUMENT\n" + failed + "channel 0, measure 2"},
        {GOOD, "0:1 0:1 0:1", "7:2", none + "-1 ",
         "Board measure count mismatch in shot result conversions (1 in shot, 2 in config)."},
        {GOOD, "0:1 0:1 0:1", "7:2 9:3", none + "3.5 -1 ",
         "ERR_ARGUMENT: Unsupported board measure size.\n" + failed + "board 0, measure 1"},
    };
    for (const Case& c : cases) {
        ASSERT_TRUE(load(c.definition));
        log.clear();
        const ShotResult shot = shotOf(c.channel, c.board);
        EXPECT_EQ(log.text(), c.errors);
        std::ostringstream converted;
        for (unsigned i = 0; i < 3 * shot.channelMeasureCount(); ++i) {
            converted << shot.channelPhysicalValue(i % 3, i / 3) << ' ';
        }
        converted << "; " << shot.power(0) << ' ' << shot.power(1) << ' ' << shot.power(2) << " ; ";
        for (unsigned m = 0; m < shot.boardMeasureCount(); ++m) {
            converted << shot.boardPhysicalValue(0, m) << ' ';
        }
        EXPECT_EQ(converted.str(), c.converted);
    }
}

TEST_F(Definition, MayBeLoadedAndClearedWhileResultsCome) {
    connect(Generation::V31, ini(Generation::V31));
    const LogCapture quietly(Log::NONE);
    const std::string other =
        with(with(GOOD, "c0 = 2 | 0.5", "c0 = 5 | 0.5"), "type = 1", "type = 3");
    std::atomic<unsigned> shots{0};
    std::atomic<bool> done{false};
    std::thread loader([&] {
        for (unsigned i = 0; i < 100 || shots < 10; ++i) {
            i % 3 == 2 ? generator().clearDefinition() : void(load(i % 3 == 0 ? GOOD : other));
        }
        done = true;
    });
    // value, power and type of amplifier go together
    const std::vector<float> outcomes[] = {
        {-1, -1, 0}, {400.5F, 400.5F, 1}, {1000.5F, 1000.5F * 1000.5F / 50, 3}};
    for (; !done; ++shots) {
        const ShotResult shot = shotOf("200:1 200:1 0:1", "");
        const std::vector<float> got = {shot.channelPhysicalValue(1, 0), shot.power(1),
                                        static_cast<float>(shot.amplifierType())};
        EXPECT_TRUE(std::find(std::begin(outcomes), std::end(outcomes), got) != std::end(outcomes))
            << testing::PrintToString(got);
    }
    loader.join();
}

} // namespace
