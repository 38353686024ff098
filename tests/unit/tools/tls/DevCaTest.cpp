#include "tls/DevCa.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "OpenSslPem.h"

namespace zuvia::tls {
namespace {

using Store = Owner<X509_STORE, X509_STORE_free>;
using StoreContext = Owner<X509_STORE_CTX, X509_STORE_CTX_free>;

// What the library finds about a server certificate for a name, this root being trusted: X509_V_OK or the fault.
int verdict(const DevCa& authority, const Certificate& server, const std::string& name) {
  const X509Certificate root = parseCertificate(authority.root().certificatePem);
  const X509Certificate leaf = parseCertificate(server.certificatePem);
  const Store store(X509_STORE_new());
  X509_STORE_add_cert(store.get(), root.get());
  const StoreContext context(X509_STORE_CTX_new());
  X509_STORE_CTX_init(context.get(), store.get(), leaf.get(), nullptr);
  X509_VERIFY_PARAM* parameters = X509_STORE_CTX_get0_param(context.get());
  X509_VERIFY_PARAM_set_purpose(parameters, X509_PURPOSE_SSL_SERVER);
  X509_VERIFY_PARAM_set_flags(parameters, X509_V_FLAG_X509_STRICT);
  const bool isAddress = name.find_first_not_of("0123456789.") == std::string::npos || name.find(':') != name.npos;
  if (isAddress) {
    X509_VERIFY_PARAM_set1_ip_asc(parameters, name.c_str());
  } else {
    X509_VERIFY_PARAM_set1_host(parameters, name.c_str(), 0);
  }
  X509_verify_cert(context.get());
  return X509_STORE_CTX_get_error(context.get());
}

IssueOptions forNames(std::vector<std::string> dnsNames, std::vector<std::string> addresses = {}) {
  IssueOptions options;
  options.dnsNames = std::move(dnsNames);
  options.ipAddresses = std::move(addresses);
  return options;
}

std::string serialOf(const Certificate& certificate) {
  const X509Certificate parsed = parseCertificate(certificate.certificatePem);
  const ASN1_INTEGER* serial = X509_get0_serialNumber(parsed.get());
  return {reinterpret_cast<const char*>(serial->data), static_cast<std::size_t>(serial->length)};
}

TEST(DevCa, IssuesForEachOfTheNames) {
  const DevCa authority = DevCa::create("zuvia test");
  const Certificate server = authority.issue(forNames({"localhost", "*.zuvia.example"}, {"127.0.0.1", "::1"}));
  EXPECT_EQ(verdict(authority, server, "localhost"), X509_V_OK);
  EXPECT_EQ(verdict(authority, server, "config.zuvia.example"), X509_V_OK);
  EXPECT_EQ(verdict(authority, server, "127.0.0.1"), X509_V_OK);
  EXPECT_EQ(verdict(authority, server, "::1"), X509_V_OK);
  EXPECT_EQ(verdict(authority, server, "other.test"), X509_V_ERR_HOSTNAME_MISMATCH);
  EXPECT_EQ(verdict(authority, server, "127.0.0.2"), X509_V_ERR_IP_ADDRESS_MISMATCH);
}

TEST(DevCa, IssuesForAnAddressAlone) {
  const DevCa authority = DevCa::create("zuvia test");
  EXPECT_EQ(verdict(authority, authority.issue(forNames({}, {"127.0.0.1"})), "127.0.0.1"), X509_V_OK);
}

TEST(DevCa, TakesANameForNothingButAName) {
  const DevCa authority = DevCa::create("zuvia test");
  const Certificate server = authority.issue(forNames({"a.example,DNS:localhost"}));
  EXPECT_EQ(verdict(authority, server, "localhost"), X509_V_ERR_HOSTNAME_MISMATCH);
}

TEST(DevCa, RefusesNamesThatAreNone) {
  const DevCa authority = DevCa::create("zuvia test");
  EXPECT_THROW(authority.issue({}), std::runtime_error);
  EXPECT_THROW(authority.issue(forNames({""})), std::runtime_error);
  EXPECT_THROW(authority.issue(forNames({std::string("a\0b", 3)})), std::runtime_error);
  EXPECT_THROW(authority.issue(forNames({"localhost"}, {"no address"})), std::runtime_error);
}

TEST(DevCa, IsNotTrustedByAnother) {
  const DevCa authority = DevCa::create("zuvia test");
  const DevCa other = DevCa::create("zuvia test");
  EXPECT_NE(verdict(other, authority.issue(forNames({"localhost"})), "localhost"), X509_V_OK);
}

TEST(DevCa, KeepsToTheValidity) {
  const DevCa authority = DevCa::create("zuvia test");
  IssueOptions options = forNames({"localhost"});
  options.validity = {-100, -10};
  EXPECT_EQ(verdict(authority, authority.issue(options), "localhost"), X509_V_ERR_CERT_HAS_EXPIRED);
  options.validity = {100, 200};
  EXPECT_EQ(verdict(authority, authority.issue(options), "localhost"), X509_V_ERR_CERT_NOT_YET_VALID);
}

TEST(DevCa, TellsTheSecondsUntilExpiry) {
  const DevCa authority = DevCa::create("zuvia test");
  IssueOptions options = forNames({"localhost"});
  for (const std::int64_t seconds :
       std::initializer_list<std::int64_t>{-100'000, -10, 10, 200'000, 36'500 * kSecondsPerDay}) {
    options.validity.notBefore = -200'000;
    options.validity.notAfter = seconds;
    EXPECT_NEAR(static_cast<double>(secondsUntilExpiry(authority.issue(options).certificatePem)),
                static_cast<double>(seconds), 3);
  }
}

TEST(DevCa, VouchesOnlyForWhatARestrictedOneMay) {
  CaOptions restricted;
  restricted.permittedDnsNames = {"localhost"};
  restricted.permittedIpAddresses = {"127.0.0.1"};
  const DevCa authority = DevCa::create("zuvia test", restricted);
  EXPECT_EQ(verdict(authority, authority.issue(forNames({"localhost"}, {"127.0.0.1"})), "localhost"), X509_V_OK);
  EXPECT_EQ(verdict(authority, authority.issue(forNames({"a.example"})), "a.example"), X509_V_ERR_PERMITTED_VIOLATION);
  EXPECT_EQ(verdict(authority, authority.issue(forNames({}, {"127.0.0.2"})), "127.0.0.2"),
            X509_V_ERR_PERMITTED_VIOLATION);
}

TEST(DevCa, MakesCertificatesThatAreNoAuthorities) {
  const DevCa authority = DevCa::create("zuvia test");
  const Certificate server = authority.issue(forNames({"localhost"}));
  EXPECT_THROW(DevCa::load(server.certificatePem, server.keyPem), std::runtime_error);
}

TEST(DevCa, MakesAnotherSerialNumberAndKeyEachTime) {
  const DevCa authority = DevCa::create("zuvia test");
  const Certificate first = authority.issue(forNames({"localhost"}));
  const Certificate second = authority.issue(forNames({"localhost"}));
  EXPECT_NE(serialOf(first), serialOf(second));
  EXPECT_NE(first.keyPem, second.keyPem);
  EXPECT_NE(serialOf(first), serialOf(authority.root()));
}

TEST(DevCa, LoadsWhatItMade) {
  const DevCa made = DevCa::create("zuvia t\u00E4st");
  const std::string both = made.root().certificatePem + made.root().keyPem;
  const DevCa loaded = DevCa::load(both, both);
  EXPECT_EQ(loaded.root().certificatePem, made.root().certificatePem);
  EXPECT_EQ(loaded.root().keyPem, made.root().keyPem);
  EXPECT_EQ(verdict(made, loaded.issue(forNames({"localhost"})), "localhost"), X509_V_OK);
}

TEST(DevCa, RefusesToLoadWhatDoesNotFit) {
  const Certificate root = DevCa::create("zuvia test").root();
  EXPECT_THROW(DevCa::load(root.certificatePem, DevCa::create("zuvia test").root().keyPem), std::runtime_error);
  EXPECT_THROW(DevCa::load("text", root.keyPem), std::runtime_error);
  EXPECT_THROW(DevCa::load(root.certificatePem, ""), std::runtime_error);
}

TEST(DevCa, SaysWhatFailed) {
  try {
    DevCa::load("text", "");
    FAIL();
  } catch (const std::runtime_error& error) {
    EXPECT_THAT(error.what(), testing::MatchesRegex("read a certificate: error:.*no start line"));
  }
}

TEST(DevCa, RefusesANameThatIsTooLong) {
  EXPECT_THROW(DevCa::create(std::string(65, 'x')), std::runtime_error);
}

}  // namespace
}  // namespace zuvia::tls
