#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

// A certificate authority for development and tests: makes TLS certificates for servers on this
// machine, and puts its root where Windows programs look for trusted ones.
//
// Everything here may be called on any thread; one DevCa object may be used by several threads at
// once. Failures throw std::runtime_error with the text of the library that failed, except where an
// operation says that it answers false. Nothing is logged.

namespace zuvia::tls {

// A certificate and its private key, both as PEM text. The key is not encrypted.
struct Certificate {
  std::string certificatePem;
  std::string keyPem;
};

inline constexpr std::int64_t kSecondsPerDay = 24 * 60 * 60;

// A period of validity, both ends in seconds from now; negative is the past. It may lie wholly in
// the past or in the future. Starting a day early forgives clocks that are not quite right.
struct Validity {
  std::int64_t notBefore = -kSecondsPerDay;
  std::int64_t notAfter = 365 * kSecondsPerDay;
};

// The only names that certificates of an authority can be valid for; empty: no restriction.
struct CaOptions {
  std::vector<std::string> permittedDnsNames;     // each includes its subdomains
  std::vector<std::string> permittedIpAddresses;  // IPv4 or IPv6 in text form
  Validity validity{-kSecondsPerDay, 3650 * kSecondsPerDay};
};

// What a server certificate is for. The first name is its subject as well; one is needed at least.
struct IssueOptions {
  std::vector<std::string> dnsNames;     // ASCII; a leading "*." is a wildcard
  std::vector<std::string> ipAddresses;  // IPv4 or IPv6 in text form
  Validity validity;
};

class DevCa {
 public:
  // Makes a new authority: a self-signed root with a key of its own (EC P-256, SHA-256) and a random
  // serial number. commonName is UTF-8, at most 64 characters.
  static DevCa create(const std::string& commonName, const CaOptions& options = {});

  // Takes up one that was made before, from root().certificatePem and root().keyPem; each is the first of
  // its kind in the text, so that one text may hold both. Throws as well
  // when the two do not belong together or the certificate is no authority's. An expired one loads.
  static DevCa load(const std::string& certificatePem, const std::string& keyPem);

  DevCa(DevCa&&) noexcept;
  DevCa& operator=(DevCa&&) noexcept;
  ~DevCa();

  // The root certificate. Valid as long as the object.
  const Certificate& root() const;

  // Makes a server certificate with a new key, signed by this authority. It is not checked against the
  // authority's own restrictions or validity: a client will.
  Certificate issue(const IssueOptions& options) const;

 private:
  struct Private;
  explicit DevCa(std::unique_ptr<Private> parts);
  std::unique_ptr<Private> m;
};

// Returns the seconds from now until the certificate expires; 0 or less when it has.
std::int64_t secondsUntilExpiry(const std::string& certificatePem);

// The trusted root certificates of the current user. In a session with a desktop Windows itself asks
// the user before one is added or removed, and the call waits for the answer.
//
// Each answers false, with the code in GetLastError(), when the store could not be opened or changed
// (ERROR_CANCELLED: the user said no), and throws when the text is not a certificate.

// Adds the certificate. Answers true as well when it is there already.
bool addToUserRoots(const std::string& certificatePem);

// Takes out exactly this certificate. Answers true as well when it is not there.
bool removeFromUserRoots(const std::string& certificatePem);

// Returns whether exactly this certificate is there.
bool isInUserRoots(const std::string& certificatePem);

}  // namespace zuvia::tls
