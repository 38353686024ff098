// The plugin takes the host information, asks the service for the update entry and records the exchange: each call of
// Windows on the way fails once, by itself.

// Before windows.h, which would bring the older one.
#include <winsock2.h>

#include <shlobj.h>

#include <json/json.h>

#include <cerrno>
#include <sstream>

#include "integration/faults/FaultsTest.h"
#include "integration/faults/MutexFault.h"

namespace zuvia::test {
namespace {

// 2.0.0.45 is loaded. The service has nothing to offer. The clock moves on by 30 seconds for every exchange, so that
// the cache may be written each time.
class FetchFaultsTest : public FaultsTest {
 protected:
  FetchFaultsTest() {
    addVersion(L"2.0.0.45");
    server.serve("POST", "/configs/pc/post", Answer::respond(200, answerWith("{}")));
  }

  // From the host information to the unloading, with a fault, and once more without it.
  // host: what the host's thread logs of it. fetch: all that the fetch logs.
  void expectExchange(const Fault& fault, const Lines& host, const std::function<Lines()>& fetch) {
    warmUp();
    const LeakCheck check(6);
    exchange(fault, hostInformation());
    expectLines(host, fetch());
    expectPlainExchange();
  }

  // The fault ends the fetch before there is anything to say.
  void expectSilence(const Fault& fault) {
    warmUp();
    const std::size_t before = server.requests().size();
    const LeakCheck check(6);
    exchange(fault, hostInformation(), Fetch::Silent);
    expectLines({}, {});
    EXPECT_EQ(server.requests().size(), before);
    expectPlainExchange();
  }

  // The fault does not touch the exchange.
  void expectExchange(const Fault& fault, const Lines& host = {}) {
    expectExchange(fault, host, [this] { return exchangeLines(); });
  }

  void expectPlainExchange() {
    warm_ = true;
    const std::size_t before = server.requests().size();
    exchange(nothing, hostInformation());
    expectLines({}, exchangeLines());
    EXPECT_EQ(server.requests().size(), before + 1);
    EXPECT_EQ(fileNames(),
              (std::vector<std::wstring>{L"zuviaplugin", L"zuviaplugin\\cache", L"zuviaplugin\\cache\\bbs.cache",
                                         L"zuviaplugin\\cache\\hit.cache"}));
    EXPECT_GT(readFile(cachePath(L"bbs.cache")).size(), 0u);
  }

  enum class Fetch { Telling, Silent };

  void exchange(const Fault& fault, const std::string& information, Fetch kind = Fetch::Telling) {
    clock.advance(std::chrono::seconds(30));
    entry().onLoaded(nullptr);
    log.clear();
    const std::unique_ptr<ArmedFault> armed = arm(fault);
    EXPECT_EQ(send("setHostInfo", information), "0");
    EXPECT_TRUE(
        waitUntil([&] { return kind == Fetch::Silent ? armed->happened() : threadOf("BssConfig::DoFetchJob") != 0; }));
    entry().onUnload();
    EXPECT_TRUE(armed->happened());
  }

  void expectLines(Lines host, const Lines& fetch, const std::wstring& appPath) const {
    host.insert(host.begin(), {{"ZuLoaderPrivate::setHostInfo", L"setHostInfo uid: 4711, ver: 9.1.2, env: true"},
                               {"ZuLoaderPrivate::setHostInfo", L"setHostInfo path: " + appPath}});
    host.push_back({"ZuLoaderPrivate::onUnload", L"onUnload"});
    EXPECT_EQ(ownLines(), host);
    EXPECT_EQ(otherLines(), fetch);
  }
  void expectLines(const Lines& host, const Lines& fetch) {
    expectLines(host, fetch, tree.appPath());
    expectMutexesFree();
  }

  // What a whole exchange logs, but for what it says of its cache file.
  Lines exchangeLinesWith(const std::wstring& stored) const {
    return {{"BssConfig::StoreToCache", stored},
            {"BssConfig::DoFetchJob",
             L"DoFetchJob bssCode: zu_kx_anchor, ret: true, curlCode: 0, curlError: No error, url: "
             L"https://localhost:18443/configs/pc/post, body: " +
                 toWide(server.requests().back().body)},
            {"ZuUpdateConfig::onFetch", L"Fetch ZuUpdateConfig success str: [ver: , pmd5: , dmd5:, url: ]"},
            {"BssConfig::OnResponse", L"onFetch success key: zu_plugin_update, value: {}"}};
  }
  Lines exchangeLines() const {
    return exchangeLinesWith(L"Stored cache to persistent file: " + cachePath(L"bbs.cache"));
  }

