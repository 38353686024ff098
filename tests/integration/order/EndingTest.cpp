// A host process that simply ends, wherever its plugin is at that moment.

#include <string>
#include <vector>

#include "integration/PluginTest.h"
#include "integration/order/Stage.h"
#include "support/ChildProcess.h"
#include "support/Files.h"
#include "support/SecondProcess.h"
#include "support/Text.h"

namespace zuvia::test {
namespace {

// What the end leaves in the root and in the download directory, apart from what was there before.
enum class Left { Nothing, Download, TemporaryDirectory, Version };

struct Ending {
  std::string stage;
  Left inRoot;
  Left inDownloads;
  const char* next;  // where the module of the next load lies
};

void PrintTo(const Ending& ending, std::ostream* stream) {
  *stream << ending.stage;
}

std::string nameOfEnding(const testing::TestParamInfo<Ending>& ending) {
  return ending.param.stage;
}

class EndingTest : public PluginTest, public testing::WithParamInterface<Ending> {
 protected:
  EndingTest() {
    addVersion(L"2.0.0.45");
    server.serve("POST", "/configs/pc/post", Answer::respond(200, offer.answer()));
    server.serve("GET", "/zuimpl-2.0.0.47.7z", Answer::respond(200, offer.package));
  }

  // Has a host end there in that way.
  void endHost(const std::wstring& way) {
    ChildProcess host(
        programDirectory() + L"\\zuvia_test_ending.exe",
        {tree.pluginPath(), tree.appPath(), std::to_wstring(server.port()), toWide(GetParam().stage), way});
    EXPECT_EQ(host.readLine(30000), "at " + GetParam().stage) << host.errorText();
    EXPECT_EQ(host.waitForExit(5000), 42u) << host.errorText();
  }

  // The temporary directory of the update that ended; none: nothing.
  std::optional<std::wstring> temporaryDirectory() const {
    for (const auto& [path, kind] : tree.list()) {
      if (path.starts_with(L".update-2.0.0.47-") && kind == "directory") return path.substr(0, path.find(L'\\'));
    }
    return std::nullopt;
  }

  void expectLeft() {
    EXPECT_EQ(temporaryDirectory().has_value(), GetParam().inRoot == Left::TemporaryDirectory);
    const bool published = directoryExists(tree.root() + L"\\2.0.0.47");
    EXPECT_EQ(published, GetParam().inRoot == Left::Version);
    if (published) {
      EXPECT_EQ(readFile(modulePath(L"2.0.0.47")), readFile(moduleFile(L"2.0.0.47")));
      EXPECT_EQ(readFile(tree.root() + L"\\2.0.0.47\\sub\\companion.txt"), "companion");
    }
    const bool downloaded = directoryExists(cachePath(L"update")) && !listTree(cachePath(L"update")).empty();
    EXPECT_EQ(downloaded, GetParam().inDownloads == Left::Download);
  }

  void expectLocksFree() {
    SecondProcess second;
    for (const wchar_t* name :
         {L"Local\\ZuviaPluginCurlGlobal", L"Local\\ZuviaPluginUpdate-2.0.0.47", L"Local\\ZuviaPluginCleanup"}) {
      EXPECT_EQ(second.tryMutex(name), MutexState::Missing) << toUtf8(name);
    }
  }

  void startAnew() {
    for (const std::wstring& left : {temporaryDirectory().value_or(L""), std::wstring(L"2.0.0.47")}) {
      if (!left.empty()) removeTree(tree.root() + L'\\' + left);
    }
    removeTree(tree.appPath());
    makeDirectories(tree.appPath());
  }

  const Offer offer = makeOffer("2.0.0.47");
};

TEST_P(EndingTest, EndsAtOnceAndLeavesTheNextHostAWholeVersion) {
  for (const wchar_t* way : {L"exit", L"return"}) {
    SCOPED_TRACE(toUtf8(way));
    startAnew();
    endHost(way);
    expectLeft();
    expectLocksFree();
  }

  // The next host is this process.
  load();
  std::wstring directory = toWide(GetParam().next);
  if (directory == L"temporary") directory = temporaryDirectory().value_or(L"none");
  EXPECT_NE(GetModuleHandleW(modulePath(directory).c_str()), nullptr);
  send("setHostInfo", hostInformation());
  if (directory == L"2.0.0.45") {
    EXPECT_NE(waitForEvent("pluginUpgradeEvent=2.0.0.47"), 0u) << testing::PrintToString(log.messages());
    entry().onUnload();
    EXPECT_EQ(readFile(modulePath(L"2.0.0.47")), readFile(moduleFile(L"2.0.0.47")));
  } else {
    EXPECT_TRUE(log.waitFor(L"No needed to upgrade for version: 2.0.0.47, local ver is newest!"));
    entry().onUnload();
  }
}

INSTANTIATE_TEST_SUITE_P(Stages, EndingTest,
                         testing::Values(Ending{"Idle", Left::Nothing, Left::Nothing, "2.0.0.45"},
                                         Ending{"Loaded", Left::Nothing, Left::Nothing, "2.0.0.45"},
                                         Ending{"Request", Left::Nothing, Left::Nothing, "2.0.0.45"},
                                         Ending{"Cache", Left::Nothing, Left::Nothing, "2.0.0.45"},
                                         Ending{"Decision", Left::Nothing, Left::Nothing, "2.0.0.45"},
                                         Ending{"Download", Left::Nothing, Left::Download, "2.0.0.45"},
                                         Ending{"Package", Left::Nothing, Left::Download, "2.0.0.45"},
                                         Ending{"Digest", Left::Nothing, Left::Download, "2.0.0.45"},
                                         Ending{"Lock", Left::Nothing, Left::Download, "2.0.0.45"},
                                         Ending{"Unpack", Left::Nothing, Left::Download, "2.0.0.45"},
                                         Ending{"Module", Left::TemporaryDirectory, Left::Download, "2.0.0.45"},
                                         // Every module below the root is a candidate, and this one is whole.
                                         Ending{"Check", Left::TemporaryDirectory, Left::Download, "temporary"},
                                         Ending{"Publish", Left::TemporaryDirectory, Left::Download, "temporary"},
                                         Ending{"Published", Left::Version, Left::Download, "2.0.0.47"},
                                         Ending{"CleanUp", Left::Version, Left::Download, "2.0.0.47"},
                                         Ending{"Callback", Left::Version, Left::Nothing, "2.0.0.47"},
                                         Ending{"Updated", Left::Version, Left::Nothing, "2.0.0.47"}),
                         nameOfEnding);

}  // namespace
}  // namespace zuvia::test
