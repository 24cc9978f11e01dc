#include "WholeFile.h"

#include "Errors.h"
#include "ToolRun.h"

#include <filesystem>

namespace fus::tool::test {
namespace {

namespace fs = std::filesystem;

TEST(WholeFileTest, WritesANewFileAndReplacesAnOldOneWithNothingLeftBeside) {
    const ScratchDirectory scratch;
    const std::string file = scratch.file("a.ini");
    for (const std::string& content :
         {std::string("[a]\r\n\0\n", 7), std::string(200000, 'x'), std::string()}) {
        writeWholeFile(file, content);
        EXPECT_EQ(ScratchDirectory::content(file), content);
    }
    EXPECT_EQ(scratch.names(), std::vector<std::string>{"a.ini"});
}

TEST(WholeFileTest, RefusesWhatItCanNotReplaceAndChangesNothing) {
    const ScratchDirectory scratch;
    const std::string directory = scratch.file("directory");
    const std::string locked = scratch.file("locked");
    fs::create_directory(directory);
    writeWholeFile(locked, "old");
    fs::permissions(locked,
                    fs::perms::owner_write | fs::perms::group_write | fs::perms::others_write,
                    fs::perm_options::remove);
    for (const std::string& file :
         {directory, locked, scratch.file("no/such/directory/file"), std::string()}) {
        try {
            writeWholeFile(file, "new");
            ADD_FAILURE() << file;
        } catch (const ToolError& error) {
            expectPart(error.what(), file + ": can't be written: ");
        }
    }
    EXPECT_EQ(ScratchDirectory::content(locked), "old");
    EXPECT_EQ(scratch.names().size(), 2U);
    fs::permissions(locked, fs::perms::owner_write, fs::perm_options::add);
}

TEST(WholeFileTest, KeepsAFilesPermissionsAndASymbolicLink) {
    const ScratchDirectory scratch;
    const std::string file = scratch.file("real");
    const std::string link = scratch.file("link");
    writeWholeFile(file, "old");
    const fs::perms kept = fs::perms::owner_read | fs::perms::owner_write;
    fs::permissions(file, kept);
    const fs::perms before = fs::status(file).permissions(); // a system may know fewer kinds
    std::error_code refused;
    fs::create_symlink("real", link, refused);
    writeWholeFile(refused ? file : link, "new");
    EXPECT_EQ(ScratchDirectory::content(file), "new");
    EXPECT_EQ(fs::status(file).permissions(), before);
    if (!refused) { // where this user may make links at all
        EXPECT_TRUE(fs::is_symlink(link));
    }
}

TEST(WholeFileTest, ChangesNothingIfTheLastCheckRefuses) {
    const ScratchDirectory scratch;
    const std::string file = scratch.file("a.ini");
    writeWholeFile(file, "old");
    const auto refuse = [&] {
        EXPECT_EQ(scratch.names().size(), 2U) << "the new content is complete beside the old one";
        throw ToolError("no");
    };
    EXPECT_THROW(writeWholeFile(file, "new", refuse), ToolError);
    EXPECT_EQ(ScratchDirectory::content(file), "old");
    EXPECT_EQ(scratch.names(), std::vector<std::string>{"a.ini"});
}

TEST(WholeFileTest, MakesTheFileThatALinkLeadsTo) {
    const ScratchDirectory scratch;
    const std::string link = scratch.file("link");
    std::error_code refused;
    fs::create_symlink("next", link, refused);
    if (refused) {
        GTEST_SKIP() << "this user may not make links";
    }
    fs::create_symlink("real", scratch.file("next"));
    writeWholeFile(link, "new");
    EXPECT_EQ(ScratchDirectory::content(scratch.file("real")), "new");
    EXPECT_TRUE(fs::is_symlink(link) && fs::is_symlink(scratch.file("next")));
    fs::create_symlink("ring", scratch.file("ring"));
    EXPECT_THROW(writeWholeFile(scratch.file("ring"), "new"), ToolError);
}

} // namespace
} // namespace fus::tool::test
