#include "integration/faults/UpdateFaultsTest.h"

#include <wincrypt.h>

namespace zuvia::test {

namespace {

constexpr GUID kGuid = {0x001a2b3c, 0x004d, 0x0e0f, {}};

// Every context and every hash that the plugin gets is given back, and was at its end.
class CryptCheck {
 public:
  explicit CryptCheck(HMODULE plugin)
      : acquire_(plugin, "CryptAcquireContextW", [this](auto* original, auto... all) { return got(original(all...)); }),
        create_(plugin, "CryptCreateHash", [this](auto* original, auto... all) { return got(original(all...)); }),
        release_(plugin, "CryptReleaseContext", [this](auto* original, auto... all) { return gave(original(all...)); }),
        destroy_(plugin, "CryptDestroyHash", [this](auto* original, auto... all) { return gave(original(all...)); }) {}
  ~CryptCheck() { EXPECT_EQ(held_, 0) << "contexts and hashes"; }

 private:
  BOOL got(BOOL result) {
    if (result) ++held_;
    return result;
  }
  BOOL gave(BOOL result) {
    EXPECT_TRUE(result);
    --held_;
    return result;
  }

  std::atomic<int> held_ = 0;
  ImportHook<decltype(CryptAcquireContextW)> acquire_;
  ImportHook<decltype(CryptCreateHash)> create_;
  ImportHook<decltype(CryptReleaseContext)> release_;
  ImportHook<decltype(CryptDestroyHash)> destroy_;
};

}  // namespace

UpdateFaultsTest::UpdateFaultsTest()
    : guid_(module, "CoCreateGuid", [](auto*, GUID* guid) {
        *guid = kGuid;
        return S_OK;
      }) {
  addVersion(L"2.0.0.45");
  server.serve("POST", "/configs/pc/post", Answer::respond(200, offer.answer()));
  server.serve("GET", "/zuimpl-2.0.0.47.7z", Answer::respond(200, offer.package));
  live(nothing, true);  // what is opened once per process, and the directories
  EXPECT_TRUE(fileExists(targetModule));
  removeTree(target);
  before_ = otherFiles();
}

void UpdateFaultsTest::offerOnce(const Offer& other, bool servesPackage) {
  offered_ = other;
  server.expect("POST", "/configs/pc/post", Answer::respond(200, other.answer()));
  if (servesPackage) server.expect("GET", "/zuimpl-2.0.0.47.7z", Answer::respond(200, other.package));
}

void UpdateFaultsTest::expectPublished(const Fault& fault, const Course& course) {
  expectLife(fault, course, End::Published);
}

void UpdateFaultsTest::expectKept(const Fault& fault, const Course& course) {
  expectLife(fault, course, End::Kept);
}

void UpdateFaultsTest::expectNotPublished(const Fault& fault, const Course& course) {
  expectLife(fault, course, End::NotPublished);
}

void UpdateFaultsTest::expectNoUpdate(const Fault& fault, const Course& course) {
  expectLife(fault, course, End::NoUpdate);
}

void UpdateFaultsTest::expectLife(const Fault& fault, const Course& course, End end) {
  const LeakCheck check(8);
  const CryptCheck cryptCheck(module);
  live(fault, end != End::NoUpdate, [&] {
    course.meanwhile();
    rememberTarget();
  });
  expectLines(course, end != End::NoUpdate);
  expectMutexesFree();
  expectTarget(course, end);
  if (!course.leftover.empty()) {
    EXPECT_TRUE(fileExists(course.leftover) || directoryExists(course.leftover));
    removeTree(course.leftover);
  }
  EXPECT_EQ(describeChanges(before_, otherFiles()), "");
  removeTree(target);
  offered_ = offer;
}

void UpdateFaultsTest::TearDown() {
  expectPublished(nothing, {.decision = usualDecision(), .task = usualTask()});
}

void UpdateFaultsTest::expectTarget(const Course& course, End end) const {
  if (end != End::Published) {
    EXPECT_EQ(targetFiles(), course.targetDeleted ? TreeListing() : targetBefore_);
    return;
  }
  EXPECT_EQ(readFile(targetModule), content);
  EXPECT_EQ(readFile(target + L"\\sub\\companion.txt"), "companion");
  EXPECT_EQ(targetFiles().size(), 3u);
}

// Everything but the target, the configuration cache, which is written each time, and the empty download directory.
TreeListing UpdateFaultsTest::otherFiles() const {
  TreeListing files = tree.listAll();
  std::erase_if(files, [](const auto& file) {
    return file.first.starts_with(L"root\\2.0.0.47") || file.first.ends_with(L"\\bbs.cache") ||
           file.first.ends_with(L"\\update");
  });
  return files;
}

void UpdateFaultsTest::live(const Fault& fault, bool beginsTask, const std::function<void()>& meanwhile) {
  clock_.advance(std::chrono::seconds(30));
  entry().onLoaded(nullptr);
  log.clear();
  meanwhile();
  const std::unique_ptr<ArmedFault> armed = arm(fault);
  EXPECT_EQ(send("setHostInfo", hostInformation()), "0");
  EXPECT_TRUE(waitUntil(
      [&] { return threadOf(beginsTask ? "ZuDllUpdater::downloadAsync::task" : "BssConfig::DoFetchJob") != 0; }));
  entry().onUnload();
  EXPECT_TRUE(armed->happened());
}

void UpdateFaultsTest::expectLines(const Course& course, bool beginsTask) const {
  const Lines host = {{"ZuLoaderPrivate::setHostInfo", L"setHostInfo uid: 4711, ver: 9.1.2, env: true"},
                      {"ZuLoaderPrivate::setHostInfo", L"setHostInfo path: " + tree.appPath()},
                      {"ZuLoaderPrivate::onUnload", L"onUnload"}};
  EXPECT_EQ(ownLines(), host);

  Lines fetch = {
      {"BssConfig::StoreToCache", L"Stored cache to persistent file: " + cachePath(L"bbs.cache")},
      {"BssConfig::DoFetchJob",
       L"DoFetchJob bssCode: zu_kx_anchor, ret: true, curlCode: 0, curlError: No error, url: "
       L"https://localhost:18443/configs/pc/post, body: " +
           toWide(lastConfigurationRequest())},
      {"ZuUpdateConfig::onFetch", L"Fetch ZuUpdateConfig success str: [ver: 2.0.0.47, pmd5: " + toWide(offered_.pmd5) +
                                      L", dmd5:" + toWide(offered_.dmd5) + L", url: " + url + L"]"}};
  fetch.insert(fetch.end(), course.decision.begin(), course.decision.end());
  fetch.push_back(
      {"BssConfig::OnResponse", L"onFetch success key: zu_plugin_update, value: " + toWide(offered_.entry())});
  EXPECT_EQ(linesOf(threadOf("BssConfig::DoFetchJob")), fetch);

  Lines task = course.laterTask ? course.laterTask() : course.task;
  if (beginsTask) task.insert(task.begin(), taskLine(L"Try download plugin ver: 2.0.0.47, url:  " + url));
  EXPECT_EQ(linesOf(threadOf("ZuDllUpdater::downloadAsync::task")), task);
  EXPECT_EQ(log.lines().size(), host.size() + fetch.size() + task.size());
}

std::string UpdateFaultsTest::lastConfigurationRequest() const {
  std::string body;
  for (const Request& request : server.requests()) {
    if (request.method == "POST") body = request.body;
  }
  return body;
}

std::vector<UpdateFaultsTest::DigestFault> UpdateFaultsTest::digestFaults(const std::wstring& path, std::size_t number,
                                                                          std::size_t chunksBefore) {
  const Failure failure = {.lastError = kGreatError, .fromCall = number};
  const Failure chunkFailure = {.lastError = kGreatError, .fromCall = chunksBefore + 1};
  return {{L"CreateFile", failingFor<decltype(CreateFileW)>(path, "CreateFileW", INVALID_HANDLE_VALUE)},
          {L"CryptAcquireContext", failing<decltype(CryptAcquireContextW)>("CryptAcquireContextW", FALSE, failure)},
          {L"CryptCreateHash", failing<decltype(CryptCreateHash)>("CryptCreateHash", FALSE, failure)},
          {L"CryptHashData", failing<decltype(CryptHashData)>("CryptHashData", FALSE, chunkFailure)},
          {L"CryptGetHashParam", failing<decltype(CryptGetHashParam)>("CryptGetHashParam", FALSE, failure)}};
}

Fault UpdateFaultsTest::failingChunk(std::size_t number) {
  return failing<decltype(ReadFile)>("ReadFile", FALSE, {.lastError = kGreatError, .fromCall = number},
                                     [](HANDLE, void*, DWORD size, auto...) { return size == kChunk; });
}

Line UpdateFaultsTest::deciding(bool published) const {
  return taskLine(std::wstring(L"Try published download plugin : ") + (published ? L"true" : L"false"));
}

Line UpdateFaultsTest::moved(bool published) const {
  return taskLine(std::wstring(L"MoveFileExW  published: ") + (published ? L"true" : L"false") + L", dest: " + target);
}

}  // namespace zuvia::test
