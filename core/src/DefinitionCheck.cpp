#include "fus/P_DefinitionCheck.h"

#include "fus/P_GeneratorDefinition.h"
#include "fus/P_LowLevelMechanicsPrivate.h"

#include <algorithm>
#include <fstream>

namespace fus {

namespace {

using Kind = DefinitionCheck::Kind;

constexpr const char* WIDE_TEXT_MARKS[] = {"\xFF\xFE", "\xFE\xFF"};

bool isWideText(std::string_view text) {
    return std::any_of(std::begin(WIDE_TEXT_MARKS), std::end(WIDE_TEXT_MARKS),
                       [&](std::string_view mark) { return text.substr(0, mark.size()) == mark; });
}

/// How many sections are, or are nearly, those of a kind.
std::size_t countSections(const DefinitionText& text, Kind kind, bool nearly) {
    const DefinitionVocabulary vocabulary(kind);
    return static_cast<std::size_t>(std::count_if(
        text.headers().begin(), text.headers().end(), [&](const DefinitionText::Header& header) {
            const std::string path = pathOf(*header.section);
            return nearly ? !vocabulary.nearestSection(path).empty() : vocabulary.hasSection(path);
        }));
}

/// What the sections tell.
Kind kindOf(const DefinitionText& text) {
    for (const bool nearly : {false, true}) {
        const std::size_t generator = countSections(text, DefinitionCheck::KIND_GENERATOR, nearly);
        const std::size_t mechanics = countSections(text, DefinitionCheck::KIND_MECHANICS, nearly);
        if (generator + mechanics != 0) { // [File] alone, which both may have, is for mechanics
            return generator > mechanics ? DefinitionCheck::KIND_GENERATOR
                                         : DefinitionCheck::KIND_MECHANICS;
        }
    }
    return DefinitionCheck::KIND_UNKNOWN;
}

bool reviewed(const Config& config, Kind kind, DefinitionReview& review) {
    return kind == DefinitionCheck::KIND_GENERATOR ? GeneratorDefinition().review(config, review)
                                                   : MechanicalDefinition::review(config, review);
}

} // namespace

class DefinitionCheck::Private {
public:
    void clear(Kind kind) {
        m_kind = kind;
        m_isLoadable = false;
        m_findings.clear();
        m_places.clear();
    }

    void fail(const std::string& text) { m_findings.push_back({SEVERITY_ERROR, 0, "", "", text}); }

    void check(std::string_view bytes) {
        if (bytes.size() > MAX_SIZE) {
            fail("more than " + std::to_string(MAX_SIZE) + " bytes: this is no definition");
            return;
        }
        if (isWideText(bytes)) {
            fail("the text is in UTF-16, which can't be read: save it as UTF-8, or as plain text");
            return;
        }
        DefinitionText text(bytes);
        text.findings().moveTo(m_findings);
        m_kind = m_kind == KIND_UNKNOWN ? kindOf(text) : m_kind;
        if (m_kind == KIND_UNKNOWN) {
            fail("no section of a definition: that of a generator has [config] and [amplifier], "
                 "that of a mechanical system [File] and [Axis0]");
        } else {
            DefinitionReview review;
            m_isLoadable = reviewed(text.config(), m_kind, review) && text.isReadable();
            judgeDefinition(text, m_kind, review, m_findings, m_places);
        }
        std::stable_sort(m_findings.begin(), m_findings.end(),
                         [](const Finding& a, const Finding& b) { return a.line < b.line; });
    }

    Kind m_kind = KIND_UNKNOWN;
    bool m_isLoadable = false;
    std::vector<Finding> m_findings;
    DefinitionPlaces m_places;
};

DefinitionCheck::DefinitionCheck() : m_private(std::make_unique<Private>()) {}

DefinitionCheck::~DefinitionCheck() = default;

bool DefinitionCheck::checkFile(const char* filename, Kind kind) {
    m_private->clear(kind);
    std::ifstream file(filename == nullptr ? "" : filename, std::ios::binary);
    if (!file) {
        m_private->fail("the file can't be opened");
        return false;
    }
    std::string text(MAX_SIZE + 1, '\0');
    file.read(&text[0], static_cast<std::streamsize>(text.size()));
    text.resize(static_cast<std::size_t>(file.gcount()));
    if (file.bad()) {
        m_private->fail("the file can't be read");
        return false;
    }
    return checkText(text.data(), text.size(), kind);
}

bool DefinitionCheck::checkText(const void* text, std::size_t size, Kind kind) {
    m_private->clear(kind);
    m_private->check(text == nullptr ? std::string_view()
                                     : std::string_view(static_cast<const char*>(text), size));
    return count(SEVERITY_ERROR) == 0;
}

Kind DefinitionCheck::kind() const {
    return m_private->m_kind;
}

bool DefinitionCheck::isLoadable() const {
    return m_private->m_isLoadable;
}

const std::vector<DefinitionCheck::Finding>& DefinitionCheck::findings() const {
    return m_private->m_findings;
}

std::size_t DefinitionCheck::count(Severity severity) const {
    return static_cast<std::size_t>(
        std::count_if(findings().begin(), findings().end(),
                      [severity](const Finding& finding) { return finding.severity == severity; }));
}

unsigned DefinitionCheck::lineOf(const std::string& section, const std::string& key) const {
    return m_private->m_places.lineOf({section, key});
}

} // namespace fus
