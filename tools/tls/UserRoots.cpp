#include <cstddef>
#include <stdexcept>
#include <vector>

#include <windows.h>

#include <wincrypt.h>

#include "tls/DevCa.h"

namespace zuvia::tls {
namespace {

// Closes without changing the error code that the caller is about to read.
struct StoreCloser {
  void operator()(void* store) const {
    const DWORD error = GetLastError();
    CertCloseStore(store, 0);
    SetLastError(error);
  }
};

struct ContextReleaser {
  void operator()(const CERT_CONTEXT* context) const {
    const DWORD error = GetLastError();
    CertFreeCertificateContext(context);
    SetLastError(error);
  }
};

using CertificateStore = std::unique_ptr<void, StoreCloser>;
using CertificateContext = std::unique_ptr<const CERT_CONTEXT, ContextReleaser>;

std::vector<BYTE> derOf(const std::string& pem) {
  const auto length = static_cast<DWORD>(pem.size());
  DWORD size = 0;
  if (!CryptStringToBinaryA(pem.data(), length, CRYPT_STRING_BASE64HEADER, nullptr, &size, nullptr, nullptr)) return {};
  std::vector<BYTE> der(size);
  if (!CryptStringToBinaryA(pem.data(), length, CRYPT_STRING_BASE64HEADER, der.data(), &size, nullptr, nullptr))
    return {};
  der.resize(size);
  return der;
}

CertificateContext contextOf(const std::string& pem) {
  const std::vector<BYTE> der = derOf(pem);
  CertificateContext context(
      CertCreateCertificateContext(X509_ASN_ENCODING, der.data(), static_cast<DWORD>(der.size())));
  if (!context) throw std::runtime_error("not a certificate");
  return context;
}

CertificateStore openUserRoots(DWORD flags = 0) {
  return CertificateStore(
      CertOpenStore(CERT_STORE_PROV_SYSTEM_W, 0, 0, CERT_SYSTEM_STORE_CURRENT_USER | flags, L"ROOT"));
}

CertificateContext find(const CertificateStore& store, const CertificateContext& certificate) {
  return CertificateContext(
      CertFindCertificateInStore(store.get(), X509_ASN_ENCODING, 0, CERT_FIND_EXISTING, certificate.get(), nullptr));
}

}  // namespace

bool addToUserRoots(const std::string& certificatePem) {
  const CertificateContext certificate = contextOf(certificatePem);
  const CertificateStore store = openUserRoots();
  return store && (find(store, certificate) || CertAddCertificateContextToStore(store.get(), certificate.get(),
                                                                                CERT_STORE_ADD_NEW, nullptr) != FALSE);
}

bool removeFromUserRoots(const std::string& certificatePem) {
  const CertificateContext certificate = contextOf(certificatePem);
  const CertificateStore store = openUserRoots();
  if (!store) return false;
  CertificateContext found = find(store, certificate);
  if (!found) return true;
  // Deleting frees the context whatever happens. Wine forgets the deletion at the close unless it is asked to write.
  return CertDeleteCertificateFromStore(found.release()) != FALSE &&
         CertControlStore(store.get(), 0, CERT_STORE_CTRL_COMMIT, nullptr) != FALSE;
}

bool isInUserRoots(const std::string& certificatePem) {
  const CertificateContext certificate = contextOf(certificatePem);
  const CertificateStore store = openUserRoots(CERT_STORE_READONLY_FLAG);
  return store && find(store, certificate);
}

}  // namespace zuvia::tls
