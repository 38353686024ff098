#pragma once

#include <string>

namespace zuvia::test {

// Makes the current user trust a root certificate for as long as it lives. Programs of other prefixes and
// users are not concerned. Programs read the store when they make their first TLS connection.
class TrustedRoot {
 public:
  // Throws std::runtime_error when the certificate cannot be added.
  explicit TrustedRoot(std::string certificatePem);

  // Takes it out again; a failure fails the test.
  ~TrustedRoot();

  TrustedRoot(const TrustedRoot&) = delete;
  TrustedRoot& operator=(const TrustedRoot&) = delete;

 private:
  std::string certificatePem_;
};

}  // namespace zuvia::test
