// Creates property lists, buffers and text properties, given the host context.
#pragma once

#include <cstdint>

#include "plugin/shell/host_interfaces.h"
#include "plugin/util/com_ptr.h"

namespace qbflv {

// The functions return kFailed if an argument is null, else the status of their last call to the host.

[[nodiscard]] Status CreatePropertyList(ComPtr<IQBPropertyList>& list, IUnknown* context);

[[nodiscard]] Status CreateBuffer(ComPtr<IQBBuffer>& buffer, IUnknown* context);

/// Creates a buffer that holds the text and its NUL. buffer is unchanged on failure.
[[nodiscard]] Status CreateBufferFromString(ComPtr<IQBBuffer>& buffer, const char* text, IUnknown* context);

/// Whether SetStringProperty stores the text with SetCString or SetBuffer.
enum class StoreAs { kCString, kBuffer };

Status SetStringProperty(IQBPropertyList* list, const char* name, const char* text, IUnknown* context, StoreAs storeAs);

/// Like snprintf, but returns a negative number if the text was truncated, and sets the last byte of the destination to
/// NUL. Returns 0 and writes nothing if destination or format is null or size is 0.
[[gnu::format(printf, 3, 4)]] int SafeFormat(char* destination, std::uint32_t size, const char* format, ...);

}  // namespace qbflv
