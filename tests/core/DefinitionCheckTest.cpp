#include "fus/DefinitionCheck.h"

#include "fus/FUS.h"
#include "fus/Generator.h"
#include "fus/LowLevelMechanics.h"
#include "fus/Mechanics.h"
#include "fus/P_GeneratorDefinition.h"
#include "support/LogCapture.h"
#include "support/ScratchDirectory.h"
#include "support/SourceTree.h"

#include <gtest/gtest.h>

#include <random>
#include <sstream>
#include <string>
#include <vector>

using namespace fus;
using namespace fus::test;

namespace {

constexpr auto ERROR = DefinitionCheck::SEVERITY_ERROR;
constexpr auto WARNING = DefinitionCheck::SEVERITY_WARNING;
constexpr auto GENERATOR = DefinitionCheck::KIND_GENERATOR;
constexpr auto MECHANICS = DefinitionCheck::KIND_MECHANICS;

using Lines = std::vector<std::string>;

const Lines GOOD_GENERATOR = {
    "[config]",             // 1
    "ip = 10.0.0.1",        // 2
    "port = 1670",          // 3
    "channels = 8",         // 4
    "generatorCount = 1",   // 5
    "minVoltages = 4.5|11", // 6
    "maxVoltages = 5.5|13", // 7
    "amplifierCount = 1",   // 8
    "[backpanel]",          // 9
    "SNT.mask = 1111-1111", // 10
    "AMP.mask = 1111-1111", // 11
    "target = RAM+FLASH",   // 12
    "[thresholds]",         // 13
    "maxAMP = 75|8",        // 14
    "[amplifier]",          // 15
    "version = 2012.4.3.0", // 16
    "type = 1",             // 17
    "measures = 3",         // 18
    "maxPower = 5",         // 19
    "[coeffs0]",            // 20
    "c0 = 0.1|0",           // 21
    "c1 = 0.1|0",           // 22
    "c2 = 0.02|0",          // 23
    "VADCThreshold = 4",    // 24
};

const Lines GOOD_MECHANICS = {
    "[File]",                 // 1
    "version = 1",            // 2
    "[Global]",               // 3
    "initOrder = 0",          // 4
    "[Axis0]",                // 5
    "[Axis0/Board]",          // 6
    "lowerBound = -100",      // 7
    "upperBound = 100",       // 8
    "maxSpeed = 2000",        // 9
    "minNegativeDAC = 100",   // 10
    "minPositiveDAC = 150",   // 11
    "accelDuration = 25",     // 12
    "kP = 1.5",               // 13
    "kI = 0.25",              // 14
    "kD = 2",                 // 15
    "maxIntegralError = 100", // 16
    "toleranceTarget = 3",    // 17
    "toleranceMoving = 40",   // 18
    "inverted = no",          // 19
    "[Axis0/FUS]",            // 20
    "name = slide",           // 21
    "motion = TRANSLATION",   // 22
    "unit = mm",              // 23
    "topology = L2",          // 24
    "stepSize = 0.005",       // 25
    "maxUserSpeed = 1000",    // 26
    "defUserSpeed = 500",     // 27
    "initDACs = 100|50|10",   // 28
    "initTimeout = 100",      // 29
    "initPark = 10|20",       // 30
};

std::string join(const Lines& lines) {
    std::string text;
    for (const std::string& line : lines) {
        text += line + "\n";
    }
    return text;
}

bool check(DefinitionCheck& check, const std::string& text,
           DefinitionCheck::Kind kind = DefinitionCheck::KIND_UNKNOWN) {
    return check.checkText(text.data(), text.size(), kind);
}

/// What a load says.
bool loads(const std::string& text, DefinitionCheck::Kind kind) {
    if (kind == GENERATOR) {
        return GeneratorDefinition().loadText(text.c_str());
    }
    LowLevelMechanics& mechanics = FUS::getInstance().getLowLevelMechanics();
    const bool loaded = mechanics.loadDefinitionString(text.c_str());
    mechanics.clearDefinition();
    return loaded;
}

std::string described(const DefinitionCheck& check) {
    std::string text;
    for (const auto& finding : check.findings()) {
        text += std::to_string(finding.line) +
                (finding.severity == ERROR ? " error [" : " warning [") + finding.section + "] " +
                finding.key + ": " + finding.text + "\n";
    }
    return text;
}

std::string shipped(const char* name) {
    return sourceTree() + "/examples/definitions/" + name;
}

/// A line that takes the place of a good one, and what is told of it.
struct Mistake {
    unsigned replaced;
    const char* line;
    unsigned told;
    DefinitionCheck::Severity severity;
    const char* words;
    unsigned consequences = 0; ///< findings that follow from it, at other lines
};

class DefinitionChecks : public ::testing::Test {
protected:
    void expectTold(const Lines& good, const Mistake& mistake, DefinitionCheck::Kind kind) {
        SCOPED_TRACE(mistake.line);
        Lines lines = good;
        lines[mistake.replaced - 1] = mistake.line;
        const std::string text = join(lines);
        DefinitionCheck checked;
        EXPECT_EQ(check(checked, text), mistake.severity == WARNING);
        EXPECT_EQ(checked.kind(), kind);
        EXPECT_EQ(checked.isLoadable(), loads(text, kind));
        EXPECT_EQ(checked.findings().size(), 1U + mistake.consequences) << described(checked);
        const std::string prefix =
            std::to_string(mistake.told) + (mistake.severity == ERROR ? " error" : " warning");
        std::istringstream findings(described(checked));
        unsigned told = 0;
        for (std::string line; std::getline(findings, line);) {
            told += line.compare(0, prefix.size(), prefix) == 0 &&
                            line.find(mistake.words) != std::string::npos
                        ? 1U
                        : 0U;
        }
        EXPECT_EQ(told, 1U) << described(checked);
    }

