// A folder for one test's files, gone after it.
#pragma once

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

namespace qbflv::test {

class TemporaryFolder {
 public:
  TemporaryFolder() {
    m_path = std::filesystem::temp_directory_path() / ("qbflv-test-" + std::to_string(std::random_device()()));
    if (!std::filesystem::create_directory(m_path)) throw std::runtime_error("cannot make " + m_path.string());
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
  }

  std::filesystem::path operator/(const std::string& name) const { return m_path / name; }
  const std::filesystem::path& Path() const { return m_path; }

  std::filesystem::path Write(const std::string& name, const std::string& content) const {
    std::ofstream file(m_path / name, std::ios::binary);
    file << content;
    if (!file.flush()) throw std::runtime_error("cannot write " + name);
    return m_path / name;
  }

  /// In alphabetical order.
  std::vector<std::string> Names() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(m_path)) {
      names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
  }

 private:
  std::filesystem::path m_path;
};

/// Throws if the file cannot be read.
inline std::string ReadBytes(const std::filesystem::path& path) {
  std::ifstream stream(path, std::ios::binary);
  if (!stream) throw std::runtime_error("cannot read " + path.string());
  return {std::istreambuf_iterator<char>(stream), {}};
}

}  // namespace qbflv::test
