#include "ToolRun.h"

#include "WholeFile.h"

#include "fus/FUS.h"
#include "fus/Generator.h"
#include "fus/Mechanics.h"

#include "support/LogCapture.h"
#include "support/SourceTree.h"

#include <algorithm>

namespace fus::tool::test {
namespace {

std::string shipped(const std::string& name) {
    return fus::test::sourceTree() + "/examples/definitions/" + name;
}

std::string with(std::string text, const std::string& from, const std::string& to) {
    const std::size_t at = text.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    return text.replace(at, from.size(), to);
}

/// ":12: ", of the line that begins so.
std::string lineOf(const std::string& text, const std::string& beginning) {
    const std::size_t at = text.find("\n" + beginning);
    EXPECT_NE(at, std::string::npos) << beginning;
    return ":" +
           std::to_string(
               std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(at), '\n') + 2) +
           ": ";
}

unsigned wordAt(const simulator::ReceivedCommand& command, std::size_t offset) {
    return command.payload.at(offset) * 256U + command.payload.at(offset + 1);
}

/// Whether a command only asks, or is the farewell of every client. The numbers are the wire's.
bool onlyAsks(const simulator::ReceivedCommand& command) {
    switch (command.type) {
    case 1115: // a parameter of protocol 2 is read
    case 1113: // stop, at each disconnect
    case 1112: // close
        return true;
    case 1311: // the back panel: its configuration is read
        return wordAt(command, 0) == 0x9DC0 && wordAt(command, 2) == 0x178D;
    case 1307: { // a board: version, CRC, measures, a parameter; a parameter of an axis
        const unsigned asking[] = {70, 73, 74, 93, 0x1000};
        return std::count(std::begin(asking), std::end(asking), wordAt(command, 18)) != 0;
    }
    default:
        return false;
    }
}

std::size_t countWrites(const simulator::Simulator& simulator) {
    const auto commands = simulator.commands();
    return static_cast<std::size_t>(std::count_if(
        commands.begin(), commands.end(), [](const auto& command) { return !onlyAsks(command); }));
}

class CheckCommandTest : public testing::Test {
protected:
    std::string make(const std::string& name, const std::string& bytes) const {
        writeWholeFile(m_scratch.file(name), bytes);
        return m_scratch.file(name);
    }

