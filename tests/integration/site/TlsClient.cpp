#include "integration/site/TlsClient.h"

#include <openssl/bio.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>

#include <array>
#include <stdexcept>

namespace zuvia::test {
namespace {

template <auto release>
struct Release {
  template <typename T>
  void operator()(T* object) const {
    release(object);
  }
};

constexpr std::size_t kReadBytes = 65536;

void require(bool succeeded, const char* what) {
  if (!succeeded) throw std::runtime_error(std::string("TLS: ") + what + " failed");
}

}  // namespace

struct TlsClient::Private {
  std::unique_ptr<SSL_CTX, Release<SSL_CTX_free>> context{SSL_CTX_new(TLS_client_method())};
  std::unique_ptr<BIO, Release<BIO_free_all>> connection;
};

std::string HttpAnswer::header(const std::string& name) const {
  const std::string start = "\r\n" + name + ": ";
  const std::size_t begin = head.find(start);
  if (begin == std::string::npos) return "";
  const std::size_t value = begin + start.size();
  return head.substr(value, head.find("\r\n", value) - value);
}

TlsClient::TlsClient(unsigned short port, const std::string& server, const std::string& rootPem)
    : m(std::make_unique<Private>()) {
  const std::unique_ptr<BIO, Release<BIO_free>> text(BIO_new_mem_buf(rootPem.data(), static_cast<int>(rootPem.size())));
  const std::unique_ptr<X509, Release<X509_free>> root(PEM_read_bio_X509(text.get(), nullptr, nullptr, nullptr));
  require(X509_STORE_add_cert(SSL_CTX_get_cert_store(m->context.get()), root.get()) == 1, "the root certificate");
  SSL_CTX_set_read_ahead(m->context.get(), 1);  // every look at a socket is a round trip under Wine
  SSL_CTX_set_default_read_buffer_len(m->context.get(), kReadBytes);
  SSL_CTX_set_verify(m->context.get(), SSL_VERIFY_PEER, nullptr);
  m->connection.reset(BIO_new_ssl_connect(m->context.get()));
  SSL* tls = nullptr;
  BIO_get_ssl(m->connection.get(), &tls);
  require(SSL_set1_host(tls, server.c_str()) == 1, "the name");
  const std::string address = "127.0.0.1:" + std::to_string(port);
  BIO_set_conn_hostname(m->connection.get(), address.c_str());
  require(BIO_do_connect(m->connection.get()) == 1, "the connection");
  require(BIO_do_handshake(m->connection.get()) == 1, "the handshake");
}

TlsClient::~TlsClient() = default;

void TlsClient::send(const std::string& requests) {
  const int sent = BIO_write(m->connection.get(), requests.data(), static_cast<int>(requests.size()));
  require(sent == static_cast<int>(requests.size()), "sending");
}

HttpAnswer TlsClient::receive(bool hasBody) {
  std::size_t end = 0;
  while ((end = received_.find("\r\n\r\n")) == std::string::npos) receiveMore();
  HttpAnswer answer{0, received_.substr(0, end + 2), {}};
  received_.erase(0, end + 4);
  answer.status = std::stoi(answer.head.substr(answer.head.find(' ')));
  const std::size_t length = hasBody ? std::stoul(answer.header("Content-Length")) : 0;
  while (received_.size() < length) receiveMore();
  answer.body = received_.substr(0, length);
  received_.erase(0, length);
  return answer;
}

HttpAnswer TlsClient::ask(const std::string& request, bool hasBody) {
  send(request);
  return receive(hasBody);
}

void TlsClient::receiveMore() {
  std::array<char, 16384> buffer{};
  const int count = BIO_read(m->connection.get(), buffer.data(), static_cast<int>(buffer.size()));
  require(count > 0, "receiving");
  received_.append(buffer.data(), static_cast<std::size_t>(count));
}

}  // namespace zuvia::test
