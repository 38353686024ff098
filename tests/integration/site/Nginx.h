#pragma once

#include <string>

namespace zuvia::test {

// The nginx of this machine, with one worker, serving what a part of its http block says; it ends with the object. Its
// files lie in a directory of its own, as with-nginx made it. One at a time.
class Nginx {
 public:
  // Starts it. include: the part, as Linux names it. Throws std::runtime_error, with what nginx said, when it does not
  // accept that or does not start.
  explicit Nginx(const std::wstring& include);
  ~Nginx();
  Nginx(const Nginx&) = delete;
  Nginx& operator=(const Nginx&) = delete;

  // Has it read its configuration again; returns when no connection meets the old one any more.
  void reload();

  // The directory, as Windows names it and as Linux does.
  static std::wstring directory();
  static std::wstring linuxDirectory();

 private:
  void run(const std::wstring& action);
};

}  // namespace zuvia::test
