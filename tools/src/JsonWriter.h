#pragma once

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

namespace fus::tool {

/// Writes one JSON value piece by piece, always valid: whatever isn't UTF-8 in a text becomes
/// U+FFFD, and a float that isn't finite becomes null.
///
///     JsonWriter json(out);
///     json.beginObject().key("boards").beginArray().value(1).value("two").endArray().endObject();
///
/// With `indent` 0 everything goes on one line; otherwise each element has a line of its own. No
/// line end is written behind the value.
class JsonWriter {
public:
    explicit JsonWriter(std::ostream& out, unsigned indent = 0) : m_out(out), m_indent(indent) {}

    JsonWriter& beginObject() { return begin('{'); }
    JsonWriter& endObject() { return end('}'); }
    JsonWriter& beginArray() { return begin('['); }
    JsonWriter& endArray() { return end(']'); }
    /// In front of each value of an object.
    JsonWriter& key(const std::string& name);

    JsonWriter& value(const std::string& text);
    JsonWriter& value(const char* text) { return value(std::string(text)); }
    JsonWriter& value(bool flag) { return literal(flag ? "true" : "false"); }
    JsonWriter& value(int number) { return literal(std::to_string(number)); }
    JsonWriter& value(unsigned number) { return literal(std::to_string(number)); }
    JsonWriter& value(std::uint64_t number) { return literal(std::to_string(number)); }
    /// The shortest text that reads back as the same number, whatever the locale.
    JsonWriter& value(float number);
    JsonWriter& null() { return literal("null"); }

    template <class T>
    JsonWriter& member(const std::string& name, const T& content) {
        return key(name).value(content);
    }

private:
    JsonWriter& begin(char bracket);
    JsonWriter& end(char bracket);
    JsonWriter& literal(const std::string& text);
    void newElement();
    void newLine();

    std::ostream& m_out;
    unsigned m_indent;
    std::vector<bool> m_hasElements; // a level each, the innermost last
    bool m_afterKey = false;
};

} // namespace fus::tool
