#pragma once

#include "Arguments.h"

#include "fus/Log.h"

#include <string>
#include <vector>

namespace fus::tool {

/// The library's log while a command runs: nowhere, unless `--log` or `--log-file` ask for it. What
/// it says at level ERROR is kept here, since operations that give false tell their reason in the
/// log alone. One at a time.
class LibraryLog {
public:
    /// Throws UsageError for a level that doesn't exist, and ToolError for a file that can't be
    /// opened.
    explicit LibraryLog(const Arguments& arguments);
    ~LibraryLog();
    LibraryLog(const LibraryLog&) = delete;
    LibraryLog& operator=(const LibraryLog&) = delete;

    /// Forgets what was said up to now: to be called in front of an operation that may give false.
    static void forget();
    /// The errors that were logged since then, in order; the last 20 of them.
    static std::vector<std::string> errors();
    /// The same in one line, "; " between them; "no reason is known" if there are none.
    static std::string reason();

private:
    static void hear(void* context, Log::Level level, const char* text);

    const Log::Level m_formerLevel;
    const bool m_formerStderr;
};

} // namespace fus::tool