    LogCapture m_log{Log::EXCEPTION}; // keeps the loaders quiet
};

} // namespace

TEST_F(DefinitionChecks, FindNothingInTheShippedExamplesWhateverTheirLineEndsAre) {
    for (const char* const name :
         {"generator-2.5.ini", "generator-3.0.ini", "generator-3.1.ini", "mechanics.ini"}) {
        DefinitionCheck checked;
        EXPECT_TRUE(checked.checkFile(shipped(name).c_str())) << name;
        EXPECT_EQ(described(checked), "") << name;
        EXPECT_TRUE(checked.isLoadable()) << name;
        EXPECT_EQ(checked.kind(), *name == 'g' ? GENERATOR : MECHANICS) << name;
        std::string dos = "\xEF\xBB\xBF";
        for (const char character : ScratchDirectory::content(shipped(name))) {
            dos += character == '\n' ? "\r\n" : std::string(1, character);
        }
        EXPECT_TRUE(check(checked, dos)) << name;
        EXPECT_EQ(described(checked), "") << name;
    }
}

TEST_F(DefinitionChecks, TellEachMistakeInTheDefinitionOfAGeneratorOnce) {
    const Mistake mistakes[] = {
        // what is read of a number
        {3, "port = 12 V", 3, ERROR,
         "'12 V': 'V' behind the number isn't read; expected a whole number from 1 to 65535; read "
         "as '12'"},
        {3, "port = 70000", 3, ERROR,
         "out of range; expected a whole number from 1 to 65535; read as '4464'"},
        {3, "port = 03206", 3, ERROR,
         "octal one; expected a whole number from 1 to 65535; read as '1670'"},
        {3, "port = sixteen", 3, ERROR,
         "not a number; expected a whole number from 1 to 65535; read as '1670'"},
        {3, "port =", 3, WARNING,
         "no value; expected a whole number from 1 to 65535; read as '1670'"},
        {3, "port = 1670 # standard", 3, WARNING, "a comment needs a line of its own"},
        {3, "port = 99999999999", 3, ERROR, "out of the range of a number"},
        {5, "generatorCount = 1,5", 5, ERROR,
         "',5' behind the number isn't read, decimals take a point"},
        {5, "generatorCount = -3", 5, ERROR, "from 0 to 32; read as '4294967293'"},
        {5, "generatorCount = 1\nclock = 26", 6, ERROR, "expected 0, 24 or 25; read as '0'"},
        {19, "maxPower = 1,5", 19, ERROR, "read as '1'"},
        {19, "maxPower = -1", 19, ERROR, "expected a number from 0 on"},
        {19, "maxPower = nan", 19, ERROR, "not a finite number"},
        {19, "maxPower = 0", 19, WARNING, "failed requirement(ignored): m_maxPower != 0.0f"},
        {24, "VADCThreshold = 300", 24, ERROR,
         "'300': out of range; expected a whole number from 0 to 255"},
        {5, "# none", 1, WARNING, "missing: read as 0 boards"},
        {5, "generatorCount = 1;2", 5, ERROR, "';2' behind the number isn't read"},
        // lists
        {6, "minVoltages = 4,5|11 V", 6, ERROR,
         "item 1: ',5' behind the number isn't read, decimals take a point (and see item 2); "
         "expected numbers with | between them; read as '4|11'"},
        {14, "maxAMP = 75||8", 14, ERROR, "item 2: empty: the list ends in front of it"},
        {14, "maxAMP = 75|x", 14, ERROR,
         "item 2: not a number; expected numbers with | between them; read as '75'"},
        {14, "maxAMP = 75 8", 14, WARNING, "a blank between numbers instead of a |"},
        {14, "maxAMP = 75 8,5", 14, ERROR, "',5' behind the number isn't read"},
        {14, "maxAMP = 75|8 A", 14, ERROR, "'A' behind the number isn't read"},
        {14, "maxAMP = 75|8 ; A", 14, WARNING, "a comment needs a line of its own"},
        {21, "c0 = 0.5;1.2;3", 21, ERROR, "';1.2;3' behind the number isn't read", 0},
        {21, "c0 = 0.o1|0", 21, ERROR, "'o1' behind the number isn't read"},
        {21, "c0 = 0.1", 21, WARNING, "gives the same value whatever is measured"},
        {21, "c0 = 0|0|2", 21, WARNING, "gives the same value whatever is measured"},
        {7, "maxVoltages = 5.5|11", 7, ERROR,
         "invalid voltage range #2: [11, 11] (failed requirement: "},
        {7, "maxVoltages = 5.5", 7, ERROR, "2 least voltages, and 1 greatest ones"},
        {14, "minAMP = 1\nmaxAMP = 1", 15, ERROR, "invalid AMP BO thresholds #1: [1, 1]"},
        // texts
        {2, "ip = \"10.0.0.1\"", 2, ERROR, "no address has a '\"'"},
        {2, "ip = 10.0.0.256", 2, ERROR, "not an IPv4 address"},
        {2, "ip = 10.0.0.1:1670", 2, ERROR, "no address has a ':'"},
        {12, "target = ram", 12, ERROR,
         "did you mean RAM?); expected RAM or RAM+FLASH; read as 'RAM'"},
        {16, "version = 2012,4,3,0", 16, ERROR, "not a version; expected four numbers with points"},
        {16, "version = 2012.4.3", 16, WARNING, "read as '2012.4.3.0'"},
        {10, "SNT.mask = 1111-lll1-1111", 10, ERROR, "'l' isn't counted as a channel", 1},
        {10, "SNT.mask = 11111-111", 10, WARNING, "groups of different lengths"},
        {11, "AMP.mask = 1111-1110", 11, ERROR, "8 channels in SNT.mask, and 7 in AMP.mask"},
        {10, "SNT.mask = 1111-1111-0000", 11, ERROR,
         "12 entries in SNT.mask, and 8 in AMP.mask: setting them fails (Masks sizes mismatch.)"},
        {10, "SNT.mask = 0000-0000", 11, ERROR, "Masks content mismatch", 1},
        {10, "# none", 11, ERROR, "a mask without the other one"},
        {4, "channels = 16", 10, ERROR, "8 channels in SNT.mask, and channels = 16"},
        // what is missing
        {2, "ip =", 2, ERROR, "no value; expected a name or an IPv4 address (failed requirement"},
        {2, "# none", 1, ERROR,
         "missing; expected a name or an IPv4 address (failed requirement: m_generatorHost != "
         "nullptr)"},
        {16, "# none", 15, ERROR,
         "missing; expected four numbers with points between them (failed "},
        {18, "measures = 4", 18, ERROR, "4 measures, but amplifiers of type 1 have 3", 1},
        {23, "# none", 20, ERROR, "2 polynomials (c0, c1, ... without a gap) for 3 measures"},
        {23, "c2 = 1|0\nc4 = 1|0", 24, ERROR, "not read: c3 is missing"},
        // names
        {8, "amplifierCount = 1\ngeneratorcount = 1", 9, ERROR,
         "unknown key, did you mean generatorCount?"},
        {8, "amplifierCount = 1\ngenratorCuont = 1", 9, ERROR,
         "unknown key, did you mean generatorCount?"},
        {8, "amplifierCount = 1\nmaxPower = 1", 9, ERROR,
         "not read in [config], but in [amplifier]"},
        {8, "amplifierCount = 1\nboards = 1", 9, WARNING,
         "unknown key, not read; known in [config]: ip, port, channels"},
        {24, "C3 = 1|0", 24, ERROR, "unknown key, did you mean c3?"},
        {1, "port = 1\n[config]", 1, ERROR,
         "not read in front of the first section, but in [config]"},
        {13, "[Thresholds]", 13, ERROR, "unknown section, did you mean [thresholds]?"},
        {13, "[coeffs1]", 13, ERROR,
         "unknown section, nothing in it is read; known: File, amplifier, "},
        {13, "[history]", 13, WARNING, "unknown section, nothing in it is read"},
        {13, "[Axis0]", 13, ERROR,
         "for the definition of a mechanical system, and this is one of a generator"},
        {13, "[config]\n[thresholds]", 13, WARNING, "the section stands at line 1, too"},
        {4, "channels = 8\nchannels = 9", 5, ERROR, "again, and not read: line 4 counts, with '8'"},
        {4, "channels = 8\nchannels = 8", 5, WARNING, "line 4 counts, with the same value"},
        // lines
        {8, "amplifierCount = 1\ngeneratorCount", 9, ERROR,
         "neither a comment nor a section nor 'key = value': 'generatorCount'"},
        {8, "amplifierCount = 1\n= 1", 9, ERROR, "no key in front of the value"},
        {8, "amplifierCount = 1\n*/", 9, ERROR, "no comment is open"},
        {8, "amplifierCount = 1\n[x]\n", 9, ERROR, "a section's name has at least two characters"},
        {13, "[thresholds", 13, ERROR, "the ']' behind the section's name is missing", 1},
        {13, "[thresholds] minAMP = 1", 13, ERROR, "behind the ']' isn't read: ' minAMP = 1'"},
        {24, "/* levels */", 24, ERROR, "'*/' ends a comment at the start of a line only"},
        {8, "amplifierCount = 1\n/*\n*/ port = 1", 10, ERROR, "what stands behind '*/' isn't read"},
        {8, "amplifierCount = 1\n# one\rgeneratorCount = 1", 9, ERROR,
         "a carriage return alone doesn't end a line"},
        {19, "maxPower = 5 \xE2\x82\xAC", 19, ERROR, "beyond ASCII are skipped"},
        {14,
         "maxAMP = \xE2\x88\x92"
         "75|8",
         14, ERROR, "read as 'maxAMP' = '75|8'"},
    };
    for (const Mistake& mistake : mistakes) {
        expectTold(GOOD_GENERATOR, mistake, GENERATOR);
    }
}

