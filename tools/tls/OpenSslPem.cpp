#include "OpenSslPem.h"

#include <openssl/pem.h>

namespace zuvia::tls {
namespace {

Bio readerOf(const std::string& text) {
  return Bio(require(BIO_new_mem_buf(text.data(), static_cast<int>(text.size())), "read PEM text"));
}

// Without it the library would ask for the password of an encrypted key on the console.
int noPassword(char*, int, int, void*) {
  return -1;
}

}  // namespace

X509Certificate parseCertificate(const std::string& pem) {
  return X509Certificate(
      require(PEM_read_bio_X509(readerOf(pem).get(), nullptr, noPassword, nullptr), "read a certificate"));
}

Key parseKey(const std::string& pem) {
  return Key(require(PEM_read_bio_PrivateKey(readerOf(pem).get(), nullptr, noPassword, nullptr), "read a private key"));
}

}  // namespace zuvia::tls
