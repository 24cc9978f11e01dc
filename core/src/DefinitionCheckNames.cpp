// The names that definitions know, and which of them was meant.

#include "fus/P_DefinitionCheck.h"

#include "fus/P_GeneratorDefinition.h"
#include "fus/P_LowLevelMechanicsPrivate.h"

#include <algorithm>
#include <cctype>
#include <iterator>

namespace fus {

namespace {

constexpr std::size_t SHORT_NAME = 4;
constexpr std::size_t LONG_NAME = 8;
constexpr std::size_t MAX_SLIPS = 2;

std::string lowerCase(std::string text) {
    for (char& character : text) {
        character = static_cast<char>(std::tolower(static_cast<unsigned char>(character)));
    }
    return text;
}

/// How many letters may be wrong in a name before it is another one.
std::size_t allowedSlips(std::size_t length) {
    return length < SHORT_NAME ? 0 : length < LONG_NAME ? 1 : MAX_SLIPS;
}

/// How many letters have to be put in, left out, replaced or swapped with the next one.
std::size_t countSlips(const std::string& a, const std::string& b) {
    std::vector<std::size_t> before, last(b.size() + 1), row(b.size() + 1);
    for (std::size_t j = 0; j <= b.size(); ++j) {
        row[j] = j;
    }
    for (std::size_t i = 1; i <= a.size(); ++i) {
        before = last;
        last = row;
        row[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            const std::size_t replaced = last[j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
            row[j] = std::min({last[j] + 1, row[j - 1] + 1, replaced});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
                row[j] = std::min(row[j], before[j - 2] + 1);
            }
        }
    }
    return row[b.size()];
}

bool isNumbered(const DefinitionKey& key) {
    return key.name.back() == '#';
}

std::string stemOf(const DefinitionKey& key) {
    return key.name.substr(0, key.name.size() - 1);
}

bool isNumber(std::string_view text) {
    return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

/// Whether the key's stem and a number, both as they should be written.
bool matches(const DefinitionKey& key, std::string_view name) {
    const std::string stem = stemOf(key);
    if (!isNumbered(key) || name.substr(0, stem.size()) != stem) {
        return name == key.name;
    }
    const std::string_view number = name.substr(stem.size());
    return isNumber(number) && (number.size() == 1 || number.front() != '0');
}

/// "c1" for "C1" and "c01", empty for what is no number of this key.
std::string mendedNumber(const DefinitionKey& key, const std::string& name) {
    const std::string stem = stemOf(key);
    if (lowerCase(name.substr(0, stem.size())) != lowerCase(stem) ||
        !isNumber(std::string_view(name).substr(std::min(stem.size(), name.size())))) {
        return {};
    }
    const std::size_t first = name.find_first_not_of('0', stem.size());
    return stem + (first == std::string::npos ? "0" : name.substr(first));
}

std::vector<DefinitionKey> allKeys(DefinitionCheck::Kind kind) {
    const bool isMechanics = kind == DefinitionCheck::KIND_MECHANICS;
    std::vector<DefinitionKey> keys =
        isMechanics ? MechanicalDefinition::keys() : GeneratorDefinition::keys();
    for (const char* const section : {"", "File"}) {
        keys.push_back({section, "checksum", ValueRule{ValueKind::TEXT}});
    }
    if (!isMechanics) {
        keys.push_back({"File", "version", ValueRule{ValueKind::INTEGER}});
    }
    return keys;
}

} // namespace

DefinitionVocabulary::DefinitionVocabulary(DefinitionCheck::Kind kind) : m_keys(allKeys(kind)) {
    for (const DefinitionKey& key : m_keys) {
        m_sections.insert(key.section);
        m_sections.insert(key.section.substr(0, key.section.find('/')));
    }
    m_sections.erase("");
}

std::vector<std::string> DefinitionVocabulary::mainSections() const {
    std::vector<std::string> names;
    std::copy_if(m_sections.begin(), m_sections.end(), std::back_inserter(names),
                 [](const std::string& name) { return name.find('/') == std::string::npos; });
    return names;
}

std::string DefinitionVocabulary::nearestSection(const std::string& path) const {
    return nearestName(path, {m_sections.begin(), m_sections.end()});
}

const DefinitionKey* DefinitionVocabulary::find(const std::string& section,
                                                std::string_view name) const {
    for (const DefinitionKey& key : m_keys) {
        if (key.section == section && matches(key, name)) {
            return &key;
        }
    }
    return nullptr;
}

std::vector<std::string> DefinitionVocabulary::keysOf(const std::string& section) const {
    std::vector<std::string> names;
    for (const DefinitionKey& key : m_keys) {
        if (key.section == section) {
            names.push_back(isNumbered(key) ? stemOf(key) + "0, " + stemOf(key) + "1, ..."
                                            : key.name);
        }
    }
    return names;
}

std::string DefinitionVocabulary::nearestKey(const std::string& section,
                                             const std::string& name) const {
    for (const DefinitionKey& key : m_keys) {
        if (key.section == section && isNumbered(key) && !mendedNumber(key, name).empty()) {
            return mendedNumber(key, name);
        }
    }
    return nearestName(name, keysOf(section));
}

std::string DefinitionVocabulary::sectionOf(const std::string& name,
                                            const std::string& near) const {
    std::string found;
    for (const DefinitionKey& key : m_keys) {
        if (matches(key, name) && (found.empty() || key.section.rfind(near + "/", 0) == 0)) {
            found = key.section;
        }
    }
    return found;
}

std::string joined(const std::vector<std::string>& names) {
    std::string text;
    for (const std::string& name : names) {
        text += (text.empty() ? "" : ", ") + name;
    }
    return text;
}

std::string pathOf(const ConfigSection& section) {
    std::vector<const char*> names;
    for (const ConfigSection* next = &section; !next->isRoot(); next = next->parent()) {
        names.push_back(next->name() == nullptr ? "" : next->name());
    }
    std::string path;
    for (auto name = names.rbegin(); name != names.rend(); ++name) {
        path += (name == names.rbegin() ? "" : "/") + std::string(*name);
    }
    return path;
}

std::string nearestName(const std::string& name, const std::vector<std::string>& known) {
    std::size_t least = allowedSlips(name.size()) + 1;
    const std::string* nearest = nullptr;
    for (const std::string& candidate : known) {
        if (candidate.size() > name.size() + MAX_SLIPS ||
            name.size() > candidate.size() + MAX_SLIPS) {
            continue;
        }
        const std::size_t slips = countSlips(lowerCase(name), lowerCase(candidate));
        if (slips < least) {
            least = slips;
            nearest = &candidate;
        }
    }
    return nearest == nullptr ? std::string() : *nearest;
}

} // namespace fus
