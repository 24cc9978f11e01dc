#include "ToolRun.h"

#include "fus/Checksum.h"

#include "support/LogCapture.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>

namespace fus::tool::test {
namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;

// The digests are those of a tool of the system, over bytes that were written out by hand.
const std::string FILE_A1 = "CFB42A836F0443C6E6A83359CCEAA078D98AB817"; // [File]a=1
const std::string A1_LINE = "9DC9CFD3B38B77561EC22B49A723432E26181003"; // a=1, line feed
const std::string A1_FILE_VERSION_1 = "A8EA6AA96799F25BC3B7867E48D82AC5A768BC66";
const std::string NONE_RIGHT = "0123456789ABCDEF0123456789ABCDEF01234567";
const std::string RIGHT = "[File]\nchecksum = " + FILE_A1 + "\na=1\n";
const std::string WRONG = "[File]\nchecksum = " + NONE_RIGHT + "\na=1\n";
const std::string HEADER = "checksum = " + A1_LINE + "\na=1\n";

class ChecksumCommandTest : public testing::Test {
protected:
    std::string make(const std::string& name, const std::string& bytes) const {
        return m_scratch.write(name, bytes);
    }

    static std::string content(const std::string& file) { return ScratchDirectory::content(file); }

    /// Runs it on one file, and expects the code and the words that follow the file's name.
    static void expectTold(std::vector<std::string> words, const std::string& file, int code,
                           const std::string& told) {
        words.insert(words.begin(), "checksum");
        words.push_back(file);
        SCOPED_TRACE(testing::PrintToString(words));
        const ToolRun result(words);
        EXPECT_EQ(result.code, code);
        EXPECT_EQ(result.out + result.err, file + ": " + told + "\n");
        EXPECT_EQ(result.err, "");
    }

