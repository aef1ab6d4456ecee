// Some tags of an FLV file on their way to an HTTP client.
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

/// The chain refers to the film's own bytes and keeps what else it refers to until it is cleared. Tags that stand in
/// the film as the client gets them become one buffer, which nginx sends with sendfile. Use it again when it is sent.
class OutputBatch {
 public:
  OutputBatch();
  OutputBatch(const OutputBatch&) = delete;
  OutputBatch& operator=(const OutputBatch&) = delete;

  /// Before the first tag. descriptor: of the film's file; stays open as long as this object is used.
  void SetFilm(std::shared_ptr<const FilmBytes> film, int descriptor, ngx_log_t* log);

  std::size_t Bytes() const { return m_bytes; }
  bool IsEmpty() const { return m_used == 0; }
  bool IsFull() const { return m_bytes >= kMaxBytes || m_headersUsed >= kMaxHeaders || m_used >= kMaxBuffers; }
  /// Whether nginx has taken all of it.
  bool IsSent() const { return m_used == 0 || ngx_buf_size(&m_buffers[m_used - 1]) == 0; }
  void Clear();

  /// start: with the size field behind the metadata; stays as it is until the batch is sent.
  void AddFileStart(const std::vector<std::uint8_t>& start);
  /// time: what the client gets to see. Tags of the same time are put into the order of the film, so the last one is
  /// held back, even until the next batch.
  void AddTag(MediaTag tag, std::uint32_t time);
  /// The size of the last tag.
  void AddEnd();

  /// Not before something was added. The client gets it without waiting for more.
  ngx_chain_t* Finish(bool isLast, bool isMainRequest);

 private:
  /// Tags whose header differs from the film's; each takes two buffers.
  static constexpr std::size_t kMaxHeaders = 64;
  static constexpr std::size_t kMaxBuffers = 2 * kMaxHeaders;
  static constexpr std::size_t kMaxBytes = 512 * 1024;
  /// sendfile is a call of its own for each buffer; fewer bytes are copied faster.
  static constexpr std::size_t kLeastForSendfile = 16 * 1024;
  /// The size of the tag before, and the header of the next.
  static constexpr std::size_t kBetweenTags = 15;

  bool IsOfFilm(const std::uint8_t* bytes) const;
  bool StandsInFront(const MediaTag& tag, const MediaTag& other) const;
  void Settle();
  void Append(MediaTag tag);
  void AddBytes(const std::uint8_t* bytes, std::size_t size);
  void OfferSendfile(ngx_buf_t& buffer);

  std::shared_ptr<const FilmBytes> m_film;
  ngx_file_t m_file{};
  std::optional<MediaTag> m_held;
  // A batch that is not full takes one more tag. The last batch also takes the held tag and the last size field.
  std::array<ngx_buf_t, kMaxBuffers + 4> m_buffers;
  std::array<ngx_chain_t, kMaxBuffers + 4> m_links;
  std::array<std::array<std::uint8_t, kBetweenTags>, kMaxHeaders + 2> m_headers;
  /// Those that are no bytes of the film.
  std::vector<ComPtr<IQBBuffer>> m_bodies;
  std::size_t m_used = 0;
  std::size_t m_headersUsed = 0;
  std::size_t m_bytes = 0;
  /// Of the last tag.
  std::uint32_t m_tagSize = 0;
};

}  // namespace qbflv::server