TEST_F(DefinitionChecks, TellEachMistakeInTheDefinitionOfAMechanicalSystemOnce) {
    const Mistake mistakes[] = {
        {2, "version = 2", 2, WARNING, "Unknown file format (version=2), trying anyway..."},
        {2, "# none", 1, WARNING, "missing; expected 1, the version of this format"},
        {4, "initOrder = 0|1", 4, ERROR,
         "Invalid axis identifier in [Global].initOrder (1), ignored."},
        {4, "initOrder = 0|0", 4, ERROR, "Duplicate axis identifier"},
        {4, "initOrder = 0;1;2", 4, ERROR, "';1;2' behind the number isn't read"},
        {4, "initOrder = 0 ;1", 4, WARNING, "a comment needs a line of its own"},
        {6, "[Axis0/board]", 6, ERROR, "unknown section, did you mean [Axis0/Board]?", 1},
        {5, "[Axis7]", 5, ERROR,
         "unknown section, nothing in it is read; known: Axis0, Axis1, Axis2, "},
        {5, "[Axis0]\nmaxSpeed = 3", 6, ERROR, "not read in [Axis0], but in [Axis0/Board]"},
        {7, "# none", 6, ERROR,
         "missing; expected a whole number below upperBound (Parameter requ"},
        {7,
         "lowerBound = \xE2\x88\x92"
         "90",
         7, ERROR, "read as 'lowerBound' = '90'", 1},
        {8, "upperBound = -100", 8, ERROR, "[Axis0] m_upperBound > m_lowerBound. Config rejected"},
        {9, "maxSpeed = 2500", 9, WARNING, "what is left below a thousand is cut off"},
        {9, "maxSpeed = 2000 step/s", 9, ERROR, "'step/s' behind the number isn't read"},
        {10, "# none", 6, ERROR, "missing; expected a whole number from 0 to 126 (A mandatory"},
        {10, "minNegativeDAC = 127", 10, ERROR,
         "'127'; expected a whole number from 0 to 126 (Para"},
        {12, "accelDuration = -1", 12, ERROR,
         "negative; expected a whole number from 0 to 255; read as '4294967295'"},
        {13, "kp = 1.5", 13, ERROR, "unknown key, did you mean kP?", 1},
        {14, "kI = -1", 14, ERROR, "'-1'; expected a number, but not -1 (Parameter requirement"},
        {15, "kD = 2,5", 15, ERROR, "read as '2'"},
        {17, "toleranceTarget = 256", 17, ERROR, "expected a whole number from 0 to 255 (Param"},
        {19, "inverted = on", 19, ERROR,
         "neither true nor false; expected true or false; read as 'false'"},
        {19, "inverted = 0x1", 19, ERROR,
         "'x1' behind the number isn't read; expected true or false; read as 'false'"},
        {19, "inverted = 01", 19, ERROR, "'1' behind the number isn't read"},
        {19, "inverted = 1 # yes", 19, WARNING, "a comment needs a line of its own"},
        {19, "inverted = nothing", 19, WARNING,
         "only its beginning is looked at; expected true or false; read as 'false'"},
        {21, "name = slide # x", 21, WARNING, "a comment needs a line of its own"},
        {22, "motion = translation", 22, ERROR,
         "(did you mean TRANSLATION?); expected TRANSLATION or ROTATION"},
        {23, "unit = rad", 23, WARNING, "a translation is told in mm"},
        {24, "topology = R1", 24, WARNING, "L1 and L2 are linear encoders"},
        {25, "stepSize = 0", 25, ERROR, "'0'; expected a number above 0 (Param"},
        {26, "maxUserSpeed = 3000", 26, ERROR,
         "and at most maxSpeed (Parameter requirement failed"},
        {28, "initDACs = 100|150|10", 28, ERROR, "both DAC values on one side of 127"},
        {28, "initDACs = 100|50", 28, ERROR,
         "(Unexpected (or missing) value for [Axis0/FUS].initDAC, (2 values/3 expected))"},
        {30, "initPark = 101|20", 30, ERROR, "a position within the bounds"},
    };
    for (const Mistake& mistake : mistakes) {
        expectTold(GOOD_MECHANICS, mistake, MECHANICS);
    }
}

