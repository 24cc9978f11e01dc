#include "fussim/Description.h"

#include "support/SourceTree.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

using namespace fus::simulator;

namespace {

std::string faultOf(const std::string& text) {
    try {
        Description::parse(text);
    } catch (const DescriptionError& error) {
        return error.what();
    }
    return "";
}

// The shipped text with one piece of it replaced.
std::string changed(const std::string& from, const std::string& to) {
    std::string text = Description::shippedText("3.1");
    const std::size_t position = text.find(from);
    EXPECT_NE(std::string::npos, position) << from;
    return text.replace(position, from.size(), to);
}

} // namespace

TEST(Description, ShipsOneForEachGeneration) {
    struct {
        const char* protocol;
        unsigned number;
        std::size_t channels, boards, shotResult, withBoards;
    } const rows[] = {{"2.5", 205, 64, 10, 38 + 64 * 4, 38 + 64 * 4 + 4 * 4},
                      {"3.0", 300, 128, 18, 38 + 128 * 5, 38 + 128 * 5 + 8 * 4},
                      {"3.1", 301, 256, 34, 38 + 256 * 4, 38 + 256 * 4 + 16 * 4}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.protocol);
        const Description description = Description::shipped(row.protocol);
        EXPECT_EQ(row.number, description.protocolNumber);
        EXPECT_EQ(row.channels, description.channelCount);
        EXPECT_EQ(row.boards, description.boards.size());
        EXPECT_EQ(row.shotResult, description.shotResultSize(false));
        EXPECT_EQ(row.withBoards, description.shotResultSize(true));
        EXPECT_TRUE(description.hasTriggerInput);
    }
}

TEST(Description, BuildsInTheVeryFilesThatAreShipped) {
    for (const std::string protocol : {"2.5", "3.0", "3.1"}) {
        std::ifstream file(fus::test::sourceTree() + "/simulator/descriptions/generator-" +
                           protocol + ".ini");
        std::ostringstream text;
        text << file.rdbuf();
        EXPECT_EQ(text.str(), Description::shippedText(protocol));
    }
}

TEST(Description, SendsItselfWhole) {
    const std::string head = "; [simulator] in a comment\r\n"
                             "/* \n[simulator/x]\n*/\n";
    const std::string upb = "[UPB00]\nsimulator = 1\nhw = 1.2\nsw = 3.1\nprotocol_version = 3.1\n"
                            "max_nb_buffers = 1\nmax_nb_shots = 1\n";
    const std::string rest = "[BKP]\nsnt_chr = 1\namp_chr = 1\n[SNT00]\nbm = 1\n"
                             "[AMP00]\nbm = 1\nch = vrf1\n";
    const std::string text = head + upb + "  [ simulator/channels/vrf]\ncoefficients = 0|0.5\n" +
                             rest + "[simulator]\nload_q = 3\n";
    const Description description = Description::parse(text);
    EXPECT_EQ(text, description.wireText);
    EXPECT_EQ(3, description.load.quality);
    ASSERT_EQ(1U, description.channelMeasures.size());
    EXPECT_EQ(0.5, description.channelMeasures[0].curve.coefficients.at(1));
}

TEST(Description, NamesWhatItCannotSimulate) {
    const char* const UPB = "[simulator/parameters/UPB]\n";
    struct {
        std::string text;
        const char* fault;
    } const rows[] = {
        {"", "not a generator's INI text"},
        {"[UPB00", "not a generator's INI text"},
        {changed("load_q = 2", "load_w = 2"), "[simulator]: unknown key 'load_w'"},
        {changed("load_ohm = 50", "load_ohm = many"), "[simulator]: 'load_ohm' isn't a number"},
        {changed(UPB, std::string(UPB) + "BPARAM_X = 1\n"), "unknown parameter 'BPARAM_X'"},
        {changed(UPB, std::string(UPB) + "1377 = -1\n"), "'1377' isn't an unsigned integer"},
        {changed("lower = 4500", "lower = -1"), "'lower' isn't an unsigned integer"},
        {changed("-320|1", "-320|0.5"), "[simulator/measures/AMP/tem]: coefficients are integers"},
        {changed("topology = R1", "topology = R2"),
         "[simulator/axes/2]: 'topology' is L1, L2 or R1"},
        {changed("reference2 = 1002000", "reference2 = 1012000"),
         "'reference2' lies between 'low'"},
        {changed("PARAM_MAX_SPEED = 20", "PARAM_MAX_SPEED = fast"),
         "'PARAM_MAX_SPEED' isn't a number"},
        {changed("max_moves = 100", "max_moves = 256"), "'max_moves' is at most 255"},
        {changed("crc_format = 1", "crc_format = 2"), "[simulator/boards/AMP]: 'crc_format' is 0"},
        {changed("crc_format = 1", "crc_format = 0"), "a crc of more than 16 bits doesn't fit"},
        {changed("crc_format = 1", "uid = 1"), "the text to send already tells 'uid'"},
        {changed("bo = 4vdc2", "bo = 4vdc3"), "measure 'vdc': a size can be 1, 2 or 4 bytes"},
        {changed("max_nb_shots = 2048", "max_nb_shots = 5000"), "8 buffers of 5000 shots"},
        {changed("ch = vrf1,irf1,pvi1,pvr1", "ch = 8vrf4"), "a shot result would have 8294 bytes"},
    };
    for (const auto& row : rows) {
        EXPECT_NE(std::string::npos, faultOf(row.text).find(row.fault))
            << faultOf(row.text) << " instead of " << row.fault;
    }
}

TEST(MeasureCurve, IsInvertedWithinTheRangeOfTheConverter) {
    const MeasureCurve line{{-10, 0.5}};
    EXPECT_DOUBLE_EQ(30, line.inverse(5, 255));
    EXPECT_DOUBLE_EQ(0, line.inverse(-11, 255));
    EXPECT_DOUBLE_EQ(255, line.inverse(1000, 255));
    const MeasureCurve falling{{100, 0, -0.01}};
    EXPECT_NEAR(50, falling.inverse(75, 100), 1e-6);
}
