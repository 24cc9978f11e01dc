#include "fus/FUSException.h"
#include "fus/P_LogMacros.h"
#include "support/LogCapture.h"

#include <gtest/gtest.h>

#include <functional>

namespace fus {
namespace {

using namespace fus::test;

FUSException caught(const std::function<void()>& call) {
    try {
        call();
    } catch (const FUSException& e) {
        return e;
    }
    ADD_FAILURE() << "nothing was thrown";
    return FUSException(ERR_UNKNOWN, nullptr);
}

TEST(FUSExceptionTest, FallsBackToTheTextOfItsErrorWhenThereIsNoMessage) {
    struct Case {
        unsigned error;
        const char* name;
        const char* text;
    };
    for (const Case& c :
         {Case{0, "ERR_UNKNOWN", "Unknown error"},
          Case{3, "ERR_CONFIG_PARSE", "Parse error in configuration file"},
          Case{8, "ERR_FILE_READ", "Can not open or read a file"},
          Case{12, "ERR_TIMEOUT", "Timeout error"},
          Case{15, "ERR_BOARD_BUSY", "Timeout elapsed and board command still busy"},
          Case{21, "ERR_MECH_ORIGINS_BUSY", "Busy finding mechanical origins"},
          Case{25, "ERR_USER_STOP", "Command interrupted by the user"},
          Case{26, "ERR_UNKNOWN", "Unknown error"}, Case{4000, "ERR_UNKNOWN", "Unknown error"}}) {
        SCOPED_TRACE(c.error);
        const auto error = static_cast<FUSError>(c.error);
        EXPECT_STREQ(FUSException::FUSErrorName(error), c.name);
        for (const char* message : {static_cast<const char*>(nullptr), ""}) {
            const FUSException e(error, message);
            EXPECT_STREQ(e.message(), c.text);
            EXPECT_EQ(e.errorCode(), error);
            EXPECT_EQ(e.sourceFile(), nullptr);
            EXPECT_EQ(e.line(), 0U);
            EXPECT_TRUE(e.hardwareCode().empty());
        }
    }
}

TEST(FUSExceptionTest, TakesErrorAndTextFromAHardwareCode) {
    struct Case {
        unsigned code;
        const char* message;
        FUSError error;
        const char* text;
    };
    const char* const nothing = "Internal communication error between boards. Nothing received.";
    for (const Case& c : {Case{0x10010000, nullptr, ERR_GENERATOR, nothing},
                          Case{0x10010000, "", ERR_GENERATOR, nothing},
                          Case{0x10010000, "mine", ERR_GENERATOR, "mine"},
                          Case{0x38030001, nullptr, ERR_USER_STOP, "Unknown error"}}) {
        SCOPED_TRACE(c.code);
        const FUSException e(HardwareCode(c.code), "a.cpp", 7, c.message);
        EXPECT_EQ(e.errorCode(), c.error);
        EXPECT_EQ(e.hardwareCode().rawCode(), c.code);
        EXPECT_STREQ(e.what(), c.text);
    }
}

TEST(FUSExceptionTest, CopiesItsMessageButSharesTheSourceFile) {
    const char* const file = "C:\\core\\src\\Generator.cpp";
    FUSException original(ERR_PACKET, file, 12, "first");
    const FUSException copy(original);
    original.setMessage("second", 3);
    EXPECT_STREQ(original.message(), "sec");
    EXPECT_STREQ(copy.message(), "first");
    EXPECT_EQ(copy.sourceFile(), original.sourceFile());
    EXPECT_EQ(copy.line(), 12U);
    original.setMessage(original.message(), 0);
    EXPECT_STREQ(original.message(), "sec");
    original.setMessage("", 0);
    EXPECT_STREQ(original.message(), "Bad packet content");
}

TEST(FUSExceptionTest, SplitsTheSourceFileAtBackslashesAlone) {
    struct Case {
        const char* path;
        const char* file;
    };
    for (const Case& c : {Case{"C:\\core\\src\\Log.cpp", "Log.cpp"}, Case{"Log.cpp", "Log.cpp"},
                          Case{"core/src/Log.cpp", "core/src/Log.cpp"}, Case{"src\\", ""}})
        EXPECT_STREQ(FUSException(ERR_INDEX, c.path, 1, nullptr).sourceFile(), c.file);
}

TEST(FUSExceptionTest, LogsInFrontOfEachThrow) {
    struct Case {
        std::function<void()> call;
        FUSError error;
        const char* line;
        const char* message;
    };
    const Case cases[] = {
        {[] { FUS_THROW(ERR_THREAD); }, ERR_THREAD, "ERR_THREAD", "Thread error"},
        {[] { FUS_THROW_MSG(ERR_BOARD, "no %s"); }, ERR_BOARD, "ERR_BOARD: no %s", "no %s"},
        {[] { FUS_THROW_MSG(ERR_BOARD, std::string("gone")); }, ERR_BOARD, "ERR_BOARD: gone",
         "gone"},
        {[] { FUS_THROW_MSG(ERR_BOARD, ""); }, ERR_BOARD, "ERR_BOARD", "Board command error"},
        {[] { FUS_THROW_INDEX("board index", 18446744073709551615U, 8); }, ERR_INDEX,
         "ERR_INDEX: invalid board index (18446744073709551615 above max=8)", "Invalid index"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.line);
        const LogCapture log(Log::EXCEPTION);
        const FUSException e = caught(c.call);
        EXPECT_EQ(log.lines(), (LogLines{{Log::EXCEPTION, c.line}}));
        EXPECT_EQ(e.errorCode(), c.error);
        EXPECT_STREQ(e.message(), c.message);
        EXPECT_NE(e.sourceFile(), nullptr);
        EXPECT_GT(e.line(), 0U);
    }
}

} // namespace
} // namespace fus
