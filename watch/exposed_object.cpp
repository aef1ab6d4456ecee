// The base class of the wrappers of the plug-in's objects, for the host.
#include "watch/exposed_object.h"

#include <fmt/format.h>

namespace qbflv::watch {

std::uint32_t ExposedObject::AddReference(Source source) {
  if (IsUsedAfterRelease("AddRef or QueryInterface")) return 0;
  ++m_added[static_cast<std::size_t>(source)];
  return static_cast<std::uint32_t>(++m_references);
}

std::uint32_t ExposedObject::ReleaseReference() {
  int references = m_references;
  do {
    if (references > m_layerReferences) continue;
    if (!m_isReleasing) {
      m_session->Report(Rule::kReleasedTooOften, m_name, fmt::format("{}::Release without a reference", m_name));
    }
    return static_cast<std::uint32_t>(references);
  } while (!m_references.compare_exchange_weak(references, references - 1));
  ++m_removed;
  const int left = references - 1;
  if (left == 0) OnLastRelease();
  return static_cast<std::uint32_t>(left);
}

void ExposedObject::ReleaseLayerReference() {
  if (m_layerReferences.exchange(0) == 0) return;
  if (--m_references == 0) OnLastRelease();
}

void ExposedObject::OnLastRelease() {
  if (m_isReleasing.exchange(true)) return;
  ReleaseReal();
  m_isReleased = true;
}

bool ExposedObject::IsUsedAfterRelease(const char* call) {
  if (!m_isReleased) return false;
  m_session->Report(Rule::kUsedAfterRelease, m_name, fmt::format("{} of an {} after its last Release", call, m_name));
  return true;
}

void ExposedObject::CheckReleased() {
  if (m_isReleased) return;
  const int left = m_references - m_layerReferences;
  if (left > 0) {
    m_session->Report(
        Rule::kNeverReleased, m_name,
        fmt::format("{} has {} references at the end: the host got {} with the object, {} by QueryInterface, {} by "
                    "AddRef, and released {}",
                    m_name, left, m_firstHostReferences, m_added[0].load(), m_added[1].load(), m_removed.load()));
  }
  Forget();
}

}  // namespace qbflv::watch
