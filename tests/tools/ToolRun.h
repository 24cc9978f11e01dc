#pragma once

#include "Commands.h"

#include "fussim/Simulator.h"

#include "support/ScratchDirectory.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

namespace fus::tool::test {

/// What a command line came to, run in this process.
struct ToolRun {
    int code = -1;
    std::string out;
    std::string err;

    explicit ToolRun(const std::vector<std::string>& words, const std::string& input = "") {
        std::istringstream inStream(input);
        std::ostringstream outStream;
        std::ostringstream errStream;
        Console console{inStream, outStream, errStream, false, nullptr};
        code = run(words, console);
        out = outStream.str();
        err = errStream.str();
    }
};

using fus::test::ScratchDirectory;

/// A simulated generator in this process, and its address.
class SimulatedGenerator {
public:
    explicit SimulatedGenerator(const std::string& protocol = "3.1")
        : SimulatedGenerator(simulator::Description::shipped(protocol)) {}
    explicit SimulatedGenerator(const simulator::Description& description)
        : simulator(description, options()) {
        simulator.start();
    }

    std::string address() const { return "127.0.0.1:" + std::to_string(simulator.port()); }

private:
    static simulator::Options options() {
        simulator::Options options;
        options.timeScale = 0;
        return options;
    }

public:
    simulator::Simulator simulator;
};

inline void expectPart(const std::string& text, const std::string& part) {
    EXPECT_NE(text.find(part), std::string::npos) << '"' << part << "\" isn't in\n" << text;
}

} // namespace fus::tool::test
