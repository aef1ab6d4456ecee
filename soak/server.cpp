// The parts that all clients of one server share: the library, the host's context, and the files.
#include "soak/server.h"

#include "host/context.h"
#include "host/host_error.h"

namespace qbflv::soak {

namespace {

/// Requests packets of all streams in turn, as a server does.
std::vector<Digest> PlayAlone(Client& client, const std::string& path) {
  if (!client.Start()) throw host::HostError("cannot play " + path);
  while (!client.IsDone()) {
    for (std::uint16_t stream = 0; stream < client.StreamCount(); ++stream) {
      if (client.IsIdle(stream)) client.RequestPacket(stream);
    }
  }
  return client.Streams();
}

}  // namespace

Server::Server(const std::filesystem::path& plugin, const std::vector<std::string>& files)
    : m_library(plugin), m_context(host::MakeContext().Query<IUnknown>()) {
  for (const std::string& path : files) {
    m_files.push_back(host::ReadIntoMemory(path));
    Client client(*this, m_files.size() - 1, Client::Completions::kInline);
    m_expected.push_back(PlayAlone(client, path));
  }
}

}  // namespace qbflv::soak
