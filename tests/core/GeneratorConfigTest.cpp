#include "fus/P_GeneratorConfig.h"

#include "support/Faults.h"
#include "support/LogCapture.h"

#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <set>
#include <stdexcept>

using namespace fus;
using namespace fus::test;
using gprotocol::HWID_AMPLIFIER;
using gprotocol::HWID_BACK_PANEL;
using gprotocol::HWID_MECHANICS;
using gprotocol::HWID_PROCESSOR;
using gprotocol::HWID_SYNTHESIZER;

namespace {

const std::string V2_TEXT = R"([Version]
server_hardware_version = 2.3
server_software_version = 2.9.1.4
gen_board_hardware_version = 2010.9.11
gen_board_software_version = 5.1
amp_board_hardware_version = 4.0
amp_board_software_version = 4.1
mot_board_hardware_version = 1.0
mot_board_software_version = 1.2
[Available hardware]
nb_elements = 25
max_nb_buffers = 16
max_nb_shot = 1000
nb_power_supply = 3
nb_dds_board = 2
nb_gen_board = 9
nb_amp_board = 3
nb_amplifier_temperatures = 3
nb_amplifier_currents = 3
nb_measures_by_amp_board = 4
nb_mot_board = 1
has_demux = yes
has_ext_trigger = 1
[Timing constraints]
min_shot_duration_us = 1
max_shot_duration_us = 2
min_qshot_duration_us = 3
max_qshot_duration_us = 4
min_shot_length_us = 5
max_shot_length_us = 6
min_qshot_length_us = 7
min_rfqshot_length_us = 8
min_delay_between_trj_us = 10
max_delay_between_trj_us = 11
max_timeout_ms_async_PC2SLV_cmd = 13
max_ramp_time_us = 14
)";

// Slots 0 and 2 are in use; slots 1 and 3 hold boards that nothing uses.
const std::string V3_TEXT = R"([UPB00]
hw = 3.1
sw = 3.5.2
uid = 0x1234
crc = 99
bd = 2020-01-02 03:04
vh = abcdef
max_nb_buffers = 4
max_nb_shots = 500
has_ext_trigger = yes
has_demux = yes
bo = 2vdc2
protocol_version = 3.1
[BKP]
snt_chr = 1111-0000-11
amp_chr = 1111-0-11
[SNT00]
hw = 7.0
nb_synth = 4
sdh = 1
bm = 1111
[SNT01]
nb_synth = 8
[SNT02]
wed = 1
hw = 8.0
[SNT03]
[AMP00]
sw = 9.1
bm = 1111
bo = tem2,idc2
ch = vrf1,irf1,2pvr2
[AMP01]
bm = 1111
bo = 5tem2
[AMP02]
psc = 1
bm = 0-11
bo = 2tem2,Tem2
[MOT00]
hw = 6.0
uid = 77
)";

// The first of two equal keys holds, so a line put in front replaces what follows.
std::string with(std::string text, const std::string& section, const std::string& lines) {
    const std::string head = "[" + section + "]\n";
    const std::size_t at = text.find(head);
    return text.insert(at + head.size(), lines + "\n");
}

std::string without(std::string text, const std::string& what) {
    return text.replace(text.find(what), what.size(), "[nothing]\nunknown = ");
}

std::string v2(const std::string& hardware) {
    return with(V2_TEXT, "Available hardware", hardware);
}

std::string names(const MeasureList& list) {
    std::string text;
    for (const auto& measure : list) {
        text += (text.empty() ? "" : " ") + measure->name + std::to_string(measure->size);
    }
    return text;
}

// "SNT0 SNT2 (SNT1)": the rack's order, inactive boards in parentheses.
std::string rack(const GeneratorConfig& config, unsigned hwid) {
    std::string text;
    for (unsigned i = 0; i < config.boardCount(hwid); ++i) {
        const PrivateBoard& board = config.boardAt(hwid, i);
        const std::string address = std::to_string(board.address);
        text += (text.empty() ? "" : " ") + (board.active ? address : "(" + address + ")");
    }
    return text;
}

