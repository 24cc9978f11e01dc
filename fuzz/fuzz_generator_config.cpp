// The INI text comes from the generator before anything has been checked: whatever it holds, the
// reader ends with a description or with an exception, within bounded memory.

#include "fus/FUSException.h"
#include "fus/Log.h"
#include "fus/P_GeneratorConfig.h"
#include "fus/P_NetPacket.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

namespace {

// Feeds the rest of the input to the reader of measure definitions.
class InputAsBoards : public fus::ParameterSource {
public:
    InputAsBoards(const std::uint8_t* data, std::size_t size)
        : m_packet(fus::NetPacket::copyOf(data, static_cast<std::uint32_t>(size))) {}

    unsigned long long readParam(unsigned, unsigned, unsigned short) override {
        return m_packet.read32();
    }

    void readMeasureDefinition(fus::PrivateBoard& board, unsigned index) override {
        fus::decodeMeasureDefinition(m_packet, *board.boardMeasures[index], false);
    }

private:
    fus::NetPacket m_packet;
};

void checkThatItHolds(const fus::GeneratorConfig& config) {
    const std::size_t limit = 2 + 2 * config.getCount(fus::NB_MAX_BOARD_ADDRESS);
    if (config.boards().size() > limit || config.getCount(fus::NB_BUFFERS) > 65536) {
        std::abort();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fus::Log::getInstance().setLevel(fus::Log::NONE);
    fus::GeneratorConfig config;
    try {
        config.load(std::string(reinterpret_cast<const char*>(data), size));
        InputAsBoards boards(data, size);
        config.refine(boards);
    } catch (const fus::FUSException&) {
        // a refusal is a good end
    }
    checkThatItHolds(config);
    return 0;
}
