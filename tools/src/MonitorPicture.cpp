#include "MonitorPicture.h"

#include "Text.h"

#include <algorithm>
#include <array>

namespace fus::tool {

namespace {

constexpr sysinfos::TerminalSize USUAL_SIZE = {80, 24};
constexpr std::size_t VALUE_WIDTH = 6;
constexpr std::size_t MARK_WIDTH = 4; // HIGH
constexpr std::size_t GAP = 2;        // between cells
constexpr std::size_t COLUMN_GAP = 3;
constexpr std::size_t LEAST_COLUMN = 20;
constexpr std::size_t AROUND = 3; // rows of title, summary and footer

// --- text of numbers -----------------------------------------------------------------------------

struct UnitRow {
    const char* symbol;
    int decimals;
};
constexpr UnitRow UNIT_ROWS[] = {{"V", 2}, {"A", 2}, {"W", 1}, {"rad", 3}, {"C", 1}};

std::string valueOrWord(const Value& value) {
    return value.verdict == Verdict::UNREAD ? verdictText(value.verdict)
                                            : numberText(value.value, value.unit);
}

std::string boundsText(const Value& value) {
    if (!value.lower && !value.upper) {
        return {};
    }
    return (value.lower ? numberText(*value.lower, value.unit) : "") + ".." +
           (value.upper ? numberText(*value.upper, value.unit) : "");
}

std::string padded(const std::string& text, std::size_t width, bool toTheRight = false) {
    const std::string blanks(width > text.size() ? width - text.size() : 0, ' ');
    return toTheRight ? blanks + text : text + blanks;
}

// --- lines ---------------------------------------------------------------------------------------

std::size_t width(const Line& line) {
    std::size_t sum = 0;
    for (const Span& span : line) {
        sum += span.text.size();
    }
    return sum;
}

void append(Line& line, const Line& more) {
    line.insert(line.end(), more.begin(), more.end());
}

/// So that it ends in front of a column, with a mark where something is missing.
Line cut(const Line& line, std::size_t columns) {
    if (width(line) <= columns) {
        return line;
    }
    Line result;
    std::size_t room = columns > 0 ? columns - 1 : 0;
    for (const Span& span : line) {
        result.push_back({span.text.substr(0, room), span.style});
        room -= result.back().text.size();
    }
    result.push_back({std::string(columns > 0 ? 1 : 0, '>'), Style::STRONG});
    return result;
}

// --- boards --------------------------------------------------------------------------------------

/// Of the parts of a cell, the widest of all boards of a type.
struct CellWidths {
    std::size_t name = 0;
    std::size_t unit = 0;
    std::size_t bounds = 0;

    void take(const Value& value) {
        name = std::max(name, value.name.size());
        unit = std::max(unit, value.unit.size());
        bounds = std::max(bounds, boundsText(value).size());
    }
};

Line cellOf(const Value& value, const CellWidths& widths) {
    const bool alarm = value.verdict != Verdict::GOOD;
    const std::string mark = value.isBeyond() ? verdictText(value.verdict) : "";
    return {{padded(value.name, widths.name) + ' ', Style::PLAIN},
            {padded(valueOrWord(value), VALUE_WIDTH, true), alarm ? Style::ALARM : Style::STRONG},
            {' ' + padded(value.unit, widths.unit) + ' ', Style::PLAIN},
            {padded(boundsText(value), widths.bounds), Style::FAINT},
            {" ", Style::PLAIN},
            {mark, Style::ALARM},
            {std::string(MARK_WIDTH - mark.size(), ' '), Style::PLAIN}};
}

/// The rows of boards, in terminal columns that end in front of `columns`.
class BoardRows {
public:
    BoardRows(const Reading& reading, std::size_t columns) : m_columns(columns) {
        for (const BoardReading& board : reading.boards) {
            for (const Value& value : board.values) {
                m_widths.at(board.type).take(value);
            }
        }
        for (const BoardReading& board : reading.boards) {
            if (!board.values.empty()) {
                addBoard(board);
            }
        }
        addBoardsWithoutValues(reading);
    }

