#include "fus/PhaseShot.h"

#include "fus/ElectronicTrajectory.h"
#include "fus/FUSEvent.h"
#include "fus/FUSException.h"
#include "fus/TrajectoryBufferInfo.h"
#include "support/LogCapture.h"
#include "support/TestPeer.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace fus {
namespace {

using test::Bytes;
using test::hex;

PhaseShot sample() {
    PhaseShot shot(3, 2, 4);
    unsigned char phases[] = {1, 128, 255};
    unsigned frequencies[] = {1000000, 0x01020304};
    unsigned char amplitudes[] = {10, 20, 30, 40};
    shot.setPhases(phases, 3);
    shot.setFrequencies(frequencies, 2);
    shot.setAmplitudes(amplitudes, 4);
    shot.setDuration(0x00010203, 0xFFFFFFFE);
    return shot;
}

std::vector<unsigned> frequenciesOf(const PhaseShot& shot) {
    std::vector<unsigned> values;
    for (unsigned i = 0; i < shot.frequencyCount(); ++i) {
        values.push_back(shot.frequency(i));
    }
    return values;
}

TEST(PhaseShot, WritesItsRecordInNetworkOrder) {
    EXPECT_EQ(TestPeer::record(sample()), hex("0002 000F4240 01020304"
                                              "0003 01 80 FF"
                                              "0004 0A 14 1E 28"
                                              "00010203 FFFFFFFE"));
    EXPECT_EQ(TestPeer::record(PhaseShot()), hex("0000 0000 0000 00000000 00000000"));
}

TEST(PhaseShot, ResizesWithAndWithoutKeepingItsValues) {
    struct Case {
        unsigned size;
        bool preserve;
        std::vector<unsigned> values;
    };
    const Case cases[] = {
        {2, false, {1000000, 0x01020304}}, // the present size: nothing happens
        {3, false, {0, 0, 0}},
        {1, false, {0}},
        {3, true, {1000000, 0x01020304, 0}},
        {1, true, {1000000}},
        {0, true, {}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.size << (c.preserve ? " keeping" : ""));
        PhaseShot shot = sample();
        shot.resizeFrequencies(c.size, c.preserve);
        EXPECT_EQ(frequenciesOf(shot), c.values);
        EXPECT_EQ(shot.phaseCount(), 3U) << "another array was touched";
    }
}

TEST(PhaseShot, OverwritesTheFirstValuesAndKeepsTheOthers) {
    PhaseShot shot = sample();
    unsigned char values[] = {7, 8};
    shot.setAmplitudes(values, 2);
    EXPECT_EQ(TestPeer::record(shot), hex("0002 000F4240 01020304"
                                          "0003 01 80 FF"
                                          "0004 07 08 1E 28"
                                          "00010203 FFFFFFFE"));
}

TEST(PhaseShot, DiffersInAnySingleValue) {
    const std::function<void(PhaseShot&)> changes[] = {
        [](PhaseShot& s) { s.setDuration(s.duration() + 1, s.delay()); },
        [](PhaseShot& s) { s.setDuration(s.duration(), s.delay() - 1); },
        [](PhaseShot& s) { s.setPhase(2, 0); },
        [](PhaseShot& s) { s.setFrequency(1, 0x01020305); },
        [](PhaseShot& s) { s.setAmplitude(0, 11); },
        [](PhaseShot& s) { s.resizePhases(4, true); },
        [](PhaseShot& s) { s.resizeAmplitudes(0, true); },
    };
    for (const auto& change : changes) {
        SCOPED_TRACE(&change - changes);
        PhaseShot changed = sample();
        EXPECT_TRUE(changed == sample());
        change(changed);
        EXPECT_TRUE(changed != sample());
        EXPECT_FALSE(changed == sample());
    }
    EXPECT_TRUE(PhaseShot() == PhaseShot());
}

class DerivedShot : public PhaseShot {
public:
    DerivedShot* clone() const override { return new DerivedShot(*this); }
};

bool isDerived(const PhaseShot& shot) {
    return dynamic_cast<const DerivedShot*>(&shot) != nullptr;
}

TEST(ElectronicTrajectory, HoldsClonesThatStayOfTheirClass) {
    ElectronicTrajectory trajectory(2);
    DerivedShot added;
    trajectory.addShot(added);
    trajectory.insertShot(0, added);
    trajectory.addShot(PhaseShot());
    trajectory.setShot(2, added);
    added.setDuration(5, 5);
    EXPECT_EQ(trajectory.totalDuration(), 0U) << "a caller's object is in the trajectory";

    const ElectronicTrajectory copy(trajectory);
    ElectronicTrajectory assigned(7);
    assigned = copy;
    ElectronicTrajectory& self = assigned;
    assigned = self;
    trajectory.clear();
    ASSERT_EQ(assigned.size(), 3U);
    for (unsigned i = 0; i < 3; ++i) {
        EXPECT_TRUE(isDerived(copy[i]) && isDerived(assigned.shot(i))) << i;
        EXPECT_NE(&copy[i], &assigned[i]) << "shared between two trajectories: " << i;
    }
    EXPECT_EQ(assigned.channels(), 2U);
}

ElectronicTrajectory trajectoryOf(const std::vector<unsigned>& durations) {
    ElectronicTrajectory trajectory(10);
    for (const unsigned duration : durations) {
        PhaseShot shot(1, 1, 1);
        shot.setDuration(duration, 1);
        trajectory.addShot(shot);
    }
    return trajectory;
}

std::vector<unsigned> durationsOf(const ElectronicTrajectory& trajectory) {
    std::vector<unsigned> durations;
    for (unsigned i = 0; i < trajectory.size(); ++i) {
        durations.push_back(trajectory[i].duration());
    }
    return durations;
}

TEST(ElectronicTrajectory, InsertsReplacesAndRemovesInPlace) {
    ElectronicTrajectory trajectory = trajectoryOf({1, 2, 3});
    trajectory.insertShot(3, trajectory[0]);
    trajectory.insertShot(1, trajectory[2]);
    trajectory.setShot(0, trajectory[2]);
    trajectory.removeShot(2);
    EXPECT_EQ(durationsOf(trajectory), (std::vector<unsigned>{2, 3, 3, 1}));
    EXPECT_EQ(trajectory.totalShotsPacketSize(), 4U * 20);
    EXPECT_EQ(trajectoryOf({0x80000000, 0x80000001}).totalDuration(), 3U);
}

TEST(ElectronicTrajectory, FailsWithoutChangingAnything) {
    const std::string bad = "ERR_INDEX: invalid ";
    struct Case {
        std::function<void(ElectronicTrajectory&)> operation;
        FUSError error;
        std::string line;
    };
    unsigned char bytes[4] = {};
    unsigned words[4] = {};
    const Case cases[] = {
        {[](auto& t) { t[0].phase(1); }, ERR_INDEX, bad + "phase index (1 above max=1)"},
        {[](auto& t) { t[0].setPhase(9, 1); }, ERR_INDEX, bad + "phase index (9 above max=1)"},
        {[](auto& t) { t[0].frequency(1); }, ERR_INDEX, bad + "frequency index (1 above max=1)"},
        {[](auto& t) { t[0].setFrequency(1, 1); }, ERR_INDEX, bad + "frequency index (1 above"},
        {[](auto& t) { t[0].amplitude(1); }, ERR_INDEX, bad + "amplitude index (1 above max=1)"},
        {[](auto& t) { t[0].setAmplitude(1, 1); }, ERR_INDEX, bad + "amplitude index (1 above"},
        {[](auto& t) { t.shot(2); }, ERR_INDEX, bad + "shot index (2 above max=2)"},
        {[](auto& t) { t[2]; }, ERR_INDEX, bad + "shot index (2 above max=2)"},
        {[](auto& t) { t.setShot(2, PhaseShot()); }, ERR_INDEX, bad + "shot index (2 above max=2)"},
        {[](auto& t) { t.removeShot(2); }, ERR_INDEX, bad + "shot index (2 above max=2)"},
        {[](auto& t) { t.insertShot(3, PhaseShot()); }, ERR_INDEX, bad + "shot index (3 above"},
        {[](auto& t) { t.channelEnabled(10); }, ERR_INDEX, "ERR_INDEX"},
        {[](auto& t) { t.enableChannel(10, false); }, ERR_INDEX, "ERR_INDEX"},
        {[](auto& t) { t[0].setPhases(nullptr, 1); }, ERR_ARGUMENT, "ERR_ARGUMENT"},
        {[&](auto& t) { t[0].setPhases(bytes, 0); }, ERR_ARGUMENT, "ERR_ARGUMENT"},
        {[&](auto& t) { t[0].setAmplitudes(bytes, 2); }, ERR_ARGUMENT, "ERR_ARGUMENT"},
        {[&](auto& t) { t[0].setFrequencies(words, 2); }, ERR_ARGUMENT, "ERR_ARGUMENT"},
        {[&](auto&) { PhaseShot().setPhases(bytes, 0); }, ERR_ARGUMENT, "ERR_ARGUMENT"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << (&c - cases) << " " << c.line);
        ElectronicTrajectory trajectory = trajectoryOf({1, 2});
        const test::LogCapture log;
        try {
            c.operation(trajectory);
            ADD_FAILURE() << "no exception";
        } catch (const FUSException& e) {
            EXPECT_EQ(e.errorCode(), c.error);
        }
        EXPECT_TRUE(log.hasPart(c.line));
        EXPECT_EQ(durationsOf(trajectory), (std::vector<unsigned>{1, 2}));
        EXPECT_TRUE(trajectory[0] == trajectoryOf({1})[0]);
        EXPECT_EQ(trajectory.activeChannels(), 10U);
    }
}

TEST(ElectronicTrajectory, WritesItsMaskBlockLeastSignificantBitFirst) {
    ElectronicTrajectory trajectory(10);
    EXPECT_EQ(TestPeer::maskBlock(trajectory), hex("0000000A 0000000A FF 03"));
    trajectory.enableChannel(1, false);
    trajectory.enableChannel(8, false);
    EXPECT_EQ(TestPeer::maskBlock(trajectory), hex("0000000A 00000008 FD 02"));
    trajectory.setChannelCount(17); // new channels are enabled, old ones stay
    EXPECT_EQ(TestPeer::maskBlock(trajectory), hex("00000011 0000000F FD FE 01"));
    trajectory.clear();
    trajectory.setChannelCount(8);
    EXPECT_EQ(TestPeer::maskBlock(trajectory), hex("00000008 00000007 FD"));
    trajectory.enableAllChannels(false);
    EXPECT_EQ(TestPeer::maskBlock(trajectory), hex("00000008 00000000 00"));
    EXPECT_EQ(TestPeer::maskBlock(ElectronicTrajectory(0)), hex("00000000 00000000"));
}

TEST(TrajectoryBufferInfo, RemembersTheLastUploadAndTheLastStart) {
    using namespace gprotocol;
    TrajectoryBufferInfo info(3);
    EXPECT_EQ(static_cast<unsigned>(info.electronicExecutionMode()), 123U);
    EXPECT_EQ(info.shotsTotalDurations(), nullptr);

    info.onSend(trajectoryOf({10, 20, 30}), EXEC_ELEC_QUICK, EXEC_TRIGGER_ONE_PULSE_PER_SHOT,
                EXEC_MECH_CONTINUE, 34);
    info.onExecute(77, 5, 1000);
    info.onSend(trajectoryOf({100, 0xFFFFFFFF}), EXEC_ELEC_NORMAL,
                EXEC_TRIGGER_ONE_PULSE_PER_TRAJECTORY, EXEC_MECH_CONTINUE, 8);
    EXPECT_EQ(info.shotCount(), 2U);
    ASSERT_NE(info.shotsTotalDurations(), nullptr);
    EXPECT_EQ(info.shotsTotalDurations()[0], 101U);
    EXPECT_EQ(info.shotsTotalDurations()[1], 0U);
    EXPECT_EQ(info.trajectoryTotalDuration(), 101U);
    EXPECT_EQ(info.executionDelayUs(), 1000U);

    const std::unique_ptr<ExecStartEvent> event = info.makeStartEvent();
    EXPECT_EQ(event->type(), FUSEvent::EVENT_EXEC_START);
    EXPECT_EQ(event->execID(), 77U);
    EXPECT_EQ(event->execCount(), 5U);
    EXPECT_EQ(event->execFlags(), 8U);
    EXPECT_EQ(event->elecMode(), EXEC_ELEC_NORMAL);
    EXPECT_EQ(event->trigMode(), EXEC_TRIGGER_ONE_PULSE_PER_TRAJECTORY);
    EXPECT_EQ(event->mechMode(), EXEC_MECH_CONTINUE);
}

} // namespace
} // namespace fus
