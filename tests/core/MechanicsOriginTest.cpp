#include "fus/LowLevelMechanics.h"

#include "support/Faults.h"
#include "support/Latch.h"
#include "support/LogCapture.h"
#include "support/MechanicsFixture.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <thread>

using namespace fus;
using namespace fus::test;
using namespace fus::mprotocol;

namespace {

/// Axis 0, then axis 1 with its park.
const std::string QUICK = withLine("Axis0/FUS", "initTimeout = 250");
/// Only axis 0.
const std::string ONE_AXIS = QUICK + "[Global]\ninitOrder = 0\n";
/// Only axis 1, whose park takes a minute.
const std::string LONG_PARK =
    withLine("Axis3/FUS", "initPark = 10|60000") + "[Global]\ninitOrder = 1\n";

class MechanicsOrigin : public MechanicsFixture {
protected:
    /// The board is asked where the axis is, and to search.
    ScriptedPeer& expectSearch(unsigned actuator) {
        serveParam(actuator, 0, le32(5));
        return actuator == 0 ? expectMot(0x1004, hex("00 32 64 0A"), 250)
                             : expectMot(0x1004, hex("01 A0 82 0A"), 60);
    }

    /// The same, and it begins; the test is told.
    ScriptedPeer& beginSearch(unsigned actuator) {
        return expectSearch(actuator).answer(SYNC, success(0x1004)).tell(searching);
    }

    void serveOrigin(unsigned actuator) {
        serveParam(actuator, 1, le32(1));
        serveParam(actuator, 2, le32(10000 * (actuator + 1)));
        serveParam(actuator, 3, le32(0));
        serveParam(actuator, 28, le32(140));
    }

    /// Where the axis is when its search has failed.
    void serveAfterFailure(unsigned actuator) {
        serveParam(actuator, 0, le32(6));
        serveParam(actuator, 28, le32(140));
    }

    /// A search that succeeds, but for the park of axis 1.
    void serveSearch(unsigned actuator, unsigned first, unsigned second) {
        expectSearch(actuator)
            .answer(static_cast<std::uint16_t>(first), success(0x1004))
            .answer(static_cast<std::uint16_t>(second), success(0x1004));
        serveOrigin(actuator);
    }

    ScriptedPeer& serveLongPark() {
        serveSearch(1, SYNC, ASYNC);
        return serve(0x100C, zeroes(4) + le32(20010) + le32(60000) + zeroes(8), 60050)
            .tell(searching);
    }

    /// The board is asked for this parameter, and keeps the answer back; the test is told.
    void holdParam(unsigned actuator, unsigned param) {
        expectMot(0x1000, u8(actuator) + u8(param)).tell(searching);
    }

    /// What it kept back. What comes behind is expected before.
    void releaseParam(unsigned value) {
        peer.answerTo(peer.received().size() - 1, SYNC, successWith(0x1000, le32(value)));
    }

    /// What the board answers to a search that goes on.
    void answerSearch(const Bytes& answer) {
        peer.answerTo(peer.received().size() - 1, ASYNC, answer);
    }

    std::shared_ptr<const MechOriginEvent> outcome() {
        EXPECT_TRUE(listener.waitForType(FUSEvent::EVENT_MECH_ORIGIN_RESULT));
        const auto events = listener.all<MechOriginEvent>();
        return events.size() == 1 ? events[0] : nullptr;
    }

    Latch searching;
};

} // namespace

TEST_F(MechanicsOrigin, SearchesEachAxisInItsOrderAndParksIt) {
    connectBoard();
    configure(2, QUICK);
    serveSearch(0, SYNC, ASYNC);
    serveSearch(1, ASYNC, SYNC);
    serve(0x100C, zeroes(4) + le32(20010) + le32(20) + zeroes(8), 70);
    const LogCapture log(Log::INFO);
    mech().findAllOrigins(true);
    EXPECT_EQ(faultOf([&] { mech().findAllOrigins(true); }).substr(0, 21), "ERR_MECH_ORIGINS_BUSY");
    const auto event = outcome();
    ASSERT_NE(event, nullptr);
    EXPECT_EQ(event->result(), OK);
    EXPECT_TRUE(mech().isAllOriginsFound());
    EXPECT_EQ(mech().getActuator(1).absolutePosition(0), 20000U);
    EXPECT_TRUE(log.has("Find origin for actuator 0 (DAC:[100, 50] +10, timeout:250 ms, park:no)"));
    EXPECT_TRUE(log.has("Find all origins: Displacement (or init) successfully executed "
                        "(reason=0). Ok"));
    // whoever has the event may go on
    serve(0x100B, {});
    expectMot(0x1007, hex("01 00 0000 10270000 01000000"), 100)
        .answer(SYNC, success(0x1007))
        .answer(ASYNC, success(0x1007));
    MechanicalDisplacement displacement(1);
    displacement.addMove(0, Move(0, 1));
    EXPECT_EQ(faultOf([&] { mech().sendDisplacement(displacement); }), "");
}