TEST_F(DefinitionChecks, TellAllMistakesAndNotOnlyTheFirstOne) {
    DefinitionCheck checked;
    const std::string text = "[File]\n[Axis0/Board]\nkI = 1\n[Axis0/FUS]\n[Axis1/FUS]\n[Axis3]\n";
    EXPECT_FALSE(check(checked, text));
    EXPECT_FALSE(checked.isLoadable());
    Lines keys;
    for (const auto& finding : checked.findings()) {
        keys.push_back(finding.key.empty() ? finding.text : finding.key);
    }
    EXPECT_EQ(keys,
              (Lines{"version", "lowerBound", "upperBound", "maxSpeed", "minNegativeDAC",
                     "minPositiveDAC", "kP", "kD", "maxIntegralError", "toleranceTarget",
                     "toleranceMoving", "motion", "unit", "topology", "stepSize", "maxUserSpeed",
                     "initDACs", "Missing section [Axis1/Board]", "Missing section [Axis3/Board]"}))
        << described(checked);
}

TEST_F(DefinitionChecks, LookAtTheAxesTogether) {
    std::string text = join(GOOD_MECHANICS);
    std::string other = text.substr(text.find("[Axis0/Board]"));
    for (std::size_t at = 0; (at = other.find("Axis0", at)) != std::string::npos;) {
        other.replace(at, 5, "Axis2");
    }
    other.replace(other.find("Duration = 25"), 13, "Duration = 26");
    DefinitionCheck checked;
    EXPECT_TRUE(check(checked, text + other));
    EXPECT_TRUE(checked.isLoadable());
    EXPECT_EQ(
        described(checked),
        "4 warning [Global] initOrder: axis 1 is left out: it is neither configured nor "
        "searched\n"
        "31 warning [Axis2] : there is a gap in front of it: to the board this is axis 1\n"
        "37 warning [Axis2/Board] accelDuration: another one than that of the first axis: the "
        "board has one for all of them\n");
    EXPECT_FALSE(check(checked, "[File]\nversion = 1\nchecksum = 00\n"));
    EXPECT_TRUE(checked.isLoadable());
    EXPECT_EQ(described(checked),
              "0 error [] : no axis ([Axis0] to [Axis4]): nothing can be sent to a board\n");
}

