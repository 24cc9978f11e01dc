// What is known about a generator, for people.

#include "SystemReport.h"

#include "Text.h"

#include <algorithm>
#include <functional>

namespace fus::tool {

namespace {

using Align = Table::Align;

/// Boards that differ in nothing but address, unique id and CRC of the firmware.
struct BoardGroup {
    const BoardData* first;
    std::vector<unsigned> addresses;
};

bool isAlike(const BoardData& a, const BoardData& b) {
    return a.type == b.type && a.active == b.active && a.hardware == b.hardware &&
           a.firmware == b.firmware && a.buildTime == b.buildTime;
}

bool hasSameMeasures(const BoardData& a, const BoardData& b) {
    return a.type == b.type && a.measures == b.measures && a.channelMeasures == b.channelMeasures;
}

using Likeness = std::function<bool(const BoardData&, const BoardData&)>;

std::vector<BoardGroup> grouped(const std::vector<BoardData>& boards, const Likeness& alike) {
    std::vector<BoardGroup> groups;
    for (const BoardData& board : boards) {
        const auto found = std::find_if(groups.begin(), groups.end(), [&](const BoardGroup& group) {
            return alike(*group.first, board);
        });
        if (found != groups.end()) {
            found->addresses.push_back(board.address);
        } else {
            groups.push_back({&board, {board.address}});
        }
    }
    return groups;
}

std::string orDash(const std::string& text) {
    return text.empty() ? "-" : printable(text);
}

std::string yesNo(bool flag) {
    return flag ? "yes" : "no";
}

void printGroups(const std::vector<BoardData>& boards, std::ostream& out) {
    Table table({Align::LEFT, Align::LEFT, Align::RIGHT});
    table.add({"board", "slots", "count", "in use", "hardware", "firmware", "firmware built"});
    for (const BoardGroup& group : grouped(boards, isAlike)) {
        const BoardData& board = *group.first;
        table.add({board.typeName(), ranges(group.addresses),
                   std::to_string(group.addresses.size()), yesNo(board.active),
                   board.hardware.toString(), board.firmware.toString(), orDash(board.buildTime)});
    }
    table.print(out, 2);
}

std::string hexadecimal(std::uint32_t number) {
    return number != 0 ? formatted("0x%08X", static_cast<unsigned>(number)) : "-";
}

void printEachBoard(const std::vector<BoardData>& boards, std::ostream& out) {
    Table table({Align::LEFT, Align::RIGHT, Align::LEFT, Align::LEFT, Align::LEFT, Align::LEFT,
                 Align::LEFT, Align::RIGHT});
    table.add({"board", "slot", "in use", "hardware", "firmware", "unique id", "CRC", "bytes",
               "built", "revision"});
    for (const BoardData& board : boards) {
        table.add({board.typeName(), std::to_string(board.address), yesNo(board.active),
                   board.hardware.toString(), board.firmware.toString(),
                   hexadecimal(board.uniqueId), hexadecimal(board.crc),
                   board.firmwareSize != 0 ? std::to_string(board.firmwareSize) : "-",
                   orDash(board.buildTime), orDash(board.revision)});
    }
    table.print(out, 2);
}

void addMeasure(Table& table, const std::string& board, const MeasureInfo& measure,
                const std::string& name) {
    std::vector<std::string> row = {board, name, std::to_string(measure.bytes),
                                    printable(measure.unit)};
    if (measure.hasThresholds()) {
        row.push_back(formatted("%.6g", double{measure.lower}));
        row.push_back(formatted("%.6g", double{measure.upper}));
        row.push_back(std::to_string(measure.lowerADC) + ".." + std::to_string(measure.upperADC));
    } else {
        row.push_back("none");
    }
    table.add(std::move(row));
}

void printMeasures(const std::vector<BoardData>& boards, std::ostream& out) {
    Table table({Align::LEFT, Align::LEFT, Align::RIGHT, Align::LEFT, Align::RIGHT, Align::RIGHT});
    table.add({"board", "measure", "bytes", "unit", "lower", "upper", "raw"});
    const std::size_t head = table.rowCount();
    for (const BoardGroup& group : grouped(boards, hasSameMeasures)) {
        std::string who = std::string(group.first->typeName()) + ' ' + ranges(group.addresses);
        for (std::size_t i = 0; i < group.first->measures.size(); ++i) {
            const MeasureInfo& measure = group.first->measures[i];
            addMeasure(table, who, measure, std::to_string(i) + ' ' + printable(measure.name));
            who.clear();
        }
    }
    if (table.rowCount() > head) {
        out << "\nMeasures of boards, and their thresholds in this unit\n";
        table.print(out, 2);
    }
}

void printChannelMeasures(const std::vector<BoardData>& boards, std::ostream& out) {
    for (const BoardGroup& group : grouped(boards, hasSameMeasures)) {
        std::string text;
        for (const MeasureInfo& measure : group.first->channelMeasures) {
            text += (text.empty() ? "" : ", ") + printable(measure.name) + " [" +
                    printable(measure.unit) + "] " + counted(measure.bytes, "byte", "bytes");
        }
        if (!text.empty()) {
            out << "\nMeasures of each channel of AMP " << ranges(group.addresses) << "\n  " << text
                << '\n';
        }
    }
}

std::string fromTo(unsigned least, unsigned most) {
    return (least < most ? std::to_string(least) + ".." : "") + std::to_string(most);
}

void printModes(const SystemInfo& info, std::ostream& out) {
    Table table({Align::LEFT, Align::RIGHT, Align::RIGHT, Align::RIGHT, Align::RIGHT});
    table.add({"mode", "shot", "shot + delay", "trajectory delay", "shots"});
    for (const ModeLimits& mode : info.modes) {
        if (!mode.available) {
            table.add({mode.name, "not available"});
            continue;
        }
        table.add({mode.name, fromTo(mode.minShooting, mode.maxShooting),
                   fromTo(mode.minTotal, mode.maxTotal),
                   fromTo(info.minTrajectoryDelay, mode.maxTrajectoryDelay),
                   fromTo(1, mode.maxTrajectorySize)});
    }
    out << "\nLimits by execution mode, times in us\n";
    table.print(out, 2);
    out << "  a repeated shot's delay: at least " << info.minRepeatShotDelay << " us; ramps: "
        << (info.shotRamp ? "up to " + std::to_string(info.maxRamp) + " us" : "none") << '\n';
}

std::string orUnknown(const std::optional<unsigned>& number) {
    return number ? std::to_string(*number) : "?";
}

void printMechanics(const MechanicsInfo& mechanics, std::ostream& out) {
    out << "\nMechanics: up to " << orUnknown(mechanics.maxAxes) << " axes with "
        << orUnknown(mechanics.maxMoves) << " moves each\n";
    Table table({Align::LEFT, Align::RIGHT});
    if (!mechanics.axes.empty()) {
        table.add({"axis", "encoder", "origin", "motor"});
    }
    for (std::size_t i = 0; i < mechanics.axes.size(); ++i) {
        const AxisInfo& axis = mechanics.axes[i];
        table.add({std::to_string(i), std::to_string(axis.position),
                   axis.originFound ? "found" : "unknown",
                   axis.motorDetected ? "detected" : "not detected"});
    }
    table.print(out, 2);
    if (!mechanics.status.empty()) {
        out << "  status: " << printable(mechanics.status) << '\n';
    }
}

} // namespace

void printReport(const SystemInfo& info, const Address& address, bool eachBoard,
                 std::ostream& out) {
    out << address.text() << ": " << kindText(info.kind) << ", protocol "
        << info.protocol.toString() << '\n'
        << counted(info.channels, "channel", "channels") << ", "
        << counted(info.buffers, "buffer", "buffers") << ", "
        << (info.triggerInput ? "trigger input" : "no trigger input")
        << (info.multiplexer ? ", multiplexer" : "") << "\n\nBoards\n";
    if (eachBoard) {
        printEachBoard(info.boards, out);
    } else {
        printGroups(info.boards, out);
    }
    printMeasures(info.boards, out);
    printChannelMeasures(info.boards, out);
    printModes(info, out);
    if (info.mechanics) {
        printMechanics(*info.mechanics, out);
    }
}

} // namespace fus::tool
