#include "MeterSource.h"

#include "Text.h"

#include <cmath>
#include <map>

namespace fus::tool {

using namespace gprotocol;

namespace {

constexpr unsigned FIRST_WITH_BOARDS = 3; // major version of the protocol

struct StatusRow {
    BoardStatus bit;
    const char* text;
};
constexpr StatusRow STATUS_ROWS[] = {{BOARD_STATUS_RESETED, "reset"},
                                     {BOARD_STATUS_CRC, "CRC"},
                                     {BOARD_STATUS_POWER_SUPPLY, "supply"}};

constexpr const char* VERDICT_TEXTS[] = {"ok", "LOW", "HIGH", "unread"};

} // namespace

const char* verdictText(Verdict verdict) {
    return VERDICT_TEXTS[static_cast<unsigned>(verdict)];
}

void Value::take(float newValue) {
    value = newValue;
    if (!std::isfinite(value)) {
        verdict = Verdict::UNREAD;
    } else if (lower && value < *lower) {
        verdict = Verdict::LOW;
    } else if (upper && value > *upper) {
        verdict = Verdict::HIGH;
    } else {
        verdict = Verdict::GOOD;
    }
}

void numberAlike(std::vector<Value>& values) {
    std::map<std::string, unsigned> counts;
    for (const Value& value : values) {
        ++counts[value.name];
    }
    std::map<std::string, unsigned> next;
    for (Value& value : values) {
        const std::string name = value.name;
        if (counts[name] > 1) {
            value.name += std::to_string(next[name]++);
        }
    }
}

std::string BoardReading::name() const {
    return BOARD_NAMES[type] + std::to_string(address);
}

std::string statusText(const std::optional<std::uint32_t>& status) {
    if (!status || *status == 0) {
        return status ? "ok" : "-";
    }
    std::string text;
    std::uint32_t unknown = *status;
    for (const StatusRow& row : STATUS_ROWS) {
        if ((*status & row.bit) != 0) {
            text += (text.empty() ? "" : "+") + std::string(row.text);
            unknown &= ~std::uint32_t{row.bit};
        }
    }
    if (unknown != 0) {
        text += (text.empty() ? "" : "+") + formatted("0x%X", static_cast<unsigned>(unknown));
    }
    return text;
}

std::vector<std::string> Reading::troubles() const {
    std::vector<std::string> texts;
    for (const BoardReading& board : boards) {
        if (!board.isWell()) {
            texts.push_back(board.name() + ' ' + statusText(board.status));
        }
        for (const Value& value : board.values) {
            if (value.verdict != Verdict::GOOD) {
                texts.push_back(board.name() + '.' + value.name + ' ' + verdictText(value.verdict));
            }
        }
    }
    return texts;
}

Meter::Meter(FUS& fus, GoOn goOn)
    : m_source(fus.getProtocolVersion().v1 < FIRST_WITH_BOARDS
                   ? makeListSource(fus, std::move(goOn))
                   : makeBoardSource(fus, std::move(goOn))) {}

Meter::~Meter() = default;

std::optional<Reading> Meter::read() {
    Reading reading;
    reading.time = timeStamp();
    reading.boards = m_source->blank();
    if (!m_source->read(reading.boards)) {
        return std::nullopt;
    }
    return reading;
}

} // namespace fus::tool
