#include "soak/server.h"

#include <fstream>

#include "host/context.h"
#include "host/host_error.h"
#include "host/object_factory.h"
#include "host/preferences.h"

namespace qbflv::soak {

namespace {

/// Both streams are asked in turn, as a server would.
std::vector<Digest> PlayAlone(Client& client, const std::string& path) {
  if (!client.Open() || !client.ReadHeaders()) throw host::HostError("there is nothing to play in " + path);
  while (!client.IsDone()) {
    for (std::uint16_t stream = 0; stream < client.StreamCount(); ++stream) {
      if (client.IsIdle(stream)) client.Ask(stream);
    }
  }
  return client.Streams();
}

}  // namespace

Server::Image Server::ReadImage(const std::string& path) {
  std::ifstream file(path, std::ios::binary | std::ios::ate);
  if (!file) throw host::HostError("cannot open " + path);
  const std::streamsize size = file.tellg();
  auto bytes = std::make_shared<std::uint8_t[]>(static_cast<std::size_t>(size));
  file.seekg(0);
  if (!file.read(reinterpret_cast<char*>(bytes.get()), size)) throw host::HostError("cannot read " + path);
  return {std::move(bytes), static_cast<std::uint64_t>(size)};
}

Server::Server(const std::filesystem::path& plugin, const std::vector<std::string>& files)
    : m_library(plugin),
      m_context(host::MakeObject<host::Context>(host::MakeObject<host::ObjectFactory>().Query<IQBObjectFactory>(),
                                                host::MakeObject<host::Preferences>().Query<IQBPreferences>())
                    .Query<IUnknown>()) {
  for (const std::string& path : files) {
    m_files.push_back(ReadImage(path));
    Client client(*this, m_files.size() - 1, Client::Answers::kInline);
    m_alone.push_back(PlayAlone(client, path));
  }
}

}  // namespace qbflv::soak
