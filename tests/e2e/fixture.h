// What the end-to-end tests share: the samples, a folder of their own, and the comparison of listings.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/temporary_folder.h"

namespace qbflv::e2e {

using test::ReadBytes;
using test::TemporaryFolder;

inline std::filesystem::path Sample(const std::string& name) { return std::filesystem::path(QBFLV_SAMPLES) / name; }

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
