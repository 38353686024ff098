#include "zuserve/BodySender.h"

#include <algorithm>
#include <array>
#include <limits>
#include <utility>

namespace zuvia::zuserve {
namespace {

using std::chrono::milliseconds;

constexpr std::size_t kChunkBytes = 64 * 1024;
constexpr milliseconds kStallPoll(200);
constexpr std::uint64_t kPiecesPerSecond = 10;  // of a slow transfer
constexpr std::uint64_t kMsPerSecond = 1000;

bool isLimited(Fault::Kind kind) {
  return kind == Fault::Kind::Stall || kind == Fault::Kind::Cut;
}

std::uint64_t mostBytes(const Fault& fault, std::uint64_t size) {
  return isLimited(fault.kind) ? fault.amount.value_or(size / 2) : std::numeric_limits<std::uint64_t>::max();
}

}  // namespace

BodySender::BodySender(Read read, std::uint64_t size, const Fault& fault, const StopSignal& stop,
                       std::function<bool()> hasClientLeft)
    : read_(std::move(read)),
      fault_(fault),
      most_(mostBytes(fault, size)),
      stop_(stop),
      hasClientLeft_(std::move(hasClientLeft)) {}

std::uint64_t BodySender::pieceLength() const {
  if (fault_.kind != Fault::Kind::Slow) return kChunkBytes;
  return std::max<std::uint64_t>(*fault_.amount / kPiecesPerSecond, 1);
}

void BodySender::waitForEnd() const {
  while (!stop_.waitFor(kStallPoll) && !hasClientLeft_()) {
  }
}

bool BodySender::sendNext(std::uint64_t offset, std::uint64_t length, const Write& write) {
  std::array<char, kChunkBytes> buffer;
  if (sent_ == most_ && fault_.kind == Fault::Kind::Stall) waitForEnd();
  const std::uint64_t wanted = std::min({length, most_ - sent_, pieceLength(), std::uint64_t{buffer.size()}});
  if (wanted == 0 || stop_.isRaised()) return false;
  const std::size_t count = read_(offset, std::span(buffer).first(static_cast<std::size_t>(wanted)));
  if (count == 0 || !write({buffer.data(), count})) return false;
  sent_ += count;
  if (fault_.kind != Fault::Kind::Slow) return true;
  return !stop_.waitFor(milliseconds(count * kMsPerSecond / *fault_.amount)) || count == length;
}

}  // namespace zuvia::zuserve
