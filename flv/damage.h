// Damage in the structure of a file: its kinds, and a list of occurrences.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

namespace qbflv::flv {

/// Each comment ends with the meaning of Damage::amount.
enum class DamageKind : std::uint8_t {
  kGarbage,               ///< Bytes outside any tag. Amount: bytes.
  kTruncatedTag,          ///< The file ends inside a tag. Amount: bytes of the tag that are present.
  kTruncatedSizeField,    ///< The file ends before or inside the last previous-tag size. Amount: missing bytes.
  kWrongSizeField,        ///< The previous-tag size after a tag is wrong. Amount: the stored value.
  kEmbeddedHeader,        ///< A file header between tags, where recordings were concatenated. Amount: bytes.
  kEmptyTag,              ///< An audio or video tag without a body. Amount: 1.
  kUnknownTag,            ///< A tag that is neither audio, video nor script data. Amount: the tag type.
  kEncryptedTag,          ///< A tag with an encrypted body. Amount: the tag type.
  kBrokenScript,          ///< Metadata that cannot be decoded completely. Amount: size of the body.
  kTimeBack,              ///< Timestamps jump back. Amount: ms.
  kTimeLeap,              ///< Timestamps jump ahead. Amount: ms.
  kConfigurationChanged,  ///< A codec configuration differs from the previous one. Amount: size of the body.
  kMissingConfiguration,  ///< Frames precede the first codec configuration of their stream. Amount: 1.
  kHeaderOffset,          ///< The data offset in the file header leads to no tag. Amount: the data offset.
};
inline constexpr std::size_t kDamageKinds = 14;

struct Damage {
  DamageKind kind;
  /// Offset in the file, in bytes.
  std::uint64_t offset;
  /// Timestamp of the damaged tag, or of the last tag before the damage, in ms; 0 before the first tag.
  std::uint32_t time;
  std::uint64_t amount;
};

/// Counts all damage, and stores the first kMaxPlaces occurrences of each kind in the order in which they are found.
class DamageList {
 public:
  static constexpr std::uint64_t kMaxPlaces = 100;

  struct Total {
    std::uint64_t count = 0;
    /// Sum of the amounts.
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
