// Reads packets ahead as a server's buffer does, and sends each out when its time comes.
#pragma once

#include <algorithm>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "cli/play_clock.h"
#include "cli/play_view.h"
#include "host/session.h"

namespace qbflv::cli {

class PlayDelivery {
 public:
  using Time = PlayClock::Time;

  /// session: outlives this and has its headers. firstTime: the packets' time at position 0; without it, that of the
  /// first packet that comes. Operations throw HostError.
  PlayDelivery(host::Session& session, double speed, std::optional<std::uint32_t> firstTime, Time now);

  /// Reads on and sends what is due. Does a bounded amount of work.
  void Turn(Time now);

  /// When the next Turn is worth it; at most `latest`.
  Time NextTurn(Time now, Time latest) const;

  /// Delivers from there on: what the plug-in restarts with before the position is due at once. A position past the
  /// end, or one where the seek fails, leads to the end. The time that the seek takes does not count as played. Answers
  /// the seek's status.
  Status SeekTo(std::int64_t position);

  void SetPaused(bool paused, Time now);
  bool IsPaused() const { return m_paused; }

  /// Whether everything was sent.
  bool HasEnded() const { return m_ended; }

  std::int64_t Position(Time now) const { return m_clock.Position(now); }
  /// For all but the file's name.
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
    PlayedStream shown;
    std::int64_t lastQueued = 0;
    /// Those whose bit rate is shown, and their bytes.
    std::deque<SentPacket> sent;
    std::uint64_t sentBytes = 0;
  };

  void Fill(Time now);
  void Queue(IQBPacket& packet);
  bool HasEnough(Time now) const;
  bool IsReadToTheEnd() const { return m_seekFailed || m_session.DeliveryEnded(); }
  void SendFirst();
  PlayedStream StreamState(const Stream& stream, std::int64_t position) const;
  /// What is known of where the file ends.
  std::int64_t End() const { return std::max(m_statedDuration, m_lastSeen); }

  host::Session& m_session;
  PlayClock m_clock;
  std::vector<Stream> m_streams;
  std::deque<QueuedPacket> m_queue;
  std::optional<std::int64_t> m_firstTime;
  /// Of the longest stream, as its header has it. An unknown one is made up by the plug-in.
  std::int64_t m_statedDuration = 0;
  /// The greatest position of any packet so far.
  std::int64_t m_lastSeen = 0;
  /// The first packet sent since the start or the last seek: bit rates go back no further.
  std::optional<std::int64_t> m_sentSince;
  bool m_paused = false;
  bool m_ended = false;
  bool m_seekFailed = false;
  std::string m_trouble;
};

}  // namespace qbflv::cli
