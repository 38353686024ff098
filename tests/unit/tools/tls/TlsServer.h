#pragma once

#include <memory>
#include <string>

#include "tls/DevCa.h"

namespace zuvia::test {

// A server on 127.0.0.1 that answers every GET of "/" with "hello" and this certificate.
class TlsServer {
 public:
  explicit TlsServer(const tls::Certificate& certificate);
  ~TlsServer();

  // Under the name localhost.
  const std::string& url() const;

 private:
  struct Private;
  std::unique_ptr<Private> m;
};

}  // namespace zuvia::test
