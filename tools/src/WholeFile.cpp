#include "WholeFile.h"

#include "Errors.h"
#include "Text.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <random>
#include <system_error>

namespace fus::tool {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t PORTION = 65536;
constexpr unsigned MOST_LINKS = 40; // one behind another; as systems have it

/// The new file, which goes unless it was renamed.
class Draft {
public:
    explicit Draft(const fs::path& target) : m_path(target) {
        // By chance, so that two programs that write the same file don't write the same draft.
        m_path += formatted(".%08x.part", std::random_device{}());
    }
    ~Draft() {
        if (!m_renamed) {
            std::error_code ignored;
            fs::remove(m_path, ignored);
        }
    }
    Draft(const Draft&) = delete;
    Draft& operator=(const Draft&) = delete;

    /// It has these permissions before the content comes: none but who opened it while it was empty
    /// can read what he may not.
    void write(std::string_view content, fs::perms permissions);
    void renameTo(const fs::path& target);

private:
    fs::path m_path;
    bool m_renamed = false;
};

[[noreturn]] void fail(const std::error_code& error) {
    throw fs::filesystem_error("", error);
}

[[noreturn]] void failAsTold() {
    fail({errno != 0 ? errno : EIO, std::generic_category()});
}

void Draft::write(std::string_view content, fs::perms permissions) {
    errno = 0;
    std::ofstream file(m_path, std::ios::binary);
    if (!file) {
        failAsTold();
    }
    if (permissions != fs::perms::unknown) {
        fs::permissions(m_path, permissions);
    }
    file.write(content.data(), static_cast<std::streamsize>(content.size()));
    file.close(); // a full disk may show here only
    if (!file) {
        failAsTold();
    }
}

void Draft::renameTo(const fs::path& target) {
    fs::rename(m_path, target);
    m_renamed = true;
}

/// Where the file really is, or will be, behind links.
fs::path behindLinks(fs::path target) {
    for (unsigned links = 0; fs::is_symlink(target); ++links) {
        if (links == MOST_LINKS) {
            fail(std::make_error_code(std::errc::too_many_symbolic_link_levels));
        }
        target = target.parent_path() / fs::read_symlink(target);
    }
    return target;
}

void replace(const fs::path& target, std::string_view content,
             const std::function<void()>& lastCheck) {
    const fs::file_status old = fs::status(target);
    if (fs::exists(old) && !fs::is_regular_file(old)) {
        fail(std::make_error_code(std::errc::operation_not_supported));
    }
    // A rename would go over it all the same.
    if (fs::exists(old) && (old.permissions() & fs::perms::owner_write) == fs::perms::none) {
        fail(std::make_error_code(std::errc::permission_denied));
    }
    Draft draft(target);
    draft.write(content, fs::exists(old) ? old.permissions() : fs::perms::unknown);
    if (lastCheck) {
        lastCheck();
    }
    draft.renameTo(target);
}

std::string readAll(const fs::path& path, std::size_t most) {
    if (fs::is_directory(path)) { // which some systems open
        fail(std::make_error_code(std::errc::is_a_directory));
    }
    errno = 0;
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        failAsTold();
    }
    std::string bytes;
    std::error_code unknown;
    const std::uintmax_t size = fs::file_size(path, unknown);
    bytes.reserve((unknown ? 0 : std::min(static_cast<std::size_t>(size), most)) + PORTION);
    while (file && bytes.size() <= most) {
        const std::size_t before = bytes.size();
        bytes.resize(before + PORTION);
        file.read(&bytes[before], PORTION);
        bytes.resize(before + static_cast<std::size_t>(file.gcount()));
    }
    if (file.bad()) {
        failAsTold();
    }
    return bytes;
}

} // namespace

std::string readWholeFile(const std::string& fileName, std::size_t most) {
    try {
        return readAll(fileName, most);
    } catch (const fs::filesystem_error& error) {
        throw ToolError(printable(fileName) +
                        ": can't be read: " + printable(error.code().message()));
    }
}

void writeWholeFile(const std::string& fileName, std::string_view content,
                    const std::function<void()>& lastCheck) {
    try {
        replace(behindLinks(fileName), content, lastCheck);
    } catch (const fs::filesystem_error& error) {
        throw ToolError(printable(fileName) +
                        ": can't be written: " + printable(error.code().message()));
    }
}

} // namespace fus::tool
