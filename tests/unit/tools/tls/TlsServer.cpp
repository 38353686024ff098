#include "TlsServer.h"

#include <thread>

#include <httplib.h>

#include "tls/ServerContext.h"

namespace zuvia::test {

struct TlsServer::Private {
  explicit Private(const tls::Certificate& certificate)
      : server([&](SSL_CTX& context) {
          tls::useCertificate(context, certificate);
          return true;
        }) {}

  httplib::SSLServer server;
  std::thread thread;
  std::string url;
};

TlsServer::TlsServer(const tls::Certificate& certificate) : m(std::make_unique<Private>(certificate)) {
  m->server.Get("/", [](const auto&, auto& response) { response.set_content("hello", "text/plain"); });
  m->server.set_keep_alive_timeout(1);
  m->url = "https://localhost:" + std::to_string(m->server.bind_to_any_port("127.0.0.1")) + "/";
  m->thread = std::thread([this] { m->server.listen_after_bind(); });
}

TlsServer::~TlsServer() {
  while (!m->server.is_running()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  m->server.stop();
  m->thread.join();
}

const std::string& TlsServer::url() const {
  return m->url;
}

}  // namespace zuvia::test
