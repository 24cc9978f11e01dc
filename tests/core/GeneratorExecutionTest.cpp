#include "fus/Generator.h"

#include "fus/ElectronicTrajectory.h"
#include "fus/P_FUSAccess.h"
#include "fus/P_GProtocol.h"
#include "fus/P_GeneratorPrivate.h"
#include "support/ConnectedFixture.h"
#include "support/Faults.h"
#include "support/LogCapture.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <string>
#include <vector>

using namespace fus;
using namespace fus::test;
using namespace fus::gprotocol;

namespace {

constexpr unsigned NO_MOTION = 99;

/// The 28 bytes in front of the body of an asynchronous packet.
Bytes head(unsigned type, unsigned shot = 0, unsigned remain = 0, unsigned channels = 8) {
    return be32(channels) + hex("000003E8") + be32(shot) + hex("FFFFFFFB") + be32(remain) +
           hex("02 03") + u8(type) + hex("EE EEEEEEEE");
}

Bytes errorInfo(unsigned code, unsigned hwid = 10, const std::string& message = "why") {
    return be32(code) + be32(5) + u8(hwid) + u8(1) +
           be16(static_cast<unsigned>(message.size()) + 1) + be32(0) + text(message) + u8(0);
}

/// Values of all measures of the small V3 generator: 8 channels of "vrf1,irf2,pvi4".
Bytes channelMeasures() {
    Bytes bytes;
    for (unsigned c = 0; c < 8; ++c) {
        bytes += u8(10 + c);
    }
    for (unsigned c = 0; c < 8; ++c) {
        bytes += be16(1000 + c);
    }
    for (unsigned c = 0; c < 8; ++c) {
        bytes += be32(70000 + c);
    }
    return bytes;
}

/// The same for its 2 boards of "tem2,idc4".
Bytes boardMeasures() {
    return hex("0101 0102 00020001 00020002");
}

std::string messageOf(FUSError error) {
    return FUSException(error, nullptr).message();
}

class GeneratorExecution : public ConnectedFixture {
protected:
    void upload(unsigned flags = 0, MechExecMode mech = EXEC_MECH_NONE,
                TriggerMode trigger = EXEC_TRIGGER_IGNORED, unsigned buffer = 0) {
        PhaseShot shot(1, 1, 1);
        shot.setDuration(200, 100);
        ElectronicTrajectory trajectory(8);
        trajectory.addShot(shot);
        trajectory.addShot(shot);
        const bool v3 = fus().getProtocolVersion() >= Version(3, 1, 0, 0);
        peer.expect(v3 ? CMD_TRAJ_SEND_V3 : CMD_TRAJ_SEND_V2).answer(ANSWER_OK);
        generator().sendTrajectory(buffer, trajectory, EXEC_ELEC_NORMAL, trigger, mech, flags,
                                   false, false);
    }

    /// Starts what was uploaded, and forgets the event of it.
    unsigned execute(unsigned count = 1) {
        const bool v3 = fus().getProtocolVersion() >= Version(3, 1, 0, 0);
        peer.expect(v3 ? CMD_TRAJ_EXEC_V3 : CMD_TRAJ_EXEC_V2).answer(ANSWER_OK);
        const unsigned id = generator().executeTrajectory(0, count, 10, true);
        EXPECT_TRUE(listener.waitForCount(1));
        listener.clear();
        return id;
    }

    /// A generator that runs a trajectory.
    unsigned running(Generation generation, unsigned count = 1, unsigned flags = 0,
                     MechExecMode mech = EXEC_MECH_NONE) {
        connect(generation);
        upload(flags, mech);
        return execute(count);
    }

    /// Sends an asynchronous packet, and gives the events that come of it. An event that is known
    /// to come marks the end.
    RecordingListener::Events eventsOf(unsigned id, const Bytes& payload) {
        listener.clear();
        peer.sendPacket(ANSWER_EXEC_ASYNC, id, payload);
        peer.sendPacket(ANSWER_EXEC_ASYNC, id, head(30, 4095) + text("the end"));
        EXPECT_TRUE(listener.waitFor([](const RecordingListener::Events& events) {
            const auto last =
                events.empty() ? nullptr : dynamic_cast<const ExecEvent*>(events.back().get());
            return last != nullptr && last->execResult().errorMessage() == std::string("the end");
        }));
        RecordingListener::Events events = listener.events();
        if (!events.empty()) {
            events.pop_back();
        }
        return events;
    }

