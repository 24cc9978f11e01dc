#pragma once

#include "fus/Export.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace fus {

/// Says what is wrong in a definition, of a generator (`Generator::loadDefinition`) or of a
/// mechanical system (`Mechanics::loadDefinition`), before anybody works with it. The loads take
/// nearly everything: a key that is misspelt is not looked at, what stands behind a number is
/// ignored, and much that no hardware has is believed.
///
/// Nothing is loaded, and nobody is connected: the definitions of `FUS` stay what they are. The log
/// gets what a load would write, and more, as a check goes on behind what a load stops at. Nothing
/// but a lack of memory throws. Not locked: one thread at a time, any thread.
class FUS_API DefinitionCheck {
public:
    enum Kind : std::uint32_t { KIND_UNKNOWN = 0, KIND_GENERATOR = 1, KIND_MECHANICS = 2 };

    enum Severity : std::uint32_t {
        SEVERITY_WARNING = 1, ///< suspicious: it does what is written, but hardly what is meant
        SEVERITY_ERROR = 2    ///< it does not load, or does not do what is written
    };

    /// Something that is wrong, and where.
    struct Finding {
        Severity severity;
        unsigned line;       ///< from 1 on; 0: not in any line
        std::string section; ///< path as the text has it; empty: none, or in front of all sections
        std::string key;     ///< empty: not about a key
        /// What is wrong, what was expected, and what is made of it. Printable: other bytes of the
        /// file are written as "\xNN", and long values are cut.
        std::string text;
    };

    /// A larger text [bytes] isn't looked into: no definition has as much to say.
    static constexpr std::size_t MAX_SIZE = 1048576;
    /// Of each sort (lines that can't be read, keys and values, what they miss together) only so
    /// many findings are kept.
    static constexpr std::size_t MAX_FINDINGS = 100;

    DefinitionCheck();
    ~DefinitionCheck();
    DefinitionCheck(const DefinitionCheck&) = delete;
    DefinitionCheck& operator=(const DefinitionCheck&) = delete;

    /// Checks a file, in place of what was checked before. Without a kind, its sections tell it.
    ///
    /// @return whether there are no errors. A file that can't be read, or holds no definition, is
    ///         one. Blocks as long as reading the file does, which is read up to `MAX_SIZE`.
    bool checkFile(const char* filename, Kind kind = KIND_UNKNOWN);
    /// The same with the text itself, which may hold any bytes. Null counts as an empty one.
    bool checkText(const void* text, std::size_t size, Kind kind = KIND_UNKNOWN);

    /// What it is; `KIND_UNKNOWN` if no kind was given and no section tells.
    Kind kind() const;
    /// Whether a load would take it.
    bool isLoadable() const;
    /// In the order of their lines. Valid until the next check.
    const std::vector<Finding>& findings() const;
    std::size_t count(Severity severity) const;
    /// Where a key stands that counts; without such a key, where its section does; else 0. With an
    /// empty key, where the section stands.
    unsigned lineOf(const std::string& section, const std::string& key) const;

private:
    class Private;

    std::unique_ptr<Private> m_private;
};

} // namespace fus