using Counts = std::array<std::uint32_t, COUNT_TOTAL>;
using Timings = std::array<std::uint32_t, TIMING_TOTAL>;

Counts countsOf(const GeneratorConfig& config) {
    Counts counts{};
    for (unsigned i = 0; i < COUNT_TOTAL; ++i) {
        counts[i] = config.getCount(i);
    }
    return counts;
}

Timings timingsOf(const GeneratorConfig& config) {
    Timings timings{};
    for (unsigned i = 0; i < TIMING_TOTAL; ++i) {
        timings[i] = config.getTiming(i);
    }
    return timings;
}

constexpr Timings UNTOLD_TIMINGS = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 50000};

std::string loadingFault(const std::string& text) {
    return faultOf([&] { GeneratorConfig().load(text); });
}

// Answers every parameter by itself and a million, and notes what it was asked.
class FakeBoards : public ParameterSource {
public:
    unsigned long long readParam(unsigned hwid, unsigned address, unsigned short param) override {
        asked += std::to_string(hwid) + "#" + std::to_string(address) + "/" +
                 std::to_string(param) + " ";
        if (refused.count(param) != 0) {
            throw FUSException(ERR_BOARD, nullptr);
        }
        if (param == broken) {
            throw std::runtime_error("broken");
        }
        return (1ULL << 32) + 1000000 + param;
    }

    void readMeasureDefinition(PrivateBoard& board, unsigned index) override {
        const std::string measure = std::to_string(board.hwid) + "#" +
                                    std::to_string(board.address) + "[" + std::to_string(index) +
                                    "] ";
        measures += measure;
        if (measure == brokenMeasure) {
            throw std::runtime_error("broken");
        }
    }

    std::set<unsigned> refused;
    unsigned broken = 0;
    std::string brokenMeasure;
    std::string asked;
    std::string measures;
};

} // namespace

TEST(GeneratorConfig, IsEmptyButForThreeValuesThatNoGeneratorTells) {
    GeneratorConfig config;
    Counts counts{};
    counts[NB_CHANNELS_PER_SLOT] = 16;
    counts[NB_MAX_BOARD_ADDRESS] = 32;
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(counts, countsOf(config));
        EXPECT_EQ(UNTOLD_TIMINGS, timingsOf(config));
        EXPECT_TRUE(config.boards().empty());
        EXPECT_EQ("", config.iniText());
        EXPECT_EQ(nullptr, config.firstActiveAmp());
        EXPECT_EQ(0U, config.sntConfiguration().size());
        EXPECT_EQ(0U, config.protocolNumber());
        config.load(V3_TEXT);
        config.reset();
    }
}

