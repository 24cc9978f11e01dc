#include "fus/LowLevelMechanics.h"

#include "fus/Mechanics.h"
#include "support/Faults.h"
#include "support/LogCapture.h"
#include "support/MechanicsFixture.h"
#include "support/SourceTree.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

using namespace fus;
using namespace fus::test;

namespace {

class MechanicsDefinition : public ::testing::Test {
protected:
    ~MechanicsDefinition() override { mech().clearDefinition(); }

    LowLevelMechanics& mech() { return FUS::getInstance().getLowLevelMechanics(); }
    bool load(const std::string& text) { return mech().loadDefinitionString(text.c_str()); }

    /// That it doesn't load, and the words of the log.
    void expectFault(const std::string& text, const std::string& words) {
        SCOPED_TRACE(words);
        const LogCapture log(Log::ERROR);
        EXPECT_FALSE(load(text));
        EXPECT_TRUE(log.hasPart(words)) << ::testing::PrintToString(log.texts());
        EXPECT_FALSE(mech().isDefinitionLoaded());
        EXPECT_EQ(mech().getActuatorCount(), 0U);
    }
};

} // namespace

TEST_F(MechanicsDefinition, GivesWhatAnAxisIs) {
    const LogCapture log(Log::INFO);
    ASSERT_TRUE(load(twoAxes()));
    EXPECT_TRUE(log.has("  - id: 3, name: Axis3, type: ROTATION, range [-50, 50]"));
    const Mechanics& facade = FUS::getInstance().getMechanics();
    ASSERT_EQ(facade.getActuatorCount(), 2U);
    EXPECT_EQ(facade.getActuatorAddress(1), 3U);
    EXPECT_STREQ(facade.getActuatorName(0), "slide");
    EXPECT_STREQ(facade.getActuatorMotionName(0), "TRANSLATION");
    EXPECT_EQ(facade.getActuatorMotionType(1), MechanicalActuator::MOTION_ROTATION);
    EXPECT_EQ(facade.getActuatorUnit(0), MechanicalActuator::UNIT_MILLIMETER);
    EXPECT_STREQ(facade.getActuatorUnitName(1), "rad");
    EXPECT_EQ(facade.getActuatorZeroTopology(0), MechanicalActuator::ZTOPO_L2);
    EXPECT_EQ(facade.getActuatorZeroCount(0), 2U);
    EXPECT_EQ(facade.getActuatorZeroCount(1), 1U);
    EXPECT_EQ(facade.getActuatorLowerBound(0), -1000);
    EXPECT_EQ(facade.getActuatorUpperBound(0), 2000);
    EXPECT_EQ(facade.getActuatorTargetTolerance(0), 3U);
    EXPECT_EQ(facade.getActuatorMovingTolerance(0), 40U);
    EXPECT_FALSE(facade.isActuatorOriginFound(0));
    // to 500 in the time for 1500 steps at half of the greatest speed
    EXPECT_EQ(facade.getActuatorCenterMove(0), Move(500, 3000));
    EXPECT_EQ(faultOf([&] { facade.getActuator(2); }), "ERR_INDEX: Invalid index");
    EXPECT_EQ(faultOf([&] { facade.getActuator(256); }), "ERR_INDEX: Invalid index");
    EXPECT_TRUE(log.has("ERR_INDEX: invalid actuator index (bad cast) (256 above max=2)"));
}

TEST_F(MechanicsDefinition, ConvertsDistancesAndUnits) {
    ASSERT_TRUE(load(withLine("Axis0/Board", "lowerBound = -5\nupperBound = 2")));
    EXPECT_EQ(mech().getActuator(0).center(), -1);
    ASSERT_TRUE(load(twoAxes()));
    const MechanicalActuator& slide = mech().getActuator(0);
    EXPECT_EQ(slide.minDelayForRange(), 3000U);
    EXPECT_EQ(slide.minDelayForDistance(0), 0U);
    EXPECT_EQ(slide.minDelayForDistance(1), 1U);
    EXPECT_EQ(slide.defaultDelayForDistance(7), 14U);
    const float inf = std::numeric_limits<float>::infinity();
    EXPECT_EQ(slide.unitToStep(2.5F), 2560);
    EXPECT_EQ(slide.unitToStep(-0.0005F), -1);
    for (const float value : {inf, -inf, std::nanf(""), 1e30F}) {
        EXPECT_EQ(slide.unitToStep(value), std::numeric_limits<int>::min()) << value;
    }
    EXPECT_EQ(slide.stepToUnit(-1024), -1.0F);
    EXPECT_EQ(faultOf([&] { slide.relativePosition(1); }),
              "ERR_MECH_NO_ORIGIN: Origin not found yet for this actuator");
    EXPECT_EQ(faultOf([&] { slide.absolutePosition(1); }),
              "ERR_MECH_NO_ORIGIN: Origin not found yet for this actuator");
    ASSERT_TRUE(load(withLine("Axis0/Board", "lowerBound = -2147483648\nupperBound = 2147483647")));
    EXPECT_EQ(mech().getActuator(0).fullDistance(), 0xFFFFFFFFU);
    EXPECT_EQ(mech().getActuator(0).center(), 0);
}

