#include "fus/P_MProtocol.h"

#include "fus/P_GProtocol.h"
#include "support/ConnectedFixture.h"
#include "support/Faults.h"
#include "support/LogCapture.h"
#include "support/TestPeer.h"

#include <gtest/gtest.h>

using namespace fus;
using namespace fus::test;

namespace {

namespace mp = mprotocol;

class MechanicsProtocol : public ConnectedFixture {
protected:
    /// What the reader makes of an asynchronous packet. A motion that is known to come marks the
    /// end.
    std::vector<std::shared_ptr<const MechMotionEvent>>
    motionsOf(unsigned command, const Bytes& rest, unsigned hwid = 15) {
        listener.clear();
        const Bytes mark = zeroes(12) + hex("0F 00 1002 0059");
        peer.sendPacket(gprotocol::ANSWER_BOARD_ASYNC, 7,
                        zeroes(12) + u8(hwid) + u8(0) + be16(command) + rest);
        peer.sendPacket(gprotocol::ANSWER_BOARD_ASYNC, 999, mark);
        EXPECT_TRUE(listener.waitFor([](const RecordingListener::Events& events) {
            const auto last = events.empty()
                                  ? nullptr
                                  : dynamic_cast<const MechMotionEvent*>(events.back().get());
            return last != nullptr && last->execID() == 999;
        }));
        auto motions = listener.all<MechMotionEvent>();
        motions.pop_back();
        return motions;
    }
};

} // namespace

TEST(MechanicsVocabulary, NamesCommandsParametersAndStatuses) {
    EXPECT_STREQ(mp::parameterName(mp::PARAM_R_INIT_DAC_USED), "PARAM_R_INIT_DAC_USED");
    const LogCapture log(Log::ERROR);
    EXPECT_STREQ(mp::parameterName(static_cast<mp::MechParam>(29)), "?MPARAM?");
    EXPECT_TRUE(log.has("Unknown mechanical parameter 29"));
    EXPECT_STREQ(mp::mechCommandFromIndex(0x111111).name, "UNKNOWN_MECH_CMD");
    EXPECT_EQ(faultOf([] { mp::mechCommandFromIndex(15); }), "ERR_INDEX: Invalid index");
    EXPECT_EQ(faultOf([] { mp::isAsynchronousCommand(0x111111); }), "ERR_INDEX: Invalid index");
    EXPECT_TRUE(log.has("ERR_INDEX: invalid mech cmd (15 above max=15)"));

    const MechanicalStatus idle = TestPeer::mechanicalStatus(0x20150003);
    EXPECT_FALSE(idle.ok());
    EXPECT_EQ(idle.toString(),
              "Status[0x20150003]: mod=0x20 err=15 act=0 arg=3 msg=No ongoing displacement.");
    EXPECT_TRUE(TestPeer::mechanicalStatus(0xFF00FFFF).ok());
    EXPECT_STREQ(TestPeer::mechanicalStatus(0x00230000).message(), "Unknown error");
    const LogCapture lines(Log::INFO);
    TestPeer::mechanicalStatus(0x2003010A).log();
    EXPECT_TRUE(lines.has("  Status[0x2003010A]: mod=0x20 err=0x03 act=1 arg=10 "
                          "msg=Invalid axis identifier"));
}

TEST_F(MechanicsProtocol, MakesOneEventOfEveryAsynchronousResult) {
    connect(Generation::V31);
    const struct {
        const char* what;
        unsigned command;
        Bytes rest;
        int result; // -1: no event
        const char* line;
    } cases[] = {
        {"success", 0x1002, be16(89) + be16(0), 0, "    Motion result (id=7): ok"},
        {"success without a size", 0x1008, be16(89), 0, "    Motion result (id=7): ok"},
        {"success with data", 0x100C, be16(89) + be16(2) + be16(1), 0,
         "Unexpected data detected in motion result packet (2 bytes)!"},
        {"the command's own position", 0x1002, be16(5), 0, "    Motion result (id=7): ok"},
        {"another number", 0x1002, be16(6), -1, "Unknown motion result (6)"},
        {"stopped", 0x1008, be16(78) + be16(4) + le32(0x38030000), 1, nullptr},
        {"communication", 0x1009, be16(78) + be16(8) + le32(0x11010000) + le32(1), 4, nullptr},
        {"time-out", 0x1003, be16(78) + be16(4) + le32(0x12000000), 5, nullptr},
        {"motion", 0x1005, be16(78) + be16(4) + le32(0x27190000), 6, nullptr},
        {"no code", 0x1002, be16(78) + be16(3) + hex("010203"), 7,
         "Unexpected motion error size (3) (id=7)"},
        {"a code that is cut", 0x1002, be16(78) + be16(4) + hex("010203"), 7,
         "Unexpected motion error size (4) (id=7)"},
        {"no size", 0x1002, be16(78), 7, "Unexpected motion error size (0) (id=7)"},
        {"a search", 0x1004, be16(89), -1, "    Mechanical asynchronous packet (CMD_INIT=0x0008"},
        {"an upload", 0x1007, be16(89), -1, nullptr},
        {"no command", 0x10FF, be16(89), -1, "ERR_INDEX: invalid mech cmd (1118481 above max=15)"},
        {"no result", 0x1002, {}, -1, nullptr},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        const LogCapture log(Log::VERBOSE);
        const auto motions = motionsOf(c.command, c.rest);
        ASSERT_EQ(motions.size(), c.result < 0 ? 0U : 1U);
        if (c.result >= 0) {
            EXPECT_EQ(motions[0]->execID(), 7U);
            EXPECT_EQ(static_cast<int>(motions[0]->result()), c.result);
        }
        EXPECT_TRUE(c.line == nullptr || log.hasPart(c.line));
    }
    const LogCapture log(Log::ERROR);
    EXPECT_TRUE(motionsOf(0x1002, be16(89), 12).empty());
    EXPECT_TRUE(log.has("Unexpected asynchronous packet from HWID_AMPLIFIER #0: "
                        "cmd=UNKNOWN_AMPLIFIER_CMD=0x1002, id=7, result=0x0059"));
}