TEST(GeneratorConfig, ReadsAV2Text) {
    GeneratorConfig config;
    config.load(V2_TEXT);
    EXPECT_EQ((Counts{7, 1, 2, 3, 1, 2, 3, 25, 16, 1000, 0, 3, 3, 3, 4, 2, 4, 4, 16, 32}),
              countsOf(config));
    EXPECT_EQ((Timings{1, 2, 3, 4, 5, 6, 7, 8, 2400, 10, 11, 0, 13, 14, 50000}), timingsOf(config));
    EXPECT_EQ(V2_TEXT, config.iniText());
    EXPECT_EQ(209U, config.protocolNumber());
    EXPECT_EQ(gprotocol::GEN_UNKNOWN, config.generatorType());
    EXPECT_TRUE(config.getFlag(FLAG_MULTIPLEXER));
    EXPECT_TRUE(config.getFlag(FLAG_TRIGGER_INPUT));
    EXPECT_EQ("vdc2 vdc2 vdc2", names(*config.measures(HWID_PROCESSOR)));
    EXPECT_EQ("0 1", rack(config, HWID_SYNTHESIZER));
    EXPECT_EQ("0 1 2", rack(config, HWID_AMPLIFIER));
    EXPECT_EQ(12U, config.synthesizerAt(1).channelMask.findLast(true) + 1) << "25 / 2";
    EXPECT_EQ(16U, config.synthesizerAt(1).channelMask.size());
    EXPECT_EQ(4U, config.synthesizerAt(1).synthesizerCount);
    EXPECT_EQ(8U, config.amplifierAt(2).channelMask.activeCount()) << "25 / 3";
    EXPECT_EQ("tem2 idc2", names(config.amplifierAt(2).boardMeasures));
    EXPECT_EQ("vrf1 irf1 pvi1 pvr1", names(config.amplifierAt(2).channelMeasures));

    const char* const versions[] = {"2.3.0.0", "2.9.1.4", "2010.9.11.0", "5.1.0.0", "4.0.0.0",
                                    "4.1.0.0", "1.0.0.0", "1.2.0.0",     "2.9.0.0"};
    for (unsigned i = 0; i < 9; ++i) {
        EXPECT_EQ(versions[i], config.getVersion(i).toString()) << i;
    }
}

TEST(GeneratorConfig, AcceptsTheSpellingsOfV2Firmware) {
    const struct {
        const char* hardware;
        unsigned temperatures;
        const char* boardMeasures;
        const char* channelMeasures;
    } rows[] = {
        {"nb_amplifier_temperatures = 5", 5, "idc2", "vrf1 irf1 pvi1 pvr1"},
        {"nb_amplifier_currents = 6", 3, "tem2", "vrf1 irf1 pvi1 pvr1"},
        {"nb_measures_by_amp_board = 3", 3, "tem2 idc2", "Pfd1 Pre1 pvr1"},
        {"nb_measures_by_amp_board = 0\nnb_measures_by_adc_board = 3", 3, "tem2 idc2",
         "Pfd1 Pre1 pvr1"},
        {"nb_measures_by_amp_board = 0\nnb_mesures_by_adc_board = 3", 3, "tem2 idc2",
         "Pfd1 Pre1 pvr1"},
        {"nb_measures_by_amp_board = 5", 3, "tem2 idc2", ""},
    };
    for (const auto& row : rows) {
        GeneratorConfig config;
        config.load(v2(row.hardware));
        EXPECT_EQ(row.temperatures, config.getCount(NB_AMPLIFIER_TEMPERATURES)) << row.hardware;
        EXPECT_EQ(row.boardMeasures, names(*config.measures(HWID_AMPLIFIER))) << row.hardware;
        EXPECT_EQ(row.channelMeasures, names(config.firstActiveAmp()->channelMeasures))
            << row.hardware;
    }
    LogCapture log(Log::ERROR);
    GeneratorConfig config;
    config.load(v2("nb_measures_by_amp_board = 5"));
    EXPECT_EQ(3U, log.count("Unexpected channel measure count (5) -> ignored, can not guess their "
                            "type."))
        << "once for each board";
    config.load(v2("nb_dds_board = 0"));
    EXPECT_EQ(9U, config.getCount(NB_DETECTED_SYNTHESIZER_BOARDS)) << "the other key holds then";
}

TEST(GeneratorConfig, ReadsNoAmplifierKeyOfARackWithoutAmplifiers) {
    GeneratorConfig config;
    config.load(v2("nb_amp_board = 0\nnb_elements = 30\nnb_mot_board = 0"));
    EXPECT_EQ((Counts{3, 1, 2, 0, 0, 2, 0, 30, 16, 1000, 0, 3, 0, 0, 0, 0, 0, 0, 16, 32}),
              countsOf(config));
    EXPECT_EQ(nullptr, config.measures(HWID_AMPLIFIER));
    EXPECT_EQ(nullptr, config.mot());
    EXPECT_EQ(nullVersion, config.getVersion(VERSION_AMP_HARDWARE));
}

