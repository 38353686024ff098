#include "support/RootStore.h"

#include <windows.h>
// After windows.h.
#include <wincrypt.h>

#include <vector>

namespace zuvia::test {

void* openStoreOf(const std::string& rootPem) {
  std::vector<BYTE> der(rootPem.size());
  auto size = static_cast<DWORD>(der.size());
  CryptStringToBinaryA(rootPem.c_str(), 0, CRYPT_STRING_BASE64HEADER, der.data(), &size, nullptr, nullptr);
  void* const store = CertOpenStore(CERT_STORE_PROV_MEMORY, 0, 0, 0, nullptr);
  CertAddEncodedCertificateToStore(store, X509_ASN_ENCODING, der.data(), size, CERT_STORE_ADD_ALWAYS, nullptr);
  return store;
}

}  // namespace zuvia::test
