#include "MonitorPicture.h"

#include "ToolRun.h"

#include <algorithm>
#include <cmath>

namespace fus::tool::test {
namespace {

using namespace gprotocol;

/// One that has been judged by what it is given.
Value valueOf(const char* name, const char* unit, float value, std::optional<float> lower,
              std::optional<float> upper) {
    Value result;
    result.name = name;
    result.unit = unit;
    result.lower = lower;
    result.upper = upper;
    result.take(value);
    return result;
}

Reading rack(unsigned amplifiers) {
    Reading reading;
    reading.time = "2020-01-31T16:38:03";
    BoardReading processor;
    processor.values = {valueOf("vdc0", "V", 5.001F, 4.5F, 5.5F), valueOf("vdc1", "V", 12, 11, 13),
                        valueOf("vdc2", "V", 24, {}, {}), valueOf("vdc3", "V", 28, 26, 30)};
    processor.status = 0;
    reading.boards.push_back(processor);
    for (unsigned type : {BOARD_SYNTHESIZER, BOARD_AMPLIFIER}) {
        for (unsigned i = 0; i < amplifiers; ++i) {
            BoardReading board;
            board.type = static_cast<BoardType>(type);
            board.address = i;
            board.status = 0;
            if (type == BOARD_AMPLIFIER) {
                board.values = {valueOf("tem", "C", 24.06F, {}, 80),
                                valueOf("idc", "A", 0.2F, {}, 9)};
            }
            reading.boards.push_back(board);
        }
    }
    return reading;
}

std::vector<std::string> linesOf(const Picture& picture) {
    std::vector<std::string> lines;
    std::istringstream text(plainText(picture));
    for (std::string line; std::getline(text, line);) {
        lines.push_back(line);
    }
    return lines;
}

Picture draw(const Reading& reading, unsigned columns, unsigned rows) {
    return drawPicture(reading, {"title", "footer"}, {columns, rows});
}

TEST(MonitorPictureTest, ShowsEachBoardWithValuesUnitsAndThresholds) {
    EXPECT_EQ(plainText(draw(rack(2), 80, 24)),
              "title\n"
              "All 8 values are within their thresholds, all 5 boards are well.\n"
              "\n"
              "UPB  0   ok  vdc0   5.00 V 4.50..5.50         vdc1  12.00 V 11.00..13.00\n"
              "             vdc2  24.00 V                    vdc3  28.00 V 26.00..30.00\n"
              "\n"
              "AMP  0   ok  tem   24.1 C ..80.0       idc   0.20 A ..9.00\n"
              "AMP  1   ok  tem   24.1 C ..80.0       idc   0.20 A ..9.00\n"
              "\n"
              "SNT 0-1  ok\n"
              "\n"
              "footer\n");
}

TEST(MonitorPictureTest, SaysInWordsWhatIsBeyondAThresholdUnreadOrNotWell) {
    Reading reading = rack(5);
    reading.boards[0].values[0].take(4.2F);
    BoardReading* const amplifiers = &reading.boards[6];
    amplifiers[1].values[0].take(80.5F);
    amplifiers[2].values[1].take(std::nanf(""));
    amplifiers[3].status = BOARD_STATUS_RESETED | BOARD_STATUS_POWER_SUPPLY | 0x40U;
    reading.boards[3].status = BOARD_STATUS_CRC;
    const std::string text = plainText(draw(reading, 120, 40));
    expectPart(text, "LOOK: UPB0.vdc0 LOW, SNT2 CRC, AMP1.tem HIGH, AMP2.idc unread, "
                     "AMP3 reset+supply+0x40\n");
    expectPart(text, "vdc0   4.20 V 4.50..5.50   LOW");
    expectPart(text, "AMP  1   ok  tem   80.5 C ..80.0 HIGH  idc   0.20 A ..9.00\n");
    expectPart(text, "idc unread A ..9.00\n");
    expectPart(
        text,
        "AMP  3   !!  tem   24.1 C ..80.0       idc   0.20 A ..9.00       reset+supply+0x40\n");
    expectPart(text, "SNT 2    !!  CRC\n");
    expectPart(text, "SNT 0-1, 3-4 ok\n");
    expectPart(plainText(draw(reading, 50, 40)), "LOOK: UPB0.vdc0 LOW, SNT2 CRC and 3 more\n");
}

TEST(MonitorPictureTest, FitsAnyTerminalAndSaysWhatItLeavesOut) {
    for (const unsigned columns : {1U, 2U, 20U, 60U, 80U, 200U}) {
        for (const unsigned rows : {1U, 2U, 3U, 4U, 10U, 24U, 60U}) {
            SCOPED_TRACE(testing::Message() << columns << "x" << rows);
            const auto lines = linesOf(draw(rack(16), columns, rows));
            EXPECT_LE(lines.size(), rows);
            for (const std::string& line : lines) {
                EXPECT_LT(line.size(), columns) << line;
            }
        }
    }
    const auto lines = linesOf(draw(rack(32), 80, 24));
    ASSERT_EQ(lines.size(), 24U);
    EXPECT_EQ(lines[22], "... 15 rows more: the window is too small");
    EXPECT_EQ(lines[23], "footer");
}

TEST(MonitorPictureTest, PutsBoardsBesideEachOtherWhereTheRowsDoNotDo) {
    const auto lines = linesOf(draw(rack(32), 130, 24));
    EXPECT_LE(lines.size(), 24U);
    expectPart(lines[3], "   AMP 15   ok  tem ");
    for (const std::string& line : lines) {
        EXPECT_EQ(line.find("more"), std::string::npos);
    }
}

TEST(MonitorPictureTest, TakesEightyByTwentyFourWhereTheSizeIsNotKnown) {
    EXPECT_EQ(plainText(draw(rack(16), 0, 0)), plainText(draw(rack(16), 80, 24)));
    EXPECT_EQ(linesOf(draw(rack(16), 80, 24)).back(), "footer");
}

} // namespace
} // namespace fus::tool::test
