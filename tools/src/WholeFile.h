#pragma once

#include <string>

namespace fus::tool {

/// Writes a file whole or not at all: into a new file beside it, which takes its name when
/// everything is written. Who reads meanwhile sees the old content or the new one, never a part.
///
/// A file that is replaced keeps its permissions. A symbolic link stays one: the file that it leads
/// to is replaced. What isn't a regular file (a directory, a device) is refused.
///
/// Throws ToolError, which names the file and the system's reason; then nothing has changed, and
/// nothing is left beside it. It doesn't wait for the disk: that a power cut finds one of both
/// contents is up to the file system.
void writeWholeFile(const std::string& fileName, const std::string& content);

} // namespace fus::tool
