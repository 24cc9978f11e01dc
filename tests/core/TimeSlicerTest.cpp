#include "fus/P_TimeSlicer.h"

#include "fus/FUSException.h"
#include "support/LogCapture.h"
#include "support/TestPeer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <utility>
#include <vector>

namespace fus {
namespace {

using Pair = std::pair<unsigned, unsigned>;
using Pairs = std::vector<Pair>;

TimeSlicer slicerOf(const ShotLimits& limits) {
    TimeSlicer slicer;
    EXPECT_TRUE(
        slicer.setLimits(limits.minTotal, limits.maxTotal, limits.minDuration, limits.maxDuration));
    return slicer;
}

ShotLimits limitsOf(unsigned minTotal, unsigned maxTotal, unsigned minDuration,
                    unsigned maxDuration) {
    ShotLimits limits;
    limits.minTotal = minTotal;
    limits.maxTotal = maxTotal;
    limits.minDuration = minDuration;
    limits.maxDuration = maxDuration;
    return limits;
}

const ShotLimits NORMAL = limitsOf(100, 1000, 50, 400);
const ShotLimits DELAY_ALONE_ALLOWED = limitsOf(100, 1000, 0, 400);

Pairs cut(const TimeSlicer& slicer, unsigned duration, unsigned delay) {
    Pairs pairs;
    for (auto it = slicer.slice(duration, delay); !it.exhausted(); it.next()) {
        pairs.emplace_back(it.sliceDuration, it.sliceDelay);
    }
    return pairs;
}

FUSError errorOfCut(const TimeSlicer& slicer, unsigned duration, unsigned delay) {
    try {
        cut(slicer, duration, delay);
    } catch (const FUSException& e) {
        return e.errorCode();
    }
    return ERR_UNKNOWN;
}

TEST(TimeSlicer, CutsAShotIntoPairsThatTheGeneratorAccepts) {
    struct Case {
        ShotLimits limits;
        Pair input;
        Pairs pairs;
    };
    const Case cases[] = {
        {NORMAL, {900, 50}, {{400, 0}, {400, 0}, {100, 50}}},
        {NORMAL, {820, 0}, {{400, 0}, {320, 0}, {100, 0}}},
        {NORMAL, {410, 0}, {{310, 0}, {100, 0}}},
        {NORMAL, {350, 900}, {{300, 0}, {50, 900}}},
        {NORMAL, {400, 600}, {{400, 600}}},
        {DELAY_ALONE_ALLOWED,
         {450, 5000},
         {{400, 0}, {50, 950}, {0, 1000}, {0, 1000}, {0, 1000}, {0, 950}, {0, 100}}},
        {DELAY_ALONE_ALLOWED, {0, 1050}, {{0, 950}, {0, 100}}},
        // Too little delay in the last pair: duration goes along with it.
        {limitsOf(300, 400, 0, 400), {395, 10}, {{105, 0}, {290, 10}}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.input.first << ", " << c.input.second);
        EXPECT_EQ(cut(slicerOf(c.limits), c.input.first, c.input.second), c.pairs);
    }
}

TEST(TimeSlicer, StaysExhausted) {
    const TimeSlicer slicer = slicerOf(NORMAL);
    auto it = slicer.slice(400, 0);
    EXPECT_FALSE(it.exhausted());
    EXPECT_TRUE(it.next().exhausted());
    EXPECT_TRUE(it.next().exhausted());
}

TEST(TimeSlicer, RefusesContradictoryLimitsAndKeepsItsOwn) {
    TimeSlicer slicer = slicerOf(NORMAL);
    const ShotLimits refused[] = {
        limitsOf(1000, 1000, 50, 400), // no room between the totals
        limitsOf(100, 1000, 400, 400), // nor between the durations
        limitsOf(100, 1000, 50, 1001), // a duration that no total allows
    };
    for (const ShotLimits& l : refused) {
        EXPECT_FALSE(slicer.setLimits(l.minTotal, l.maxTotal, l.minDuration, l.maxDuration));
    }
    EXPECT_EQ(cut(slicer, 410, 0), (Pairs{{310, 0}, {100, 0}}));
    EXPECT_TRUE(slicer.setLimits(100, 1000, 50, 1000));
}

TEST(TimeSlicer, RefusesInputThatNoCutCanHold) {
    struct Case {
        ShotLimits limits;
        Pair input;
        const char* line;
    };
    const Case cases[] = {
        {NORMAL, {49, 500}, "duration too small (49 < 50)"},
        {NORMAL, {60, 39}, "duration+delay too small (60 + 39 < 100)"},
        // The sum is of 32 bits.
        {NORMAL, {60, 0xFFFFFFFF}, "duration+delay too small (60 + 4294967295 < 100)"},
        {NORMAL, {900, 960}, "ERR_SLICE"},
        // Not long enough to leave a legal shot in front of the delay.
        {NORMAL, {149, 900}, "ERR_SLICE"},
        // Every pair would have to give all of itself back.
        {limitsOf(110, 1000, 0, 50), {60, 50}, "ERR_SLICE"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.input.first << ", " << c.input.second);
        test::LogCapture log;
        EXPECT_EQ(errorOfCut(slicerOf(c.limits), c.input.first, c.input.second), ERR_SLICE);
        EXPECT_TRUE(log.hasPart(c.line));
        EXPECT_TRUE(log.hasPart("ERR_SLICE"));
    }
    EXPECT_EQ(cut(slicerOf(NORMAL), 150, 900), (Pairs{{100, 0}, {50, 900}}));
}

/// Walks a cut, whatever it is, and checks what must hold at every step.
void checkCut(const TimeSlicer& slicer, const ShotLimits& limits, unsigned duration,
              unsigned delay) {
    unsigned long long sumDuration = 0;
    unsigned long long sumDelay = 0;
    unsigned long long left = std::uint64_t{duration} + delay;
    for (auto it = slicer.slice(duration, delay); !it.exhausted(); it.next()) {
        sumDuration += it.sliceDuration;
        sumDelay += it.sliceDelay;
        ASSERT_EQ(sumDuration + it.restDuration, duration);
        ASSERT_EQ(sumDelay + it.restDelay, delay);
        ASSERT_LE(it.sliceDuration, limits.maxDuration);
        ASSERT_LE(std::uint64_t{it.sliceDuration} + it.sliceDelay, limits.maxTotal);
        ASSERT_LT(std::uint64_t{it.restDuration} + it.restDelay, left) << "no progress";
        left = std::uint64_t{it.restDuration} + it.restDelay;
    }
    ASSERT_EQ(left, 0U);
}

TEST(TimeSlicer, EndsAndKeepsBothSumsForEveryInput) {
    const test::LogCapture quiet;
    std::mt19937 random(20200131);
    const auto below = [&random](unsigned bound) {
        return std::uniform_int_distribution<unsigned>(0, bound - 1)(random);
    };
    unsigned walked = 0;
    for (unsigned round = 0; round < 20000; ++round) {
        const ShotLimits limits = limitsOf(below(20), 1 + below(40), below(8), 1 + below(40));
        TimeSlicer slicer;
        const bool accepted = slicer.setLimits(limits.minTotal, limits.maxTotal, limits.minDuration,
                                               limits.maxDuration);
        const ShotLimits effective = accepted ? limits : ShotLimits();
        const unsigned duration = below(200);
        const unsigned delay = below(200);
        try {
            ASSERT_NO_FATAL_FAILURE(checkCut(slicer, effective, duration, delay))
                << limits.minTotal << " " << limits.maxTotal << " " << limits.minDuration << " "
                << limits.maxDuration << ": " << duration << ", " << delay;
            walked += accepted ? 1 : 0;
        } catch (const FUSException& e) {
            ASSERT_EQ(e.errorCode(), ERR_SLICE);
        }
    }
    EXPECT_GT(walked, 1000U);
}

ElectronicTrajectory trajectoryOf(const Pairs& shots) {
    ElectronicTrajectory trajectory(4);
    for (const Pair& times : shots) {
        PhaseShot shot(4, 1, 1);
        shot.setDuration(times.first, times.second);
        trajectory.addShot(shot);
    }
    return trajectory;
}

Pairs timesOf(const ElectronicTrajectory& trajectory) {
    Pairs times;
    for (unsigned i = 0; i < trajectory.size(); ++i) {
        times.emplace_back(trajectory[i].duration(), trajectory[i].delay());
    }
    return times;
}

bool slice(ElectronicTrajectory& trajectory, const ShotLimits& limits,
           gprotocol::ElecExecMode mode) {
    try {
        TestPeer::slice(trajectory, limits, mode);
        return true;
    } catch (const FUSException& e) {
        EXPECT_EQ(e.errorCode(), ERR_SLICE);
        return false;
    }
}

TEST(SlicedTrajectory, HoldsThePairsOfEveryShotThatWasTooLong) {
    using namespace gprotocol;
    struct Case {
        ShotLimits limits;
        ElecExecMode mode;
        Pairs shots;
        bool succeeds;
        Pairs sliced;
    };
    const Case cases[] = {
        {NORMAL, EXEC_ELEC_NORMAL, {}, true, {}},
        {NORMAL, EXEC_ELEC_NORMAL, {{400, 600}, {50, 50}}, true, {{400, 600}, {50, 50}}},
        {NORMAL,
         EXEC_ELEC_NORMAL,
         {{60, 40}, {410, 0}, {70, 30}, {900, 50}},
         true,
         {{60, 40}, {310, 0}, {100, 0}, {70, 30}, {400, 0}, {400, 0}, {100, 50}}},
        {NORMAL, EXEC_ELEC_QUICK, {{350, 900}}, true, {{300, 0}, {50, 900}}},
        {NORMAL, EXEC_ELEC_REPEAT, {{400, 600}}, true, {{400, 600}}},
        {NORMAL, EXEC_ELEC_REPEAT, {{410, 0}}, false, {{410, 0}}},
        // In front of the shot that is too short everything is sliced, behind it nothing.
        {NORMAL,
         EXEC_ELEC_NORMAL,
         {{410, 0}, {40, 100}, {410, 0}},
         false,
         {{310, 0}, {100, 0}, {40, 100}, {410, 0}}},
        {NORMAL, EXEC_ELEC_NORMAL, {{60, 39}}, false, {{60, 39}}},
        // Limits that contradict themselves: what fits passes, nothing can be cut.
        {limitsOf(100, 1000, 50, 2000),
         EXEC_ELEC_NORMAL,
         {{60, 40}, {900, 200}},
         false,
         {{60, 40}, {900, 200}}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(&c - cases);
        ElectronicTrajectory trajectory = trajectoryOf(c.shots);
        EXPECT_EQ(slice(trajectory, c.limits, c.mode), c.succeeds);
        EXPECT_EQ(timesOf(trajectory), c.sliced);
    }
}

TEST(SlicedTrajectory, KeepsTheValuesInTheFirstShotAndGoesOnWithThemInTheOthers) {
    ElectronicTrajectory trajectory = trajectoryOf({{820, 0}});
    trajectory[0].setPhase(3, 77);
    TestPeer::slice(trajectory, NORMAL, gprotocol::EXEC_ELEC_NORMAL);
    ASSERT_EQ(trajectory.size(), 3U);
    EXPECT_EQ(trajectory[0].phaseCount(), 4U);
    EXPECT_EQ(trajectory[0].phase(3), 77);
    for (unsigned i = 1; i < 3; ++i) {
        EXPECT_EQ(trajectory[i].packetSize(), PhaseShot().packetSize()) << "not empty: " << i;
    }
}

TEST(SlicedTrajectory, StopsGrowingAtTheGreatestSizeThatTheUploadAllows) {
    const TimeSlicer slicer = slicerOf(NORMAL);
    ElectronicTrajectory trajectory = trajectoryOf({{900, 50}, {60, 40}});
    try {
        TestPeer::cut(trajectory, 0, slicer, 3);
        FAIL() << "four shots fit in three";
    } catch (const FUSException& e) {
        EXPECT_EQ(e.errorCode(), ERR_ARGUMENT);
        EXPECT_STREQ(e.message(), "Too many shots (while slicing)");
    }
    ElectronicTrajectory fitting = trajectoryOf({{900, 50}, {60, 40}});
    EXPECT_EQ(TestPeer::cut(fitting, 0, slicer, 4), 2U);
    EXPECT_EQ(timesOf(fitting), (Pairs{{400, 0}, {400, 0}, {100, 50}, {60, 40}}));
}

} // namespace
} // namespace fus
