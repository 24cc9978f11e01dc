#include "fus/FUS.h"
#include "fus/FUSEvent.h"
#include "fus/P_FUSAccess.h"
#include "support/Latch.h"
#include "support/RecordingListener.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace fus::test {
namespace {

constexpr unsigned PATIENCE = 20000; // [ms], only waited for by a failing test

void notify() {
    FUSAccess::notifyListeners(FUS::getInstance(), new MechOriginEvent(mprotocol::OK));
}

/// Asks for what the library gave at a time when that is gone. What is thrown here ends the
/// process.
struct LateAsker {
    ~LateAsker() {
        const unsigned size = 1;
        const ShotEvent shot(1, 0, 0, gprotocol::AMPLIFIER_UNKNOWN, 0, 0, new unsigned char[1](), 1,
                             1, 0, 1, 0, &size, nullptr);
        if (ShotResult::maxPower() != 0.0F) {
            std::_Exit(EXIT_FAILURE);
        }
    }
};

/// The end of the library is the end of its process; the code tells whether all went well.
[[noreturn]] void exitInAListener() {
    static const LateAsker late; // dies after the library
    FUS& fus = FUS::getInstance();
    const Latch returned;
    RecordingListener closer([&](FUSEvent&) {
        FUS::exit();
        returned.open();
    });
    fus.registerListener(&closer);
    notify();
    bool good = returned.wait() && FUSAccess::waitForListeners(fus, PATIENCE);
    FUS::exit(); // waits for the thread that the listener ran on
    fus.registerListener(&closer);
    good = good && fus.unregisterListener(&closer) == 0;
    notify();
    good = good && closer.events().size() == 1;
    std::exit(good ? EXIT_SUCCESS : EXIT_FAILURE);
}

TEST(FUSExitDeathTest, MayBeCalledByAListenerAndThenDropsEvents) {
    GTEST_FLAG_SET(death_test_style, "threadsafe"); // other tests have left threads
    EXPECT_EXIT(exitInAListener(), testing::ExitedWithCode(EXIT_SUCCESS), "");
}

} // namespace
} // namespace fus::test
