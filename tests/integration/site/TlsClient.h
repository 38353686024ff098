#pragma once

#include <memory>
#include <string>

namespace zuvia::test {

// One answer of a server.
struct HttpAnswer {
  int status = 0;
  std::string head;  // status line and headers, each with its line end
  std::string body;

  // The value of a header, spelt as the server does; "": there is none.
  std::string header(const std::string& name) const;
};

// A connection over TLS to a port on 127.0.0.1 that trusts one root certificate and no other. Requests may be sent
// before the answers to earlier ones have been read. Failures throw std::runtime_error.
class TlsClient {
 public:
  // server: the name that the certificate must be valid for. rootPem: the certificate of its authority.
  TlsClient(unsigned short port, const std::string& server, const std::string& rootPem);
  ~TlsClient();
  TlsClient(const TlsClient&) = delete;
  TlsClient& operator=(const TlsClient&) = delete;

  // Sends requests as they are to be on the wire.
  void send(const std::string& requests);

  // Reads the next answer, which must declare its length. hasBody: false for the answer to HEAD.
  HttpAnswer receive(bool hasBody = true);

  // Both, for one request.
  HttpAnswer ask(const std::string& request, bool hasBody = true);

 private:
  void receiveMore();

  struct Private;
  std::unique_ptr<Private> m;
  std::string received_;
};

}  // namespace zuvia::test