TEST_F(MechanicsOrigin, SearchesOneAxisInTheCall) {
    connectBoard();
    configure(1);
    EXPECT_EQ(faultOf([&] { mech().findOrigin(2, 250, 100, 50, 10, false); }),
              "ERR_INDEX: Invalid index");
    const struct {
        unsigned first, max, step;
        const char* text;
    } refused[] = {
        {100, 50, 127, "Step too large"},
        {50, 100, 10, "First DAC must be larger than max when below 127."},
        {127, 100, 10, "First DAC must be below 127 if max is also below 127."},
        {100, 127, 10, "Step too large"},
        {160, 160, 10, "First DAC must be lower than max when above 127."},
        {120, 160, 10, "First DAC must be above 127 if max is also above 127."},
    };
    const auto find = [&](unsigned first, unsigned max, unsigned step) {
        mech().findOrigin(0, 250, static_cast<unsigned char>(first),
                          static_cast<unsigned char>(max), static_cast<unsigned char>(step), true);
    };
    for (const auto& c : refused) {
        EXPECT_EQ(faultOf([&] { find(c.first, c.max, c.step); }),
                  std::string("ERR_ARGUMENT: ") + c.text);
    }
    fus().setSecureMode(false);
    serveParam(0, 0, le32(5));
    expectMot(0x1004, hex("00 7F 64 C8"), 250)
        .answer(SYNC, success(0x1004))
        .answer(SYNC, success(0x1004));
    serveParam(0, 1, le32(1));
    serveParam(0, 2, le32(77));
    serveParam(0, 3, le32(0));
    find(100, 127, 200);
    EXPECT_EQ(mech().getActuator(0).absolutePosition(0), 77U);
    EXPECT_FALSE(mech().isAllOriginsFound());
    // an axis that only the board knows
    serveParam(7, 0, le32(5));
    expectMot(0x1004, hex("07 32 64 0A"), 250).answer(SYNC, refusal(0x1004, 0x20030000));
    serveParam(7, 0, le32(6));
    EXPECT_EQ(faultOf([&] { mech().findOrigin(7, 250, 100, 50, 10, true); }).substr(0, 13),
              "ERR_MECHANICS");
    EXPECT_TRUE(peer.settle());
}