TEST_F(MechanicsDefinition, RefusesEveryFaultOfAnAxisInItsOwnWords) {
    const std::string mandatory = "A mandatory parameter is missing: [Axis0/Board].lowerBound.";
    expectFault(withoutKey("Axis0/Board", "minNegativeDAC"), mandatory);
    expectFault("[File]\nversion=1\n[Axis0]\na=1\n[Axis1/Board]\na=1\n",
                "Missing section [Axis0/Board]");
    expectFault("[File]\nversion=1\n[Axis2/Board]\na=1\n", "Missing section [Axis2/FUS]");
    expectFault(withLine("Axis0/FUS", "initDACs = 1|2"),
                "Unexpected (or missing) value for [Axis0/FUS].initDAC, (2 values/3 expected)");
    expectFault(withLine("Axis0/FUS", "initPark ="),
                "Unexpected (or missing) value for [Axis0/FUS].initPark, (0 values/2 expected)");
    const struct {
        const char* section;
        const char* without; // a key
        const char* line;    // or a line instead
        const char* words;
    } cases[] = {
        {"Board", "lowerBound", nullptr, "m_lowerBound != BAD_INTEGER"},
        {"Board", "upperBound", nullptr, "m_upperBound != -BAD_INTEGER"},
        {"Board", nullptr, "lowerBound = 1234567890", "m_lowerBound != BAD_INTEGER"},
        {"Board", nullptr, "lowerBound = 2000", "m_upperBound > m_lowerBound"},
        {"Board", "maxSpeed", nullptr, "maxSpeed != BAD_INTEGER"},
        {"Board", nullptr, "maxSpeed = -1", "maxSpeed >= 0"},
        {"Board", nullptr, "minNegativeDAC = 127", "minNegativeDAC < 127"},
        {"Board", nullptr, "minNegativeDAC = -1", "minNegativeDAC < 127"},
        {"Board", nullptr, "minPositiveDAC = 127", "minPositiveDAC > 127 && minPositiveDAC < 256"},
        {"Board", nullptr, "minPositiveDAC = 256", "minPositiveDAC > 127 && minPositiveDAC < 256"},
        {"Board", "minPositiveDAC", nullptr, "minPositiveDAC > 127 && minPositiveDAC < 256"},
        {"Board", nullptr, "accelDuration = 256", "accelDuration < 256"},
        {"Board", nullptr, "accelDuration = -1", "accelDuration < 256"},
        {"Board", nullptr, "accelDuration =", "accelDuration < 256"},
        {"Board", nullptr, "kP = -1", "m_kP != BAD_FLOAT"},
        {"Board", "kI", nullptr, "m_kI != BAD_FLOAT"},
        {"Board", nullptr, "kD = x", "m_kD != BAD_FLOAT"},
        {"Board", nullptr, "maxIntegralError = nan", "m_maxIntegralError > 0"},
        {"Board", "toleranceTarget", nullptr, "m_toleranceTarget < 256"},
        {"Board", nullptr, "toleranceMoving = 256", "m_toleranceMoving < 256"},
        {"Board", nullptr, "plotMode = 256", "plotMode < 256"},
        {"FUS", nullptr, "motion = translation", "m_motionType != MOTION_UNKNOWN"},
        {"FUS", "motion", nullptr, "m_motionType != MOTION_UNKNOWN"},
        {"FUS", nullptr, "unit = ?UNIT?", "m_unit != UNIT_UNKNOWN"},
        {"FUS", nullptr, "topology =", "m_zeroTopology != ZTOPO_UNKNOWN"},
        {"FUS", "stepSize", nullptr, "m_stepSize != BAD_FLOAT"},
        {"FUS", nullptr, "stepSize = nan", "m_stepSize > 0"},
        {"FUS", nullptr, "maxUserSpeed = 0", "m_maxUserSpeed > 0"},
        {"FUS", nullptr, "maxUserSpeed = 5001",
         "static_cast<uint32_t>(m_maxUserSpeed) <= m_boardMaxSpeed"},
        {"FUS", nullptr, "maxUserSpeed = inf",
         "static_cast<uint32_t>(m_maxUserSpeed) <= m_boardMaxSpeed"},
        {"FUS", nullptr, "defUserSpeed = -1", "m_defaultUserSpeed > 0"},
        {"FUS", nullptr, "defUserSpeed = 1000", "m_defaultUserSpeed < m_maxUserSpeed"},
        {"FUS", nullptr, "initDACs = -1|50|10", "initDAC[0] >= 0"},
        {"FUS", nullptr, "initDACs = 256|50|10", "initDAC[0] < 256"},
        {"FUS", nullptr, "initDACs = 100|-1|10", "initDAC[1] >= 0"},
        {"FUS", nullptr, "initDACs = 100|256|10", "initDAC[1] < 256"},
        {"FUS", nullptr, "initDACs = 100|50|-1", "initDAC[2] >= 0"},
        {"FUS", nullptr, "initDACs = 100|50|256", "initDAC[2] < 256"},
        {"FUS", nullptr, "initDACs = 100|127|10", "m_originParams.lastDAC != 127u"},
        {"FUS", nullptr, "initDACs = 120|140|1", "m_originParams.firstDAC > 127u"},
        {"FUS", nullptr, "initDACs = 140|140|1",
         "m_originParams.firstDAC < m_originParams.lastDAC"},
        {"FUS", nullptr, "initDACs = 127|100|1", "m_originParams.firstDAC < 127u"},
        {"FUS", nullptr, "initDACs = 50|100|1", "m_originParams.firstDAC > m_originParams.lastDAC"},
        {"FUS", nullptr, "initDACs = 100|50|0", "m_originParams.stepDAC > 0u"},
        {"FUS", nullptr, "initDACs = 100|50|51", "m_originParams.stepDAC <= rangeDAC"},
        {"FUS", nullptr, "initTimeout = 9", "initTimeout > 9"},
        {"FUS", nullptr, "initTimeout = x", "initTimeout != BAD_INTEGER"},
        {"FUS", nullptr, "initPark = -1001|5", "m_originParams.parkPosition >= m_lowerBound"},
        {"FUS", nullptr, "initPark = 2001|5", "m_originParams.parkPosition <= m_upperBound"},
        {"FUS", nullptr, "initPark = 0|0", "parkParams[1] > 0"},
    };
    for (const auto& c : cases) {
        const std::string section = std::string("Axis0/") + c.section;
        expectFault(c.without != nullptr ? withoutKey(section, c.without)
                                         : withLine(section, c.line),
                    std::string("Parameter requirement failed: [Axis0] ") + c.words +
                        ". Config rejected and cleared.");
    }
    for (const char* const line :
         {"maxUserSpeed = 5000.9", "initDACs = 100|50|50", "initDACs = 128|255|127",
          "initTimeout = 10", "initPark = 2000|1", "name ="}) {
        EXPECT_TRUE(load(withLine("Axis0/FUS", line))) << line;
    }
    EXPECT_STREQ(mech().getActuator(0).name(), "");
}

