#include "integration/crowds/CrowdTest.h"

#include <algorithm>
#include <filesystem>

#include "support/Files.h"
#include "support/Text.h"

namespace zuvia::test {
namespace {

std::wstring downloads(const InstallTree& tree) {
  return tree.appPath() + L"\\zuviaplugin\\cache\\update";
}

// What makeOffer() packs.
TreeListing packedFiles(const std::wstring& version) {
  const InstallTree reference;
  const std::wstring directory = reference.addVersion(version, moduleFile(version));
  reference.addFile(version + L"\\sub\\companion.txt", "companion");
  return listTree(directory);
}

}  // namespace

Service::Service(const Offer& offered) : offer(offered) {
  server.serve("POST", "/configs/pc/post", Answer::respond(200, offer.answer()));
  server.serve("GET", "/zuimpl-" + offer.version + ".7z", Answer::respond(200, offer.package));
}

CrowdTest::CrowdTest() {
  tree.installPlugin();
  tree.addVersion(L"2.0.0.44", moduleFile(L"2.0.0.44"));
  tree.addVersion(L"2.0.0.45", moduleFile(L"2.0.0.45"));
  makeDirectories(downloads(tree));  // who comes first would say that it made it
  invariants.emplace(tree);
}

void CrowdTest::add(std::size_t number, const Service& whose) {
  const std::wstring version = toWide(whose.offer.version);
  invariants->expectVersion(version, packedFiles(version));
  crowd.add(number, whose.offer, whose.server.port());
}

void CrowdTest::endLives() {
  crowd.unload();
  invariants->hostSaid(crowd.newMessages());
}

void CrowdTest::expectAfterwards(const std::set<std::wstring>& versions, std::size_t temporary, std::size_t packages) {
  endLives();
  std::set<std::wstring> found;
  std::size_t left = 0;
  for (const auto& entry : std::filesystem::directory_iterator(tree.root())) {
    const std::wstring name = entry.path().filename().wstring();
    if (name.starts_with(L".update-")) ++left;
    if (entry.is_directory() && !name.starts_with(L'.')) found.insert(name);
  }
  EXPECT_EQ(found, versions);
  EXPECT_EQ(left, temporary);
  EXPECT_EQ(listTree(downloads(tree)).size(), packages);
  EXPECT_THAT(invariants->violations(), testing::IsEmpty());
}

}  // namespace zuvia::test
