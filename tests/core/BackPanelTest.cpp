#include "fus/FUS.h"

#include "fus/Mask1D.h"
#include "fus/P_Connection.h"
#include "fus/P_FUSAccess.h"
#include "fus/P_GProtocol.h"
#include "support/ConnectedFixture.h"
#include "support/Faults.h"
#include "support/LogCapture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <future>
#include <string>
#include <thread>
#include <vector>

using namespace fus;
using namespace fus::test;
using namespace fus::gprotocol;

namespace {

using Texts = std::vector<std::string>;

const Bytes READ_RAM = hex("9DC0178D 00000000");
const Bytes READ_FLASH = hex("9DC0178D 00000001");
const Bytes EMPTY_FLASH = hex("13150000 70000210 0A 00 0006 00000000") + text("empty") + u8(0);
constexpr auto UNKNOWN = static_cast<BackPanelStorage>(7);

// The definition's masks, as a set has them on the wire.
const Bytes FLAGS = hex("00000009 00 01 01 01 01 01 01 01 01   01 01 01 01 01 01 01 01 00");
const Bytes SET_RAM = hex("9DC0178E 00000000") + FLAGS;
const Bytes SET_BOTH = hex("9DC0178E 00000001") + FLAGS;
const Texts SET_LINES = {"SNT[9]: 011111111", "AMP[9]: 111111110"};

const std::string APPLYING = "Applying back panel configuration from definition file...";
const std::string COMPATIBLE = "Active config is compatible with definition, nothing to do.";

std::string textOf(const Mask1D& mask) {
    std::vector<char> buffer(mask.size() + 1);
    mask.toString(buffer.data(), buffer.size());
    return buffer.data();
}

/// Without the text behind the kind of error.
std::string kindOf(const std::string& fault) {
    return fault.substr(0, fault.find(':'));
}

Texts operator+(Texts a, const Texts& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

/// What was logged of the back panel, among commands, packets and connects.
Texts toldOf(const LogCapture& log) {
    Texts told;
    for (const std::string& line : log.texts()) {
        for (const char* part : {"ack panel", "ackPanel", "ackpanel", "SNT[", "AMP[", "config i",
                                 "not comparable", "No mask"}) {
            if (line.find(part) != std::string::npos && line[0] != ' ') {
                told.push_back(line);
                break;
            }
        }
    }
    return told;
}

class BackPanel : public ConnectedFixture {
protected:
    ~BackPanel() override { generator().clearDefinition(); }

    std::string faultOfRead(BackPanelStorage source) {
        return faultOf([&] { fus().readBackPanelConfiguration(snt, amp, source); });
    }

    std::string faultOfSet(const char* sntText, const char* ampText, BackPanelStorage target) {
        return faultOf([&] {
            fus().setBackPanelConfiguration(Mask1D(sntText, 0), Mask1D(ampText, 0), target);
        });
    }

    std::string faultOfConnect() {
        return faultOf([&] { connected = fus().connect(ScriptedPeer::HOST, peer.port(), 5000); });
    }

    /// For the small generator, whose own masks are 11111111 and 1111-1111.
    void define(const std::string& section) {
        ASSERT_TRUE(generator().loadDefinitionString(
            ("[config]\nip = 127.0.0.1\nchannels = 8\n[amplifier]\nversion = 1.2.3.4\ntype = "
             "1\nmeasures = 3\n[backpanel]\n" +
             section)
                .c_str()));
    }

    void expectDisconnect(ConnectEvent::Reason reason) {
        ASSERT_TRUE(listener.waitForType(FUSEvent::EVENT_DISCONNECT));
        EXPECT_EQ(listener.all<ConnectEvent>().back()->reason(), reason);
        EXPECT_EQ(listener.events().size(), 1U);
        EXPECT_FALSE(fus().isConnected());
        listener.clear();
    }

    Mask1D snt{"101", 0};
    Mask1D amp{"01", 0};
    bool connected = false;
};

const std::string OWN = "SNT.mask = 11111111-00000000\nAMP.mask = 1111-1111\n";
const std::string OTHER = "SNT.mask = 011111111\nAMP.mask = 111111110\n";
const std::string BOTH = "target = RAM+FLASH\n";
const Bytes OWN_ANSWER = hex("00000008 01 01 01 01 01 01 01 01 01 01 01 01 01 01 01 01");
const Bytes OTHER_ANSWER = FLAGS;
const Bytes AMP_DIFFERS = hex("00000009 00 01 01 01 01 01 01 01 01   01 01 01 01 01 01 01 00 00");
const Bytes SNT_DIFFERS = hex("00000009 00 01 01 01 01 01 01 01 00   01 01 01 01 01 01 01 01 00");

} // namespace

TEST_F(BackPanel, IsReadAsTheFewestWholeSlotsThatHoldAllActiveChannels) {
    const auto flags = [](unsigned count, std::vector<unsigned> active) {
        Bytes bytes = zeroes(count);
        for (const unsigned channel : active) {
            bytes[channel] = static_cast<unsigned char>(channel + 1); // any byte but 0
        }
        return bytes;
    };
    const struct {
        BackPanelStorage source;
        Bytes payload;
        std::string snt, amp;
    } cases[] = {
        {BKP_RAM, be32(40) + flags(40, {16}) + flags(40, {3}), "00000000000000001000000000000000",
         "00010000000000000000000000000000"},
        {BKP_FLASH, be32(40) + flags(40, {}) + flags(40, {}), "", ""},
        {BKP_FLASH, be32(0), "", ""},
        {BKP_RAM, be32(16) + flags(16, {15}) + flags(16, {}), "0000000000000001",
         "0000000000000000"},
        {BKP_RAM, be32(1) + flags(1, {}) + flags(1, {0}) + hex("FFFF"), "0000000000000000",
         "1000000000000000"},
    };
    connect(Generation::V31);
    for (const auto& c : cases) {
        peer.expect(CMD_BACKPANEL_CONFIG, c.source == BKP_RAM ? READ_RAM : READ_FLASH)
            .answer(ANSWER_BACKPANEL, c.payload);
        const LogCapture log(Log::VERBOSE);
        EXPECT_EQ(faultOfRead(c.source), "");
        EXPECT_EQ(textOf(snt), c.snt);
        EXPECT_EQ(textOf(amp), c.amp);
        const std::string size = "[" + std::to_string(c.snt.size()) + "]: ";
        EXPECT_EQ(toldOf(log), (Texts{std::string("readBackPanelConfiguration(") +
                                          (c.source == BKP_RAM ? "BKP_RAM)" : "BKP_FLASH)"),
                                      "SNT" + size + c.snt, "AMP" + size + c.amp}));
    }
    peer.expect(CMD_BACKPANEL_CONFIG)
        .answer(ANSWER_BACKPANEL, be32(300) + Bytes(300, 1) + Bytes(300, 1));
    const LogCapture log(Log::VERBOSE);
    EXPECT_EQ(faultOfRead(BKP_RAM), "");
    EXPECT_EQ(amp.size(), 304U);
    EXPECT_EQ(amp.activeCount(), 300U);
    EXPECT_TRUE(log.has("AMP[304]: " + std::string(255, '1')));
}

TEST_F(BackPanel, IsEmptyInAnEmptyFlashAndUnreadAfterAnyOtherFault) {
    const struct {
        std::uint16_t answer;
        Bytes payload;
        const char* fault;
    } cases[] = {
        {ANSWER_ERROR_MSGV3, EMPTY_FLASH, ""},
        {ANSWER_ERROR_MSGV3, hex("13150000 70000211 0A 00 0000 00000000"), "ERR_BOARD"},
        {ANSWER_ERROR_MSG, text("xxcode: 0x13150000, arg: 187904872, "), "ERR_GENERATOR"},
        {ANSWER_ERROR, {}, "ERR_GENERATOR"},
        {ANSWER_OK, {}, "ERR_TIMEOUT"},
        {ANSWER_BACKPANEL, {}, "ERR_PACKET"},
        {ANSWER_BACKPANEL, be32(4097), "ERR_PACKET"},
        {ANSWER_BACKPANEL, be32(4096) + Bytes(8000, 1), "ERR_INDEX"},
        {ANSWER_BACKPANEL, hex("000000"), "ERR_INDEX"},
        {ANSWER_BACKPANEL, hex("00000002 01 01 01"), "ERR_INDEX"},
    };
    connect(Generation::V31);
    for (const auto& c : cases) {
        snt = Mask1D("101", 0);
        amp = Mask1D("01", 0);
        peer.expect(CMD_BACKPANEL_CONFIG, READ_FLASH).answer(c.answer, c.payload);
        const LogCapture log(Log::VERBOSE);
        EXPECT_EQ(kindOf(faultOfRead(BKP_FLASH)), c.fault);
        const bool empty = *c.fault == '\0';
        EXPECT_EQ(textOf(snt), empty ? "" : "101");
        EXPECT_EQ(textOf(amp), empty ? "" : "01");
        Texts told = {"readBackPanelConfiguration(BKP_FLASH)"};
        EXPECT_EQ(toldOf(log), empty ? told + Texts{"No config in FLASH (empty)."} : told);
    }
}

TEST_F(BackPanel, IsCheckedInOrderBeforeAnythingIsSentInSecureMode) {
    connect(Generation::V30);
    LogCapture log(Log::INFO);
    EXPECT_EQ(kindOf(faultOfRead(UNKNOWN)), "ERR_PROTOCOL");
    EXPECT_EQ(kindOf(faultOfSet("1", "00", UNKNOWN)), "ERR_PROTOCOL");
    EXPECT_EQ(kindOf(faultOf([&] { fus().clearBackPanelConfiguration(); })), "ERR_PROTOCOL");
    EXPECT_EQ(toldOf(log),
              (Texts{"Unknown backpanel storage 7", "readBackPanelConfiguration(?BKP?)",
                     "Unknown backpanel storage 7", "setBackPanelConfiguration(?BKP?)",
                     "clearBackPanelConfiguration"}));
    peer.expectEnd();
    connect(Generation::V31);
    const std::string argument = "ERR_ARGUMENT: ";
    EXPECT_EQ(faultOfRead(BKP_BOTH), argument + "Invalid backpanel storage source.");
    EXPECT_EQ(faultOfSet("1", "00", BKP_FLASH), argument + "Masks sizes mismatch.");
    EXPECT_EQ(faultOfSet("10", "00", BKP_FLASH),
              argument + "Masks content mismatch (number of 0/1).");
    for (const BackPanelStorage target : {BKP_FLASH, UNKNOWN}) {
        EXPECT_EQ(faultOfSet("10", "01", target), argument + "Invalid backpanel storage target.");
    }
}

TEST_F(BackPanel, IsLeftToTheGeneratorsJudgementWithoutSecureMode) {
    fus().setSecureMode(false);
    connect(Generation::V30);
    for (const BackPanelStorage source : {BKP_BOTH, UNKNOWN}) {
        peer.expect(CMD_BACKPANEL_CONFIG, READ_RAM).answer(ANSWER_BACKPANEL, OWN_ANSWER);
        EXPECT_EQ(faultOfRead(source), "");
    }
    EXPECT_EQ(kindOf(faultOfSet("11", "1", BKP_RAM)), "ERR_INDEX");
    EXPECT_EQ(kindOf(faultOfSet("1", "11", BKP_RAM)), "ERR_INDEX");
    for (const BackPanelStorage target : {BKP_FLASH, UNKNOWN}) {
        peer.expect(CMD_BACKPANEL_CONFIG, hex("9DC0178E 00000000 00000002 0100 0000"))
            .answer(ANSWER_ERROR);
        EXPECT_EQ(kindOf(faultOfSet("10", "00", target)), "ERR_GENERATOR");
    }
}

TEST_F(BackPanel, ClosesTheConnectionAtTheUsersRequestWhenItIsSet) {
    const struct {
        BackPanelStorage target;
        const char* snt;
        const char* amp;
        Bytes payload;
        const char* line;
    } cases[] = {
        {BKP_RAM, "011111111", "111111110", SET_RAM, "setBackPanelConfiguration(BKP_RAM)"},
        {BKP_BOTH, "011111111", "111111110", SET_BOTH, "setBackPanelConfiguration(BKP_BOTH)"},
    };
    for (const auto& c : cases) {
        connect(Generation::V31);
        peer.expect(CMD_BACKPANEL_CONFIG, c.payload).answer(ANSWER_OK).expectEnd();
        const LogCapture log(Log::VERBOSE);
        EXPECT_EQ(faultOfSet(c.snt, c.amp, c.target), "");
        EXPECT_FALSE(fus().isConnected());
        EXPECT_EQ(toldOf(log), Texts{c.line} + SET_LINES);
        EXPECT_TRUE(log.has("Disconnecting (reason=user request)"));
        expectDisconnect(ConnectEvent::REASON_USER_REQUEST);
    }
    // A generator that ends the link at once: whoever notices it first, the answer counts.
    for (int round = 0; round < 30; ++round) {
        connect(Generation::V2);
        fus().setSecureMode(false);
        peer.expect(CMD_BACKPANEL_CONFIG).answer(ANSWER_OK).cut();
        EXPECT_EQ(faultOfSet("", "", BKP_RAM), "");
        expectDisconnect(ConnectEvent::REASON_USER_REQUEST);
    }
}

TEST_F(BackPanel, LeavesTheEndOfTheLinkToWhomSetIt) {
    connect(Generation::V31);
    const auto connection = FUSAccess::getConnection(fus());
    peer.expect(CMD_BACKPANEL_CONFIG).answer(ANSWER_OK).cut();
    connection->setBackPanelConfiguration(snt, snt, BKP_RAM, false);
    while (connection->isOpen()) {
        std::this_thread::yield();
    }
    connection->close(); // waits for the reader, and so for all that it has to say
    awaitOlderEvents();
    EXPECT_TRUE(listener.all<ConnectEvent>().empty()) << "nobody else has closed the connection";
    EXPECT_TRUE(fus().isConnected());
}

TEST_F(BackPanel, LeavesTheConnectionAsItWasWhenASetFails) {
    connect(Generation::V31);
    const std::uint16_t answers[] = {ANSWER_ERROR, ANSWER_BACKPANEL};
    for (const std::uint16_t answer : answers) {
        peer.expect(CMD_BACKPANEL_CONFIG, SET_BOTH).answer(answer);
        EXPECT_EQ(kindOf(faultOfSet("011111111", "111111110", BKP_BOTH)),
                  answer == ANSWER_ERROR ? "ERR_GENERATOR" : "ERR_TIMEOUT");
    }
    peer.expect(CMD_BACKPANEL_CONFIG, READ_RAM).answer(ANSWER_BACKPANEL, OWN_ANSWER);
    EXPECT_EQ(faultOfRead(BKP_RAM), "");
    peer.cut();
    expectDisconnect(ConnectEvent::REASON_SOCKET_ERROR); // of which one is told as ever
}

TEST_F(BackPanel, IsLostWithTheLinkThatEndsInTheMiddle) {
    for (const bool set : {true, false}) {
        connect(Generation::V31);
        peer.expect(CMD_BACKPANEL_CONFIG).cut();
        const std::string fault =
            kindOf(set ? faultOfSet("1", "1", BKP_RAM) : faultOfRead(BKP_RAM));
        EXPECT_TRUE(fault == "ERR_TIMEOUT" || (!set && fault == "ERR_NOT_CONNECTED")) << fault;
        expectDisconnect(ConnectEvent::REASON_SOCKET_ERROR);
    }
    for (const auto& action : std::vector<std::function<void()>>{
             [&] { fus().readBackPanelConfiguration(snt, amp, BKP_RAM); },
             [&] { fus().setBackPanelConfiguration(snt, amp, BKP_RAM); },
             [&] { fus().clearBackPanelConfiguration(); }, [&] { fus().applyDefBackPanel(); }}) {
        EXPECT_EQ(kindOf(faultOf(action)), "ERR_NOT_CONNECTED");
    }
}

TEST_F(BackPanel, IsWaitedForLongerThanOtherAnswersWhenItIsSet) {
    connect(Generation::V31);
    fus().setDefaultAnswerTimeout(200);
    const auto connection = FUSAccess::getConnection(fus());
    Latch asked;
    Latch late;
    peer.expect(CMD_BACKPANEL_CONFIG, SET_RAM).tell(asked).waitFor(late).answer(ANSWER_OK);
    peer.expectEnd();
    auto fault = std::async(std::launch::async,
                            [&] { return faultOfSet("011111111", "111111110", BKP_RAM); });
    ASSERT_TRUE(asked.wait());
    EXPECT_FALSE(connection->readAnswer(999, ANSWER_OK, nullptr, TIMEOUT_DEFAULT, nullptr));
    EXPECT_FALSE(connection->readAnswer(999, ANSWER_OK, nullptr, TIMEOUT_DEFAULT, nullptr));
    late.open();
    EXPECT_EQ(fault.get(), "");
    connect(Generation::V31);
    peer.expect(CMD_BACKPANEL_CONFIG, hex("9DC0178F"));
    EXPECT_EQ(kindOf(faultOf([&] { fus().clearBackPanelConfiguration(); })), "ERR_TIMEOUT");
}

TEST_F(BackPanel, IsClearedInFlashWithTheConnectionLeftOpen) {
    connect(Generation::V31);
    peer.expect(CMD_BACKPANEL_CONFIG, hex("9DC0178F")).answer(ANSWER_OK);
    fus().clearBackPanelConfiguration();
    peer.expect(CMD_BACKPANEL_CONFIG, hex("9DC0178F")).answer(ANSWER_ERROR);
    EXPECT_EQ(kindOf(faultOf([&] { fus().clearBackPanelConfiguration(); })), "ERR_GENERATOR");
    EXPECT_NO_THROW(FUSAccess::getConnection(fus()));
}

// --- the definition's ----------------------------------------------------------------------------

TEST_F(BackPanel, IsBroughtToTheDefinitionAtConnectWhereItDiffers) {
    struct Case {
        std::string definition;
        std::uint16_t flash; // the answer when FLASH is read, 0: it is not
        Bytes flashPayload;
        Bytes set; // empty: nothing is set
        Texts lines;
    };
    const Texts reading = {APPLYING, "readBackPanelConfiguration(BKP_FLASH)"};
    const Texts setting = Texts{"setBackPanelConfiguration(BKP_BOTH)"} + SET_LINES;
    const Texts otherFlash = {"SNT[16]: 0111111110000000", "AMP[16]: 1111111100000000"};
    const Case cases[] = {
        {"AMP.mask = 11111111\n", 0, {}, {}, {}},
        {"SNT.mask = 0\n", 0, {}, {}, {}},
        {OWN, 0, {}, {}, {APPLYING, COMPATIBLE}},
        {OTHER, 0, {}, SET_RAM, Texts{APPLYING, "setBackPanelConfiguration(BKP_RAM)"} + SET_LINES},
        {OTHER + BOTH,
         ANSWER_BACKPANEL,
         OTHER_ANSWER,
         {},
         reading + otherFlash +
             Texts{"FLASH config is compatible with definition, nothing to do."}},
        {OTHER + BOTH, ANSWER_ERROR_MSGV3, EMPTY_FLASH, SET_BOTH,
         reading + Texts{"No config in FLASH (empty)."} + setting},
        {OTHER + BOTH, ANSWER_BACKPANEL, be32(9) + zeroes(18), SET_BOTH,
         reading + Texts{"SNT[0]: ", "AMP[0]: "} + setting},
    };
    fus().registerListener(&listener);
    for (const Case& c : cases) {
        for (const bool endsItself : {true, false}) { // the link, after the set
            define(c.definition);
            std::string last = iniOf(Generation::V31);
            peer.sendIni(last);
            if (c.flash != 0) {
                peer.expect(CMD_BACKPANEL_CONFIG, READ_FLASH).answer(c.flash, c.flashPayload);
            }
            if (!c.set.empty()) {
                peer.expect(CMD_BACKPANEL_CONFIG, c.set).answer(ANSWER_OK);
                endsItself ? peer.cut() : peer.expectEnd();
                last = "# anew\n" + last;
                peer.sendIni(last);
            }
            answerConnect(peer, Generation::V31);
            const LogCapture log(Log::VERBOSE);
            ASSERT_EQ(faultOfConnect(), "");
            ASSERT_TRUE(connected);
            EXPECT_EQ(toldOf(log), c.lines);
            EXPECT_EQ(fus().getInitString(), last);
            peer.expectEnd();
            fus().disconnect();
            ASSERT_TRUE(listener.waitForType(FUSEvent::EVENT_DISCONNECT));
            EXPECT_EQ(listener.types(), (std::vector<FUSEvent::EventType>{
                                            FUSEvent::EVENT_CONNECT, FUSEvent::EVENT_DISCONNECT}));
            EXPECT_EQ(listener.all<ConnectEvent>().back()->reason(),
                      ConnectEvent::REASON_USER_REQUEST);
            listener.clear();
        }
    }
}

TEST_F(BackPanel, LeavesNoConnectionBehindThatCantBeBroughtToTheDefinition) {
    struct Case {
        Generation generation;
        std::string definition;
        std::function<void()> script;
        const char* fault; // "": no success
    };
    const auto end = [&] { peer.expectEnd(); };
    const auto refuse = [&](const Bytes& command) {
        peer.expect(CMD_BACKPANEL_CONFIG, command).answer(ANSWER_ERROR).expectEnd();
    };
    const Case cases[] = {
        {Generation::V2, OWN, end, "ERR_PROTOCOL"}, // V2 tells no masks
        {Generation::V30, OTHER, end, "ERR_PROTOCOL"},
        {Generation::V30, OWN + BOTH, end, "ERR_PROTOCOL"},
        {Generation::V31, "SNT.mask = 11111111\nAMP.mask = 1-0111-1111-0", end, "ERR_ARGUMENT"},
        {Generation::V31, OTHER, [&] { refuse(SET_RAM); }, "ERR_GENERATOR"},
        {Generation::V31, OTHER + BOTH, [&] { refuse(READ_FLASH); }, "ERR_GENERATOR"},
        {Generation::V31, OTHER, [&] { peer.expect(CMD_BACKPANEL_CONFIG, SET_RAM).cut(); },
         "ERR_TIMEOUT"},
        {Generation::V31, OTHER,
         [&] {
             peer.expect(CMD_BACKPANEL_CONFIG, SET_RAM).answer(ANSWER_OK).cut();
             peer.awaitConnection().send(be32(31)).cut();
         },
         ""},
    };
    fus().registerListener(&listener);
    fus().setSecureMode(false); // which a connection hears of when it stands
    for (const Case& c : cases) {
        define(c.definition);
        peer.sendIni(iniOf(c.generation));
        c.script();
        connected = false;
        EXPECT_EQ(kindOf(faultOfConnect()), c.fault);
        EXPECT_FALSE(connected);
        EXPECT_FALSE(fus().isConnected());
        EXPECT_TRUE(peer.settle());
    }
    generator().clearDefinition();
    greet(peer, Generation::V31);
    EXPECT_EQ(faultOfConnect(), "");
    EXPECT_TRUE(connected);
    ASSERT_TRUE(listener.waitForCount(1));
    EXPECT_EQ(listener.types(), std::vector<FUSEvent::EventType>{FUSEvent::EVENT_CONNECT});
}

TEST_F(BackPanel, IsBroughtToTheDefinitionOnRequestByWhatIsRead) {
    struct Case {
        std::string definition;
        Bytes ram; // the answers to reads; empty: there is none
        Bytes flash;
        Bytes set;
        std::string line; // the last one
    };
    const Case cases[] = {
        {"AMP.mask = 11111111\n", {}, {}, {}, "No mask in definition, nothing to do."},
        {OTHER, OTHER_ANSWER, {}, {}, COMPATIBLE},
        {OTHER, OWN_ANSWER, {}, SET_RAM, SET_LINES[1]},
        {OTHER + BOTH, OTHER_ANSWER, OTHER_ANSWER, {}, COMPATIBLE},
        {OTHER + BOTH, OTHER_ANSWER, OWN_ANSWER, SET_BOTH, SET_LINES[1]},
        {OTHER + BOTH, OWN_ANSWER, {}, SET_BOTH, SET_LINES[1]},
        {OTHER, AMP_DIFFERS, {}, SET_RAM, SET_LINES[1]},
        {OTHER, SNT_DIFFERS, {}, SET_RAM, SET_LINES[1]},
    };
    for (const Case& c : cases) {
        connect(Generation::V31);
        define(c.definition);
        if (!c.ram.empty()) {
            peer.expect(CMD_BACKPANEL_CONFIG, READ_RAM).answer(ANSWER_BACKPANEL, c.ram);
        }
        if (!c.flash.empty()) {
            peer.expect(CMD_BACKPANEL_CONFIG, READ_FLASH).answer(ANSWER_BACKPANEL, c.flash);
        }
        if (!c.set.empty()) {
            peer.expect(CMD_BACKPANEL_CONFIG, c.set).answer(ANSWER_OK);
        }
        peer.expectEnd();
        const LogCapture log(Log::VERBOSE);
        EXPECT_EQ(fus().applyDefBackPanel(), !c.set.empty());
        EXPECT_EQ(fus().isConnected(), c.set.empty());
        const Texts told = toldOf(log);
        EXPECT_EQ(told.front(), APPLYING);
        EXPECT_EQ(told.back(), c.line);
        fus().disconnect();
        expectDisconnect(ConnectEvent::REASON_USER_REQUEST);
        generator().clearDefinition();
    }
}