TEST_F(DefinitionChecks, TakeTheKindFromTheSectionsOrFromTheCaller) {
    struct Case {
        const char* text;
        DefinitionCheck::Kind told, kind;
    };
    const Case cases[] = {
        {"", DefinitionCheck::KIND_UNKNOWN, DefinitionCheck::KIND_UNKNOWN},
        {"ip = 1\n[history]\n", DefinitionCheck::KIND_UNKNOWN, DefinitionCheck::KIND_UNKNOWN},
        {"[confg]\n", DefinitionCheck::KIND_UNKNOWN, GENERATOR},
        {"[File]\n[coeffs0]\n[amplifier]\n", DefinitionCheck::KIND_UNKNOWN, GENERATOR},
        {"[File]\n", DefinitionCheck::KIND_UNKNOWN, MECHANICS},
        {"[axis0/board]\n", DefinitionCheck::KIND_UNKNOWN, MECHANICS},
        {"[File]\n", GENERATOR, GENERATOR},
        {"", MECHANICS, MECHANICS},
    };
    for (const Case& row : cases) {
        DefinitionCheck checked;
        EXPECT_FALSE(check(checked, row.text, row.told)) << row.text;
        EXPECT_EQ(checked.kind(), row.kind) << row.text;
    }
}

TEST_F(DefinitionChecks, LeaveTheLoadedDefinitionsAlone) {
    Generator& generator = FUS::getInstance().getGenerator();
    Mechanics& mechanics = FUS::getInstance().getMechanics();
    ASSERT_TRUE(generator.loadDefinitionString(join(GOOD_GENERATOR).c_str()));
    ASSERT_TRUE(mechanics.loadDefinitionString(join(GOOD_MECHANICS).c_str()));
    DefinitionCheck checked;
    EXPECT_FALSE(check(checked, "[config]\n"));
    EXPECT_FALSE(check(checked, "[Axis0]\n"));
    EXPECT_EQ(generator.getMaxPower(), 5.0F);
    EXPECT_EQ(mechanics.getActuatorCount(), 1U);
    generator.clearDefinition();
    mechanics.clearDefinition();
}

