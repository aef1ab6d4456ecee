// Runs every target on the kept inputs, and on random inputs from an alphabet.
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
  /// The bytes of random inputs; empty for all bytes.
  std::string_view alphabet;
  /// The kept input whose file follows the random bytes; null for none.
  const char* file = nullptr;

  friend std::ostream& operator<<(std::ostream& stream, const Row& row) { return stream << row.name; }
};

Bytes ReadInput(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

fs::path InputFolder(const Row& row, const char* folder) { return fs::path(QBFLV_FUZZ_FOLDER) / folder / row.name; }

Bytes RandomInput(const Row& row, std::uint64_t seed) {
  std::mt19937_64 random(seed);
  Bytes input(row.size);
  for (std::uint8_t& byte : input) {
    const std::uint64_t number = random() >> 32U;
    byte = static_cast<std::uint8_t>(number);
    if (!row.alphabet.empty()) byte = static_cast<std::uint8_t>(row.alphabet[number % row.alphabet.size()]);
  }
  if (row.file == nullptr) return input;
  // The first two bytes are the size of the script; here the random bytes are the script.
  const std::size_t scriptSize = input.size() - 2;
  input[0] = static_cast<std::uint8_t>(scriptSize >> 8U);
  input[1] = static_cast<std::uint8_t>(scriptSize);
  const Bytes kept = ReadInput(InputFolder(row, "corpus") / row.file);
  const std::size_t file = 2 + (std::size_t{kept[0]} << 8U | kept[1]);
  input.insert(input.end(), kept.begin() + static_cast<std::ptrdiff_t>(file), kept.end());
  return input;
}

class FuzzTarget : public testing::TestWithParam<Row> {};

TEST_P(FuzzTarget, OnKeptInputs_RunsWell) {
  int count = 0;
  for (const char* const folder : {"corpus", "findings"}) {
    if (!fs::exists(InputFolder(GetParam(), folder))) continue;
    for (const auto& entry : fs::directory_iterator(InputFolder(GetParam(), folder))) {
      SCOPED_TRACE(entry.path());
      RunBounded(GetParam().target, ReadInput(entry.path()));
      ++count;
    }
  }
  EXPECT_GT(count, 0);
}

/// An input that fails ends the program. Run the test in a debugger to see its seed.
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
