#include "fus/LowLevelMechanics.h"

#include "support/Faults.h"
#include "support/LogCapture.h"
#include "support/MechanicsFixture.h"

#include <gtest/gtest.h>

#include <functional>
#include <thread>
#include <vector>

using namespace fus;
using namespace fus::test;

namespace {

/// A list of moves for each actuator.
MechanicalDisplacement displacement(const std::vector<std::vector<Move>>& lists) {
    MechanicalDisplacement result(static_cast<unsigned>(lists.size()));
    for (unsigned i = 0; i < lists.size(); ++i) {
        for (const Move& move : lists[i]) {
            result.addMove(i, move);
        }
    }
    return result;
}

class MechanicsMotion : public MechanicsFixture {
protected:
    void ready(unsigned protocol = 2) {
        connectBoard();
        makeReady(protocol);
    }

    /// A displacement of 500 ms is in the board's buffer.
    void upload() {
        serve(0x100B, {});
        expectMot(0x1007, hex("01 00 0000 10270000 F4010000"), 100)
            .answer(SYNC, success(0x1007))
            .answer(ASYNC, success(0x1007));
        mech().sendDisplacement(displacement({{Move(0, 500)}}));
    }
};

} // namespace

TEST(MechanicalValues, HoldMovesByActuator) {
    const LogCapture log(Log::ERROR);
    EXPECT_EQ(Move(0, 65535).delay(), 65535U);
    EXPECT_TRUE(log.lines().empty());
    EXPECT_EQ(Move(0, 70000).delay(), 65535U);
    EXPECT_TRUE(log.has("Invalid delay for Move (70000), truncated to 65535."));
    MechanicalDisplacement moves = displacement({{Move(1, 10), Move(2, 20)}, {Move(3, 25)}});
    EXPECT_EQ(moves.totalDuration(), 30U);
    moves.insertMove(0, 2, Move(4, 1));
    moves.insertMove(0, 0, Move(5, 1));
    moves.setMove(0, 1, Move(6, 1));
    moves.removeMove(0, 2);
    const MechanicalDisplacement copy = moves;
    moves.clear();
    EXPECT_EQ(moves.totalDuration(), 0U);
    ASSERT_EQ(copy.actuatorMoveCount(0), 3U);
    EXPECT_EQ(copy.getMove(0, 0), Move(5, 1));
    EXPECT_EQ(copy.getMove(0, 1), Move(6, 1));
    EXPECT_EQ(copy.getMove(0, 2), Move(4, 1));
    EXPECT_EQ(faultOf([&] { copy.getMove(0, 3); }), "ERR_INDEX: Invalid index");
    EXPECT_TRUE(log.has("ERR_INDEX: invalid Move index (3 above max=3)"));
    EXPECT_EQ(faultOf([&] { moves.insertMove(1, 1, Move(0, 1)); }), "ERR_INDEX: Invalid index");
    EXPECT_EQ(faultOf([&] { moves.addMove(2, Move(0, 1)); }), "ERR_INDEX: Invalid index");
}

