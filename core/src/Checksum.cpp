#include "fus/Checksum.h"

#include "fus/P_ChecksumPrivate.h"
#include "fus/P_LogMacros.h"

#include <algorithm>
#include <exception>
#include <fstream>
#include <string>
#include <string_view>
#include <utility>

namespace fus {

namespace {

constexpr size_t PORTION = 65536;

/// Room for the whole file at once, where it tells its size: a text that grows is copied.
void reserveSize(std::ifstream& file, std::string& bytes) {
    const std::streamoff size = file.seekg(0, std::ios::end).tellg();
    file.clear();
    file.seekg(0);
    file.clear(); // what isn't a plain file can't be wound
    if (size > 0) {
        bytes.reserve(static_cast<size_t>(size) + PORTION);
    }
}

bool readAll(std::ifstream& file, std::string& bytes) {
    try {
        reserveSize(file, bytes);
        while (file) {
            const size_t before = bytes.size();
            bytes.resize(before + PORTION);
            file.read(&bytes[before], PORTION);
            bytes.resize(before + static_cast<size_t>(file.gcount()));
        }
        return !file.bad();
    } catch (const std::exception&) {
        return false; // more than the memory holds
    }
}

void logSize(size_t size) {
    FUS_LOG(INFO, "Checksum: loading input data from memory: %u bytes.",
            static_cast<unsigned>(size));
}

size_t updatedSize(const ChecksumPrivate& checksum) {
    size_t size = checksum.lines.size() * checksum.eolText().size();
    for (const std::string& line : checksum.lines) {
        size += line.size();
    }
    return size;
}

char* append(char* at, std::string_view text) {
    return std::copy(text.begin(), text.end(), at);
}

std::unique_ptr<char[]> roomFor(size_t size) {
    std::unique_ptr<char[]> bytes(new char[size + 1]); // not cleared first
    bytes[size] = '\0';
    return bytes;
}

Message toMessage(const std::string& text) {
    auto bytes = roomFor(text.size());
    append(bytes.get(), text);
    return Message::ofBytes(std::move(bytes), text.size());
}

} // namespace

Checksum::Checksum(int version) : m_private(std::make_unique<ChecksumPrivate>(version)) {}

Checksum::~Checksum() = default;

bool Checksum::loadFile(const char* filename) {
    const char* const name = filename != nullptr ? filename : "";
    FUS_LOG(INFO, "Checksum: loading input data from file: %s.", name);
    m_private->reset();
    std::ifstream file(name, std::ios::binary);
    if (!file) {
        FUS_LOG(ERROR, "Checksum: Can not open file %s.", name);
        return false;
    }
    std::string bytes;
    if (!readAll(file, bytes)) {
        FUS_LOG(ERROR, "Checksum: Read error on %s", name);
        return false;
    }
    logSize(bytes.size());
    m_private->store(std::move(bytes));
    return true;
}

bool Checksum::loadData(const void* data, size_t size) {
    logSize(size);
    m_private->reset();
    if (data == nullptr) {
        return false;
    }
    m_private->store(std::string(static_cast<const char*>(data), size));
    return true;
}

Checksum::ValidationProblem Checksum::compute(bool strict) {
    return m_private->compute(strict);
}

bool Checksum::isComputed() const {
    return m_private->computed;
}

bool Checksum::isChecksumOk() const {
    return m_private->isChecksumOk();
}

Checksum::EOLType Checksum::getEOLType() const {
    return m_private->eolType;
}

Checksum::FileFormat Checksum::getFileFormat() const {
    return m_private->fileFormat;
}

Message Checksum::getComputedChecksum() const {
    return toMessage(m_private->computedChecksum);
}

Message Checksum::getExtractedChecksum() const {
    return toMessage(m_private->extractedChecksum);
}

Message Checksum::getUpdatedData() {
    if (!m_private->updateLines()) {
        return Message();
    }
    const size_t size = updatedSize(*m_private);
    auto bytes = roomFor(size);
    char* at = bytes.get();
    for (const std::string& line : m_private->lines) {
        at = append(append(at, line), m_private->eolText());
    }
    return Message::ofBytes(std::move(bytes), size);
}

bool Checksum::writeFile(const char* filename) {
    // Before the file loses what it holds.
    if (!m_private->updateLines()) {
        return false;
    }
    std::ofstream file(filename != nullptr ? filename : "", std::ios::binary | std::ios::trunc);
    if (!file) {
        return false;
    }
    for (const std::string& line : m_private->lines) {
        file << line << m_private->eolText();
    }
    return true;
}

bool Checksum::checkFile(const char* filename, bool anyFormat) {
    Checksum checksum;
    return checksum.loadFile(filename) && checksum.compute(false) == VALIDATION_OK &&
           checksum.isChecksumOk() &&
           (anyFormat || checksum.getFileFormat() == FORMAT_FILE_SECTION);
}

bool Checksum::updateFile(const char* filename, bool force) {
    Checksum checksum;
    if (!checksum.loadFile(filename)) {
        FUS_THROW(ERR_FILE_READ);
    }
    if (checksum.compute(false) != VALIDATION_OK) {
        FUS_THROW(ERR_CONFIG_PARSE);
    }
    if (!force && checksum.isChecksumOk()) {
        return false;
    }
    if (!checksum.writeFile(filename)) {
        FUS_THROW(ERR_FILE_WRITE);
    }
    return true;
}

Checksum::ValidationProblem Checksum::validateFile(const char* filename, FileFormat format,
                                                   EOLType eol) {
    Checksum checksum;
    if (!checksum.loadFile(filename)) {
        return VALIDATION_NO_DATA;
    }
    const ValidationProblem problem = checksum.compute(true);
    if (format != FORMAT_NONE && format != checksum.getFileFormat()) {
        return VALIDATION_BAD_FORMAT;
    }
    if (eol != EOL_UNKNOWN && eol != checksum.getEOLType()) {
        return VALIDATION_WRONG_EOL;
    }
    return problem;
}

} // namespace fus
