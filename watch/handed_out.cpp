// An object of the plug-in as the host sees it.
#include "watch/handed_out.h"

#include <fmt/format.h>

namespace qbflv::watch {

std::uint32_t HandedOut::Take(Taken how) {
  if (IsGone("AddRef or QueryInterface")) return 0;
  ++m_taken[static_cast<std::size_t>(how)];
  return static_cast<std::uint32_t>(++m_references);
}

std::uint32_t HandedOut::GiveBack() {
  int references = m_references;
  do {
    if (references > m_lent) continue;
    if (!m_isEnding) {
      m_session->Report(Rule::kReleasedTooOften, m_name, fmt::format("{}::Release without a reference", m_name));
    }
    return static_cast<std::uint32_t>(references);
  } while (!m_references.compare_exchange_weak(references, references - 1));
  ++m_released;
  const int left = references - 1;
  if (left == 0) EndIfUnreferenced();
  return static_cast<std::uint32_t>(left);
}

void HandedOut::EndLending() {
  if (m_lent.exchange(0) == 0) return;
  if (--m_references == 0) EndIfUnreferenced();
}

void HandedOut::EndIfUnreferenced() {
  if (m_isEnding.exchange(true)) return;
  End();
  m_isEnded = true;
}

bool HandedOut::IsGone(const char* call) {
  if (!m_isEnded) return false;
  m_session->Report(Rule::kUsedAfterRelease, m_name, fmt::format("{} of an {} after its last Release", call, m_name));
  return true;
}

void HandedOut::CheckReleased() {
  if (m_isEnded) return;
  const int left = m_references - m_lent;
  if (left > 0) {
    m_session->Report(
        Rule::kNeverReleased, m_name,
        fmt::format("{} has {} references at the end: the host got {} with the object, {} by QueryInterface, {} by "
                    "AddRef, and released {}",
                    m_name, left, m_given, m_taken[0].load(), m_taken[1].load(), m_released.load()));
  }
  Forget();
}

}  // namespace qbflv::watch
