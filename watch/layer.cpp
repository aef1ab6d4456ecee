// The watch layer itself: loads the plug-in, creates the wrapped objects, and keeps what all sessions share.
#include "watch/layer.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <system_error>

#include "host/system.h"
#include "watch/file_format.h"
#include "watch/own_path.h"

namespace qbflv::watch {

namespace {

/// Keep searches for released objects whenever the number of objects is a multiple of this.
constexpr std::size_t kObjectsBetweenSearches = 1024;

/// Returns the library that QBFLVPLUS_LIBRARY names, or the one in the layer's folder.
std::filesystem::path LibraryPath() {
  const char* const chosen = std::getenv("QBFLVPLUS_LIBRARY");
  if (chosen != nullptr && *chosen != '\0') return std::filesystem::absolute(chosen);
  return OwnPath().parent_path() / QBFLV_LIBRARY_NAME;
}

/// Returns QBFLVPLUS_WATCH_PATIENCE in seconds, or 10.
double ChosenPatience() {
  const char* const chosen = std::getenv("QBFLVPLUS_WATCH_PATIENCE");
  return chosen != nullptr ? std::strtod(chosen, nullptr) : 10.0;
}

}  // namespace

Layer& Layer::Get() {
  static Layer layer;
  return layer;
}

Layer::Layer() : m_patience(ChosenPatience()) { LoadPlugin(); }

void Layer::LoadPlugin() {
  const std::filesystem::path path = LibraryPath();
  std::string error;
  std::error_code ignored;
  if (std::filesystem::equivalent(path, OwnPath(), ignored)) {
    error = path.string() + " is the watch layer itself";
  } else {
    m_library = host::system::OpenLibrary(path, error);
  }
  if (m_library == nullptr) {
    std::fprintf(stderr, "qbflvplus-watch: cannot load the plug-in: %s\n", error.c_str());
    return;
  }
  m_createInstance = reinterpret_cast<CreateInstanceFunction>(host::system::FindExport(m_library, kCreateInstanceName));
  m_canUnload = reinterpret_cast<CanUnloadFunction>(host::system::FindExport(m_library, kCanUnloadName));
}

/// Does not unload the plug-in's library: at the end of the process it may already be unloaded.
Layer::~Layer() {
  for (const auto& object : m_objects) object->CheckReleased();
  for (const auto& object : m_objects) m_totals.Add(object->TakeTotals());
  m_log.WriteTotals(m_totals);
}

Status Layer::CreateInstance(IUnknown** object) {
  if (object == nullptr) return kInvalidArgument;
  if (m_createInstance == nullptr) {
    *object = nullptr;
    return kFailed;
  }
  ComPtr<IUnknown> real;
  const Status status = m_createInstance(real.Out());
  const auto plugin = real.Query<IQBPlugin>();
  *object = nullptr;
  if (!plugin) return status;
  auto watched = std::make_shared<WatchedFileFormat>(*this, std::make_shared<Session>(*this), plugin);
  *object = static_cast<IQBPlugin*>(watched.get());
  Keep(watched);
  return status;
}

Status Layer::CanUnload() const { return m_canUnload != nullptr ? m_canUnload() : kOk; }

void Layer::AddTotals(const Totals& totals) {
  const std::lock_guard lock(m_mutex);
  m_totals.Add(totals);
}

void Layer::Keep(const std::shared_ptr<ExposedObject>& object) {
  const std::lock_guard lock(m_mutex);
  m_objects.push_back(object);
  if (m_objects.size() % kObjectsBetweenSearches != 0) return;
  // Deletes half of the released objects, so that the list is searched rarely.
  const auto isReleased = [](const auto& kept) { return kept->IsReleased(); };
  auto left = std::ranges::count_if(m_objects, isReleased) / 2;
  std::erase_if(m_objects, [&](const auto& kept) { return left > 0 && isReleased(kept) && left-- > 0; });
}

bool Layer::AttachFile(const void* file, const Session* reader) {
  const std::lock_guard lock(m_mutex);
  const auto [first, last] = m_files.equal_range(file);
  const bool isShared = std::any_of(first, last, [&](const auto& entry) { return entry.second != reader; });
  m_files.emplace(file, reader);
  return !isShared;
}

void Layer::DetachFile(const void* file, const Session* reader) {
  const std::lock_guard lock(m_mutex);
  const auto [first, last] = m_files.equal_range(file);
  const auto found = std::find_if(first, last, [&](const auto& entry) { return entry.second == reader; });
  if (found != last) m_files.erase(found);
}

}  // namespace qbflv::watch