TEST_F(MechanicsMotion, SendsEveryCommandByteForByte) {
    ready();
    upload();
    const struct {
        const char* what;
        std::function<unsigned()> act;
        unsigned command;
        unsigned time;
        Bytes data;
        unsigned count; // in the start event; 0: there is none
    } cases[] = {
        {"execute, least time-out", [&] { return mech().executeDisplacement(2, 100, 1200); },
         0x1008, 1200, hex("64000000 02000000"), 2},
        {"execute, own time-out", [&] { return mech().executeDisplacement(300, 0, 0); }, 0x1008,
         150100, hex("00000000 2C010000"), 300},
        {"prepare", [&] { return mech().prepareDisplacement(255, 7); }, 0x1009, 0,
         hex("07000000 FF000000 01"), 0},
        {"one axis", [&] { return mech().moveActuatorTo(1, -30000, 40); }, 0x100C, 90,
         hex("00000000 F0D8FFFF 28000000 00000000 00000000"), 1},
        {"all axes",
         [&] {
             return mech().moveTo(displacement({{Move(-1, 5)}, {Move(2, 600)}}));
         },
         0x100C, 650, hex("0F270000 224E0000 58020000 00000000 00000000"), 1},
        {"raw time", [&] { return mech().rawMoveSomeTime(255, 1000, 127); }, 0x1002, 1050,
         hex("E8030000 FF 7F"), 1},
        {"raw steps", [&] { return mech().rawMoveSomeSteps(1, 9, 255, 77); }, 0x1003, 77,
         hex("09000000 01 FF"), 1},
        {"raw steps, own time-out", [&] { return mech().rawMoveSomeSteps(1, 9, 255, 0); }, 0x1003,
         10050, hex("09000000 01 FF"), 1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        listener.clear();
        serve(c.command, c.data, c.time).answer(ASYNC, success(0x1002)); // the motion is over
        const unsigned id = c.act();
        ASSERT_TRUE(listener.waitForType(FUSEvent::EVENT_MECH_MOTION_RESULT));
        EXPECT_EQ(listener.all<MechMotionEvent>()[0]->execID(), id);
        if (c.count != 0) {
            ASSERT_TRUE(listener.waitForType(FUSEvent::EVENT_EXEC_START));
            const auto start = listener.all<ExecStartEvent>()[0];
            EXPECT_EQ(start->execID(), id);
            EXPECT_EQ(start->execCount(), c.count);
            EXPECT_EQ(start->elecMode(), gprotocol::EXEC_ELEC_NONE);
            EXPECT_EQ(start->mechMode(), gprotocol::EXEC_MECH_CONTINUE);
        } else {
            EXPECT_TRUE(listener.all<ExecStartEvent>().empty());
        }
        // data where none belong
        expectMot(c.command, c.data, c.time).answer(SYNC, successWith(c.command, hex("01")));
        EXPECT_EQ(faultOf(c.act), "ERR_MECHANICS: General mechanical system error");
    }
}

TEST_F(MechanicsMotion, CountsExecutionsInOneByteForTheFirstProtocol) {
    ready(1);
    upload();
    serve(0x1008, hex("05000000 FF"), 255 * 500 + 254 * 5 + 100);
    mech().executeDisplacement(255, 5, 0);
    EXPECT_EQ(faultOf([&] { mech().executeDisplacement(256, 5, 0); }),
              "ERR_ARGUMENT: Displacement execution count must be below 255");
    serve(0x1009, hex("05000000 01 01"));
    mech().prepareDisplacement(1, 5);
    EXPECT_TRUE(peer.settle());
}

TEST_F(MechanicsMotion, ChecksBeforeAnythingIsSent) {
    const auto one = [](int position, unsigned delay) {
        return displacement({{Move(position, delay)}});
    };
    const auto all = [&](const std::function<void()>& a) { return faultOf(a); };
    EXPECT_EQ(all([&] { mech().moveActuatorTo(0, 0, 1); }).substr(0, 18), "ERR_MECH_NO_CONFIG");
    EXPECT_EQ(all([&] { mech().moveTo(one(0, 1)); }).substr(0, 18), "ERR_MECH_NO_CONFIG");
    EXPECT_EQ(all([&] { mech().rawMoveSomeTime(0, 1, 1); }).substr(0, 17), "ERR_NOT_CONNECTED");
    connectBoard();
    configure();
    EXPECT_EQ(all([&] { mech().moveActuatorTo(0, 0, 1); }).substr(0, 18), "ERR_MECH_NO_ORIGIN");
    EXPECT_EQ(all([&] { mech().sendDisplacement(one(0, 1)); }).substr(0, 18), "ERR_MECH_NO_ORIGIN");
    EXPECT_EQ(all([&] { mech().executeDisplacement(1, 0, 0); }).substr(0, 18),
              "ERR_MECH_NO_ORIGIN");
    mech().clearDefinition();
    makeReady();
    const std::vector<Move> eleven(11, Move(0, 10));
    const struct {
        std::function<void()> act;
        const char* fault;
        bool resets; // the board's buffer before
    } cases[] = {
        {[&] { mech().sendDisplacement(displacement({})); },
         "ERR_ARGUMENT: No actuator defined in this displacement", false},
        {[&] {
             mech().sendDisplacement(displacement({{}, {}}));
         },
         "ERR_ARGUMENT: Empty displacement", false},
        {[&] { mech().sendDisplacement(one(0, 0)); },
         "ERR_ARGUMENT: Invalid delay (0=useless point)", true},
        {[&] { mech().sendDisplacement(one(-1001, 9)); },
         "ERR_ARGUMENT: Move position below lower bound", true},
        {[&] { mech().sendDisplacement(one(2001, 9)); },
         "ERR_ARGUMENT: Move position above upper bound", true},
        {[&] {
             mech().sendDisplacement(displacement({{Move(-1000, 1), Move(2000, 2999)}}));
         },
         "ERR_ARGUMENT: Impossible move (too quick)", true},
        {[&] { mech().sendDisplacement(displacement({eleven})); },
         "ERR_ARGUMENT: Too many points in mechanical trajectory", true},
        {[&] {
             mech().sendDisplacement(displacement({{}, {}, {Move(0, 9)}}));
         },
         "ERR_INDEX: Invalid index", true},
        {[&] { mech().executeDisplacement(0, 0, 0); },
         "ERR_ARGUMENT: Displacement execution count must be above 1", false},
        {[&] { mech().executeDisplacement(1, 0, 0); },
         "ERR_ARGUMENT: Can not execute if no Displacement has been sent", false},
        {[&] { mech().prepareDisplacement(256, 0); },
         "ERR_ARGUMENT: Displacement execution count must be below 255", false},
        {[&] { mech().moveActuatorTo(0, 0, 0); }, "ERR_ARGUMENT: The duration can not be null.",
         false},
        {[&] { mech().moveActuatorTo(2, 0, 9); }, "ERR_INDEX: Invalid index", false},
        {[&] {
             mech().moveTo(displacement({{Move(0, 1), Move(1, 1)}}));
         },
         "ERR_ARGUMENT: The displacement should contain only one Move per axis max.", false},
        {[&] { mech().moveTo(displacement({{}})); },
         "ERR_ARGUMENT: Nothing to move, the given displacement is empty.", false},
        {[&] { mech().moveTo(one(0, 0)); }, "ERR_ARGUMENT: The duration can not be null.", false},
        {[&] { mech().rawMoveSomeTime(256, 1, 1); }, "ERR_ARGUMENT: Bad argument", false},
        {[&] { mech().rawMoveSomeTime(0, 1, 256); }, "ERR_ARGUMENT: Bad argument", false},
        {[&] { mech().rawMoveSomeTime(0, 0xFFFFFFFF, 1); },
         "ERR_ARGUMENT: Asynchronous board command is too long", false},
        {[&] { mech().rawMoveSomeSteps(0, 0, 1, 1); }, "ERR_ARGUMENT: Invalid distance (null)",
         false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.fault);
        if (c.resets) {
            serve(0x100B, {});
        }
        EXPECT_EQ(faultOf(c.act), c.fault);
        EXPECT_TRUE(peer.settle());
    }
    upload();
    EXPECT_EQ(all([&] { mech().executeDisplacement(2, 100, 1199); }),
              "ERR_ARGUMENT: Timeout is too short");
    fus().setSecureMode(false);
    serve(0x100B, {});
    const std::vector<Move> more(256, Move(0, 10)); // than their count has bits for
    EXPECT_EQ(faultOf([&] { mech().sendDisplacement(displacement({more})); }),
              "ERR_ARGUMENT: Too many points in mechanical trajectory");
    EXPECT_TRUE(peer.settle());
}

TEST_F(MechanicsMotion, UploadsAxisByAxisWhateverTheAnswersLookLike) {
    ready();
    const auto moves = displacement({{Move(-1000, 1), Move(2000, 3000)}, {Move(50, 70)}});
    const Bytes first = hex("02 00 0000 28230000 01000000 E02E0000 B80B0000");
    const Bytes second = hex("01 01 0000 524E0000 46000000");
    const unsigned answers[][2] = {{SYNC, ASYNC}, {ASYNC, SYNC}, {SYNC, SYNC}};
    for (const auto& types : answers) {
        serve(0x100B, {});
        for (const Bytes& data : {first, second}) {
            expectMot(0x1007, data, 100)
                .answer(static_cast<std::uint16_t>(types[0]), success(0x1007))
                .answer(static_cast<std::uint16_t>(types[1]), success(0x1007));
        }
        EXPECT_EQ(faultOf([&] { mech().sendDisplacement(moves); }), "");
    }
    // a displacement that the board refuses leaves nothing to execute
    serve(0x100B, {});
    expectMot(0x1007, first, 100)
        .answer(SYNC, success(0x1007))
        .answer(ASYNC, refusal(0x1007, 0x20170000));
    EXPECT_EQ(faultOf([&] { mech().sendDisplacement(moves); }).substr(0, 13), "ERR_MECHANICS");
    EXPECT_EQ(faultOf([&] { mech().executeDisplacement(1, 0, 0); }),
              "ERR_ARGUMENT: Can not execute if no Displacement has been sent");
}

TEST_F(MechanicsMotion, TellsTheStartBeforeAnEndThatComesFirst) {
    ready();
    expectMot(0x1002, hex("01000000 00 01"), 51)
        .answer(ASYNC, success(0x1002))
        .answer(SYNC, success(0x1002));
    mech().rawMoveSomeTime(0, 1, 1);
    ASSERT_TRUE(listener.waitForCount(2));
    EXPECT_EQ(listener.types(),
              (std::vector{FUSEvent::EVENT_EXEC_START, FUSEvent::EVENT_MECH_MOTION_RESULT}));
    // one that the board refuses, and ends all the same
    listener.clear();
    expectMot(0x1002, hex("01000000 00 01"), 51)
        .answer(ASYNC, success(0x1002))
        .answer(SYNC, refusal(0x1002, 0x20140000));
    EXPECT_NE(faultOf([&] { mech().rawMoveSomeTime(0, 1, 1); }), "");
    EXPECT_TRUE(listener.waitForType(FUSEvent::EVENT_MECH_MOTION_RESULT));
}

TEST_F(MechanicsMotion, ForgetsAnUploadWhoseDefinitionIsGone) {
    ready();
    fus().setSecureMode(false);
    serve(0x100B, {});
    const Latch held;
    expectMot(0x1007, hex("01 00 0000 10270000 F4010000"), 100)
        .answer(SYNC, success(0x1007))
        .tell(held);
    std::thread caller([&] {
        EXPECT_NE(faultOf([&] { mech().sendDisplacement(displacement({{Move(0, 500)}})); }), "");
    });
    EXPECT_TRUE(held.wait());
    mech().clearDefinition();
    peer.answerTo(peer.received().size() - 1, ASYNC, success(0x1007));
    caller.join();
    serve(0x1008, hex("00000000 01000000"), 100); // the time of no displacement
    EXPECT_EQ(faultOf([&] { mech().executeDisplacement(1, 0, 0); }), "");
}

TEST_F(MechanicsMotion, AsksTheBoardWhyAMotionFailed) {
    ready();
    serve(0x1002, hex("01000000 00 01"), 51).answer(ASYNC, refusal(0x1002, 0x220000FF));
    // its status says that the tolerance was exceeded, and so its history is read
    serveWith(0x100D, {}, le32(0x22190105));
    serveWith(0x100E, hex("00 00"), text("first"));
    serveWith(0x100E, hex("00 01"), text("second"));
    expectMot(0x100E, hex("01 00")).answer(SYNC, refusal(0x100E, 0x201C0000));
    const LogCapture log(Log::INFO);
    mech().rawMoveSomeTime(0, 1, 1);
    ASSERT_TRUE(listener.waitForType(FUSEvent::EVENT_MECH_MOTION_RESULT));
    const auto motion = listener.all<MechMotionEvent>()[0];
    EXPECT_EQ(motion->result(), mprotocol::ERROR_MOTION);
    EXPECT_EQ(motion->hardwareCode().rawCode(), 0x22190105U);
    EXPECT_TRUE(log.has("1. second"));
    EXPECT_TRUE(log.has("  empty log"));
    // a status that isn't mechanical tells nothing
    serveWith(0x100D, {}, le32(0));
    EXPECT_TRUE(mech().getIndirectErrorAndLog().empty());
    serveWith(0x100D, {}, hex("00"));
    EXPECT_EQ(faultOf([&] { mech().readStatus(); }), "ERR_PACKET: Bad packet content");
}

TEST_F(MechanicsMotion, ReadsPositionsAndStops) {
    ready();
    serveParam(1, 0, le32(19999));
    EXPECT_EQ(mech().readActuatorPosition(1), -1);
    serve(0x100A, {});
    mech().stop();
    expectMot(0x100A, {}).answer(SYNC, refusal(0x100A, 0x20150000));
    mech().stop();
    expectMot(0x100A, {}).answer(SYNC, refusal(0x100A, 0x20150001));
    EXPECT_EQ(faultOf([&] { mech().stop(); }).substr(0, 13), "ERR_MECHANICS");
}

TEST_F(MechanicsMotion, GivesASimulatedBoardMoreTime) {
    std::string ini = iniOf(Generation::V31);
    ini.insert(ini.find('\n') + 1, "simulator = true\n");
    greet(peer, Generation::V31, ini + "[MOT00]\nsw = 3.0\n");
    serveWith(93, le16(2905), le64(1));
    fus().registerListener(&listener);
    ASSERT_TRUE(fus().connect(ScriptedPeer::HOST, peer.port(), 5000));
    ASSERT_TRUE(mech().loadDefinitionString(twoAxes().c_str()));
    fus().setSecureMode(false);
    serve(0x1002, hex("01000000 00 01"), 102);
    mech().rawMoveSomeTime(0, 1, 1);
    serve(0x1003, hex("01000000 00 01"), 14);
    mech().rawMoveSomeSteps(0, 1, 1, 7);
    serve(0x1008, hex("00000000 01000000"), 400);
    mech().executeDisplacement(1, 0, 0);
    serve(0x1008, hex("00000000 01000000"), 9);
    mech().executeDisplacement(1, 0, 9);
    EXPECT_TRUE(peer.settle());
}
