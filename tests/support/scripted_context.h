// Host objects whose refusals the test chooses: factory, preferences and request.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/object_factory.h"
#include "host/preferences.h"
#include "host/property_list.h"

namespace qbflv::test {

class ScriptedFactory final : public host::ComObject<IQBObjectFactory> {
 public:
  /// From now on the object of that class with that number, counted from 1, is refused with the status.
  void Refuse(const GUID& classId, int number, Status status) {
    m_refusedClass = classId;
    m_untilRefusal = number;
    m_refusal = status;
  }

  /// Packets are made with an RTP time from now on.
  void MakeRtpPackets() { m_makesRtpPackets = true; }

  /// Holds every object that is made from now on, so that a test can count the references that are left.
  void KeepObjects() { m_keepsObjects = true; }
  const std::vector<ComPtr<IUnknown>>& Objects() const { return m_objects; }

  Status CreateInstance(const GUID& classId, void** object) override {
    if (classId == m_refusedClass && m_untilRefusal > 0 && --m_untilRefusal == 0) {
      *object = nullptr;
      return m_refusal;
    }
    if (m_makesRtpPackets && classId == IQBPacket::kId) {
      // As every interface here is its object's first, the RTP packet is a packet too.
      return m_factory->CreateInstance(IQBRTPPacket::kId, object);
    }
    const Status status = m_factory->CreateInstance(classId, object);
    if (m_keepsObjects && Succeeded(status)) {
      m_objects.push_back(ComPtr<IUnknown>::Retain(static_cast<IUnknown*>(*object)));
    }
    return status;
  }

 private:
  ComPtr<host::ObjectFactory> m_factory = host::MakeObject<host::ObjectFactory>();
  GUID m_refusedClass{};
  int m_untilRefusal = 0;
  Status m_refusal = kOk;
  bool m_makesRtpPackets = false;
  bool m_keepsObjects = false;
  std::vector<ComPtr<IUnknown>> m_objects;
};

class ScriptedPreferences final : public host::ComObject<IQBPreferences> {
 public:
  host::Preferences& Values() { return *m_values; }
  /// What ReadPref answers for a preference that is set.
  void AnswerWith(Status status) { m_status = status; }

  Status ReadPref(const char* name, IQBBuffer** value) override {
    const Status status = m_values->ReadPref(name, value);
    return status == kOk ? m_status : status;
  }

 private:
  ComPtr<host::Preferences> m_values = host::MakeObject<host::Preferences>();
  Status m_status = kOk;
};

class ScriptedRequest final : public host::ComObject<IQBRequest> {
 public:
  explicit ScriptedRequest(std::string url) : m_url(std::move(url)) {}

  host::PropertyList& Headers() { return *m_headers; }
  /// What the getters answer; with a failure, or without a value, they hand out null.
  Status headersStatus = kOk;
  bool hasHeaders = true;
  Status urlStatus = kOk;
  bool hasUrl = true;

  Status GetHeaders(IQBPropertyList** headers) override {
    *headers = nullptr;
    if (Succeeded(headersStatus) && hasHeaders) *headers = ComPtr<host::PropertyList>(m_headers).Detach();
    return headersStatus;
  }

  Status GetURL(const char** url) override {
    *url = Succeeded(urlStatus) && hasUrl ? m_url.c_str() : nullptr;
    return urlStatus;
  }

 private:
  std::string m_url;
  ComPtr<host::PropertyList> m_headers = host::MakeObject<host::PropertyList>();
};

}  // namespace qbflv::test
