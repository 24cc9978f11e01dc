#include "fus/HardwareCode.h"
#include "fus/FUSException.h"
#include "fus/P_MProtocol.h"

#include "support/LogCapture.h"

#include <gtest/gtest.h>

#include <string>

using namespace fus;

namespace {

std::string textOf(unsigned rawCode) {
    return HardwareCode(rawCode).message().c_str();
}

TEST(HardwareCodeTest, CutsTheRawCodeFromTheTopByteDown) {
    const HardwareCode code(0x21FE80C3);
    EXPECT_EQ(0x21FE80C3U, code.rawCode());
    EXPECT_EQ(0x21, code.errorType());
    EXPECT_EQ(0xFE, code.errorCode());
    EXPECT_EQ(0x80, code.extra0());
    EXPECT_EQ(0xC3, code.extra1());
    EXPECT_FALSE(code.empty());
    EXPECT_TRUE(HardwareCode(0).empty());
}

TEST(HardwareCodeTest, TellsFamilySubcodeAxisAndArgumentInEnglish) {
    const struct {
        unsigned rawCode;
        const char* text;
    } rows[] = {
        {0x00000000, "Ok"},
        {0x00FF1234, "Ok"},
        {0x10010000, "Internal communication error between boards. Nothing received."},
        {0x10020000, "Internal communication error between boards. "},
        {0x104E0000, "Internal communication error between boards. Unable to read"},
        {0x10870000, "Internal communication error between boards. "
                     "Generic NACK error (old V2 protocol)."},
        {0x11160000, "Board command interpreter error. "
                     "Unrecognised command or unexpected response (master)."},
        {0x11070000, "Board command interpreter error. "},
        {0x12010000, "Timeout expired (and board still busy on async. command)."},
        {0x13150000, "Generic board error. Unavailable data."},
        {0x13170000, "Generic board error. "},
        {0x28000000, "Board measure threshold surpassed."},
        {0x29010000, "SNT board error."},
        {0x30000000, "AMP board error."},
        {0x31000000, "UPB board error."},
        {0x01000000, "Unknown error"},
        {0x0F000000, "Unknown error"},
        {0x32000000, "Unknown error"},
        {0x38030000, "Unknown error"},
        {0xFF000000, "Unknown error"},
        {0x220000FF, "Asynchronous mechanical error (ask status for details)."},
        {0x220000FE, "Mechanical error on axis 0: Ok, with argument: 254."},
        {0x230000FF, "Mechanical error on axis 0: Ok, with argument: 255."},
        {0x20010400, "Mechanical error on axis 4: Axis blocked by the ABS system"},
        {0x2722FF01, "Mechanical error on axis 255: Invalid configuration of axis inversion, "
                     "with argument: 1."},
        {0x2023000A, "Mechanical error on axis 0: Unknown code (0x2023000a), "
                     "with argument: 10."},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(row.text, textOf(row.rawCode)) << std::hex << row.rawCode;
    }
}

TEST(HardwareCodeTest, BecomesTheErrorOfItsFamilyWhenItIsThrown) {
    const struct {
        unsigned firstType, lastType;
        FUSError error;
    } rows[] = {
        {0, 17, ERR_GENERATOR},  {18, 18, ERR_BOARD_BUSY}, {19, 19, ERR_BOARD},
        {20, 31, ERR_GENERATOR}, {32, 39, ERR_MECHANICS},  {40, 41, ERR_BOARD},
        {42, 47, ERR_GENERATOR}, {48, 49, ERR_BOARD},      {50, 255, ERR_GENERATOR},
    };
    for (const auto& row : rows) {
        for (unsigned type = row.firstType; type <= row.lastType; ++type) {
            const FUSException thrown(HardwareCode(type << 24), nullptr, 0, nullptr);
            EXPECT_EQ(row.error, thrown.errorCode()) << type;
        }
    }
}

TEST(HardwareCodeTest, KnowsAStopByTheUserOnlyByTheWholeCode) {
    const struct {
        unsigned rawCode;
        FUSError error;
    } rows[] = {
        {0x38030000, ERR_USER_STOP},
        {0x38030001, ERR_USER_STOP},
        {0x38030002, ERR_GENERATOR},
        {0x38020000, ERR_GENERATOR},
    };
    for (const auto& row : rows) {
        const FUSException thrown(HardwareCode(row.rawCode), nullptr, 0, "");
        EXPECT_EQ(row.error, thrown.errorCode()) << std::hex << row.rawCode;
        EXPECT_STREQ("Unknown error", thrown.message());
        EXPECT_EQ(row.rawCode, thrown.hardwareCode().rawCode());
    }
}

TEST(HardwareCodeTest, HandsOutErrorAndAxisOfMechanicalCodesOnly) {
    EXPECT_EQ(0x19, HardwareCode(0x20190407).mechanicalError());
    EXPECT_EQ(0x04, HardwareCode(0x27190407).mechanicalActuator());
    for (const unsigned rawCode : {0U, 0x1F190407U, 0x28190407U, 0x38030000U}) {
        test::LogCapture log;
        for (const auto accessor :
             {&HardwareCode::mechanicalError, &HardwareCode::mechanicalActuator}) {
            try {
                (HardwareCode(rawCode).*accessor)();
                ADD_FAILURE() << std::hex << rawCode;
            } catch (const FUSException& e) {
                EXPECT_EQ(ERR_ARGUMENT, e.errorCode());
            }
        }
        EXPECT_EQ(test::LogLines(2, {Log::EXCEPTION, "ERR_ARGUMENT"}), log.lines());
    }
}

TEST(HardwareCodeTest, MechanicalTextsEndWhereTheVocabularyEnds) {
    using namespace mprotocol;
    EXPECT_STREQ("Ok", mechErrorText(0));
    EXPECT_STREQ("Target tolerance exceeded during a displacement", mechErrorText(27));
    EXPECT_STREQ("Invalid configuration of axis inversion", mechErrorText(34));
    EXPECT_EQ(nullptr, mechErrorText(35));
    EXPECT_EQ(nullptr, mechErrorText(255));
    EXPECT_STREQ("Displacement (or init) successfully executed", mechResultMessage(OK));
    EXPECT_STREQ("Unexpected internal error (no detail, sorry)", mechResultMessage(ERROR_INTERNAL));
    EXPECT_STREQ("Unknown mechanical result", mechResultMessage(static_cast<MechResult>(8)));
}

} // namespace