  Line fetchLine(const std::wstring& message) const { return {"BssConfig::DoFetchJob", message}; }
  Line checkLine(const std::wstring& message) const { return {"BssConfig::CheckCache", message}; }

  // The last request, as it was sent.
  Json::Value request() const {
    Json::Value body;
    std::istringstream(server.requests().back().body) >> body;
    return body;
  }
  std::string sentHitSequence() const { return request()["extendInfo"]["hitseq"].asString(); }

  // What is below the application path.
  std::vector<std::wstring> fileNames() const {
    std::vector<std::wstring> names;
    for (const auto& [name, what] : listTree(tree.appPath())) names.push_back(name);
    return names;
  }

  Clock clock{module};

 private:
  // What is opened once per process.
  void warmUp() {
    if (!warm_) expectPlainExchange();
  }

  bool warm_ = false;
};

// A hit sequence id that was just made.
MATCHER(IsNewHitSequence, "") {
  return arg.size() == 16 && arg.find_first_not_of("0123456789ABCDEF") == std::string::npos;
}

// The kernel's own version query answers with a negative status.
class KernelQueryFault : public ArmedFault {
 public:
  explicit KernelQueryFault(HMODULE plugin)
      : hook_(plugin, "ntdll.dll", "RtlGetVersion", [this](auto*, OSVERSIONINFOEXW*) -> LONG {
          happened_ = true;
          return static_cast<LONG>(0xC0000001);
        }) {}
  bool happened() const override { return happened_; }

