#pragma once

#include "Commands.h"

#include "fussim/Simulator.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <random>
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

/// A directory of the test's own, which goes with it.
class ScratchDirectory {
public:
    ScratchDirectory() { std::filesystem::create_directories(m_path); }
    ~ScratchDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    ScratchDirectory(const ScratchDirectory&) = delete;
    ScratchDirectory& operator=(const ScratchDirectory&) = delete;

    std::string file(const std::string& name) const { return (m_path / name).string(); }

    static std::string content(const std::string& name) {
        std::ifstream stream(name, std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), {}};
    }
    std::vector<std::string> names() const {
        std::vector<std::string> found;
        for (const auto& entry : std::filesystem::directory_iterator(m_path)) {
            found.push_back(entry.path().filename().string());
        }
        return found;
    }

private:
    std::filesystem::path m_path = std::filesystem::temp_directory_path() /
                                   ("fus-tool-test-" + std::to_string(std::random_device{}()));
};

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
