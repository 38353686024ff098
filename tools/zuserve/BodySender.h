#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>

#include "zuserve/Fault.h"
#include "zuserve/StopSignal.h"

namespace zuvia::zuserve {

// Sends one body, or a part of it, piece by piece, as a fault wants it. One thread at a time.
class BodySender {
 public:
  // Reads from an offset of the body; returns how many bytes, 0 on failure.
  using Read = std::function<std::size_t(std::uint64_t offset, std::span<char> buffer)>;
  // Returns false when the client takes no more.
  using Write = std::function<bool(std::string_view piece)>;

  // size: of the whole body. stop: ends it where it stands; must outlive it. hasClientLeft: asked while nothing is
  // sent.
  BodySender(Read read, std::uint64_t size, const Fault& fault, const StopSignal& stop,
             std::function<bool()> hasClientLeft);

  // Sends a piece from an offset, at most length bytes. Returns false when the connection is to end: nothing could be
  // sent, it was stopped, or the fault wants it so.
  bool sendNext(std::uint64_t offset, std::uint64_t length, const Write& write);

  std::uint64_t sent() const { return sent_; }

 private:
  std::uint64_t pieceLength() const;
  void waitForEnd() const;

  const Read read_;
  const Fault fault_;
  const std::uint64_t most_;  // that may be sent
  const StopSignal& stop_;
  const std::function<bool()> hasClientLeft_;
  std::uint64_t sent_ = 0;
};

}  // namespace zuvia::zuserve
