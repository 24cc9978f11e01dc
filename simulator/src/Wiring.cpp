#include "Wiring.h"

#include "Refusal.h"

#include "fus/P_GeneratorConfig.h"

#include <algorithm>

namespace fus {
namespace simulator {

namespace {

std::size_t countOf(CountIndex index) {
    return GeneratorConfig().getCount(index);
}

// Each group at the place of its slot, whatever its width.
std::vector<bool> flagsFromText(const std::string& text) {
    std::vector<bool> flags;
    std::size_t slot = 0;
    std::size_t channel = 0;
    for (char character : text) {
        if (character == '-') {
            ++slot;
            channel = 0;
        } else if ((character == '0' || character == '1') && channel < channelsPerSlot()) {
            const std::size_t position = slot * channelsPerSlot() + channel++;
            flags.resize(std::max(flags.size(), position + 1));
            flags[position] = character == '1';
        }
    }
    return flags;
}

std::size_t activeIn(const std::vector<bool>& flags) {
    return static_cast<std::size_t>(std::count(flags.begin(), flags.end(), true));
}

// Behind the last active one; 0 if there is none.
std::size_t neededSize(const std::vector<bool>& flags) {
    const auto last = std::find(flags.rbegin(), flags.rend(), true);
    return static_cast<std::size_t>(flags.rend() - last);
}

bool isSameMask(const std::vector<bool>& a, const std::vector<bool>& b) {
    const std::size_t size = neededSize(a);
    const auto end = static_cast<std::ptrdiff_t>(size);
    return size == neededSize(b) && std::equal(a.begin(), a.begin() + end, b.begin());
}

} // namespace

std::size_t channelsPerSlot() {
    static const std::size_t count = countOf(NB_CHANNELS_PER_SLOT);
    return count;
}

std::size_t slotCount() {
    static const std::size_t count = countOf(NB_MAX_BOARD_ADDRESS);
    return count;
}

Wiring wiringFromText(const std::string& snt, const std::string& amp) {
    Wiring wiring{flagsFromText(snt), flagsFromText(amp)};
    const std::size_t size = std::max(wiring.snt.size(), wiring.amp.size());
    wiring.snt.resize(size);
    wiring.amp.resize(size);
    return wiring;
}

std::string wiringText(const std::vector<bool>& flags) {
    std::string text;
    for (std::size_t i = 0; i < flags.size(); ++i) {
        text += i > 0 && i % channelsPerSlot() == 0 ? "-" : "";
        text += flags[i] ? '1' : '0';
    }
    return text;
}

std::size_t channelsOfSlot(const std::vector<bool>& flags, std::size_t slot) {
    const std::size_t begin = std::min(slot * channelsPerSlot(), flags.size());
    const std::size_t end = std::min(begin + channelsPerSlot(), flags.size());
    return static_cast<std::size_t>(std::count(flags.begin() + static_cast<std::ptrdiff_t>(begin),
                                               flags.begin() + static_cast<std::ptrdiff_t>(end),
                                               true));
}

bool isSameWiring(const Wiring& a, const Wiring& b) {
    return isSameMask(a.snt, b.snt) && isSameMask(a.amp, b.amp);
}

std::string flawOf(const Wiring& wiring) {
    const std::size_t snt = activeIn(wiring.snt);
    const std::size_t amp = activeIn(wiring.amp);
    if (snt != amp) {
        return formatted("%zu channels of synthesizers are in use, but %zu of amplifiers", snt,
                         amp);
    }
    if (snt == 0) {
        return "no channel is in use";
    }
    const std::size_t needed = std::max(neededSize(wiring.snt), neededSize(wiring.amp));
    if (needed > slotCount() * channelsPerSlot()) {
        return formatted("there are %zu slots of %zu channels", slotCount(), channelsPerSlot());
    }
    return "";
}

} // namespace simulator
} // namespace fus
