#include "fus/Checksum.h"
#include "fus/FUSException.h"
#include "fus/P_ChecksumPrivate.h"
#include "fus/P_SHA.h"

#include "support/LogCapture.h"
#include "support/ScratchDirectory.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>

using namespace fus;
using namespace std::string_literals;

namespace {

using test::LogLines;
using test::ScratchDirectory;

// The digests are those of a tool of the system, over bytes that were written out by hand.
const std::string A1 = "86EDA770A6060824B090DD4DF091E3BD4121279C";      // a=1
const std::string A1_LINE = "9DC9CFD3B38B77561EC22B49A723432E26181003"; // a=1, line feed
const std::string FILE_A1 = "CFB42A836F0443C6E6A83359CCEAA078D98AB817"; // [File]a=1
const std::string A1_FILE_VERSION_1 = "A8EA6AA96799F25BC3B7867E48D82AC5A768BC66";
const std::string A1_B2 = "10CF73D13B980E22C78ECDC13F556962F871D697"; // a=1b=2
const std::string BYTES = "EC64AFF2F95CD9B415E4F9DB1B93FB3DACA6D1B0"; // k=, E9, 00, FF, v
const std::string NONE_RIGHT = "0123456789ABCDEF0123456789ABCDEF01234567";
const std::string MARK = "\xEF\xBB\xBF";

std::string bytesOf(const Message& message) {
    return message.c_str() == nullptr ? std::string()
                                      : std::string(message.c_str(), message.size());
}

void load(Checksum& checksum, const std::string& text) {
    ASSERT_TRUE(checksum.loadData(text.data(), text.size()));
}

void expectRefusal(FUSError error, const std::string& path, bool force) {
    try {
        Checksum::updateFile(path.c_str(), force);
        ADD_FAILURE() << path;
    } catch (const FUSException& e) {
        EXPECT_EQ(error, e.errorCode()) << path;
    }
}

TEST(ChecksumTest, CoversWhatATextMeansAndFindsItsChecksumLine) {
    using C = Checksum;
    const std::string other = "checksum = " + NONE_RIGHT;
    const struct {
        std::string text;
        C::ValidationProblem strict;
        C::FileFormat format;
        C::EOLType eol;
        std::string digest; // of a reading that isn't strict; empty: VALIDATION_NO_DATA
        std::string extracted;
    } rows[] = {
        // without a checksum: blanks, comments, bytes
        {"a=1", C::VALIDATION_NO_FINAL_EOL, C::FORMAT_NONE, C::EOL_UNKNOWN, A1, ""},
        {"  a=1  \n", C::VALIDATION_NO_DATA, C::FORMAT_NONE, C::EOL_LINUX, A1, ""},
        {"# x\n\n; y\n\ta=1 \t\n  # z\n \t \n", C::VALIDATION_NO_DATA, C::FORMAT_NONE, C::EOL_LINUX,
         A1, ""},
        {"a = 1\n", C::VALIDATION_NO_DATA, C::FORMAT_NONE, C::EOL_LINUX,
         "B88F1EC0C9FE96FDE96A6F9DABCBEEE661DD7AFE", ""},
        {"\va=1\v\n", C::VALIDATION_NO_DATA, C::FORMAT_NONE, C::EOL_LINUX,
         "08C7AEB4C9BF5704B0F615E59CA607B7F00F67A7", ""},
        {"k=\xE9\0\xFFv\n"s, C::VALIDATION_NO_DATA, C::FORMAT_NONE, C::EOL_LINUX, BYTES, ""},
        {"", C::VALIDATION_NO_DATA, C::FORMAT_NONE, C::EOL_UNKNOWN, "", ""},
        {"\r\n\r\n", C::VALIDATION_NO_DATA, C::FORMAT_NONE, C::EOL_DOS, "", ""},
        {"# a\n ;b\n", C::VALIDATION_NO_DATA, C::FORMAT_NONE, C::EOL_LINUX, "", ""},
        {" \t", C::VALIDATION_NO_FINAL_EOL, C::FORMAT_NONE, C::EOL_UNKNOWN, "", ""},
        // line ends
        {"a=1\rb=2\r", C::VALIDATION_NO_DATA, C::FORMAT_NONE, C::EOL_MAC, A1_B2, ""},
        {"a=1\r\nb=2\r\n", C::VALIDATION_NO_DATA, C::FORMAT_NONE, C::EOL_DOS, A1_B2, ""},
        {"a=1\r\nb=2", C::VALIDATION_NO_FINAL_EOL, C::FORMAT_NONE, C::EOL_DOS, A1_B2, ""},
        {"a=1\r\nb=2\r", C::VALIDATION_INCONSISTENT_EOL, C::FORMAT_NONE, C::EOL_DOS, A1_B2, ""},
        {"a=1\n\r\nb=2\n", C::VALIDATION_INCONSISTENT_EOL, C::FORMAT_NONE, C::EOL_LINUX, A1_B2, ""},
        {"a=1\r\rb=2\n", C::VALIDATION_INCONSISTENT_EOL, C::FORMAT_NONE, C::EOL_MAC, A1_B2, ""},
        // byte order marks
        {MARK, C::VALIDATION_NO_FINAL_EOL, C::FORMAT_NONE, C::EOL_UNKNOWN,
         "57218C316B6921E2CD61027A2387EDC31A2D9471", ""},
        {MARK + "\n", C::VALIDATION_NO_DATA, C::FORMAT_NONE, C::EOL_LINUX, "", ""},
        {MARK + MARK, C::VALIDATION_NO_FINAL_EOL, C::FORMAT_NONE, C::EOL_UNKNOWN,
         "57218C316B6921E2CD61027A2387EDC31A2D9471", ""},
        {MARK + other + "\na=1\n", C::VALIDATION_OK, C::FORMAT_HEADER, C::EOL_LINUX, A1_LINE,
         NONE_RIGHT},
        // in a section
        {"[File]\na=1\n" + other + "\n", C::VALIDATION_OK, C::FORMAT_FILE_SECTION, C::EOL_LINUX,
         FILE_A1, NONE_RIGHT},
        {"\r\n  [File]\r\n\tchecksum:" + NONE_RIGHT + "\r\n# c\r\n a=1 \r\n", C::VALIDATION_OK,
         C::FORMAT_FILE_SECTION, C::EOL_DOS, FILE_A1, NONE_RIGHT},
        {"[File]\na=1\nchecksum \v= \t\fabcdefghABCDEFGH0123456789abcdefghijklmn\n",
         C::VALIDATION_OK, C::FORMAT_FILE_SECTION, C::EOL_LINUX, FILE_A1,
         "ABCDEFghABCDEFGH0123456789ABCDEFghijklmn"},
        {"[File] trailing\na=1\n" + other + "\n", C::VALIDATION_OK, C::FORMAT_FILE_SECTION,
         C::EOL_LINUX, "40A2F8F2BFD5686E634F1B66F8E471C87607654B", NONE_RIGHT},
        {"[Files]\nchecksum = 1\na=1\n", C::VALIDATION_NO_DATA, C::FORMAT_NONE, C::EOL_LINUX,
         "1A6B5D26A85843CE6AC26F7F76FE90139ED70E1C", ""},
        {"[Other]\nchecksum = 5\na=1\n", C::VALIDATION_NO_DATA, C::FORMAT_NONE, C::EOL_LINUX,
         "E9C31414245086E00243EE16ECCE361F4EB2B7D6", ""},
        {"[Other]\nchecksum = 5\n[File]\n" + other + "\na=1\n", C::VALIDATION_OK,
         C::FORMAT_FILE_SECTION, C::EOL_LINUX, "73B13937AD6152D8B4A64091C17C97FC5C3B6977",
         NONE_RIGHT},
        {"[File]\n[ab]\nchecksum = 1\n", C::VALIDATION_NO_DATA, C::FORMAT_NONE, C::EOL_LINUX,
         "CF5456C94711A13D8B1C69643B54F0FB3C777437", ""},
        // in front of the sections
        {other + "\n# other\n[ab]\nx=1\n", C::VALIDATION_OK, C::FORMAT_HEADER, C::EOL_LINUX,
         "A2967C32EE56EADEE1C265BD73DD8313E544DE63", NONE_RIGHT},
        {other + "\r# other\r[ab]\rx=1\r", C::VALIDATION_OK, C::FORMAT_HEADER, C::EOL_MAC,
         "A2967C32EE56EADEE1C265BD73DD8313E544DE63", NONE_RIGHT},
        {other + "\n[ab]\nx=1", C::VALIDATION_NO_FINAL_EOL, C::FORMAT_HEADER, C::EOL_LINUX,
         "4A3427DEB19BA5337FB84EDDCAE8C59D8BEDB43D", NONE_RIGHT},
        {other + "\n# c\n\n a=1 \n[b]\n", C::VALIDATION_OK, C::FORMAT_HEADER, C::EOL_LINUX,
         "E3C37216AC64453E50A0ED6CCB56A84F9F9E4B06", NONE_RIGHT},
        {"# before\n x=0\n" + other + "\na=1\n", C::VALIDATION_OK, C::FORMAT_HEADER, C::EOL_LINUX,
         A1_LINE, NONE_RIGHT},
        {"x=1\n" + other + "\n", C::VALIDATION_OK, C::FORMAT_HEADER, C::EOL_LINUX,
         "DA39A3EE5E6B4B0D3255BFEF95601890AFD80709", NONE_RIGHT},
        {other + "\nk=\xE9\0\xFFv\n"s, C::VALIDATION_OK, C::FORMAT_HEADER, C::EOL_LINUX,
         "AB5C78C9A0939192C177BE6DB5E1EFCC3ADB9A60", NONE_RIGHT},
        {other + "\n", C::VALIDATION_NO_DATA, C::FORMAT_HEADER, C::EOL_LINUX, "", NONE_RIGHT},
        // more than one, and what only looks like one
        {other + "\na=1\nchecksum = 22\n", C::VALIDATION_MANY_CHECKSUMS, C::FORMAT_HEADER,
         C::EOL_LINUX, "1A143832EAE7D35E362FD9947BBCCFCB5B5D974B", NONE_RIGHT},
        {"[File]\na=1\n" + other + "\nchecksum = 22\n", C::VALIDATION_MANY_CHECKSUMS,
         C::FORMAT_FILE_SECTION, C::EOL_LINUX, "F3C24682C0D62FCBFB66E94D102DA577F454695E",
         NONE_RIGHT},
        {other + "\nchecksums=3\na=1\n", C::VALIDATION_MANY_CHECKSUMS, C::FORMAT_HEADER,
         C::EOL_LINUX, "A8343874D81152258521FF33BD17A45AA4098EF7", NONE_RIGHT},
        {"checksums = 1\n" + other + "\na=1\n", C::VALIDATION_OK, C::FORMAT_HEADER, C::EOL_LINUX,
         A1_LINE, NONE_RIGHT},
        {"checksums = 1\na=1\n", C::VALIDATION_NO_DATA, C::FORMAT_NONE, C::EOL_LINUX,
         "988C6BD6FD96B3B8219AD7A56F7B1EF1BA6C9A85", ""},
        {"checksum 12\na=1\n", C::VALIDATION_NO_DATA, C::FORMAT_NONE, C::EOL_LINUX,
         "8C95D28C600AA7C52095DCBF1A532A69FB98AEB6", ""},
        {"checksum\na=1\n", C::VALIDATION_NO_DATA, C::FORMAT_NONE, C::EOL_LINUX,
         "53201F42D398966469A4A819FEA2997FD6C97836", ""},
        {"Checksum = 1\na=1\n", C::VALIDATION_NO_DATA, C::FORMAT_NONE, C::EOL_LINUX,
         "576A5B590547EFFD6E0A08CA1736A341E788E2C9", ""},
        // of another form
        {"checksum =\na=1\n", C::VALIDATION_NO_DATA, C::FORMAT_HEADER, C::EOL_LINUX, A1_LINE, ""},
        {"checksum = 123\na=1\n", C::VALIDATION_BAD_FORMAT, C::FORMAT_HEADER, C::EOL_LINUX, A1_LINE,
         "123"},
        {other + " \na=1\n", C::VALIDATION_BAD_FORMAT, C::FORMAT_HEADER, C::EOL_LINUX, A1_LINE,
         NONE_RIGHT + " "},
        {"checksum = \xE9\0f\na=1\n"s, C::VALIDATION_BAD_FORMAT, C::FORMAT_HEADER, C::EOL_LINUX,
         A1_LINE, "\xE9\0F"s},
    };
    test::LogCapture log(Log::NONE);
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text);
        Checksum checksum;
        load(checksum, row.text);
        EXPECT_EQ(row.digest.empty() ? C::VALIDATION_NO_DATA : C::VALIDATION_OK,
                  checksum.compute(false));
        EXPECT_EQ(!row.digest.empty(), checksum.isComputed());
        EXPECT_EQ(row.digest, bytesOf(checksum.getComputedChecksum()));
        EXPECT_EQ(row.extracted, bytesOf(checksum.getExtractedChecksum()));
        EXPECT_EQ(row.format, checksum.getFileFormat());
        EXPECT_EQ(row.eol, checksum.getEOLType());
        EXPECT_FALSE(checksum.isChecksumOk());

