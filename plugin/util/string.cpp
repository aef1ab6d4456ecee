#include "plugin/util/string.h"

#include <algorithm>
#include <charconv>
#include <cstring>

#include "plugin/platform/platform.h"
#include "plugin/util/text.h"

namespace qbflv {

namespace {

/// Positions are signed 32-bit, and the NUL takes one byte.
constexpr std::uint32_t kMaxLength = 0x7FFFFFFE;

ComPtr<StringBuffer> MakeStringBuffer(std::uint32_t capacity) {
  auto buffer = ComPtr<StringBuffer>::Retain(MakeOwned<StringBuffer>().release());
  if (!buffer) return nullptr;
  buffer->m_pCharacters = MakeArray<char>(capacity);
  if (!buffer->m_pCharacters) return nullptr;
  buffer->m_ulCapacity = capacity;
  return buffer;
}

}  // namespace

void StringBuffer::AddRef() { platform::AtomicIncrement(m_lRefCount); }

void StringBuffer::Release() {
  if (platform::AtomicDecrement(m_lRefCount) == 0) std::unique_ptr<StringBuffer>(this).reset();
}

bool StringBuffer::IsShared() const { return platform::AtomicLoad(m_lRefCount) > 1; }

std::uint32_t CQBString::DoubleCapacity(std::uint32_t capacity, std::uint32_t needed) {
  constexpr std::uint32_t kSmallest = 16;
  std::uint64_t grown = std::max(capacity, kSmallest);
  while (grown < needed) grown *= 2;
  return grown > UINT32_MAX ? needed : static_cast<std::uint32_t>(grown);
}

CQBString::CQBString(std::string_view text, GrowthRule growthRule) : m_pGrowthRule(growthRule) {
  if (!Assign(text)) m_pBuffer = nullptr;
}

bool CQBString::Assign(std::string_view text) {
  if (text.empty()) {
    m_pBuffer = nullptr;
    return true;
  }
  ComPtr<StringBuffer> previous;
  if (text.size() > kMaxLength || !PrepareBuffer(static_cast<std::uint32_t>(text.size()), previous)) return false;
  std::memmove(m_pBuffer->m_pCharacters.get(), text.data(), text.size());
  SetLength(static_cast<std::uint32_t>(text.size()));
  return true;
}

bool CQBString::Append(std::string_view text) {
  if (text.empty()) return true;
  const std::uint32_t oldLength = GetLength();
  if (text.size() > kMaxLength - oldLength) return false;
  const std::uint32_t length = oldLength + static_cast<std::uint32_t>(text.size());
  ComPtr<StringBuffer> previous;
  if (!PrepareBuffer(length, previous)) return false;
  std::memmove(m_pBuffer->m_pCharacters.get() + oldLength, text.data(), text.size());
  SetLength(length);
  return true;
}

bool CQBString::AppendNumber(std::int32_t number) {
  char digits[12];
  const auto [end, error] = std::to_chars(std::begin(digits), std::end(digits), number);
  return Append(std::string_view(digits, static_cast<std::size_t>(end - digits)));
}

bool CQBString::Reserve(std::uint32_t length) {
  ComPtr<StringBuffer> previous;
  return length <= kMaxLength && PrepareBuffer(length, previous);
}

bool CQBString::TrimLeft() { return Assign(qbflv::TrimLeft(GetView())); }

bool CQBString::TrimRight() { return Assign(qbflv::TrimRight(GetView())); }

bool CQBString::MakeLower() {
  if (IsEmpty()) return true;
  if (!Reserve(GetLength())) return false;
  char* const characters = m_pBuffer->m_pCharacters.get();
  std::transform(characters, characters + GetLength(), characters, ToLower);
  return true;
}

std::int32_t CQBString::Find(char character) const {
  const std::size_t position = GetView().find(character);
  return position == std::string_view::npos ? -1 : static_cast<std::int32_t>(position);
}

std::int32_t CQBString::FindLast(char character) const {
  const std::size_t position = GetView().rfind(character);
  return position == std::string_view::npos ? -1 : static_cast<std::int32_t>(position);
}

std::string_view CQBString::Left(std::uint32_t count) const { return Middle(0, count); }

std::string_view CQBString::Right(std::uint32_t count) const {
  return From(GetLength() - std::min(count, GetLength()));
}

std::string_view CQBString::Middle(std::uint32_t first, std::uint32_t count) const {
  return Slice(GetView(), first, count);
}

std::string_view CQBString::From(std::uint32_t first) const { return Middle(first, GetLength()); }

std::uint32_t CQBString::CountFields(char separator) const {
  if (IsEmpty()) return 0;
  return static_cast<std::uint32_t>(std::ranges::count(GetView(), separator)) + 1;
}

std::string_view CQBString::GetField(std::uint32_t number, char separator) const {
  if (number == 0) return {};
  std::string_view rest = GetView();
  for (std::uint32_t i = 1; i < number; ++i) {
    const std::size_t end = rest.find(separator);
    if (end == std::string_view::npos) return {};
    rest.remove_prefix(end + 1);
  }
  return Slice(rest, 0, rest.find(separator));
}

bool CQBString::PrepareBuffer(std::uint32_t length, ComPtr<StringBuffer>& previous) {
  const std::uint32_t needed = std::max(length, GetLength()) + 1;
  const std::uint32_t capacity = m_pBuffer ? m_pBuffer->m_ulCapacity : 0;
  const bool isLargeEnough = capacity >= needed;
  if (isLargeEnough && !m_pBuffer->IsShared()) return true;

  const std::uint32_t grown = isLargeEnough ? capacity : std::max(needed, m_pGrowthRule(capacity, needed));
  ComPtr<StringBuffer> unshared = MakeStringBuffer(grown);
  if (!unshared) return false;
  std::memcpy(unshared->m_pCharacters.get(), GetText(), GetLength());
  unshared->m_ulLength = GetLength();
  previous = std::move(m_pBuffer);
  m_pBuffer = std::move(unshared);
  return true;
}

void CQBString::SetLength(std::uint32_t length) {
  m_pBuffer->m_ulLength = length;
  m_pBuffer->m_pCharacters[length] = '\0';
}

}  // namespace qbflv