    /// The first line of each type of board, to put a gap in front of it.
    const std::vector<std::size_t>& beginnings() const { return m_beginnings; }
    const Picture& lines() const { return m_lines; }

private:
    /// What is wrong is told behind the values: so nothing moves when it comes and goes.
    static Line head(const std::string& label, const BoardReading& board) {
        return {{padded(label, LABEL_WIDTH) + ' ', Style::PLAIN},
                board.isWell() ? Span{padded(statusText(board.status), STATE_WIDTH), Style::PLAIN}
                               : Span{"!!", Style::ALARM}};
    }

    void begin(gprotocol::BoardType type) {
        if (m_lines.empty() || type != m_type) {
            m_beginnings.push_back(m_lines.size());
        }
        m_type = type;
    }

    void addBoard(const BoardReading& board) {
        begin(board.type);
        Line line = head(formatted("%s %2u", BOARD_NAMES[board.type], board.address), board);
        for (const Value& value : board.values) {
            addCell(line, cellOf(value, m_widths.at(board.type)));
        }
        if (!board.isWell()) {
            addCell(line, {{statusText(board.status), Style::ALARM}});
        }
        m_lines.push_back(line);
    }

    /// Behind what is on the line, or on a new one if that is full.
    void addCell(Line& line, const Line& cell) {
        if (width(line) > INDENT && width(line) + GAP + width(cell) > m_columns) {
            m_lines.push_back(line);
            line = {{std::string(INDENT, ' '), Style::PLAIN}};
        }
        line.push_back({std::string(GAP, ' '), Style::PLAIN});
        append(line, cell);
    }

    /// One line for those of a type that are in the same state.
    void addBoardsWithoutValues(const Reading& reading) {
        std::vector<const BoardReading*> left;
        for (const BoardReading& board : reading.boards) {
            if (board.values.empty()) {
                left.push_back(&board);
            }
        }
        while (!left.empty()) {
            const BoardReading& first = *left.front();
            const auto others =
                std::stable_partition(left.begin(), left.end(), [&](const BoardReading* board) {
                    return board->type == first.type && board->status == first.status;
                });
            std::vector<unsigned> addresses;
            std::for_each(left.begin(), others,
                          [&](const BoardReading* board) { addresses.push_back(board->address); });
            left.erase(left.begin(), others);
            if (first.status) {
                begin(first.type);
                Line line =
                    head(std::string(BOARD_NAMES[first.type]) + ' ' + ranges(addresses), first);
                if (!first.isWell()) {
                    addCell(line, {{statusText(first.status), Style::ALARM}});
                }
                m_lines.push_back(line);
            }
        }
    }

    static constexpr std::size_t LABEL_WIDTH = 8; // "SNT 0-15"
    static constexpr std::size_t STATE_WIDTH = 2; // "ok"
    static constexpr std::size_t INDENT = LABEL_WIDTH + 1 + STATE_WIDTH;

