#pragma once

#include <mutex>
#include <optional>
#include <string>

namespace zuvia::zupack {

// Catches the log lines of the updater's own code for as long as the object lives; one at a time. Nothing
// of them reaches the standard error stream meanwhile.
class ProductLog {
 public:
  ProductLog();
  ProductLog(const ProductLog&) = delete;
  ProductLog& operator=(const ProductLog&) = delete;
  ~ProductLog();

  // Takes the first message since the last call, in UTF-8, and forgets the others. The first one names the
  // cause; what follows are its consequences.
  std::optional<std::string> takeFirst();

 private:
  void add(const wchar_t* message);

  std::mutex mutex_;
  std::optional<std::string> first_;
};

}  // namespace zuvia::zupack
