#include "fus/LowLevelMechanics.h"

#include "fus/P_GProtocol.h"
#include "support/Faults.h"
#include "support/LogCapture.h"
#include "support/MechanicsFixture.h"

#include <gtest/gtest.h>

#include <functional>
#include <thread>
#include <vector>

using namespace fus;
using namespace fus::test;
using namespace fus::mprotocol;

namespace {

/// The linear axis alone, with what the table below says.
const std::string ONE_AXIS = withLine("Axis0/Board", "ABS = no\nencoderCableDetection = yes",
                                      twoAxes().substr(0, twoAxes().find("[Axis3/Board]")));

struct Value {
    unsigned param;
    Bytes bytes;
};

/// What a board that holds it answers, in the order in which it is asked.
std::vector<Value> heldValues() {
    return {{15, le32(2000)},    {16, hex("18FCFFFF")}, {4, le32(0)},        {26, le32(0)},
            {27, le32(7)},       {9, le32(2)},          {10, le32(5)},       {11, le32(100)},
            {12, le32(150)},     {22, le32(25)},        {13, le32(40)},      {14, le32(3)},
            {18, le32(3)},       {5, leFloat(1.505F)},  {6, leFloat(0.25F)}, {7, leFloat(2.0F)},
            {8, leFloat(101.0F)}};
}

class MechanicsConfig : public MechanicsFixture {};

} // namespace

TEST_F(MechanicsConfig, WritesEveryParameterOfADefinition) {
    connectBoard();
    EXPECT_EQ(faultOf([&] { mech().getMaxActuatorCount(); }).substr(0, 18), "ERR_MECH_NO_CONFIG");
    ASSERT_TRUE(mech().loadDefinitionString(ONE_AXIS.c_str()));
    serveCapacities(2);
    const char* const writes[] = {
        "00000000 00 04", "02000000 00 09", "05000000 00 0A", "64000000 00 0B", "96000000 00 0C",
        "19000000 00 16", "28000000 00 0D", "03000000 00 0E", "D0070000 00 0F", "18FCFFFF 00 10",
        "03000000 00 12", "00000000 00 1A", "01000000 00 1B", "0000C03F 00 05", "0000803E 00 06",
        "00000040 00 07", "0000C842 00 08", "00000000 00 01"};
    for (const char* const write : writes) {
        serve(0x1001, hex(write));
    }
    LogCapture log(Log::INFO);
    EXPECT_TRUE(mech().sendConfig(true));
    EXPECT_TRUE(peer.settle());
    EXPECT_TRUE(mech().isConfigSent());
    EXPECT_EQ(mech().getProtocolVersion(), 2U);
    EXPECT_EQ(mech().getMaxActuatorCount(), 4U);
    EXPECT_EQ(mech().getMaxDisplacementSize(), 10U);
    EXPECT_TRUE(log.has("SetFloatParameter: MOT[0][PARAM_KP] = 1.5"));
    EXPECT_TRUE(log.has("SetIntParameter: MOT[0][PARAM_LOWER_BOUND] = -1000"));
}

TEST_F(MechanicsConfig, WritesNothingToABoardThatHoldsTheDefinition) {
    connectBoard();
    ASSERT_TRUE(mech().loadDefinitionString(ONE_AXIS.c_str()));
    const struct {
        std::size_t index; // of the value that differs
        Bytes bytes;
        const char* line; // empty: it is the same
    } cases[] = {
        {13, leFloat(1.495F), ""},
        {0, le32(2001), "  MOT[0][UPPER_BOUND] = 2001 but expecting 2000."},
        {1, le32(0), "  MOT[0][LOWER_BOUND] = 0 but expecting 4294966296."},
        {2, le32(1), "  MOT[0][INVERTED] = yes but expecting no."},
        {4, le32(0), "  MOT[0][ENCODER_DETECTION] = no but expecting yes."},
        {12, le32(4), "  MOT[0][PLOT_MODE] = 4 but expecting 3."},
        {13, leFloat(1.52F), "  MOT[0][KP] = 1.52 but expecting 1.5."},
        {15, hex("0000C07F"), "  MOT[0][KD] = nan but expecting 2."},
        {16, leFloat(98.5F), "  MOT[0][MAX_INT_ERROR] = 98.5 but expecting 100."},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.line);
        const bool same = *c.line == '\0';
        serveCapacities(1);
        auto values = heldValues();
        values[c.index].bytes = c.bytes;
        values.resize(same ? values.size() : c.index + 1);
        for (const Value& value : values) {
            serveParam(0, value.param, value.bytes);
        }
        // the normal init that follows is refused, and so the configuration counts as not sent
        if (!same) {
            expectMot(0x1001, hex("00000000 00 04")).answer(SYNC, refusal(0x1001, 0x200C0000));
        }
        const LogCapture log(Log::INFO);
        EXPECT_EQ(mech().sendConfig(false), same);
        EXPECT_EQ(mech().isConfigSent(), same);
        EXPECT_TRUE(same || log.has(c.line));
        EXPECT_EQ(log.has("Soft init failed, trying normal init."), !same);
        EXPECT_EQ(log.hasPart("Exception: Mechanical error on axis 0: Read-only GET/SET parameter"
                              " (code=17) in"),
                  !same);
        EXPECT_TRUE(log.hasPart("End of MOT config"));
        EXPECT_TRUE(peer.settle());
    }
}