    const std::size_t m_columns;
    std::array<CellWidths, gprotocol::BOARD_TYPE_COUNT> m_widths;
    gprotocol::BoardType m_type = gprotocol::BOARD_PROCESSOR;
    Picture m_lines;
    std::vector<std::size_t> m_beginnings;
};

// --- the whole -----------------------------------------------------------------------------------

Line summary(const Reading& reading, std::size_t columns) {
    const std::vector<std::string> troubles = reading.troubles();
    if (troubles.empty()) {
        std::size_t count = 0;
        bool known = !reading.boards.empty();
        for (const BoardReading& board : reading.boards) {
            count += board.values.size();
            known = known && board.status;
        }
        return {{"All " + std::to_string(count) + " values are within their thresholds" +
                     (known ? ", all " + counted(reading.boards.size(), "board is", "boards are") +
                                  " well."
                            : "."),
                 Style::PLAIN}};
    }
    std::string text = "LOOK: ";
    for (std::size_t i = 0; i < troubles.size(); ++i) {
        const std::string more = " and " + std::to_string(troubles.size() - i) + " more";
        const std::string next = (i > 0 ? ", " : "") + troubles[i];
        if (i > 0 && text.size() + next.size() + more.size() > columns) {
            text += more;
            break;
        }
        text += next;
    }
    return {{text, Style::ALARM}};
}

/// Side by side, from the top down.
Picture besideEachOther(const Picture& lines, std::size_t count, std::size_t columnWidth) {
    const std::size_t height = (lines.size() + count - 1) / count;
    Picture result(height);
    for (std::size_t i = 0; i < lines.size(); ++i) {
        Line& line = result[i % height];
        append(line, lines[i]);
        if (i + height < lines.size()) {
            const std::size_t blanks = columnWidth - width(lines[i]) + COLUMN_GAP;
            line.push_back({std::string(blanks, ' '), Style::PLAIN});
        }
    }
    return result;
}

/// The rows in the fewest columns that do with the room; nothing if none do.
Picture inColumns(const Reading& reading, std::size_t columns, std::size_t room) {
    for (std::size_t count = 2;; ++count) {
        if (columns < count * (LEAST_COLUMN + COLUMN_GAP)) {
            return {};
        }
        const std::size_t columnWidth = (columns + COLUMN_GAP) / count - COLUMN_GAP;
        const Picture lines = BoardRows(reading, columnWidth).lines();
        const bool fit = std::all_of(lines.begin(), lines.end(),
                                     [&](const Line& line) { return width(line) <= columnWidth; });
        if (fit && lines.size() <= count * room) {
            return besideEachOther(lines, count, columnWidth);
        }
    }
}

/// The rows of boards within a room: with gaps between types if there is enough, cut if too little.
Picture body(const Reading& reading, std::size_t columns, std::size_t room) {
    const BoardRows rows(reading, columns);
    Picture lines = rows.lines();
    const std::size_t gaps = rows.beginnings().empty() ? 0 : rows.beginnings().size() - 1;
    if (lines.size() + gaps <= room) {
        for (std::size_t i = gaps; i > 0; --i) {
            lines.insert(lines.begin() + static_cast<std::ptrdiff_t>(rows.beginnings()[i]), Line());
        }
    }
    if (lines.size() <= room || room == 0) {
        return lines;
    }
    if (Picture picture = inColumns(reading, columns, room); !picture.empty()) {
        return picture;
    }
    const std::size_t missing = lines.size() - (room - 1);
    lines.resize(room - 1);
    lines.push_back({{"... " + counted(missing, "row", "rows") + " more: the window is too small",
                      Style::STRONG}});
    return lines;
}

const char* controlOf(Style style) {
    switch (style) {
    case Style::STRONG:
        return "\x1b[1m";
    case Style::FAINT:
        return "\x1b[2m";
    case Style::ALARM:
        return "\x1b[1;7;31m";
    default:
        return "";
    }
}

} // namespace

std::string numberText(float number, const std::string& unit) {
    for (const UnitRow& row : UNIT_ROWS) {
        if (unit == row.symbol) {
            return formatted("%.*f", row.decimals, double{number});
        }
    }
    return formatted("%g", double{number});
}

Picture drawPicture(const Reading& reading, const PictureTexts& texts,
                    sysinfos::TerminalSize size) {
    if (size.columns == 0 || size.rows == 0) {
        size = USUAL_SIZE;
    }
    // A terminal that has been written up to its last column does odd things.
    const std::size_t columns = size.columns - 1;
    const std::size_t room = size.rows > AROUND ? size.rows - AROUND : 0;
    Picture picture = {{{texts.title, Style::STRONG}}, summary(reading, columns)};
    Picture boards = body(reading, columns, room);
    if (boards.size() + 2 <= room) { // air above and below
        boards.insert(boards.begin(), Line());
        boards.emplace_back();
    }
    picture.insert(picture.end(), boards.begin(), boards.end());
    picture.push_back({{texts.footer, Style::FAINT}});
    picture.resize(std::min<std::size_t>(picture.size(), size.rows));
    for (Line& line : picture) {
        line = cut(line, columns);
    }
    return picture;
}

std::string plainText(const Picture& picture) {
    std::string text;
    for (const Line& line : picture) {
        for (const Span& span : line) {
            text += span.text;
        }
        text.erase(text.find_last_not_of(' ') + 1);
        text += '\n';
    }
    return text;
}

std::string controlText(const Picture& picture) {
    std::string text = "\x1b[H";
    for (std::size_t i = 0; i < picture.size(); ++i) {
        text += i > 0 ? "\n" : "";
        for (const Span& span : picture[i]) {
            const std::string control = span.text.empty() ? "" : controlOf(span.style);
            text += control + span.text + (control.empty() ? "" : "\x1b[0m");
        }
        text += "\x1b[K"; // what an earlier picture had behind it
    }
    return text + "\x1b[J";
}

} // namespace fus::tool
