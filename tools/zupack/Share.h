#pragma once

#include <string>

namespace zuvia::zupack {

// A share of all users, in hundredths of a percent: 0 to 10000, which is as finely as nginx divides.
class Share {
 public:
  Share() = default;

  // Reads a percentage: "10", "2.5", "0.01". Throws tools::Failure, which names --share, for anything else.
  static Share parse(const std::string& percent);

  bool isNobody() const { return hundredths_ == 0; }
  bool isEverybody() const { return hundredths_ == kEverybody; }

  // The percentage, without a sign and needless zeros: "2.5".
  std::string text() const;

 private:
  static constexpr int kEverybody = 10'000;
  int hundredths_ = 0;
};

}  // namespace zuvia::zupack
