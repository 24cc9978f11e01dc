// The channels in use: asked for and set by bytes, and what the generator is from then on.
#include "Client.h"

#include "fus/FUS.h"
#include "fus/Generator.h"
#include "fus/P_GeneratorConfig.h"
#include "support/LogCapture.h"
#include "support/RecordingListener.h"

#include <algorithm>

using namespace fus::simulator;
using namespace fus::simulator::test;

namespace {

constexpr unsigned BACK_PANEL = 1311;
const Bytes READ_RAM = hex("9DC0178D 00000000");
const Bytes READ_FLASH = hex("9DC0178D 00000001");
const Bytes CLEAR = hex("9DC0178F");
const Bytes SET_RAM = hex("9DC0178E 00000000");
const Bytes SET_BOTH = hex("9DC0178E 00000001");

// The first so many of `size` channels.
Bytes first(std::size_t active, std::size_t size) {
    return Bytes(active, 1) + zeroes(size - active);
}

Bytes masks(const Bytes& snt, const Bytes& amp) {
    return be32(static_cast<std::uint32_t>(snt.size())) + snt + amp;
}

Bytes bothMasks(const Bytes& flags) {
    return masks(flags, flags);
}

std::string emptyFlash(std::uint32_t id) {
    return described({id, 1310,
                      hex("13150000 70000210 0A 00 001B 00000000") +
                          text("No configuration in FLASH.") + u8(0)});
}

std::string configuration(std::uint32_t id, const Bytes& flags) {
    return described({id, BACK_PANEL, bothMasks(flags)});
}

// The shipped text with something behind it.
Description extended(const std::string& sections) {
    return Description::parse(Description::shippedText("3.1") + ("\n" + sections));
}

std::string counts(const std::string& text) {
    fus::GeneratorConfig config;
    config.load(text);
    std::string line;
    for (unsigned index : {0U, 2U, 3U, 5U, 6U, 7U, 12U, 13U}) {
        line += std::to_string(config.getCount(index)) + " ";
    }
    return line;
}

} // namespace

TEST(BackPanel, IsReadSetAndClearedInRamAndFlash) {
    Story story;
    Client& client = *story.client;
    EXPECT_EQ(configuration(1, first(256, 256)), client.ask(BACK_PANEL, 1, READ_RAM));
    EXPECT_EQ(emptyFlash(2), client.ask(BACK_PANEL, 2, READ_FLASH));

    EXPECT_EQ("1301 #3", client.ask(BACK_PANEL, 3, SET_RAM + bothMasks(first(32, 48))));
    EXPECT_EQ(configuration(4, first(32, 48)), client.ask(BACK_PANEL, 4, READ_RAM));
    EXPECT_EQ(emptyFlash(5), client.ask(BACK_PANEL, 5, READ_FLASH));
    EXPECT_EQ("1301 #6", client.ask(BACK_PANEL, 6, SET_BOTH + bothMasks(first(16, 4096))));
    EXPECT_EQ(configuration(7, first(16, 512)), client.ask(BACK_PANEL, 7, READ_FLASH));
    EXPECT_EQ("1301 #8", client.ask(BACK_PANEL, 8, SET_RAM + bothMasks(first(32, 32))));
    EXPECT_EQ(configuration(9, first(16, 512)), client.ask(BACK_PANEL, 9, READ_FLASH));
    EXPECT_EQ("1301 #10", client.ask(BACK_PANEL, 10, CLEAR));
    EXPECT_EQ(emptyFlash(11), client.ask(BACK_PANEL, 11, READ_FLASH));
    EXPECT_EQ(std::vector<bool>(32, true), story.simulator.backPanel().amp);
    EXPECT_FALSE(story.simulator.backPanelFlash());
}

