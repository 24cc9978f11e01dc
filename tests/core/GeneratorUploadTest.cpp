#include "fus/Generator.h"

#include "fus/ElectronicTrajectory.h"
#include "fus/P_GProtocol.h"
#include "fus/TrajectoryBufferInfo.h"
#include "support/ConnectedFixture.h"
#include "support/Faults.h"
#include "support/LogCapture.h"

#include <gtest/gtest.h>

using namespace fus;
using namespace fus::test;
using namespace fus::gprotocol;

namespace {

const std::string TIMED_OUT =
    "ERR_TIMEOUT: " + std::string(FUSException(ERR_TIMEOUT, nullptr).message());

class GeneratorUpload : public ConnectedFixture {
protected:
    GeneratorUpload() : trajectory(8) {
        PhaseShot shot(1, 1, 1);
        shot.setDuration(200, 100);
        trajectory.addShot(shot);
    }

    void upload(unsigned buffer = 1, bool canSlice = false, bool canEdit = false) {
        generator().sendTrajectory(buffer, trajectory, EXEC_ELEC_NORMAL,
                                   EXEC_TRIGGER_ONE_PULSE_FOR_EVERYTHING, EXEC_MECH_CONTINUE, flags,
                                   canSlice, canEdit);
    }

    /// The record of a buffer, found by an execution that is started for this.
    const TrajectoryBufferInfo& started(unsigned buffer) {
        peer.expect(CMD_TRAJ_EXEC_V3).answer(ANSWER_OK);
        const unsigned id = generator().executeTrajectory(buffer, 1, 0, true);
        return *generator().getTrajectoryInfo(id);
    }

