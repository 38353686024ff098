#pragma once

#include <memory>
#include <string>

#include <openssl/bio.h>
#include <openssl/bn.h>
#include <openssl/evp.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

// Owners of the library's objects, and its failures as exceptions. For the sources of this room only.

namespace zuvia::tls {

template <auto release>
struct Releaser {
  template <typename T>
  void operator()(T* object) const {
    release(object);
  }
};

template <typename T, auto release>
using Owner = std::unique_ptr<T, Releaser<release>>;

using Bio = Owner<BIO, BIO_free>;
using BigNumber = Owner<BIGNUM, BN_free>;
using Key = Owner<EVP_PKEY, EVP_PKEY_free>;
using X509Certificate = Owner<X509, X509_free>;
using X509Extension = Owner<X509_EXTENSION, X509_EXTENSION_free>;
using GeneralName = Owner<GENERAL_NAME, GENERAL_NAME_free>;
using GeneralNames = Owner<GENERAL_NAMES, GENERAL_NAMES_free>;
using GeneralSubtree = Owner<GENERAL_SUBTREE, GENERAL_SUBTREE_free>;
using NameConstraints = Owner<NAME_CONSTRAINTS, NAME_CONSTRAINTS_free>;

// Throws std::runtime_error: what was done, and the text of the library's last error, if there is one.
// Empties the library's list of errors of this thread.
[[noreturn]] void fail(const std::string& what);

// Passes on what a library call returned; throws as fail() does when it says that the call failed.
template <typename T>
T* require(T* result, const char* what) {
  if (result == nullptr) fail(what);
  return result;
}

inline void require(int result, const char* what) {
  if (result <= 0) fail(what);
}

}  // namespace zuvia::tls
