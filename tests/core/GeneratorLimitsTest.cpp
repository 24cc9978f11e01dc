#include "fus/Generator.h"

#include "fus/P_GProtocol.h"
#include "fus/P_GeneratorLimits.h"
#include "support/ConnectedFixture.h"
#include "support/Faults.h"
#include "support/LogCapture.h"

#include <gtest/gtest.h>

#include <functional>
#include <vector>

using namespace fus;
using namespace fus::test;
using namespace fus::gprotocol;

namespace {

using Row = std::vector<unsigned>;

/// The limits of one mode, in the order of their functions.
Row limitsOf(const GeneratorConfig& config, ElecExecMode mode) {
    return {
        limits::minShootingDuration(config, mode),     limits::maxShootingDuration(config, mode),
        limits::minTotalShotDuration(config, mode, 0), limits::maxTotalShotDuration(config, mode),
        limits::maxTrajectoryDelay(config, mode),      limits::maxTrajectorySize(config, mode)};
}

TEST(GeneratorLimits, GivesEachModeTheLimitsThatTheGeneratorReports) {
    const struct {
        Generation generation;
        ElecExecMode mode;
        Row expected;
    } rows[] = {
        {Generation::V2, EXEC_ELEC_NORMAL, {50, 400, 100, 1000, 5000, 6}},
        {Generation::V2, EXEC_ELEC_QUICK, {20, 300, 60, 1000, 5000, 6}},
        {Generation::V2, EXEC_ELEC_REPEAT, {20, 300, 80, 1000, 0, 1}},
        {Generation::V2, EXEC_ELEC_COMPOSITE, {0, 2000000, 0, 2000000, 0, 0}},
        {Generation::V30, EXEC_ELEC_REPEAT, {0, 400, 80, 1000, 0, 1}},
        {Generation::V30, EXEC_ELEC_COMPOSITE, {0, 2000000, 0, 2000000, 0, 4}},
        {Generation::V31, EXEC_ELEC_NORMAL, {0, 400, 100, 1000, 5000, 6}},
        {Generation::V31, EXEC_ELEC_REPEAT, {0, 400, 80, 1000, 0, 4}},
    };
    for (const auto& row : rows) {
        GeneratorConfig config;
        describe(config, row.generation);
        EXPECT_EQ(limitsOf(config, row.mode), row.expected) << elecExecModeName(row.mode);
    }
}

TEST(GeneratorLimits, AllowsShorterTotalsOnlyInNormalModeWithoutMeasures) {
    GeneratorConfig config;
    describe(config, Generation::V31);
    EXPECT_EQ(limits::minTotalShotDuration(config, EXEC_ELEC_NORMAL, EXEC_FLAG_OMIT_ALL_MEASURES),
              60U);
    EXPECT_EQ(limits::minTotalShotDuration(config, EXEC_ELEC_NORMAL,
                                           ~unsigned{EXEC_FLAG_OMIT_ALL_MEASURES}),
              100U);
    EXPECT_EQ(limits::minTotalShotDuration(config, EXEC_ELEC_REPEAT, EXEC_FLAG_OMIT_ALL_MEASURES),
              80U);
}

TEST(GeneratorLimits, RefusesAModeThatIsNone) {
    GeneratorConfig config;
    describe(config, Generation::V31);
    LogCapture log(Log::ERROR);
    for (const unsigned mode : {4U, 122U, 123U, 0xFFFFFFFFU}) {
        log.clear();
        EXPECT_EQ(faultOf([&] { limitsOf(config, static_cast<ElecExecMode>(mode)); }),
                  faultOf([] { throw FUSException(ERR_ARGUMENT, nullptr); }));
        EXPECT_EQ(log.lines(), (LogLines{{Log::EXCEPTION, "ERR_ARGUMENT"}}));
    }
}

using GeneratorConnected = ConnectedFixture;

TEST_F(GeneratorConnected, TellsWhatIsConnected) {
    connect(Generation::V2);
    const Generator& gen = generator();
    EXPECT_EQ(
        (Row{gen.getChannelCount(), gen.getBufferCount(), gen.getChannelMeasureCount(),
             gen.getAmplifierBoardMeasureCount(), gen.getAmplifierCurrentCount(),
             gen.getAmplifierTemperatureCount(), gen.getPowerSupplyCount(),
             gen.getMaxRampDuration(), gen.getMinRepeatShotDelay(), gen.getMinTrajectoryDelay()}),
        (Row{8, 2, 4, 2, 2, 2, 3, 7, 2400, 10}));
    EXPECT_EQ((Row{gen.getMinShootingDuration(EXEC_ELEC_QUICK),
                   gen.getMaxShootingDuration(EXEC_ELEC_QUICK),
                   gen.getMinTotalShotDuration(EXEC_ELEC_QUICK, 0),
                   gen.getMaxTotalShotDuration(EXEC_ELEC_QUICK),
                   gen.getMaxTrajectoryDelay(EXEC_ELEC_QUICK),
                   gen.getMaxTrajectorySize(EXEC_ELEC_QUICK)}),
              (Row{20, 300, 60, 1000, 5000, 6}));
    EXPECT_TRUE(gen.hasMultiplexer());
    EXPECT_TRUE(gen.hasTriggerInput());
    EXPECT_TRUE(gen.hasShotRamp());
    EXPECT_TRUE(gen.isEnabled());
}

TEST_F(GeneratorConnected, CanOnlyRampWithRecentSynthesizersAndARampTime) {
    const struct {
        const char* from;
        const char* to;
    } rows[] = {{"2010.9.11.0", "2010.9.10.9"}, {"max_ramp_time_us = 7", "max_ramp_time_us = 0"}};
    for (const auto& row : rows) {
        ScriptedPeer other;
        other.allow(CMD_TRAJ_STOP).allow(CMD_CLOSE);
        std::string ini = iniOf(Generation::V2);
        ini.replace(ini.find(row.from), std::string(row.from).size(), row.to);
        greet(other, Generation::V2, ini);
        ASSERT_TRUE(fus().connect(ScriptedPeer::HOST, other.port(), 5000));
        EXPECT_FALSE(generator().hasShotRamp()) << row.to;
        fus().disconnect();
    }
}

TEST_F(GeneratorConnected, KnowsNothingWithoutAConnection) {
    const Generator& gen = generator();
    const std::function<void()> questions[] = {
        [&] { gen.getMinShootingDuration(EXEC_ELEC_COMPOSITE); },
        [&] { gen.getMaxShootingDuration(EXEC_ELEC_COMPOSITE); },
        [&] { gen.getMinTotalShotDuration(EXEC_ELEC_COMPOSITE, 0); },
        [&] { gen.getMaxTotalShotDuration(EXEC_ELEC_COMPOSITE); },
        [&] { gen.getMaxTrajectoryDelay(static_cast<ElecExecMode>(4)); },
        [&] { gen.getMaxTrajectorySize(EXEC_ELEC_REPEAT); },
        [&] { gen.getChannelCount(); },
        [&] { gen.getMaxRampDuration(); },
        [&] { gen.hasMultiplexer(); },
        [&] { gen.hasShotRamp(); },
    };
    for (const auto& question : questions) {
        EXPECT_EQ(faultOf(question),
                  faultOf([] { throw FUSException(ERR_NOT_CONNECTED, nullptr); }));
    }
    EXPECT_FALSE(gen.isEnabled());
}

TEST_F(GeneratorConnected, ReachesABoardByItsType) {
    connect(Generation::V31);
    peer.expect(CMD_BOARD_CMD, zeroes(16) + hex("0C 01 005D 0002") + le16(2905))
        .answer(ANSWER_BOARD, zeroes(12) + hex("0C 01 005D 005D 0008") + le64(0x1122334455667788));
    EXPECT_EQ(generator().readBoardParam(BOARD_AMPLIFIER, 1, 2905), 0x1122334455667788ULL);
    LogCapture log(Log::EXCEPTION);
    EXPECT_EQ(faultOf([&] { generator().getBoardStatus(static_cast<BoardType>(4), 0); }),
              faultOf([] { throw FUSException(ERR_INDEX, nullptr); }));
}

} // namespace
