#include "fus/P_Config.h"

#include <algorithm>

namespace fus {

namespace {

// Up to here, looking at each name is quicker than keeping an index.
constexpr size_t INDEX_THRESHOLD = 8;

std::string_view viewOf(const char* text) {
    return text == nullptr ? std::string_view() : std::string_view(text);
}

} // namespace

ConfigSection::ConfigSection(std::string_view name) : m_name(name) {}

// Climbs down and up by the parent links: sections may be nested deeper than a stack reaches.
ConfigSection::~ConfigSection() {
    ConfigSection* section = this;
    while (section != this || !section->m_sections.empty()) {
        if (!section->m_sections.empty()) {
            section = section->m_sections.back().get();
        } else {
            section = section->m_parent;
            section->m_sections.pop_back();
        }
    }
}

const ConfigSection* ConfigSection::getRoot() const noexcept {
    const ConfigSection* section = this;
    while (section->m_parent != nullptr) {
        section = section->m_parent;
    }
    return section;
}

ConfigSection* ConfigSection::getRoot() noexcept {
    return const_cast<ConfigSection*>(static_cast<const ConfigSection*>(this)->getRoot());
}

const ConfigSection* ConfigSection::findSection(const char* path) const {
    std::string_view rest = viewOf(path);
    const ConfigSection* section = walkToLast(rest);
    return section == nullptr ? nullptr : section->ownSection(rest);
}

ConfigSection* ConfigSection::findSection(const char* path) {
    return const_cast<ConfigSection*>(static_cast<const ConfigSection*>(this)->findSection(path));
}

const ConfigParam* ConfigSection::findParam(const char* path) const {
    std::string_view rest = viewOf(path);
    const ConfigSection* section = walkToLast(rest);
    return section == nullptr ? nullptr
                              : findByName(section->m_params, section->m_paramIndex, rest);
}

ConfigSection* ConfigSection::createSection(const char* path) {
    return createSection(viewOf(path));
}

bool ConfigSection::hasParam(const char* name) const {
    return findByName(m_params, m_paramIndex, viewOf(name)) != nullptr;
}

bool ConfigSection::getBool(const char* path, bool defaultValue) const {
    const ConfigParam* param = findParam(path);
    return param == nullptr ? defaultValue : param->toBool(defaultValue);
}

int32_t ConfigSection::getInt(const char* path, int32_t defaultValue) const {
    const ConfigParam* param = findParam(path);
    return param == nullptr ? defaultValue : param->toInt(defaultValue);
}

uint32_t ConfigSection::getUnsigned(const char* path, uint32_t defaultValue) const {
    const ConfigParam* param = findParam(path);
    return param == nullptr ? defaultValue : param->toUnsigned(defaultValue);
}

float ConfigSection::getFloat(const char* path, float defaultValue) const {
    const ConfigParam* param = findParam(path);
    return param == nullptr ? defaultValue : param->toFloat(defaultValue);
}

const char* ConfigSection::getString(const char* path, const char* defaultValue) const {
    const ConfigParam* param = findParam(path);
    return param == nullptr ? defaultValue : param->value();
}

size_t ConfigSection::getInts(const char* path, std::vector<int32_t>& items) const {
    const ConfigParam* param = findParam(path);
    return param == nullptr ? 0 : param->toInts(items);
}

size_t ConfigSection::getUnsigneds(const char* path, std::vector<uint32_t>& items) const {
    const ConfigParam* param = findParam(path);
    return param == nullptr ? 0 : param->toUnsigneds(items);
}

size_t ConfigSection::getFloats(const char* path, std::vector<float>& items) const {
    const ConfigParam* param = findParam(path);
    return param == nullptr ? 0 : param->toFloats(items);
}

template <typename Items>
const typename Items::value_type* ConfigSection::findByName(const Items& items, NameIndex& index,
                                                            std::string_view name) {
    if (name.empty()) {
        return nullptr;
    }
    if (items.size() <= INDEX_THRESHOLD) {
        const auto found = std::find_if(items.begin(), items.end(),
                                        [name](const auto& item) { return nameOf(item) == name; });
        return found == items.end() ? nullptr : &*found;
    }
    // An emplace leaves an entry that is there alone, so the first of equal names stays.
    for (; index.indexed < items.size(); ++index.indexed) {
        index.positions.emplace(nameOf(items[index.indexed]), index.indexed);
    }
    const auto found = index.positions.find(name);
    return found == index.positions.end() ? nullptr : &items[found->second];
}

void ConfigSection::addParam(std::string_view name, std::string_view value) {
    m_params.emplace_back(name, value);
}

// The order of these tests is the format: "[A/]" names a section "A/", and a slash that is left
// in front once the root has been reached stands behind an empty name.
ConfigSection* ConfigSection::createSection(std::string_view path) {
    ConfigSection* section = this;
    while (!path.empty()) {
        if (path == "/") {
            return section->getRoot();
        }
        if (path.front() == '/') {
            section = section->getRoot();
            path.remove_prefix(1);
        }
        const size_t slash = path.find('/');
        if (slash == std::string_view::npos || slash + 1 == path.size()) {
            return section->findOrAddSection(path);
        }
        section = section->findOrAddSection(path.substr(0, slash));
        path.remove_prefix(slash + 1);
    }
    return nullptr;
}

const ConfigSection* ConfigSection::ownSection(std::string_view name) const {
    const std::unique_ptr<ConfigSection>* found = findByName(m_sections, m_sectionIndex, name);
    return found == nullptr ? nullptr : found->get();
}

ConfigSection* ConfigSection::findOrAddSection(std::string_view name) {
    if (const ConfigSection* known = ownSection(name)) {
        return const_cast<ConfigSection*>(known);
    }
    m_sections.push_back(std::make_unique<ConfigSection>(name));
    m_sections.back()->m_parent = this;
    return m_sections.back().get();
}

// Leaves the last name of the path, and gives the section in which it is to be looked up.
const ConfigSection* ConfigSection::walkToLast(std::string_view& path) const {
    const ConfigSection* section = this;
    while (section != nullptr && !path.empty()) {
        if (path.front() == '/') {
            section = section->getRoot();
            path.remove_prefix(1);
        }
        const size_t slash = path.find('/');
        if (slash == std::string_view::npos) {
            return section;
        }
        section = section->ownSection(path.substr(0, slash));
        path.remove_prefix(slash + 1);
    }
    return nullptr;
}

} // namespace fus