        EXPECT_EQ(row.strict, checksum.compute(true));
        EXPECT_EQ(row.strict == C::VALIDATION_OK, checksum.isComputed());
        EXPECT_EQ(row.strict == C::VALIDATION_OK ? row.digest : "",
                  bytesOf(checksum.getComputedChecksum()));
        EXPECT_EQ(row.eol, checksum.getEOLType());
    }
}

TEST(ChecksumTest, TellsARightChecksumFromAWrongOne) {
    const struct {
        std::string text;
        bool right;
    } rows[] = {
        {"[File]\nchecksum = " + FILE_A1 + "\na=1\n", true},
        {"[File]\r\nchecksum = cfb42a836f0443c6e6a83359cceaa078d98ab817\r\n\r\n# new\r\n\ta=1",
         true},
        {"[File]\rchecksum=Cfb42a836f0443c6e6a83359cceaa078d98ab817\ra=1\r", true},
        {"[File]\nchecksum = " + FILE_A1 + " \na=1\n", false},
        {"[File]\nchecksum = " + FILE_A1 + "\na=2\n", false},
        {"[File]\nchecksum = " + FILE_A1 + "\0\na=1\n"s, false},
        {"[File]\nchecksum = " + FILE_A1.substr(1) + "\na=1\n", false},
        {"checksum = " + A1_LINE + "\na=1\n", true},
        {"checksum = " + A1_LINE + "\r\na=1", true},
        {"checksum = " + A1_LINE + "\n# new\na=1\n", false},
        {"checksum = " + A1_LINE + "\n a=1\n", false},
    };
    for (const auto& row : rows) {
        Checksum checksum;
        load(checksum, row.text);
        EXPECT_FALSE(checksum.isChecksumOk());
        ASSERT_EQ(Checksum::VALIDATION_OK, checksum.compute(false));
        EXPECT_EQ(row.right, checksum.isChecksumOk()) << row.text;
    }
}

