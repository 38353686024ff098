#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace zuvia::zuserve {

// What goes wrong on purpose, written "stall:65536", "cut", "cut:1000", "status:503", "slow:1000", "badmd5" or "none".
// It happens to files; with "config:" in front, to the answers of the configuration service.
struct Fault {
  enum class Kind {
    None,
    Stall,   // after `amount` bytes of the body no more comes, and the connection stays
    Cut,     // after `amount` bytes, or half of them, the connection ends
    Status,  // the answer has the status `amount`
    Slow,    // `amount` bytes a second
    BadMd5,  // the entry that is offered has another pmd5 than its package
  };
  enum class Target { File, Configuration };

  Kind kind = Kind::None;
  Target target = Target::File;
  std::optional<std::uint64_t> amount = std::nullopt;

  // An empty text is no fault. Throws tools::Failure, which says what is wrong.
  static Fault parse(std::string_view text);

  // As it is written; "none" for none.
  std::string text() const;

  // This fault if it happens to such an answer, else none.
  Fault in(Target where) const { return target == where ? *this : Fault{}; }
};

}  // namespace zuvia::zuserve
