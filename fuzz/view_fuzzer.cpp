// Scans and repairs a file of arbitrary bytes: the repaired view is well-formed and has a bounded size.
#include <algorithm>
#include <memory>
#include <vector>

#include "flv/scan.h"
#include "flv/view.h"
#include "fuzz/target.h"

namespace qbflv::fuzz {
namespace {

using flv::DamageKind;

/// Requires that the view returns the same bytes when it is read in pieces of `step` bytes.
void RequireSameInPieces(const flv::View& view, const std::vector<std::uint8_t>& whole, std::size_t step) {
  std::vector<std::uint8_t> piece(step);
  for (std::size_t offset = 0; offset < whole.size(); offset += step) {
    const std::size_t count = std::min(step, whole.size() - offset);
    const std::int64_t got = view.ReadAt(offset, {piece.data(), count});
    Require(got == static_cast<std::int64_t>(count), "every offset can be read");
    Require(std::equal(piece.begin(), piece.begin() + got, whole.begin() + static_cast<std::ptrdiff_t>(offset)),
            "the bytes do not depend on how they are read");
  }
}

void CheckView(const std::shared_ptr<const flv::ByteSource>& file, const std::shared_ptr<const flv::FileFacts>& facts,
               const flv::ViewOptions& options) {
  const auto layout = std::make_shared<flv::ViewLayout>(facts, options);
  const flv::View view(file, layout);
  // The view has each tag at most once, and adds metadata, which may copy the file's own, and the closing tags.
  Require(view.Size() <= 2 * file->Size() + 512 * 1024, "the view is not much larger than the file");
  Require(view.Size() <= std::max<std::uint64_t>(options.largestSize, layout->Head().size() + 128), "the limit holds");
  std::vector<std::uint8_t> bytes(static_cast<std::size_t>(view.Size()));
  Require(view.ReadAt(0, bytes) == static_cast<std::int64_t>(bytes.size()), "the view can be read");
  RequireSameInPieces(view, bytes, 7);

  auto memory = std::make_shared<std::uint8_t[]>(bytes.size());
  std::ranges::copy(bytes, memory.get());
  const flv::MemorySource source({std::move(memory), bytes.size()});
  const auto seen = flv::ScanFile(source);
  Require(seen->isFlv, "the view begins as an FLV file");
  for (const DamageKind kind : {DamageKind::kGarbage, DamageKind::kTruncatedTag, DamageKind::kTruncatedSizeField,
                                DamageKind::kWrongSizeField, DamageKind::kEmptyTag, DamageKind::kUnknownTag}) {
    Require(seen->damages.Of(kind).count == 0, "the view is well formed");
  }
  const std::uint32_t closing = (facts->audio.IsPresent() ? 1 : 0) + (facts->video.IsPresent() ? 1 : 0);
  Require(seen->TagCount() == layout->TagCount() + closing, "the view has every playable tag");
}

}  // namespace

void TryView(Input input) {
  auto memory = std::make_shared<std::uint8_t[]>(input.size());
  std::ranges::copy(input, memory.get());
  const auto file = std::make_shared<flv::MemorySource>(flv::SharedBytes{std::move(memory), input.size()});
  const auto facts = flv::ScanFile(*file);
  if (!facts->isFlv) return;
  CheckView(file, facts, {});
  CheckView(file, facts, {.retime = true, .rebase = true, .mostKeyFrames = 2});
  CheckView(file, facts, {.rebase = true, .mostKeyFrames = 0, .largestSize = input.size() / 2});
}

}  // namespace qbflv::fuzz
