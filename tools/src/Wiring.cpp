#include "Wiring.h"

#include "Errors.h"
#include "Text.h"

#include <algorithm>

namespace fus::tool {

namespace {

constexpr std::size_t SLOT_CHANNELS = 16;
constexpr std::size_t MOST_CHANNELS = 4096;

std::size_t slotCount(const Mask1D& mask) {
    return (mask.size() + SLOT_CHANNELS - 1) / SLOT_CHANNELS;
}

std::size_t slotCount(const Wiring& wiring) {
    return std::max(slotCount(wiring.snt), slotCount(wiring.amp));
}

/// The 0 and 1 of one slot, '-' if there is none.
std::string slotText(const Mask1D& mask, std::size_t slot) {
    std::string text;
    const std::size_t end = std::min(mask.size(), (slot + 1) * SLOT_CHANNELS);
    for (std::size_t i = slot * SLOT_CHANNELS; i < end; ++i) {
        text += mask.get(i) ? '1' : '0';
    }
    return text.empty() ? "-" : text;
}

bool isSlotSame(const Mask1D& a, const Mask1D& b, std::size_t slot) {
    const auto flag = [](const Mask1D& mask, std::size_t i) {
        return i < mask.size() && mask.get(i);
    };
    for (std::size_t i = slot * SLOT_CHANNELS; i < (slot + 1) * SLOT_CHANNELS; ++i) {
        if (flag(a, i) != flag(b, i)) {
            return false;
        }
    }
    return true;
}

} // namespace

void Wiring::check() const {
    if (snt.size() != amp.size()) {
        throw ToolError(formatted("the masks don't fit each other: SNT has %zu channels, AMP %zu",
                                  snt.size(), amp.size()));
    }
    if (snt.activeCount() != amp.activeCount()) {
        throw ToolError(
            formatted("the masks don't fit each other: SNT has %zu channels in use, AMP %zu",
                      snt.activeCount(), amp.activeCount()));
    }
    if (snt.activeCount() == 0) {
        throw ToolError("the masks have no channel in use");
    }
    if (snt.size() > MOST_CHANNELS) {
        throw ToolError(
            formatted("the masks have %zu channels, more than %zu", snt.size(), MOST_CHANNELS));
    }
}

std::string Wiring::summary() const {
    return counted(amp.activeCount(), "channel", "channels") + " in use, " +
           counted(slotCount(*this), "slot", "slots");
}

Mask1D parseMask(const std::string& option, const std::string& text) {
    std::string flags;
    for (const char c : text) {
        if (c == '0' || c == '1') {
            flags += c;
        } else if (c == '-' && flags.size() % SLOT_CHANNELS != 0) {
            throw UsageError(option + formatted(": '-' stands behind channel %zu, but a slot has "
                                                "%zu channels: write them all",
                                                flags.size(), SLOT_CHANNELS));
        } else if (c != '-' && c != '_' && c != ' ') {
            throw UsageError(
                option + ": '" + printable(std::string(1, c)) +
                "' has no place in a mask: 0 or 1 for each channel, '-' between slots");
        }
    }
    if (flags.empty()) {
        throw UsageError(option + ": '" + printable(text) + "' has no channel");
    }
    return Mask1D(flags.c_str(), flags.size());
}

std::string maskText(const Mask1D& mask, bool separated) {
    std::string text;
    for (std::size_t slot = 0; slot < slotCount(mask); ++slot) {
        text += (separated && slot > 0 ? "-" : "") + slotText(mask, slot);
    }
    return text;
}

void drawWiring(const Wiring& wiring, std::ostream& out) {
    Table table({Table::Align::RIGHT});
    table.add({"slot", "SNT", "AMP"});
    for (std::size_t slot = 0; slot < slotCount(wiring); ++slot) {
        table.add({std::to_string(slot), slotText(wiring.snt, slot), slotText(wiring.amp, slot)});
    }
    table.print(out, 2);
}

void drawChange(const Wiring& now, const Wiring& then, std::ostream& out) {
    Table table({Table::Align::LEFT, Table::Align::RIGHT});
    table.add({"", "slot", "SNT now", "SNT then", "AMP now", "AMP then"});
    for (std::size_t slot = 0; slot < std::max(slotCount(now), slotCount(then)); ++slot) {
        const bool same =
            isSlotSame(now.snt, then.snt, slot) && isSlotSame(now.amp, then.amp, slot);
        table.add({same ? "" : "*", std::to_string(slot), slotText(now.snt, slot),
                   slotText(then.snt, slot), slotText(now.amp, slot), slotText(then.amp, slot)});
    }
    table.print(out, 0);
}

} // namespace fus::tool