TEST(ChecksumTest, TellsWhatItFoundInTheOrderOfTheLines) {
    const LogLines start = {
        {Log::DEBUG, "Checksum: EOL type: EOL_LINUX."},
        {Log::DEBUG, "Checksum: extracted = 9dc9"},
    };
    const auto more = [&start](const LogLines& lines) {
        LogLines all = start;
        all.insert(all.end(), lines.begin(), lines.end());
        return all;
    };
    const std::string two =
        "Checksum: More than one checksum found in INI (line 0 and 2, using first).";
    const struct {
        std::string text;
        bool strict;
        LogLines lines;
    } rows[] = {
        {"checksum = 9dc9\na=1\nchecksum\n", false,
         more({{Log::ERROR, two},
               {Log::DEBUG, "Checksum: content found: 3 total lines, 11 meaningful bytes."},
               {Log::DEBUG, "SHA1: init."},
               {Log::DEBUG, "SHA1: adding 13 bytes of data."},
               {Log::DEBUG, "SHA1: closing."},
               {Log::DEBUG, "Checksum: computed  = 7CDCE2DA928BDADF14EA88B8CB5942AD9E454745."}})},
        {"checksum = 9dc9\na=1\nchecksum\nb=2", true, more({{Log::ERROR, two}})},
        {"checksum = 9dc9\r\n",
         true,
         {{Log::DEBUG, "Checksum: EOL type: EOL_DOS."},
          start[1],
          {Log::DEBUG, "Checksum: content found: 1 total lines, 0 "
                       "meaningful bytes."},
          {Log::ERROR, "Checksum: no meaningful data found."}}},
        {"checksum = 9dc9\na=1\n", true,
         more({{Log::DEBUG, "Checksum: content found: 2 total lines, 3 meaningful bytes."},
               {Log::ERROR, "Checksum: invalid checksum format."}})},
        {"a=1\r",
         true,
         {{Log::DEBUG, "Checksum: EOL type: EOL_MAC."},
          {Log::DEBUG, "Checksum: content found: 1 total lines, 3 meaningful bytes."},
          {Log::ERROR, "Checksum: no checksum found in input data."}}},
        {"a=1",
         true,
         {{Log::DEBUG, "Checksum: EOL type: EOL_UNKNOWN."},
          {Log::ERROR, "Checksum: no EOL at the end of input data."}}},
        {"checksum = 9dc9\n\r\na=1\r", true,
         more({{Log::ERROR, "Checksum: Inconsistent EOL found on line 1 (DOS)."}})},
        {"checksum = 9dc9\n\n\n\ra=1", true,
         more({{Log::ERROR, "Checksum: Inconsistent EOL found on line 3 (MAC)."}})},
        {"a=1\r\nb=2\nchecksum = 1\n",
         true,
         {{Log::DEBUG, "Checksum: EOL type: EOL_DOS."},
          {Log::ERROR, "Checksum: Inconsistent EOL found on line 1 (LINUX)."}}},
    };
    for (const auto& row : rows) {
        Checksum checksum;
        load(checksum, row.text);
        test::LogCapture log;
        checksum.compute(row.strict);
        EXPECT_EQ(row.lines, log.lines()) << row.text;
    }
}

