// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

namespace TEVRA::test {

/// A new empty folder that is removed with all it holds at the end of the scope.
class CTemporaryFolder {
  public:
    CTemporaryFolder() {
        std::string name = (std::filesystem::temp_directory_path() / "tevra-test-XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr) {
            throw std::runtime_error("cannot make a temporary folder");
        }
        m_path = name;
    }
    ~CTemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    CTemporaryFolder(const CTemporaryFolder&) = delete;
    CTemporaryFolder& operator=(const CTemporaryFolder&) = delete;

    const std::filesystem::path& Path() const noexcept { return m_path; }
    std::filesystem::path operator/(const std::string& name) const { return m_path / name; }
    /// Names of all entries, hidden ones included, in alphabetical order.
    std::vector<std::string> Entries() const { return EntriesOf(m_path); }

    static std::vector<std::string> EntriesOf(const std::filesystem::path& folder) {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(folder)) {
            names.push_back(entry.path().filename().string());
        }
        std::sort(names.begin(), names.end());
        return names;
    }

  private:
    std::filesystem::path m_path;
};

/// The bytes of a file. @throws std::runtime_error if it cannot be read.
inline std::string ReadFile(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        throw std::runtime_error("cannot read " + path.string());
    }
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

/// Makes a file of these bytes. @throws std::runtime_error if it cannot be written.
inline void WriteFile(const std::filesystem::path& path, const std::string& bytes) {
    std::ofstream file(path, std::ios::binary);
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    if (!file.flush()) {
        throw std::runtime_error("cannot write " + path.string());
    }
}

} // namespace TEVRA::test
