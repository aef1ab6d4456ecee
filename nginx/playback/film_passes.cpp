// The passes over films that viewers wait for.
#include "nginx/playback/film_passes.h"

#include <utility>

namespace qbflv::server {

std::shared_ptr<FilmPass> FilmPasses::Find(const flv::FileSource& file) const {
  flv::FileIdentity identity;
  flv::FileKind kind{};
  if (!file.GetIdentity(identity, kind)) return nullptr;
  for (const std::weak_ptr<FilmPass>& running : m_passes) {
    auto pass = running.lock();
    if (pass && pass->file == identity) return pass;
  }
  return nullptr;
}

std::shared_ptr<FilmPass> FilmPasses::Begin(const flv::FileSource& file) {
  auto pass = std::make_shared<FilmPass>();
  flv::FileKind kind{};
  std::erase_if(m_passes, [](const std::weak_ptr<FilmPass>& running) { return running.expired(); });
  if (file.GetIdentity(pass->file, kind)) m_passes.push_back(pass);
  return pass;
}

void FilmPasses::End(const std::shared_ptr<FilmPass>& pass) {
  std::erase_if(m_passes, [&](const std::weak_ptr<FilmPass>& running) { return running.lock() == pass; });
  // A waiter may begin another pass.
  const auto waiters = std::exchange(pass->waiters, {});
  for (const std::function<void()>& waiter : waiters) waiter();
}

}  // namespace qbflv::server