TEST(GeneratorConfig, FallsBackAmongTheShotDurations) {
    const struct {
        const char* timings;
        std::uint32_t maxShooting, maxQuick;
    } rows[] = {
        {"", 2, 4},
        {"max_shot_duration_us = 0", 6, 4},
        {"max_shot_duration_us = 0\nmax_shot_length_us = 0", 0, 4},
        {"max_qshot_duration_us = x", 2, 2},
        {"max_qshot_duration_us =\nmax_shot_duration_us = 0", 6, 6},
        {"max_qshot_duration_us = 0", 2, 0},
    };
    for (const auto& row : rows) {
        GeneratorConfig config;
        config.load(with(V2_TEXT, "Timing constraints", row.timings));
        EXPECT_EQ(row.maxShooting, config.getTiming(TIME_MAX_SHOOTING)) << row.timings;
        EXPECT_EQ(row.maxQuick, config.getTiming(TIME_MAX_QUICK_SHOOTING)) << row.timings;
    }
    GeneratorConfig config;
    config.load("[Version]\n[Available hardware]\n[Timing constraints]\n");
    EXPECT_EQ((Timings{0, 0, 0, 0, 0, 0, 0, 0, 2400, 0, 85000000, 0, 43200000, 0, 50000}),
              timingsOf(config));
}

TEST(GeneratorConfig, ReadsAV3Text) {
    GeneratorConfig config;
    config.load(V3_TEXT);
    EXPECT_EQ((Counts{6, 1, 4, 3, 1, 2, 2, 6, 4, 500, 4, 2, 1, 3, 4, 2, 6, 4, 16, 32}),
              countsOf(config));
    EXPECT_EQ(UNTOLD_TIMINGS, timingsOf(config)) << "they come from the processor board";
    EXPECT_EQ(301U, config.protocolNumber());
    EXPECT_EQ(gprotocol::GEN_HARDWARE, config.generatorType());
    EXPECT_FALSE(config.getFlag(FLAG_MULTIPLEXER));
    EXPECT_EQ("0 2 (1) (3)", rack(config, HWID_SYNTHESIZER));
    EXPECT_EQ("0 2 (1)", rack(config, HWID_AMPLIFIER));
    std::string order;
    for (const auto& board : config.boards()) {
        order += std::to_string(board->hwid) + "#" + std::to_string(board->address) + " ";
    }
    EXPECT_EQ("10#0 11#0 11#1 11#2 11#3 12#0 12#1 12#2 15#0 ", order);
    EXPECT_EQ(0x1234U, config.upb()->uniqueID);
    EXPECT_EQ(99U, config.upb()->CRC);
    EXPECT_EQ("2020-01-02 03:04", config.upb()->buildTime);
    EXPECT_EQ("abcdef", config.upb()->revisionHash);
    EXPECT_EQ(8U, config.synthesizerAt(2).synthesizerCount);
    EXPECT_TRUE(config.synthesizerAt(0).hasHardwareShotDuration);
    EXPECT_TRUE(config.synthesizerAt(1).hasWatchdogErrorDetection);
    EXPECT_TRUE(config.amplifierAt(1).hasPowerSupplyControl);
    EXPECT_EQ(0xCU, config.amplifierAt(1).channelMask.asBitmask()) << "a position per character";
    EXPECT_EQ(77U, config.mot()->uniqueID);
    EXPECT_EQ(10U, config.sntConfiguration().size());
    EXPECT_EQ(7U, config.ampConfiguration().size());
    EXPECT_EQ("7.0.0.0", config.getVersion(VERSION_SNT_HARDWARE).toString());
    EXPECT_EQ(1U, config.findMeasure(HWID_AMPLIFIER, "idc"));
    EXPECT_EQ(NB_NOT_FOUND_MEASURE, config.findMeasure(HWID_AMPLIFIER, "Idc"));
    EXPECT_EQ(NB_NOT_FOUND_MEASURE, config.findMeasure(HWID_SYNTHESIZER, "idc"));
}

