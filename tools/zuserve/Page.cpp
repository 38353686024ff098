#include "zuserve/Page.h"

#include <array>
#include <stdexcept>

#include <openssl/evp.h>
#include <openssl/sha.h>

#include "zuserve/PageBytes.h"

namespace zuvia::zuserve {
namespace {

// What stands between the one pair of these tags.
std::string_view contentOf(std::string_view tag) {
  const std::string begin = "<" + std::string(tag) + ">";
  const std::string end = "</" + std::string(tag) + ">";
  const std::size_t first = pageText().find(begin);
  const std::size_t last = pageText().find(end);
  if (first == std::string_view::npos || last == std::string_view::npos)
    throw std::logic_error("the page lacks " + begin);
  return pageText().substr(first + begin.size(), last - first - begin.size());
}

std::string hashSource(std::string_view content) {
  std::array<unsigned char, SHA256_DIGEST_LENGTH> digest{};
  SHA256(reinterpret_cast<const unsigned char*>(content.data()), content.size(), digest.data());
  std::array<unsigned char, 4 * ((SHA256_DIGEST_LENGTH + 2) / 3) + 1> text{};
  EVP_EncodeBlock(text.data(), digest.data(), static_cast<int>(digest.size()));
  return "'sha256-" + std::string(reinterpret_cast<const char*>(text.data())) + "'";
}

std::string makePolicy() {
  return "default-src 'none'; script-src " + hashSource(contentOf("script")) + "; style-src " +
         hashSource(contentOf("style")) +
         "; img-src data:; connect-src 'self'; base-uri 'none'; form-action 'none'; frame-ancestors 'none'; "
         "require-trusted-types-for 'script'; trusted-types 'none'";
}

}  // namespace

std::string_view pageText() {
  return {reinterpret_cast<const char*>(kPageBytes), kPageSize};
}

const std::string& pagePolicy() {
  static const std::string policy = makePolicy();
  return policy;
}

}  // namespace zuvia::zuserve
