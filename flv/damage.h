// What is wrong with a file's structure: kinds of damage, and where they were met.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

namespace qbflv::flv {

/// What `amount` counts stands behind each.
enum class DamageKind : std::uint8_t {
  kGarbage,               ///< Bytes that belong to no tag. Bytes.
  kTruncatedTag,          ///< The file ends inside a tag. Bytes of it that are there.
  kTruncatedSizeField,    ///< The file ends before or in the size of the last tag. Bytes that are missing.
  kWrongSizeField,        ///< A tag's size behind it is not its size. The size that stands there.
  kEmbeddedHeader,        ///< A file header between tags: recordings were joined as bytes. Bytes.
  kEmptyTag,              ///< An audio or video tag without a body. 1.
  kUnknownTag,            ///< A tag that is neither audio, video nor script data. Its type.
  kEncryptedTag,          ///< A tag whose body is encrypted. Its type.
  kBrokenScript,          ///< Metadata that cannot be decoded to its end. Bytes of the body.
  kTimeBack,              ///< The timestamps jump back. Ms.
  kTimeLeap,              ///< The timestamps leap ahead. Ms.
  kConfigurationChanged,  ///< A codec configuration that differs from the one before. Bytes.
  kMissingConfiguration,  ///< A frame that comes before its codec's configuration. 1, for the first of a stream.
  kHeaderOffset,          ///< The file header's data offset leads to no tag. The offset.
};
inline constexpr std::size_t kDamageKinds = 14;

struct Damage {
  DamageKind kind;
  /// In the file, in bytes.
  std::uint64_t offset;
  /// Of the tag met last, in ms; 0 before the first.
  std::uint32_t time;
  std::uint64_t amount;
};

/// Counts all damage, and keeps the first places of each kind, in the order of the file.
class DamageList {
 public:
  static constexpr std::uint64_t kMaxPlaces = 100;

  struct Total {
    std::uint64_t count = 0;
    /// The sum of the amounts.
    std::uint64_t amount = 0;
  };

  void Add(const Damage& damage) {
    Total& total = m_totals[static_cast<std::size_t>(damage.kind)];
    total.amount += damage.amount;
    if (++total.count <= kMaxPlaces) m_places.push_back(damage);
  }

  const Total& Of(DamageKind kind) const { return m_totals[static_cast<std::size_t>(kind)]; }
  const std::vector<Damage>& Places() const { return m_places; }

 private:
  std::array<Total, kDamageKinds> m_totals;
  std::vector<Damage> m_places;
};

}  // namespace qbflv::flv
