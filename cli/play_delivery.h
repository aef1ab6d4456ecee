// Reads packets ahead, as a server does, and sends each packet when it is due.
#pragma once

#include <algorithm>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "cli/play_clock.h"
#include "cli/play_view.h"
#include "host/restart_filter.h"
#include "host/session.h"

namespace qbflv::cli {

class PlayDelivery {
 public:
  using Time = PlayClock::Time;

  /// session: must outlive this and have read its headers. filter: makes packets after a seek playable. firstTime:
  /// packet time at position 0. All functions throw HostError.
  PlayDelivery(host::Session& session, host::RestartFilter filter, double speed, std::uint32_t firstTime, Time now);

  /// Reads ahead and sends the packets that are due. Does a bounded amount of work.
  void Update(Time now);

  /// Returns the time at which Update has work again, at most `latest`.
  Time NextUpdate(Time now, Time latest) const;

  /// Seeks. Packets before the position are due at once. Playback ends if the position is past the end or the seek
  /// fails. The clock does not run during the seek.
  host::SeekResult SeekTo(std::int64_t position);

  void SetPaused(bool paused, Time now);
  bool IsPaused() const { return m_paused; }

  /// Returns true when every packet was sent.
  bool HasEnded() const { return m_ended; }

  std::int64_t Position(Time now) const { return m_clock.Position(now); }
  /// Returns everything but the file name.
  PlayState State(Time now) const;

 private:
  struct QueuedPacket {
    ComPtr<IQBPacket> packet;
    /// In ms from the file's first tag.
    std::int64_t time;
  };

  struct SentPacket {
    std::int64_t time;
    std::uint64_t bytes;
  };

  struct Stream {
    flv::TagType type{};
    PlayedStream shown;
    std::int64_t lastQueued = 0;
    /// The packets of the last kRateSpan, and the sum of their bytes.
    std::deque<SentPacket> sent;
    std::uint64_t sentBytes = 0;
  };

  void Fill(Time now);
  void Queue(IQBPacket& packet);
  bool IsReadAheadFull(Time now) const;
  bool IsReadingDone() const { return m_seekFailed || m_session.DeliveryEnded(); }
  void SendFirst();
  PlayedStream StreamState(const Stream& stream, std::int64_t position) const;
  /// Returns the best known position of the end of the file.
  std::int64_t End() const { return std::max(m_statedDuration, m_lastSeen); }

  host::Session& m_session;
  PlayClock m_clock;
  std::vector<Stream> m_streams;
  std::deque<QueuedPacket> m_queue;
  host::RestartFilter m_filter;
  const std::uint32_t m_firstTime;
  /// The longest duration in the stream headers. The plug-in estimates an unknown duration.
  std::int64_t m_statedDuration = 0;
  /// The greatest position of any packet so far.
  std::int64_t m_lastSeen = 0;
  /// Position of the first packet sent since the start or the last seek, where the measurement of bit rates starts.
  std::optional<std::int64_t> m_sentSince;
  bool m_paused = false;
  bool m_ended = false;
  bool m_seekFailed = false;
  std::string m_error;
};

}  // namespace qbflv::cli