TEST(BackPanel, RefusesWhatNoGeneratorCouldWorkWith) {
    struct {
        const char* what;
        Bytes payload;
        std::uint32_t code;
    } const rows[] = {
        {"nothing", {}, 0x11140000},
        {"unknown command", hex("9DC01790"), 0x13090000},
        {"read without a storage", hex("9DC0178D 0000"), 0x11140000},
        {"read of both", hex("9DC0178D 00000002"), 0x13090000},
        {"read with more", READ_RAM + u8(0), 0x11140000},
        {"clear with more", CLEAR + u8(0), 0x11140000},
        {"set without a count", SET_RAM, 0x11140000},
        {"set of an unknown storage", hex("9DC0178E 00000002") + bothMasks(first(16, 16)),
         0x13090000},
        {"set of too many", SET_RAM + bothMasks(first(16, 4097)), 0x13160000},
        {"set of 2^32 - 1", SET_RAM + be32(0xFFFFFFFF) + first(16, 16), 0x13160000},
        {"set of one flag too few", SET_RAM + masks(first(16, 16), first(15, 15)), 0x11140000},
        {"set of one flag too many", SET_RAM + masks(first(16, 16), first(17, 17)), 0x11140000},
        {"set of nothing", SET_RAM + be32(0), 0x13100000},
        {"set of clear flags", SET_RAM + bothMasks(zeroes(16)), 0x13100000},
        {"unlike numbers", SET_RAM + masks(first(16, 32), first(32, 32)), 0x13100000},
        {"beyond the last slot", SET_RAM + bothMasks(zeroes(512) + u8(1)), 0x13100000},
        {"slots without boards", SET_RAM + bothMasks(zeroes(256) + u8(1)), 0x13100000},
    };
    Story story;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        story.client->send(BACK_PANEL, 7, row.payload);
        const auto answer = story.client->readAnswer();
        ASSERT_TRUE(answer && answer->type == 1310);
        EXPECT_EQ(row.code, answer->be32At(0)) << std::hex << answer->be32At(0);
    }
    EXPECT_EQ(configuration(8, first(256, 256)), story.client->ask(BACK_PANEL, 8, READ_RAM));
    for (const char* protocol : {"2.5", "3.0"}) { // where there is no such command
        Story older(Story::fast(), Description::shipped(protocol));
        EXPECT_NE("1311", older.client->ask(BACK_PANEL, 1, READ_RAM).substr(0, 4));
    }
}

TEST(BackPanel, CountsFromTheNextClientOn) {
    Story story;
    const std::string before = story.simulator.description().wireText;
    EXPECT_EQ("34 16 16 16 16 256 16 16 ", counts(before));
    story.simulator.setBoardParameter(12, 3, 2601, 5000);
    EXPECT_EQ("1301 #1", story.client->ask(1122, 1, uploadV3(0, {{}})));
    // half of slot 1, and slot 3
    const Bytes flags = zeroes(16) + Bytes(8, 1) + zeroes(24) + Bytes(16, 1);
    EXPECT_EQ("1301 #2", story.client->ask(BACK_PANEL, 2, SET_RAM + bothMasks(flags)));
    EXPECT_TRUE(story.client->isAtEnd()) << "the generator ends the link by itself";

    Client next(story.simulator);
    const std::string groups =
        "0000000000000000-1111111100000000-0000000000000000-1111111111111111\n";
    std::string expected = before;
    for (const std::string key : {"snt_chr = ", "amp_chr = "}) {
        const std::size_t value = expected.find(key) + key.size();
        expected.replace(value, expected.find('\n', value) + 1 - value, groups);
    }
    const std::string welcome = next.welcome();
    EXPECT_EQ(expected, welcome);
    EXPECT_EQ("6 16 16 2 2 24 2 2 ", counts(welcome));
    EXPECT_EQ(configuration(3, flags), next.ask(BACK_PANEL, 3, READ_RAM));
    EXPECT_EQ(described({4, 1309, be16(24) + Bytes(24, 1)}), next.ask(1309, 4));
    next.send(1308, 5);
    EXPECT_EQ(4U + 6 * 8, next.readAnswer()->payload.size());
    EXPECT_EQ(boardAnswer(12, 0, 70, 78),
              [&] { // a board that is in use no longer
                  next.send(1307, 6, boardCommand(12, 0, 70));
                  const Bytes answer = next.readAnswer()->payload;
                  return Bytes(answer.begin(), answer.begin() + 18);
              }());
    EXPECT_EQ(5000U, story.simulator.threshold(12, 3, 1, true)) << "thresholds stay";
    EXPECT_TRUE(story.simulator.buffer(0).shots.empty()) << "what was for other channels goes";

    // a shot: 24 channels of 4 bytes each
    EXPECT_EQ("1301 #7", next.ask(1122, 7, uploadV3(0, {{}})));
    EXPECT_EQ("1301 #8", next.ask(1123, 8, startV3(0, 1, 0, 500)));
    const auto result = next.readAnswer();
    ASSERT_TRUE(result && result->type == 1304);
    EXPECT_EQ(28U + 24 * 4, result->payload.size());
}

TEST(BackPanel, StartsWithWhatIsInTheFlash) {
    const std::string sixteen = "1111111111111111";
    Story story(Story::fast(), extended("[simulator/backpanel]\nflash_snt = " + sixteen +
                                        "\nflash_amp = 0-" + sixteen + "\n"));
    EXPECT_EQ(described({1, BACK_PANEL, masks(first(16, 32), zeroes(16) + first(16, 16))}),
              story.client->ask(BACK_PANEL, 1, READ_RAM));
    EXPECT_EQ(16U, story.simulator.channelStates().size());
    EXPECT_EQ("1301 #2", story.client->ask(BACK_PANEL, 2, CLEAR));
    story.client->close();
    Client next(story.simulator);
    EXPECT_EQ("4 16 16 1 1 16 1 1 ", counts(next.welcome())) << "until the next start";
}