TEST_F(DefinitionChecks, StandAnyBytes) {
    const std::string many = std::string("[config]\n");
    struct Case {
        std::string text;
        const char* words;
    };
    Case cases[] = {
        {"\xFF\xFE[\0c\0", "the text is in UTF-16"},
        {std::string(DefinitionCheck::MAX_SIZE + 1, 'a'), "this is no definition"},
        {std::string(1000, '\0'), "no section of a definition"},
        {std::string(1000, '['), "the ']' behind the section's name is missing"},
        {"[config]\nip = a\0b\n", "bytes that are no text"},
        {"[config]\n\x1B[2J = \x1B[2J\n", "'\\x1B[2J = \\x1B[2J'"},
        {"[config]\n[" + std::string(20000, 'a') + "]\n", "..."},
        {many, "and 900 more like these"},
    };
    cases[0].text = std::string("\xFF\xFE[\0c\0", 6);
    cases[4].text = std::string("[config]\nip = a\0b\n", 18);
    for (int i = 0; i < 1000; ++i) {
        cases[7].text += "key" + std::to_string(i) + " = 1\n";
    }
    for (const Case& row : cases) {
        DefinitionCheck checked;
        EXPECT_FALSE(check(checked, row.text)) << row.words;
        EXPECT_NE(described(checked).find(row.words), std::string::npos) << described(checked);
        EXPECT_LE(checked.findings().size(), 3 * DefinitionCheck::MAX_FINDINGS);
        for (const auto& finding : checked.findings()) {
            const std::string shown = finding.section + finding.key + finding.text;
            EXPECT_LT(shown.size(), 1000U) << row.words;
            EXPECT_EQ(shown.find_first_of("\x1B\r\n"), std::string::npos) << row.words;
        }
    }
    DefinitionCheck checked;
    EXPECT_FALSE(checked.checkText(nullptr, 5));
    EXPECT_FALSE(checked.checkFile(nullptr));
    EXPECT_FALSE(checked.checkFile("/nowhere/generator.ini"));
    EXPECT_EQ(described(checked), "0 error [] : the file can't be opened\n");
    EXPECT_FALSE(checked.checkFile(sourceTree().c_str())); // a folder
}

