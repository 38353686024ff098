#include "tls/ServerContext.h"

#include "OpenSslPem.h"

namespace zuvia::tls {

void useCertificate(SSL_CTX& context, const Certificate& certificate) {
  const X509Certificate parsed = parseCertificate(certificate.certificatePem);
  const Key key = parseKey(certificate.keyPem);
  require(SSL_CTX_set_min_proto_version(&context, TLS1_2_VERSION), "set up TLS");
  require(SSL_CTX_use_certificate(&context, parsed.get()), "use a certificate");
  require(SSL_CTX_use_PrivateKey(&context, key.get()), "use a private key");
}

}  // namespace zuvia::tls
