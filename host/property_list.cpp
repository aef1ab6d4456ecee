// The host's list of named values, in the order in which they were first set.
#include "host/property_list.h"

#include "host/buffer.h"

namespace qbflv::host {

namespace {

std::string LowerCase(std::string_view name) {
  std::string lower(name);
  for (char& letter : lower) {
    if (letter >= 'A' && letter <= 'Z') letter = static_cast<char>(letter - 'A' + 'a');
  }
  return lower;
}

}  // namespace

Status PropertyList::SetULONG32(const char* name, std::uint32_t value) {
  return Store(name, Property::Kind::kNumber, value, nullptr);
}

Status PropertyList::GetULONG32(const char* name, std::uint32_t* value) {
  if (name == nullptr || value == nullptr) return kInvalidArgument;
  return WithoutThrowing([&] {
    const Property* const property = Find(name);
    if (property == nullptr || property->kind != Property::Kind::kNumber) return kFailed;
    *value = property->number;
    return kOk;
  });
}

Status PropertyList::SetBuffer(const char* name, IQBBuffer* value) {
  if (value == nullptr) return kInvalidArgument;
  return Store(name, Property::Kind::kBytes, 0, value);
}

Status PropertyList::GetBuffer(const char* name, IQBBuffer** value) {
  return GetObject(name, Property::Kind::kBytes, value);
}

Status PropertyList::SetCString(const char* name, IQBBuffer* value) {
  if (value == nullptr) return kInvalidArgument;
  return Store(name, Property::Kind::kText, 0, value);
}

Status PropertyList::GetCString(const char* name, IQBBuffer** value) {
  return GetObject(name, Property::Kind::kText, value);
}

Status PropertyList::SetText(const char* name, std::string_view text) {
  return WithoutThrowing([&] { return SetCString(name, MakeTextBuffer(text).Get()); });
}

const Property* PropertyList::Find(const char* name) const {
  const auto position = m_positions.find(LowerCase(name));
  return position == m_positions.end() ? nullptr : &m_properties[position->second];
}

void* PropertyList::FindInterface(const GUID& id) {
  if (id == kId) return this;
  return ComObject::FindInterface(id);
}

Status PropertyList::Store(const char* name, Property::Kind kind, std::uint32_t number, IQBBuffer* buffer) {
  if (name == nullptr) return kInvalidArgument;
  return WithoutThrowing([&] {
    std::string key = LowerCase(name);
    const auto known = m_positions.find(key);
    if (known != m_positions.end()) {
      Property& property = m_properties[known->second];
      property.kind = kind;
      property.number = number;
      property.buffer = ComPtr<IQBBuffer>::Retain(buffer);
      return kOk;
    }
    m_properties.push_back({name, kind, number, ComPtr<IQBBuffer>::Retain(buffer)});
    try {
      m_positions.emplace(std::move(key), m_properties.size() - 1);
    } catch (...) {
      m_properties.pop_back();  // a failure leaves the list unchanged
      throw;
    }
    return kOk;
  });
}

Status PropertyList::GetObject(const char* name, Property::Kind kind, IQBBuffer** value) const {
  if (value == nullptr) return kInvalidArgument;
  *value = nullptr;
  if (name == nullptr) return kInvalidArgument;
  return WithoutThrowing([&] {
    const Property* const property = Find(name);
    if (property == nullptr || property->kind != kind) return kFailed;
    *value = ComPtr<IQBBuffer>(property->buffer).Detach();
    return kOk;
  });
}

}  // namespace qbflv::host