TEST_F(MechanicsOrigin, EndsEverySearchWithOneEvent) {
    LogCapture log(Log::INFO);
    fus().setDefaultAnswerTimeout(200);
    const auto fail = [&](unsigned code) {
        beginSearch(0).answer(ASYNC, refusal(0x1004, code));
        serveAfterFailure(0);
    };
    const struct {
        const char* what;
        const std::string& definition;
        std::function<void()> script;
        std::function<void()> during; // while the board searches, or parks
        MechResult result;
        unsigned code;
        bool disconnected = false;
        unsigned tries = 1; // when it is over in a moment
    } cases[] = {
        {"stop", QUICK, [&] { beginSearch(0); },
         [&] {
             const std::size_t search = peer.received().size() - 1;
             serve(0x100A, {}).answerTo(search, ASYNC, success(0x1004));
             serveAfterFailure(0);
             mech().stop();
         },
         USER_STOP, 0},
        {"stop, and silence", QUICK, [&] { beginSearch(0); },
         [&] {
             serve(0x100A, {});
             serveAfterFailure(0);
             mech().stop();
         },
         USER_STOP, 0},
        {"stop, and the board breaks off", QUICK, [&] { beginSearch(0); },
         [&] {
             const std::size_t search = peer.received().size() - 1;
             serve(0x100A, {}).answerTo(search, ASYNC, refusal(0x1004, 0x20180000));
             serveAfterFailure(0);
             mech().stop();
         },
         USER_STOP, 0x20180000},
        {"stop, and the status tells", QUICK, [&] { beginSearch(0); },
         [&] {
             const std::size_t search = peer.received().size() - 1;
             serve(0x100A, {}).answerTo(search, ASYNC, refusal(0x1004, 0x220000FF));
             serveAfterFailure(0);
             serveWith(0x100D, {}, le32(0x22180000));
             mech().stop();
         },
         USER_STOP, 0x22180000},
        {"disconnect in the last pause", ONE_AXIS,
         [&] {
             log.clear();
             serveSearch(0, SYNC, ASYNC);
             peer.tell(searching);
         },
         [&] {
             while (!log.has("ReadIntParameter: MOT[0][PARAM_R_INIT_DAC_USED] = 140") &&
                    listener.all<MechOriginEvent>().empty()) {
                 std::this_thread::yield();
             }
             serve(0x100A, {});
             peer.expectEnd();
             fus().disconnect();
         },
         USER_STOP, 0, true, 5},
        {"stop while parking", LONG_PARK, [&] { serveLongPark(); },
         [&] {
             serve(0x100A, {});
             serveAfterFailure(1);
             mech().stop();
         },
         USER_STOP, 0},
        {"disconnect", QUICK, [&] { beginSearch(0); },
         [&] {
             serve(0x100A, {});
             peer.expectEnd();
             fus().disconnect();
         },
         USER_STOP, 0, true},
        {"disconnect while parking", LONG_PARK, [&] { serveLongPark(); },
         [&] {
             serve(0x100A, {});
             peer.expectEnd();
             fus().disconnect();
         },
         USER_STOP, 0, true},
        // ERROR_NOT_CONNECTED, too, is right, when the wait has yet to begin
        {"lost link", QUICK, [&] { beginSearch(0); }, [&] { peer.cut(); }, ERROR_TIMEOUT, 0, true,
         5},
        {"lost link while parking", LONG_PARK, [&] { serveLongPark(); },
         [&] {
             EXPECT_TRUE(listener.waitForType(FUSEvent::EVENT_EXEC_START)); // it has begun
             peer.cut();
         },
         ERROR_NOT_CONNECTED, 0, true},
        {"another definition", QUICK, [&] { beginSearch(0); },
         [&] {
             mech().loadDefinitionString(twoAxes().c_str());
             answerSearch(success(0x1004));
             serveParam(0, 0, le32(6));
         },
         USER_STOP, 0},
        {"another definition before its reads", QUICK,
         [&] {
             expectSearch(0).answer(SYNC, success(0x1004)).answer(ASYNC, success(0x1004));
             holdParam(0, 1);
         },
         [&] {
             mech().clearDefinition();
             releaseParam(1);
             serveParam(0, 2, le32(7));
             serveParam(0, 3, le32(0));
             serveParam(0, 0, le32(6));
         },
         USER_STOP, 0},
        {"no first answer", QUICK,
         [&] {
             expectSearch(0);
             serveAfterFailure(0);
         },
         nullptr, ERROR_TIMEOUT, 0},
        {"no second answer", QUICK,
         [&] {
             beginSearch(0);
             serveAfterFailure(0);
         },
         nullptr, ERROR_TIMEOUT, 0},
        {"refused", QUICK,
         [&] {
             expectSearch(0).answer(SYNC, refusal(0x1004, 0x20050000));
             serveAfterFailure(0);
         },
         nullptr, ERROR_MOTION, 0x20050000},
        {"the board fails", QUICK, [&] { fail(0x20060000); }, nullptr, ERROR_MOTION, 0x20060000},
        {"the board stops", QUICK, [&] { fail(0x38030000); }, nullptr, USER_STOP, 0x38030000},
        {"the board is busy", QUICK, [&] { fail(0x12000000); }, nullptr, ERROR_TIMEOUT, 0x12000000},
        {"the board breaks", QUICK, [&] { fail(0x13010000); }, nullptr, ERROR_INTERNAL, 0x13010000},
        {"the status tells", QUICK,
         [&] {
             fail(0x220000FF);
             serveWith(0x100D, {}, le32(0x22060001));
         },
         nullptr, ERROR_MOTION, 0x22060001},
        {"the status tells nothing", QUICK,
         [&] {
             fail(0x220000FF);
             serveWith(0x100D, {}, le32(0));
         },
         nullptr, ERROR_MOTION, 0x220000FF},
        {"data where none belong", QUICK,
         [&] {
             beginSearch(0).answer(ASYNC, successWith(0x1004, hex("01")));
             serveAfterFailure(0);
         },
         nullptr, ERROR_MOTION, 0},
        {"no origin", QUICK,
         [&] {
             beginSearch(0).answer(ASYNC, success(0x1004));
             serveParam(0, 1, le32(0));
             serveAfterFailure(0);
         },
         nullptr, ERROR_MOTION, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        std::shared_ptr<const MechOriginEvent> event;
        for (unsigned i = 0; i < c.tries && (!event || event->result() != c.result); ++i) {
            listener.clear();
            connectBoard();
            configure(2, c.definition);
            searching = Latch();
            c.script();
            mech().findAllOrigins(true);
            if (c.during) {
                ASSERT_TRUE(searching.wait());
                c.during();
            }
            event = outcome();
            ASSERT_NE(event, nullptr);
            EXPECT_TRUE(!c.disconnected || listener.waitForType(FUSEvent::EVENT_DISCONNECT));
        }
        EXPECT_EQ(event->result(), c.result);
        EXPECT_EQ(event->hardwareCode().rawCode(), c.code);
        EXPECT_FALSE(mech().isAllOriginsFound());
        EXPECT_TRUE(peer.settle());
        mech().clearDefinition();
        if (!c.disconnected) {
            peer.expectEnd();
            fus().disconnect();
        }
        EXPECT_TRUE(listener.waitForType(FUSEvent::EVENT_DISCONNECT));
        listener.clear();
    }
}

TEST_F(MechanicsOrigin, NeverSearchesBehindAStop) {
    connectBoard();
    configure(2, QUICK);
    // the stop comes while the thread asks where the axis is: no search must follow
    expectMot(0x1000, hex("00 00")).tell(searching);
    serve(0x100A, {}).answerTo(peer.received().size(), SYNC, successWith(0x1000, le32(5)));
    serveAfterFailure(0);
    mech().findAllOrigins(true);
    ASSERT_TRUE(searching.wait());
    mech().stop();
    const auto event = outcome();
    ASSERT_NE(event, nullptr);
    EXPECT_EQ(event->result(), USER_STOP);
    EXPECT_TRUE(peer.settle());
}

TEST_F(MechanicsOrigin, NeverParksBehindAStop) {
    connectBoard();
    configure(2, QUICK);
    serveParam(0, 1, le32(1));
    serveParam(0, 2, le32(10));
    serveParam(1, 1, le32(1));
    holdParam(1, 2);
    std::thread caller([&] { EXPECT_EQ(faultOf([&] { mech().findAllOrigins(false); }), ""); });
    EXPECT_TRUE(searching.wait());
    const std::size_t held = peer.received().size() - 1;
    serve(0x100A, {});
    mech().stop();
    peer.answerTo(held, SYNC, successWith(0x1000, le32(20)));
    caller.join();
    const auto event = outcome();
    ASSERT_NE(event, nullptr);
    EXPECT_EQ(event->result(), USER_STOP);
    EXPECT_TRUE(mech().isAllOriginsFound()); // what the board knows is known all the same
    EXPECT_TRUE(peer.settle());
}

TEST_F(MechanicsOrigin, AStoppedSearchHasNoSayInWhatIsFoundBehindIt) {
    connectBoard();
    configure(2, QUICK);
    beginSearch(0);
    mech().findAllOrigins(true);
    ASSERT_TRUE(searching.wait());
    const std::size_t search = peer.received().size() - 1;
    searching = Latch();
    serve(0x100A, {}).answerTo(search, ASYNC, success(0x1004));
    holdParam(0, 0); // for the log
    mech().stop();
    ASSERT_TRUE(searching.wait());
    const std::size_t held = peer.received().size() - 1;
    for (unsigned actuator = 0; actuator < 2; ++actuator) {
        serveParam(actuator, 1, le32(1));
        serveParam(actuator, 2, le32(10000 * (actuator + 1)));
    }
    serve(0x100C, zeroes(4) + le32(20010) + le32(20) + zeroes(8), 70);
    mech().findAllOrigins(false);
    EXPECT_TRUE(mech().isAllOriginsFound());
    peer.answerTo(held, SYNC, successWith(0x1000, le32(6)));
    serveParam(0, 28, le32(140));
    ASSERT_TRUE(listener.waitForType(FUSEvent::EVENT_MECH_ORIGIN_RESULT, 2));
    EXPECT_EQ(listener.all<MechOriginEvent>()[1]->result(), USER_STOP);
    EXPECT_TRUE(mech().isAllOriginsFound());
}

TEST_F(MechanicsOrigin, ReportsTheSearchOfNoAxes) {
    connectBoard();
    fus().setSecureMode(false);
    const LogCapture log(Log::INFO);
    mech().findAllOrigins(true);
    const auto event = outcome();
    ASSERT_NE(event, nullptr);
    EXPECT_EQ(event->result(), OK);
    EXPECT_TRUE(log.has("Finding origins of 0 / 0 actuators"));
}

TEST_F(MechanicsOrigin, StopsAtTheFirstAxisThatFailsAndKeepsTheOthers) {
    connectBoard();
    configure(2, QUICK);
    // the survey finds the first axis, and not the second
    serveParam(0, 1, le32(1));
    serveParam(0, 2, le32(123));
    serveParam(1, 1, le32(0));
    serveSearch(0, SYNC, ASYNC);
    expectSearch(1).answer(SYNC, success(0x1004)).answer(ASYNC, refusal(0x1004, 0x20060100));
    serveAfterFailure(1);
    mech().findAllOrigins(false);
    const auto event = outcome();
    ASSERT_NE(event, nullptr);
    EXPECT_EQ(event->result(), ERROR_MOTION);
    EXPECT_TRUE(mech().getActuator(0).isOriginFound());
    EXPECT_FALSE(mech().getActuator(1).isOriginFound());
    EXPECT_FALSE(mech().isAllOriginsFound());
}