TEST(GeneratorConfig, GivesEachSlotItsGroupOfChannels) {
    const struct {
        const char* channels;
        const char* rack;
    } rows[] = {
        {"snt_chr =", "(0) (1) (2) (3)"},     {"snt_chr = 1", "0 (1) (2) (3)"},
        {"snt_chr = -1", "1 (0) (2) (3)"},    {"snt_chr = 0000-0-1", "2 (0) (1) (3)"},
        {"snt_chr = --x1-1-", "2 3 (0) (1)"}, {"snt_chr = 1-1-1-1-1", "0 1 2 3"},
    };
    for (const auto& row : rows) {
        GeneratorConfig config;
        config.load(with(V3_TEXT, "BKP", row.channels));
        EXPECT_EQ(row.rack, rack(config, HWID_SYNTHESIZER)) << row.channels;
    }
}

TEST(GeneratorConfig, LowersTheChannelCountToWhatTheBoardsDrive) {
    const struct {
        const char* backPanel;
        const char* amplifier;
        std::uint32_t channels;
        std::vector<std::string> log;
    } rows[] = {
        {"snt_chr = 11-0-1", "bm = 1111", 3, {}}, // never raised
        {"snt_chr = 1111-0-11",
         "bm = 11",
         4,
         {"Channel count mismatch (BKP: 6, AMP: 4), using AMP."}},
        {"snt_chr = 1111111111111111-0-0", "bm = 1111111111111111", 16, {}},
        {"snt_chr = 11111111111111111",
         "bm = 1111111111111111",
         16,
         {"Channel count mismatch (BKP: 17, SNT: 16), using SNT."}},
        {"snt_chr = 11111111111111111111",
         "bm = 1111111111111111",
         16,
         {"Channel count mismatch (BKP: 20, AMP: 18), using AMP.",
          "Channel count mismatch (BKP: 18, SNT: 16), using SNT."}},
        {"snt_chr = 11\namp_chr = 0-1111", "", 2, {}},
        {"snt_chr = 0", "", 0, {}},
    };
    for (const auto& row : rows) {
        LogCapture log(Log::ERROR);
        GeneratorConfig config;
        config.load(with(with(V3_TEXT, "BKP", row.backPanel), "AMP00", row.amplifier));
        EXPECT_EQ(row.channels, config.getCount(NB_CHANNELS)) << row.backPanel;
        EXPECT_EQ(row.log, log.texts()) << row.backPanel;
    }
}

TEST(GeneratorConfig, TakesTheProtocolFromItsKeyOrFromTheFirmware) {
    const struct {
        const char* processor;
        unsigned number;
        const char* version;
    } rows[] = {
        {"protocol_version = 3.12.1", 312, "3.12.1.0"},
        {"protocol_version = x", 305, "3.5.0.0"},
        {"protocol_version =", 305, "3.5.0.0"},
        {"protocol_version = UPB_1.2", 305, "3.5.0.0"},
    };
    for (const auto& row : rows) {
        GeneratorConfig config;
        config.load(with(V3_TEXT, "UPB00", row.processor));
        EXPECT_EQ(row.number, config.protocolNumber()) << row.processor;
        EXPECT_EQ(row.version, config.getVersion(VERSION_PROTOCOL).toString()) << row.processor;
    }
}

TEST(GeneratorConfig, ReadsTheTimingsOfAV3TextOnlyBelowProtocol301) {
    const std::string timings = "[Timing constraints]\nmin_shot_length_us = 5\n";
    GeneratorConfig config;
    config.load(V3_TEXT + timings);
    EXPECT_EQ(UNTOLD_TIMINGS, timingsOf(config));
    const std::string transition = with(V3_TEXT, "UPB00", "protocol_version = 3.0");
    EXPECT_EQ("ERR_CONFIG_PARSE: Mandatory section [Timing constraints] missing in generator INI "
              "packet.",
              faultOf([&] { config.load(transition); }));
    config.load(transition + timings);
    EXPECT_EQ((Timings{0, 0, 0, 0, 5, 0, 0, 0, 2400, 0, 85000000, 0, 43200000, 0, 50000}),
              timingsOf(config));
}

