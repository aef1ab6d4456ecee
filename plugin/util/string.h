// A text that its copies share until one of them is changed.
#pragma once

#include <cstdint>
#include <string_view>

#include "plugin/util/com_ptr.h"
#include "plugin/util/owned.h"

namespace qbflv {

/// The characters that strings share. Made and held by CQBString alone; it ends in its last Release.
struct StringBuffer {
  void AddRef();
  void Release();
  [[nodiscard]] bool IsShared() const;

  std::int32_t m_lRefCount = 0;
  std::uint32_t m_ulLength = 0;
  /// Bytes at m_pCharacters, with room for the NUL.
  std::uint32_t m_ulCapacity = 0;
  /// Always NUL-terminated.
  OwnedArray<char> m_pCharacters;
};

/// What can fail for want of memory answers false and leaves the text as it was. Texts handed in may be parts of the
/// string itself. Views handed out are valid until the string is changed or gone.
class CQBString {
 public:
  /// The new capacity in bytes, from the current one (0 for the empty string) and the one needed. A smaller answer than
  /// needed is not followed.
  using GrowthRule = std::uint32_t (*)(std::uint32_t capacity, std::uint32_t needed);

  /// Doubles the capacity until it reaches what is needed.
  static std::uint32_t DoubleCapacity(std::uint32_t capacity, std::uint32_t needed);

  CQBString() = default;
  /// Empty when the memory cannot be had; use Assign where that matters.
  explicit CQBString(std::string_view text, GrowthRule growthRule = DoubleCapacity);

  [[nodiscard]] bool Assign(std::string_view text);
  [[nodiscard]] bool Append(std::string_view text);
  [[nodiscard]] bool Append(const CQBString& text) { return Append(text.GetView()); }
  [[nodiscard]] bool Append(char character) { return Append(std::string_view(&character, 1)); }
  [[nodiscard]] bool AppendNumber(std::int32_t number);
  /// Makes room for a text of that many characters, in a buffer that no other string sees.
  [[nodiscard]] bool Reserve(std::uint32_t length);
  [[nodiscard]] bool TrimLeft();
  [[nodiscard]] bool TrimRight();
  [[nodiscard]] bool MakeLower();

  [[nodiscard]] std::uint32_t GetLength() const { return m_pBuffer ? m_pBuffer->m_ulLength : 0; }
  [[nodiscard]] bool IsEmpty() const { return GetLength() == 0; }
  /// NUL-terminated; never null.
  [[nodiscard]] const char* GetText() const { return m_pBuffer ? m_pBuffer->m_pCharacters.get() : ""; }
  [[nodiscard]] std::string_view GetView() const { return {GetText(), GetLength()}; }

  /// Index of the first or last occurrence, or -1.
  [[nodiscard]] std::int32_t Find(char character) const;
  [[nodiscard]] std::int32_t FindLast(char character) const;

  // Parts of the text, each clipped to its length.

  [[nodiscard]] std::string_view Left(std::uint32_t count) const;
  [[nodiscard]] std::string_view Right(std::uint32_t count) const;
  [[nodiscard]] std::string_view Middle(std::uint32_t first, std::uint32_t count) const;
  [[nodiscard]] std::string_view From(std::uint32_t first) const;

  /// One more than there are separators; 0 for the empty string.
  [[nodiscard]] std::uint32_t CountFields(char separator) const;
  /// The field of that number, counted from 1; empty when there is none. Walks the text from its start.
  [[nodiscard]] std::string_view GetField(std::uint32_t number, char separator) const;

 private:
  /// As Reserve; a buffer that is replaced stays alive in previous, for what still reads from it.
  [[nodiscard]] bool MakeRoom(std::uint32_t length, ComPtr<StringBuffer>& previous);
  /// The buffer has room, and no other string sees it.
  void SetLength(std::uint32_t length);

  /// Null for the empty string.
  ComPtr<StringBuffer> m_pBuffer;
  GrowthRule m_pGrowthRule = DoubleCapacity;
};

}  // namespace qbflv