    ElectronicTrajectory trajectory;
    unsigned flags = 0;
};

const Bytes RECORD = hex("0001 00000000 0001 00 0001 00 000000C8 00000064");

TEST_F(GeneratorUpload, SendsTheCommandOfTheProtocolAndWaits) {
    connect(Generation::V2);
    LogCapture log(Log::INFO);
    peer.expect(CMD_TRAJ_SEND_V2, hex("00000001 00000008 00000008 FF 00000001") + RECORD)
        .answer(ANSWER_OK);
    upload();
    EXPECT_EQ(log.lines().front().text,
              "sendTrajectory (buf=1, traj=1 shots, elecMode=EXEC_ELEC_NORMAL(0), "
              "trigMode=EXEC_TRIGGER_ONE_PULSE_FOR_EVERYTHING(1), mechMode=EXEC_MECH_CONTINUE(1), "
              "flags=0, slice=0, canEdit=0)");
}

TEST_F(GeneratorUpload, RecordsWhatTheBufferHoldsNow) {
    connect(Generation::V31);
    flags = EXEC_FLAG_KEEP_PHASE_COUNTER | EXEC_FLAG_ADD_BOARD_MEASURES;
    trajectory.addShot(PhaseShot());
    trajectory[1].setDuration(400, 50);
    peer.expect(CMD_TRAJ_SEND_V3, hex("00000001 00000009 00 01 01 00 00000002") + RECORD +
                                      hex("0000 0000 0000 00000190 00000032"))
        .answer(ANSWER_OK);
    upload();
    const TrajectoryBufferInfo& info = started(1);
    EXPECT_EQ(info.electronicExecutionMode(), EXEC_ELEC_NORMAL);
    EXPECT_EQ(info.triggerMode(), EXEC_TRIGGER_ONE_PULSE_FOR_EVERYTHING);
    EXPECT_EQ(info.mechanicalExecutionMode(), EXEC_MECH_CONTINUE);
    EXPECT_EQ(info.executionFlags(), flags);
    EXPECT_EQ(info.shotCount(), 2U);
    EXPECT_EQ(info.trajectoryTotalDuration(), 750U);
    EXPECT_EQ(info.shotsTotalDurations()[1], 450U);
    EXPECT_EQ(generator().getTrajectoryInfo(info.executionID() + 1), nullptr);
}

TEST_F(GeneratorUpload, KeepsTheCutsOnlyInATrajectoryThatMayBeEdited) {
    connect(Generation::V31);
    trajectory[0].setDuration(900, 50);
    for (const bool canEdit : {false, true}) {
        peer.expect(CMD_TRAJ_SEND_V3).answer(ANSWER_OK);
        upload(0, true, canEdit);
        EXPECT_EQ(trajectory.size(), canEdit ? 3U : 1U);
        EXPECT_EQ(started(0).shotCount(), 3U);
    }
}

TEST_F(GeneratorUpload, LeavesTheRecordAloneWhenTheGeneratorRefuses) {
    connect(Generation::V31);
    peer.expect(CMD_TRAJ_SEND_V3).answer(ANSWER_OK);
    upload();
    trajectory.addShot(trajectory[0]);
    peer.expect(CMD_TRAJ_SEND_V3)
        .answer(ANSWER_ERROR_MSGV3,
                hex("38020000 00000000 0A 00 0003 00000000") + text("no") + zeroes(1));
    EXPECT_NE(faultOf([this] { upload(); }).find("msg: no"), std::string::npos);
    EXPECT_EQ(started(1).shotCount(), 1U);
}

TEST_F(GeneratorUpload, TimesOutWithoutAnAcknowledgement) {
    connect(Generation::V31);
    fus().setDefaultAnswerTimeout(200);
    peer.expect(CMD_TRAJ_SEND_V3).expect(CMD_TRAJ_SEND_V3);
    EXPECT_EQ(faultOf([this] { upload(); }), TIMED_OUT);
    EXPECT_EQ(faultOf([this] { generator().clearBuffer(0); }), TIMED_OUT);
}

TEST_F(GeneratorUpload, SendsNothingThatItRefuses) {
    connect(Generation::V31);
    LogCapture log(Log::EXCEPTION);
    EXPECT_NE(faultOf([this] { upload(2); }), "");
    EXPECT_EQ(log.lines(),
              (LogLines{{Log::EXCEPTION, "ERR_INDEX: invalid buffer index (2 above max=2)"}}));
    log.clear();
    trajectory.clear();
    EXPECT_NE(faultOf([this] { upload(); }), "");
    EXPECT_EQ(log.lines(), (LogLines{{Log::EXCEPTION, "ERR_ARGUMENT: Empty trajectory"}}));
    log.clear();
    EXPECT_NE(faultOf([this] { generator().clearBuffer(2); }), "");
    EXPECT_EQ(log.lines(),
              (LogLines{{Log::EXCEPTION, "ERR_INDEX: invalid buffer index (2 above max=2)"}}));
}

// The record is missed only behind the acknowledgement.
TEST_F(GeneratorUpload, SendsToAnyBufferWithoutChecksAndThenMissesItsRecord) {
    connect(Generation::V31);
    fus().setSecureMode(false);
    peer.expect(CMD_TRAJ_SEND_V3).answer(ANSWER_OK);
    LogCapture log(Log::EXCEPTION);
    EXPECT_NE(faultOf([this] { upload(2); }), "");
    EXPECT_EQ(log.lines(), (LogLines{{Log::EXCEPTION,
                                      "ERR_INDEX: invalid TrajectoryBufferInfo (2 above max=2)"}}));
}

TEST_F(GeneratorUpload, ClearsEveryBufferByTheProtocol) {
    connect(Generation::V2);
    for (const char* buffer : {"00000000", "00000001"}) {
        peer.expect(CMD_TRAJ_SEND_V2, hex(buffer) + hex("00000008 00000008 FF 00000000"))
            .answer(ANSWER_OK);
    }
    LogCapture log(Log::INFO);
    generator().clearBuffers();
    EXPECT_TRUE(log.has("clearBuffer(0)"));
    EXPECT_FALSE(log.hasPart("Trajectory of"));
    disconnect();
}

TEST_F(GeneratorUpload, ClearsABufferWithZeroesFromProtocol31On) {
    connect(Generation::V31);
    peer.expect(CMD_TRAJ_SEND_V3, hex("00000001") + zeroes(12)).answer(ANSWER_OK);
    generator().clearBuffer(1);
}

TEST_F(GeneratorUpload, NeedsAConnection) {
    const std::string expected =
        "ERR_NOT_CONNECTED: " + std::string(FUSException(ERR_NOT_CONNECTED, nullptr).message());
    EXPECT_EQ(faultOf([this] { upload(); }), expected);
    EXPECT_EQ(faultOf([this] { generator().clearBuffers(); }), expected);
    EXPECT_EQ(faultOf([this] { generator().executeTrajectory(0, 1, 0, true); }), expected);
    EXPECT_EQ(faultOf([this] { generator().stopTrajectory(); }), expected);
}

} // namespace