TEST(GeneratorConfig, KnowsASimulatorByItsKey) {
    const struct {
        const char* processor;
        gprotocol::GenType type;
    } rows[] = {{"simulator = yes", gprotocol::GEN_SIMULATOR},
                {"simulator = no", gprotocol::GEN_HARDWARE},
                {"simulator =", gprotocol::GEN_HARDWARE}};
    for (const auto& row : rows) {
        GeneratorConfig config;
        config.load(with(V3_TEXT, "UPB00", row.processor));
        EXPECT_EQ(row.type, config.generatorType()) << row.processor;
    }
}

TEST(GeneratorConfig, RefusesTextsThatDescribeNoGenerator) {
    const std::string missing = "] missing in generator INI packet.";
    const struct {
        std::string text;
        std::string fault;
    } rows[] = {
        {"", "ERR_CONFIG_PARSE: Mandatory section [Version" + missing},
        {"[Version\n", "ERR_CONFIG_PARSE: Parse error in configuration file"},
        {without(V2_TEXT, "[Available hardware]"),
         "ERR_CONFIG_PARSE: Mandatory section [Available hardware" + missing},
        {without(V2_TEXT, "[Timing constraints]"),
         "ERR_CONFIG_PARSE: Mandatory section [Timing constraints" + missing},
        {without(V3_TEXT, "[BKP]"), "ERR_CONFIG_PARSE: Mandatory section [BKP" + missing},
        {v2("nb_elements = 34"), "ERR_CONFIG_PARSE: Invalid number of channels per SNT board."},
        {v2("nb_elements = 34\nnb_dds_board = 3\nnb_amp_board = 2"),
         "ERR_CONFIG_PARSE: Invalid number of channels per AMP board."},
        {with(V3_TEXT, "SNT03", "bm = 00000000000000001"), "ERR_INDEX: Invalid index"},
        {with(V3_TEXT, "SNT03", "bm = 00000000000000000"), ""},
        {v2("nb_elements = 33"), ""},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(row.fault, loadingFault(row.text)) << row.text;
    }
    LogCapture log(Log::ERROR);
    loadingFault(v2("nb_elements = 34"));
    EXPECT_EQ(log.texts(), (std::vector<std::string>{
                               "Bad config: sntBoardCount=2, activeSNTCount=2, channelsPerSNT=17",
                               "ERR_CONFIG_PARSE: Invalid number of channels per SNT board."}));
}

TEST(GeneratorConfig, RefusesCountsThatWouldExhaustMemory) {
    const std::string rows[] = {
        v2("nb_dds_board = 4000000000"),
        v2("nb_dds_board = 33"),
        v2("nb_amp_board = 4000000000"),
        v2("nb_power_supply = 4000000000"),
        v2("nb_elements = 4000000000\nnb_dds_board = 0\nnb_gen_board = 0\nnb_amp_board = 0"),
        v2("max_nb_buffers = 4000000000"),
        with(V3_TEXT, "UPB00", "max_nb_buffers = 4000000000"),
        with(V3_TEXT, "UPB00", "bo = 4000000000tem2"),
        with(V3_TEXT, "AMP01", "ch = 200tem2,100tem2"),
    };
    for (const std::string& text : rows) {
        EXPECT_EQ(0U, loadingFault(text).find("ERR_CONFIG_PARSE: Too many ")) << text;
    }
}

