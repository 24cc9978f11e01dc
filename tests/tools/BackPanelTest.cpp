#include "ToolRun.h"

#include "Errors.h"
#include "Wiring.h"

#include "fus/FUS.h"
#include "fus/Generator.h"
#include "support/SourceTree.h"

#include <optional>

namespace fus::tool::test {
namespace {

std::string repeated(const std::string& text, std::size_t count) {
    std::string result;
    for (std::size_t i = 0; i < count; ++i) {
        result += text;
    }
    return result;
}

const std::string FULL(16, '1');
const std::string NONE(16, '0');

TEST(WiringTest, ReadsMasksAndSaysWhatHasNoPlaceInThem) {
    EXPECT_EQ(maskText(parseMask("--snt", "1111_0000 1111_0000-1"), true), "1111000011110000-1");
    for (const char* const bad : {"", "-", "0-15", "11-11", "1;0", "0x1"}) {
        EXPECT_THROW(parseMask("--snt", bad), UsageError) << bad;
    }
}

TEST(WiringTest, DrawsSlotsAndMarksThoseThatChange) {
    const Wiring now = {parseMask("", FULL + FULL), parseMask("", FULL + FULL)};
    const Wiring then = {parseMask("", FULL), parseMask("", FULL)};
    std::ostringstream out;
    drawChange(now, then, out);
    EXPECT_EQ(out.str(),
              "   slot  SNT now           SNT then          AMP now           AMP then\n"
              "      0  1111111111111111  1111111111111111  1111111111111111  1111111111111111\n"
              "*     1  1111111111111111  -                 1111111111111111  -\n");
}

TEST(BackPanelTest, RefusesWhatItCanNotUnderstandBeforeItConnects) {
    const ScratchDirectory scratch;
    const struct {
        std::vector<std::string> words;
        int code;
        const char* err;
    } cases[] = {
        {{"list", "x"}, 2, "'list' isn't read, set or clear"},
        {{"read", "x", "--yes"}, 2, "--yes goes with set and clear, not with read"},
        {{"clear", "x", "--target", "both"}, 2, "--target goes with set, not with clear"},
        {{"read", "x", "--source", "rom"}, 2, "--source: 'rom' isn't ram, flash or both"},
        {{"set", "x"}, 2, "either --snt and --amp"},
        {{"set", "x", "--snt", "1"}, 2, "either --snt and --amp"},
        {{"set", "x", "--snt", "1", "--definition", "f"}, 2, "either --snt and --amp"},
        {{"set", "x", "--snt", "1", "--amp", "2"}, 2, "--amp: '2' has no place in a mask"},
        {{"set", "x", "--snt", "1", "--amp", "1", "--target", "flash"}, 2, "isn't ram or both"},
        {{"set", "x", "--snt", "11", "--amp", "1"}, 1, "SNT has 2 channels, AMP 1"},
        {{"set", "x", "--snt", "11", "--amp", "10"}, 1, "SNT has 2 channels in use, AMP 1"},
        {{"set", "x", "--snt", "0", "--amp", "0"}, 1, "no channel in use"},
        {{"set", "x", "--definition", "no/such.ini"}, 1, "no/such.ini: isn't a definition: "},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.words));
        std::vector<std::string> words = {"backpanel"};
        words.insert(words.end(), c.words.begin(), c.words.end());
        const ToolRun result(words);
        EXPECT_EQ(result.code, c.code);
        EXPECT_EQ(result.out, "");
        expectPart(result.err, c.err);
    }
}

/// A backpanel command on this generator.
ToolRun backPanel(const SimulatedGenerator& generator, const std::string& action,
                  const std::vector<std::string>& options, const std::string& input = "") {
    std::vector<std::string> words = {"backpanel", action, generator.address()};
    words.insert(words.end(), options.begin(), options.end());
    return ToolRun(words, input);
}

/// As the generator holds it: "1111..." for synthesizers and amplifiers; "-" if the FLASH is empty.
std::string held(const SimulatedGenerator& generator, bool flash) {
    const auto text = [](const std::vector<bool>& mask) {
        std::string flags;
        for (const bool flag : mask) {
            flags += flag ? '1' : '0';
        }
        return flags.erase(flags.find_last_of('1') + 1);
    };
    const auto wiring = flash ? generator.simulator.backPanelFlash()
                              : std::optional(generator.simulator.backPanel());
    return wiring ? text(wiring->snt) + " " + text(wiring->amp) : "-";
}

