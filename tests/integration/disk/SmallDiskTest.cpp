// An installation on a disk that is really full: see on-small-disk, which makes it. Root and application path are on
// it, and so is the update that does not fit.

#include <windows.h>

#include <algorithm>
#include <cstdint>
#include <optional>
#include <regex>
#include <string>
#include <vector>

#include "integration/PluginTest.h"
#include "support/Files.h"
#include "support/HostProcess.h"
#include "support/Invariants.h"
#include "support/Text.h"

namespace zuvia::test {
namespace {

using testing::Contains;
using testing::IsEmpty;
using testing::IsSupersetOf;

constexpr const wchar_t* kDisk = L"C:\\small";

constexpr std::uint64_t kBlock = 4096;

std::uint64_t blocksOf(const std::string& content) {
  return (content.size() + kBlock - 1) / kBlock * kBlock;
}

// Directories for temporary files are on the small disk from now on, and with them install trees.
struct UsedDisk {
  UsedDisk() {
    SetEnvironmentVariableW(L"TMP", kDisk);
    EXPECT_EQ(temporaryDirectory(), kDisk);
  }

  static std::uint64_t freeBytes() {
    ULARGE_INTEGER available{};
    EXPECT_TRUE(GetDiskFreeSpaceExW(kDisk, &available, nullptr, nullptr));
    return available.QuadPart;
  }
};

// What a text becomes in a regular expression.
std::wstring verbatim(const std::wstring& text) {
  return std::regex_replace(text, std::wregex(LR"([.^$|()\[\]{}*+?\\])"), L"\\$&");
}

// A message with parts that are only known to the plugin.
MATCHER_P(Says, pattern, "") {
  return std::ranges::any_of(
      arg, [&](const std::wstring& message) { return std::regex_match(message, std::wregex(pattern)); });
}

class SmallDiskTest : public testing::Test {
 protected:
  SmallDiskTest() {
    tree.installPlugin();
    tree.addVersion(L"2.0.0.45", moduleFile(L"2.0.0.45"));
    invariants.emplace(tree);
    writeFile(pattern + L"\\zuimpl.dll", content);
    writeFile(pattern + L"\\sub\\companion.txt", "companion");
    invariants->expectVersion(L"2.0.0.47", listTree(pattern));
    removeTree(pattern);
    server.serve("POST", "/configs/pc/post", Answer::respond(200, offer.answer()));
    server.serve("GET", "/zuimpl-2.0.0.47.7z", Answer::respond(200, offer.package));
  }

  // Leaves so many bytes; the host's own data has the others.
  void fillUpTo(std::uint64_t room) {
    writeFile(filler, std::string(static_cast<std::size_t>(UsedDisk::freeBytes() - room), 'x'));
    EXPECT_EQ(UsedDisk::freeBytes(), room / kBlock * kBlock);
  }

  // A host lives with so much room, and begins an update that comes to nothing, with these last words. Returns what it
  // said.
  std::vector<WideText> liveWith(std::uint64_t room, const std::wstring& lastWords) {
    HostProcess host(tree, server.port());
    EXPECT_EQ(host.load(), "2.0.0.45");
    fillUpTo(room);
    host.sendHostInformation();
    EXPECT_TRUE(host.waitForMessage(lastWords));
    host.unload();
    host.exit();
    invariants->hostSaid(host.messages());
    EXPECT_FALSE(directoryExists(tree.root() + L"\\2.0.0.47"));
    EXPECT_THAT(listTree(cache + L"update"), IsEmpty());
    EXPECT_THAT(invariants->violations(), IsEmpty()) << "while the disk is full";
    return host.messages();
  }

