#pragma once

#include <openssl/ssl.h>

#include "tls/DevCa.h"

namespace zuvia::tls {

// Lets the servers of this context answer with the certificate, TLS 1.2 or newer. Both are copied from.
// Throws std::runtime_error when certificate and key do not fit.
void useCertificate(SSL_CTX& context, const Certificate& certificate);

}  // namespace zuvia::tls
