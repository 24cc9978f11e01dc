#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

namespace fus::tool {

/// All bytes of a file. Of a file with more than `most` bytes it reads some more than these, and no
/// further. Throws ToolError, which names the file and the system's reason.
std::string readWholeFile(const std::string& fileName,
                          std::size_t most = static_cast<std::size_t>(-1));

/// Writes a file whole or not at all: into a new file beside it, which takes its name when
/// everything is written. Who reads meanwhile sees the old content or the new one, never a part.
///
/// A file that is replaced keeps its permissions. A symbolic link stays one: the file that it leads
/// to is replaced, or made. What isn't a regular file (a directory, a device) is refused.
///
/// When all but the taking of the name is done, `lastCheck` is asked, if there is one: it may throw
/// ToolError, so that nothing changes.
///
/// Throws ToolError, which names the file and the system's reason; then nothing has changed, and
/// nothing is left beside it. It doesn't wait for the disk: that a power cut finds one of both
/// contents is up to the file system.
void writeWholeFile(const std::string& fileName, std::string_view content,
                    const std::function<void()>& lastCheck = nullptr);

} // namespace fus::tool
