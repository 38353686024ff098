// Roots and application paths whose names are seldom, or too long.

#include <zuvia/Exports.h>
#include <zuvia/IPluginEntryPoint.h>
#include <zuvia/IWxMonitor.h>

#include <string>
#include <vector>

#include "integration/PluginTest.h"
#include "support/Files.h"
#include "support/HostProcess.h"
#include "support/ImportHook.h"
#include "support/Invariants.h"
#include "support/LogCapture.h"
#include "support/Text.h"
#include "support/Wine.h"

namespace zuvia::test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::IsSupersetOf;

// An installation in a tree of that name, with the unused version 2.0.0.44, whose host process is offered 2.0.0.47.
class InstalledAt {
 public:
  explicit InstalledAt(const std::wstring& name) : tree(name) {
    tree.installPlugin();
    tree.addVersion(L"2.0.0.45", moduleFile(L"2.0.0.45"));
    server.serve("POST", "/configs/pc/post", Answer::respond(200, offer.answer()));
    server.serve("GET", "/zuimpl-2.0.0.47.7z", Answer::respond(200, offer.package));
  }

  // A host process updates, and ends.
  void update(HostProcess& host) {
    EXPECT_EQ(host.load(), "2.0.0.45");
    host.sendHostInformation();
    EXPECT_TRUE(host.waitForEvent("pluginUpgradeEvent=2.0.0.47"));
    host.unload();
    host.exit();
  }

  // What it says of its paths: below this root, and this application path as it was told.
  static std::vector<WideText> messages(const std::wstring& root, const std::wstring& appPath) {
    const std::wstring cache = appPath + L"\\zuviaplugin\\cache\\";
    return {L"setHostInfo path: " + appPath, L"Stored cache to persistent file: " + cache + L"bbs.cache",
            L"Directory not exist: " + root + L"\\2.0.0.47", L"Directory not exist: " + cache + L"update\\, create: 0",
            L"MoveFileExW  published: true, dest: " + root + L"\\2.0.0.47"};
  }

  void expectCaches() const {
    const std::wstring cache = tree.appPath() + L"\\zuviaplugin\\cache\\";
    EXPECT_GT(readFile(cache + L"bbs.cache").size(), 0u);
    EXPECT_EQ(readFile(cache + L"hit.cache").size(), 16u);
    EXPECT_THAT(listTree(cache + L"update"), IsEmpty());
  }

  void expectVersion(const std::wstring& directory) const {
    EXPECT_EQ(readFile(directory + L"\\zuimpl.dll"), readFile(moduleFile(L"2.0.0.47")));
    EXPECT_EQ(readFile(directory + L"\\sub\\companion.txt"), "companion");
    EXPECT_EQ(listTree(directory).size(), 3u);
  }

  const InstallTree tree;
  const Offer offer = makeOffer("2.0.0.47");
  TestServer server;
  const TrustedRoot trusted{server.rootPem()};
};

// ---- Names

struct Name {
  std::string kind;
  std::wstring text;
};

void PrintTo(const Name& name, std::ostream* stream) {
  *stream << name.kind;
}

std::string nameOf(const testing::TestParamInfo<Name>& name) {
  return name.param.kind;
}

class PathsTest : public testing::TestWithParam<Name> {};