const std::string TWO_SLOTS = repeated("1", 32);
const std::string ALL = repeated("1", 256);

TEST(BackPanelTest, DrawsRamAndFlashSlotBySlot) {
    SimulatedGenerator generator;
    const ToolRun both = backPanel(generator, "read", {});
    EXPECT_EQ(both.code, 0) << both.err;
    expectPart(both.out, "RAM: 256 channels in use, 16 slots\n  slot  SNT               AMP\n"
                         "     0  1111111111111111  1111111111111111\n");
    expectPart(both.out, "\nFLASH: empty\n");
    const ToolRun json = backPanel(generator, "read", {"--source", "flash", "--json"});
    EXPECT_EQ(json.out, "{\n  \"flash\": {\n    \"empty\": true,\n    \"snt\": \"\",\n"
                        "    \"amp\": \"\"\n  }\n}\n");
}

TEST(BackPanelTest, ChangesNothingUnlessYesIsTyped) {
    SimulatedGenerator generator;
    const std::vector<std::string> masks = {"--snt", TWO_SLOTS, "--amp", TWO_SLOTS};
    for (const char* const answer : {"", "no\n", "y\n", "YES\n", "yes please\n"}) {
        const ToolRun result = backPanel(generator, "set", masks, answer);
        EXPECT_EQ(result.code, 1) << answer;
        expectPart(result.out, "Type yes to go on: ");
        expectPart(result.out, "Nothing was changed.\n");
    }
    EXPECT_EQ(held(generator, false), ALL + ' ' + ALL);
}

TEST(BackPanelTest, SetsMasksAndReadsThemBack) {
    SimulatedGenerator generator;
    const std::vector<std::string> masks = {"--snt", TWO_SLOTS, "--amp", TWO_SLOTS};
    const ToolRun ram = backPanel(generator, "set", masks, "yes\r\n");
    EXPECT_EQ(ram.code, 0) << ram.err;
    expectPart(ram.out, "RAM: 256 channels in use, 16 slots; then 32 channels in use, 2 slots\n");
    expectPart(ram.out, "\n*     2  1111111111111111  -");
    expectPart(ram.out, "the generator has closed the connection. Connecting again...\n"
                        "Read back: RAM holds what was set. The generator now has 32 channels.\n");
    EXPECT_EQ(held(generator, false), TWO_SLOTS + ' ' + TWO_SLOTS);
    EXPECT_EQ(held(generator, true), "-");

    const ToolRun again = backPanel(generator, "set", masks);
    EXPECT_EQ(again.code, 0);
    expectPart(again.out, "RAM: is so already, 32 channels in use, 2 slots\n"
                          "Nothing has to be changed.\n");

    std::vector<std::string> both = masks;
    both.insert(both.end(), {"--target", "both", "--yes"});
    const ToolRun flash = backPanel(generator, "set", both);
    EXPECT_EQ(flash.code, 0) << flash.err;
    expectPart(flash.out, "FLASH: empty; then 32 channels in use, 2 slots\n");
    expectPart(flash.out, "Read back: RAM and FLASH hold what was set.");
    EXPECT_EQ(held(generator, true), TWO_SLOTS + ' ' + TWO_SLOTS);
}

TEST(BackPanelTest, ClearsTheFlashAlone) {
    SimulatedGenerator generator;
    backPanel(generator, "set",
              {"--snt", TWO_SLOTS, "--amp", TWO_SLOTS, "--target", "both", "--yes"});
    EXPECT_EQ(backPanel(generator, "clear", {}).code, 1);
    EXPECT_NE(held(generator, true), "-");
    const ToolRun cleared = backPanel(generator, "clear", {}, "yes\n");
    EXPECT_EQ(cleared.code, 0) << cleared.err;
    expectPart(cleared.out, "Read back: FLASH is empty. RAM is as it was.\n");
    EXPECT_EQ(held(generator, true), "-");
    EXPECT_EQ(held(generator, false), TWO_SLOTS + ' ' + TWO_SLOTS);
    expectPart(backPanel(generator, "clear", {}).out, "FLASH: empty\nNothing has to be changed.\n");
}

