#include "tests/unit/byte_text.h"

#include <bit>
#include <sstream>
#include <string>

namespace qbflv {

namespace {

void AppendBigEndian(std::vector<std::uint8_t>& bytes, std::uint64_t value, int count) {
  for (int shift = 8 * (count - 1); shift >= 0; shift -= 8) bytes.push_back(static_cast<std::uint8_t>(value >> shift));
}

}  // namespace

std::vector<std::uint8_t> BytesOf(std::string_view text) {
  std::vector<std::uint8_t> bytes;
  std::istringstream words{std::string(text)};
  for (std::string word; words >> word;) {
    if (word[0] == '=') {
      AppendBigEndian(bytes, word.size() - 1, 2);
      bytes.insert(bytes.end(), word.begin() + 1, word.end());
    } else if (word[0] == '#') {
      AppendBigEndian(bytes, std::bit_cast<std::uint64_t>(std::stod(word.substr(1))), 8);
    } else {
      for (std::size_t i = 0; i + 1 < word.size(); i += 2) {
        bytes.push_back(static_cast<std::uint8_t>(std::stoul(word.substr(i, 2), nullptr, 16)));
      }
    }
  }
  return bytes;
}

}  // namespace qbflv
