// A string whose copies share one buffer until one of them is changed.
#pragma once

#include <cstdint>
#include <string_view>

#include "plugin/util/com_ptr.h"
#include "plugin/util/owned.h"

namespace qbflv {

/// The buffer that strings share. The last Release destroys it.
struct StringBuffer {
  void AddRef();
  void Release();
  [[nodiscard]] bool IsShared() const;

  std::int32_t m_lRefCount = 0;
  std::uint32_t m_ulLength = 0;
  /// Bytes allocated at m_pCharacters, including the NUL.
  std::uint32_t m_ulCapacity = 0;
  /// Always NUL-terminated.
  OwnedArray<char> m_pCharacters;
};

/// Functions that allocate return false on allocation failure and leave the string unchanged. Their arguments may be
/// parts of the string itself. Returned views are valid until the string is changed or destroyed.
class CQBString {
 public:
  /// Returns the new capacity in bytes for the current one (0 for the empty string) and the needed one. The string
  /// takes at least the needed capacity.
  using GrowthRule = std::uint32_t (*)(std::uint32_t capacity, std::uint32_t needed);

  /// The default growth rule: doubles the capacity until it reaches the needed one.
  static std::uint32_t DoubleCapacity(std::uint32_t capacity, std::uint32_t needed);

  CQBString() = default;
  /// Leaves the string empty on allocation failure; Assign reports the failure.
  explicit CQBString(std::string_view text, GrowthRule growthRule = DoubleCapacity);

  [[nodiscard]] bool Assign(std::string_view text);
  [[nodiscard]] bool Append(std::string_view text);
  [[nodiscard]] bool Append(const CQBString& text) { return Append(text.GetView()); }
  [[nodiscard]] bool Append(char character) { return Append(std::string_view(&character, 1)); }
  [[nodiscard]] bool AppendNumber(std::int32_t number);
  /// Ensures an unshared buffer for a text of that many characters; keeps the text.
  [[nodiscard]] bool Reserve(std::uint32_t length);
  [[nodiscard]] bool TrimLeft();
  [[nodiscard]] bool TrimRight();
  [[nodiscard]] bool MakeLower();

  [[nodiscard]] std::uint32_t GetLength() const { return m_pBuffer ? m_pBuffer->m_ulLength : 0; }
  [[nodiscard]] bool IsEmpty() const { return GetLength() == 0; }
  /// NUL-terminated; never null.
  [[nodiscard]] const char* GetText() const { return m_pBuffer ? m_pBuffer->m_pCharacters.get() : ""; }
  [[nodiscard]] std::string_view GetView() const { return {GetText(), GetLength()}; }

  /// Return the index of the first or last occurrence, or -1.
  [[nodiscard]] std::int32_t Find(char character) const;
  [[nodiscard]] std::int32_t FindLast(char character) const;

  // Parts of the text, each clipped to its length.

  [[nodiscard]] std::string_view Left(std::uint32_t count) const;
  [[nodiscard]] std::string_view Right(std::uint32_t count) const;
  [[nodiscard]] std::string_view Middle(std::uint32_t first, std::uint32_t count) const;
  [[nodiscard]] std::string_view From(std::uint32_t first) const;

  /// Returns one more than the number of separators; 0 for the empty string.
  [[nodiscard]] std::uint32_t CountFields(char separator) const;
  /// Returns the field with that number, counted from 1, or an empty view. Searches from the start of the text.
  [[nodiscard]] std::string_view GetField(std::uint32_t number, char separator) const;

 private:
  /// Like Reserve. Moves a replaced buffer to previous, because the caller's argument may point into it.
  [[nodiscard]] bool PrepareBuffer(std::uint32_t length, ComPtr<StringBuffer>& previous);
  /// REQUIRES: the buffer is unshared and large enough.
  void SetLength(std::uint32_t length);

  /// Null for the empty string.
  ComPtr<StringBuffer> m_pBuffer;
  GrowthRule m_pGrowthRule = DoubleCapacity;
};

}  // namespace qbflv
