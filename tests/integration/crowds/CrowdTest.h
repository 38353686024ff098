#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <optional>
#include <set>
#include <string>

#include "integration/PluginTest.h"
#include "integration/crowds/Crowd.h"
#include "support/InstallTree.h"
#include "support/Invariants.h"
#include "support/TestServer.h"
#include "support/TrustedRoot.h"

namespace zuvia::test {

// A configuration service, and the server of packages, that offer one version to whoever asks.
struct Service {
  explicit Service(const std::string& version) : Service(makeOffer(version)) {}
  explicit Service(const Offer& offered);

  Offer offer;
  TestServer server;
  const TrustedRoot trusted{server.rootPem()};
};

// One installation, of 2.0.0.45 and an older version, for many hosts, with the checker that watches over it.
class CrowdTest : public testing::Test {
 protected:
  CrowdTest();

  // More hosts, offered what the service has: 2.0.0.47 where nothing else is said.
  void add(std::size_t number) { add(number, service); }
  void add(std::size_t number, const Service& whose);

  // Unloads all. Then these version directories are there, each intact, and of what hosts leave that die, so many
  // temporary directories and packages, and everything else is as it must be.
  void expectAfterwards(const std::set<std::wstring>& versions, std::size_t temporary = 0, std::size_t packages = 0);

  // Unloads all, and tells the checker what they said.
  void endLives();

  std::wstring directory(const std::wstring& version) const { return tree.root() + L'\\' + version; }
  std::wstring module(const std::wstring& version) const { return directory(version) + L"\\zuimpl.dll"; }

  const InstallTree tree;
  Service service{"2.0.0.47"};
  std::optional<Invariants> invariants;
  Crowd crowd{tree};
};

}  // namespace zuvia::test