TEST(ChecksumTest, PutsTheFreshChecksumWhereTheOldOneStoodOrIntoANewSection) {
    const std::string bytes = "k=\xE9\0\xFFv"s;
    const std::string added = "\n\n[File]\nversion = 1\nchecksum = " + A1_FILE_VERSION_1 + "\n";
    const struct {
        int version;
        std::string text;
        std::string updated;
    } rows[] = {
        {1, "a=1",
         "\r\na=1\r\n\r\n[File]\r\nversion = 1\r\nchecksum = " + A1_FILE_VERSION_1 + "\r\n"},
        {1, "\n \t\n# c\n\ta=1\n\n ", "\n# c\n\ta=1" + added},
        {1, MARK + "a=1\n", "\na=1" + added},
        {7, bytes + "\r",
         "\r" + bytes +
             "\r\r[File]\rversion = 7\rchecksum = 37352525C9CEECA62DAE16EFAC662C81D1AC4940\r"},
        {-3, "[ab]\na=1\n",
         "\n[ab]\na=1\n\n[File]\nversion = -3\n"
         "checksum = DAFD33F303A0B4548EDD63420B3AD223DB35F842\n"},
        {1, "\n\n[File]\n checksum : old ; x\n\ta=1\n\n",
         "\n[File]\nchecksum = " + FILE_A1 + "\n\ta=1\n"},
        {1, "[File]\r\n\ra=1\nchecksum=\r",
         "\r\n[File]\r\n\r\na=1\r\nchecksum = " + FILE_A1 + "\r\n"},
        {1, "\n\n# c\n\tchecksum=1\n\na=1\n\n",
         "\n\n# c\nchecksum = 7811129AACB555C54A226CF4986B5E3C895C426E\n\na=1\n\n"},
        {1, MARK + "checksum=1\r" + bytes,
         "checksum = AB5C78C9A0939192C177BE6DB5E1EFCC3ADB9A60\r" + bytes + "\r"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text);
        Checksum checksum(row.version);
        load(checksum, row.text);
        EXPECT_EQ(nullptr, checksum.getUpdatedData().c_str()) << "nothing is computed";
        ASSERT_EQ(Checksum::VALIDATION_OK, checksum.compute(false));
        EXPECT_EQ(row.updated, bytesOf(checksum.getUpdatedData()));
        EXPECT_EQ(row.updated, bytesOf(checksum.getUpdatedData())) << "a second time";
        EXPECT_FALSE(checksum.isChecksumOk()) << "the text that was loaded has not changed";

        load(checksum, row.updated);
        EXPECT_EQ(Checksum::VALIDATION_OK, checksum.compute(true));
        EXPECT_TRUE(checksum.isChecksumOk());
        EXPECT_EQ(row.updated, bytesOf(checksum.getUpdatedData())) << "an update of an update";

        load(checksum, "# c\na=1\n");
        ASSERT_EQ(Checksum::VALIDATION_OK, checksum.compute(false));
        EXPECT_EQ(0U, bytesOf(checksum.getUpdatedData()).find("\n# c\na=1\n\n[File]\nversion = "))
            << "the next text begins anew";
    }
}