    const ScratchDirectory m_scratch;
};

TEST_F(CheckCommandTest, TellsTheLinesOfEachFileAndWhetherItIsGood) {
    const std::string good = with(ScratchDirectory::content(shipped("mechanics.ini")),
                                  "version = 1", "version = 1\nchecksum = 0");
    const std::string bad = make("bad.ini", "[config]\nip = 10.0.0.1\nport = 1670 V\n[ampli\n");
    const std::string odd = make("odd.ini", with(good, "kP = 1.2", "kP = 1.2 ; mild"));
    EXPECT_EQ(ToolRun({"checksum", "update", odd}).code, 0);
    const std::string missing = m_scratch.file("missing.ini");
    const ToolRun result({"check", bad, odd, shipped("generator-3.1.ini"), missing});
    EXPECT_EQ(result.code, 1);
    EXPECT_EQ(result.err, "");
    expectPart(result.out, bad + ":3: error: [config] port: '1670 V': 'V' behind the number isn't "
                                 "read; expected a whole number from 1 to 65535; read as '1670'\n");
    expectPart(result.out,
               bad + ":4: error: the ']' behind the section's name is missing: '[ampli'\n");
    expectPart(result.out,
               bad + ": note: no checksum (fus-tool checksum update adds one)\n" + bad +
                   ": definition of a generator: 5 errors, 3 warnings; it does not load\n");
    expectPart(result.out, "[Axis0/Board] kP: '1.2 ; mild': a comment needs a line of its own;");
    expectPart(result.out, odd + ": definition of a mechanical system: 0 errors, 1 warning; it "
                                 "loads; checksum right\n");
    expectPart(result.out, "generator-3.1.ini: definition of a generator: good; it loads\n");
    expectPart(result.out, missing + ": no definition: 1 error, 0 warnings\n");
    EXPECT_EQ(ToolRun({"check", odd}).code, 0);
    EXPECT_EQ(ToolRun({"check", "--strict", odd}).code, 1);
    EXPECT_EQ(ToolRun({"check", "--strict", shipped("generator-3.0.ini")}).code, 0);
    EXPECT_EQ(ToolRun({"check", "--kind", "mechanics", shipped("generator-3.0.ini")}).code, 1);
    EXPECT_EQ(ToolRun({"check", "--kind", "board", odd}).code, 2);
    EXPECT_EQ(ToolRun({"check", "--timeout", "500", odd}).code, 2);
}

TEST_F(CheckCommandTest, FindsAFileThatWasChangedSinceItsChecksum) {
    const std::string text =
        ScratchDirectory::content(shipped("generator-3.1.ini")) + "[File]\nchecksum=1\n";
    const std::string file = make("g.ini", text);
    const ToolRun wrong({"check", file});
    EXPECT_EQ(wrong.code, 1);
    expectPart(wrong.out, lineOf(text, "checksum=") +
                              "error: [File] checksum: '1' is wrong, the content has ");
    expectPart(wrong.out,
               ": definition of a generator: 1 error, 0 warnings; it loads; checksum wrong\n");
    EXPECT_EQ(ToolRun({"checksum", "update", file}).code, 0);
    expectPart(ToolRun({"check", file}).out, ": good; it loads; checksum right\n");
}

TEST_F(CheckCommandTest, WritesJson) {
    const std::string file = make("g.ini", "[thresholds]\nminUPB = 1|\xFF\x1B\n");
    const ToolRun result({"check", "--json", file, m_scratch.file("missing")});
    EXPECT_EQ(result.code, 1);
    expectPart(result.out, "{\n  \"ok\": false,\n  \"files\": [\n    {\n      \"file\": ");
    expectPart(result.out, "\"kind\": \"generator\",\n      \"loads\": false,\n      \"checksum\": "
                           "\"none\",\n      \"comparedWith\": null,\n");
    expectPart(result.out,
               "\"severity\": \"error\",\n          \"line\": 2,\n          \"section\": "
               "\"thresholds\",\n          \"key\": \"minUPB\",\n          \"text\": "
               "\"bytes that are no text: 'minUPB = 1|\\\\xFF\\\\x1B'\"\n");
    expectPart(result.out, "\"kind\": null,\n      \"loads\": false,\n      \"checksum\": null,\n");
}

// ---- Comparing ----------------------------------------------------------------------------------

TEST_F(CheckCommandTest, FindsNothingWhereADefinitionWasAppliedAndWritesNothing) {
    const fus::test::LogCapture silence(Log::NONE);
    for (const char* const protocol : {"2.5", "3.0", "3.1"}) {
        SCOPED_TRACE(protocol);
        SimulatedGenerator generator(protocol);
        std::string text =
            ScratchDirectory::content(shipped(std::string("generator-") + protocol + ".ini"));
        if (*protocol == '2') { // of which it has more than the example tells
            text = with(text, "VADC", "\n# none\nVADC");
        }
        const std::string definition = make("g.ini", text);
        const std::string mechanics = shipped("mechanics.ini");
        FUS& fus = FUS::getInstance();
        ASSERT_TRUE(fus.getGenerator().loadDefinition(definition.c_str()));
        ASSERT_TRUE(fus.getMechanics().loadDefinition(mechanics.c_str()));
        ASSERT_TRUE(fus.connect("127.0.0.1", generator.simulator.port(), 4000));
        ASSERT_TRUE(fus.getMechanics().sendConfig(false));
        fus.disconnect();
        const std::size_t writes = countWrites(generator.simulator);
        EXPECT_GT(writes, 0U); // so that these are seen
        const ToolRun result(
            {"check", "--strict", definition, mechanics, "--host", generator.address()});
        EXPECT_EQ(result.code, 0) << result.out << result.err;
        expectPart(result.out, "mechanics.ini: definition of a mechanical system: good; it loads; "
                               "compared with " +
                                   generator.address() + "\n");
        EXPECT_EQ(countWrites(generator.simulator), writes);
        EXPECT_FALSE(fus.getGenerator().isDefinitionLoaded());
        EXPECT_FALSE(fus.getMechanics().isDefinitionLoaded());
    }
}

TEST_F(CheckCommandTest, TellsEachDifferenceAndWritesNothing) {
    SimulatedGenerator generator;
    generator.simulator.setBoardParameter(10, 0, 1379, 25000000);
    generator.simulator.setMechParameter(1, 4, 0);
    std::string text = ScratchDirectory::content(shipped("generator-3.1.ini"));
    text = with(text, "channels = 256", "channels = 4");
    text = with(text, "generatorCount = 16", "generatorCount = 1");
    text = with(text, "4.75|11.4|22|26", "4.75|12.5|22|26|1");
    text = with(text, "5.25|12.6|26|30", "5.25|12.6|23|30|2");
    text = with(text, "maxAMP = 75|8", "maxAMP = 75|9|1");
    text = with(text, "2012.4.3.0", "2012.4.3.1");
    text = with(text, "# [backpanel]",
                "[backpanel]\nSNT.mask = 11110\nAMP.mask = 10111\n"
                "target = RAM+FLASH");
    const std::string file = make("g.ini", text);
    const ToolRun result({"check", file, shipped("mechanics.ini"), "--host", generator.address()});
    EXPECT_EQ(result.code, 1);
    const std::string axes = ScratchDirectory::content(shipped("mechanics.ini"));
    const std::string parts[] = {
        lineOf(text, "channels =") +
            "error: [config] channels: Generator configuration mismatch: bad channel count "
            "(got 256 but expecting 4)\n",
        lineOf(text, "generatorCount") +
            "error: [config] generatorCount: Generator configuration mismatch: bad board count "
            "for type SNT (got 16 while 1 expected)\n",
        "] version: Generator configuration mismatch: bad amplifier version (expected: "
        "2012.4.3.1, connected: 2012.4.3.0)\n",
        "minVoltages: 5 ranges for 4 power supplies\n",
        "error: [config] minVoltages: power supply #2: defined 12.5 to 12.6 V, connected 12",
        "error: [config] maxVoltages: power supply #3: defined 22 to 23 V, connected 24",
        "warning: [config] clock: defined 24 MHz, connected 25 MHz; applying",
        "warning: [backpanel] SNT.mask: RAM: defined 4 channels, connected 256 channels; they "
        "differ in 4-255; applying",
        "warning: [backpanel] AMP.mask: RAM: defined 4 channels, connected 256 channels; they "
        "differ in 1, 5-255; applying",
        "warning: [backpanel] SNT.mask: FLASH: defined 4 channels, connected 0 channels; they "
        "differ in 0-3; applying",
        "warning: [thresholds] maxAMP: 3 bounds for the 2 measures of a board\n",
        "warning: [thresholds] maxAMP: AMP 0-15, measure 0 (tem): defined 75 C, connected 80 C; "
        "applying the definition changes it\n",
        lineOf(axes, "inverted = true") +
            "warning: [Axis1/Board] inverted: defined true, connected false; "
            "sending the configuration changes it\n",
        "[Axis1/FUS] topology: defined 2 optical references, connected 1 optical references;",
    };
    for (const std::string& part : parts) {
        expectPart(result.out, part);
    }
    EXPECT_EQ(result.out.find("minUPB: UPB 0, measure 0"), std::string::npos) << result.out;
    EXPECT_EQ(result.out.find("measure 1 (idc)"), std::string::npos) << result.out;
    EXPECT_EQ(countWrites(generator.simulator), 0U);
    EXPECT_GT(generator.simulator.commands().size(), 100U);
}

TEST_F(CheckCommandTest, TellsWhatAnOlderGeneratorCannotTake) {
    SimulatedGenerator generator("2.5");
    std::string text = ScratchDirectory::content(shipped("generator-2.5.ini"));
    text = with(
        text, "[amplifier]",
        "clock = 24\n[thresholds]\nminUPB = 1\n[backpanel]\nSNT.mask = " + std::string(64, '1') +
            "\nAMP.mask = " + std::string(64, '1') + "\n[amplifier]");
    const ToolRun result({"check", make("g.ini", text), "--host", generator.address()});
    EXPECT_EQ(result.code, 1);
    expectPart(result.out, "clock: a generator before protocol 3.0 has no clock to be set\n");
    expectPart(result.out, "minUPB: a generator before protocol 3.0 has no thresholds to be set\n");
    expectPart(result.out, "SNT.mask: a generator before protocol 3.1 doesn't have its back panel "
                           "set: connecting with this definition fails\n");
}

TEST_F(CheckCommandTest, TellsWhatItKnowsWhenTheGeneratorDoesNotAnswer) {
    SimulatedGenerator generator;
    const std::string file = shipped("generator-3.1.ini");
    const std::string gone = [] { return SimulatedGenerator().address(); }();
    const ToolRun none({"check", file, "--host", gone});
    EXPECT_EQ(none.code, 1);
    expectPart(none.out, "definition of a generator: good; it loads\n");
    expectPart(none.err, "fus-tool check: no generator answers at ");
    const ToolRun json({"check", "--json", file, "--host", gone});
    EXPECT_EQ(json.code, 1);
    expectPart(json.out, "\"ok\": false");
    generator.simulator.addFault("missing:command=CMD_BACKPANEL_CONFIG");
    const std::string masks =
        make("g.ini", with(ScratchDirectory::content(file), "# [backpanel]",
                           "[backpanel]\nSNT.mask = " + std::string(256, '1') +
                               "\nAMP.mask = " + std::string(256, '1')));
    const ToolRun silent({"check", masks, "--timeout", "200", "--host", generator.address()});
    EXPECT_EQ(silent.code, 1);
    expectPart(silent.out, "[backpanel] SNT.mask: can't be compared: ");
    expectPart(silent.out, "] maxAMP: AMP 0-15, measure 0 (tem)"); // and goes on
    generator.simulator.clearFaults();
    ASSERT_TRUE(FUS::getInstance().connect("127.0.0.1", generator.simulator.port(), 4000));
    const unsigned forConnect = FUS::getInstance().getTotalReceived();
    FUS::getInstance().disconnect();
    generator.simulator.addFault("close-at:byte=" + std::to_string(forConnect + 100));
    const ToolRun broken({"check", masks, shipped("mechanics.ini"), "--host", generator.address()});
    EXPECT_EQ(broken.code, 1);
    expectPart(broken.out, "g.ini: error: the comparison broke off: ");
    expectPart(broken.out, "mechanics.ini: error: the comparison broke off: ");
    EXPECT_EQ(broken.out.find("compared with"), std::string::npos) << broken.out;
}

} // namespace
} // namespace fus::tool::test