  // With so much room, the package does not fit.
  void expectNotDownloaded(std::uint64_t room) {
    const std::vector<WideText> messages = liveWith(room, L"Download fail!");
    EXPECT_THAT(messages, Says(L"Download fail! path: " + verbatim(cache) +
                               L"update\\\\[0-9a-f]{16}\\.zip, curl code: 23, msg: Failure writing output to "
                               L"destination, http code: 200, received bytes: [1-9][0-9]*, write succeeded: false, "
                               L"url: " +
                               verbatim(toWide(offer.url))));
    EXPECT_THAT(messages, Contains(WideText(L"Stored cache to persistent file: " + cache + L"bbs.cache")));
  }

  // With so much room, the module is downloaded and not unpacked, for this reason.
  void expectNotUnpacked(std::uint64_t room, const std::wstring& reason) {
    const std::vector<WideText> messages = liveWith(room, L"Publish plugin fail");
    EXPECT_THAT(messages, Says(L"Unzip file fail! Write output file failed, path: " + verbatim(tree.root()) +
                               L"\\\\\\.update-2\\.0\\.0\\.47-[0-9a-f]{16}\\\\zuimpl\\.dll, size: " +
                               std::to_wstring(content.size()) + L", " + reason));
    EXPECT_THAT(messages,
                IsSupersetOf({WideText(L"Download success ver:  2.0.0.47"), WideText(L"Unzip file return fail!"),
                              WideText(L"Publish plugin fail, skip update callback, ver: 2.0.0.47")}));
    for (const auto& [path, what] : tree.list()) EXPECT_FALSE(path.starts_with(L".update-")) << toUtf8(path);
    expectUpdate();
  }

  // There is room again.
  void expectUpdate() {
    removeTree(filler);
    HostProcess host(tree, server.port());
    EXPECT_EQ(host.load(), "2.0.0.45");
    host.sendHostInformation();
    EXPECT_TRUE(host.waitForEvent("pluginUpgradeEvent=2.0.0.47"));
    host.unload();
    host.exit();
    invariants->hostSaid(host.messages());
    EXPECT_THAT(invariants->violations(), IsEmpty());
    EXPECT_THAT(invariants->whole(), Contains(L"2.0.0.47"));
    EXPECT_EQ(HostProcess(tree).load(), "2.0.0.47");
  }

  const UsedDisk disk;  // before the tree
  const InstallTree tree;
  const std::wstring cache = tree.appPath() + L"\\zuviaplugin\\cache\\";
  const std::wstring filler = tree.appPath() + L"\\filler";
  const std::wstring pattern = tree.base() + L"\\pattern";
  const std::string content = readFile(moduleFile(L"2.0.0.47"));
  const Offer offer = makeOffer("2.0.0.47");
  TestServer server;
  const TrustedRoot trusted{server.rootPem()};
  std::optional<Invariants> invariants;
};

TEST_F(SmallDiskTest, WithoutAnyRoom) {
  expectNotDownloaded(0);
  EXPECT_EQ(readFile(cache + L"bbs.cache"), "");
  EXPECT_EQ(readFile(cache + L"hit.cache"), "");
  expectUpdate();
}

// The caches fit, and half of the package.
TEST_F(SmallDiskTest, WithRoomForAPartOfThePackage) {
  expectNotDownloaded(2 * kBlock + offer.package.size() / 2);
  EXPECT_GT(readFile(cache + L"bbs.cache").size(), 0u);
  EXPECT_EQ(readFile(cache + L"hit.cache").size(), 16u);
  expectUpdate();
}

// The caches fit, and the package, and what is unpacked before the module.
TEST_F(SmallDiskTest, WithoutRoomForTheModule) {
  expectNotUnpacked(blocksOf(offer.package) + 3 * kBlock, L"errno: 28, msg: No space left on device");
}

// And half of the module. The C library of Wine has no number for a write of which a part was done.
TEST_F(SmallDiskTest, WithRoomForAPartOfTheModule) {
  expectNotUnpacked(blocksOf(offer.package) + 3 * kBlock + content.size() / 2,
                    L"errno: (28, msg: No space left on device|22, msg: Invalid argument)");
}

}  // namespace
}  // namespace zuvia::test
