// `qbflv play`: delivers the packets in real time, with a display and keys.
#include "cli/play_command.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <memory>
#include <thread>
#include <vector>

#include "cli/interrupt.h"
#include "cli/output.h"
#include "cli/play_delivery.h"
#include "cli/played_file.h"
#include "cli/terminal.h"
#include "cli/time_option.h"
#include "host/session.h"

namespace qbflv::cli {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kScreenInterval(100);
constexpr std::chrono::seconds kLineInterval(1);
/// Distance of a seek by key, in ms.
constexpr std::int64_t kSeekDistance = 10000;

constexpr double kMinSpeed = 0.01;
constexpr double kMaxSpeed = 1000;

std::string CheckSpeed(const std::string& text) {
  double speed = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), speed);
  const bool isNumber = error == std::errc() && end == text.data() + text.size();
  if (isNumber && speed >= kMinSpeed && speed <= kMaxSpeed) return {};
  return fmt::format("expected a factor from {} to {} instead of '{}'", kMinSpeed, kMaxSpeed, text);
}

/// Pauses delivery while the process is stopped.
void Suspend(PlayDelivery& delivery, Terminal& terminal) {
  const bool paused = delivery.IsPaused();
  delivery.SetPaused(true, Clock::now());
  terminal.Suspend();
  delivery.SetPaused(paused, Clock::now());
}

/// Coalesces queued key presses into one seek to their combined target. Returns false when the user quits.
bool HandleKeys(const std::vector<PlayKey>& keys, PlayDelivery& delivery, Terminal& terminal) {
  std::optional<std::int64_t> target;
  const auto move = [&](std::int64_t distance) {
    target = std::max<std::int64_t>(target.value_or(delivery.Position(Clock::now())) + distance, 0);
  };
  for (const PlayKey key : keys) {
    switch (key) {
      case PlayKey::kLeft:
        move(-kSeekDistance);
        break;
      case PlayKey::kRight:
        move(kSeekDistance);
        break;
      case PlayKey::kSpace:
        if (!delivery.HasEnded()) delivery.SetPaused(!delivery.IsPaused(), Clock::now());
        break;
      case PlayKey::kSuspend:
        Suspend(delivery, terminal);
        break;
      case PlayKey::kQuit:
        return false;
    }
  }
  if (target) delivery.SeekTo(*target);
  return true;
}

}  // namespace

PlayCommand::PlayCommand(CLI::App& app)
    : FileCommand(app, "play", "Deliver the packets in real time, as a server does, and show the state.",
                  "qbflv play --speed 4 film.flv") {
  Parser().footer(std::string(kTimeHelp) + "\n" +
                  "Keys on a terminal:\n"
                  "  left, right   seek 10 s back or forward\n"
                  "  space         pause or continue\n"
                  "  q             quit; at the end of the file the command waits for this key or a seek\n\n"
                  "Without a terminal it prints one line per second and ends at the end of the file.\n\n" +
                  Parser().get_footer());
  Parser()
      .add_option("--speed", m_speed, "Speed relative to real time, 0.01 to 1000 (default: 1)")
      ->type_name("X")
      ->check(CLI::Validator(CheckSpeed, ""));
  AddRepairOption(Parser(), MutableOptions(), true);
  MutableOptions().view.retime = true;  // as a server does
  AddTimeOption(Parser(), "--start", m_start, "Begin at this time; it counts from the file's first tag");
}

int PlayCommand::Run() {
  // Reading the headers of a large file and seeking to the start can take seconds.
  Progress progress(true);
  const host::SessionOptions options = SessionOptions(progress);
  host::Session session(options);
  session.ReadHeaders();
  session.RequireStreamHeaders();
  const PlayedFile file(options);
  PlayDelivery delivery(session, file.MakeRestartFilter(session), m_speed, file.TimeBase(), Clock::now());
  if (m_start) delivery.SeekTo(*m_start).OrThrow();
  progress.Stop();

  std::unique_ptr<Terminal> terminal = Terminal::Open();
  if (!terminal) {
    PlayAsLines(delivery);
    return kSuccess;
  }
  PlayOnTerminal(delivery, *terminal);
  const int signal = terminal->EndingSignal();
  terminal.reset();
  // Show the last state on the normal screen.
  Output output;
  output.Print("{}\n", PlayLine(delivery.State(Clock::now())));
  output.Flush();
  if (signal != 0) throw Interrupted(signal);
  return kSuccess;
}

void PlayCommand::PlayOnTerminal(PlayDelivery& delivery, Terminal& terminal) const {
  Clock::time_point nextScreen = Clock::now();
  do {
    delivery.Update(Clock::now());
    const Clock::time_point now = Clock::now();
    if (now >= nextScreen) {
      PlayState state = delivery.State(now);
      state.file = Printable(Options().file.filename().string());
      const Terminal::Size size = terminal.GetSize();
      terminal.Show(PlayScreen(state, size.columns, size.rows));
      nextScreen = now + kScreenInterval;
    }
  } while (HandleKeys(terminal.WaitForKeys(delivery.NextUpdate(Clock::now(), nextScreen)), delivery, terminal));
}

void PlayCommand::PlayAsLines(PlayDelivery& delivery) {
  Output output;
  Clock::time_point nextLine = Clock::now();
  for (bool ended = false; !ended;) {
    delivery.Update(Clock::now());
    const Clock::time_point now = Clock::now();
    ended = delivery.HasEnded();
    if (ended || now >= nextLine) {
      output.Print("{}\n", PlayLine(delivery.State(now)));
      output.Flush();
      nextLine = now + kLineInterval;
    }
    if (!ended) std::this_thread::sleep_until(delivery.NextUpdate(now, nextLine));
  }
}

}  // namespace qbflv::cli
