#include "plugin/meta/amf_value.h"

#include <algorithm>
#include <cstring>

namespace qbflv {

void AMFValue::Clear() {
  m_pszString = nullptr;
  m_pNames = nullptr;
  m_pValues = nullptr;
  m_ucType = kAMFNumber;
  m_dNumber = 0.0;
  m_bBoolean = 0;
  m_ulNameCount = 0;
  m_ulValueCount = 0;
  m_ulNamesMade = 0;
  m_ulValuesMade = 0;
}

std::uint32_t AMFValue::GetNamedCount() const {
  return m_pNames == nullptr ? 0 : std::min(m_ulNameCount, m_ulNamesMade);
}

const char* AMFValue::GetName(std::uint32_t index) const {
  if (index >= GetNamedCount()) return nullptr;
  const AMFValue& name = m_pNames[index];
  return name.m_ucType == kAMFString ? name.m_pszString.get() : nullptr;
}

const AMFValue* AMFValue::GetValue(std::uint32_t index) const {
  if (m_pValues == nullptr || index >= m_ulValueCount || index >= m_ulValuesMade) return nullptr;
  return &m_pValues[index];
}

std::uint8_t AMFValue::GetValueType(std::uint32_t index) const {
  if (m_pValues == nullptr || index >= m_ulValueCount) return kAMFNoValue;
  return index < m_ulValuesMade ? m_pValues[index].m_ucType : std::uint8_t{kAMFNumber};
}

double AMFValue::GetValueNumber(std::uint32_t index) const {
  const AMFValue* const value = GetValue(index);
  return value == nullptr ? 0.0 : value->m_dNumber;
}

Status AMFValue::FindProperty(const char* name, const AMFValue** value) const {
  if (name == nullptr || value == nullptr) return kFailed;
  if (m_ucType != kAMFObject && m_ucType != kAMFMixedArray) return kFailed;
  if (m_ulNameCount != m_ulValueCount || m_pNames == nullptr || m_pValues == nullptr) return kFailed;
  for (std::uint32_t i = 0; i < GetNamedCount(); ++i) {
    const char* const entryName = GetName(i);
    if (entryName == nullptr || std::strcmp(entryName, name) != 0) continue;
    *value = GetValue(i);
    return kOk;
  }
  return kFailed;
}

Status AMFValue::FindNumber(const char* name, double* number) const {
  const AMFValue* value = nullptr;
  if (number == nullptr || Failed(FindProperty(name, &value)) || value->m_ucType != kAMFNumber) return kFailed;
  *number = value->m_dNumber;
  return kOk;
}

}  // namespace qbflv
