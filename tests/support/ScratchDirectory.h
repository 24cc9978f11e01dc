#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <system_error>
#include <vector>

namespace fus::test {

/// A directory of the test's own among the system's temporary ones, which goes with all that is in
/// it.
class ScratchDirectory {
public:
    ScratchDirectory() { std::filesystem::create_directories(m_path); }
    ~ScratchDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    ScratchDirectory(const ScratchDirectory&) = delete;
    ScratchDirectory& operator=(const ScratchDirectory&) = delete;

    std::string path() const { return m_path.string(); }
    std::string file(const std::string& name) const { return (m_path / name).string(); }

    /// Makes a file of these very bytes, and gives its path.
    std::string write(const std::string& name, const std::string& bytes) const {
        std::ofstream(file(name), std::ios::binary) << bytes;
        return file(name);
    }

    static std::string content(const std::string& file) {
        std::ifstream stream(file, std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), {}};
    }

    std::vector<std::string> names() const {
        std::vector<std::string> found;
        for (const auto& entry : std::filesystem::directory_iterator(m_path)) {
            found.push_back(entry.path().filename().string());
        }
        return found;
    }

private:
    const std::filesystem::path m_path = std::filesystem::temp_directory_path() /
                                         ("fus-test-" + std::to_string(std::random_device{}()) +
                                          "-" + std::to_string(std::random_device{}()));
};

} // namespace fus::test
