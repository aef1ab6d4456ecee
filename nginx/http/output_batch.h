// The chain of buffers for some tags of an FLV file that is sent over HTTP.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "nginx/http/http_headers.h"
#include "nginx/playback/film_bytes.h"
#include "nginx/playback/playback.h"

namespace qbflv::server {

/// The buffers refer to the bytes of the film where possible. Consecutive tags of the film that the client gets
/// unchanged share one buffer, which nginx can send with sendfile. The batch keeps all other bytes alive, except those
/// of AddFileStart. Call Clear and reuse the batch after nginx has sent it.
class OutputBatch {
 public:
  OutputBatch();
  OutputBatch(const OutputBatch&) = delete;
  OutputBatch& operator=(const OutputBatch&) = delete;

  /// Call this before adding tags. descriptor: the file of the film; must stay open while this object is used.
  void SetFilm(std::shared_ptr<const FilmBytes> film, int descriptor, ngx_log_t* log);

  std::size_t Bytes() const { return m_bytes; }
  bool IsEmpty() const { return m_used == 0; }
  bool IsFull() const { return m_bytes >= kMaxBytes || m_headersUsed >= kMaxHeaders || m_used >= kMaxBuffers; }
  /// Returns true if nginx has sent or copied all bytes.
  bool IsSent() const { return m_used == 0 || ngx_buf_size(&m_buffers[m_used - 1]) == 0; }
  void Clear();

  /// Adds the file header and the metadata tag. start: ends with the previous-tag size after the metadata; must not
  /// change until the batch is sent.
  void AddFileStart(const std::vector<std::uint8_t>& start);
  /// Adds a tag. Holds the last tag back, possibly until the next batch, to put tags with the same time into the order
  /// of the film. time: the timestamp that the client gets, in ms.
  void AddTag(MediaTag tag, std::uint32_t time);
  /// Adds the held tag and the previous-tag size at the end of the file.
  void AddEnd();

  /// Returns the chain to send. nginx sends it without waiting for more data. REQUIRES: !IsEmpty().
  ngx_chain_t* Finish(bool isLast, bool isMainRequest);

 private:
  /// Maximum number of tags whose header differs from the film's. Each needs two buffers.
  static constexpr std::size_t kMaxHeaders = 64;
  static constexpr std::size_t kMaxBuffers = 2 * kMaxHeaders;
  static constexpr std::size_t kMaxBytes = 512 * 1024;
  /// nginx calls sendfile once for each buffer. Copying is faster for fewer bytes than this.
  static constexpr std::size_t kMinSendfile = 16 * 1024;
  /// Size of the bytes before a body: the previous-tag size and the tag header.
  static constexpr std::size_t kPrefixSize = 15;

  bool IsInFilm(const std::uint8_t* bytes) const;
  bool Precedes(const MediaTag& tag, const MediaTag& other) const;
  void AppendHeld();
  void Append(MediaTag tag);
  void AddBytes(const std::uint8_t* bytes, std::size_t size);
  void AllowSendfile(ngx_buf_t& buffer);

  std::shared_ptr<const FilmBytes> m_film;
  ngx_file_t m_file{};
  std::optional<MediaTag> m_held;
  // One more tag fits into a batch that is not full, and then the held tag and the last previous-tag size.
  std::array<ngx_buf_t, kMaxBuffers + 4> m_buffers;
  std::array<ngx_chain_t, kMaxBuffers + 4> m_links;
  std::array<std::array<std::uint8_t, kPrefixSize>, kMaxHeaders + 2> m_headers;
  /// Bodies that are not bytes of the film.
  std::vector<ComPtr<IQBBuffer>> m_bodies;
  std::size_t m_used = 0;
  std::size_t m_headersUsed = 0;
  std::size_t m_bytes = 0;
  /// Size of the last tag, which is the next previous-tag size.
  std::uint32_t m_tagSize = 0;
};

}  // namespace qbflv::server
