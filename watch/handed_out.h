// An object of the plug-in as the host sees it. It stays in memory after its last Release, so that later calls are
// reported instead of crashing the process.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "watch/session.h"

namespace qbflv::watch {

class HandedOut {
 public:
  /// name: a literal for the reports. lent: references that the caller of the host holds for it, not the host.
  HandedOut(std::shared_ptr<Session> session, const char* name, int lent, int given)
      : m_session(std::move(session)), m_name(name), m_references(lent + given), m_lent(lent), m_given(given) {}
  HandedOut(const HandedOut&) = delete;
  HandedOut& operator=(const HandedOut&) = delete;
  virtual ~HandedOut() = default;

  /// How the host gets references, for the report of those that it keeps.
  enum class Taken { kByQueryInterface, kByAddRef };

  std::uint32_t Take(Taken how);
  std::uint32_t GiveBack();
  /// Takes the lent reference away.
  void EndLending();

  /// True when the host has no reference and nobody lends it one. Reports the call then.
  bool IsGone(const char* call);
  bool IsEnded() const { return m_isEnded; }
  Totals TakeTotals() { return m_isEnded ? Totals() : m_session->TakeTotals(); }

  /// Reports the references that the host still has, and leaves the object of the plug-in as it is.
  void CheckReleased();

 protected:
  /// Releases the object of the plug-in. The host may call this object meanwhile.
  virtual void End() = 0;
  /// Drops the reference to the plug-in's object without releasing it: the library may be gone.
  virtual void Forget() = 0;

  const std::shared_ptr<Session>& Its() const { return m_session; }

 private:
  void EndIfUnreferenced();

  std::shared_ptr<Session> m_session;
  const char* m_name;
  std::atomic<int> m_references;
  std::atomic<int> m_lent;
  const int m_given;
  std::array<std::atomic<int>, 2> m_taken{};
  std::atomic<int> m_released = 0;
  std::atomic<bool> m_isEnding = false;
  std::atomic<bool> m_isEnded = false;
};

}  // namespace qbflv::watch
