// A folder for one test's files, gone after it.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace qbflv {

class TemporaryFolder {
 public:
  TemporaryFolder() : m_path(Make()) {}
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
  }

  std::filesystem::path operator/(const std::string& name) const { return m_path / name; }
  const std::filesystem::path& Path() const { return m_path; }

  std::filesystem::path Write(const std::string& name, const std::string& content) const {
    std::ofstream(m_path / name, std::ios::binary) << content;
    return m_path / name;
  }

  std::string Read(const std::string& name) const {
    std::ifstream file(m_path / name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  /// How many files there are.
  std::ptrdiff_t Count() const { return std::distance(std::filesystem::directory_iterator(m_path), {}); }

 private:
  static std::filesystem::path Make() {
    std::string pattern = std::filesystem::temp_directory_path() / "qbflv-test-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) std::abort();
    return pattern;
  }

  std::filesystem::path m_path;
};

}  // namespace qbflv
