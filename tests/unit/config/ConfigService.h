#pragma once

#include <memory>
#include <string>

#include "ServiceRedirection.h"
#include "support/TestServer.h"
#include "support/TrustedRoot.h"

namespace zuvia::test {

inline constexpr const char* kServicePath = "/configs/pc/post";
inline constexpr const char* kProductionUrl = "https://config.zuvia.example/configs/pc/post";
inline constexpr const char* kTestUrl = "https://localhost:18443/configs/pc/post";

// Both configuration services, served by this program; trusted unless it is said otherwise.
class ConfigService {
 public:
  explicit ConfigService(const TestServerOptions& options = {}, bool trusted = true) : server(options) {
    if (trusted) trusted_ = std::make_unique<TrustedRoot>(server.rootPem());
  }

  void expectPost(Answer answer) { server.expect("POST", kServicePath, std::move(answer)); }

  TestServer server;

 private:
  std::unique_ptr<TrustedRoot> trusted_;
  ServiceRedirection redirection_{server.port()};
};

}  // namespace zuvia::test
