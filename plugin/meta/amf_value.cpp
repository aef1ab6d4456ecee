#include "plugin/meta/amf_value.h"

#include <cstring>

namespace qbflv {

namespace {

/// Stands for entries that were declared and never made.
constinit const AMFValue kEmptyValue;

}  // namespace

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

const char* AMFValue::GetName(std::uint32_t index) const {
  if (m_pNames == nullptr || index >= m_ulNameCount || index >= m_ulNamesMade) return nullptr;
  const AMFValue& name = m_pNames[index];
  return name.m_ucType == kAMFString ? name.m_pszString.get() : nullptr;
}

const AMFValue* AMFValue::GetValue(std::uint32_t index) const {
  if (m_pValues == nullptr || index >= m_ulValueCount) return nullptr;
  return index < m_ulValuesMade ? &m_pValues[index] : &kEmptyValue;
}

std::uint8_t AMFValue::GetValueType(std::uint32_t index) const {
  const AMFValue* const value = GetValue(index);
  return value == nullptr ? std::uint8_t{kAMFNoValue} : value->m_ucType;
}

double AMFValue::GetValueNumber(std::uint32_t index) const {
  const AMFValue* const value = GetValue(index);
  return value == nullptr ? 0.0 : value->m_dNumber;
}

Status AMFValue::FindProperty(const char* name, const AMFValue** value) const {
  if (name == nullptr || value == nullptr) return kFailed;
  if (m_ucType != kAMFObject && m_ucType != kAMFMixedArray) return kFailed;
  if (m_ulNameCount != m_ulValueCount || m_pNames == nullptr || m_pValues == nullptr) return kFailed;
  // No entry beyond those made has a name.
  for (std::uint32_t i = 0; i < m_ulNameCount && i < m_ulNamesMade; ++i) {
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
