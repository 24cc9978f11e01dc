#include "WholeFile.h"

#include "Errors.h"
#include "Text.h"

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <random>
#include <system_error>

namespace fus::tool {

namespace {

namespace fs = std::filesystem;

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

    void write(const std::string& content);
    void renameTo(const fs::path& target);
    const fs::path& path() const { return m_path; }

private:
    fs::path m_path;
    bool m_renamed = false;
};

[[noreturn]] void fail(const std::error_code& error) {
    throw fs::filesystem_error("", error);
}

void Draft::write(const std::string& content) {
    errno = 0;
    std::ofstream file(m_path, std::ios::binary);
    file.write(content.data(), static_cast<std::streamsize>(content.size()));
    file.close(); // a full disk may show here only
    if (!file) {
        fail({errno != 0 ? errno : EIO, std::generic_category()});
    }
}

void Draft::renameTo(const fs::path& target) {
    fs::rename(m_path, target);
    m_renamed = true;
}

/// Where the file really is, behind links. One that doesn't exist yet stays as it is.
fs::path behindLinks(const fs::path& target) {
    return fs::is_symlink(target) ? fs::weakly_canonical(target) : target;
}

void replace(const fs::path& target, const std::string& content) {
    const fs::file_status old = fs::status(target);
    if (fs::exists(old) && !fs::is_regular_file(old)) {
        fail(std::make_error_code(std::errc::operation_not_supported));
    }
    // A rename would go over it all the same.
    if (fs::exists(old) && (old.permissions() & fs::perms::owner_write) == fs::perms::none) {
        fail(std::make_error_code(std::errc::permission_denied));
    }
    Draft draft(target);
    draft.write(content);
    if (fs::exists(old)) {
        fs::permissions(draft.path(), old.permissions());
    }
    draft.renameTo(target);
}

} // namespace

void writeWholeFile(const std::string& fileName, const std::string& content) {
    try {
        replace(behindLinks(fileName), content);
    } catch (const fs::filesystem_error& error) {
        throw ToolError(printable(fileName) +
                        ": can't be written: " + printable(error.code().message()));
    }
}

} // namespace fus::tool
