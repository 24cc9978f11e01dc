#include "fus/FUSException.h"
#include "fus/P_ErrorInfo.h"
#include "fus/P_GProtocol.h"
#include "fus/P_NetPacket.h"
#include "support/Bytes.h"
#include "support/LogCapture.h"

#include <gtest/gtest.h>

#include <functional>
#include <set>

namespace fus {
namespace {

using namespace fus::gprotocol;
using namespace fus::test;

/// A name function's answer, and the one line that it logged or "".
struct Named {
    std::string name;
    std::string logged;
};

Named ask(const std::function<const char*()>& function) {
    LogCapture log;
    Named out{function(), ""};
    for (const LogLine& line : log.lines()) {
        EXPECT_EQ(line.level, Log::ERROR);
        out.logged += line.text;
    }
    return out;
}

TEST(ProtocolTest, NamesWhatIsInTheTablesAndReportsWhatIsNot) {
    struct Case {
        std::function<const char*()> function;
        const char* name;
        const char* logged;
    };
    const Case cases[] = {
        {[] { return commandName(1113); }, "CMD_TRAJ_STOP", ""},
        {[] { return commandName(1311); }, "CMD_BACKPANEL_CONFIG", ""},
        {[] { return commandName(1310); }, "?CMD?", "Unknown generator command 1310"},
        {[] { return commandName(-5); }, "?CMD?", "Unknown generator command -5"},
        {[] { return answerName(0); }, "ANSWER_ANY", ""},
        {[] { return answerName(1311); }, "ANSWER_BACKPANEL", ""},
        {[] { return answerName(1312); }, "?ANSWER?", "Unknown generator answer 1312"},
        {[] { return hardwareName(19); }, "HWID_BACK_PANEL", ""},
        {[] { return hardwareName(13); }, "?HWID?", "Unknown hardware type 13"},
        {[] { return unitName(5); }, "Celsius", ""},
        {[] { return unitSymbol(4); }, "rad", ""},
        {[] { return unitName(0); }, "???", ""},
        {[] { return unitSymbol(6); }, "?", "Unknown unit 6"},
        {[] { return elecExecModeName(3); }, "EXEC_ELEC_COMPOSITE", ""},
        {[] { return elecExecModeName(122); }, "?EMODE?", "Unknown electronic execution mode 122"},
        {[] { return triggerModeName(1); }, "EXEC_TRIGGER_ONE_PULSE_FOR_EVERYTHING", ""},
        {[] { return triggerModeName(4); }, "?TMODE?", "Unknown trigger mode 4"},
        {[] { return mechExecModeName(1); }, "EXEC_MECH_CONTINUE", ""},
        {[] { return mechExecModeName(2); }, "?MMODE?", "Unknown mechanical execution mode 2"},
        {[] { return boardParameterName(1375); }, "BPARAM_UPB_MAX_ASYNC_TIMEOUT", ""},
        {[] { return boardParameterName(1376); }, "?BPARAM?", "Unknown board-parameter 1376"},
        {[] { return boardParameterName(2499); }, "?BPARAM?", "Unknown board-parameter 2499"},
        {[] { return boardParameterName(2500); }, "BPARAM_ALL_BO_MIN", ""},
        {[] { return boardParameterName(2599); }, "BPARAM_ALL_BO_MIN", ""},
        {[] { return boardParameterName(2600); }, "BPARAM_ALL_BO_MAX", ""},
        {[] { return boardParameterName(2699); }, "BPARAM_ALL_BO_MAX", ""},
        {[] { return boardParameterName(2700); }, "?BPARAM?", "Unknown board-parameter 2700"},
        {[] { return boardCommandName(10, 70); }, "CMD_BOARD_VERSION", ""},
        {[] { return boardCommandName(10, 71); }, "UNKNOWN_PROCESSOR_CMD", ""},
        {[] { return boardCommandName(11, 71); }, "UNKNOWN_SYNTHESIZER_CMD", ""},
        {[] { return boardCommandName(12, 0x1000); }, "UNKNOWN_AMPLIFIER_CMD", ""},
        {[] { return boardCommandName(15, 93); }, "CMD_BOARD_PARAM_GET", ""},
        {[] { return boardCommandName(15, 0x100D); }, "CMD_STATUS", ""},
        {[] { return boardCommandName(15, 0x1006); }, "CMD_ADD_POINT", ""},
        {[] { return boardCommandName(15, 0x100F); }, "UNKNOWN_MECH_CMD", ""},
        {[] { return boardCommandName(13, 74); }, "CMD_BOARD_MEASURES", ""},
        {[] { return boardCommandName(13, 71); }, "?BCMD?",
         "Unknown board-command 71 for board type 13"},
        {[] { return boardCommandName(19, 71); }, "?BCMD?",
         "Unknown board-command 71 for board type 19"},
    };
    for (const Case& c : cases) {
        const Named got = ask(c.function);
        EXPECT_EQ(got.name, c.name);
        EXPECT_EQ(got.logged, c.logged) << c.name;
    }
}

TEST(ProtocolTest, KnowsElevenTypesOfAnswers) {
    const std::set<int> known = {1115, 1207, 1301, 1302, 1303, 1304, 1307, 1308, 1309, 1310, 1311};
    for (int type = -1; type <= 0xFFFF; ++type) {
        EXPECT_EQ(isUnknownAnswer(type), known.count(type) == 0) << type;
    }
}

TEST(ProtocolTest, MapsBoardTypesToHardwareIdsAndBack) {
    const std::uint32_t ids[] = {10, 11, 12, 15};
    for (std::uint32_t type = 0; type < 4; ++type) {
        EXPECT_EQ(boardTypeToHardwareID(type), ids[type]);
        EXPECT_EQ(hardwareIDToBoardType(ids[type]), type);
    }
    LogCapture log;
    EXPECT_THROW(boardTypeToHardwareID(4), FUSException);
    for (const std::uint32_t hwid : {0U, 13U, 19U}) { // the back panel is no type of board
        EXPECT_THROW(hardwareIDToBoardType(hwid), FUSException);
    }
    EXPECT_EQ(log.texts(),
              (std::vector<std::string>{"ERR_INDEX: invalid board type (4 above max=4)",
                                        "ERR_INDEX: invalid hardware ID (0 above max=20)",
                                        "ERR_INDEX: invalid hardware ID (13 above max=20)",
                                        "ERR_INDEX: invalid hardware ID (19 above max=20)"}));
}

NetPacket errorPayload(const std::string& hexDigits) {
    const Bytes bytes = hex(hexDigits);
    return NetPacket::copyOf(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
}

TEST(ErrorInfoTest, TakesItsTextWithinWhatThePayloadHolds) {
    struct Case {
        const char* name;
        const char* tail; // text length, four bytes to be ignored, text
        const char* text;
    };
    const Case cases[] = {
        {"as declared", "0004 FFFFFFFF 61626300", "abc"},
        {"more behind it", "0003 00000000 61620063 64", "ab"},
        {"declared 0: all that is there", "0000 00000000 61626300", "abc"},
        {"declared too long", "0100 00000000 61626300", "abc"},
        {"not terminated: the last byte goes all the same", "0003 00000000 616263", "ab"},
        {"one byte", "0001 00000000 00", ""},
        {"no text", "0000 00000000", ""},
        {"text announced but absent", "0005 00000000", ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        NetPacket packet = errorPayload(std::string("0A0B0C0D FFFFFFFE 0C 03 ") + c.tail);
        packet.setByteOrder(NetPacket::LITTLE);
        const ErrorInfo info(packet);
        EXPECT_EQ(info.code(), 0x0A0B0C0DU);
        EXPECT_EQ(info.argument(), 0xFFFFFFFEU);
        EXPECT_EQ(info.boardType(), HWID_AMPLIFIER);
        EXPECT_EQ(info.address(), 3U);
        EXPECT_EQ(info.message(), std::string("code: 0x0a0b0c0d, arg: 4294967294, board: "
                                              "HWID_AMPLIFIER #3, msg: ") +
                                      c.text);
    }
}

TEST(ErrorInfoTest, MarksABoardThatItDoesNotKnow) {
    LogCapture log;
    NetPacket packet = errorPayload("00000001 00000000 63 20 0002 00000000 7800");
    EXPECT_EQ(ErrorInfo(packet).message(), "code: 0x00000001, arg: 0, board: ?HWID? #32, msg: x");
    EXPECT_EQ(log.lines(), (LogLines{{Log::ERROR, "Unknown hardware type 99"}}));
}

TEST(ErrorInfoTest, RefusesAPayloadThatEndsWithinTheFixedPart) {
    const LogCapture quiet(Log::NONE);
    const Bytes whole = hex("0A0B0C0D 00000001 0C 03 0000 00000000");
    for (std::uint32_t size = 0; size < whole.size(); ++size) {
        NetPacket packet = NetPacket::copyOf(whole.data(), size);
        EXPECT_THROW(ErrorInfo{packet}, FUSException) << size;
    }
}

} // namespace
} // namespace fus
