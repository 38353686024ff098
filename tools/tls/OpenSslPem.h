#pragma once

#include <string>

#include "OpenSsl.h"

namespace zuvia::tls {

// The first certificate, or private key, in the text. Throw std::runtime_error when there is none; a key that
// is encrypted counts as none, nobody is asked for its password.
X509Certificate parseCertificate(const std::string& pem);
Key parseKey(const std::string& pem);

}  // namespace zuvia::tls