TEST(BackPanel, IsWrittenIntoATextThatStaysAsItIs) {
    const std::string rest = "[SNT00]\r\nbm = 1111\r\n[AMP00]\nbm = 1111\nch = vrf1\n";
    const std::string head = "[UPB00]\nprotocol_version = 3.1\nmax_nb_buffers = 1\n"
                             "max_nb_shots = 1\n";
    struct {
        std::string before, after;
    } const rows[] = {
        {"[BKP]\nsnt_chr = 1111\namp_chr = 1111\n", "[BKP]\nsnt_chr = 1100\namp_chr = 1100\n"},
        {"  [ BKP ] wiring\r\n# snt_chr = 1\r\n\tsnt_chr\t:\t11-11 \r\nother = 1\r\n"
         "amp_chr=11-11\r\n",
         "  [ BKP ] wiring\r\n# snt_chr = 1\r\n\tsnt_chr\t: 1100\r\nother = 1\r\n"
         "amp_chr= 1100\r\n"},
        {"/*\n[BKP]\nsnt_chr = 0\n*/\n[BKP]\n/*\nsnt_chr = 0\n*/\nsnt_chr = 111\nsnt_chr = 1\n"
         "amp_chr = 111\n",
         "/*\n[BKP]\nsnt_chr = 0\n*/\n[BKP]\n/*\nsnt_chr = 0\n*/\nsnt_chr = 1100\nsnt_chr = 1\n"
         "amp_chr = 1100\n"},
    };
    for (const auto& row : rows) {
        const Description description = Description::parse(head + row.before + rest);
        const Wiring half{{true, true, false, false}, {true, true, false, false}};
        const Description rewired = description.rewired(half);
        EXPECT_EQ(head + row.after + rest, rewired.wireText);
        EXPECT_EQ(2U, rewired.channelCount);
    }
}

TEST(BackPanel, IsMadeTheDefinitionsByTheLibraryOnceAndFoundSoFromThenOn) {
    using fus::FUSEvent;
    using fus::Log;
    const std::string slot = "1111111111111111";
    const std::string text = "[config]\nip = 127.0.0.1\nchannels = 32\n[amplifier]\n"
                             "version = 2012.4.3.0\ntype = 2\nmeasures = 4\n[backpanel]\n"
                             "SNT.mask = " +
                             slot + "-" + slot + "-0000000000000000\nAMP.mask = " + slot +
                             "-0000000000000000-" + slot + "\ntarget = ";
    const Bytes snt = first(32, 48);
    const Bytes amp = Bytes(16, 1) + zeroes(16) + Bytes(16, 1);
    const auto isWired = [&](const Wiring& wiring) {
        return std::equal(snt.begin(), snt.end(), wiring.snt.begin(), wiring.snt.end()) &&
               std::equal(amp.begin(), amp.end(), wiring.amp.begin(), wiring.amp.end());
    };
    fus::FUS& library = fus::FUS::getInstance();
    for (const std::string target : {"RAM", "RAM+FLASH"}) {
        Simulator simulator(Description::builtIn(), Story::fast());
        simulator.start();
        fus::test::RecordingListener listener;
        library.registerListener(&listener);
        ASSERT_TRUE(library.getGenerator().loadDefinitionString((text + target).c_str()));
        for (const bool isFirst : {true, false}) {
            const fus::test::LogCapture log(Log::VERBOSE);
            ASSERT_TRUE(library.connect("127.0.0.1", simulator.port(), 5000));
            EXPECT_EQ(isFirst, log.hasPart("setBackPanelConfiguration("));
            EXPECT_EQ(!isFirst, log.hasPart("config is compatible with definition"));
            EXPECT_TRUE(isWired(simulator.backPanel()));
            EXPECT_EQ(32U, library.getGenerator().getChannelCount());
            EXPECT_EQ(2U, library.getBoardCount(fus::gprotocol::BOARD_SYNTHESIZER));
            EXPECT_EQ(2U, library.getBoardAMP(1).address()) << "boards in use come first";
            library.disconnect();
        }
        EXPECT_EQ(target == "RAM+FLASH",
                  simulator.backPanelFlash() && isWired(*simulator.backPanelFlash()));
        ASSERT_TRUE(listener.waitForType(FUSEvent::EVENT_DISCONNECT, 2));
        EXPECT_EQ(4U, listener.events().size()) << "the second link of a connect is no event";
        library.unregisterListener(&listener);
        library.getGenerator().clearDefinition();
    }
}