TEST_F(DefinitionChecks, StandManyOddKeysAndStillTellWhatIsRefused) {
    for (const char* const value : {"", "1|0"}) {
        std::string text = "[coeffs0]\n";
        for (int i = *value == '\0' ? 0 : 1; i < 60000; ++i) {
            text += "c" + std::to_string(i) + "=" + value + "\n";
        }
        DefinitionCheck checked;
        EXPECT_FALSE(check(checked, text));
        EXPECT_LE(checked.findings().size(), 3 * (DefinitionCheck::MAX_FINDINGS + 1));
        EXPECT_NE(described(checked).find("m_generatorHost != nullptr"), std::string::npos);
    }
}

// What would be refused is told by the loaders' own steps, gone through to the end: they must come
// to the same verdict on whatever stands there.
TEST_F(DefinitionChecks, NeverDisagreeWithTheLoad) {
    std::mt19937 random(1);
    const auto below = [&](std::size_t limit) { return random() % limit; };
    unsigned taken = 0;
    for (const auto& [good, kind] :
         {std::pair(join(GOOD_GENERATOR), GENERATOR), std::pair(join(GOOD_MECHANICS), MECHANICS)}) {
        for (int i = 0; i < 1500; ++i) {
            std::string text = good;
            for (std::size_t slips = below(3); slips < 3; ++slips) {
                const std::size_t at = below(text.size());
                switch (below(3)) {
                case 0:
                    text.erase(at, 1 + below(12));
                    break;
                case 1:
                    text.insert(at, 1, "0129-|=.[]/*#;x \n\r\xE9"[below(19)]);
                    break;
                default:
                    text[at] = text[below(text.size())];
                }
            }
            DefinitionCheck checked;
            check(checked, text, kind);
            const bool loaded = loads(text, kind);
            ASSERT_EQ(checked.isLoadable(), loaded) << text << described(checked);
            ASSERT_TRUE(loaded || checked.count(ERROR) != 0) << text;
            taken += loaded ? 1U : 0U;
        }
    }
    EXPECT_GT(taken, 500U); // of both there are enough
    EXPECT_LT(taken, 2500U);
}
