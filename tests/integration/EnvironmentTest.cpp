// Which variables of the environment the plugin that ships reads.

#include <cstdlib>
#include <mutex>
#include <set>
#include <string>

#include "integration/PluginTest.h"

namespace zuvia::test {
namespace {

using testing::AnyOf;
using testing::Each;
using testing::Eq;

// What a module asks the environment for, by each of the ways that it imports.
class VariablesRead {
 public:
  explicit VariablesRead(HMODULE module)
      : getenv_(module, "getenv", [this](auto* original, const char* name) { return add(name), original(name); }),
        narrow_(module, "GetEnvironmentVariableA",
                [this](auto* original, const char* name, char* value, DWORD size) {
                  return add(name), original(name, value, size);
                }),
        wide_(module, "GetEnvironmentVariableW",
              [this](auto* original, const wchar_t* name, wchar_t* value, DWORD size) {
                return add(toUtf8(name)), original(name, value, size);
              }) {}

  std::set<std::string> names() const {
    const std::lock_guard lock(mutex_);
    return names_;
  }

 private:
  void add(const std::string& name) {
    const std::lock_guard lock(mutex_);
    names_.insert(name);
  }

  mutable std::mutex mutex_;
  std::set<std::string> names_;
  ImportHook<char*(const char*)> getenv_;
  ImportHook<decltype(GetEnvironmentVariableA)> narrow_;
  ImportHook<decltype(GetEnvironmentVariableW)> wide_;
};

// Every test is a process of its own, and so is its environment.
class EnvironmentTest : public PluginTest {
 protected:
  static void setVariable(const char* name, const std::string& value) {
    ASSERT_EQ(_putenv_s(name, value.c_str()), 0);
    ASSERT_TRUE(SetEnvironmentVariableA(name, value.c_str()));
  }
};

TEST_F(EnvironmentTest, HasNoOtherWayToBeRead) {
  for (const char* function : {"_wgetenv", "getenv_s", "_wgetenv_s", "_dupenv_s", "_wdupenv_s", "_environ", "_wenviron",
                               "__p__environ", "__p__wenviron", "GetEnvironmentStringsW", "GetEnvironmentStringsA",
                               "GetEnvironmentStrings", "ExpandEnvironmentStringsA", "ExpandEnvironmentStringsW"}) {
    EXPECT_TRUE(findImports(module, function).empty()) << function;
  }
}

TEST_F(EnvironmentTest, IsReadForNothingButLibcurlsOwnVariables) {
  const VariablesRead read(module);
  const Offer offer = makeOffer("2.0.0.47");
  serve(offer);
  load();
  send("setHostInfo", hostInformation());
  ASSERT_NE(waitForEvent("pluginUpgradeEvent=2.0.0.47"), 0u);
  entry().onUnload();

  EXPECT_THAT(read.names(), Each(AnyOf(
                                // Documented by libcurl: which proxy an HTTPS transfer takes, and for which names none.
                                Eq("https_proxy"), Eq("HTTPS_PROXY"), Eq("all_proxy"), Eq("ALL_PROXY"), Eq("no_proxy"),
                                Eq("NO_PROXY"),
                                // Documented by libcurl: a file in which the keys of TLS sessions are noted, for who
                                // analyses their traffic.
                                Eq("SSLKEYLOGFILE"),
                                // Documented by libcurl: chooses among TLS libraries; this module has one.
                                Eq("CURL_SSL_BACKEND"),
                                // Of OpenSSL: how it reads other variables, of which there are none here.
                                Eq("OPENSSL_WIN32_UTF8"))));
  EXPECT_THAT(read.names(), testing::Contains("https_proxy"));
}

TEST_F(EnvironmentTest, ChangesNothingWithTheVariablesOfItsLibraries) {
  // With it, OpenSSL would find none of its algorithms.
  const std::wstring configuration = tree.addFile(L"openssl.cnf",
                                                  "openssl_conf = all\n[all]\nalg_section = algorithms\n[algorithms]\n"
                                                  "default_properties = fips=yes\n");
  setVariable("OPENSSL_CONF", toUtf8(configuration));
  for (const char* name : {"OPENSSL_MODULES", "OPENSSL_CONF_INCLUDE", "SSL_CERT_FILE", "SSL_CERT_DIR", "CTLOG_FILE",
                           "CURL_CA_BUNDLE", "CURL_HOME", "ZUVIA_CONFIG_HOST", "ZUVIA_CONFIG_TEST_HOST"}) {
    setVariable(name, "C:\\does\\not\\exist");
  }
  serveEntry("{}");
  load();
  exchange();
  EXPECT_EQ(server.requests().size(), 1u);
}

// ---- The proxy that the environment names

TEST_F(EnvironmentTest, NamesTheProxyThatTransfersTake) {
  TestServer proxy;
  proxy.expect("CONNECT", "localhost:18443", Answer::respond(403));
  setVariable("https_proxy", "http://127.0.0.1:" + std::to_string(proxy.port()));
  load();
  send("setHostInfo", hostInformation());
  EXPECT_TRUE(
      log.waitForStart(L"DoFetchJob bssCode: zu_kx_anchor, ret: false, curlCode: 22, curlError: The requested URL "
                       L"returned error: 403, "));
  EXPECT_TRUE(server.requests().empty()) << "the service was reached past the proxy";
}

TEST_F(EnvironmentTest, NamesTheHostsThatNeedNoProxy) {
  const TestServer proxy;
  setVariable("https_proxy", "http://127.0.0.1:" + std::to_string(proxy.port()));
  setVariable("no_proxy", "localhost");
  serveEntry("{}");
  load();
  exchange();
  EXPECT_EQ(server.requests().size(), 1u);
}

}  // namespace
}  // namespace zuvia::test
