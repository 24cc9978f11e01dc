#include "fus/P_LogMacros.h"
#include "fus/P_Thread.h"
#include "fus/Utilities.h"
#include "platform/platform.h"
#include "support/Latch.h"
#include "support/LogCapture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <regex>
#include <stdexcept>
#include <thread>

namespace fus {
namespace {

using namespace fus::test;

constexpr unsigned AMPLE_MS = 20000;

/// Runs a function; obeys the contract of the base class.
class FunctionThread : public Thread {
public:
    using Body = std::function<std::uint32_t(FunctionThread&)>;

    explicit FunctionThread(Body body, bool detached = false)
        : Thread(detached, 0), m_body(std::move(body)) {}
    ~FunctionThread() noexcept(false) override {
        requestStop();
        wait();
        if (onDelete)
            onDelete();
    }

    std::function<void()> onDelete;

private:
    std::uint32_t run() override { return m_body(*this); }

    Body m_body;
};

std::uint32_t pollUntilStopped(const Thread& thread) {
    while (!thread.isStopRequested())
        milliSleep(1);
    return 0;
}

/// The lines with every thread id as "ID", and counts as "N".
std::vector<std::string> anonymous(const std::vector<std::string>& texts) {
    std::vector<std::string> out;
    for (const std::string& text : texts)
        out.push_back(
            std::regex_replace(std::regex_replace(text, std::regex("id=0x[0-9A-F]+"), "id=ID"),
                               std::regex("(count| after)=\\d+"), "$1=N"));
    return out;
}

bool becomesTrue(const std::function<bool()>& predicate) {
    for (Timer timer; timer.elapsed() < AMPLE_MS; milliSleep(1))
        if (predicate())
            return true;
    return false;
}

TEST(ThreadTest, LogsItsLifeFromBirthToEnd) {
    const LogCapture log(Log::VERBOSE);
    {
        FunctionThread thread([](FunctionThread& self) { return pollUntilStopped(self); });
        EXPECT_TRUE(thread.start());
        EXPECT_TRUE(becomesTrue([&] { return thread.isRunning(); }));
        thread.requestStop();
        EXPECT_TRUE(thread.wait());
        EXPECT_FALSE(thread.isRunning());
        EXPECT_TRUE(thread.wait());
    }
    EXPECT_EQ(anonymous(log.texts()),
              (std::vector<std::string>{
                  "  New thread (id=ID, count after=N)", "  Starting thread (id=ID, count=N)",
                  "  Thread finished (id=ID)", "  ~PrivateThread (id=ID, count after=N)"}));
    std::smatch created;
    std::smatch closed;
    const std::string first = log.texts().front();
    const std::string last = log.texts().back();
    const std::regex idAndCount("id=0x([0-9A-F]+), count after=(\\d+)");
    ASSERT_TRUE(std::regex_search(first, created, idAndCount));
    ASSERT_TRUE(std::regex_search(last, closed, idAndCount));
    EXPECT_EQ(created[1], closed[1]);
    EXPECT_EQ(std::stoi(created[2]), std::stoi(closed[2]) + 1);
}

TEST(ThreadTest, NeverRunsUnlessItIsStarted) {
    std::atomic<bool> ran{false};
    {
        FunctionThread thread([&](FunctionThread&) {
            ran = true;
            return 0U;
        });
        EXPECT_TRUE(thread.wait());
    }
    EXPECT_FALSE(ran);
}

TEST(ThreadTest, ContainsAndLogsWhateverItsBodyThrows) {
    struct Case {
        std::function<void()> thrower;
        const char* line;
    };
    const Case cases[] = {
        {[] { throw FUSException(ERR_TIMEOUT, nullptr); },
         "FUSException thrown during thread execution (id=ID, msg=Timeout error)"},
        {[] { throw std::runtime_error("broken"); },
         "std::exception thrown during thread execution (id=ID, msg=broken)"},
        {[] { throw 5; }, "Unknown exception thrown during thread execution (id=ID)"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.line);
        const LogCapture log(Log::ERROR);
        FunctionThread thread([&](FunctionThread&) {
            c.thrower();
            return 0U;
        });
        ASSERT_TRUE(thread.start());
        thread.wait();
        EXPECT_EQ(anonymous(log.texts()), std::vector<std::string>{c.line});
    }
}

TEST(ThreadTest, DeletesItselfWhenDetachedAndFinishedUnderItsOldId) {
    const LogCapture log(Log::VERBOSE);
    Latch deleted;
    auto* const thread = new FunctionThread([](FunctionThread&) { return 0U; }, true);
    thread->onDelete = [&] { deleted.open(); };
    EXPECT_FALSE(thread->wait());
    EXPECT_TRUE(thread->start());
    EXPECT_TRUE(deleted.wait());
    const auto isFinished = [&] { return log.hasPart("Thread finished"); };
    ASSERT_TRUE(becomesTrue(isFinished));
    const std::vector<std::string> lines = log.texts();
    const std::string id = std::regex_replace(lines.front(), std::regex(".*id=(\\w+),.*"), "$1");
    EXPECT_EQ(lines.back(), "  Thread finished (id=" + id + ")");
}

TEST(ThreadTest, ContainsAnExceptionOutOfTheDestructorOfADetachedThread) {
    const LogCapture log(Log::ERROR);
    auto* const thread = new FunctionThread([](FunctionThread&) { return 0U; }, true);
    thread->onDelete = [] { throw std::runtime_error("in destructor"); };
    thread->start();
    ASSERT_TRUE(becomesTrue([&] { return !log.lines().empty(); }));
    EXPECT_EQ(anonymous(log.texts()),
              std::vector<std::string>{"Exception in deleting detached thread (id=ID)"});
}

TEST(ThreadTest, DoesNotWaitForItself) {
    Latch done;
    bool waited = true;
    auto* const thread = new FunctionThread([&](FunctionThread& self) {
        waited = self.wait();
        Latch& stillThere = done; // this function's own captures go with the object
        delete &self;
        stillThere.open();
        return 0U;
    });
    // its body deletes it: nothing may be done with it any more
    thread->start();
    ASSERT_TRUE(done.wait());
    EXPECT_FALSE(waited);
}

/// Breaks the contract on purpose: leaves the waiting to the base class.
class CarelessThread : public Thread {
public:
    CarelessThread(Latch& entered, std::atomic<bool>& through)
        : Thread(false, 0), m_entered(entered), m_through(through) {}

private:
    std::uint32_t run() override {
        Latch& entered = m_entered;
        std::atomic<bool>& through = m_through;
        const Thread& self = *this;
        entered.open();
        pollUntilStopped(self);
        through = true;
        return 0;
    }

