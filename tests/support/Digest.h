#pragma once

#include <string>
#include <string_view>

namespace zuvia::test {

// Digests as lower-case hexadecimal text. Made with OpenSSL, so a result that the product made with the
// system's own services is held against another implementation.
std::string md5(std::string_view data);
std::string sha256(std::string_view data);

}  // namespace zuvia::test