TEST(ChecksumTest, ForgetsTheLaterStagesButNotTheText) {
    Checksum checksum;
    test::LogCapture log(Log::INFO);
    EXPECT_FALSE(checksum.loadData(nullptr, 5));
    EXPECT_TRUE(checksum.loadData("", 0));
    EXPECT_FALSE(checksum.loadFile(nullptr));
    EXPECT_FALSE(checksum.writeFile("never-written"));
    EXPECT_EQ((LogLines{{Log::INFO, "Checksum: loading input data from memory: 5 bytes."},
                        {Log::INFO, "Checksum: loading input data from memory: 0 bytes."},
                        {Log::INFO, "Checksum: loading input data from file: ."},
                        {Log::ERROR, "Checksum: Can not open file ."}}),
              log.lines());
    EXPECT_FALSE(std::filesystem::exists("never-written"));
    const std::string text = "[File]\nchecksum = " + FILE_A1 + "\na=1\n";
    const std::string missing = ScratchDirectory().file("missing");
    for (const bool fromFile : {false, true}) {
        load(checksum, text);
        ASSERT_EQ(Checksum::VALIDATION_OK, checksum.compute(false));
        EXPECT_TRUE(checksum.isChecksumOk());
        EXPECT_FALSE(fromFile ? checksum.loadFile(missing.c_str()) : checksum.loadData(nullptr, 1));
        EXPECT_FALSE(checksum.isComputed());
        EXPECT_FALSE(checksum.isChecksumOk());
        EXPECT_EQ(Checksum::FORMAT_NONE, checksum.getFileFormat());
        EXPECT_EQ(Checksum::EOL_UNKNOWN, checksum.getEOLType());
        EXPECT_EQ(nullptr, checksum.getComputedChecksum().c_str());
        EXPECT_EQ(nullptr, checksum.getExtractedChecksum().c_str());
        EXPECT_EQ(nullptr, checksum.getUpdatedData().c_str());
        EXPECT_EQ(Checksum::VALIDATION_OK, checksum.compute(true));
        EXPECT_TRUE(checksum.isChecksumOk());
    }
}

