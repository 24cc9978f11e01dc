#pragma once

#include <cstddef>
#include <cstdint>
#include <istream>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace fus {

/// A named text of a section. Every getter converts the raw text anew.
///
/// Scalars give the default where there is no value or no number at the start of it (the latter
/// with a log line); what follows a number is ignored, and one that is out of range saturates as
/// in 32 bits. Lists are separated by '|': they append to the vector what they could read and
/// return how many items that was; an item that cannot be read, or is out of range, is logged and
/// ends the list.
class ConfigParam {
public:
    /// Copies both texts. As strings that end in a zero byte they are cut at one.
    ConfigParam(std::string_view name, std::string_view value);

    /// Null if it is empty; such a parameter is never found.
    const char* name() const noexcept { return orNull(m_texts.get()); }
    /// Null if the parameter was written without a value.
    const char* value() const noexcept { return orNull(m_texts.get() + m_nameLength + 1); }

    /// By prefix, in any case: yes, true, no, false; by the first byte: y, 1, n, 0. Never logs.
    bool toBool(bool defaultValue) const noexcept;
    /// Whether a text is one of these words, and nothing more.
    static bool isBoolWord(const char* text) noexcept;
    int32_t toInt(int32_t defaultValue) const;
    uint32_t toUnsigned(uint32_t defaultValue) const;
    float toFloat(float defaultValue) const;
    size_t toInts(std::vector<int32_t>& items) const;
    size_t toUnsigneds(std::vector<uint32_t>& items) const;
    size_t toFloats(std::vector<float>& items) const;

private:
    friend class ConfigSection;

    static const char* orNull(const char* text) noexcept { return *text == '\0' ? nullptr : text; }
    std::string_view nameView() const noexcept { return {m_texts.get(), m_nameLength}; }
    const char* printableName() const noexcept { return name() == nullptr ? "(null)" : name(); }

    // Name and value in one block: allocations are most of what reading a text costs.
    size_t m_nameLength;
    std::unique_ptr<char[]> m_texts;
};

/// A node of the tree: parameters in file order, subsections in the order of their creation.
/// Names are compared byte by byte. Of equal names, every look-up finds the first.
///
/// A path is a chain of names with '/' between them; one that begins with '/' starts at the root,
/// and so does what follows a doubled slash inside a path. Sections and texts live as long as the
/// tree, a ConfigParam until its section gains another one. Not locked, and look-ups keep an
/// index: one thread at a time.
class ConfigSection {
public:
    explicit ConfigSection(std::string_view name);
    virtual ~ConfigSection();
    virtual bool isRoot() const noexcept { return false; }
    ConfigSection(const ConfigSection&) = delete;
    ConfigSection& operator=(const ConfigSection&) = delete;

    /// The section's own name; null if it is empty.
    const char* name() const noexcept { return m_name.empty() ? nullptr : m_name.c_str(); }
    const ConfigSection* parent() const noexcept { return m_parent; }
    const std::vector<ConfigParam>& params() const noexcept { return m_params; }
    const std::vector<std::unique_ptr<ConfigSection>>& sections() const noexcept {
        return m_sections;
    }

    const ConfigSection* getRoot() const noexcept;
    ConfigSection* getRoot() noexcept;

    /// Null if a part of the path is missing.
    const ConfigSection* findSection(const char* path) const;
    ConfigSection* findSection(const char* path);
    /// The last name of the path is the parameter's. Null if a part of the path is missing.
    const ConfigParam* findParam(const char* path) const;
    /// Makes what is missing. Null for a null or empty path; "/" gives the root.
    ConfigSection* createSection(const char* path);
    /// Whether this very section has a parameter of this name, which is not a path.
    bool hasParam(const char* name) const;

    /// The conversions of ConfigParam; the default, or no items, if there is no parameter.
    bool getBool(const char* path, bool defaultValue) const;
    int32_t getInt(const char* path, int32_t defaultValue) const;
    uint32_t getUnsigned(const char* path, uint32_t defaultValue) const;
    float getFloat(const char* path, float defaultValue) const;
    /// The default only if there is no parameter: one without a value gives null.
    const char* getString(const char* path, const char* defaultValue) const;
    size_t getInts(const char* path, std::vector<int32_t>& items) const;
    size_t getUnsigneds(const char* path, std::vector<uint32_t>& items) const;
    size_t getFloats(const char* path, std::vector<float>& items) const;

private:
    friend class ConfigReader;

    /// Where each name stands first. Built when it is asked, so that reading a text is quick.
    struct NameIndex {
        std::unordered_map<std::string_view, size_t> positions;
        size_t indexed = 0;
    };

    static std::string_view nameOf(const ConfigParam& param) noexcept { return param.nameView(); }
    static std::string_view nameOf(const std::unique_ptr<ConfigSection>& section) noexcept {
        return section->m_name;
    }
    template <typename Items>
    static const typename Items::value_type* findByName(const Items& items, NameIndex& index,
                                                        std::string_view name);

    void addParam(std::string_view name, std::string_view value);
    ConfigSection* createSection(std::string_view path);
    const ConfigSection* ownSection(std::string_view name) const;
    ConfigSection* findOrAddSection(std::string_view name);
    const ConfigSection* walkToLast(std::string_view& path) const;

    std::string m_name;
    ConfigSection* m_parent = nullptr;
    std::vector<ConfigParam> m_params;
    std::vector<std::unique_ptr<ConfigSection>> m_sections;
    mutable NameIndex m_paramIndex;
    mutable NameIndex m_sectionIndex;
};

/// Is told what the reader takes each line of a text for, which the tree no longer knows.
class ConfigObserver {
public:
    virtual ~ConfigObserver() = default;
    /// Each line, without its line feed, before anything else that is told about it. Counts from 1.
    virtual void onLine(size_t number, std::string_view line) = 0;
    /// A section line, with what stands behind its bracket and is ignored.
    virtual void onSection(const ConfigSection& section, std::string_view ignored) = 0;
    /// A parameter, which is now the section's last one.
    virtual void onParam(const ConfigSection& section) = 0;
    /// The start or the end of a block comment: how deep it is from here on, and what stands in the
    /// same line and is ignored.
    virtual void onComment(size_t depth, std::string_view ignored) = 0;
    /// A line that can't be read, and why.
    virtual void onFault(const char* why) = 0;
};

/// An INI text as a tree; the document is its root, with the name "/".
class Config : public ConfigSection {
public:
    Config();
    bool isRoot() const noexcept override { return true; }

    /// Adds what the stream holds to the tree. ERR_CONFIG_PARSE for a stream that is not good at
    /// entry and for a line that cannot be read; what was read before it stays in the tree. A
    /// stream that fails later is taken as ended.
    ///
    /// With an observer, lines that cannot be read are told to it and passed over.
    void read(std::istream& stream, ConfigObserver* observer = nullptr);
};

} // namespace fus
