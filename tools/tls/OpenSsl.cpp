#include "OpenSsl.h"

#include <array>
#include <stdexcept>

#include <openssl/err.h>

namespace zuvia::tls {

void fail(const std::string& what) {
  const unsigned long code = ERR_peek_last_error();
  ERR_clear_error();
  if (code == 0) throw std::runtime_error(what);
  std::array<char, 256> text{};
  ERR_error_string_n(code, text.data(), text.size());
  throw std::runtime_error(what + ": " + text.data());
}

}  // namespace zuvia::tls