TEST_P(PathsTest, AreTakenAsTheyAre) {
  InstalledAt installed(GetParam().text);
  const InstallTree& tree = installed.tree;
  tree.addVersion(L"2.0.0.44", moduleFile(L"2.0.0.44"));
  Invariants invariants(tree);
  HostProcess host(tree, installed.server.port());
  installed.update(host);

  std::vector<WideText> messages = InstalledAt::messages(tree.root(), tree.appPath());
  messages.emplace_back(L"Load plugin success, path: " + tree.root() + L"\\2.0.0.45\\zuimpl.dll, version: 2.0.0.45");
  messages.emplace_back(L"Try delete unused plugin: " + tree.root() + L"\\2.0.0.44");
  EXPECT_THAT(host.messages(), IsSupersetOf(messages));
  EXPECT_FALSE(directoryExists(tree.root() + L"\\2.0.0.44"));
  installed.expectCaches();
  installed.expectVersion(tree.root() + L"\\2.0.0.47");
  invariants.hostSaid(host.messages());
  EXPECT_THAT(invariants.violations(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Names, PathsTest,
                         testing::Values(Name{"BlanksAndDots", L" ...with  blanks ."},
                                         Name{"Signs", L"100% %TEMP% a&b it's #;=,@!~`[]{}()+^$"},
                                         Name{"Latin", L"caf\u00e9 stra\u00dfe"},
                                         // Not in the system's code page, and not in 16 bits.
                                         Name{"Han", L"\u4e2d\u6587 \U0001F3A5"}),
                         nameOf);

// Windows leaves the dot at the end of a name out, wherever it meets it.
TEST(TrailingDotTest, OfTheApplicationPathIsNoPartOfItsName) {
  InstalledAt installed(L"zuvia");
  const InstallTree& tree = installed.tree;
  const std::wstring dotted = tree.appPath() + L'.';
  Invariants invariants(tree);
  HostProcess host(tree, installed.server.port());
  host.ask("app " + toUtf8(dotted));
  installed.update(host);

  EXPECT_THAT(host.messages(), IsSupersetOf(InstalledAt::messages(tree.root(), dotted)));
  EXPECT_FALSE(directoryExists(dotted));
  installed.expectCaches();
  installed.expectVersion(tree.root() + L"\\2.0.0.47");
  invariants.hostSaid(host.messages());
  EXPECT_THAT(invariants.violations(), IsEmpty());
}

// ---- A root of more than 260 characters

// A second installation beside the first one, of which the root is read as a directory above it. What must hold is
// checked for the first one; of the second no check can say more than these tests do, because what it takes for its
// root is none.
class LongRootTest : public testing::Test {
 protected:
  LongRootTest() {
    copyFile(builtPlugin(), plugin_);
    copyFile(moduleFile(L"2.0.0.44"), root + L"\\2.0.0.44\\zuimpl.dll");
    copyFile(moduleFile(L"2.0.0.45"), root + L"\\2.0.0.45\\zuimpl.dll");
    EXPECT_GT(root.size(), 260u);
    EXPECT_EQ(parentOf(plugin_.substr(0, 260)), cut);
  }
  ~LongRootTest() override { removeThroughLinux(tree.base()); }  // the plugin is still loaded

  InstalledAt installed{L"zuvia"};
  const InstallTree& tree = installed.tree;
  const std::wstring cut = tree.base() + L"\\deep\\" + std::wstring(120, L'l');
  const std::wstring inner = cut + L'\\' + std::wstring(120, L'm');
  const std::wstring root = inner + L"\\root";
  const std::wstring plugin_ = root + L"\\zuviaplugin.dll";
};

// So it is on Windows, where a path of so many characters is not found by those who do not ask for it in a special way.
TEST_F(LongRootTest, HasNoVersions) {
  Invariants invariants(tree);
  const TreeListing before = tree.listAll();
  LogCapture log;
  const HMODULE module = LoadLibraryW(plugin_.c_str());
  const FailingImport<decltype(FindFirstFileW)> likeWindows(
      module, "FindFirstFileW", INVALID_HANDLE_VALUE, {.lastError = ERROR_PATH_NOT_FOUND, .callCount = kEveryCall},
      [](const wchar_t* pattern, auto...) { return std::wstring_view(pattern).size() >= MAX_PATH; });
  const FARPROC create = GetProcAddress(module, kCreateExport);
  IPluginEntryPoint* const entry = reinterpret_cast<CreateFunction*>(reinterpret_cast<void*>(create))();
  entry->onLoaded(nullptr);
  static_cast<IWxMonitor*>(entry->queryInterface(IID_IWxMonitor))->sendCommand("setHostInfo", R"({"uid": 1})");
  entry->onUnload();

  EXPECT_THAT(log.messages(), ElementsAre(WideStartsWith(L"onLoaded native v: "),
                                          L"Scan directory fail! FindFirstFile error: 3, path: " + inner,
                                          L"Load plugin fail! Paths are empty. dir: " + cut,
                                          L"setHostInfo with invalid params loaded: false", L"onUnload"));
  EXPECT_EQ(likeWindows.failures(), 1u);
  EXPECT_EQ(describeChanges(before, tree.listAll()), "");
  EXPECT_THAT(invariants.violations(), IsEmpty());
}

// Where such paths are found, so are the versions. They are none of the directory that counts as the root, so they are
// not cleaned up, and the new version is published there.
TEST_F(LongRootTest, IsTakenForADirectoryAboveIt) {
  HostProcess host(tree, installed.server.port());
  host.ask("plugin " + toUtf8(plugin_));
  installed.update(host);
  std::vector<WideText> messages = InstalledAt::messages(cut, tree.appPath());
  messages.emplace_back(L"Load plugin success, path: " + root + L"\\2.0.0.45\\zuimpl.dll, version: 2.0.0.45");
  messages.emplace_back(L"Skip non version directory: " + root + L"\\2.0.0.44");
  EXPECT_THAT(host.messages(), IsSupersetOf(messages));
  installed.expectCaches();
  installed.expectVersion(cut + L"\\2.0.0.47");

  HostProcess next(tree);
  next.ask("plugin " + toUtf8(plugin_));
  EXPECT_EQ(next.load(), "2.0.0.47");
  EXPECT_THAT(next.messages(),
              Contains(WideText(L"Load plugin success, path: " + cut + L"\\2.0.0.47\\zuimpl.dll, version: 2.0.0.47")));
}

}  // namespace
}  // namespace zuvia::test