/// A hash that never comes to its end.
class BrokenContext : public SHAContext {
public:
    void addData(const void*, size_t) override {}
    void close() override {}
    unsigned digestSize() const override { return 20; }
    const unsigned char* digest() const override { return nullptr; }
};

TEST(ChecksumTest, HasNoDigestWhereTheHashGivesNone) {
    ChecksumPrivate checksum(1);
    checksum.store("a=1");
    ASSERT_EQ(Checksum::VALIDATION_OK, checksum.compute(false));
    test::LogCapture log;
    BrokenContext context;
    EXPECT_FALSE(checksum.computeDigest(context));
    EXPECT_EQ((LogLines{{Log::ERROR, "Checksum: an error occurred while computing the checksum."}}),
              log.lines());
    EXPECT_FALSE(checksum.computed);
    EXPECT_EQ("", checksum.computedChecksum);
    EXPECT_FALSE(checksum.updateLines());
}

TEST(ChecksumTest, UpdatesNoTextOfAFormatThatItDoesNotKnow) {
    ChecksumPrivate checksum(1);
    checksum.store("a=1");
    ASSERT_EQ(Checksum::VALIDATION_OK, checksum.compute(false));
    checksum.fileFormat = static_cast<Checksum::FileFormat>(3);
    test::LogCapture log;
    EXPECT_FALSE(checksum.updateLines());
    EXPECT_EQ((LogLines{{Log::ERROR, "Checksum: unexpected format (3)."}}), log.lines());
    EXPECT_EQ(std::vector<std::string>{"a=1"}, checksum.lines);
}

