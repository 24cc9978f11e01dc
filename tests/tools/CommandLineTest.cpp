#include "ToolRun.h"

#include "Errors.h"
#include "Text.h"

namespace fus::tool::test {
namespace {

TEST(CommandLineTest, AnswersEachCommandLineWithItsExitCodeAndATellingText) {
    struct Case {
        std::vector<std::string> words;
        int code;
        const char* out; // a part of it; empty: nothing is written there
        const char* err;
    };
    const Case cases[] = {
        {{}, 2, "", "usage: fus-tool COMMAND"},
        {{"help"}, 0, "  info ", ""},
        {{"-h"}, 0, "Exit code: 0 done or yes, 1 not done or no, 2 wrong use.", ""},
        {{"help", "info"}, 0, "usage: fus-tool info HOST[:PORT]", ""},
        {{"info", "--help"}, 0, "--ini FILE", ""},
        {{"info", "a", "b", "--help"}, 0, "usage: fus-tool info", ""},
        {{"help", "info", "info"}, 2, "", "fus-tool: help takes one command\n"},
        {{"version"}, 0, "fus-tool 1.6.1.2001 (", ""},
        {{"help", "ifno"}, 2, "", "fus-tool: unknown command 'ifno'\nTry 'fus-tool --help'.\n"},
        {{"in\x1B[2Jfo"}, 2, "", "unknown command 'in?[2Jfo'"},
        {{"info"}, 2, "", "something is missing: HOST[:PORT]\nTry 'fus-tool info --help'.\n"},
        {{"info", "a", "b"}, 2, "", "fus-tool info: 'b' is too much"},
        {{"info", "a", "--jsn"}, 2, "", "unknown option '--jsn'"},
        {{"info", "a", "--json=yes"}, 2, "", "--json takes no value"},
        {{"info", "a", "--json", "--json"}, 2, "", "--json is given twice"},
        {{"info", "a", "--ini"}, 2, "", "--ini needs a value: --ini FILE"},
        {{"info", "a", "--ini", "--json"}, 2, "", "--ini needs a value"},
        {{"info", "a", "--ini="}, 2, "", "--ini needs a value"},
        {{"info", "--", "--json"}, 1, "", "no generator answers at --json:1670"},
        {{"info", "a", "--timeout", "99"}, 2, "", "'99' isn't a whole number from 100 to 600000"},
        {{"info", "a", "--timeout", "1e3"}, 2, "", "--timeout: '1e3' isn't"},
        {{"info", "a", "--timeout=-1"}, 2, "", "--timeout: '-1' isn't"},
        {{"info", "a", "--log", "loud"}, 2, "", "--log: 'loud' isn't a level: error, info,"},
        {{"info", "a", "--log-file", "no/such/dir/log"}, 1, "", "no/such/dir/log: can't be opened"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.words));
        const ToolRun result(c.words);
        EXPECT_EQ(result.code, c.code);
        expectPart(result.out, c.out);
        expectPart(result.err, c.err);
        EXPECT_EQ(result.out.empty(), *c.out == '\0');
        EXPECT_EQ(result.err.empty(), *c.err == '\0');
    }
}

TEST(CommandLineTest, HelpsWithinEightyColumns) {
    std::vector<std::vector<std::string>> all = {{"help"}};
    for (const Command& command : commands()) {
        all.push_back({"help", command.name});
    }
    for (const auto& words : all) {
        std::istringstream text(ToolRun(words).out);
        for (std::string line; std::getline(text, line);) {
            EXPECT_LT(line.size(), 80U) << line;
        }
    }
}

TEST(CommandLineTest, ReadsAddressesAndSaysWhatIsWrongWithThem) {
    for (const char* const good : {"rack", "10.0.0.1:1", "10.0.0.1:65535"}) {
        const Address address = parseAddress(good);
        EXPECT_EQ(address.text(), std::string(good) + (address.host == good ? ":1670" : ""));
    }
    const struct {
        const char* text;
        const char* part;
    } cases[] = {
        {"", "'' names no host"},
        {":1670", "':1670' names no host"},
        {"a b", "'a b' names no host"},
        {"http://a", "port: '//a' isn't"},
        {"rack:", "'rack:' has no port behind its colon"},
        {"rack:0", "port: '0' isn't a whole number from 1 to 65535"},
        {"rack:65536", "port: '65536' isn't"},
        {"rack:16 70", "port: '16 70' isn't"},
        {"rack:+5", "port: '+5' isn't"},
        {"::1", "'::1' names no host"},
        {"fe80::1", "more than one colon"},
    };
    for (const auto& c : cases) {
        try {
            parseAddress(c.text);
            ADD_FAILURE() << c.text;
        } catch (const UsageError& error) {
            expectPart(error.what(), c.part);
        }
    }
}

TEST(CommandLineTest, NamesTheLibrarysReasonWhenNoGeneratorAnswers) {
    std::string address;
    {
        SimulatedGenerator gone;
        address = gone.address();
    }
    const ToolRun refused({"info", address});
    EXPECT_EQ(refused.code, 1);
    expectPart(refused.err, "fus-tool info: no generator answers at " + address + ": Connection");
    EXPECT_EQ(std::count(refused.err.begin(), refused.err.end(), '\n'), 1);
    const ToolRun unknown({"info", "no such name.invalid"});
    EXPECT_EQ(unknown.code, 2);
}

TEST(CommandLineTest, WritesTheLogWhereItIsAskedToAndNowhereElse) {
    SimulatedGenerator generator;
    const ScratchDirectory scratch;
    const std::string file = scratch.file("session.log");
    testing::internal::CaptureStderr();
    EXPECT_EQ(ToolRun({"info", generator.address()}).code, 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    testing::internal::CaptureStderr();
    EXPECT_EQ(ToolRun({"info", generator.address(), "--log-file", file}).code, 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    expectPart(ScratchDirectory::content(file), "Connection done");
    testing::internal::CaptureStderr();
    EXPECT_EQ(ToolRun({"info", generator.address(), "--log", "info"}).code, 0);
    expectPart(testing::internal::GetCapturedStderr(), "Connection done");
}

TEST(TextTest, PutsNumbersIntoRanges) {
    EXPECT_EQ(ranges({}), "");
    EXPECT_EQ(ranges({4}), "4");
    EXPECT_EQ(ranges({0, 1, 2, 4, 6, 7}), "0-2, 4, 6-7");
}

TEST(TextTest, AlignsColumnsAndLeavesNoBlanksAtTheEnd) {
    Table table({Table::Align::LEFT, Table::Align::RIGHT});
    table.add({"a", "1000", "x"});
    table.add({"long", "2"});
    table.add({});
    std::ostringstream out;
    table.print(out, 1);
    EXPECT_EQ(out.str(), " a     1000  x\n long     2\n\n");
}

} // namespace
} // namespace fus::tool::test
