// `qbflv play`: the packets in real time, watched and steered.
#include "cli/play_command.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <memory>
#include <thread>
#include <vector>

#include "cli/output.h"
#include "cli/play_delivery.h"
#include "cli/progress.h"
#include "cli/seeking.h"
#include "cli/terminal.h"
#include "host/first_tags.h"
#include "host/host_error.h"
#include "host/session.h"

namespace qbflv::cli {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kScreenInterval(100);
constexpr std::chrono::seconds kLineInterval(1);
/// In ms, of one key press.
constexpr std::int64_t kSeekStep = 10000;

constexpr double kSlowest = 0.01;
constexpr double kFastest = 1000;

std::string CheckSpeed(const std::string& text) {
  double speed = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), speed);
  const bool isNumber = error == std::errc() && end == text.data() + text.size();
  if (isNumber && speed >= kSlowest && speed <= kFastest) return {};
  return fmt::format("expected a factor from {} to {} instead of '{}'", kSlowest, kFastest, text);
}

/// The file's time stands still meanwhile.
void Suspend(PlayDelivery& delivery, Terminal& terminal) {
  const bool paused = delivery.IsPaused();
  delivery.SetPaused(true, Clock::now());
  terminal.Suspend();
  delivery.SetPaused(paused, Clock::now());
}

/// Several seeks that came together become one, to where they lead one by one. False when the user has enough.
bool TakeKeys(const std::vector<PlayKey>& keys, PlayDelivery& delivery, Terminal& terminal) {
  std::optional<std::int64_t> target;
  const auto move = [&](std::int64_t step) {
    target = std::max<std::int64_t>(target.value_or(delivery.Position(Clock::now())) + step, 0);
  };
  for (const PlayKey key : keys) {
    switch (key) {
      case PlayKey::kLeft:
        move(-kSeekStep);
        break;
      case PlayKey::kRight:
        move(kSeekStep);
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
    : Command(app, "play", "Deliver the packets in real time, as a server would, and show how it goes.",
              "qbflv play --speed 4 film.flv") {
  Parser().footer(
      "Keys on a terminal:\n"
      "  left, right   seek 10 s back or forward; past the end means to the end\n"
      "  space         pause, and go on\n"
      "  q             quit; at the end of the file the command waits for this, or a seek back\n\n"
      "Elsewhere it prints one line a second, takes no keys, and ends with the file.\n\n" +
      Parser().get_footer());
  Parser()
      .add_option("--speed", m_speed, "How many times as fast as real time (default: 1)")
      ->type_name("X")
      ->check(CLI::Validator(CheckSpeed, ""));
  AddTimeOption(Parser(), "--start", m_start, "Begin at this time, in ms from the file's first tag");
}

void PlayCommand::Run() {
  // Finding the headers of a large file, and the start, can take its time.
  std::optional<Progress> progress(true);
  const host::SessionOptions options = MakeSessionOptions(Options(), [&](std::uint64_t offset, std::uint64_t size) {
    if (progress) progress->Update(offset, size);
  });
  host::Session session(options);
  session.ReadHeaders();
  session.RequireStreamHeaders();
  // By a look at the file: what is delivered before a seek leaves positions behind, and the seek may restart at them
  // instead of close to its time.
  const auto firstTime = m_start ? std::make_optional(host::ReadFirstTags(Options().file).timeBase) : std::nullopt;
  PlayDelivery delivery(session, m_speed, firstTime, Clock::now());
  if (m_start) {
    const Status status = delivery.SeekTo(*m_start);
    if (Failed(status)) throw host::HostError(fmt::format("cannot seek to {} ms", *m_start), status);
  }
  progress.reset();

  std::unique_ptr<Terminal> terminal = Terminal::Open();
  if (!terminal) {
    PlayAsLines(delivery);
    return;
  }
  PlayOnTerminal(delivery, *terminal);
  const bool isTerminated = terminal->IsTerminated();
  terminal.reset();
  // What the screen showed last stays readable.
  Output output;
  output.Print("{}\n", PlayLine(delivery.State(Clock::now())));
  output.Flush();
  if (isTerminated) throw host::HostError("interrupted");
}

void PlayCommand::PlayOnTerminal(PlayDelivery& delivery, Terminal& terminal) const {
  Clock::time_point nextScreen = Clock::now();
  do {
    delivery.Turn(Clock::now());
    const Clock::time_point now = Clock::now();
    if (now >= nextScreen) {
      PlayState state = delivery.State(now);
      state.file = Printable(Options().file.filename().string());
      const Terminal::Size size = terminal.GetSize();
      terminal.Show(PlayScreen(state, size.columns, size.rows));
      nextScreen = now + kScreenInterval;
    }
  } while (TakeKeys(terminal.WaitForKeys(delivery.NextTurn(Clock::now(), nextScreen)), delivery, terminal));
}

void PlayCommand::PlayAsLines(PlayDelivery& delivery) {
  Output output;
  Clock::time_point nextLine = Clock::now();
  for (bool ended = false; !ended;) {
    delivery.Turn(Clock::now());
    const Clock::time_point now = Clock::now();
    ended = delivery.HasEnded();
    if (ended || now >= nextLine) {
      output.Print("{}\n", PlayLine(delivery.State(now)));
      output.Flush();
      nextLine = now + kLineInterval;
    }
    if (!ended) std::this_thread::sleep_until(delivery.NextTurn(now, nextLine));
  }
}

}  // namespace qbflv::cli
