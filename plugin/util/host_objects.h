// Makes host objects through the factory, and reads host buffers without trusting what they say of themselves.
#pragma once

#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>

#include "plugin/shell/host_interfaces.h"
#include "plugin/util/com_ptr.h"
#include "plugin/util/text.h"

namespace qbflv {

/// A new, empty host object. kFailed without a factory, or when the host claims success but hands nothing out; object
/// is null on every failure.
template <typename Interface>
[[nodiscard]] Status CreateObject(IQBObjectFactory* factory, ComPtr<Interface>& object) {
  object = nullptr;
  if (factory == nullptr) return kFailed;
  ComPtr<Interface> made;
  const Status status = factory->CreateInstance(Interface::kId, made.OutVoid());
  if (Failed(status)) return status;
  if (!made) return kFailed;
  object = std::move(made);
  return status;
}

/// A new buffer with the text of that length and its NUL, which must stand at text[length]. buffer is null on failure.
[[nodiscard]] inline Status MakeTextBuffer(IQBObjectFactory* factory, const char* text, std::uint32_t length,
                                           ComPtr<IQBBuffer>& buffer) {
  buffer = nullptr;
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

/// The buffer's bytes, valid until it is changed or released. None for no buffer, no bytes or size 0.
[[nodiscard]] inline std::span<const std::uint8_t> BufferBytes(IQBBuffer* buffer) {
  if (buffer == nullptr) return {};
  const std::uint8_t* const bytes = buffer->GetBuffer();
  if (bytes == nullptr) return {};
  return {bytes, buffer->GetSize()};
}

/// The buffer's text up to its first NUL, or all of it when the host forgot the NUL. Valid as BufferBytes.
[[nodiscard]] inline std::string_view BufferText(IQBBuffer* buffer) {
  const std::span<const std::uint8_t> bytes = BufferBytes(buffer);
  if (bytes.empty()) return {};
  const std::string_view whole(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  return Slice(whole, 0, whole.find('\0'));
}

}  // namespace qbflv
