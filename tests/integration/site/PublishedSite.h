#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <tls/DevCa.h>

#include <memory>
#include <string>
#include <vector>

#include "integration/site/Nginx.h"
#include "integration/site/TlsClient.h"
#include "unit/tools/RunProgram.h"

namespace zuvia::test {

inline constexpr const char* kServerName = "config.zuvia.example";

// A site of zupack, on this machine: where the tool writes it is where nginx serves it, at a port of its own, with a
// certificate of a new authority.
class PublishedSite : public testing::Test {
 protected:
  PublishedSite();

  // Packs the sample implementation of this version. Returns the package's path.
  std::wstring pack(const std::wstring& version);

  // Runs zupack site for the directory, which must succeed; the first time with what a first run needs beside the
  // package.
  void site(std::vector<std::wstring> options);

  // Starts nginx, or has it read the configuration anew.
  void serve();

  TlsClient client() const { return TlsClient(port, kServerName, authority.root().certificatePem); }

  // The request of a host with this user id, as it is on the wire.
  static std::string configurationRequest(unsigned uid);

  // The version that a user is offered; "": none.
  std::string offeredTo(unsigned uid) const;

  // The certificate and the key as files: where Linux finds them, and so for the directory.
  static std::wstring linuxPathOf(std::wstring_view name) {
    return Nginx::linuxDirectory() + L'/' + std::wstring(name);
  }
  static std::wstring pathOf(std::wstring_view name) { return joinPath(Nginx::directory(), name); }

  const tls::DevCa authority = tls::DevCa::create("zuvia test authority");
  const unsigned short port;

 private:
  bool isMade_ = false;
  std::unique_ptr<Nginx> nginx_;
};

// The version that the answer to a configuration request offers; "": none. Fails the test when it is no such answer.
std::string versionIn(const HttpAnswer& answer);

}  // namespace zuvia::test