TEST_F(MechanicsDefinition, TakesTheFirstFaultInTheOrderOfTheSteps) {
    // everything is wrong: each repair brings the next one up
    const char* const fixes[][2] = {{"", "m_upperBound > m_lowerBound"},
                                    {"upperBound = 1", "maxSpeed >= 0"},
                                    {"maxSpeed = 9", "minNegativeDAC < 127"},
                                    {"minNegativeDAC = 1", "minPositiveDAC > 127 &&"},
                                    {"minPositiveDAC = 200", "accelDuration < 256"},
                                    {"accelDuration = 1", "m_kP !="},
                                    {"kP = 0", "m_kD !="},
                                    {"kD = 0", "m_maxIntegralError > 0"},
                                    {"maxIntegralError = 1", "m_toleranceTarget"},
                                    {"toleranceTarget = 1", "m_toleranceMoving"},
                                    {"toleranceMoving = 1", "plotMode < 256"},
                                    {"plotMode = 1", "m_motionType"}};
    std::string board;
    const std::string wrong = "lowerBound = 0\nupperBound = -1\nmaxSpeed = -1\nminNegativeDAC = 127"
                              "\naccelDuration = 999\nkI = 0\nplotMode = 256\n";
    for (const auto& fix : fixes) {
        board += std::string(fix[0]) + (*fix[0] != '\0' ? "\n" : "");
        expectFault("[File]\n[Axis0/Board]\n" + board + wrong + "[Axis0/FUS]\nname = n\n", fix[1]);
    }
}

TEST_F(MechanicsDefinition, ReadsWhatIsLeftOfAFile) {
    EXPECT_FALSE(load(""));
    expectFault("[a]\n", "Configuration parse error: Parse error in configuration file (");
    expectFault("[Axis0/Board]\na=1\n", "Missing section : [File]");
    EXPECT_FALSE(mech().loadDefinition(nullptr));
    LogCapture log(Log::VERBOSE);
    EXPECT_FALSE(mech().loadDefinition("no such file"));
    EXPECT_TRUE(log.hasPart("Configuration parse error: Invalid stream/file. ("));
    EXPECT_EQ(log.texts()[0], "Loading mechanical definition from 'no such file'");
    EXPECT_FALSE(mech().loadDefinition(sourceTree().c_str())); // a directory
    EXPECT_TRUE(load("[File]\n[Axis5/Board]\na=1\n"));
    EXPECT_TRUE(log.has("Missing file version, please update!"));
    EXPECT_TRUE(log.has("  0 actuators loaded"));
    EXPECT_TRUE(mech().isDefinitionLoaded());
    EXPECT_TRUE(load("[File]\nversion = 2\n"));
    EXPECT_TRUE(log.has("Unknown file format (version=2), trying anyway..."));
    log.clear();
    EXPECT_TRUE(load(twoAxes() + "[Global]\ninitOrder = 1|1|9\n"));
    EXPECT_TRUE(log.has("Duplicate axis identifier in [Global].initOrder (1), ignored."));
    EXPECT_TRUE(log.has("Invalid axis identifier in [Global].initOrder (9), ignored."));
}
