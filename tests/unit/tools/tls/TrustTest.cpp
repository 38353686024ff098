#include <gtest/gtest.h>

#include "../../support/HttpClient.h"
#include "TlsServer.h"
#include "tls/DevCa.h"

// The certificates as real clients see them: TLS with libcurl, which trusts the user's root certificates.

namespace zuvia::tls {
namespace {

constexpr int kAccepted = 0;
constexpr int kRefused = 60;  // CURLE_PEER_FAILED_VERIFICATION

// Trusted for as long as it lives.
class Trust {
 public:
  explicit Trust(const DevCa& authority) : pem_(authority.root().certificatePem) { EXPECT_TRUE(addToUserRoots(pem_)); }
  Trust(const Trust&) = delete;
  Trust& operator=(const Trust&) = delete;
  ~Trust() { EXPECT_TRUE(removeFromUserRoots(pem_)); }

 private:
  std::string pem_;
};

IssueOptions forName(const std::string& name) {
  IssueOptions options;
  options.dnsNames = {name};
  return options;
}

int codeOf(const Certificate& certificate) {
  const test::TlsServer server(certificate);
  const test::TransferResult result = test::transfer({.url = server.url()});
  EXPECT_EQ(result.body, result.code == kAccepted ? "hello" : "");
  return result.code;
}

TEST(Trust, AcceptsACertificateOfATrustedAuthority) {
  const DevCa authority = DevCa::create("zuvia test");
  const Trust trust(authority);
  EXPECT_EQ(codeOf(authority.issue(forName("localhost"))), kAccepted);
}

TEST(Trust, RefusesAnAuthorityThatIsNotTrusted) {
  EXPECT_EQ(codeOf(DevCa::create("zuvia test").issue(forName("localhost"))), kRefused);
}

TEST(Trust, RefusesAnAuthorityThatIsNotTrustedAnyMore) {
  const DevCa authority = DevCa::create("zuvia test");
  { const Trust trust(authority); }
  EXPECT_EQ(codeOf(authority.issue(forName("localhost"))), kRefused);
}

TEST(Trust, RefusesAnotherName) {
  const DevCa authority = DevCa::create("zuvia test");
  const Trust trust(authority);
  EXPECT_EQ(codeOf(authority.issue(forName("other.example"))), kRefused);
}

TEST(Trust, RefusesAnExpiredCertificate) {
  const DevCa authority = DevCa::create("zuvia test");
  const Trust trust(authority);
  IssueOptions options = forName("localhost");
  options.validity = {-10, -5};
  EXPECT_EQ(codeOf(authority.issue(options)), kRefused);
}

TEST(Trust, RefusesWhatARestrictedAuthorityMayNotVouchFor) {
  CaOptions restricted;
  restricted.permittedDnsNames = {"other.example"};
  const DevCa authority = DevCa::create("zuvia test", restricted);
  const Trust trust(authority);
  EXPECT_EQ(codeOf(authority.issue(forName("localhost"))), kRefused);
}

TEST(UserRoots, HoldExactlyWhatWasAdded) {
  const std::string first = DevCa::create("zuvia test").root().certificatePem;
  const std::string second = DevCa::create("zuvia test").root().certificatePem;
  EXPECT_FALSE(isInUserRoots(first));
  EXPECT_TRUE(addToUserRoots(first));
  EXPECT_TRUE(addToUserRoots(first)) << "twice";
  EXPECT_TRUE(isInUserRoots(first));
  EXPECT_FALSE(isInUserRoots(second)) << "of the same name";
  EXPECT_TRUE(removeFromUserRoots(second)) << "which is not there";
  EXPECT_TRUE(isInUserRoots(first));
  EXPECT_TRUE(removeFromUserRoots(first));
  EXPECT_FALSE(isInUserRoots(first));
}

TEST(UserRoots, RefuseWhatIsNoCertificate) {
  EXPECT_THROW(addToUserRoots("text"), std::runtime_error);
  EXPECT_THROW(removeFromUserRoots(""), std::runtime_error);
  EXPECT_THROW(isInUserRoots("-----BEGIN CERTIFICATE-----\nAAAA\n-----END CERTIFICATE-----\n"), std::runtime_error);
}

}  // namespace
}  // namespace zuvia::tls
