// What the end-to-end tests share: the samples, and a folder of their own for files that they make.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

namespace qbflv::e2e {

inline std::filesystem::path Sample(const std::string& name) { return std::filesystem::path(QBFLV_SAMPLES) / name; }

/// A folder that goes with the object.
class WorkFolder {
 public:
  WorkFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "qbflv-e2e-XXXXXX").string();
    m_path = mkdtemp(pattern.data()) != nullptr ? pattern : throw std::runtime_error("no folder " + pattern);
  }
  WorkFolder(const WorkFolder&) = delete;
  WorkFolder& operator=(const WorkFolder&) = delete;
  ~WorkFolder() { std::filesystem::remove_all(m_path); }

  std::filesystem::path operator/(const std::string& name) const { return m_path / name; }

  std::vector<std::string> Names() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(m_path)) names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
  }

 private:
  std::filesystem::path m_path;
};

/// Shows the first line that differs, instead of both listings.
inline testing::AssertionResult SameLines(const std::vector<std::string>& expected,
                                          const std::vector<std::string>& actual) {
  const auto [left, right] = std::mismatch(expected.begin(), expected.end(), actual.begin(), actual.end());
  if (left == expected.end() && right == actual.end()) return testing::AssertionSuccess();
  return testing::AssertionFailure() << "line " << left - expected.begin() + 1 << " should be "
                                     << (left == expected.end() ? "absent" : *left) << " and is "
                                     << (right == actual.end() ? "absent" : *right);
}

}  // namespace qbflv::e2e
