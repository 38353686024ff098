#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace zuvia::tools {

// A part of all users, chosen by a text for each: the same text is always in or out, and a larger share holds everyone
// whom a smaller one holds. The choice is that of nginx's split_clients for the same text.
class Share {
 public:
  // Everybody.
  Share() = default;

  // From 0 to 100, with at most two decimals, which is as finely as nginx divides: "12.5". Throws Failure, which says
  // what is wrong.
  static Share parse(std::string_view percent);
  static Share ofPercent(double percent);

  // key: what stands for a user, any bytes.
  bool includes(std::string_view key) const;

  bool isNobody() const { return hundredths_ == 0; }
  bool isEverybody() const { return hundredths_ == kEverybody; }
  double percent() const { return hundredths_ / 100.0; }
  std::string text() const;  // "12.5"

 private:
  static constexpr std::uint32_t kEverybody = 10'000;

  explicit Share(std::uint32_t hundredths) : hundredths_(hundredths) {}

  std::uint32_t hundredths_ = kEverybody;  // of a percent
};

}  // namespace zuvia::tools
