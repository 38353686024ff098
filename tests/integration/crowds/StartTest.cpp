// A host that starts while another updates.

#include <windows.h>

#include <string>

#include "integration/PluginTest.h"
#include "support/Files.h"
#include "support/HostProcess.h"
#include "support/Invariants.h"

namespace zuvia::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class StartTest : public PluginTest {
 protected:
  StartTest() {
    addVersion(L"2.0.0.45");
    server.serve("POST", "/configs/pc/post", Answer::respond(200, offer.answer()));
    server.serve("GET", "/zuimpl-2.0.0.47.7z", Answer::respond(200, offer.package));
  }

  const Offer offer = makeOffer("2.0.0.47");
};

// What is being unpacked is a candidate, and who loads it keeps it: Windows moves no directory with a loaded module in
// it, and of what was unpacked the module stays, alone. Later hosts take it for the newest version, and it is only left
// for a higher one.
TEST_F(StartTest, TakesWhatAnotherUnpacksAndKeepsItFromBeingPublished) {
  Invariants invariants(tree);
  HostProcess other(tree);
  std::string loaded;
  const ImportHook<decltype(MoveFileExW)> refused(module, "MoveFileExW",
                                                  [&](auto*, const wchar_t*, const wchar_t*, DWORD) -> BOOL {
                                                    loaded = other.load();
                                                    SetLastError(ERROR_ACCESS_DENIED);
                                                    return FALSE;
                                                  });
  load();
  send("setHostInfo", hostInformation());
  const auto messages = messagesOf(threadOf(L"Publish plugin fail, skip update callback, ver: 2.0.0.47"));
  EXPECT_EQ(loaded, "2.0.0.47");
  ASSERT_GE(messages.size(), 3u);
  const std::wstring temporary = messages[2].substr(messages[2].find(tree.root()));
  EXPECT_THAT(messages, ElementsAre(L"Try download plugin ver: 2.0.0.47, url:  " + toWide(offer.url),
                                    L"Download success ver:  2.0.0.47", L"Unzip file success path: " + temporary,
                                    L"Try published download plugin : false",
                                    L"MoveFileExW  published: false, dest: " + tree.root() + L"\\2.0.0.47",
                                    L"Delete file fail! error: 5, path: " + temporary + L"\\zuimpl.dll",
                                    L"Remove directory fail! error: 145, path: " + temporary,
                                    L"Publish plugin fail, skip update callback, ver: 2.0.0.47"));
  EXPECT_EQ(listTree(temporary).size(), 1u);
  entry().onUnload();
  other.unload();

  HostProcess next(tree, server.port());
  EXPECT_EQ(next.load(), "2.0.0.47");
  next.sendHostInformation();
  EXPECT_TRUE(next.waitForMessage(L"No needed to upgrade for version: 2.0.0.47, local ver is newest!"));
  next.unload();
  invariants.hostSaid(next.messages());
  EXPECT_THAT(next.messages(), testing::Contains(WideText(L"Load plugin success, path: " + temporary +
                                                          L"\\zuimpl.dll, version: 2.0.0.47")));
  EXPECT_FALSE(directoryExists(tree.root() + L"\\2.0.0.47"));
  EXPECT_THAT(invariants.violations(), IsEmpty());
}

}  // namespace
}  // namespace zuvia::test
