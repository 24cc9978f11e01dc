#include "ToolRun.h"

#include <regex>

namespace fus::tool::test {
namespace {

TEST(InfoTest, TellsPeopleWhatEachGenerationIsMadeOf) {
    const struct {
        const char* protocol;
        std::vector<std::string> parts;
    } cases[] = {
        {"2.5",
         {"a generator, protocol 2.5", "64 channels, ", "UPB ", "AMP    0-3        4  yes",
          "COMPOSITE  not available\n", "  0 tem        2  C      none\n"}},
        {"3.0", {"protocol 3.0.0.0", "128 channels, ", "AMP 0-7", "0 tem"}},
        {"3.1",
         {"a simulator, protocol 3.1.0.0", "256 channels, 8 buffers, trigger input",
          "SNT    0-15      16  yes     2013.2.1.0   3.1.2.0   2019-03-11 16:20:55",
          "  UPB 0     0 vdc        2  V       4.5     5.5  4500..5500\n",
          "  AMP 0-15  0 tem        2  C       -40      80  0..960\n",
          "  vrf [V] 1 byte, irf [A] 1 byte", "1..2048", "up to 3 axes with 100 moves each",
          "  0     1001500  unknown  detected\n", "  status: Ok\n"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.protocol);
        SimulatedGenerator generator(c.protocol);
        const ToolRun result({"info", generator.address()});
        EXPECT_EQ(result.code, 0) << result.err;
        for (const std::string& part : c.parts) {
            expectPart(result.out, part);
        }
        EXPECT_TRUE(generator.simulator.waitForClients(0, 10000));
    }
}

TEST(InfoTest, ListsEachBoardOnDemandAndWritesJson) {
    SimulatedGenerator generator;
    const ToolRun all({"info", generator.address(), "--all"});
    // the generator's text doesn't tell the last one's: the board itself is asked
    expectPart(all.out,
               "AMP      15  yes     2012.4.3.0   3.1.1.0   0x0C00000F  0x2E7709A1  131072  "
               "2019-03-11 16:31:30");
    const ToolRun json({"info", "--json", generator.address()});
    EXPECT_EQ(json.code, 0);
    expectPart(json.out, "\"uniqueId\": 201326607,");
    expectPart(json.out, "\"lowerADC\": 4500,\n          \"upperADC\": 5500,\n"
                         "          \"lower\": 4.5,\n");
}

/// Without time and port, which no two have in common.
std::string withoutLink(const std::string& document) {
    return std::regex_replace(document, std::regex("\"(timestamp|port)\": [^\n]*"), "");
}

TEST(InfoTest, WritesATextWithWhichASimulatorIsTheSameGenerator) {
    for (const char* protocol : {"2.5", "3.0", "3.1"}) {
        SCOPED_TRACE(protocol);
        SimulatedGenerator first(protocol);
        const ScratchDirectory scratch;
        const std::string text = scratch.file("captured.ini");
        const std::string before = scratch.file("first.json");
        const std::string after = scratch.file("second.json");
        const ToolRun captured({"info", first.address(), "--ini", text, "--export", before});
        EXPECT_EQ(captured.code, 0) << captured.err;
        EXPECT_EQ(ScratchDirectory::content(text), first.simulator.description().wireText);
        SimulatedGenerator second(simulator::Description::fromFile(text));
        EXPECT_EQ(ToolRun({"info", second.address(), "--export", after}).code, 0);
        EXPECT_EQ(withoutLink(ScratchDirectory::content(before)),
                  withoutLink(ScratchDirectory::content(after)));
    }
}

TEST(InfoTest, WritesTheLibrarysDocumentWholeOrNotAtAll) {
    SimulatedGenerator generator;
    const ScratchDirectory scratch;
    const std::string file = scratch.file("system.json");
    EXPECT_EQ(ToolRun({"info", generator.address(), "--export", file}).code, 0);
    const std::string document = ScratchDirectory::content(file);
    EXPECT_EQ(document.substr(0, 2), "{\n");
    EXPECT_EQ(document.substr(document.size() - 5), "\t]\n}\n");
    expectPart(document, "\t\"backpanel\": {\n\t\t\"flash.SNT\": ");
    const ToolRun refused({"info", generator.address(), "--export", scratch.file("no/such")});
    EXPECT_EQ(refused.code, 1);
    EXPECT_EQ(refused.out, "");
    expectPart(refused.err, "such: can't be written: ");
}

TEST(InfoTest, TellsWhatTheMechanicalBoardTellsAndLeavesTheRestOut) {
    SimulatedGenerator generator;
    generator.simulator.addFault("mech-error:mech=CMD_STATUS,code=0x15090000");
    const ToolRun result({"info", generator.address()});
    EXPECT_EQ(result.code, 0) << result.err;
    expectPart(result.out, "up to 3 axes");
    EXPECT_EQ(result.out.find("status: "), std::string::npos);
}

TEST(InfoTest, FailsPlainlyWhenTheLinkBreaksOrTheGeneratorFallsSilent) {
    const struct {
        const char* fault;
        const char* part;
    } cases[] = {
        {"close-at:byte=9000", "fus-tool info: "},
        {"missing:board=CMD_BOARD_CRC_DATE", " doesn't answer any more\n"},
        {"missing:mech=CMD_STATUS", " doesn't answer any more\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.fault);
        SimulatedGenerator generator;
        generator.simulator.addFault(c.fault);
        const ToolRun result({"info", generator.address(), "--timeout", "500"});
        EXPECT_EQ(result.code, 1);
        expectPart(result.err, c.part);
        EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
    }
}

} // namespace
} // namespace fus::tool::test
