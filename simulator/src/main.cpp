// fus-simulator: a simulated generator as a program of its own.

#include "fussim/CommandLine.h"

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <mutex>
#include <thread>

using namespace fus::simulator;

namespace {

constexpr int EXIT_USAGE = 2;

std::atomic<bool> terminated{false};
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler may only touch such a one");

void onSignal(int) {
    terminated = true;
}

void logLine(const std::string& line) {
    static std::mutex mutex;
    std::lock_guard<std::mutex> lock(mutex);
    std::fprintf(stderr, "fus-simulator: %s\n", line.c_str());
}

int fail(const std::string& line) {
    std::fprintf(stderr, "fus-simulator: %s\n", line.c_str());
    return EXIT_USAGE;
}

Description readDescription(const CommandLine& line) {
    if (line.descriptionFile.empty()) {
        return Description::builtIn();
    }
    try {
        return Description::fromFile(line.descriptionFile);
    } catch (const DescriptionError& error) {
        throw UsageError("--description " + line.descriptionFile + ": " + error.what());
    }
}

void serve(const CommandLine& line) {
    Options options = line.options;
    if (line.verbose) {
        options.log = logLine;
    }
    Simulator simulator(readDescription(line), options);
    simulator.start();
    std::printf("fus-simulator listening on %s:%u\n", options.host.c_str(),
                unsigned{simulator.port()});
    std::fflush(stdout);
    while (!terminated) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    simulator.stop();
}

} // namespace

int main(int argc, char** argv) {
    std::signal(SIGINT, onSignal);
    std::signal(SIGTERM, onSignal);
    try {
        const CommandLine line = CommandLine::parse({argv + 1, argv + argc});
        if (line.help) {
            std::fputs(CommandLine::helpText().c_str(), stdout);
            return 0;
        }
        serve(line);
        return 0;
    } catch (const std::exception& error) {
        return fail(error.what());
    }
}
