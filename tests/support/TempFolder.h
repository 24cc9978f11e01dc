#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <system_error>

namespace fus::test {

/// A folder of its own among the system's temporary ones, removed with all that is in it.
class TempFolder {
public:
    TempFolder() { std::filesystem::create_directory(m_path); }
    ~TempFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    /// Of something in it, or of the folder itself.
    std::string path(const std::string& name = {}) const {
        return name.empty() ? m_path.string() : (m_path / name).string();
    }

    /// Makes a file of these very bytes, and gives its path.
    std::string write(const std::string& name, const std::string& bytes) const {
        std::ofstream(path(name), std::ios::binary) << bytes;
        return path(name);
    }

    static std::string read(const std::string& path) {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

private:
    const std::filesystem::path m_path = std::filesystem::temp_directory_path() /
                                         ("fus-test-" + std::to_string(std::random_device{}()) +
                                          std::to_string(std::random_device{}()));
};

} // namespace fus::test