    /// The shot result that a body leads to.
    ShotResult shotOf(unsigned id, const Bytes& body) {
        const RecordingListener::Events events = eventsOf(id, head(29, 1) + body);
        if (events.size() != 1 || events[0]->type() != FUSEvent::EVENT_SHOT_RESULT) {
            ADD_FAILURE() << "no shot result";
            return ShotResult();
        }
        return dynamic_cast<const ShotEvent&>(*events[0]).shotResult();
    }
};

/// "status message/motion", or as much of it as there is.
std::string described(const RecordingListener::Events& events) {
    std::string text;
    for (const auto& event : events) {
        if (const auto* exec = dynamic_cast<const ExecEvent*>(event.get())) {
            text += std::to_string(exec->execResult().status());
            text += " " + std::string(exec->execResult().errorMessage());
        }
        if (const auto* motion = dynamic_cast<const MechMotionEvent*>(event.get())) {
            text += "/" + std::to_string(motion->result());
        }
    }
    return text;
}

// ---- Start and stop -----------------------------------------------------------------------------

TEST_F(GeneratorExecution, StartsWithTheModesOfTheUploadInTheOlderProtocols) {
    connect(Generation::V2);
    upload(0, EXEC_MECH_CONTINUE, EXEC_TRIGGER_ONE_PULSE_FOR_EVERYTHING, 1);
    peer.expect(CMD_TRAJ_EXEC_V2, hex("00000001 00000003 000003E8 00000000 00000002 00000000"
                                      "00 01 01 00") +
                                      zeroes(36))
        .answer(ANSWER_OK);
    LogCapture log(Log::INFO);
    EXPECT_EQ(generator().executeTrajectory(1, 3, 1000, true), 2U);
    EXPECT_TRUE(log.has("executeTrajectory (buf=1, execs=3, delay=1000 us, sendResults=1)"));
    EXPECT_TRUE(log.has("Execute trajectory execID=2"));
    ASSERT_TRUE(listener.waitForCount(1));
    const auto start = listener.all<ExecStartEvent>().at(0);
    EXPECT_EQ(start->execID(), 2U);
    EXPECT_EQ(start->execCount(), 3U);
    EXPECT_EQ(start->trigMode(), EXEC_TRIGGER_ONE_PULSE_FOR_EVERYTHING);
    EXPECT_EQ(start->mechMode(), EXEC_MECH_CONTINUE);
}

TEST_F(GeneratorExecution, StartsAndStopsInProtocol31) {
    connect(Generation::V31);
    upload(EXEC_FLAG_SWITCHABLE);
    const unsigned id = commandsOfConnect(Generation::V31) + 2;
    peer.expect(CMD_TRAJ_EXEC_V3, hex("00000000 00000002 00000005") + be32(id)).answer(ANSWER_OK);
    EXPECT_EQ(generator().executeTrajectory(0, 2, 5, true), id);
    // Without results there is no id, and the event tells of the start before.
    peer.expect(CMD_TRAJ_EXEC_V3, hex("00000000 00000001 00000000 00000000")).answer(ANSWER_OK);
    EXPECT_EQ(generator().executeTrajectory(0, 1, 0, false), 0U);
    ASSERT_TRUE(listener.waitForCount(2));
    const auto start = listener.all<ExecStartEvent>().at(1);
    EXPECT_EQ(start->execID(), id);
    EXPECT_EQ(start->execCount(), 2U);
    EXPECT_EQ(start->execFlags(), EXEC_FLAG_SWITCHABLE);
    EXPECT_EQ(generator().getTrajectoryInfo(id)->executionDelayUs(), 5U);
    peer.expect(CMD_TRAJ_STOP, Bytes{});
    generator().stopTrajectory();
}

TEST_F(GeneratorExecution, RefusesImpossibleRepetitions) {
    connect(Generation::V2);
    upload();
    upload(0, EXEC_MECH_NONE, EXEC_TRIGGER_ONE_PULSE_PER_TRAJECTORY, 1);
    const std::string count = "ERR_ARGUMENT: Trajectory execution count must be >= 1";
    const std::string delay = "ERR_ARGUMENT: Invalid delay between trajectory executions";
    const std::string trigger =
        "ERR_ARGUMENT: No delay between executions allowed in this trigger mode";
    const struct {
        unsigned buffer;
        unsigned count;
        unsigned delay;
        std::string refusal;
    } rows[] = {{0, 0, 10, count},   {0, 2, 9, delay},    {0, 2, 10, ""},
                {0, 2, 5000, ""},    {0, 2, 5001, delay}, {0, 1, 5001, ""},
                {1, 2, 10, trigger}, {1, 2, 5001, delay}, {1, 1, 10, ""}};
    for (const auto& row : rows) {
        if (row.refusal.empty()) {
            peer.expect(CMD_TRAJ_EXEC_V2).answer(ANSWER_OK);
        }
        EXPECT_EQ(faultOf([&] {
                      generator().executeTrajectory(row.buffer, row.count, row.delay, false);
                  }),
                  row.refusal);
    }
    fus().setSecureMode(false);
    peer.expect(CMD_TRAJ_EXEC_V2).answer(ANSWER_OK);
    EXPECT_EQ(generator().executeTrajectory(1, 0, 10, false), 0U);
}

TEST_F(GeneratorExecution, KnowsNoModeOfABufferThatWasNeverUsed) {
    connect(Generation::V31);
    EXPECT_EQ(faultOf([&] { generator().executeTrajectory(0, 2, 0, true); }),
              "ERR_ARGUMENT: " + messageOf(ERR_ARGUMENT));
    fus().setSecureMode(false);
    LogCapture log(Log::EXCEPTION);
    EXPECT_NE(faultOf([&] { generator().executeTrajectory(2, 1, 0, true); }), "");
    EXPECT_EQ(log.texts(), (std::vector<std::string>{
                               "ERR_INDEX: invalid TrajectoryBufferInfo (2 above max=2)"}));
}

TEST_F(GeneratorExecution, LeavesTheRecordAloneWhenTheStartFails) {
    const unsigned id = running(Generation::V31);
    peer.expect(CMD_TRAJ_EXEC_V3).answer(ANSWER_ERROR).expect(CMD_TRAJ_EXEC_V3);
    fus().setDefaultAnswerTimeout(200);
    EXPECT_EQ(faultOf([&] { generator().executeTrajectory(0, 7, 0, true); }),
              "ERR_GENERATOR: " + messageOf(ERR_GENERATOR));
    EXPECT_EQ(faultOf([&] { generator().executeTrajectory(0, 7, 0, true); }),
              "ERR_TIMEOUT: " + messageOf(ERR_TIMEOUT));
    // The lock of the results is free again: a late result of the old start still comes through.
    EXPECT_EQ(described(eventsOf(id, head(32) + errorInfo(0x38000001))), "2 ");
}

TEST_F(GeneratorExecution, ForgetsItsExecutionsAtTheNextConnection) {
    const unsigned id = running(Generation::V2);
    EXPECT_NE(generator().getTrajectoryInfo(id), nullptr);
    disconnect();
    EXPECT_NE(generator().getTrajectoryInfo(id), nullptr);
    ScriptedPeer other;
    other.allow(CMD_TRAJ_STOP).allow(CMD_CLOSE);
    greet(other, Generation::V2);
    ASSERT_TRUE(fus().connect(ScriptedPeer::HOST, other.port(), 5000));
    EXPECT_EQ(generator().getTrajectoryInfo(id), nullptr);
    fus().disconnect();
}

// The reader is where an early result waits for the thread that starts its execution; no other
// result waits.
TEST_F(GeneratorExecution, HoldsOnlyTheResultsOfAStartThatIsUnderWay) {
    connect(Generation::V2);
    const auto connection = FUSAccess::getConnection(fus());
    StartsUnderWay starts;
    StartsUnderWay::Entry start(starts, 7, *connection);
    starts.waitFor(8);
    std::atomic<bool> ended{false};
    const Latch waiting;
    auto result = std::async(std::launch::async, [&] {
        waiting.open();
        starts.waitFor(7);
        return ended.load();
    });
    EXPECT_TRUE(waiting.wait());
    ended = true;
    start.end();
    EXPECT_TRUE(result.get());
    starts.waitFor(7);
}

// A disconnect waits for the reader, and may itself come from the very start that the reader waits
// for: its write has failed.
TEST_F(GeneratorExecution, LetsNoStartHoldUpADisconnect) {
    for (const bool cut : {false, true}) {
        ScriptedPeer other;
        other.allow(CMD_TRAJ_STOP).allow(CMD_CLOSE);
        greet(other, Generation::V2);
        ASSERT_TRUE(fus().connect(ScriptedPeer::HOST, other.port(), 5000));
        const auto connection = FUSAccess::getConnection(fus());
        StartsUnderWay starts;
        StartsUnderWay::Entry start(starts, 7, *connection);
        auto result = std::async(std::launch::async, [&] { starts.waitFor(7); });
        if (cut) {
            other.cut();
        } else {
            fus().disconnect();
        }
        EXPECT_EQ(result.wait_for(RecordingListener::PATIENCE), std::future_status::ready);
        start.end();
        fus().disconnect();
    }
}

// The result is on the wire together with the acknowledgement, so that the reader has it before the
// thread that starts wakes up, and at times before that thread has come to wait.
TEST_F(GeneratorExecution, TellsWithAShotWhatAmplifiersTheDefinitionIsFor) {
    const unsigned id = running(Generation::V31);
    const LogCapture quietly(Log::NONE);
    ASSERT_TRUE(generator().loadDefinitionString(
        "[config]\nip = host\nchannels = 8\n[amplifier]\nversion = 1\ntype = 3\nmeasures = 3"));
    EXPECT_EQ(shotOf(id, channelMeasures()).amplifierType(), AMPLIFIER_Vf_Vr_Pvr);
    generator().clearDefinition();
    EXPECT_EQ(shotOf(id, channelMeasures()).amplifierType(), AMPLIFIER_UNKNOWN);
}

TEST_F(GeneratorExecution, DecodesAResultThatComesWithTheAcknowledgement) {
    connect(Generation::V2);
    upload();
    for (unsigned i = 0; i < 20; ++i) {
        listener.clear();
        const unsigned id = 2 + 2 * i;
        peer.expect(CMD_TRAJ_EXEC_V2)
            .send(packet(ANSWER_OK, id + 1) + packet(ANSWER_EXEC_ASYNC, id, head(29) + zeroes(32)) +
                  packet(ANSWER_EXEC_ASYNC, id, head(31) + text("<1030>")));
        EXPECT_EQ(generator().executeTrajectory(0, 1, 0, true), id);
        ASSERT_TRUE(listener.waitForCount(3));
        EXPECT_EQ(listener.types(), (std::vector<FUSEvent::EventType>{
                                        FUSEvent::EVENT_EXEC_START, FUSEvent::EVENT_SHOT_RESULT,
                                        FUSEvent::EVENT_EXEC_RESULT}));
    }
}

// ---- Results of executions ----------------------------------------------------------------------

TEST_F(GeneratorExecution, CountsExecutionsFromWhatRemains) {
    const unsigned id = running(Generation::V31, 3);
    const struct {
        unsigned remain;
        unsigned index;
    } rows[] = {{3, 0}, {2, 0}, {1, 1}, {0, 2}};
    for (const auto& row : rows) {
        const auto events = eventsOf(id, head(32, 0, row.remain) + errorInfo(0x38000000));
        ASSERT_EQ(events.size(), 1U);
        const ExecResult& result = dynamic_cast<const ExecEvent&>(*events[0]).execResult();
        EXPECT_EQ(result.id(), id);
        EXPECT_EQ(result.index(), row.index);
        EXPECT_EQ(result.remaining(), row.remain);
        EXPECT_EQ(result.status(),
                  row.remain == 0 ? ExecResult::EXEC_OK_FINISHED : ExecResult::EXEC_OK_CONTINUE);
    }
}

TEST_F(GeneratorExecution, DropsPacketsThatCantBeAndTakesTheNext) {
    const unsigned id = running(Generation::V31, 3);
    const unsigned stranger = id + 100;
    const struct {
        unsigned id;
        Bytes payload;
        std::vector<std::string> log;
    } rows[] = {
        {stranger,
         head(29, 7, 2),
         {"Unexpected async packet (supposed execID: " + std::to_string(stranger) +
              "): type 29, index 7, remain 2",
          "ERR_PACKET"}},
        {id, head(30, 4096), {"Bad shot index: 4096", "ERR_PACKET"}},
        {id, head(30, 0, 4), {"Bad remaining count: 4", "ERR_PACKET"}},
        {id, head(29, 0, 0, 9), {"Bad channel count: 9 instead of 8", "ERR_PACKET"}},
        {id,
         head(29) + zeroes(55),
         {"Some measure data missing (55 bytes instead of 56)", "ERR_PACKET"}},
        {id, head(33), {}},
        {id, {}, {"ERR_INDEX: invalid packet position for 32bits (0 above max=0)"}},
        {id, zeroes(27), {"ERR_INDEX: invalid packet position for 32bits (24 above max=27)"}},
        {id,
         head(32) + zeroes(15),
         {"ERR_INDEX: invalid packet position for 32bits (40 above max=43)"}},
    };
    LogCapture log(Log::ERROR);
    for (const auto& row : rows) {
        log.clear();
        peer.sendPacket(ANSWER_EXEC_ASYNC, row.id, row.payload);
        EXPECT_EQ(described(eventsOf(id, head(33))), "");
        std::vector<std::string> lines = log.texts();
        ASSERT_FALSE(lines.empty());
        lines.pop_back(); // of the packet that marks the end
        EXPECT_EQ(lines, row.log);
    }
}

TEST_F(GeneratorExecution, ReportsTheErrorOfAShotAsTheEnd) {
    const unsigned id = running(Generation::V31, 3, 0, EXEC_MECH_CONTINUE);
    LogCapture log(Log::ERROR);
    const auto events = eventsOf(id, head(30, 4095, 1) + text("no current"));
    ASSERT_EQ(events.size(), 1U);
    const ExecResult& result = dynamic_cast<const ExecEvent&>(*events[0]).execResult();
    EXPECT_EQ(result.status(), ExecResult::EXEC_STOP_INTERNAL_ERROR);
    EXPECT_EQ(result.index(), 1U);
    EXPECT_EQ(result.remaining(), 0U);
    EXPECT_STREQ(result.errorMessage(), "no current");
    EXPECT_TRUE(log.has("Shot result (execId=" + std::to_string(id) +
                        ", exec#=1(total=3), shot=4095) error: no current"));
}

TEST_F(GeneratorExecution, ReadsTheTextResultsOfTheOlderProtocol) {
    const unsigned id = running(Generation::V2, 2, 0, EXEC_MECH_CONTINUE);
    const struct {
        unsigned remain;
        const char* text;
        const char* events; // status, message, motion
        const char* codes;  // in the log line
    } rows[] = {
        {1, "<1030>next", "1 ", "remain=1, rawcode=1030) code=1 msg=next"},
        {0, "<1030>done", "2 /0", "remain=0, rawcode=1030) code=2 msg=done"},
        {0, "<0x407>too hot", "5 too hot/7", "remain=0, rawcode=1031) code=5"},
        {0, "junk<1033> stop", "3  stop/1", "rawcode=1033) code=3 msg= stop"},
        {1, "<1041>late", "9 late/7", "remain=1, rawcode=1041) code=9 msg=late"},
        {0, "<1050>", "4 /7", "rawcode=1050) code=4 msg="},
        {0, "<what>", "4 what>/7", "rawcode=0) code=4 msg=what>"},
        {0, "1030>", "4 1030>/7", "rawcode=0) code=4"},
        {0, "", "4 /7", "rawcode=0) code=4 msg="},
        {0, "<99999999999>big", "4 99999999999>big/7", "rawcode=0) code=4"},
    };
    LogCapture log(Log::INFO);
    for (const auto& row : rows) {
        log.clear();
        EXPECT_EQ(described(eventsOf(id, head(31, 0, row.remain) + text(row.text))), row.events);
        EXPECT_TRUE(log.hasPart(row.codes)) << row.text;
    }
}

TEST(ExecutionStatus, FollowsFromTheCodesOfTheOlderProtocol) {
    const struct {
        int first;
        int last;
        unsigned status;
    } rows[] = {{1031, 1031, 5}, {1032, 1032, 4}, {1033, 1034, 3}, {1035, 1038, 4}, {1039, 1039, 6},
                {1040, 1040, 7}, {1041, 1041, 9}, {1042, 1042, 8}, {1043, 1051, 4}};
    LogCapture log(Log::ERROR);
    for (const auto& row : rows) {
        for (int code = row.first; code <= row.last; ++code) {
            EXPECT_EQ(statusFromTextCode(code, 0), row.status) << code;
        }
    }
    EXPECT_EQ(log.lines(), LogLines{});
    for (const int code : {0, 1029, 1052, -1}) {
        EXPECT_EQ(statusFromTextCode(code, 0), ExecResult::EXEC_STOP_INTERNAL_ERROR);
        EXPECT_TRUE(log.has("Unknown execution code (" + std::to_string(code) + ")"));
    }
}

TEST(ExecutionStatus, FollowsFromTheCodesOfProtocolV3) {
    const struct {
        unsigned code;
        unsigned hwid;
        unsigned status;
        bool known;
    } rows[] = {
        {0x10000000, 10, 4, true},  {0x11FFFFFF, 10, 4, true},  {0x13150000, 10, 4, true},
        {0x28000100, 12, 5, true},  {0x28000101, 12, 6, true},  {0x28000100, 11, 4, true},
        {0x28000102, 12, 4, true},  {0x29000101, 11, 10, true}, {0x29000100, 11, 4, true},
        {0x38000000, 10, 1, true},  {0x38000001, 10, 2, true},  {0x38000002, 10, 4, true},
        {0x38020000, 10, 7, true},  {0x38020001, 10, 9, true},  {0x38030000, 10, 3, true},
        {0x38030001, 10, 3, true},  {0x38030100, 10, 8, true},  {0x38030200, 10, 11, true},
        {0x38030201, 10, 4, true},  {0x12000000, 10, 4, false}, {0x00000000, 10, 4, false},
        {0x39000001, 12, 4, false},
    };
    LogCapture log(Log::ERROR);
    for (const auto& row : rows) {
        log.clear();
        EXPECT_EQ(statusFromCode(row.code, row.hwid), row.status) << std::hex << row.code;
        EXPECT_EQ(log.lines().empty(), row.known) << std::hex << row.code;
    }
    EXPECT_TRUE(log.has("Unknown execution code (0x39000001)"));
}

// The result goes by what remains, the motion by the code.
TEST_F(GeneratorExecution, ReadsTheBinaryResultsOfProtocolV3) {
    const unsigned id = running(Generation::V31, 2, 0, EXEC_MECH_CONTINUE);
    const std::string why = ", arg: 5, board: HWID_PROCESSOR #1, msg: why";
    const struct {
        unsigned code;
        unsigned remain;
        std::string events;
        const char* log;
    } rows[] = {
        {0x38000000, 0, "2 ", "remain=0) status=0x38000000/EXEC_OK_CONTINUE msg=code: 0x38000000"},
        {0x38000001, 1, "1 /0", "remain=1) status=0x38000001/EXEC_OK_FINISHED msg="},
        {0x38030001, 1, "3 code: 0x38030001" + why + "/1", "/EXEC_STOP_BY_USER msg="},
        {0x38020000, 1, "7 code: 0x38020000" + why + "/6", "/EXEC_STOP_MECHANICAL_ERROR msg="},
        {0x13000000, 1, "4 code: 0x13000000" + why + "/7", "/EXEC_STOP_INTERNAL_ERROR msg="},
    };
    LogCapture log(Log::INFO);
    for (const auto& row : rows) {
        log.clear();
        EXPECT_EQ(described(eventsOf(id, head(32, 0, row.remain) + errorInfo(row.code))),
                  row.events);
        EXPECT_TRUE(log.hasPart(row.log)) << row.log;
        EXPECT_TRUE(log.hasPart("Execution result (traj=" + std::to_string(id) +
                                ", exec=" + std::to_string(1 - row.remain) + "(total=1), remain="));
    }
}

TEST_F(GeneratorExecution, ReportsNoMotionOfAPurelyElectronicTrajectory) {
    const unsigned id = running(Generation::V31);
    EXPECT_EQ(described(eventsOf(id, head(32) + errorInfo(0x38000001))), "2 ");
    EXPECT_EQ(described(eventsOf(id, head(31) + text("<1034>"))), "3 ");
    EXPECT_EQ(described(eventsOf(id, head(32) + errorInfo(0x38030000))),
              "3 code: 0x38030000, arg: 5, board: HWID_PROCESSOR #1, msg: why");
}

// ---- Results of shots ---------------------------------------------------------------------------

TEST_F(GeneratorExecution, DecodesTheMeasuresOfAShot) {
    const unsigned id = running(Generation::V31, 1, EXEC_FLAG_ADD_BOARD_MEASURES);
    LogCapture log(Log::VERBOSE);
    const ShotResult shot = shotOf(id, channelMeasures() + boardMeasures());
    EXPECT_EQ(shot.shotIndex(), 1U);
    EXPECT_EQ(shot.duration(), 1000U);
    EXPECT_EQ(shot.totalGap(), -5);
    EXPECT_EQ(shot.amplifierType(), AMPLIFIER_UNKNOWN);
    EXPECT_EQ(shot.channelCount(), 8U);
    EXPECT_EQ(shot.channelMeasureCount(), 3U);
    for (unsigned c = 0; c < 8; ++c) {
        EXPECT_EQ(shot.channelRawValue(c, 0), 10 + c);
        EXPECT_EQ(shot.channelRawValue(c, 1), 1000 + c);
        EXPECT_EQ(shot.channelRawValue(c, 2), 70000 + c);
    }
    ASSERT_TRUE(shot.containsBoardData());
    EXPECT_EQ(shot.boardRawValue(1, 0), 0x0102U);
    EXPECT_EQ(shot.boardRawValue(0, 1), 0x00020001U);
    EXPECT_EQ(shot.channelPhysicalValue(0, 0), -1.0F);
    EXPECT_EQ(shot.power(0), -1.0F);
    EXPECT_TRUE(log.has("Shot result (execID=" + std::to_string(id) +
                        " exec#=0(total=0) shot=1 duration=1000 channels=8 gap=-5 remain=0 "
                        "genErr=2 ampErr=3)"));
    for (const char* line : {"Channel measures:",
                             "[  0,   3]:  10 1000 70000 |  11 1001 70001 |  12 1002 70002 |"
                             "  13 1003 70003 |",
                             "[  4,   7]:  14 1004 70004 |  15 1005 70005 |  16 1006 70006 |"
                             "  17 1007 70007 |",
                             "Board measures:", "[  0,   1]: 257 131073 | 258 131074 |"}) {
        EXPECT_EQ(log.count(line), 1U) << line;
    }
}

TEST_F(GeneratorExecution, GivesUpBoardMeasuresThatAreIncomplete) {
    const unsigned id = running(Generation::V31, 1, EXEC_FLAG_ADD_BOARD_MEASURES);
    Bytes body = channelMeasures() + boardMeasures();
    body.resize(body.size() - 6);
    LogCapture log(Log::ERROR);
    const ShotResult shot = shotOf(id, body);
    EXPECT_TRUE(log.has("Some board measure data missing (62 bytes instead of 68) -> truncated"));
    EXPECT_FALSE(shot.containsBoardData());
    EXPECT_EQ(shot.boardCount(), 0U);
    EXPECT_EQ(shot.channelRawValue(7, 2), 70007U);
}

TEST_F(GeneratorExecution, LeavesSurplusMeasuresUnread) {
    const unsigned id = running(Generation::V31);
    LogCapture log(Log::ERROR);
    const ShotResult shot = shotOf(id, channelMeasures() + boardMeasures());
    EXPECT_TRUE(log.has("Too much measure data (68 bytes instead of 56) -> truncated"));
    EXPECT_FALSE(shot.containsBoardData());
    EXPECT_EQ(shot.channelRawValue(7, 2), 70007U);
}

TEST_F(GeneratorExecution, RefusesMeasuresOfASizeThatItCantDecode) {
    std::string ini = iniOf(Generation::V31);
    ini.replace(ini.find("irf2"), 4, "irf3");
    connect(Generation::V31, ini);
    upload();
    const unsigned id = execute();
    LogCapture log(Log::ERROR);
    EXPECT_EQ(described(eventsOf(id, head(29) + zeroes(64))), "");
    EXPECT_TRUE(log.has("ERR_PACKET: Unsupported channel measurement format."));
}

} // namespace
