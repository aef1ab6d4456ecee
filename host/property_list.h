// The host's list of named values, in the order in which they were first set.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "host/com_object.h"

namespace qbflv::host {

struct Property {
  enum class Kind { kNumber, kBytes, kText };

  std::string name;
  Kind kind = Kind::kNumber;
  std::uint32_t number = 0;
  /// The value of kBytes and kText.
  ComPtr<IQBBuffer> buffer;
};

/// Names are case-insensitive for ASCII letters, like request headers. Keeps the first spelling of a name.
class PropertyList final : public ComObject<IQBPropertyList> {
 public:
  /// Identifies the class itself. The host queries it to get from an interface pointer to this class.
  static constexpr GUID kId{0x8F5A1E04, 0x6C3B, 0x4D27, {0x9A, 0x51, 0x30, 0xD2, 0x7E, 0x44, 0x1B, 0xC6}};

  Status SetULONG32(const char* name, std::uint32_t value) override;
  Status GetULONG32(const char* name, std::uint32_t* value) override;
  Status SetBuffer(const char* name, IQBBuffer* value) override;
  Status GetBuffer(const char* name, IQBBuffer** value) override;
  Status SetCString(const char* name, IQBBuffer* value) override;
  Status GetCString(const char* name, IQBBuffer** value) override;

  Status SetText(const char* name, std::string_view text);

  const std::vector<Property>& Properties() const { return m_properties; }
  /// Returns the property of that name, or null. The pointer is valid until the list changes.
  const Property* Find(const char* name) const;

 protected:
  void* FindInterface(const GUID& id) override;

 private:
  Status Store(const char* name, Property::Kind kind, std::uint32_t number, IQBBuffer* buffer);
  Status GetObject(const char* name, Property::Kind kind, IQBBuffer** value) const;

  std::vector<Property> m_properties;
  /// Maps lower-case names to positions in m_properties. A URL may contain thousands of options.
  std::unordered_map<std::string, std::size_t> m_positions;
};

}  // namespace qbflv::host