TEST(GeneratorConfig, StartsAnewWithEveryText) {
    GeneratorConfig config;
    config.load(V3_TEXT);
    EXPECT_NE("", faultOf([&] { config.load("[broken"); }));
    EXPECT_EQ(V3_TEXT, config.iniText()) << "a text that is no INI changes nothing";
    config.load(config.iniText());
    EXPECT_EQ(9U, config.boards().size());
    config.load(V2_TEXT);
    EXPECT_EQ(gprotocol::GEN_UNKNOWN, config.generatorType());
    EXPECT_EQ(0U, config.sntConfiguration().size());
    EXPECT_EQ(7U, config.boards().size());
}

TEST(GeneratorConfig, FindsBoardsByAddressNotByPosition) {
    GeneratorConfig config;
    config.load(without(V3_TEXT, "[SNT01]\nnb_synth"));
    EXPECT_EQ("0 2 (3)", rack(config, HWID_SYNTHESIZER));
    EXPECT_EQ(nullptr, config.findBoard(HWID_SYNTHESIZER, 1));
    EXPECT_EQ(2U, config.findBoard(HWID_SYNTHESIZER, 2)->address);
    EXPECT_EQ(config.upb(), config.findBoard(HWID_PROCESSOR, 0));
    EXPECT_EQ(nullptr, config.findBoard(HWID_PROCESSOR, 1));
    EXPECT_EQ(nullptr, config.findBoard(HWID_MECHANICS, 1));
    EXPECT_FALSE(config.isBoardActive(HWID_SYNTHESIZER, 3));
    EXPECT_TRUE(config.isBoardActive(HWID_MECHANICS, 0));
    config.updateBoardStatus(HWID_AMPLIFIER, 1, 0x80000001);
    EXPECT_EQ(0x80000001U, config.findBoard(HWID_AMPLIFIER, 1)->status);
}

TEST(GeneratorConfig, RefusesWhatLiesOutsideItsTables) {
    GeneratorConfig config;
    config.load(V3_TEXT);
    const struct {
        const char* log;
        std::function<void()> action;
    } rows[] = {
        {"ERR_INDEX: invalid 'count' index (20 above max=20)", [&] { config.getCount(20); }},
        {"ERR_INDEX: invalid 'count' index (99 above max=20)", [&] { config.setCount(99, 1); }},
        {"ERR_INDEX: invalid timing index (15 above max=15)", [&] { config.getTiming(15); }},
        {"ERR_INDEX: invalid timing index (15 above max=15)", [&] { config.setTiming(15, 1); }},
        {"ERR_INDEX: invalid hardware ID (19 above max=20)",
         [&] { config.findBoard(HWID_BACK_PANEL, 0); }},
        {"ERR_INDEX: invalid hardware ID (19 above max=20)",
         [&] { config.boardCount(HWID_BACK_PANEL); }},
        {"ERR_INDEX: invalid board index (4 above max=4)",
         [&] { config.boardAt(HWID_SYNTHESIZER, 4); }},
        {"ERR_INDEX: invalid board index (1 above max=1)",
         [&] { config.boardAt(HWID_MECHANICS, 1); }},
        {"ERR_INDEX: invalid board index (3 above max=3)", [&] { config.amplifierAt(3); }},
        {"ERR_INDEX: invalid flag type (2 above max=2)", [&] { config.getFlag(2); }},
        {"ERR_INDEX: invalid version type (9 above max=9)", [&] { config.getVersion(9); }},
        {"ERR_ARGUMENT", [&] { config.isBoardActive(HWID_AMPLIFIER, 9); }},
        {"ERR_ARGUMENT", [&] { config.updateBoardStatus(HWID_AMPLIFIER, 9, 0); }},
        {"ERR_NOT_CONNECTED", [&] { GeneratorConfig().getFlag(FLAG_MULTIPLEXER); }},
    };
    for (const auto& row : rows) {
        LogCapture log(Log::EXCEPTION);
        EXPECT_NE("", faultOf(row.action)) << row.log;
        EXPECT_TRUE(log.has(row.log)) << row.log;
    }
    EXPECT_STREQ("NB_???", countName(COUNT_TOTAL));
    EXPECT_STREQ("TIME_???", timingName(TIMING_TOTAL));
}

