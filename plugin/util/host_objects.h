// Creates host objects through the factory, and reads host buffers without trusting the values they report.
#pragma once

#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>

#include "plugin/shell/host_interfaces.h"
#include "plugin/util/com_ptr.h"
#include "plugin/util/text.h"

namespace qbflv {

/// Creates an empty host object. Returns the factory's status; kFailed without a factory, or if the factory succeeds
/// without an object. object is null on failure.
template <typename Interface>
[[nodiscard]] Status CreateObject(IQBObjectFactory* factory, ComPtr<Interface>& object) {
  object = nullptr;
  if (factory == nullptr) return kFailed;
  const Status status = factory->CreateInstance(Interface::kId, object.OutVoid());
  if (Succeeded(status)) return object ? status : kFailed;
  object = nullptr;
  return status;
}

/// Creates a buffer that holds the text and its NUL. REQUIRES: text[length] is the NUL. buffer is unchanged on failure.
[[nodiscard]] inline Status MakeTextBuffer(IQBObjectFactory* factory, const char* text, std::uint32_t length,
                                           ComPtr<IQBBuffer>& buffer) {
  ComPtr<IQBBuffer> filled;
  Status status = CreateObject(factory, filled);
  if (Failed(status)) return status;
  status = filled->Set(reinterpret_cast<const std::uint8_t*>(text), length + 1);
  if (Succeeded(status)) buffer = std::move(filled);
  return status;
}

[[nodiscard]] inline Status MakeTextBuffer(IQBObjectFactory* factory, const char* text, ComPtr<IQBBuffer>& buffer) {
  return MakeTextBuffer(factory, text, static_cast<std::uint32_t>(std::strlen(text)), buffer);
}

/// The buffer's bytes, valid until it is changed or released. Empty without a buffer, and for a buffer that returns no
/// bytes whatever its size: decoders then fail for lack of input. Only GetSize tells whether a read was short.
/// Always inline, because delivery calls it twice for every packet and compilers keep it out of line.
[[nodiscard, gnu::always_inline]] inline std::span<const std::uint8_t> BufferBytes(IQBBuffer* buffer) {
  if (buffer == nullptr) return {};
  const std::uint8_t* const bytes = buffer->GetBuffer();
  if (bytes == nullptr) return {};
  return {bytes, buffer->GetSize()};
}

/// The buffer's text up to its first NUL, or all of it if it has no NUL. Valid as long as BufferBytes.
[[nodiscard]] inline std::string_view BufferText(IQBBuffer* buffer) {
  const std::span<const std::uint8_t> bytes = BufferBytes(buffer);
  if (bytes.empty()) return {};
  const std::string_view whole(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  return Slice(whole, 0, whole.find('\0'));
}

}  // namespace qbflv
