// The base class of the wrappers of the plug-in's objects, for the host. A wrapper stays in memory after its last
// Release, so that the layer can report later calls instead of crashing.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "watch/session.h"

namespace qbflv::watch {

class ExposedObject {
 public:
  /// name: a literal for the reports. layerReferences, hostReferences: the references that the layer itself and the
  /// host have at first.
  ExposedObject(std::shared_ptr<Session> session, const char* name, int layerReferences, int hostReferences)
      : m_session(std::move(session)),
        m_name(name),
        m_references(layerReferences + hostReferences),
        m_layerReferences(layerReferences),
        m_firstHostReferences(hostReferences) {}
  ExposedObject(const ExposedObject&) = delete;
  ExposedObject& operator=(const ExposedObject&) = delete;
  virtual ~ExposedObject() = default;

  /// How the host gets a reference, for the report of the references that it does not release.
  enum class Source { kQueryInterface, kAddRef };

  std::uint32_t AddReference(Source source);
  std::uint32_t ReleaseReference();
  /// Releases the layer's own reference.
  void ReleaseLayerReference();

  /// Reports the call and returns true if the object has no reference left.
  bool IsUsedAfterRelease(const char* call);
  bool IsReleased() const { return m_isReleased; }
  /// Returns nothing for a released object, whose totals the layer already has.
  Totals TakeTotals() { return m_isReleased ? Totals() : m_session->TakeTotals(); }

  /// Reports the references that the host has not released. Does not release the plug-in's object.
  void CheckReleased();

 protected:
  /// Releases the plug-in's object, which may call this object.
  virtual void ReleaseReal() = 0;
  /// Drops the pointer to the plug-in's object without a Release: the library may already be unloaded.
  virtual void Forget() = 0;

  const std::shared_ptr<Session>& GetSession() const { return m_session; }

 private:
  void OnLastRelease();

  std::shared_ptr<Session> m_session;
  const char* m_name;
  /// Number of references, including those of the layer.
  std::atomic<int> m_references;
  std::atomic<int> m_layerReferences;
  const int m_firstHostReferences;
  /// Number of references that the host has got from each source.
  std::array<std::atomic<int>, 2> m_added{};
  std::atomic<int> m_removed = 0;
  std::atomic<bool> m_isReleasing = false;
  std::atomic<bool> m_isReleased = false;
};

}  // namespace qbflv::watch
