// Makes the host's property lists, buffers and text properties, from nothing but the host context.
#pragma once

#include <cstdint>

#include "plugin/shell/host_interfaces.h"
#include "plugin/util/com_ptr.h"

namespace qbflv {

// Each answers kFailed without what it needs, and otherwise the status of the last call it made on the host.

[[nodiscard]] Status CreatePropertyList(ComPtr<IQBPropertyList>& list, IUnknown* context);

[[nodiscard]] Status CreateBuffer(ComPtr<IQBBuffer>& buffer, IUnknown* context);

/// A new buffer with the text and its NUL. Only a success replaces what buffer held.
[[nodiscard]] Status CreateBufferFromString(ComPtr<IQBBuffer>& buffer, const char* text, IUnknown* context);

/// How SetStringProperty stores the text.
enum class StoreAs { kCString, kBuffer };

Status SetStringProperty(IQBPropertyList* list, const char* name, const char* text, IUnknown* context, StoreAs storeAs);

/// printf into size bytes. Answers the length of the text, or a negative number when it was cut; the last byte of the
/// destination is always NUL. Without destination, size or format: 0, and nothing is written.
[[gnu::format(printf, 3, 4)]] int SafeFormat(char* destination, std::uint32_t size, const char* format, ...);

}  // namespace qbflv
