#pragma once

#include "fus/Export.h"
#include "fus/Message.h"

#include <cstddef>
#include <memory>

namespace fus {

class ChecksumPrivate;

/// The checksum that a text in INI syntax carries of itself, in a line `checksum = ...`: 40
/// hexadecimal digits of a SHA-1. It tells whether the text was changed by accident; it protects
/// from nobody.
///
/// In a section `[File]` (FORMAT_FILE_SECTION) the checksum covers what the text means: each line
/// that is neither blank nor a comment (`#` or `;` in front), without the blanks and tabs at its
/// ends, all of them joined without anything between. Comments, blank lines, indentation and line
/// ends can be changed and the checksum still holds. Before the first section (FORMAT_HEADER) it
/// covers every line that follows it, comments and blanks too; only the line ends don't count.
/// A line of that name in any other section is an ordinary parameter, and with several the first
/// one rules. The checksum line itself is never covered. A key ends at its separator, which is
/// `=` or `:`.
///
/// A text is loaded, then computed, then perhaps updated; each step forgets what came out of the
/// later ones before. Texts are bytes: none is lost, or taken for an end, not even a zero. They are
/// kept in memory several times over, and nothing streams. What happens is logged; a memory that
/// doesn't suffice outside `compute` and the reading of a file is a std::bad_alloc.
///
/// Not locked: an object belongs to one thread. The static operations use one of their own, and may
/// be called on any thread.
class FUS_API Checksum {
public:
    /// How lines end. A line feed, a carriage return, and a carriage return with a line feed end a
    /// line whatever the type of the text is.
    enum EOLType {
        EOL_UNKNOWN = 0, ///< the text has no line end; written as that of DOS
        EOL_LINUX = 1,   ///< line feed
        EOL_MAC = 2,     ///< carriage return
        EOL_DOS = 3      ///< carriage return, line feed
    };

    /// Where the checksum line stands.
    enum FileFormat {
        FORMAT_NONE = 0,        ///< there is none
        FORMAT_HEADER = 1,      ///< before the first section
        FORMAT_FILE_SECTION = 2 ///< in the section [File]
    };

    /// "Strict" ones are found by a strict `compute` only.
    enum ValidationProblem {
        VALIDATION_OK = 0,
        VALIDATION_NO_DATA = 1, ///< unreadable file, no meaningful line, or (strict) no checksum
        VALIDATION_INCONSISTENT_EOL = 2, ///< strict: a line end that differs from the first one
        VALIDATION_WRONG_EOL = 3,        ///< not the line ends that the caller asked for
        VALIDATION_NO_FINAL_EOL = 4,     ///< strict: the last line has no line end
        VALIDATION_RESERVED = 5,         ///< never given
        VALIDATION_BAD_FORMAT = 6, ///< strict: the checksum hasn't 40 characters; or not the format
                                   ///< that the caller asked for
        VALIDATION_MANY_CHECKSUMS = 7, ///< strict: more than one checksum line
        VALIDATION_HASH_FAILED = 8,    ///< the digest could not be computed
        VALIDATION_EXCEPTION = 9 ///< a standard exception on the way, as of memory; see the log
    };

    /// No text. The version, in decimal, is the value of `version` in a section [File] that an
    /// update adds.
    explicit Checksum(int version = 1);
    ~Checksum();
    Checksum(const Checksum&) = delete;
    Checksum& operator=(const Checksum&) = delete;

    /// Takes the whole file as the text. False, with the reason in the log and the former text
    /// kept, if the file can't be opened, read or held in memory. Blocks as the file does.
    bool loadFile(const char* filename);
    /// Takes a copy of so many bytes as the text. A null pointer gives false, and the former text
    /// stays. In a text of 4 bytes or more, a byte order mark of UTF-8 at the start is left out.
    bool loadData(const void* data, size_t size);

    /// Reads the lines of the text and computes its digest. Without `strict` only a text that has
    /// nothing to cover is a problem (VALIDATION_NO_DATA); one without a checksum line has a digest
    /// as well. A strict run stops at the first problem in the order of the lines; problems of the
    /// whole text come after those. In a strict run whatever begins with "checksum" behind the
    /// checksum line, where one may stand, counts as a second one. Whether the checksum is right
    /// is told by `isChecksumOk`.
    ValidationProblem compute(bool strict);
    /// Whether the last `compute` came to its end, with no new text since.
    bool isComputed() const;
    /// Whether the text carries the very checksum that was computed, in small or capital letters.
    /// Never, if the text carries none, nor before `compute`; an update of a text without a
    /// checksum doesn't change this.
    bool isChecksumOk() const;

    /// By the first line end; EOL_UNKNOWN before `compute`, too.
    EOLType getEOLType() const;
    /// FORMAT_NONE before `compute`, too. After one that found a problem, as far as it came.
    FileFormat getFileFormat() const;

    /// 40 digits with capital letters; empty if nothing is computed. Of a text without a checksum
    /// line `getUpdatedData` makes it that of the updated text.
    Message getComputedChecksum() const;
    /// What stands in the checksum line, with `a` to `f` as capitals and otherwise as it is: to the
    /// end of the line, of any length, not necessarily hexadecimal. Empty if there is none.
    Message getExtractedChecksum() const;

    /// The text with the computed checksum in its checksum line, and with all line ends of the
    /// type of the text. The texts of FORMAT_FILE_SECTION and FORMAT_NONE begin with one empty line
    /// and lose their other blank lines at the start and at the end; those without a checksum
    /// get an empty line and a section [File] with `version` and `checksum`. There is no byte order
    /// mark. Empty if nothing is computed. May hold zeros: it is as long as its size tells.
    Message getUpdatedData();

    /// Writes `getUpdatedData` over a file, which is made if there is none. False if nothing is
    /// computed or the file can't be opened for writing. A failure after that is not told, and the
    /// file has lost its old content then: who can't have that writes the text himself.
    bool writeFile(const char* filename);

    /// Whether the file can be read and carries the right checksum, in a section [File] unless
    /// `anyFormat`. The reason of a false is in the log, but for a checksum that differs.
    static bool checkFile(const char* filename, bool anyFormat);

    /// Writes the right checksum into the file, as `writeFile` of what was read. A file whose
    /// checksum holds is left alone, and gives false, unless `force`. True if it was written.
    /// ERR_FILE_READ if it can't be read, ERR_CONFIG_PARSE for any problem of `compute(false)`,
    /// ERR_FILE_WRITE if it can't be opened for writing.
    static bool updateFile(const char* filename, bool force);

    /// Judges the form of the file, strictly, and not whether its checksum is right. A file that
    /// can't be read is VALIDATION_NO_DATA; then another format than the one given comes first
    /// (FORMAT_NONE: any), other line ends second (EOL_UNKNOWN: any), `compute(true)` last. A
    /// problem that stands before the checksum line can thus hide behind VALIDATION_BAD_FORMAT.
    static ValidationProblem validateFile(const char* filename, FileFormat format, EOLType eol);

private:
    std::unique_ptr<ChecksumPrivate> m_private;
};

} // namespace fus
