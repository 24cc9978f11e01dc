// fus-tool monitor: what the sensors of a generator say, now and again.

#include "Commands.h"
#include "Errors.h"
#include "Interruption.h"
#include "Link.h"
#include "Meter.h"
#include "MonitorOutput.h"

#include "fus/FUSException.h"

#include <algorithm>
#include <chrono>
#include <limits>
#include <thread>

namespace fus::tool {

namespace {

using Clock = std::chrono::steady_clock;

constexpr double USUAL_INTERVAL = 1; // [s]
constexpr double LEAST_INTERVAL = 0.1;
constexpr double MOST_INTERVAL = 86400;

/// A signal can't wake a thread that waits, and neither can a terminal that changes its size: both
/// are looked for so often.
constexpr std::chrono::milliseconds LOOK_AROUND{50};

std::unique_ptr<MonitorOutput> makeOutput(const Arguments& arguments, Console& console,
                                          const Link& link) {
    if (arguments.has("--json")) {
        return makeJsonOutput(console);
    }
    if (!console.isTerminal) {
        return makeLineOutput(console);
    }
    const std::string title = link.address().text() + ", " + kindText(link.fus().simulatorType()) +
                              ", protocol " + link.fus().getProtocolVersion().toString();
    return makeScreenOutput(console, title, "every " + arguments.value("--interval", "1") + " s");
}

/// How many readings, and how often.
struct Pace {
    unsigned count; ///< 0: without end
    std::chrono::duration<double> interval;

    explicit Pace(const Arguments& arguments)
        : count(arguments.number("--count", 0, 1, std::numeric_limits<unsigned>::max())),
          interval(arguments.decimal("--interval", USUAL_INTERVAL, LEAST_INTERVAL, MOST_INTERVAL)) {
    }
};

/// Gives up when the link is lost.
void waitUntil(Clock::time_point end, const FUS& fus, MonitorOutput& output) {
    while (Clock::now() < end && !Interruption::hasCome()) {
        if (!fus.isConnected()) {
            throw FUSException(ERR_NOT_CONNECTED, nullptr);
        }
        output.refresh();
        std::this_thread::sleep_for(std::min<Clock::duration>(LOOK_AROUND, end - Clock::now()));
    }
}

void readAgainAndAgain(const Pace& pace, FUS& fus, Console& console, MonitorOutput& output) {
    const auto interval = std::chrono::duration_cast<Clock::duration>(pace.interval);
    Meter meter(fus, [] { return !Interruption::hasCome(); });
    Clock::time_point due = Clock::now();
    for (unsigned done = 0; !Interruption::hasCome();) {
        const auto reading = meter.read();
        if (!reading) {
            return;
        }
        output.show(*reading);
        if (++done == pace.count || !console.out) { // the latter is told at the end
            return;
        }
        due = std::max(due + interval, Clock::now());
        waitUntil(due, fus, output);
    }
}

} // namespace

int runMonitor(const Arguments& arguments, Console& console) {
    const Pace pace(arguments);
    const Interruption interruption;
    return overLink(arguments, arguments.operand(0), [&](const Link& link) {
        // It ends before a failure is told, so that this stands on the screen that stays.
        const auto output = makeOutput(arguments, console, link);
        readAgainAndAgain(pace, link.fus(), console, *output);
        return EXIT_YES;
    });
}

} // namespace fus::tool