    const ScratchDirectory m_scratch;
};

TEST_F(ChecksumCommandTest, TellsHowTheChecksumOfAFileStands) {
    const std::string right = make("right", RIGHT);
    const std::string header = make("header", HEADER);
    expectTold({"verify"}, right, 0, "right: " + FILE_A1 + " in the section [File]");
    expectTold({"verify", "--any-format"}, right, 0,
               "right: " + FILE_A1 + " in the section [File]");
    expectTold({"verify"}, header, 1,
               "right, but not in the section [File]: " + A1_LINE + " before the first section");
    expectTold({"verify", "--any-format"}, header, 0,
               "right: " + A1_LINE + " before the first section");
    expectTold({"verify"}, make("wrong", WRONG), 1,
               "wrong: the checksum in the section [File] is '" + NONE_RIGHT +
                   "', the content has " + FILE_A1);
    expectTold({"verify", "--any-format"}, make("none", "[File]\na=1"), 1,
               "there is no checksum; the content has " + FILE_A1);
    expectTold({"verify"}, make("odd", "[File]\na=1\nchecksum = \x1B[2J\xE9\0\n"s), 1,
               "wrong: the checksum in the section [File] is '?[2J?\?', the content has " +
                   FILE_A1);
}

/// As the library says, which is silent over it.
bool isInForm(const std::string& file, Checksum::FileFormat format, Checksum::EOLType eol) {
    const fus::test::LogCapture silence(Log::NONE);
    return Checksum::validateFile(file.c_str(), format, eol) == Checksum::VALIDATION_OK;
}

TEST_F(ChecksumCommandTest, TellsEveryProblemOfFormAsTheLibraryDoes) {
    const struct {
        std::vector<std::string> options;
        Checksum::FileFormat format;
        Checksum::EOLType eol;
        std::string content;
        std::string told;
    } cases[] = {
        {{},
         Checksum::FORMAT_NONE,
         Checksum::EOL_UNKNOWN,
         WRONG,
         "in form: a checksum in the section [File], line ends of Linux (line feed)"},
        {{"--format", "header", "--eol=linux"},
         Checksum::FORMAT_HEADER,
         Checksum::EOL_LINUX,
         HEADER,
         "in form: a checksum before the first section, line ends of Linux (line feed)"},
        {{"--format", "file"},
         Checksum::FORMAT_FILE_SECTION,
         Checksum::EOL_UNKNOWN,
         HEADER,
         "the checksum stands before the first section, not in the section [File]"},
        {{"--format", "file", "--eol", "mac"},
         Checksum::FORMAT_FILE_SECTION,
         Checksum::EOL_MAC,
         "a=1",
         "there is no checksum in the section [File]"},
        {{"--eol", "mac"},
         Checksum::FORMAT_NONE,
         Checksum::EOL_MAC,
         RIGHT,
         "the line ends are of Linux (line feed), not of Mac (carriage return)"},
        {{"--eol", "dos"},
         Checksum::FORMAT_NONE,
         Checksum::EOL_DOS,
         "a=1",
         "the line ends are none, not of DOS (carriage return, line feed)"},
        {{},
         Checksum::FORMAT_NONE,
         Checksum::EOL_UNKNOWN,
         "# c\n",
         "there is nothing that a checksum covers, or no checksum (Checksum: no meaningful data "
         "found.)"},
        {{},
         Checksum::FORMAT_NONE,
         Checksum::EOL_UNKNOWN,
         "a=1\n",
         "there is nothing that a checksum covers, or no checksum (Checksum: no checksum found in "
         "input data.)"},
        {{"--eol", "linux"},
         Checksum::FORMAT_NONE,
         Checksum::EOL_LINUX,
         RIGHT + "\r\n",
         "a line end differs from the first one (Checksum: Inconsistent EOL found on line 3 "
         "(DOS).)"},
        {{},
         Checksum::FORMAT_NONE,
         Checksum::EOL_UNKNOWN,
         RIGHT + "b",
         "the last line has no line end (Checksum: no EOL at the end of input data.)"},
        {{},
         Checksum::FORMAT_NONE,
         Checksum::EOL_UNKNOWN,
         "checksum = 1\na=1\n",
         "the checksum doesn't have 40 characters (Checksum: invalid checksum format.)"},
        {{},
         Checksum::FORMAT_NONE,
         Checksum::EOL_UNKNOWN,
         RIGHT + "checksum\n",
         "there is more than one checksum (Checksum: More than one checksum found in INI (line 1 "
         "and 3, using first).)"},
    };
    for (const auto& c : cases) {
        const std::string file = make("a.ini", c.content);
        const bool inForm = isInForm(file, c.format, c.eol);
        std::vector<std::string> words = {"validate"};
        words.insert(words.end(), c.options.begin(), c.options.end());
        expectTold(words, file, inForm ? 0 : 1, c.told);
    }
}

TEST_F(ChecksumCommandTest, WritesTheRightChecksumOnlyWhereItIsNeededOrForced) {
    const std::string right = make("right", "  " + RIGHT);
    const auto longAgo = fs::last_write_time(right) - std::chrono::hours(1);
    fs::last_write_time(right, longAgo);
    expectTold({"update"}, right, 0, "right, and left alone: " + FILE_A1);
    EXPECT_EQ(fs::last_write_time(right), longAgo);
    EXPECT_EQ(content(right), "  " + RIGHT);
    expectTold({"update", "--force"}, right, 0, "written: " + FILE_A1 + " in the section [File]");
    EXPECT_EQ(content(right), "\n  " + RIGHT);

    const std::string wrong = make("wrong", WRONG);
    expectTold({"update"}, wrong, 0, "written: " + FILE_A1 + " in the section [File]");
    EXPECT_EQ(content(wrong), "\n" + RIGHT);
    const std::string header = make("header", "checksum=\ra=1");
    expectTold({"update"}, header, 0, "written: " + A1_LINE + " before the first section");
    EXPECT_EQ(content(header), "checksum = " + A1_LINE + "\ra=1\r");
    const std::string none = make("none", "a=1\n");
    expectTold({"update"}, none, 0, "written: " + A1_FILE_VERSION_1 + " in a new section [File]");
    EXPECT_EQ(content(none),
              "\na=1\n\n[File]\nversion = 1\nchecksum = " + A1_FILE_VERSION_1 + "\n");
    EXPECT_EQ(m_scratch.names().size(), 4U) << "nothing is left beside";
}

TEST_F(ChecksumCommandTest, ReplacesTheFileBehindALink) {
    const std::string real = make("real", WRONG);
    const std::string link = m_scratch.file("link");
    std::error_code refused;
    fs::create_symlink("real", link, refused);
    if (refused) {
        GTEST_SKIP() << "no links here: " << refused.message();
    }
    expectTold({"update"}, link, 0, "written: " + FILE_A1 + " in the section [File]");
    EXPECT_TRUE(fs::is_symlink(link));
    EXPECT_EQ(content(real), "\n" + RIGHT);
}

/// Whether this user may do what the permissions of a file forbid.
bool isAllMighty(const std::string& lockedFile) {
    return std::ofstream(lockedFile, std::ios::app).is_open();
}

TEST_F(ChecksumCommandTest, TellsWhyAFileCanNotBeHandledAndLeavesItAsItWas) {
    const std::string comments = make("comments", "# only\n");
    const std::string wide = make("wide", "a\0=\0"s);
    const std::string locked = make("locked", WRONG);
    fs::permissions(locked,
                    fs::perms::owner_write | fs::perms::group_write | fs::perms::others_write,
                    fs::perm_options::remove);
    fs::create_directory(m_scratch.file("directory"));
    const struct {
        std::string action;
        std::string file;
        const char* told;
    } cases[] = {
        {"verify", "missing", ": can't be read: "},
        {"validate", "missing", ": can't be read: "},
        {"update", "missing", ": can't be read: "},
        {"verify", "directory", ": can't be read: "},
        {"update", "directory", ": can't be read: "},
        {"verify", "comments", ": there is nothing that a checksum covers"},
        {"update", "comments", ": there is nothing that a checksum covers"},
        {"update", "locked", ": can't be written: "},
        {"update", "wide", ": holds bytes of 0"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.action + " " + c.file);
        const std::string file = m_scratch.file(c.file);
        const ToolRun result({"checksum", c.action, file});
        EXPECT_EQ(result.code, 1);
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(result.err.find("fus-tool checksum: " + file + c.told), 0U) << result.err;
        EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
    }
    EXPECT_EQ(content(comments), "# only\n");
    EXPECT_EQ(content(locked), WRONG);
    EXPECT_EQ(content(wide), "a\0=\0"s);
    EXPECT_EQ(m_scratch.names().size(), 4U) << "nothing is left beside";
    fs::permissions(locked, fs::perms::owner_write, fs::perm_options::add);
}

TEST_F(ChecksumCommandTest, LeavesAFileWholeWhereNothingCanBeMadeBesideIt) {
    const std::string directory = m_scratch.file("directory");
    fs::create_directory(directory);
    std::string file = make("directory/a.ini", WRONG);
    fs::permissions(directory, fs::perms::owner_write, fs::perm_options::remove);
    if (isAllMighty(directory + "/made")) {
        file = "/proc/self/comm"; // in a directory where the administrator can't either
    }
    const std::string before = content(file);
    if (before.empty()) {
        GTEST_SKIP() << "this user may write everywhere";
    }
    const ToolRun result({"checksum", "update", file});
    EXPECT_EQ(result.code, 1);
    EXPECT_EQ(result.err.find("fus-tool checksum: " + file + ": can't be written: "), 0U)
        << result.err;
    EXPECT_EQ(content(file), before);
    fs::permissions(directory, fs::perms::owner_write, fs::perm_options::add);
}

TEST_F(ChecksumCommandTest, TellsOfAFileThatCanNotBeRead) {
    std::string file = make("locked", WRONG);
    fs::permissions(file, fs::perms::none);
    if (!content(file).empty()) {
        file = "/proc/self/mem"; // which opens, but has nothing at its start
    }
    if (!fs::exists(file)) {
        GTEST_SKIP() << "this user may read everything";
    }
    for (const char* const action : {"verify", "update", "validate"}) {
        const ToolRun result({"checksum", action, file});
        EXPECT_EQ(result.code, 1);
        EXPECT_EQ(result.err.find("fus-tool checksum: " + file + ": can't be read: "), 0U)
            << result.err;
    }
    fs::permissions(m_scratch.file("locked"), fs::perms::owner_all);
}

TEST_F(ChecksumCommandTest, LeavesAFileAloneThatChangesMeanwhile) {
    // The library's log goes into the very file, from its reading on.
    const std::string file = make("a.ini", WRONG);
    const ToolRun result({"checksum", "update", file, "--log-file", file});
    EXPECT_EQ(result.code, 1);
    EXPECT_EQ(result.err, "fus-tool checksum: " + file +
                              ": was changed by somebody else meanwhile, and is left alone\n");
    EXPECT_EQ(content(file).find(WRONG), 0U);
    EXPECT_EQ(m_scratch.names(), std::vector<std::string>{"a.ini"});
}

TEST_F(ChecksumCommandTest, HandlesEveryFileAndFailsIfOneDid) {
    const std::string right = make("right", RIGHT);
    const std::string wrong = make("wrong", WRONG);
    const std::string missing = m_scratch.file("missing");
    const ToolRun verified({"checksum", "verify", wrong, missing, right});
    EXPECT_EQ(verified.code, 1);
    expectPart(verified.out, wrong + ": wrong: ");
    expectPart(verified.out, right + ": right: ");
    expectPart(verified.err, missing + ": can't be read: ");
    EXPECT_EQ(ToolRun({"checksum", "update", missing, wrong, right}).code, 1);
    EXPECT_EQ(content(wrong), "\n" + RIGHT);
    EXPECT_EQ(ToolRun({"checksum", "verify", wrong, right}).code, 0);
}

TEST_F(ChecksumCommandTest, PrintsADocumentForPrograms) {
    const std::string wrong = make("wrong", "[File]\nchecksum = \"\xFF\na=1\n");
    const std::string missing = m_scratch.file("missing");
    const ToolRun result({"checksum", "verify", "--json", wrong, missing});
    EXPECT_EQ(result.code, 1);
    EXPECT_EQ(result.err, "");
    const std::string head =
        "{\n  \"action\": \"verify\",\n  \"ok\": false,\n  \"files\": [\n    {\n"
        "      \"file\": ";
    EXPECT_EQ(result.out.find(head), 0U) << result.out;
    expectPart(result.out, "\"ok\": false,\n"
                           "      \"written\": false,\n");
    expectPart(result.out, "      \"problem\": \"VALIDATION_OK\",\n"
                           "      \"format\": \"file\",\n"
                           "      \"eol\": \"linux\",\n"
                           "      \"extracted\": \"\\\"\xEF\xBF\xBD\",\n"
                           "      \"computed\": \"" +
                               FILE_A1 + "\"\n    },\n");
    expectPart(result.out, "      \"problem\": null,\n"
                           "      \"format\": null,\n"
                           "      \"eol\": null,\n"
                           "      \"extracted\": null,\n"
                           "      \"computed\": null\n    }\n  ]\n}\n");
    const ToolRun updated({"checksum", "update", "--json", wrong});
    EXPECT_EQ(updated.code, 0);
    expectPart(updated.out, "\"ok\": true,\n      \"written\": true,\n");
    expectPart(ToolRun({"checksum", "validate", "--json", missing, wrong, "--eol", "dos"}).out,
               "\"problem\": \"VALIDATION_WRONG_EOL\"");
}

TEST_F(ChecksumCommandTest, RefusesCommandLinesBeforeItTouchesAFile) {
    const std::string file = make("a.ini", WRONG);
    const struct {
        std::vector<std::string> words;
        const char* told;
    } cases[] = {
        {{"update"}, "something is missing: verify|update|validate FILE..."},
        {{"repair", file}, "'repair' isn't verify, update or validate"},
        {{"update", "--any-format", file}, "--any-format goes with verify, not with update"},
        {{"verify", "--force", file}, "--force goes with update, not with verify"},
        {{"update", file, "--eol", "dos"}, "--eol goes with validate, not with update"},
        {{"validate", file, "--eol", "unix"}, "--eol: 'unix' isn't linux, mac or dos"},
        {{"validate", file, "--format=none"}, "--format: 'none' isn't header or file"},
    };
    for (const auto& c : cases) {
        std::vector<std::string> words = c.words;
        words.insert(words.begin(), "checksum");
        const ToolRun result(words);
        EXPECT_EQ(result.code, 2);
        EXPECT_EQ(result.err.find("fus-tool checksum: "s + c.told), 0U) << result.err;
    }
    EXPECT_EQ(content(file), WRONG);
}

} // namespace
} // namespace fus::tool::test
