// Any bytes as a text with a checksum: what can be computed can be updated, and then its checksum
// holds, its line ends are all the same, and a further update changes nothing.

#include "fus/Checksum.h"
#include "fus/Log.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

namespace {

void require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

std::string updatedText(fus::Checksum& checksum) {
    const fus::Message message = checksum.getUpdatedData();
    require(message.c_str() != nullptr);
    return {message.c_str(), message.size()};
}

bool startsWithMark(const std::string& text) {
    return text.size() >= 4 && text.compare(0, 3, "\xEF\xBB\xBF") == 0;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fus::Log::getInstance().setLevel(fus::Log::NONE);
    fus::Checksum checksum;
    if (!checksum.loadData(data, size)) {
        return 0;
    }
    const bool isValid = checksum.compute(true) == fus::Checksum::VALIDATION_OK;
    const bool isComputed = checksum.compute(false) == fus::Checksum::VALIDATION_OK;
    require(isComputed == checksum.isComputed() && (isComputed || !isValid));
    if (!isComputed) {
        return 0;
    }
    const std::string updated = updatedText(checksum);
    if (startsWithMark(updated)) {
        return 0; // a second mark, which the next load takes for the first
    }
    require(checksum.loadData(updated.data(), updated.size()));
    const auto problem = checksum.compute(true);
    require(problem == fus::Checksum::VALIDATION_OK ||
            problem == fus::Checksum::VALIDATION_MANY_CHECKSUMS);
    require(checksum.compute(false) == fus::Checksum::VALIDATION_OK && checksum.isChecksumOk());
    require(updatedText(checksum) == updated);
    return 0;
}
