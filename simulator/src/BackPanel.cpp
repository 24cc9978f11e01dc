#include "BackPanel.h"

#include "Refusal.h"
#include "V2Parameters.h"
#include "Wiring.h"

#include "fus/P_GProtocol.h"

#include <algorithm>

namespace fus {
namespace simulator {

using namespace gprotocol;

namespace {

// With which the generator says that its FLASH is empty.
constexpr std::uint32_t EMPTY_FLASH = 0x70000210;

// True for "the FLASH as well", or when reading "the FLASH".
bool readStorage(ByteReader& reader) {
    const std::uint32_t storage = reader.u32();
    if (storage > 1) {
        refuse(INCORRECT_PARAMETER, storage, "Unknown storage of the back panel.");
    }
    return storage == 1;
}

std::vector<bool> readFlags(ByteReader& reader, std::uint32_t count) {
    std::vector<bool> flags(count);
    for (std::uint32_t i = 0; i < count; ++i) {
        flags[i] = reader.u8() != 0;
    }
    return flags;
}

void appendFlags(const std::vector<bool>& flags, Bytes& target) {
    for (bool flag : flags) {
        target.push_back(flag ? 1 : 0);
    }
}

Wiring readWiring(ByteReader& reader) {
    const std::uint32_t count = reader.u32();
    if (count > BKP_MAX_CHANNELS) {
        refuse(OUT_OF_RANGE, count, "More than %u channels.", unsigned{BKP_MAX_CHANNELS});
    }
    Wiring wiring;
    wiring.snt = readFlags(reader, count);
    wiring.amp = readFlags(reader, count);
    needEnd(reader);
    return wiring;
}

} // namespace

BackPanel::BackPanel(const Description& description)
    : m_description(description), m_flash(description.flash) {
    boot();
}

void BackPanel::boot() {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_ram = m_flash ? *m_flash : m_description.wiring;
}

Wiring BackPanel::ram() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_ram;
}

std::optional<Wiring> BackPanel::flash() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_flash;
}

Bytes BackPanel::read(ByteReader& reader) const {
    const bool isFlash = readStorage(reader);
    needEnd(reader);
    const std::optional<Wiring> wiring = isFlash ? flash() : ram();
    if (!wiring) {
        refuse(UNAVAILABLE_DATA, EMPTY_FLASH, "No configuration in FLASH.");
    }
    Bytes answer;
    ByteWriter(answer).u32(static_cast<std::uint32_t>(wiring->snt.size()));
    appendFlags(wiring->snt, answer);
    appendFlags(wiring->amp, answer);
    return answer;
}

void BackPanel::set(ByteReader& reader) {
    const bool intoFlash = readStorage(reader);
    Wiring wiring = readWiring(reader);
    try {
        m_description.rewired(wiring);
    } catch (const DescriptionError& error) {
        refuse(CHECK_ERROR, 0, "Back panel: %s.", error.what());
    }
    // Nothing is behind the last slot.
    const std::size_t most = channelsPerSlot() * slotCount();
    wiring.snt.resize(std::min(wiring.snt.size(), most));
    wiring.amp.resize(wiring.snt.size());
    std::lock_guard<std::mutex> lock(m_mutex);
    m_ram = wiring;
    if (intoFlash) {
        m_flash = std::move(wiring);
    }
}

void BackPanel::clear(ByteReader& reader) {
    needEnd(reader);
    std::lock_guard<std::mutex> lock(m_mutex);
    m_flash.reset();
}

} // namespace simulator
} // namespace fus