    Latch& m_entered;
    std::atomic<bool>& m_through;
};

TEST(ThreadTest, StopsARunningThreadAndWaitsForItInItsDestructor) {
    Latch entered;
    std::atomic<bool> through{false};
    {
        CarelessThread thread(entered, through);
        ASSERT_TRUE(thread.start());
        ASSERT_TRUE(entered.wait());
    }
    EXPECT_TRUE(through);
}

TEST(MutexTest, IsRecursiveAndHeldUntilTheLastUnlock) {
    Mutex mutex;
    std::atomic<bool> acquired{false};
    ASSERT_TRUE(mutex.lock());
    ASSERT_TRUE(mutex.lock());
    std::thread other([&] {
        const MutexLocker lock(mutex);
        acquired = true;
    });
    EXPECT_TRUE(mutex.unlock());
    milliSleep(30);
    EXPECT_FALSE(acquired);
    EXPECT_TRUE(mutex.unlock());
    other.join();
    EXPECT_TRUE(acquired);
}

TEST(MutexTest, LogsAnUnlockByAThreadThatDoesNotHoldIt) {
#if defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "the sanitizer reports this misuse itself";
#endif
    const LogCapture log(Log::ERROR);
    Mutex mutex;
    EXPECT_FALSE(mutex.unlock());
    EXPECT_EQ(log.texts(), std::vector<std::string>{"Mutex unlock failed"});
    EXPECT_TRUE(mutex.lock());
    EXPECT_TRUE(mutex.unlock());
}

TEST(MutexTest, GoesToTheNextOneWhenItsOwnerHasEnded) {
    Mutex mutex;
    std::thread([&] { mutex.lock(); }).join();
    EXPECT_TRUE(mutex.lock());
    EXPECT_TRUE(mutex.unlock());
    std::thread([&] {
        EXPECT_TRUE(mutex.lock());
        EXPECT_TRUE(mutex.unlock());
    }).join();
}

class ConditionTest : public testing::Test {
protected:
    /// Starts threads that wait, and returns once each of them does.
    void startWaiters(int count) {
        for (int i = 0; i < count; ++i)
            m_threads.emplace_back([this] {
                const MutexLocker lock(m_mutex);
                ++m_waiting;
                m_results.push_back(m_condition.timedWait(AMPLE_MS));
                m_sawFact.push_back(m_fact);
            });
        EXPECT_TRUE(becomesTrue([&] {
            const MutexLocker lock(m_mutex);
            return m_waiting == count;
        }));
    }

    void join() {
        for (std::thread& thread : m_threads)
            thread.join();
    }

