// Before windows.h.
#include <curl/curl.h>

#include <gtest/gtest.h>

#include "HttpClient.h"
#include "support/NetworkRedirect.h"
#include "support/TestServer.h"
#include "support/TrustedRoot.h"

namespace zuvia::test {
namespace {

class NetworkRedirectTest : public testing::Test {
 protected:
  TestServer server;
  TrustedRoot trusted{server.rootPem()};
  NetworkRedirect redirect{GetModuleHandleW(nullptr),
                           {{"config.zuvia.example", 443, server.port()},
                            {"localhost", 18443, server.port()},
                            {"other.example", 443, server.port()}}};
};

TEST_F(NetworkRedirectTest, ServesAPublicNameLocally) {
  server.expect("GET", "/x", Answer::respond(200, "here"));
  EXPECT_EQ(transfer({.url = "https://config.zuvia.example/x"}).body, "here");
  EXPECT_EQ(server.requests().front().header("Host"), "config.zuvia.example");
  EXPECT_EQ(redirect.refused(), 0u);
}

TEST_F(NetworkRedirectTest, ServesAFixedLocalPort) {
  server.expect("GET", "/x", Answer::respond(200, "here"));
  EXPECT_EQ(transfer({.url = "https://localhost:18443/x"}).body, "here");
  EXPECT_EQ(redirect.refused(), 0u);
}

TEST_F(NetworkRedirectTest, LeavesTheServersOwnAddressAlone) {
  server.expect("GET", "/x", Answer::respond(200, "here"));
  EXPECT_EQ(transfer({.url = server.url("/x")}).body, "here");
}

TEST_F(NetworkRedirectTest, KeepsTheNameForTheCertificate) {
  EXPECT_EQ(transfer({.url = "https://other.example/x"}).code, CURLE_PEER_FAILED_VERIFICATION);
}

TEST_F(NetworkRedirectTest, KnowsNoOtherName) {
  EXPECT_EQ(transfer({.url = "https://unknown.example/x"}).code, CURLE_COULDNT_RESOLVE_HOST);
  EXPECT_EQ(redirect.refused(), 1u);
}

TEST_F(NetworkRedirectTest, ReachesNoOtherPortOrAddress) {
  EXPECT_EQ(transfer({.url = "https://config.zuvia.example:444/x"}).code, CURLE_COULDNT_CONNECT);
  EXPECT_GT(redirect.refused(), 0u);
}

}  // namespace
}  // namespace zuvia::test
