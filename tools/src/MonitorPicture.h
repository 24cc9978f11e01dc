#pragma once

#include "Meter.h"

#include "fus/SysInfos.h"

#include <string>
#include <vector>

namespace fus::tool {

/// How a piece of text looks; what matters is said in words, too.
enum class Style { PLAIN, STRONG, FAINT, ALARM };

struct Span {
    std::string text;
    Style style = Style::PLAIN;
};

using Line = std::vector<Span>;
using Picture = std::vector<Line>;

struct PictureTexts {
    std::string title;
    std::string footer;
};

/// A reading as it fits into a terminal: a title, what a person has to look at, a row for each
/// board with its values and their thresholds, and a footer. Wide terminals get several columns if
/// the rows don't do; what doesn't fit is counted in the last row. No line reaches the last column.
/// A size of 0 counts as 80 by 24.
Picture drawPicture(const Reading& reading, const PictureTexts& texts, sysinfos::TerminalSize size);

/// Without any control sequence, a line end behind each line.
std::string plainText(const Picture& picture);
/// To be shown from the top left corner of a terminal, over what stands there.
std::string controlText(const Picture& picture);

/// "24.0": with as many decimals as the unit is worth.
std::string numberText(float number, const std::string& unit);

} // namespace fus::tool
