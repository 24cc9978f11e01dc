#include "fus/P_EventSender.h"

#include "fus/FUSEvent.h"
#include "fus/FUSException.h"
#include "fus/P_AutoCloseConnectionEvent.h"
#include "support/LogCapture.h"
#include "support/RecordingListener.h"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <future>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace fus {
namespace {

using test::RecordingListener;
using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

void ignoreDisconnect(int /*reason*/) {}

/// Ends the deliveries before the listeners that were declared above it die.
class StopAtEnd {
public:
    explicit StopAtEnd(EventSender& sender) : m_sender(sender) {}
    ~StopAtEnd() {
        m_sender.requestStop();
        m_sender.wait();
    }

private:
    EventSender& m_sender;
};

class EventSenderTest : public testing::Test {
protected:
    EventSenderTest() : sender(ignoreDisconnect) {}

    void SetUp() override { ASSERT_TRUE(sender.start()); }

    void post(unsigned execID) { sender.post(new ExecEvent(execID, 0, 0)); }

    test::LogCapture log;
    EventSender sender;
};

std::vector<unsigned> idsOf(const RecordingListener& listener) {
    std::vector<unsigned> ids;
    for (const auto& event : listener.all<ExecEvent>()) {
        ids.push_back(event->execResult().id());
    }
    return ids;
}

using Ids = std::vector<unsigned>;

TEST_F(EventSenderTest, DeliversTheEventsOfManyProducersInOrderOfArrival) {
    constexpr unsigned PRODUCERS = 4;
    constexpr unsigned EACH = 200;
    RecordingListener first;
    RecordingListener second;
    const StopAtEnd stop(sender);
    sender.registerListener(&first);
    sender.registerListener(&second);
    std::vector<std::thread> producers;
    for (unsigned p = 0; p < PRODUCERS; ++p) {
        producers.emplace_back([this, p] {
            for (unsigned i = 0; i < EACH; ++i) {
                post(p * EACH + i);
            }
        });
    }
    for (std::thread& producer : producers) {
        producer.join();
    }
    ASSERT_TRUE(second.waitForCount(std::size_t{PRODUCERS} * EACH));
    EXPECT_EQ(idsOf(first), idsOf(second));
    unsigned next[PRODUCERS] = {};
    for (const unsigned id : idsOf(first)) {
        EXPECT_EQ(id % EACH, next[id / EACH]++);
    }
    EXPECT_TRUE(log.hasPart("    Add FUSEvent (type=4/EVENT_EXEC_RESULT)"));
    EXPECT_TRUE(log.hasPart("    Remove FUSEvent (type=4/EVENT_EXEC_RESULT)"));
}

TEST_F(EventSenderTest, GoesOnBehindAListenerThatThrows) {
    RecordingListener known([](FUSEvent&) { throw FUSException(ERR_TIMEOUT, "no patience"); });
    RecordingListener unknown([](FUSEvent&) { throw std::runtime_error("?"); });
    RecordingListener last;
    const StopAtEnd stop(sender);
    sender.registerListener(&known);
    sender.registerListener(&unknown);
    sender.registerListener(&last);
    post(1);
    post(2);
    ASSERT_TRUE(last.waitForCount(2));
    EXPECT_TRUE(log.hasPart("Event exception (event=4/EVENT_EXEC_RESULT): no patience"));
    EXPECT_TRUE(log.hasPart("Exception in event handler (event=4/EVENT_EXEC_RESULT)"));
}

TEST_F(EventSenderTest, CountsItsListenersInTheLog) {
    RecordingListener listener;
    RecordingListener other;
    const StopAtEnd stop(sender);
    const std::function<void()> steps[] = {
        [&] { sender.registerListener(nullptr); },
        [&] { sender.registerListener(&listener); },
        [&] { sender.registerListener(&other); },
        [&] { sender.registerListener(&listener); }, // is there already
        [&] { EXPECT_EQ(sender.unregisterListener(&listener), 1U); },
        [&] { EXPECT_EQ(sender.unregisterListener(&listener), 0U); },
        [&] { EXPECT_EQ(sender.unregisterListener(nullptr), 0U); },
        [&] { sender.clearListeners(); },
    };
    const std::string lines[] = {
        "FUS: can not register nullptr listener",     "    FUS: register -> 1 listeners",
        "    FUS: register -> 2 listeners",           "",
        "    FUS: unregister 1 items -> 1 listeners", "    FUS: unregister 0 items -> 1 listeners",
        "FUS: can not unregister nullptr listener",   "    FUS: clearing all listeners",
    };
    for (std::size_t i = 0; i < std::size(steps); ++i) {
        log.clear();
        steps[i]();
        EXPECT_EQ(log.hasPart("FUS: "), !lines[i].empty()) << i;
        EXPECT_TRUE(lines[i].empty() || log.has(lines[i])) << i;
    }
}

TEST_F(EventSenderTest, GivesAListenerThatCameDuringADeliveryTheNextEvent) {
    RecordingListener late;
    RecordingListener early([&](FUSEvent&) { sender.registerListener(&late); });
    const StopAtEnd stop(sender);
    sender.registerListener(&early);
    post(1);
    post(2);
    ASSERT_TRUE(late.waitForCount(1));
    EXPECT_EQ(idsOf(late), Ids{2});
    EXPECT_EQ(idsOf(early), (Ids{1, 2}));
}

TEST_F(EventSenderTest, SkipsTheListenerBehindOneThatWasRemovedDuringADelivery) {
    RecordingListener skipped;
    RecordingListener last;
    RecordingListener leaving([&](FUSEvent&) { sender.unregisterListener(&leaving); });
    const StopAtEnd stop(sender);
    for (RecordingListener* listener : {&leaving, &skipped, &last}) {
        sender.registerListener(listener);
    }
    post(1);
    post(2);
    ASSERT_TRUE(last.waitForCount(2));
    EXPECT_EQ(idsOf(leaving), Ids{1});
    EXPECT_EQ(idsOf(skipped), Ids{2});
    EXPECT_EQ(idsOf(last), (Ids{1, 2}));
}

TEST_F(EventSenderTest, EndsADeliveryWhoseListenersAreAllCleared) {
    RecordingListener behind;
    RecordingListener after;
    RecordingListener clearing([&](FUSEvent&) {
        sender.clearListeners();
        sender.registerListener(&after); // at an index that this delivery has passed
    });
    const StopAtEnd stop(sender);
    sender.registerListener(&clearing);
    sender.registerListener(&behind);
    post(1);
    post(2);
    ASSERT_TRUE(after.waitForCount(1));
    EXPECT_EQ(idsOf(after), Ids{2});
    EXPECT_TRUE(behind.events().empty());
}

TEST_F(EventSenderTest, RefusesANullEvent) {
    EXPECT_THROW(sender.post(nullptr), FUSException);
    EXPECT_TRUE(log.hasPart("ERR_ARGUMENT"));
}

TEST_F(EventSenderTest, WaitsUntilTheCallUnderWayHasReturned) {
    std::promise<void> entered;
    std::promise<void> release;
    bool idleOnOwnThread = true;
    RecordingListener slow([&](FUSEvent&) {
        idleOnOwnThread = sender.waitIdle(10000);
        entered.set_value();
        release.get_future().wait();
    });
    const StopAtEnd stop(sender);
    EXPECT_TRUE(sender.waitIdle(0));
    sender.registerListener(&slow);
    post(1);
    entered.get_future().wait();
    EXPECT_EQ(sender.unregisterListener(&slow), 1U); // waits for nothing
    EXPECT_FALSE(sender.waitIdle(1));
    auto idle = std::async(std::launch::async, [&] { return sender.waitIdle(10000); });
    release.set_value();
    EXPECT_TRUE(idle.get());
    EXPECT_TRUE(sender.waitIdle(0));
    EXPECT_FALSE(idleOnOwnThread);
}

TEST_F(EventSenderTest, LetsListenersComeAndGoWhileEventsFlood) {
    RecordingListener permanent;
    const StopAtEnd stop(sender);
    sender.registerListener(&permanent);
    std::thread producer([this] {
        for (unsigned id = 0; id < 300; ++id) {
            post(id);
        }
    });
    for (unsigned i = 0; i < 100; ++i) {
        RecordingListener passing;
        sender.registerListener(&passing);
        sender.unregisterListener(&passing);
        EXPECT_TRUE(sender.waitIdle(10000)); // from here on nobody calls it
    }
    producer.join();
    EXPECT_TRUE(permanent.waitForType(FUSEvent::EVENT_EXEC_RESULT));
    sender.clearListeners();
    EXPECT_TRUE(sender.waitIdle(10000));
}

TEST(EventSender, ClosesTheConnectionInsteadOfDeliveringAnAutoClose) {
    const test::LogCapture quiet;
    RecordingListener listener;
    EventSender* self = nullptr;
    EventSender sender([&self](int reason) {
        self->post(new ConnectEvent(false, static_cast<ConnectEvent::Reason>(reason)));
    });
    self = &sender;
    sender.registerListener(&listener);
    sender.post(new AutoCloseConnectionEvent());
    sender.post(new ExecEvent(1, 0, 0));
    sender.start();
    ASSERT_TRUE(listener.waitForCount(2));
    EXPECT_EQ(listener.types(),
              (std::vector{FUSEvent::EVENT_EXEC_RESULT, FUSEvent::EVENT_DISCONNECT}));
    EXPECT_EQ(listener.all<ConnectEvent>()[0]->reason(), ConnectEvent::REASON_SOCKET_ERROR);
}

TEST(EventSender, AsksForTheCauseOfAFailedMotionBeforeItIsDelivered) {
    struct Case {
        const char* name;
        EventSender::MechanicalCauseHook hook;
        mprotocol::MechResult result;
        unsigned code;
        bool asks;
    };
    const Case cases[] = {
        {"success", [] { return HardwareCode(99); }, mprotocol::OK, 5, false},
        {"cause", [] { return HardwareCode(0x21000000); }, mprotocol::ERROR_COMM, 0x21000000, true},
        {"exception", []() -> HardwareCode { throw FUSException(ERR_TIMEOUT, ""); },
         mprotocol::ERROR_COMM, 5, true},
        {"foreign", []() -> HardwareCode { throw 1; }, mprotocol::USER_STOP, 5, true},
        {"no hook", nullptr, mprotocol::ERROR_MOTION, 5, true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const test::LogCapture log;
        RecordingListener listener;
        EventSender sender(ignoreDisconnect, c.hook);
        sender.registerListener(&listener);
        sender.start();
        const Clock::time_point start = Clock::now();
        sender.post(new MechMotionEvent(3, HardwareCode(5), c.result));
        ASSERT_TRUE(listener.waitForCount(1));
        EXPECT_TRUE(!c.asks || Clock::now() - start >= milliseconds(100));
        const auto event = listener.all<MechMotionEvent>().at(0);
        EXPECT_EQ(event->hardwareCode().rawCode(), c.code);
        EXPECT_EQ(event->result(), c.result);
        EXPECT_EQ(log.hasPart("Asking mech status on error (hwcode: 0x00000005)"), c.asks);
        const std::string name = c.name;
        EXPECT_EQ(log.hasPart("Exception while asking the mechanical status"),
                  name == "exception" || name == "foreign");
    }
}

TEST(EventSender, StopsInTheMiddleOfADeliveryAndDeletesWhatIsQueued) {
    const test::LogCapture log;
    RecordingListener behind;
    {
        EventSender sender(ignoreDisconnect);
        RecordingListener stopping([&sender](FUSEvent&) { sender.requestStop(); });
        sender.registerListener(&stopping);
        sender.registerListener(&behind);
        for (unsigned id = 1; id <= 3; ++id) {
            sender.post(new ExecEvent(id, 0, 0));
        }
        sender.start();
        sender.wait();
        EXPECT_EQ(idsOf(stopping), Ids{1});
    }
    EXPECT_TRUE(behind.events().empty());
    EXPECT_TRUE(log.hasPart("    EventSender finished (global)"));
    EXPECT_TRUE(log.hasPart("    ~EventSender: 2 pending FUSEvents"));
}

TEST(EventSender, EndsWithAnExceptionOfTheDisconnection) {
    const test::LogCapture log;
    EventSender sender([](int) { throw FUSException(ERR_GENERATOR, "closing failed"); });
    sender.post(new AutoCloseConnectionEvent());
    sender.start();
    sender.wait();
    EXPECT_FALSE(log.hasPart("EventSender finished"));
    EXPECT_TRUE(log.hasPart("closing failed"));
}

TEST(FUSEvent, ClassifiesAFailedMotionByItsHardwareCode) {
    struct Case {
        unsigned code;
        mprotocol::MechResult result;
    };
    const Case cases[] = {
        {0x0FFFFFFF, mprotocol::ERROR_INTERNAL}, {0x10000000, mprotocol::ERROR_COMM},
        {0x11FFFFFF, mprotocol::ERROR_COMM},     {0x12000001, mprotocol::ERROR_TIMEOUT},
        {0x13000000, mprotocol::ERROR_INTERNAL}, {0x1FFFFFFF, mprotocol::ERROR_INTERNAL},
        {0x20000000, mprotocol::ERROR_MOTION},   {0x27FFFFFF, mprotocol::ERROR_MOTION},
        {0x28000000, mprotocol::ERROR_INTERNAL}, {0x38020000, mprotocol::ERROR_MOTION},
        {0x38020001, mprotocol::ERROR_INTERNAL}, {0x38030000, mprotocol::USER_STOP},
        {0x38030001, mprotocol::USER_STOP},      {0x38030002, mprotocol::ERROR_INTERNAL},
        {0, mprotocol::ERROR_INTERNAL},
    };
    for (const Case& c : cases) {
        const MechMotionEvent event(1, HardwareCode(c.code), MechMotionEvent::RESULT_FROM_CODE);
        EXPECT_EQ(event.result(), c.result) << std::hex << c.code;
        EXPECT_EQ(event.hardwareCode().rawCode(), c.code);
    }
    const MechMotionEvent told(1, HardwareCode(0x10000000), mprotocol::USER_STOP);
    EXPECT_EQ(told.result(), mprotocol::USER_STOP);
    EXPECT_STREQ(told.resultMessage(), "Displacement canceled explicitly");
}

TEST(FUSEvent, NamesItsTypesAndReasons) {
    EXPECT_STREQ(FUSEvent::eventTypeName(FUSEvent::EVENT_CONNECT), "EVENT_CONNECT");
    EXPECT_STREQ(FUSEvent::eventTypeName(FUSEvent::EVENT_AUTO_CLOSE_CONNECTION),
                 "EVENT_AUTO_CLOSE_CONNECTION");
    EXPECT_STREQ(FUSEvent::eventTypeName(static_cast<FUSEvent::EventType>(8)), "??");
    EXPECT_STREQ(ConnectEvent::reasonText(1), "socket error");
    EXPECT_STREQ(ConnectEvent::reasonText(2), "destructor");
    EXPECT_STREQ(ConnectEvent::reasonText(3), "unknown");
    EXPECT_STREQ(ConnectEvent::reasonText(-1), "unknown");
    EXPECT_EQ(ConnectEvent(true, ConnectEvent::REASON_USER_REQUEST).type(),
              FUSEvent::EVENT_CONNECT);
    EXPECT_EQ(MechOriginEvent(mprotocol::ERROR_TIMEOUT).hardwareCode().rawCode(), 0U);
}

} // namespace
} // namespace fus