TEST(ChecksumTest, TakesTimeInStepWithTheNumberOfLines) {
    const std::string blanks(2000000, '\n');
    Checksum checksum;
    load(checksum, blanks + "a=1" + blanks);
    ASSERT_EQ(Checksum::VALIDATION_OK, checksum.compute(false));
    EXPECT_EQ("\na=1\n\n[File]\nversion = 1\nchecksum = " + A1_FILE_VERSION_1 + "\n",
              bytesOf(checksum.getUpdatedData()));
}

TEST(ChecksumTest, JudgesFilesByTheirValueOrByTheirForm) {
    using C = Checksum;
    const ScratchDirectory folder;
    const std::string missing = folder.file("missing");
    const std::string right = "[File]\nchecksum = " + FILE_A1 + "\na=1\n";
    const std::string header = "checksum = " + A1_LINE + "\r\na=1\r\n";
    const struct {
        std::string path;
        bool ok, okInAnyFormat;
        C::FileFormat format;
        C::EOLType eol;
        C::ValidationProblem problem;
    } rows[] = {
        {folder.write("right", right), true, true, C::FORMAT_NONE, C::EOL_UNKNOWN,
         C::VALIDATION_OK},
        {folder.file("right"), true, true, C::FORMAT_FILE_SECTION, C::EOL_LINUX, C::VALIDATION_OK},
        {folder.file("right"), true, true, C::FORMAT_HEADER, C::EOL_DOS, C::VALIDATION_BAD_FORMAT},
        {folder.file("right"), true, true, C::FORMAT_NONE, C::EOL_DOS, C::VALIDATION_WRONG_EOL},
        {folder.write("header", header), false, true, C::FORMAT_HEADER, C::EOL_DOS,
         C::VALIDATION_OK},
        {folder.write("large", std::string(200000, ' ') + "\n" + right), true, true, C::FORMAT_NONE,
         C::EOL_LINUX, C::VALIDATION_OK},
        {folder.write("unended", "[File]\r\nchecksum = " + FILE_A1 + "\na=1"), true, true,
         C::FORMAT_NONE, C::EOL_DOS, C::VALIDATION_INCONSISTENT_EOL},
        {folder.write("wrong", "[File]\nchecksum = " + NONE_RIGHT + "\n"), false, false,
         C::FORMAT_FILE_SECTION, C::EOL_LINUX, C::VALIDATION_OK},
        {folder.write("none", "a=1"), false, false, C::FORMAT_NONE, C::EOL_LINUX,
         C::VALIDATION_WRONG_EOL},
        {folder.file("none"), false, false, C::FORMAT_HEADER, C::EOL_LINUX,
         C::VALIDATION_BAD_FORMAT},
        {folder.file("none"), false, false, C::FORMAT_NONE, C::EOL_UNKNOWN,
         C::VALIDATION_NO_FINAL_EOL},
        {folder.write("mixed", header + "\n"), false, false, C::FORMAT_HEADER, C::EOL_DOS,
         C::VALIDATION_INCONSISTENT_EOL},
        {folder.write("comments", "# a\n"), false, false, C::FORMAT_NONE, C::EOL_LINUX,
         C::VALIDATION_NO_DATA},
        {missing, false, false, C::FORMAT_HEADER, C::EOL_MAC, C::VALIDATION_NO_DATA},
        {folder.path(), false, false, C::FORMAT_HEADER, C::EOL_MAC, C::VALIDATION_NO_DATA},
    };
    test::LogCapture log(Log::NONE);
    for (const auto& row : rows) {
        EXPECT_EQ(row.ok, C::checkFile(row.path.c_str(), false)) << row.path;
        EXPECT_EQ(row.okInAnyFormat, C::checkFile(row.path.c_str(), true)) << row.path;
        EXPECT_EQ(row.problem, C::validateFile(row.path.c_str(), row.format, row.eol)) << row.path;
    }
}