    Mutex m_mutex;
    Condition m_condition{&m_mutex};
    std::vector<std::thread> m_threads;
    int m_waiting = 0;
    bool m_fact = false;
    std::vector<bool> m_results;
    std::vector<bool> m_sawFact;
};

TEST_F(ConditionTest, IsNotWokenByTheEndOfItsTime) {
    const MutexLocker lock(m_mutex);
    // nobody waits: this broadcast is not kept for later
    EXPECT_TRUE(m_condition.broadcast());
    const std::uint64_t before = platform::monotonicNanoseconds();
    EXPECT_FALSE(m_condition.timedWait(30));
    EXPECT_GE(platform::monotonicNanoseconds() - before, 30000000U);
    EXPECT_FALSE(m_condition.timedWait(0));
}

TEST_F(ConditionTest, WakesEveryWaiterBehindTheUnlockOfTheBroadcaster) {
    startWaiters(3);
    {
        const MutexLocker outer(m_mutex);
        {
            const MutexLocker inner(m_mutex);
            EXPECT_TRUE(m_condition.broadcast());
        }
        EXPECT_TRUE(m_condition.broadcast());
        EXPECT_TRUE(m_results.empty());
        m_fact = true;
    }
    join();
    EXPECT_EQ(m_results, std::vector<bool>(3, true));
    EXPECT_EQ(m_sawFact, std::vector<bool>(3, true));
}

TEST_F(ConditionTest, WakesOthersWhenTheBroadcasterGoesOnToWait) {
    startWaiters(2);
    {
        const MutexLocker lock(m_mutex);
        EXPECT_TRUE(m_condition.broadcast());
        EXPECT_FALSE(m_condition.timedWait(50));
        EXPECT_EQ(m_results, std::vector<bool>(2, true));
    }
    join();
}

TEST_F(ConditionTest, KeepsApartTwoConditionsOfOneMutex) {
    Condition second(m_mutex);
    startWaiters(1);
    std::atomic<bool> secondWoken{false};
    std::thread other([&] {
        const MutexLocker lock(m_mutex);
        ++m_waiting;
        secondWoken = second.timedWait(AMPLE_MS);
    });
    EXPECT_TRUE(becomesTrue([&] {
        const MutexLocker lock(m_mutex);
        return m_waiting == 2;
    }));
    {
        const MutexLocker lock(m_mutex);
        EXPECT_TRUE(m_condition.broadcast());
        EXPECT_TRUE(second.broadcast());
    }
    other.join();
    join();
    EXPECT_TRUE(secondWoken);
    EXPECT_EQ(m_results, std::vector<bool>(1, true));
}

TEST_F(ConditionTest, LosesNoWakeBetweenTwoThreadsThatTakeTurns) {
    constexpr int TURNS = 2000;
    int turn = 0;
    const auto play = [&](int self) {
        const MutexLocker lock(m_mutex);
        while (turn < TURNS) {
            if (turn % 2 == self) {
                ++turn;
                m_condition.broadcast();
            } else if (!m_condition.timedWait(AMPLE_MS)) {
                ADD_FAILURE() << "not woken in turn " << turn;
                return;
            }
        }
    };
    std::thread other(play, 1);
    play(0);
    other.join();
    EXPECT_EQ(turn, TURNS);
}

TEST(SemaphoreTest, MayBeDestroyedByTheThreadThatItWoke) {
    for (int i = 0; i < 300; ++i) {
        auto semaphore = std::make_unique<Semaphore>(0, 0);
        std::thread poster([&, s = semaphore.get()] { s->post(1); });
        EXPECT_TRUE(semaphore->wait(1, AMPLE_MS));
        semaphore.reset();
        poster.join();
    }
}

TEST(SemaphoreTest, CountsUpToItsMaximum) {
    struct Case {
        unsigned count;
        unsigned maximum;
        unsigned post;
        unsigned taken;
    };
    for (const Case& c : {Case{0, 0, 5, 5}, Case{0, 1, 2, 1}, Case{1, 1, 1, 1}, Case{2, 5, 3, 5},
                          Case{3, 5, 0xFFFFFFFE, 5}, Case{7, 5, 1, 7}}) {
        SCOPED_TRACE(c.maximum);
        Semaphore semaphore(c.count, c.maximum);
        semaphore.post(c.post);
        EXPECT_FALSE(semaphore.wait(c.taken + 1, 1));
        EXPECT_TRUE(semaphore.wait(c.taken, 0));
        EXPECT_FALSE(semaphore.wait(1, 0));
        EXPECT_TRUE(semaphore.wait(0, 0));
    }
}

TEST(SemaphoreTest, StartsItsTimeAnewWithEachPostThatLeavesTooLittle) {
    constexpr unsigned POSTS = 6;
    Semaphore semaphore(0, 0);
    std::thread poster([&] {
        for (unsigned i = 0; i < POSTS; ++i) {
            milliSleep(100);
            semaphore.post(1);
        }
    });
    const Timer timer;
    EXPECT_TRUE(semaphore.wait(POSTS, 450));
    EXPECT_GE(timer.elapsed(), 590U);
    poster.join();
}

} // namespace
} // namespace fus
