#include "fus/P_ChecksumPrivate.h"

#include "fus/P_LogMacros.h"
#include "fus/P_SHA.h"

#include <algorithm>
#include <exception>
#include <utility>

namespace fus {

namespace {

constexpr char KEY[] = "checksum = ";

std::string toHex(const unsigned char* bytes, size_t size) {
    constexpr char DIGITS[] = "0123456789ABCDEF";
    std::string text;
    for (size_t i = 0; i < size; ++i) {
        text += DIGITS[bytes[i] >> 4U];
        text += DIGITS[bytes[i] & 15U];
    }
    return text;
}

bool isBlank(const std::string& line) {
    return line.find_first_not_of(" \t") == std::string::npos;
}

} // namespace

void ChecksumPrivate::reset() {
    meaningful.clear();
    computed = false;
    eolType = Checksum::EOL_UNKNOWN;
    fileFormat = Checksum::FORMAT_NONE;
    checksumLine = -1;
    extractedChecksum.clear();
    computedChecksum.clear();
    lines.clear();
    linesUpdated = false;
}

void ChecksumPrivate::store(std::string bytes) {
    constexpr char MARK[] = "\xEF\xBB\xBF";
    if (bytes.size() >= 4 && bytes.compare(0, 3, MARK) == 0) {
        bytes.erase(0, 3);
    }
    input = std::move(bytes);
}

Checksum::ValidationProblem ChecksumPrivate::compute(bool strict) {
    try {
        return computeUnguarded(strict);
    } catch (const std::exception& e) {
        FUS_LOG(ERROR, "Checksum: exception in compute(): %s", e.what());
        return Checksum::VALIDATION_EXCEPTION;
    }
}

Checksum::ValidationProblem ChecksumPrivate::computeUnguarded(bool strict) {
    reset();
    auto problem = readChecksumLines(*this, strict);
    if (problem == Checksum::VALIDATION_OK) {
        problem = checkContent(strict);
    }
    if (problem != Checksum::VALIDATION_OK) {
        return problem;
    }
    std::transform(
        extractedChecksum.begin(), extractedChecksum.end(), extractedChecksum.begin(),
        [](char c) { return c >= 'a' && c <= 'f' ? static_cast<char>(c - 'a' + 'A') : c; });
    if (fileFormat == Checksum::FORMAT_HEADER) {
        coverLinesBehindChecksum();
    }
    return computeDigest() ? Checksum::VALIDATION_OK : Checksum::VALIDATION_HASH_FAILED;
}

Checksum::ValidationProblem ChecksumPrivate::checkContent(bool strict) const {
    FUS_LOG(DEBUG, "Checksum: content found: %d total lines, %u meaningful bytes.",
            static_cast<int>(lines.size()), static_cast<unsigned>(meaningful.size()));
    if (meaningful.empty()) {
        FUS_LOG(ERROR, "Checksum: no meaningful data found.");
        return Checksum::VALIDATION_NO_DATA;
    }
    if (strict && extractedChecksum.empty()) {
        FUS_LOG(ERROR, "Checksum: no checksum found in input data.");
        return Checksum::VALIDATION_NO_DATA;
    }
    if (strict && extractedChecksum.size() != 40) {
        FUS_LOG(ERROR, "Checksum: invalid checksum format.");
        return Checksum::VALIDATION_BAD_FORMAT;
    }
    return Checksum::VALIDATION_OK;
}

void ChecksumPrivate::coverLinesBehindChecksum() {
    meaningful.clear();
    for (auto line = static_cast<size_t>(checksumLine) + 1; line < lines.size(); ++line) {
        meaningful += lines[line];
        meaningful += '\n';
    }
}

bool ChecksumPrivate::computeDigest() {
    SHA1 context;
    context.init();
    return computeDigest(context);
}

bool ChecksumPrivate::computeDigest(SHAContext& context) {
    computed = false;
    computedChecksum.clear();
    context.addData(meaningful.data(), meaningful.size());
    context.close();
    const unsigned char* digest = context.digest();
    if (digest == nullptr) {
        FUS_LOG(ERROR, "Checksum: an error occurred while computing the checksum.");
        return false;
    }
    computedChecksum = toHex(digest, context.digestSize());
    computed = true; // at last: whatever throws leaves nothing that looks like a digest
    FUS_LOG(DEBUG, "Checksum: computed  = %s.", computedChecksum.c_str());
    return true;
}

bool ChecksumPrivate::isChecksumOk() const {
    return computed && computedChecksum == extractedChecksum;
}

std::string_view ChecksumPrivate::eolText() const {
    constexpr std::string_view TEXTS[] = {"\r\n", "\n", "\r", "\r\n"};
    return TEXTS[eolType];
}

bool ChecksumPrivate::updateLines() {
    if (linesUpdated || !computed) {
        return computed;
    }
    switch (fileFormat) {
    case Checksum::FORMAT_HEADER:
        replaceChecksumLine();
        break;
    case Checksum::FORMAT_FILE_SECTION:
        replaceChecksumLine();
        normalizeEnds();
        break;
    case Checksum::FORMAT_NONE:
        if (!addFileSection()) {
            return false;
        }
        break;
    default:
        FUS_LOG(ERROR, "Checksum: unexpected format (%d).", static_cast<int>(fileFormat));
        return false;
    }
    linesUpdated = true;
    return true;
}

void ChecksumPrivate::replaceChecksumLine() {
    lines[static_cast<size_t>(checksumLine)] = KEY + computedChecksum;
}

bool ChecksumPrivate::addFileSection() {
    const std::string section = "[File]";
    const std::string versionLine = "version = " + std::to_string(version);
    meaningful += section + versionLine;
    if (!computeDigest()) {
        return false;
    }
    normalizeEnds();
    lines.insert(lines.end(), {"", section, versionLine, KEY + computedChecksum});
    return true;
}

void ChecksumPrivate::normalizeEnds() {
    const auto isContent = [](const std::string& line) { return !isBlank(line); };
    lines.erase(std::find_if(lines.rbegin(), lines.rend(), isContent).base(), lines.end());
    lines.erase(lines.begin(), std::find_if(lines.begin(), lines.end(), isContent));
    lines.insert(lines.begin(), std::string());
}

} // namespace fus
