#include "ToolRun.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <future>

namespace fus::tool::test {
namespace {

constexpr unsigned SYSTEM_STATE = 1308; // the command that begins a reading
constexpr unsigned PATIENCE_MS = 20000;

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

std::vector<std::string> wordsOf(const std::string& line) {
    std::istringstream stream(line);
    return {std::istream_iterator<std::string>(stream), {}};
}

/// A monitor that runs until something ends it.
class RunningMonitor {
public:
    RunningMonitor(SimulatedGenerator& generator, const std::string& interval)
        : m_result(std::async(std::launch::async, [&generator, interval] {
              return ToolRun({"monitor", generator.address(), "--interval", interval});
          })) {
        EXPECT_TRUE(generator.simulator.waitForCommand(SYSTEM_STATE, 1, PATIENCE_MS));
    }

    ToolRun finish() { return m_result.get(); }

private:
    std::future<ToolRun> m_result;
};

TEST(MonitorTest, WritesALineForEachReadingInColumnsThatStay) {
    SimulatedGenerator generator;
    const ToolRun result({"monitor", generator.address(), "--count", "3", "--interval", "0.1"});
    EXPECT_EQ(result.code, 0) << result.err;
    const auto lines = linesOf(result.out);
    ASSERT_EQ(lines.size(), 6U);
    const std::size_t remarks = lines[0].find("  remarks");
    expectPart(lines[0], "# time               UPB0.vdc0[V]  UPB0.vdc1[V]");
    expectPart(lines[0], "AMP15.tem[C]  AMP15.idc[A]  remarks");
    expectPart(lines[1], "# lower threshold            4.50         11.00             -");
    expectPart(lines[2], "# upper threshold            5.50         13.00             -");
    for (std::size_t i = 3; i < lines.size(); ++i) {
        EXPECT_EQ(lines[i].substr(remarks), "  ok");
        EXPECT_EQ(wordsOf(lines[i]).size(), 1U + 4 + 16 * 2 + 1);
        EXPECT_EQ(wordsOf(lines[i])[1], "5.00");
        EXPECT_EQ(wordsOf(lines[i])[5], "24.0");
    }
}

TEST(MonitorTest, RemarksWhatAPersonHasToLookAt) {
    SimulatedGenerator generator;
    generator.simulator.addFault("reading:measure=tem,raw=1000,hwid=12,address=2");
    generator.simulator.addFault("reading:measure=0,raw=4000,hwid=10");
    generator.simulator.addFault("board-status:status=4,hwid=12,address=5");
    const ToolRun lines({"monitor", generator.address(), "--count", "1"});
    EXPECT_EQ(lines.code, 0) << lines.err;
    expectPart(lines.out, "  UPB0.vdc0=LOW,AMP2.tem=HIGH,AMP5=supply\n");
    const ToolRun json({"monitor", generator.address(), "--count", "1", "--json"});
    EXPECT_EQ(linesOf(json.out).size(), 1U);
    expectPart(json.out, R"({"type":"AMP","address":2,"status":0,"values":[{"name":"tem",)"
                         R"("unit":"C","value":85,"lower":null,"upper":80,"verdict":"HIGH"})");
    expectPart(json.out, R"("remarks":["UPB0.vdc0 LOW","AMP2.tem HIGH","AMP5 supply"]})");
}

TEST(MonitorTest, ReadsTheListsOfAnOlderGenerator) {
    SimulatedGenerator generator("2.5");
    generator.simulator.addFault("bad-reading:measure=tem,address=2");
    const ToolRun result({"monitor", generator.address(), "--count", "1"});
    EXPECT_EQ(result.code, 0) << result.err;
    const auto lines = linesOf(result.out);
    ASSERT_EQ(lines.size(), 4U);
    EXPECT_EQ(wordsOf(lines[0]),
              (std::vector<std::string>{"#", "time", "UPB0.vdc0[V]", "UPB0.vdc1[V]", "UPB0.vdc2[V]",
                                        "AMP0.tem[C]", "AMP0.idc[A]", "AMP1.tem[C]", "AMP1.idc[A]",
                                        "AMP2.tem[C]", "AMP2.idc[A]", "AMP3.tem[C]", "AMP3.idc[A]",
                                        "remarks"}));
    EXPECT_EQ(wordsOf(lines[3])[8], "-");
    EXPECT_EQ(wordsOf(lines[3]).back(), "AMP2.tem=unread");
}

TEST(MonitorTest, GoesOnWhereABoardFailsAlone) {
    SimulatedGenerator generator;
    RunningMonitor monitor(generator, "0.1");
    generator.simulator.addFault("board-error");
    const std::size_t seen = generator.simulator.commandCount(SYSTEM_STATE);
    EXPECT_TRUE(generator.simulator.waitForCommand(SYSTEM_STATE, seen + 2, PATIENCE_MS));
    std::raise(SIGINT);
    const ToolRun result = monitor.finish();
    EXPECT_EQ(result.code, 0) << result.err;
    expectPart(result.out, "AMP15.tem=unread,AMP15.idc=unread\n");
}

TEST(MonitorTest, EndsWithZeroOnAnInterruptAndWithOneWhenTheLinkIsLost) {
    for (const bool interrupted : {true, false}) {
        SimulatedGenerator generator;
        RunningMonitor monitor(generator, "3600");
        if (interrupted) {
            std::raise(SIGINT);
        } else {
            generator.simulator.dropClient();
        }
        const ToolRun result = monitor.finish();
        EXPECT_EQ(result.code, interrupted ? 0 : 1);
        EXPECT_EQ(result.err, interrupted ? ""
                                          : "fus-tool monitor: the link to " + generator.address() +
                                                " was lost\n");
    }
}

TEST(MonitorTest, EndsWithOneWhenTheGeneratorFallsSilent) {
    const struct {
        const char* protocol;
        std::vector<std::string> faults;
    } cases[] = {
        {"3.1", {"missing:board=CMD_BOARD_PARAM_GET,hwid=12"}}, // the thresholds
        {"2.5", {"missing:command=CMD_PARAM_GET"}},             // the thresholds
        {"2.5", // behind them, all lists of a reading
         {"missing:command=CMD_PARAM_GET,nth=3", "missing:command=CMD_PARAM_GET,nth=4",
          "missing:command=CMD_PARAM_GET,nth=5"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.protocol << ' ' << c.faults[0]);
        SimulatedGenerator generator(c.protocol);
        for (const std::string& fault : c.faults) {
            generator.simulator.addFault(fault);
        }
        const ToolRun result({"monitor", generator.address(), "--timeout", "500", "--count", "1"});
        EXPECT_EQ(result.code, 1);
        EXPECT_EQ(result.err, "fus-tool monitor: the generator at " + generator.address() +
                                  " doesn't answer any more\n");
    }
}

} // namespace
} // namespace fus::tool::test