TEST(BackPanelTest, TakesMasksAndTargetFromADefinitionThatNoConnectWrites) {
    SimulatedGenerator generator;
    const ScratchDirectory scratch;
    const std::string file = scratch.file("generator.ini");
    std::string text = ScratchDirectory::content(fus::test::sourceTree() +
                                                 "/examples/definitions/generator-3.1.ini");
    std::ofstream(file) << text;
    const ToolRun without = backPanel(generator, "set", {"--definition", file, "--yes"});
    EXPECT_EQ(without.code, 1);
    expectPart(without.err, "generator.ini: doesn't have both masks in its [backpanel]\n");

    text += "\n[backpanel]\nSNT.mask = " + ALL + "\nAMP.mask = " + ALL + "\ntarget = RAM+FLASH\n";
    std::ofstream(file) << text;
    const ToolRun declined = backPanel(generator, "set", {"--definition", file});
    EXPECT_EQ(declined.code, 1);
    expectPart(declined.out, "RAM: is so already, 256 channels in use, 16 slots\n"
                             "FLASH: empty; then 256 channels in use, 16 slots\n");
    EXPECT_EQ(held(generator, true), "-");
    EXPECT_FALSE(FUS::getInstance().getGenerator().isDefinitionLoaded());
    const ToolRun taken = backPanel(generator, "set", {"--definition", file, "--yes"});
    EXPECT_EQ(taken.code, 0) << taken.err;
    EXPECT_EQ(held(generator, true), ALL + ' ' + ALL);

    std::ofstream(file) << text + "target = RAM+FALSH\n";
    const ToolRun misspelt = backPanel(generator, "set", {"--definition", file, "--yes"});
    EXPECT_EQ(misspelt.code, 1);
    expectPart(misspelt.err, ": [backpanel] target: ");

    const ToolRun broken = backPanel(generator, "set", {"--definition", scratch.file("none")});
    EXPECT_EQ(broken.code, 1);
    expectPart(broken.err, "none: isn't a definition: ");
}

TEST(BackPanelTest, IsToldWhichGeneratorsHaveNone) {
    SimulatedGenerator generator("3.0");
    const ToolRun result = backPanel(generator, "read", {});
    EXPECT_EQ(result.code, 1);
    expectPart(result.err, "the generator has protocol 3.0.0.0, and the back panel can be "
                           "configured since 3.1\n");
}

TEST(BackPanelTest, SaysHowFarItCameWhenTheGeneratorFallsSilent) {
    const struct {
        unsigned silent; ///< the first is the reading, the second sets, the third reads back
        const char* part;
    } cases[] = {{2, "it may be set or not: "}, {3, "it is set, but couldn't be read back: "}};
    for (const auto& c : cases) {
        SimulatedGenerator generator;
        generator.simulator.addFault("missing:command=CMD_BACKPANEL_CONFIG,nth=" +
                                     std::to_string(c.silent));
        const ToolRun result =
            backPanel(generator, "set",
                      {"--snt", TWO_SLOTS, "--amp", TWO_SLOTS, "--yes", "--timeout", "500"});
        EXPECT_EQ(result.code, 1);
        expectPart(result.err, c.part);
        expectPart(result.err, "fus-tool backpanel read " + generator.address() + '\n');
    }
}

TEST(BackPanelTest, TellsARefusal) {
    SimulatedGenerator generator;
    generator.simulator.addFault("error-plain:command=CMD_BACKPANEL_CONFIG,nth=2");
    const ToolRun result =
        backPanel(generator, "set", {"--snt", TWO_SLOTS, "--amp", TWO_SLOTS, "--yes"});
    EXPECT_EQ(result.code, 1);
    expectPart(result.err, "fus-tool backpanel: the generator at " + generator.address() + ": ");
    EXPECT_EQ(held(generator, false), ALL + ' ' + ALL);
}

} // namespace
} // namespace fus::tool::test
