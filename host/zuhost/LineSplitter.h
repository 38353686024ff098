#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace zuhost {

// Makes lines out of bytes that arrive piece by piece. A line ends with "\n" or "\r\n"; any other
// byte belongs to it.
class LineSplitter {
 public:
  void add(std::string_view bytes) { pending_ += bytes; }

  // Takes the next whole line, without its end.
  std::optional<std::string> next();

  // Takes what is left when no more bytes come: a last line without an end, if there is one.
  std::optional<std::string> last();

 private:
  std::string pending_;
};

}  // namespace zuhost
