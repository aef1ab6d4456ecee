// Every target on the inputs that are kept, and on random inputs of its own alphabet.
#include "fuzz/target.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <ostream>
#include <random>
#include <string>
#include <vector>

namespace qbflv::fuzz {
namespace {

namespace fs = std::filesystem;
using Bytes = std::vector<std::uint8_t>;

struct Row {
  const char* name;
  Target target;
  std::uint64_t randomInputs;
  std::size_t size;
  /// What random inputs are made of; empty for any bytes.
  std::string_view alphabet;
  /// Which of the kept inputs stands behind the random bytes, as the session's file.
  const char* file = nullptr;

  friend std::ostream& operator<<(std::ostream& stream, const Row& row) { return stream << row.name; }
};

Bytes ReadInput(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

fs::path Kept(const Row& row, const char* folder) { return fs::path(QBFLV_FUZZ_FOLDER) / folder / row.name; }

Bytes RandomInput(const Row& row, std::uint64_t seed) {
  std::mt19937_64 random(seed);
  Bytes input(row.size);
  for (std::uint8_t& byte : input) {
    const std::uint64_t number = random() >> 32U;
    byte = static_cast<std::uint8_t>(number);
    if (!row.alphabet.empty()) byte = static_cast<std::uint8_t>(row.alphabet[number % row.alphabet.size()]);
  }
  if (row.file == nullptr) return input;
  // The first two bytes tell the size of the script, which is random here.
  const std::size_t scriptSize = input.size() - 2;
  input[0] = static_cast<std::uint8_t>(scriptSize >> 8U);
  input[1] = static_cast<std::uint8_t>(scriptSize);
  const Bytes kept = ReadInput(Kept(row, "corpus") / row.file);
  const std::size_t file = 2 + (std::size_t{kept[0]} << 8U | kept[1]);
  input.insert(input.end(), kept.begin() + static_cast<std::ptrdiff_t>(file), kept.end());
  return input;
}

class FuzzTarget : public testing::TestWithParam<Row> {};

TEST_P(FuzzTarget, OnKeptInputs_RunsWell) {
  int count = 0;
  for (const char* const folder : {"corpus", "findings"}) {
    if (!fs::exists(Kept(GetParam(), folder))) continue;
    for (const auto& entry : fs::directory_iterator(Kept(GetParam(), folder))) {
      SCOPED_TRACE(entry.path());
      RunBounded(GetParam().target, ReadInput(entry.path()));
      ++count;
    }
  }
  EXPECT_GT(count, 0);
}

/// An input that breaks something ends the program; this is then the way to see its number.
TEST_P(FuzzTarget, OnRandomInputs_RunsWell) {
  for (std::uint64_t seed = 1; seed <= GetParam().randomInputs; ++seed) {
    RecordProperty("seed", std::to_string(seed));
    RunBounded(GetParam().target, RandomInput(GetParam(), seed));
  }
}

using namespace std::string_view_literals;

INSTANTIATE_TEST_SUITE_P(Targets, FuzzTarget,
                         testing::Values(Row{"amf", &TryAmf, 2000, 60, "\0\0\0\0\1\2\3\5\b\t\t\n\f\1ab\xFF"sv},
                                         Row{"url", &TryUrl, 2000, 40, "$$$:::..019 x-?&=%\"/#[]@httpfile"sv},
                                         Row{"structures", &TryStructures, 400, 400, ""},
                                         Row{"session", &TrySession, 300, 120, "", "small"},
                                         Row{"model", &TryModel, 400, 1200, ""},
                                         Row{"view", &TryView, 400, 300, "FLV\1\4\5\t\0\0\0\x08\x12\x17\x0B"sv}),
                         [](const auto& row) { return std::string(row.param.name); });

}  // namespace
}  // namespace qbflv::fuzz
