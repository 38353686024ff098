#include "tls/DevCa.h"

#include <cstring>
#include <stdexcept>
#include <utility>

#include <openssl/pem.h>

#include "OpenSsl.h"
#include "OpenSslPem.h"

namespace zuvia::tls {
namespace {

constexpr int kSerialBits = 127;  // a positive number of 16 bytes

enum class NameUse { Subject, Constraint };

Key makeKey() {
  return Key(require(EVP_EC_gen("P-256"), "make a key"));
}

template <typename Write>
std::string pemOf(Write write) {
  const Bio out(require(BIO_new(BIO_s_mem()), "write PEM text"));
  require(write(out.get()), "write PEM text");
  char* data = nullptr;
  const long size = BIO_get_mem_data(out.get(), &data);
  return {data, static_cast<std::size_t>(size)};
}

Certificate pemOf(X509* certificate, EVP_PKEY* key) {
  return {pemOf([&](BIO* out) { return PEM_write_bio_X509(out, certificate); }), pemOf([&](BIO* out) {
            return PEM_write_bio_PKCS8PrivateKey(out, key, nullptr, nullptr, 0, nullptr, nullptr);
          })};
}

void setSerial(X509* certificate) {
  const BigNumber number(require(BN_new(), "make a serial number"));
  require(BN_rand(number.get(), kSerialBits, BN_RAND_TOP_ONE, BN_RAND_BOTTOM_ANY), "make a serial number");
  require(BN_to_ASN1_INTEGER(number.get(), X509_get_serialNumber(certificate)), "make a serial number");
}

void setTime(ASN1_TIME* time, std::int64_t secondsFromNow) {
  const auto days = static_cast<int>(secondsFromNow / kSecondsPerDay);
  const auto seconds = static_cast<long>(secondsFromNow % kSecondsPerDay);
  require(X509_time_adj_ex(time, days, seconds, nullptr), "set a certificate's validity");
}

void setSubject(X509* certificate, const std::string& commonName) {
  const auto* text = reinterpret_cast<const unsigned char*>(commonName.data());
  require(X509_NAME_add_entry_by_NID(X509_get_subject_name(certificate), NID_commonName, MBSTRING_UTF8, text,
                                     static_cast<int>(commonName.size()), -1, 0),
          "set a certificate's name");
}

// What a root and a server certificate have in common; everything but extensions and signature.
X509Certificate makeCertificate(const std::string& commonName, const Validity& validity, EVP_PKEY* key) {
  X509Certificate certificate(require(X509_new(), "make a certificate"));
  require(X509_set_version(certificate.get(), X509_VERSION_3), "make a certificate");
  setSerial(certificate.get());
  setTime(X509_getm_notBefore(certificate.get()), validity.notBefore);
  setTime(X509_getm_notAfter(certificate.get()), validity.notAfter);
  setSubject(certificate.get(), commonName);
  require(X509_set_pubkey(certificate.get(), key), "make a certificate");
  return certificate;
}

void addExtension(X509* certificate, X509* issuer, int nid, const char* value) {
  X509V3_CTX context;
  X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
  const X509Extension extension(
      require(X509V3_EXT_conf_nid(nullptr, &context, nid, value), "make a certificate extension"));
  require(X509_add_ext(certificate, extension.get(), -1), "add a certificate extension");
}

void addExtension(X509* certificate, int nid, void* value, bool critical) {
  require(X509_add1_ext_i2d(certificate, nid, value, critical ? 1 : 0, X509V3_ADD_DEFAULT),
          "add a certificate extension");
}

GeneralName makeName(int type, const std::string& value, NameUse use) {
  if (value.empty() || value.find('\0') != std::string::npos) throw std::runtime_error("not a name: \"" + value + "\"");
  const int isConstraint = use == NameUse::Constraint ? 1 : 0;
  return GeneralName(
      require(a2i_GENERAL_NAME(nullptr, nullptr, nullptr, type, value.c_str(), isConstraint), "make a name"));
}

template <typename Add>
void forEachName(const std::vector<std::string>& dnsNames, const std::vector<std::string>& ipAddresses, Add add) {
  for (const std::string& name : dnsNames) add(GEN_DNS, name);
  for (const std::string& address : ipAddresses) add(GEN_IPADD, address);
}

void addAlternativeNames(X509* certificate, const IssueOptions& options) {
  const GeneralNames names(require(GENERAL_NAMES_new(), "make names"));
  forEachName(options.dnsNames, options.ipAddresses, [&](int type, const std::string& value) {
    GeneralName name = makeName(type, value, NameUse::Subject);
    require(sk_GENERAL_NAME_push(names.get(), name.get()), "make names");
    static_cast<void>(name.release());
  });
  addExtension(certificate, NID_subject_alt_name, names.get(), false);
}

// An address with the mask that leaves just this address.
std::string singleAddress(const std::string& address) {
  const bool isIpv6 = address.find(':') != std::string::npos;
  return address + (isIpv6 ? "/ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff" : "/255.255.255.255");
}

GeneralSubtree makeSubtree(int type, const std::string& value) {
  GeneralSubtree subtree(require(GENERAL_SUBTREE_new(), "make a name restriction"));
  GENERAL_NAME_free(subtree->base);
  subtree->base = nullptr;
  subtree->base = makeName(type, type == GEN_IPADD ? singleAddress(value) : value, NameUse::Constraint).release();
  return subtree;
}

void addRestriction(X509* certificate, const CaOptions& options) {
  if (options.permittedDnsNames.empty() && options.permittedIpAddresses.empty()) return;
  const NameConstraints constraints(require(NAME_CONSTRAINTS_new(), "make a name restriction"));
  constraints->permittedSubtrees = require(sk_GENERAL_SUBTREE_new_null(), "make a name restriction");
  forEachName(options.permittedDnsNames, options.permittedIpAddresses, [&](int type, const std::string& value) {
    GeneralSubtree subtree = makeSubtree(type, value);
    require(sk_GENERAL_SUBTREE_push(constraints->permittedSubtrees, subtree.get()), "make a name restriction");
    static_cast<void>(subtree.release());
  });
  addExtension(certificate, NID_name_constraints, constraints.get(), true);
}

void sign(X509* certificate, X509* issuer, EVP_PKEY* issuerKey) {
  require(X509_set_issuer_name(certificate, X509_get_subject_name(issuer)), "sign a certificate");
  require(X509_sign(certificate, issuerKey, EVP_sha256()), "sign a certificate");
}

X509Certificate makeRoot(const std::string& commonName, const CaOptions& options, EVP_PKEY* key) {
  X509Certificate root = makeCertificate(commonName, options.validity, key);
  addExtension(root.get(), root.get(), NID_basic_constraints, "critical,CA:TRUE,pathlen:0");
  addExtension(root.get(), root.get(), NID_key_usage, "critical,keyCertSign,cRLSign");
  addExtension(root.get(), root.get(), NID_subject_key_identifier, "hash");
  addRestriction(root.get(), options);
  sign(root.get(), root.get(), key);
  return root;
}

const std::string& firstName(const IssueOptions& options) {
  if (!options.dnsNames.empty()) return options.dnsNames.front();
  if (!options.ipAddresses.empty()) return options.ipAddresses.front();
  throw std::runtime_error("a server certificate needs a name");
}

X509Certificate makeServer(const IssueOptions& options, X509* issuer, EVP_PKEY* issuerKey, EVP_PKEY* key) {
  X509Certificate server = makeCertificate(firstName(options), options.validity, key);
  addExtension(server.get(), issuer, NID_basic_constraints, "critical,CA:FALSE");
  addExtension(server.get(), issuer, NID_key_usage, "critical,digitalSignature");
  addExtension(server.get(), issuer, NID_ext_key_usage, "serverAuth");
  addExtension(server.get(), issuer, NID_subject_key_identifier, "hash");
  addExtension(server.get(), issuer, NID_authority_key_identifier, "keyid:always");
  addAlternativeNames(server.get(), options);
  sign(server.get(), issuer, issuerKey);
  return server;
}

}  // namespace

struct DevCa::Private {
  X509Certificate certificate;
  Key key;
  Certificate root;
};

DevCa::DevCa(std::unique_ptr<Private> parts) : m(std::move(parts)) {}
DevCa::DevCa(DevCa&&) noexcept = default;
DevCa& DevCa::operator=(DevCa&&) noexcept = default;
DevCa::~DevCa() = default;

DevCa DevCa::create(const std::string& commonName, const CaOptions& options) {
  Key key = makeKey();
  X509Certificate root = makeRoot(commonName, options, key.get());
  Certificate text = pemOf(root.get(), key.get());
  return DevCa(std::make_unique<Private>(Private{std::move(root), std::move(key), std::move(text)}));
}

DevCa DevCa::load(const std::string& certificatePem, const std::string& keyPem) {
  X509Certificate root = parseCertificate(certificatePem);
  Key key = parseKey(keyPem);
  require(X509_check_private_key(root.get(), key.get()), "certificate and private key do not belong together");
  if (X509_check_ca(root.get()) != 1) throw std::runtime_error("not the certificate of an authority");
  Certificate text = pemOf(root.get(), key.get());
  return DevCa(std::make_unique<Private>(Private{std::move(root), std::move(key), std::move(text)}));
}

const Certificate& DevCa::root() const {
  return m->root;
}

Certificate DevCa::issue(const IssueOptions& options) const {
  const Key key = makeKey();
  const X509Certificate server = makeServer(options, m->certificate.get(), m->key.get(), key.get());
  return pemOf(server.get(), key.get());
}

std::int64_t secondsUntilExpiry(const std::string& certificatePem) {
  const X509Certificate certificate = parseCertificate(certificatePem);
  int days = 0;
  int seconds = 0;
  require(ASN1_TIME_diff(&days, &seconds, nullptr, X509_get0_notAfter(certificate.get())),
          "read a certificate's validity");
  return days * kSecondsPerDay + seconds;
}

}  // namespace zuvia::tls
