#include "fussim/Description.h"

#include "ShippedText.h"

#include "fus/P_GProtocol.h"

#include <algorithm>

namespace fus {
namespace simulator {

using namespace gprotocol;

namespace {

constexpr std::size_t SHOT_HEAD_SIZE = 28;

} // namespace

double MeasureCurve::at(double x) const {
    double result = 0;
    for (auto it = coefficients.rbegin(); it != coefficients.rend(); ++it) {
        result = result * x + *it;
    }
    return result;
}

double MeasureCurve::inverse(double value, double highest) const {
    if (coefficients.size() == 2 && coefficients[1] != 0) {
        const double x = (value - coefficients[0]) / coefficients[1];
        return std::min(std::max(x, 0.0), highest);
    }
    const bool rising = at(highest) >= at(0);
    double low = 0;
    double high = highest;
    for (int i = 0; i < 48; ++i) {
        const double middle = (low + high) / 2;
        ((at(middle) < value) == rising ? low : high) = middle;
    }
    return low;
}

MeasureCurve BoardMeasureDescription::curve() const {
    MeasureCurve result;
    const double divided = divisor == 0 ? 1 : divisor; // a client is to complain about 0, not we
    for (std::int32_t coefficient : coefficients) {
        result.coefficients.push_back(coefficient / divided);
    }
    return result;
}

const BoardDescription* Description::findBoard(unsigned hwid, unsigned address) const {
    for (const BoardDescription& board : boards) {
        if (board.hwid == hwid && board.address == address) {
            return &board;
        }
    }
    return nullptr;
}

bool Description::detectsWatchdog() const {
    const auto isBlind = [](const BoardDescription& board) {
        return board.hwid == HWID_SYNTHESIZER && board.active && !board.hasWatchdogDetection;
    };
    return isV2() || std::none_of(boards.begin(), boards.end(), isBlind);
}

std::size_t Description::shotResultSize(bool withBoardMeasures) const {
    std::size_t size = PACKET_HEADER_SIZE + SHOT_HEAD_SIZE;
    for (const auto& measure : channelMeasures) {
        size += channelCount * measure.size;
    }
    // The first active amplifier stands for all.
    const BoardDescription* first = nullptr;
    for (const BoardDescription& board : boards) {
        if (!withBoardMeasures || board.hwid != HWID_AMPLIFIER || !board.active) {
            continue;
        }
        first = first ? first : &board;
        for (const auto& measure : first->measures) {
            size += measure.size;
        }
    }
    return size;
}

const char* Description::shippedText(const std::string& protocol) {
    return protocol == "2.5"   ? SHIPPED_2_5
           : protocol == "3.0" ? SHIPPED_3_0
           : protocol == "3.1" ? SHIPPED_3_1
                               : nullptr;
}

Description Description::shipped(const std::string& protocol) {
    const char* text = shippedText(protocol);
    if (!text) {
        throw DescriptionError("no description for protocol " + protocol);
    }
    return parse(text);
}

} // namespace simulator
} // namespace fus
