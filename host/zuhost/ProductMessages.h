#pragma once

#include <string>
#include <vector>

namespace zuhost {

// Catches what the plugin's own code, as far as it is part of this program, logs on this thread for as
// long as the object lives. One at a time on each thread.
class ProductMessages {
 public:
  ProductMessages();
  ~ProductMessages();
  ProductMessages(const ProductMessages&) = delete;
  ProductMessages& operator=(const ProductMessages&) = delete;

  // Takes the messages since the last call, in UTF-8.
  std::vector<std::string> take();

  // For the receiver of the log: whether the line that it is given on this thread was caught.
  static bool caught(const wchar_t* message);

 private:
  std::vector<std::string> messages_;
};

}  // namespace zuhost
