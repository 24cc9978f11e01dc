// Stories of the library and the simulator, from the one's calls to the other's state.
#include "Client.h"

#include "fus/BoardInfo.h"
#include "fus/FUS.h"
#include "fus/Generator.h"
#include "fus/Mask1D.h"

#include <cstdio>
#include <fstream>

using namespace fus::simulator;
using namespace fus::simulator::test;

namespace {

fus::FUS& library() {
    return fus::FUS::getInstance();
}

void connect(const Simulator& simulator) {
    ASSERT_TRUE(library().connect("127.0.0.1", simulator.port(), PATIENCE_MS));
}

// What the library is sent by a generator like this.
std::string textOf(const Description& description) {
    Simulator simulator(description, Story::fast());
    simulator.start();
    connect(simulator);
    const char* text = library().getInitString();
    const std::string copy = text ? text : "";
    library().disconnect();
    return copy;
}

std::string withCarriageReturns(std::string text) {
    for (std::size_t end = text.find('\n'); end != text.npos; end = text.find('\n', end + 2)) {
        text.insert(end, 1, '\r');
    }
    return text;
}

// What follows from the text alone.
std::string summaryOf(const Description& description) {
    std::string line = std::to_string(description.protocolNumber) + " " +
                       std::to_string(description.channelCount) + " " +
                       std::to_string(description.bufferCount) + " " +
                       std::to_string(description.maxShots) + " " +
                       std::to_string(description.shotResultSize(true));
    for (const BoardDescription& board : description.boards) {
        line += "\n" + std::to_string(board.hwid) + "/" + std::to_string(board.address) +
                (board.active ? " " : " not ") + std::to_string(board.firstChannel) + " " +
                std::to_string(board.channelCount) + " " + std::to_string(board.measures.size());
        for (unsigned part : board.hardwareVersion) {
            line += " " + std::to_string(part);
        }
        for (unsigned part : board.firmwareVersion) {
            line += " " + std::to_string(part);
        }
    }
    return line;
}

} // namespace

TEST(Library, ReadsATextThatIsADescriptionOfTheSameGenerator) {
    const std::string file = ::testing::TempDir() + "fus_round_trip.ini";
    for (const char* protocol : {"2.5", "3.0", "3.1"}) {
        for (const bool hasReturns : {false, true}) {
            SCOPED_TRACE(protocol);
            const std::string shipped = Description::shippedText(protocol);
            const Description first =
                Description::parse(hasReturns ? withCarriageReturns(shipped) : shipped);
            const std::string text = textOf(first);
            EXPECT_EQ(Description::shipped(protocol).wireText, text);
            std::ofstream(file, std::ios::binary) << text;
            const Description second = Description::fromFile(file);
            EXPECT_EQ(text, second.wireText);
            EXPECT_EQ(summaryOf(first), summaryOf(second));
            EXPECT_EQ(text, textOf(second));
        }
    }
    std::remove(file.c_str());
}

TEST(Library, MeetsTheGeneratorThatItsBackPanelAndItsRebootsLeave) {
    using namespace fus::gprotocol;
    Simulator simulator(Description::builtIn(), Story::fast());
    simulator.start();
    connect(simulator);
    const fus::BoardInfo info = library().readBoardInfo(BOARD_AMPLIFIER, 15);
    EXPECT_EQ(0x2E7709A1U, info.firmwareCRC());
    EXPECT_STREQ("2019-03-11 16:31:30", info.firmwareDatetime());

    const fus::Mask1D wanted(32, true);
    library().setBackPanelConfiguration(wanted, wanted, BKP_BOTH);
    struct {
        const char* what;
        void (*act)();
        unsigned boards;
    } const rows[] = {
        {"set in both", [] {}, 2},
        {"slaves rebooted", [] { library().reboot(REBOOT_SLAVES); }, 2},
        {"all rebooted, with a FLASH", [] { library().reboot(REBOOT_ALL); }, 2},
        {"all rebooted without",
         [] {
             library().clearBackPanelConfiguration();
             library().reboot(REBOOT_ALL);
         },
         16},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        row.act();
        EXPECT_FALSE(library().isConnected());
        connect(simulator);
        EXPECT_EQ(row.boards, library().getBoardCount(BOARD_AMPLIFIER));
        EXPECT_EQ(16U, library().getDetectedBoardCount(BOARD_AMPLIFIER));
        fus::Mask1D snt, amp;
        library().readBackPanelConfiguration(snt, amp, BKP_RAM);
        EXPECT_EQ(row.boards * 16, amp.size());
        fus::Mask1D states;
        library().getGenerator().readChannelsState(states);
        EXPECT_EQ(row.boards * 16, states.size());
    }
    fus::Mask1D snt, amp;
    library().readBackPanelConfiguration(snt, amp, BKP_FLASH);
    EXPECT_EQ(0U, snt.size());
    library().disconnect();
}
