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
#include <cstring>
#include <filesystem>
#include <limits>
#include <numeric>
#include <sstream>
#include <streambuf>
#include <string>
#include <thread>
#include <vector>

using namespace fus;
using namespace fus::test;
using namespace fus::gprotocol;

namespace {

constexpr float NOT_A_NUMBER = std::numeric_limits<float>::quiet_NaN();
constexpr float INFINITE = std::numeric_limits<float>::infinity();

/// The text with a part of it replaced.
std::string with(std::string text, const std::string& from, const std::string& to) {
    const std::size_t at = text.find(from);
    if (at == std::string::npos) {
        throw std::invalid_argument("no " + from);
    }
    return text.replace(at, from.size(), to);
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

GeneratorDefinition definitionOf(const std::string& text) {
    GeneratorDefinition definition;
    EXPECT_TRUE(definition.loadText(text.c_str())) << text;
    return definition;
}

std::vector<float> listOf(const FloatArray& array) {
    return std::vector<float>(array.data(), array.data() + array.size());
}

bool isEmpty(const GeneratorDefinition& d) {
    return !d.isLoaded() && d.host() == nullptr && d.port() == 0 && d.channels() == 0 &&
           d.boardCount(BOARD_PROCESSOR) == 0 && d.amplifierType() == AMPLIFIER_UNKNOWN &&
           d.boardThresholds(BOARD_AMPLIFIER, true).size() == 0;
}

/// All bits of the values, but for those of a NaN, in which only that counts.
std::vector<std::uint32_t> bitsOf(const std::vector<float>& values) {
    std::vector<std::uint32_t> bits;
    for (const float value : values) {
        bits.push_back(floatBits(std::isnan(value) ? NOT_A_NUMBER : value));
    }
    return bits;
}

// ---- Loading ------------------------------------------------------------------------------------

const std::string ALL_WRONG = R"([config]
ip =
port = 65536
minVoltages = 1|5
maxVoltages = 2
[backpanel]
SNT.mask = 1110
AMP.mask = 01
[thresholds]
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

// One line after the other is mended.
TEST(GeneratorDefinition, ChecksItsRequirementsInTheirOrder) {
    struct Step {
        std::string failure;
        std::string wrong;
        std::string right;
        std::string detail = "";
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
        {"m_maxVoltages.size() == m_minVoltages.size()", "Voltages = 2", "Voltages = 2|5"},
        {"m_minVoltages[i] < m_maxVoltages[i]", "Voltages = 2|5", "Voltages = 2|6",
         "  invalid voltage range #2: [5, 5]"},
        {"m_minBOThresholds[btype][i] < m_maxBOThresholds[btype][i]", "nan", "4",
         "  invalid AMP BO thresholds #2: [nan, 5]"},
        {"m_bkpMaskSNT.activeCount() == m_bkpMaskAMP.activeCount()", "AMP.mask = 01",
         "AMP.mask = 0111"},
        {"m_bkpMaskSNT.activeCount() == m_channels", "1110\nAMP.mask = 0111",
         "1010\nAMP.mask = 11"},
    };
    const std::string ignored = "  failed requirement(ignored): m_maxPower != 0.0f";
    std::string text = ALL_WRONG;
    GeneratorDefinition definition;
    for (const Step& step : steps) {
        std::vector<std::string> expected;
        if (&step - steps >= 7) {
            expected.push_back(ignored);
        }
        if (!step.detail.empty()) {
            expected.push_back(step.detail);
        }
        expected.push_back("  failed requirement: " + step.failure);
        const LogCapture log(Log::ERROR);
        EXPECT_FALSE(definition.loadText(text.c_str()));
        EXPECT_EQ(log.texts(), expected);
        EXPECT_TRUE(isEmpty(definition)) << step.failure;
        text = with(text, step.wrong, step.right);
    }
    const LogCapture log(Log::ERROR);
    EXPECT_TRUE(definition.loadText(text.c_str()));
    EXPECT_EQ(log.texts(), std::vector<std::string>{ignored});
    EXPECT_FALSE(definition.loadText("[config]"));
    EXPECT_TRUE(isEmpty(definition)) << "a failed load leaves something of the one before";
}

TEST(GeneratorDefinition, ToleratesWhatIsOnlyOdd) {
    struct Case {
        std::string from;
        std::string to;
        bool loads;
        std::string line; // the one error, if any
    };
    const std::string level = "  failed requirement: ";
    const Case cases[] = {
        {"[amp", "clock = 25\n[amp", true, ""},
        {"[amp", "clock = 26\n[amp", true, "Invalid value for parameter 'clock', using default."},
        {"[amp", "[backpanel]\ntarget = ram\n[amp", true,
         "Unknown [backpanel].target value (ram), RAM used instead (accepted values are RAM and "
         "RAM+FLASH)."},
        {"[amp", "[backpanel]\nSNT.mask = 000\nAMP.mask = 1\n[amp", true, ""},
        {"measures = 3", "measures = 3\nonboardLoad = 0\nmaxPower = inf", true, ""},
        {"c0 =", "VADCThreshold = 255\nIADCThreshold = 0\nc0 =", true, ""},
        {"c0 =", "VADCThreshold = 300\nIADCThreshold = -1\nc0 =", false,
         level + "vthreshold >= 0 && vthreshold < 256"},
        {"c0 =", "VADCThreshold = -1\nc0 =", false, level + "vthreshold >= 0 && vthreshold < 256"},
        {"c0 =", "IADCThreshold = 256\nc0 =", false, level + "ithreshold >= 0 && ithreshold < 256"},
        {"ip =", "ip\t=", true, ""},
        {"ip =", "ip", false, "Error parsing generator definition: *Config.cpp@#)"},
        {"channels = 8", "channels = eight", false,
         "parameter 'channels': can not be converted to integer"},
        {"channels = 8", "channels = 8\nchannels = 0", true, ""},
        {"[coeffs0]", "[coeffs1]", true, ""},
        {"c1 = -1 |", "c1 = -1 | x |", true, "parameter 'c1': can not read float item 1"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.to);
        GeneratorDefinition definition;
        const LogCapture log(Log::ERROR);
        EXPECT_EQ(definition.loadText(with(GOOD, c.from, c.to).c_str()), c.loads);
        EXPECT_EQ(isEmpty(definition), !c.loads);
        const LogLines lines = log.lines(Log::ERROR);
        ASSERT_EQ(lines.empty(), c.line.empty()) << testing::PrintToString(lines);
        EXPECT_TRUE(lines.empty() || isLike(lines[0].text, c.line)) << lines[0].text;
    }
}

TEST(GeneratorDefinition, TakesEveryKeyToItsPlace) {
    const LogCapture log(Log::VERBOSE);
    const GeneratorDefinition d = definitionOf(R"([config]
ip = rack.local
port = 1671
channels = 2
generatorCount = 3
amplifierCount = 4
mechanicsCount = 5
minVoltages = 1|2|3|4|5
maxVoltages = 6|7|8|9|10
clock = 24
[backpanel]
SNT.mask = 1-0-1
AMP.mask = 110
target = RAM+FLASH
[thresholds]
minUPB = 1|2
maxUPB = 3
minAMP = 4
maxAMP = 5|6
[amplifier]
version = 1.2.3.4
type = 2
measures = 4
maxPower = 2.5
[coeffs0]
c0 = -2.5e-3|3|-2|1.5
c1 = 2 1
c2 =
c3 = 7
)");
    EXPECT_STREQ(d.host(), "rack.local");
    EXPECT_EQ(d.port(), 1671);
    for (unsigned type = 0; type < 4; ++type) {
        EXPECT_EQ(d.boardCount(type), type == 0 ? 1 : type + 2);
    }
    EXPECT_TRUE(d.definesVoltages());
    EXPECT_EQ(d.clockFrequency(), 24000000U);
    EXPECT_EQ(d.backPanelSNT(), Mask1D("101", 0));
    EXPECT_EQ(d.backPanelAMP(), Mask1D("110", 0));
    EXPECT_EQ(d.backPanelStorage(), 2U);
    EXPECT_EQ(listOf(d.boardThresholds(BOARD_PROCESSOR, false)), (std::vector<float>{1, 2}));
    EXPECT_EQ(listOf(d.boardThresholds(BOARD_PROCESSOR, true)), (std::vector<float>{3}));
    EXPECT_EQ(listOf(d.boardThresholds(BOARD_AMPLIFIER, true)), (std::vector<float>{5, 6}));
    EXPECT_EQ(d.amplifierVersion(), Version(1, 2, 3, 4));
    EXPECT_EQ(d.maxPower(), 2.5F);
    for (const char* line :
         {"Generator: ampli=1.2.3.4, type=2, measures=4", "poly0 = 1.5 -2 v +3 v^2 -0.0025 v^3",
          "poly1 = 1 +2 v", "poly2 = ", "poly3 = 7"}) {
        EXPECT_TRUE(log.has(line)) << line;
    }
    EXPECT_EQ(faultOf([&] { d.boardCount(4); }).substr(0, 12), "ERR_ARGUMENT");
    EXPECT_EQ(faultOf([&] { d.boardThresholds(static_cast<BoardType>(4), true); }).substr(0, 9),
              "ERR_INDEX");
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

TEST(GeneratorDefinition, RefusesRubbishWithoutAnException) {
    GeneratorDefinition definition;
    const LogCapture log(Log::ERROR);
    std::string bytes(70000, '\0');
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<char>(i * i + i / 7);
    }
    std::istringstream rubbish(bytes);
    EXPECT_FALSE(definition.load(rubbish));
    EXPECT_FALSE(definition.load(rubbish)) << "from a stream at its end";
    EXPECT_FALSE(definition.loadText(std::string(1000000, '[').c_str()));
    EXPECT_FALSE(definition.loadFile("no/such/file"));
    EXPECT_TRUE(log.has("Can not open file 'no/such/file'."));
    EXPECT_FALSE(definition.loadFile(std::filesystem::temp_directory_path().string().c_str()));

    BrokenBuffer early(with(GOOD, "ip =", "")), late(GOOD);
    std::istream cut(&early), whole(&late);
    EXPECT_FALSE(definition.load(cut));
    EXPECT_FALSE(definition.load(whole)) << "nobody knows what its end would have said";
    EXPECT_TRUE(isEmpty(definition));
}

// ---- Conversion ---------------------------------------------------------------------------------

/// What the conversion is to compute, in plain words: returns values and power.
std::vector<float> plainly(int type, const std::vector<std::vector<float>>& decoders, bool quiet,
                           float load, std::vector<float> values) {
    for (std::size_t i = 0; i < values.size(); ++i) {
        float sum = 0;
        for (std::size_t k = 0; k < decoders[i].size(); ++k) {
            float power = 1;
            for (std::size_t n = 0; n < k; ++n) {
                power *= values[i];
            }
            sum += decoders[i][k] * power;
        }
        values[i] = i < 2 && sum < 0 ? 0 : sum;
    }
    values[2] = quiet ? 0 : values[2];
    const float v = values[0];
    const float w = values[1];
    float power = v - w;
    if (type == 2) {
        power = std::cos(values[2]) * (w * v);
    } else if (type == 3) {
        power = (v * v - w * w) / load;
    }
    values.push_back(power < 0 ? -1 : power);
    return values;
}

std::string listText(std::vector<float> values) {
    std::ostringstream text;
    text.precision(9);
    for (auto value = values.rbegin(); value != values.rend(); ++value) {
        text << *value << '|';
    }
    return text.str();
}

TEST(GeneratorDefinition, ConvertsToTheBitAsThePlainComputationDoes) {
    const std::vector<float> longest(70, 1e-3F); // too long for a table
    const std::vector<std::vector<std::vector<float>>> sets = {
        {{0.1F, 0.013F, -3e-5F}, {-0.3F, 0.02F}, {0.7F, -0.03F, 1e-6F, 2e-9F}, {1.0F}},
        {{-500, 7}, {300}, {}, {3e38F, 3e38F}},
        {{INFINITE, -1}, {NOT_A_NUMBER}, {INFINITE}, {0, 1e38F, 1e38F}},
        {longest, longest, longest, {}},
    };
    const std::vector<float> raws = {0, 1, 2, 9, 10, 11, 77, 254, 255, 256, 65535, 4294967295.0F};
    const LogCapture quietly(Log::NONE);
    for (int type = 1; type <= 3; ++type) {
        const std::size_t count = type == 2 ? 4 : 3;
        for (const auto& decoders : sets) {
            std::string text = GOOD.substr(0, GOOD.find("type")) +
                               "type = " + std::to_string(type) +
                               "\nmeasures = " + std::to_string(count) +
                               "\nonboardLoad = 47\n[coeffs0]\nVADCThreshold = 10\n"
                               "IADCThreshold = 11\n";
            for (std::size_t i = 0; i < count; ++i) {
                text += "c" + std::to_string(i) + " = " + listText(decoders[i]) + "\n";
            }
            const GeneratorDefinition definition = definitionOf(text);
            for (std::size_t n = 0; n < raws.size() * raws.size(); ++n) {
                std::vector<float> values = {raws[n % raws.size()], raws[n / raws.size()],
                                             raws[n * 7 % raws.size()], raws[n * 5 % raws.size()]};
                values.resize(count);
                const bool quiet = type == 2 && values[0] < 10 && values[1] < 11;
                std::vector<float> expected = plainly(type, decoders, quiet, 47, values);
                if (std::accumulate(values.begin(), values.end(), 0.0F) == 0.0F) {
                    expected.assign(count + 1, 0.0F);
                }
                FloatArray converted(values.data(), values.size());
                float power = 12;
                definition.convertMeasures(3, converted, &power);
                std::vector<float> got = listOf(converted);
                got.push_back(power);
                got.push_back(definition.computePower(3, converted));
                expected.push_back(expected.back());
                ASSERT_EQ(bitsOf(got), bitsOf(expected)) << type << ", " << n;
                if (!definition.hasTables(count) ||
                    *std::max_element(values.begin(), values.end()) > 255) {
                    continue;
                }
                const std::vector<unsigned char> raw(values.begin(), values.end());
                definition.convertBytes(raw.data(), 1, got.data(), &got[count]);
                ASSERT_EQ(bitsOf(got), bitsOf(expected)) << type << ", " << n;
            }
        }
    }
}

TEST(GeneratorDefinition, TellsOfNegativePowersAndRefusesOtherCounts) {
    struct Case {
        const char* type;
        std::vector<float> values;
        const char* line;
    };
    const Case cases[] = {
        {"1", {1, 2.5F, 0}, "  compute[ch=  7]: Pf=1.00 W, Pr=2.50 W, power=-1.500 W -> -1"},
        {"2",
         {2, 4, 3.14159265F, 0},
         "  compute[ch=  7]: V=2.00 V, I=4.00 A, Ph=3.14 rad, power=-8.000 W -> -1"},
        {"3", {1, 9, 0}, "  compute[ch=  7]: Vf=1.00 V, Vr=9.00 V, power=-1.600 W"},
    };
    for (const Case& c : cases) {
        const std::string count = std::to_string(c.values.size());
        const GeneratorDefinition definition = definitionOf(
            GOOD.substr(0, GOOD.find("type")) + "type = " + c.type + "\nmeasures = " + count);
        const LogCapture log(Log::ERROR);
        EXPECT_EQ(definition.computePower(7, FloatArray(c.values.data(), c.values.size())), -1.0F);
        EXPECT_EQ(log.texts(), std::vector<std::string>{c.line});
        FloatArray tooFew(2, 1.0F);
        FloatArray undecoded(c.values.size(), 1.0F);
        float power = 5;
        for (FloatArray* values : {&tooFew, &undecoded}) {
            EXPECT_EQ(
                faultOf([&] { definition.convertMeasures(0, *values, &power); }).substr(0, 12),
                "ERR_ARGUMENT");
        }
        EXPECT_EQ(faultOf([&] { definition.computePower(0, tooFew); }).substr(0, 12),
                  "ERR_ARGUMENT");
        EXPECT_EQ(log.count("ERR_ARGUMENT"), 3U);
        undecoded = FloatArray(c.values.size(), 0.0F);
        definition.convertMeasures(0, undecoded, &power);
        EXPECT_EQ(power, 0.0F) << "a channel that saw nothing needs no polynomials";
    }
}

// ---- Connected ----------------------------------------------------------------------------------

class Definition : public ConnectedFixture {
protected:
    ~Definition() override { generator().clearDefinition(); }

    /// The small generator, with a version of its amplifiers.
    static std::string ini(Generation generation) {
        const std::string text = iniOf(generation);
        return generation == Generation::V2
                   ? with(text, "[Available", "amp_board_hardware_version = 1.2.3.4\n[Available")
                   : with(text, "[AMP00]", "[AMP00]\nhw = 1.2.3.4");
    }

    bool load(const std::string& text) { return generator().loadDefinitionString(text.c_str()); }

    /// A write of a board parameter, and the board's word for it.
    void expectWrite(unsigned hwid, unsigned address, unsigned param, unsigned value,
                     bool refused = false) {
        const Bytes frame = zeroes(12) + u8(hwid) + u8(address);
        peer.expect(CMD_BOARD_CMD, zeroes(4) + frame + be16(92) + be16(12) + le16(param) + le16(0) +
                                       le32(value) + le32(0));
        if (refused) {
            peer.answer(ANSWER_ERROR);
        } else {
            peer.answer(ANSWER_BOARD, frame + be16(92) + be16(92) + be16(0));
        }
    }

    /// A shot with all values of a channel, one byte each, and of a board, two bytes each.
    ShotResult shotOf(const std::vector<unsigned char>& channel, const std::vector<int>& board) {
        constexpr unsigned CHANNELS = 3;
        const std::vector<unsigned> ones(channel.size(), 1);
        const std::vector<unsigned> twos(board.size(), 2);
        const std::size_t size = channel.size() * CHANNELS + board.size() * 2;
        auto* data = new unsigned char[size]();
        for (std::size_t m = 0; m < channel.size(); ++m) {
            data[m * CHANNELS + 1] = channel[m]; // the first and the last channel saw nothing
        }
        for (std::size_t m = 0; m < board.size(); ++m) {
            const auto value = static_cast<std::uint16_t>(board[m]);
            std::memcpy(data + channel.size() * CHANNELS + m * 2, &value, 2);
        }
        return ShotEvent(1, 0, 0, AMPLIFIER_UNKNOWN, 0, 0, data, static_cast<unsigned>(size),
                         CHANNELS, board.empty() ? 0 : 1, static_cast<unsigned>(channel.size()),
                         static_cast<unsigned>(board.size()), ones.data(), twos.data())
            .shotResult();
    }
};

const std::string THRESHOLDS = "[thresholds]\nminAMP = 3|-4\nmaxAMP = 5|6|7\nminUPB = 1\n";

TEST_F(Definition, IsAppliedWhenItsGeneratorIsConnected) {
    const std::string port = "port = " + std::to_string(peer.port()) + "\nclock = 25\n";
    ASSERT_TRUE(load(with(GOOD, "channels", port + "channels") + THRESHOLDS));
    EXPECT_STREQ(fus().getDefinitionHost(), "127.0.0.1");
    EXPECT_EQ(fus().getDefinitionPort(), peer.port());
    greet(peer, Generation::V31, ini(Generation::V31));
    expectWrite(10, 0, 1379, 25000000);
    for (const unsigned address : {0U, 1U}) {
        // a raw value is twice the physical one
        expectWrite(12, address, 2500, 0);
        expectWrite(12, address, 2600, 65535);
        expectWrite(12, address, 2500, 6, address == 1);
        expectWrite(12, address, 2600, 10, address == 1);
        expectWrite(12, address, 2501, 0);
        expectWrite(12, address, 2601, 0); // four bytes: no upper end of the range
        expectWrite(12, address, 2501, 0);
        expectWrite(12, address, 2601, 12);
    }
    const LogCapture log(Log::VERBOSE);
    ASSERT_TRUE(fus().connect(nullptr, 0, 5000));
    EXPECT_TRUE(log.has("Applying definition: clock frequency"));
    EXPECT_TRUE(log.has("Applying definition: board measure thresholds"));
    EXPECT_TRUE(generator().isShotResultConversionEnabled());
    EXPECT_FALSE(log.hasPart("AFTER the connection"));
    fus().checkConfiguration();
}

TEST_F(Definition, IsNotAppliedQuietlyWhereItCanNotBe) {
    ASSERT_TRUE(load(with(GOOD, "channels", "clock = 25\nchannels") + THRESHOLDS));
    greet(peer, Generation::V2);
    {
        const LogCapture log(Log::ERROR);
        ASSERT_TRUE(fus().connect(ScriptedPeer::HOST, peer.port(), 5000));
        EXPECT_EQ(log.texts(),
                  (std::vector<std::string>{
                      "Warning: can not apply the 'clock' setting on a v2 generator.",
                      "Warning: can not apply the [thresholds] section on a v2 generator."}));
    }
    peer.expectEnd();
    fus().disconnect();
    const LogCapture quietly(Log::NONE);
    greet(peer, Generation::V31);
    expectWrite(10, 0, 1379, 25000000);
    expectWrite(12, 0, 2500, 0, true);
    EXPECT_NE(faultOf([&] { fus().connect(ScriptedPeer::HOST, peer.port(), 5000); }), "");
    EXPECT_TRUE(fus().isConnected());
}

TEST_F(Definition, IsHeldAgainstWhatIsConnected) {
    const std::string mismatch = "Generator configuration mismatch: bad ";
    struct Case {
        std::string from;
        std::string to;
        std::string message;
        std::string detail;
    };
    const Case cases[] = {
        {"channels = 8", "channels = 9", "channel count", " (got 8 but expecting 9)"},
        {"type = 1\nmeasures = 3\n[coeffs0]", "type = 2\nmeasures = 4\n[coeffs1]",
         "shot result measurement count", " (got 3 but expecting 4)"},
        {"1.2.3.4", "1.2.4.3", "amplifier version", " (expected: 1.2.4.3, connected: 1.2.3.4)"},
        {"generatorCount = 1", "generatorCount = 2", "board count",
         " for type SNT (got 1 while 2 expected)"},
        {"amplifierCount = 2", "amplifierCount = -1", "board count",
         " for type AMP (got 2 while -1 expected)"},
        {"amplifierCount = 2", "amplifierCount = 2\nmechanicsCount = 1", "board count",
         " for type MOT (got 0 while 1 expected)"},
    };
    EXPECT_EQ(faultOf([&] { fus().checkConfiguration(); }).substr(0, 17), "ERR_NOT_CONNECTED");
    connect(Generation::V31, ini(Generation::V31));
    EXPECT_EQ(faultOf([&] { fus().checkConfiguration(); }),
              "ERR_CONFIG: No generator definition loaded");
    for (const Case& c : cases) {
        ASSERT_TRUE(load(with(GOOD, c.from, c.to)));
        const LogCapture log(Log::INFO);
        EXPECT_EQ(faultOf([&] { fus().checkConfiguration(); }),
                  "ERR_CONFIG: " + mismatch + c.message);
        EXPECT_EQ(log.lines(), (LogLines{{Log::INFO, "Checking generator configuration"},
                                         {Log::ERROR, mismatch + c.message + c.detail},
                                         {Log::EXCEPTION, "ERR_CONFIG: " + mismatch + c.message}}));
    }
    ASSERT_TRUE(load(GOOD));
    EXPECT_EQ(faultOf([&] { fus().checkConfiguration(); }), "");
}

TEST_F(Definition, CountsTheVoltagesThatAreOutOfTheirRanges) {
    const FloatArray none;
    EXPECT_EQ(faultOf([&] { fus().checkVoltages(none); }).substr(0, 17), "ERR_NOT_CONNECTED");
    connect(Generation::V2);
    EXPECT_EQ(faultOf([&] { fus().checkVoltages(none); }),
              "ERR_CONFIG: No generator definition loaded");
    const float values[] = {0.5F, 5.5F, NOT_A_NUMBER, INFINITE, -100};
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

TEST_F(Definition, ConvertsShotsOfTheAmplifiersThatItIsFor) {
    constexpr char WARNING[] =
        "Warning: the generator definition has been loaded AFTER the connection, only polynomials "
        "for shot results will be used. Other parameters are ignored (BKP, clock, thresholds).";
    EXPECT_FALSE(load(""));
    EXPECT_FALSE(generator().loadDefinition(nullptr));
    ASSERT_TRUE(load(GOOD));
    EXPECT_FALSE(generator().isShotResultConversionEnabled()) << "nothing to compare with";
    connect(Generation::V31, ini(Generation::V31));
    EXPECT_TRUE(generator().isShotResultConversionEnabled());
    EXPECT_EQ(generator().getMaxPower(), 3.0F);
    EXPECT_EQ(ShotResult::maxPower(), 3.0F);

    const ShotResult shot = shotOf({10, 20, 30}, {7, 9});
    EXPECT_EQ(shot.channelPhysicalValue(1, 0), 20.5F);
    EXPECT_EQ(shot.channelPhysicalValue(1, 1), 180.0F);
    EXPECT_EQ(shot.channelPhysicalValue(1, 2), 30.0F);
    EXPECT_EQ(shot.power(1), -1.0F);
    EXPECT_EQ(shot.channelPhysicalValue(0, 1), 0.0F);
    EXPECT_EQ(shot.power(2), 0.0F);
    EXPECT_EQ(shot.boardPhysicalValue(0, 0), 3.5F);
    EXPECT_EQ(shot.boardPhysicalValue(0, 1), 4.5F);

    const LogCapture log(Log::INFO);
    EXPECT_FALSE(generator().loadDefinition("no/such/file"));
    EXPECT_TRUE(log.has("Loading generator definition from 'no/such/file': error"));
    EXPECT_FALSE(generator().isShotResultConversionEnabled());
    EXPECT_FALSE(generator().isDefinitionLoaded());
    EXPECT_EQ(shotOf({10, 20, 30}, {}).power(1), -1.0F);
    EXPECT_FALSE(load(with(GOOD, "ip", "id")));
    EXPECT_TRUE(load(with(GOOD, "1.2.3.4", "1.2.3.5")));
    EXPECT_FALSE(generator().isShotResultConversionEnabled());
    EXPECT_TRUE(load(GOOD));
    EXPECT_TRUE(log.has("Loading generator definition from a string: error"));
    EXPECT_TRUE(log.has("Loading generator definition from a string: success"));
    EXPECT_EQ(log.count(WARNING), 4U);
    EXPECT_TRUE(generator().isShotResultConversionEnabled());
    disconnect();
    EXPECT_TRUE(generator().isShotResultConversionEnabled());
    generator().clearDefinition();
    EXPECT_FALSE(generator().isShotResultConversionEnabled());
}

TEST_F(Definition, KeepsWhatWasConvertedBeforeAFailure) {
    LogCapture log(Log::ERROR);
    connect(Generation::V31, ini(Generation::V31));
    struct Case {
        std::string definition;
        std::vector<unsigned char> channel;
        std::vector<int> board;
        std::vector<std::string> lines;
        std::vector<float> powers;
    };
    const std::string noDecoders = with(GOOD, "[coeffs0]", "[coeffs1]");
    const std::string onChannel = "computeResultPowers failed on channel ";
    const Case cases[] = {
        {noDecoders, {1, 2, 3}, {7, 9}, {"ERR_ARGUMENT", onChannel + "1, measure 3"}, {0, -1, -1}},
        {noDecoders, {0, 0, 0}, {}, {}, {0, 0, 0}},
        {GOOD, {1, 2}, {}, {"ERR_ARGUMENT", onChannel + "0, measure 2"}, {-1, -1, -1}},
        {GOOD,
         {200, 0, 9},
         {7},
         {"Board measure count mismatch in shot result conversions (1 in shot, 2 in config)."},
         {0, 200.5F, 0}},
    };
    for (const Case& c : cases) {
        ASSERT_TRUE(load(c.definition));
        log.clear();
        const ShotResult shot = shotOf(c.channel, c.board);
        EXPECT_EQ(log.texts(), c.lines);
        for (unsigned channel = 0; channel < 3; ++channel) {
            EXPECT_EQ(shot.power(channel), c.powers[channel]) << channel;
        }
        if (c.board.size() == 2) {
            EXPECT_EQ(shot.boardPhysicalValue(0, 1), 4.5F) << "boards don't wait for channels";
        }
    }
}

TEST_F(Definition, MayBeLoadedWhileResultsCome) {
    connect(Generation::V31, ini(Generation::V31));
    const LogCapture quietly(Log::NONE);
    const std::string texts[] = {GOOD, with(GOOD, "c0 = 2 | 0.5", "c0 = 5 | 0.5")};
    ASSERT_TRUE(load(texts[0]));
    std::atomic<bool> done{false};
    std::thread loader([&] {
        for (unsigned i = 0; i < 100; ++i) {
            load(texts[i % 2]);
        }
        done = true;
    });
    while (!done) {
        const ShotResult shot = shotOf({200, 200, 0}, {});
        const float value = shot.channelPhysicalValue(1, 0);
        EXPECT_TRUE(value == 400.5F || value == 1000.5F) << value;
        EXPECT_EQ(shot.power(1), value);
    }
    loader.join();
}

} // namespace