TEST_F(MechanicsConfig, IsRefusedWithALineForEachReason) {
    connectBoard();
    const struct {
        const char* what;
        std::function<void()> prepare;
        const char* line;
        bool closes; // with the closing line
    } cases[] = {
        {"no actuators", [&] { mech().loadDefinitionString("[File]\nversion=1\n"); },
         "Please load a config file before calling sendConfig().", false},
        {"protocol too short",
         [&] {
             mech().loadDefinitionString(twoAxes().c_str());
             serveWith(93, hex("100E"), le32(2));
         },
         "Can not read the MOT protocol version", false},
        {"too many",
         [&] {
             serveWith(93, hex("100E"), le64(2));
             serveParam(0, 23, le32(1));
         },
         "Too many (2) actuators defined in loaded config, only 1 supported.", false},
        {"the board fails",
         [&] {
             serveWith(93, hex("100E"), le64(2));
             expectMot(0x1000, hex("00 17")).answer(SYNC, refusal(0x1000, 0x130F0000));
         },
         "Exception: Generic board error. Generic error. (code=14) in", true},
        {"no connection", [&] { fus().disconnect(); },
         "Exception: Not connected to the generator (code=10) in", true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        c.prepare();
        const LogCapture log(Log::INFO);
        EXPECT_FALSE(mech().sendConfig(true));
        EXPECT_TRUE(log.hasPart(c.line)) << ::testing::PrintToString(log.texts());
        EXPECT_EQ(log.hasPart("End of MOT config"), c.closes);
    }
}

TEST_F(MechanicsConfig, KeepsNothingForADefinitionOrALinkThatIsGone) {
    const auto readCapacities = [&](unsigned last) {
        serveWith(93, hex("100E"), le64(2));
        for (unsigned param = 23; param < last; ++param) {
            serveParam(0, param, le32(4));
        }
    };
    const auto answer = [&](const Bytes& payload) {
        peer.answerTo(peer.received().size() - 1, SYNC, payload);
    };
    const struct {
        const char* what;
        bool force;
        std::function<ScriptedPeer&()> script; // up to what the board keeps back
        std::function<void()> during;
        std::vector<const char*> lines;
    } cases[] = {
        {"cleared before the check",
         false,
         [&]() -> ScriptedPeer& {
             readCapacities(25);
             return expectMot(0x1000, hex("00 19"));
         },
         [&] {
             mech().clearDefinition();
             answer(successWith(0x1000, le32(2)));
         },
         {"checkParameters() ignored outside configSent().",
          "sendParameters() ignored outside configSent()."}},
        {"cleared in the check",
         false,
         [&]() -> ScriptedPeer& {
             readCapacities(26);
             return expectMot(0x1000, hex("00 0F"));
         },
         [&] {
             mech().clearDefinition();
             answer(successWith(0x1000, le32(2000)));
         },
         {"Soft init failed, trying normal init.",
          "sendParameters() ignored outside configSent()."}},
        {"another one while it is written",
         true,
         [&]() -> ScriptedPeer& {
             readCapacities(26);
             return expectMot(0x1001, hex("00000000 00 04"));
         },
         [&] {
             mech().loadDefinitionString(ONE_AXIS.c_str());
             answer(success(0x1001));
         },
         {"End of MOT config"}},
        {"disconnected in the check",
         false,
         [&]() -> ScriptedPeer& {
             readCapacities(26);
             return expectMot(0x1000, hex("00 0F"));
         },
         [&] {
             peer.expectEnd();
             fus().disconnect();
         },
         {"sendParameters() ignored outside configSent()."}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        connectBoard();
        mech().loadDefinitionString(ONE_AXIS.c_str());
        const Latch held;
        c.script().tell(held);
        const LogCapture log(Log::INFO);
        std::thread caller([&] { EXPECT_FALSE(mech().sendConfig(c.force)); });
        EXPECT_TRUE(held.wait());
        c.during();
        caller.join();
        for (const char* const line : c.lines) {
            EXPECT_TRUE(log.hasPart(line)) << line;
        }
        EXPECT_FALSE(mech().isConfigSent());
        EXPECT_EQ(mech().getProtocolVersion(), 0U);
        EXPECT_NE(faultOf([&] { mech().getMaxActuatorCount(); }), "");
        EXPECT_TRUE(peer.settle());
        if (fus().isConnected()) {
            peer.expectEnd();
            fus().disconnect();
        }
    }
}

TEST_F(MechanicsConfig, NeedsABoardOfVersion3) {
    connectBoard("2.9");
    mech().loadDefinitionString(twoAxes().c_str());
    LogCapture log(Log::ERROR);
    EXPECT_FALSE(mech().sendConfig(false));
    EXPECT_TRUE(log.has("Mechanical system version not supported (v3+ required)."));
}

TEST_F(MechanicsConfig, NeedsABoard) {
    connect(Generation::V2);
    mech().loadDefinitionString(twoAxes().c_str());
    LogCapture log(Log::ERROR);
    EXPECT_FALSE(mech().sendConfig(false));
    EXPECT_TRUE(log.has("No mechanical system found."));
    EXPECT_EQ(faultOf([&] { mech().stop(); }), "ERR_MECHANICS: No mechanical system");
}

TEST_F(MechanicsConfig, ReadsAndWritesParameters) {
    connectBoard();
    mech().loadDefinitionString(twoAxes().c_str());
    const LogCapture log(Log::INFO);
    serveParam(1, 16, hex("FEFFFFFF"));
    EXPECT_EQ(mech().readIntParameter(1, PARAM_LOWER_BOUND), 0xFFFFFFFEU);
    EXPECT_TRUE(log.has("ReadIntParameter: MOT[1][PARAM_LOWER_BOUND] = -2"));
    serveParam(0, 5, hex("000020C0"));
    EXPECT_EQ(mech().readFloatParameter(0, PARAM_KP), -2.5F);
    serve(0x1001, hex("78563412 01 12"));
    mech().setIntParameter(1, PARAM_PLOT_MODE, 0x12345678);
    serve(0x1001, hex("000020C0 00 06"));
    mech().setFloatParameter(0, PARAM_KI, -2.5F);
    serve(0x1001, hex("00000000 00 01"));
    serve(0x1001, hex("00000000 01 01"));
    mech().clearAllOrigins();
    serveParam(1, 20, hex("FFFFFFFF"));
    EXPECT_EQ(mech().getLastAsyncError(1), 0xFFFFFFFFU);
    serveWith(0x1000, hex("00 1D"), le32(4)); // one more than there are parameters
    EXPECT_EQ(mech().readIntParameter(0, static_cast<MechParam>(29)), 4U);

    serveWith(0x1000, hex("00 00"), hex("010203"));
    EXPECT_EQ(faultOf([&] { mech().readAbsoluteActuatorPosition(0); }),
              "ERR_PACKET: Bad packet content");
    serveWith(0x1001, hex("00000000 00 04"), hex("00"));
    EXPECT_EQ(faultOf([&] { mech().setIntParameter(0, PARAM_INVERTED, 0); }),
              "ERR_MECHANICS: General mechanical system error");
    EXPECT_EQ(faultOf([&] { mech().readIntParameter(2, PARAM_KP); }), "ERR_INDEX: Invalid index");
    EXPECT_EQ(faultOf([&] { mech().readIntParameter(0, static_cast<MechParam>(30)); }),
              "ERR_ARGUMENT: Bad argument");
    fus().setSecureMode(false);
    EXPECT_TRUE(log.has("Changing Mechanics secure mode: DISABLED."));
    serveParam(99, 30, le32(1));
    EXPECT_EQ(mech().readIntParameter(99, static_cast<MechParam>(30)), 1U);
    EXPECT_TRUE(peer.settle());
}

TEST_F(MechanicsConfig, KeepsTheDefinitionOverADisconnect) {
    connectBoard();
    makeReady();
    // the board at rest says that there is nothing to stop
    expectMot(0x100A, {}).answer(SYNC, refusal(0x100A, 0x20150000));
    fus().disconnect();
    EXPECT_TRUE(peer.settle());
    EXPECT_TRUE(mech().isDefinitionLoaded());
    EXPECT_EQ(mech().getActuatorCount(), 2U);
    EXPECT_FALSE(mech().getActuator(0).isOriginFound());
    EXPECT_FALSE(mech().isConfigSent());
    EXPECT_FALSE(mech().isAllOriginsFound());
    EXPECT_EQ(mech().getProtocolVersion(), 0U);
}

TEST_F(MechanicsConfig, ForgetsTheBoardWhenTheLinkIsLost) {
    connectBoard();
    makeReady();
    peer.cut();
    EXPECT_TRUE(listener.waitForType(FUSEvent::EVENT_DISCONNECT));
    EXPECT_FALSE(mech().isConfigSent());
    EXPECT_FALSE(mech().isAllOriginsFound());
    EXPECT_EQ(mech().getActuatorCount(), 2U);
}
