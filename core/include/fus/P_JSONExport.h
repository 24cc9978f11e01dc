#pragma once

#include <iosfwd>
#include <string>

namespace fus {

class Connection;

/// One document about a connected system: link, back panel, boards, and the text by which the
/// generator described itself. JSON but for commas in front of some closing braces, on purpose.
///
/// Boards and back panel are asked for what isn't known, each for the default answer time-out; what
/// they don't tell stays empty or 0. `ERR_NOT_CONNECTED` when the link is lost meanwhile. The
/// connection must live to the end of the call; it may be closed by another thread.
std::string exportJSON(Connection& connection);

/// The part of it that holds the generator's text: an element for each line that says something, an
/// empty one in front of each section but the first, and an empty one at the end.
void writeTextLines(std::ostream& out, const std::string& text);

} // namespace fus
