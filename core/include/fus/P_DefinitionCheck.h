#pragma once

#include "fus/DefinitionCheck.h"
#include "fus/P_Config.h"
#include "fus/P_DefinitionReview.h"

#include <algorithm>
#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace fus {

/// Bytes of a file as they may be printed: cut when they are many, and escaped.
std::string printable(std::string_view bytes);
/// The same in quotes.
std::string quoted(std::string_view bytes);

/// The name that was meant, in another case or with a slip of a letter or two; empty if none comes
/// near.
std::string nearestName(const std::string& name, const std::vector<std::string>& known);

/// Findings while they come in, sort by sort; of each the first ones are kept.
class DefinitionFindings {
public:
    using Finding = DefinitionCheck::Finding;

    void add(Finding finding) {
        ++m_count;
        if (m_count <= DefinitionCheck::MAX_FINDINGS) {
            m_kept.push_back(std::move(finding));
        } else {
            m_dropped = std::max(m_dropped, finding.severity);
        }
    }
    void error(std::size_t line, std::string text) {
        add({DefinitionCheck::SEVERITY_ERROR,
             static_cast<unsigned>(line),
             {},
             {},
             std::move(text)});
    }
    void warn(std::size_t line, std::string text) {
        add({DefinitionCheck::SEVERITY_WARNING,
             static_cast<unsigned>(line),
             {},
             {},
             std::move(text)});
    }
    /// Moves them behind others; if there were too many, the last one says so.
    void moveTo(std::vector<Finding>& all);

private:
    std::vector<Finding> m_kept;
    std::size_t m_count = 0;
    DefinitionCheck::Severity m_dropped = DefinitionCheck::SEVERITY_WARNING; // the worst of them
};

/// A text as the reader of definitions takes it, with the lines of everything, and with what it
/// skips without a word.
class DefinitionText : private ConfigObserver {
public:
    struct Header {
        unsigned line;
        const ConfigSection* section;
    };
    struct Entry {
        unsigned line;
        const ConfigSection* section;
        std::size_t index;

        const ConfigParam& param() const { return section->params()[index]; }
    };

    explicit DefinitionText(std::string_view text);

    const Config& config() const { return m_config; }
    const std::vector<Header>& headers() const { return m_headers; }
    const std::vector<Entry>& entries() const { return m_entries; }
    /// Whether each line can be read.
    bool isReadable() const { return m_readable; }
    DefinitionFindings& findings() { return m_findings; }

private:
    void onLine(std::size_t number, std::string_view line) override;
    void onSection(const ConfigSection& section, std::string_view ignored) override;
    void onParam(const ConfigSection& section) override;
    void onComment(std::size_t depth, std::string_view ignored) override;
    void onFault(const char* why) override;

    Config m_config;
    std::vector<Header> m_headers;
    std::vector<Entry> m_entries;
    DefinitionFindings m_findings;
    bool m_readable = true;
    std::size_t m_number = 0;
    std::string_view m_line;
    std::size_t m_commentDepth = 0;
    std::size_t m_commentLine = 0; // where the outermost one began
    bool m_isCommentTold = false;  // that it goes on
};

/// What a definition of a kind may hold: the loaders' own keys, and what checksums need.
class DefinitionVocabulary {
public:
    explicit DefinitionVocabulary(DefinitionCheck::Kind kind);

    bool hasSection(const std::string& path) const { return m_sections.count(path) != 0; }
    /// That have no other section around them.
    std::vector<std::string> mainSections() const;
    /// Empty if none of them comes near.
    std::string nearestSection(const std::string& path) const;

    /// Null if the section has no such key.
    const DefinitionKey* find(const std::string& section, std::string_view name) const;
    /// As people write them.
    std::vector<std::string> keysOf(const std::string& section) const;
    /// Empty if none of the section's keys comes near.
    std::string nearestKey(const std::string& section, const std::string& name) const;
    /// The section that has such a key, if need be one inside of `near`; empty if none has.
    std::string sectionOf(const std::string& name, const std::string& near) const;

private:
    std::vector<DefinitionKey> m_keys;
    std::set<std::string> m_sections;
};

/// Names with commas between them.
std::string joined(const std::vector<std::string>& names);

/// The path of a section as a text has it.
std::string pathOf(const ConfigSection& section);

/// Where keys and, under an empty one, sections stand first.
class DefinitionPlaces {
public:
    using Place = DefinitionReview::Place;

    /// The line that it first stood at, and whether this is it.
    std::pair<unsigned, bool> add(const Place& place, unsigned line) {
        const auto [first, isFirst] = m_lines.emplace(place, line);
        return {first->second, isFirst};
    }
    bool has(const Place& place) const { return m_lines.count(place) != 0; }
    /// Without such a key, that of its section, or of one inside of that; 0 if there is none.
    unsigned lineOf(const Place& place) const;
    void clear() { m_lines.clear(); }

private:
    std::map<Place, unsigned> m_lines;
};

/// Holds a text against what its loader has made of it. Adds what is wrong, and the places.
void judgeDefinition(const DefinitionText& text, DefinitionCheck::Kind kind,
                     const DefinitionReview& review,
                     std::vector<DefinitionCheck::Finding>& findings, DefinitionPlaces& places);

/// What is wrong with a value; an empty text if nothing is.
struct ValueFault {
    DefinitionCheck::Severity severity = DefinitionCheck::SEVERITY_ERROR;
    std::string text;
};

/// Looks at a value that the readers may take without a word. `value` is null if there is none.
ValueFault faultOf(const ConfigParam& param, const ValueRule& rule);

} // namespace fus
