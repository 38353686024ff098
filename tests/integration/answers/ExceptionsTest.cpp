// The exceptions that leave the plugin that ships: a listener's own, that of an empty one, and that of a mutex which
// cannot be locked. The one of an allocation that fails in `create` is among the tests of the shipped plugin.

#include <shlobj.h>
#include <windows.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <functional>
#include <string>
#include <system_error>
#include <vector>

#include "integration/PluginTest.h"
#include "support/Files.h"

namespace zuvia::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using ExceptionsTest = PluginTest;

// Of no library: nothing but the host knows it.
struct HostsOwn {
  int value;
};

TEST_F(ExceptionsTest, OfAListenerReachTheHost) {
  addVersion(L"2.0.0.45");
  const uint64_t id = monitor().addListener([](const char*, const char*) { throw HostsOwn{7}; });
  try {
    entry().onLoaded(nullptr);
    FAIL() << "nothing was thrown";
  } catch (const HostsOwn& own) {
    EXPECT_EQ(own.value, 7);
  }
  EXPECT_THAT(log.messages(), ElementsAre(L"onLoaded native v: 2.0.0.45, isLoad: false, path: "));
  EXPECT_FALSE(loader().isLoaded());
  EXPECT_TRUE(monitor().removeListener(id));
  load();
}

TEST_F(ExceptionsTest, OfAnEmptyListenerReachTheHost) {
  addVersion(L"2.0.0.45");
  const uint64_t id = monitor().addListener(Listener());
  EXPECT_THROW(entry().onLoaded(nullptr), std::bad_function_call);
  EXPECT_FALSE(loader().isLoaded());
  EXPECT_TRUE(monitor().removeListener(id));
  load();
}

// A mutex of this compiler's thread library gets its memory when it is locked for the first time. Makes that fail once,
// on the thread that arms it.
class MutexWithoutMemory {
 public:
  explicit MutexWithoutMemory(HMODULE module)
      : hook_(module, "malloc", [this](auto* original, size_t size) -> void* {
          constexpr size_t kMutexBytes = 24;
          if (size != kMutexBytes || armed_ != GetCurrentThreadId()) return original(size);
          armed_ = 0;
          return nullptr;
        }) {}

  void arm() { armed_ = GetCurrentThreadId(); }
  bool failed() const { return armed_ == 0; }

 private:
  std::atomic<DWORD> armed_ = 0;
  const ImportHook<void*(size_t)> hook_;
};

TEST_F(ExceptionsTest, OfTheListenersMutexReachTheHost) {
  addVersion(L"2.0.0.45");
  MutexWithoutMemory mutex(module);
  const std::vector<std::function<void()>> calls = {[&] { monitor().addListener(Listener()); },
                                                    [&] { monitor().removeListener(100); },
                                                    [&] { entry().onLoaded(nullptr); }};
  for (const std::function<void()>& call : calls) {
    mutex.arm();
    try {
      call();
      ADD_FAILURE() << "nothing was thrown";
    } catch (const std::system_error& error) {
      EXPECT_EQ(error.code().value(), ENOMEM);
      EXPECT_STREQ(error.code().category().name(), "generic");
    }
    EXPECT_TRUE(mutex.failed());
  }
  EXPECT_FALSE(loader().isLoaded());
  EXPECT_EQ(monitor().addListener(Listener()), 101u) << "the first number went to the one that was not kept";
  EXPECT_TRUE(monitor().removeListener(101));
  load();
}

// It is a standard exception, raised while an answer is handled: the line tells it, and the fetch ends.
TEST_F(ExceptionsTest, OfTheTaskMutexAreLogged) {
  const Offer offer = makeOffer("2.0.0.47");
  serveEntry(offer.entry());
  load();
  MutexWithoutMemory mutex(module);
  // The last call before the lock.
  const ImportHook<decltype(SHCreateDirectoryExW)> prepared(
      module, "SHCreateDirectoryExW", [&](auto* original, HWND window, const wchar_t* path, auto* attributes) {
        const int result = original(window, path, attributes);
        if (std::wstring_view(path).ends_with(L"\\update\\")) mutex.arm();
        return result;
      });
  send("setHostInfo", hostInformation());
  ASSERT_TRUE(log.waitForStart(L"onFetch success "));
  EXPECT_TRUE(mutex.failed());
  EXPECT_THAT(messagesOf(threadOf(L"DoFetchJob ")),
              ElementsAre(L"Stored cache to persistent file: " + cachePath(L"bbs.cache"),
                          L"DoFetchJob bssCode: zu_kx_anchor, ret: true, curlCode: 0, curlError: No error, url: "
                          L"https://localhost:18443/configs/pc/post, body: " +
                              toWide(server.requests()[0].body),
                          L"Fetch ZuUpdateConfig success str: [ver: 2.0.0.47, pmd5: " + toWide(offer.pmd5) +
                              L", dmd5:" + toWide(offer.dmd5) + L", url: " + toWide(offer.url) + L"]",
                          L"Directory not exist: " + tree.root() + L"\\2.0.0.47",
                          L"Directory not exist: " + cachePath(L"update") + L"\\, create: 0",
                          L"onFetch parse exception: " + toWide(std::strerror(ENOMEM)),
                          L"onFetch success key: zu_plugin_update, value: " + toWide(offer.entry())));
  entry().onUnload();
  EXPECT_THAT(events(), IsEmpty());
}

}  // namespace
}  // namespace zuvia::test