TEST(GeneratorConfigRefinement, AsksInAFixedOrderAndStoresLowHalves) {
    GeneratorConfig config;
    config.load(V3_TEXT);
    for (unsigned i = 0; i < TIMING_TOTAL; ++i) {
        config.setTiming(i, 100 + i);
    }
    FakeBoards boards;
    config.refine(boards);
    EXPECT_EQ("10#0/2800 10#0/1390 10#0/1387 10#0/1391 10#0/1392 10#0/1390 10#0/1388 10#0/1389 "
              "10#0/2805 10#0/1375 10#0/1393 15#0/2905 ",
              boards.asked);
    EXPECT_EQ("10#0[0] 10#0[1] 12#0[0] 12#0[1] 12#2[0] 12#2[1] 12#2[2] ", boards.measures)
        << "inactive boards are left alone";
    EXPECT_EQ(1002800U, config.getCount(NB_MAX_COMPOSITE_SHOTS));
    EXPECT_EQ((Timings{0, 1001390, 0, 1001390, 1001387, 1001391, 1001388, 1001389, 1002805, 0,
                       1001392, 111, 1001375, 1001393, 114}),
              timingsOf(config));
    EXPECT_EQ(1002905U, config.mot()->uniqueID);
}

TEST(GeneratorConfigRefinement, KeepsWhatABoardRefusesToTell) {
    GeneratorConfig config;
    config.load(V3_TEXT);
    config.setTiming(TIME_MAX_QUICK_SHOOTING, 33);
    FakeBoards boards;
    boards.refused = {2800, 1390, 2905};
    LogCapture log(Log::ERROR);
    config.refine(boards);
    EXPECT_EQ(log.texts(),
              (std::vector<std::string>{"Can not initialize NB_MAX_COMPOSITE_SHOTS from UPB "
                                        "BPARAM_UPB_MAX_SHOTS_COMPOSITE, using default.",
                                        "Can not initialize TIME_MAX_SHOOTING from UPB "
                                        "BPARAM_UPB_MAX_SHOOTING_DURATION, using default.",
                                        "Can not initialize TIME_MAX_QUICK_SHOOTING from UPB "
                                        "BPARAM_UPB_MAX_SHOOTING_DURATION, using default.",
                                        "Can not read MOT UID."}));
    EXPECT_EQ(4U, config.getCount(NB_MAX_COMPOSITE_SHOTS));
    EXPECT_EQ(33U, config.getTiming(TIME_MAX_QUICK_SHOOTING));
    EXPECT_EQ(1001393U, config.getTiming(TIME_MAX_RAMP)) << "the others are still read";
    EXPECT_EQ(77U, config.mot()->uniqueID);
}

TEST(GeneratorConfigRefinement, LetsForeignExceptionsOfParametersPass) {
    GeneratorConfig config;
    config.load(V3_TEXT);
    for (const unsigned parameter : {1391U, 2905U}) {
        FakeBoards boards;
        boards.broken = parameter;
        EXPECT_THROW(config.refine(boards), std::runtime_error);
    }
}

TEST(GeneratorConfigRefinement, FailsAtTheEndWhenAMeasureHasNoDefinition) {
    GeneratorConfig config;
    config.load(V3_TEXT);
    FakeBoards boards;
    boards.brokenMeasure = "10#0[1] ";
    EXPECT_EQ("ERR_CONFIG: Hardware configuration mismatch (definition/connected)",
              faultOf([&] { config.refine(boards); }));
    EXPECT_NE(std::string::npos, boards.measures.find("12#2[2]")) << "the others are still read";
    EXPECT_EQ(1002905U, config.mot()->uniqueID);
}
