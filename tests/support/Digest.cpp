#include "support/Digest.h"

#include <openssl/evp.h>

#include <array>
#include <stdexcept>

namespace zuvia::test {
namespace {

std::string digest(std::string_view data, const EVP_MD* method) {
  std::array<unsigned char, EVP_MAX_MD_SIZE> value{};
  unsigned size = 0;
  if (EVP_Digest(data.data(), data.size(), value.data(), &size, method, nullptr) != 1) {
    throw std::runtime_error("EVP_Digest failed");
  }
  std::string text;
  for (unsigned i = 0; i < size; ++i) {
    text += "0123456789abcdef"[value[i] >> 4];
    text += "0123456789abcdef"[value[i] & 15];
  }
  return text;
}

}  // namespace

std::string md5(std::string_view data) {
  return digest(data, EVP_md5());
}

std::string sha256(std::string_view data) {
  return digest(data, EVP_sha256());
}

}  // namespace zuvia::test