 private:
  std::atomic<bool> happened_ = false;
  LookupHook<LONG WINAPI(OSVERSIONINFOEXW*)> hook_;
};

// ---- The work item, the mutex, libcurl

TEST_F(FetchFaultsTest, WithoutAWorkItemOrATransferNothingIsFetchedNorSaid) {
  expectSilence(failing<decltype(CreateThreadpoolWork)>("CreateThreadpoolWork", nullptr));

  expectSilence(withoutTransfer(1));
}

TEST_F(FetchFaultsTest, NeedsTheCurlMutex) {
  const auto expectNothing = [this](const MutexTrouble& trouble, const std::vector<std::string>& steps) {
    expectExchange(onMutex(kCurlMutex, trouble, steps), {},
                   [this] { return Lines{fetchLine(L"curl global mutex acquisition failed.")}; });
  };
  expectNothing({.creationError = kGreatError}, {"open"});
  expectNothing({.waitResult = WAIT_TIMEOUT}, {"open", "wait 60000 in vain", "close"});
  expectNothing({.waitResult = WAIT_FAILED}, {"open", "wait 60000 in vain", "close"});

  SecondProcess holder;
  const auto abandon = [&] {
    EXPECT_EQ(holder.lockMutex(kCurlMutex), MutexState::Free);
    holder.die();
  };
  expectExchange(onMutex(kCurlMutex, {.beforeWait = abandon}, {"open", "wait 60000 abandoned", "release", "close"}));
}

TEST_F(FetchFaultsTest, RemembersThatTheNetworkCouldNotBeInitialised) {
  const Lines failed = {fetchLine(L"curl global initialization failed.")};
  const std::vector<std::string> steps = {"open", "wait 60000", "release", "close"};
  const Fault watched = onMutex(kCurlMutex, {}, steps);
  exchange(both(failing<decltype(WSAStartup)>("WSAStartup", WSASYSNOTREADY), watched), hostInformation());
  expectLines({}, failed);
  const LeakCheck check(6);
  exchange(watched, hostInformation());
  expectLines({}, failed);
}

// ---- The cache file

TEST_F(FetchFaultsTest, RunsWithoutACacheFileToBeginWith) {
  expectExchange(
      failingFor<decltype(GetFileAttributesW)>(cachePath(L"bbs.cache"), "GetFileAttributesW", INVALID_FILE_ATTRIBUTES));
  expectExchange(failingFor<decltype(CreateFileW)>(cachePath(L"bbs.cache"), "CreateFileW", INVALID_HANDLE_VALUE));

  const auto clear = [this] { removeTree(cacheDirectory()); };
  expectPlainExchange();
  clear();
  expectExchange(failing<decltype(SHCreateDirectoryExW)>("SHCreateDirectoryExW", static_cast<int>(kGreatError)),
                 {checkLine(L"Create directory failed: " + cacheDirectory())});
  clear();
  expectExchange(failingFor<decltype(CreateFileW)>(cachePath(L"bbs.cache"), "CreateFileW", INVALID_HANDLE_VALUE),
                 {checkLine(L"Create file failed: " + cachePath(L"bbs.cache"))});
}

TEST_F(FetchFaultsTest, SaysWhenTheCacheFileDidNotOpenAndNotWhenItWasNotWritten) {
  expectExchange(
      failingFor<decltype(_wfopen)>(cachePath(L"bbs.cache"), "_wfopen", nullptr, {.errnoValue = EACCES}), {},
      [this] { return exchangeLinesWith(L"Failed to write to persistent cache file: " + cachePath(L"bbs.cache")); });

  // Deliberately: only a file that does not open is spoken of.
  expectPlainExchange();
  const auto isDocument = [](int, const void* data, unsigned size) {
    return std::string_view(static_cast<const char*>(data), size).starts_with("{\n\t\"entries\" :");
  };
  exchange(failing<decltype(_write)>("_write", -1, {.errnoValue = ENOSPC, .callCount = kEveryCall}, isDocument),
           hostInformation());
  expectLines({}, exchangeLines());
  EXPECT_EQ(readFile(cachePath(L"bbs.cache")), "");
  expectPlainExchange();
}

TEST_F(FetchFaultsTest, UsesTheRootOfTheDriveWithoutATemporaryDirectory) {
  ASSERT_TRUE(SetCurrentDirectoryW(tree.root().c_str()));
  const std::string nowhere = R"({"uid": 4711, "ver": "9.1.2", "test_env": true})";
  exchange(failing<decltype(GetTempPathW)>("GetTempPathW", 0), nowhere);
  expectLines({{"BssConfig::BssConfig", L"Cache path is empty! Try use default cache dir: "},
               {"ZuDllUpdater::getHitSeqId", L"getHitSeqId path empty fail!"}},
              exchangeLinesWith(L"Stored cache to persistent file: \\zuviaplugin\\cache\\bbs.cache"), L"");
  EXPECT_TRUE(fileExists(tree.root().substr(0, 2) + L"\\zuviaplugin\\cache\\bbs.cache"));
  removeTree(tree.root().substr(0, 2) + L"\\zuviaplugin");
  EXPECT_TRUE(SetCurrentDirectoryW(temporaryDirectory().c_str()));
  expectPlainExchange();
}

// ---- The hit sequence

TEST_F(FetchFaultsTest, SendsAHitSequenceThatItCannotReadOrKeep) {
  writeFile(cachePath(L"hit.cache"), "KEPT");
  expectPlainExchange();
  EXPECT_EQ(sentHitSequence(), "KEPT");
  exchange(failingFor<decltype(_wfopen)>(cachePath(L"hit.cache"), "_wfopen", nullptr, {.errnoValue = EACCES}),
           hostInformation());
  expectLines({}, exchangeLines());
  EXPECT_THAT(sentHitSequence(), IsNewHitSequence());
  EXPECT_EQ(readFile(cachePath(L"hit.cache")), sentHitSequence());

  removeTree(cachePath(L"hit.cache"));
  const Fault unopened = failingFor<decltype(_wfopen)>(cachePath(L"hit.cache"), "_wfopen", nullptr,
                                                       {.errnoValue = EACCES, .callCount = kEveryCall});
  exchange(unopened, hostInformation());
  expectLines({}, exchangeLines());
  EXPECT_THAT(sentHitSequence(), IsNewHitSequence());
  EXPECT_FALSE(fileExists(cachePath(L"hit.cache")));

  const auto isSequence = [](int, const void*, unsigned size) { return size == 16; };
  exchange(failing<decltype(_write)>("_write", -1, {.errnoValue = ENOSPC}, isSequence), hostInformation());
  expectLines({}, exchangeLines());
  EXPECT_THAT(sentHitSequence(), IsNewHitSequence());
  EXPECT_EQ(readFile(cachePath(L"hit.cache")), "");

  expectPlainExchange();
  EXPECT_EQ(readFile(cachePath(L"hit.cache")), sentHitSequence());
}

TEST_F(FetchFaultsTest, RunsWithoutAnyDirectoryOfItsOwn) {
  exchange(
      failing<decltype(SHCreateDirectoryExW)>("SHCreateDirectoryExW", ERROR_ACCESS_DENIED, {.callCount = kEveryCall}),
      hostInformation());
  expectLines({checkLine(L"Create directory failed: " + cacheDirectory())},
              exchangeLinesWith(L"Failed to write to persistent cache file: " + cachePath(L"bbs.cache")));
  EXPECT_THAT(sentHitSequence(), IsNewHitSequence());
  EXPECT_THAT(fileNames(), testing::IsEmpty());
  expectPlainExchange();
}

// ---- What the request tells

TEST_F(FetchFaultsTest, AsksForTheVersionOfWindowsInAnotherWayWhenTheKernelDoesNotTell) {
  OSVERSIONINFOW told = {};
  told.dwOSVersionInfoSize = sizeof told;
  ASSERT_TRUE(GetVersionExW(&told));
  const std::string plain = "Windows (Version " + std::to_string(told.dwMajorVersion) + "." +
                            std::to_string(told.dwMinorVersion) + ", Build " + std::to_string(told.dwBuildNumber) + ")";
  const Fault refused = [](HMODULE hooked) { return std::make_unique<KernelQueryFault>(hooked); };
  const auto isKernel = [](const wchar_t* name) { return name != nullptr && std::wstring_view(name) == L"ntdll.dll"; };
  const auto isQuery = [](HMODULE, const char* name) {
    return reinterpret_cast<std::uintptr_t>(name) > 0xFFFF && std::string_view(name) == "RtlGetVersion";
  };
  const auto expectVersion = [this](const Fault& fault, const std::string& text) {
    exchange(fault, hostInformation());
    expectLines({}, exchangeLines());
    EXPECT_EQ(request()["osVersion"].asString(), text);
  };
  expectVersion(failing<decltype(GetModuleHandleW)>("GetModuleHandleW", nullptr, {}, isKernel), plain);
  expectVersion(failing<decltype(GetProcAddress)>("GetProcAddress", nullptr, {}, isQuery), plain);
  expectVersion(refused, plain);
  expectVersion(both(refused, failing<decltype(GetVersionExW)>("GetVersionExW", FALSE)), "Unknown Windows Version");
}

TEST_F(FetchFaultsTest, SendsAnEmptyTextForOneThatDoesNotConvert) {
  const auto isVersion = [](UINT codePage, DWORD, const wchar_t* text, auto...) {
    return codePage == CP_ACP && std::wstring_view(text).starts_with(L"Windows ");
  };
  exchange(failing<decltype(WideCharToMultiByte)>("WideCharToMultiByte", 0, {.lastError = kGreatError}, isVersion),
           hostInformation());
  expectLines({}, exchangeLines());
  EXPECT_EQ(request()["osVersion"], Json::Value(""));
}

// The first call asks for the length, the second one converts.
TEST_F(FetchFaultsTest, ReadsAPathInTheSystemsCodePageWhenItDoesNotConvertFromUtf8) {
  const std::wstring path = tree.appPath() + L"\\\u00e9";
  const std::string bytes = toUtf8(path);
  std::wstring other(bytes.size(), L'\0');
  const int length = static_cast<int>(bytes.size());
  other.resize(static_cast<std::size_t>(MultiByteToWideChar(CP_ACP, 0, bytes.data(), length, other.data(), length)));
  Json::Value information;
  std::istringstream(hostInformation()) >> information;
  information["app_path"] = bytes;
  const auto isUtf8 = [](UINT codePage, auto...) { return codePage == CP_UTF8; };
  for (const std::size_t call : {1u, 2u}) {
    exchange(failing<decltype(MultiByteToWideChar)>("MultiByteToWideChar", 0, {.fromCall = call}, isUtf8),
             information.toStyledString());
    expectLines({},
                exchangeLinesWith(L"Stored cache to persistent file: " + other + L"\\zuviaplugin\\cache\\bbs.cache"),
                other);
  }
}

}  // namespace
}  // namespace zuvia::test