TEST(ChecksumTest, UpdatesAFileOnceAndLeavesAValidOneAlone) {
    const ScratchDirectory folder;
    const std::string path = folder.write("a.ini", "k=\xE9\0\xFFv\n"s);
    {
        test::LogCapture log(Log::INFO);
        EXPECT_TRUE(Checksum::updateFile(path.c_str(), false));
        EXPECT_EQ((LogLines{{Log::INFO, "Checksum: loading input data from file: " + path + "."},
                            {Log::INFO, "Checksum: loading input data from memory: 7 bytes."}}),
                  log.lines());
    }
    const std::string updated = ScratchDirectory::content(path);
    EXPECT_EQ(0U, updated.find("\nk=\xE9\0\xFFv\n\n[File]\nversion = 1\nchecksum = "s)) << updated;
    EXPECT_TRUE(Checksum::checkFile(path.c_str(), false));

    const std::string indented = "   " + updated;
    folder.write("a.ini", indented);
    const auto longAgo = std::filesystem::last_write_time(path) - std::chrono::hours(1);
    std::filesystem::last_write_time(path, longAgo);
    EXPECT_FALSE(Checksum::updateFile(path.c_str(), false));
    EXPECT_EQ(longAgo, std::filesystem::last_write_time(path));
    EXPECT_EQ(indented, ScratchDirectory::content(path));
    EXPECT_TRUE(Checksum::updateFile(path.c_str(), true));
    EXPECT_EQ(updated, ScratchDirectory::content(path));
}

/// A text that can be read but not written, whoever asks: an administrator may write a file that is
/// only marked so.
std::string unwritableFile(const ScratchDirectory& folder) {
    const std::string path = folder.write("unwritable", "a=1\n");
    const auto writing = std::filesystem::perms::owner_write | std::filesystem::perms::group_write |
                         std::filesystem::perms::others_write;
    std::filesystem::permissions(path, writing, std::filesystem::perm_options::remove);
    return std::ofstream(path, std::ios::app) ? "/proc/sys/kernel/ostype" : path;
}

TEST(ChecksumTest, RefusesWhatItCannotReadOrUnderstandOrWrite) {
    const ScratchDirectory folder;
    const std::string missing = folder.file("missing");
    const std::string comments = folder.write("comments", "# a\n");
    const std::string unwritable = unwritableFile(folder);
    const std::string before = ScratchDirectory::content(unwritable);
    test::LogCapture log(Log::ERROR);
    expectRefusal(ERR_FILE_READ, missing, true);
    expectRefusal(ERR_CONFIG_PARSE, comments, true);
    expectRefusal(ERR_FILE_WRITE, unwritable, false);
    EXPECT_EQ((LogLines{{Log::ERROR, "Checksum: Can not open file " + missing + "."},
                        {Log::EXCEPTION, "ERR_FILE_READ"},
                        {Log::ERROR, "Checksum: no meaningful data found."},
                        {Log::EXCEPTION, "ERR_CONFIG_PARSE"},
                        {Log::EXCEPTION, "ERR_FILE_WRITE"}}),
              log.lines());
    expectRefusal(ERR_FILE_READ, folder.path(), true);
    EXPECT_TRUE(log.has("Checksum: Read error on " + folder.path()) ||
                log.has("Checksum: Can not open file " + folder.path() + "."));
    EXPECT_EQ("# a\n", ScratchDirectory::content(comments));
    EXPECT_EQ(before, ScratchDirectory::content(unwritable));

    Checksum checksum;
    load(checksum, "a=1");
    ASSERT_EQ(Checksum::VALIDATION_OK, checksum.compute(false));
    EXPECT_FALSE(checksum.writeFile(folder.path().c_str()));
    EXPECT_FALSE(checksum.writeFile(nullptr));
    EXPECT_TRUE(checksum.writeFile(missing.c_str()));
    EXPECT_EQ(bytesOf(checksum.getUpdatedData()), ScratchDirectory::content(missing));
}

} // namespace
