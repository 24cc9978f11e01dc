#pragma once

#include "fus/Checksum.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace fus {

class SHAContext;

/// What a Checksum is. See there for what things mean.
class ChecksumPrivate {
public:
    explicit ChecksumPrivate(int32_t versionOfUpdates) : version(versionOfUpdates) {}

    /// Forgets all but the text.
    void reset();
    /// Takes the bytes as the text, but for a byte order mark.
    void store(std::string bytes);
    Checksum::ValidationProblem compute(bool strict);
    /// Runs what is meaningful through the context, which is ready for it, and closes it. False if
    /// that gives no digest; then nothing is computed.
    bool computeDigest(SHAContext& context);
    bool isChecksumOk() const;

    /// Puts the fresh checksum into the lines, once. False, with the lines as they were, if that
    /// can't be.
    bool updateLines();
    /// What ends each line of the updated text.
    std::string_view eolText() const;

    std::string input;
    std::string meaningful;
    bool computed = false;
    Checksum::EOLType eolType = Checksum::EOL_UNKNOWN;
    Checksum::FileFormat fileFormat = Checksum::FORMAT_NONE;
    /// Counted from 0; -1 if there is none. In `lines` as they were before an update.
    int32_t checksumLine = -1;
    std::string extractedChecksum;
    std::string computedChecksum;
    /// Of the input, without their ends.
    std::vector<std::string> lines;
    bool linesUpdated = false;
    const int32_t version;

private:
    Checksum::ValidationProblem computeUnguarded(bool strict);
    Checksum::ValidationProblem checkContent(bool strict) const;
    bool computeDigest();
    void coverLinesBehindChecksum();
    void replaceChecksumLine();
    bool addFileSection();
    void normalizeEnds();
};

/// Walks through the text of a checksum and fills in what it finds: line ends, lines, checksum and
/// what is meaningful. Logs, and stops at, the first line that a strict reading doesn't allow.
Checksum::ValidationProblem readChecksumLines(ChecksumPrivate& checksum, bool strict);

} // namespace fus
