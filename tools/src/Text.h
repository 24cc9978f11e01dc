#pragma once

#include "fus/Export.h"

#include <cstddef>
#include <ostream>
#include <string>
#include <vector>

namespace fus::tool {

/// As printf, into a string.
FUS_PRINTF_FORMAT(1, 2) std::string formatted(const char* format, ...);

/// The text with '?' in place of everything but printable ASCII: what a generator or a file says
/// must not control the terminal.
std::string printable(const std::string& text);

/// "1 board", "2 boards".
std::string counted(std::size_t count, const char* one, const char* many);

/// Numbers in rising order as ranges: "0-3, 5, 7-8".
std::string ranges(const std::vector<unsigned>& numbers);

/// The local time, "2020-01-31T16:38:03". One thread at a time.
std::string timeStamp();

/// Rows of cells that are printed in columns, each as wide as its widest cell.
class Table {
public:
    enum class Align { LEFT, RIGHT };

    /// How the columns are aligned; those beyond are LEFT.
    explicit Table(std::vector<Align> columns = {}) : m_columns(std::move(columns)) {}

    void add(std::vector<std::string> cells) { m_rows.push_back(std::move(cells)); }
    std::size_t rowCount() const { return m_rows.size(); }

    /// A line for each row, with `indent` blanks in front and none at the end.
    void print(std::ostream& out, std::size_t indent) const;

private:
    std::vector<std::size_t> widths() const;

    std::vector<Align> m_columns;
    std::vector<std::vector<std::string>> m_rows;
};

} // namespace fus::tool
