// The plugin downloads a package, checks it, reads it and unpacks it: each call of Windows on the way fails once, by
// itself.

#include <shlobj.h>

#include <cerrno>
#include <cstdio>

#include "integration/faults/MutexFault.h"
#include "integration/faults/UpdateFaultsTest.h"
#include "support/Digest.h"

namespace zuvia::test {
namespace {

// The stream of a file says that it could not be closed. It was.
class CloseFault : public ArmedFault {
 public:
  CloseFault(HMODULE plugin, const std::wstring& path)
      : open_(plugin, "_wfopen",
              [this, path](auto* original, const wchar_t* opened, const wchar_t* mode) {
                FILE* const stream = original(opened, mode);
                if (path == opened) stream_ = stream;
                return stream;
              }),
        close_(plugin, "fclose", [this](auto* original, FILE* stream) {
          const int result = original(stream);
          if (stream == nullptr || stream != stream_.load()) return result;
          stream_ = nullptr;
          happened_ = true;
          return EOF;
        }) {}
  bool happened() const override { return happened_; }

 private:
  std::atomic<FILE*> stream_ = nullptr;
  std::atomic<bool> happened_ = false;
  ImportHook<decltype(_wfopen)> open_;
  ImportHook<decltype(fclose)> close_;
};

Fault failingClose(const std::wstring& path) {
  return [=](HMODULE plugin) { return std::make_unique<CloseFault>(plugin, path); };
}

// Reading a file whole, of this size, gives 4096 bytes at first, and then none: result tells whether that is a failure.
Fault breakingOffRead(std::size_t size, BOOL result) {
  constexpr DWORD kFirst = 4096;
  return replacing<decltype(ReadFile)>("ReadFile", [=](std::atomic<bool>& happened) {
    return [=, &happened](auto* original, HANDLE file, void* data, DWORD bytes, DWORD* read, OVERLAPPED* overlapped) {
      if (bytes == size) return original(file, data, kFirst, read, overlapped);
      if (bytes != size - kFirst) return original(file, data, bytes, read, overlapped);
      happened = true;
      *read = 0;
      SetLastError(kGreatError);
      return result;
    };
  });
}

class DownloadFaultsTest : public UpdateFaultsTest {
 protected:
  // The task ends so, with nothing published.
  void expectEnd(const Fault& fault, const Lines& task, const std::wstring& leftover = {}) {
    expectNotPublished(fault, {.decision = usualDecision(), .task = task, .leftover = leftover});
  }

  Line downloadLine(const std::wstring& message) const { return {"ZuDllUpdater::download", message}; }
  Line readLine(const std::wstring& message) const { return {"ZuDllUpdater::readAllBytes", message}; }
  Line unpackLine(const std::wstring& message) const { return {"ZuDllUpdater::unZip", message}; }
  // A transfer that failed with this code, message and so on.
  Line transferLine(const std::wstring& how) const {
    return downloadLine(L"Download fail! path: " + package + L", curl code: " + how + L", url: " + url);
  }
  Line otherPackage(const std::string& digest, bool deleted) const {
    return taskLine(L"Download exception! Expected md5: " + toWide(offer.pmd5) + L", but found: " + toWide(digest) +
                    L", del: " + (deleted ? L"true" : L"false"));
  }

  // The package is downloaded, and then cannot be read or unpacked for this reason.
  void expectNotUnpacked(const Fault& fault, const Lines& why) {
    Lines task = why;
    task.insert(task.begin(), downloaded());
    task.push_back(notUnpacked());
    task.push_back(skipped());
    expectEnd(fault, task);
  }
  void expectNotRead(const Fault& fault, Lines why) {
    why.push_back(unpackLine(L"Read unzip file fail: " + package));
    expectNotUnpacked(fault, why);
  }

  const std::wstring size = std::to_wstring(offer.package.size());
  const std::wstring inner = temporary + L"\\sub";
};

// ---- The transfer

// The fetch before has the mutex first.
TEST_F(DownloadFaultsTest, NeedsTheCurlMutex) {
  const Lines task = {downloadLine(L"Download fail! Acquire curl mutex timeout or error: 2147483653"), notDownloaded()};
  expectEnd(onMutex(kCurlMutex, {.use = 2, .creationError = kGreatError}, {"open"}), task);
  expectEnd(onMutex(kCurlMutex, {.use = 2, .waitResult = WAIT_TIMEOUT}, {"open", "wait 60000 in vain", "close"}), task);
  expectEnd(onMutex(kCurlMutex, {.use = 2, .waitResult = WAIT_FAILED}, {"open", "wait 60000 in vain", "close"}), task);
  SecondProcess holder;
  const auto abandon = [&] {
    EXPECT_EQ(holder.lockMutex(kCurlMutex), MutexState::Free);
    holder.die();
  };
  expectPublished(
      onMutex(kCurlMutex, {.use = 2, .beforeWait = abandon}, {"open", "wait 60000 abandoned", "release", "close"}),
      {.decision = usualDecision(), .task = usualTask()});
}

TEST_F(DownloadFaultsTest, NeedsATransferAndAFileThatCanBeWrittenAndClosed) {
  expectEnd(withoutTransfer(2), {downloadLine(L"Download fail! curl_easy_init returned null."), notDownloaded()});
  expectEnd(
      failingFor<decltype(_wfopen)>(package, "_wfopen", nullptr, {.errnoValue = EACCES}),
      {downloadLine(L"Download fail! Open save file failed, path: " + package + L", errno: 13, msg: Permission denied"),
       notDownloaded()});
  std::atomic<unsigned> received = 0;
  const auto isPackage = [&received](int, const void* data, unsigned bytes) {
    const bool begins = std::string_view(static_cast<const char*>(data), bytes).starts_with("7z\xBC\xAF");
    if (begins) received = bytes;
    return begins;
  };
  expectNotPublished(
      failing<decltype(_write)>("_write", -1, {.errnoValue = ENOSPC, .callCount = kEveryCall}, isPackage),
      {.decision = usualDecision(), .laterTask = [&] {
         return Lines{transferLine(L"23, msg: Failure writing output to destination, http code: 200, received bytes: " +
                                   std::to_wstring(received) + L", write succeeded: false"),
                      notDownloaded()};
       }});
  expectEnd(failingClose(package),
            {transferLine(L"0, msg: No error, http code: 200, received bytes: " + size + L", write succeeded: false"),
             notDownloaded()});
}

// ---- The package on the disk

TEST_F(DownloadFaultsTest, LeavesAPackageThatCannotBeDeleted) {
  const Fault stays = failingFor<decltype(DeleteFileW)>(package, "DeleteFileW", FALSE);
  expectPublished(stays, {.decision = usualDecision(), .task = usualTask(), .leftover = package});

  server.expect("GET", "/zuimpl-2.0.0.47.7z", Answer::respond(404));
  expectEnd(stays,
            {transferLine(L"22, msg: The requested URL returned error: 404, http code: 404, received bytes: 0, write "
                          L"succeeded: true"),
             notDownloaded()},
            package);

  server.expect("GET", "/zuimpl-2.0.0.47.7z", Answer::respond(200, "something else"));
  expectEnd(stays, {downloaded(), otherPackage(md5("something else"), false)}, package);
}

TEST_F(DownloadFaultsTest, RefusesAPackageWhoseDigestItCannotHaveOrOnlyThatOfItsStart) {
  for (const auto& [step, fault] : digestFaults(package, 1, 0)) {
    expectEnd(fault, {downloaded(), digestLine(L"Get file md5 fail! " + step + L" error: 2147483653, path: " + package),
                      otherPackage("", true)});
  }

  const std::string start = md5(offer.package.substr(0, kChunk));
  expectEnd(failingChunk(2), {downloaded(), otherPackage(start, true)});

  Offer shorter = offer;
  shorter.pmd5 = start;
  offerOnce(shorter);
  expectPublished(failingChunk(2), {.decision = usualDecision(), .task = usualTask()});
}

TEST_F(DownloadFaultsTest, RefusesAPackageThatItCannotReadWhole) {
  expectNotRead(failingFor<decltype(CreateFileW)>(package, "CreateFileW", INVALID_HANDLE_VALUE,
                                                  {.lastError = kGreatError, .fromCall = 2}),
                {readLine(L"Read file fail! CreateFile error: 2147483653, path: " + package)});
  expectNotRead(
      failing<decltype(GetFileSizeEx)>("GetFileSizeEx", FALSE),
      {readLine(L"Read file fail! Invalid file size: 0, max: 104857600, error: 2147483653, path: " + package)});

  // Unlike a digest, this takes no read error for the end.
  const auto expectBrokenOff = [this](const Fault& fault, const std::wstring& error, const std::wstring& offset) {
    expectNotRead(fault, {readLine(L"Read file fail! ReadFile error: " + error + L", read: 0, offset: " + offset +
                                   L", path: " + package),
                          readLine(L"Read file fail! Incomplete read, got: " + offset + L", expect: " + size +
                                   L", path: " + package)});
  };
  const auto isWhole = [this](HANDLE, void*, DWORD bytes, auto...) { return bytes == offer.package.size(); };
  expectBrokenOff(failing<decltype(ReadFile)>("ReadFile", FALSE, {.lastError = kGreatError}, isWhole), L"2147483653",
                  L"0");
  expectBrokenOff(breakingOffRead(offer.package.size(), FALSE), L"2147483653", L"4096");
  expectBrokenOff(breakingOffRead(offer.package.size(), TRUE), L"2147483653", L"4096");
}

// ---- The unpacked files

TEST_F(DownloadFaultsTest, StopsUnpackingWhereItCannotWriteOrTrust) {
  const auto making = [](const std::wstring& directory) {
    return failing<decltype(SHCreateDirectoryExW)>(
        "SHCreateDirectoryExW", static_cast<int>(kGreatError), {},
        [directory](HWND, const wchar_t* path, const SECURITY_ATTRIBUTES*) { return directory == path; });
  };
  expectNotUnpacked(making(temporary), {unpackLine(L"Unzip file fail. CreateDirectory err: 2, path: " + temporary)});
  expectNotUnpacked(both(making(temporary), answeringAttributes(temporary, 2, INVALID_FILE_ATTRIBUTES)),
                    {unpackLine(L"Unzip file fail. CreateDirectory err: 2147483653, path: " + temporary)});
  expectNotUnpacked(making(inner),
                    {unpackLine(L"Unzip file fail! Create sub directory error: 2147483653, path: " + inner)});

  const auto line = [this](const std::wstring& attributes, const std::wstring& path) {
    return unpackLine(L"Unzip file fail! Invalid parent directory, attributes: " + attributes +
                      L", error: 2147483653, path: " + path);
  };
  const DWORD link = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT;
  expectNotUnpacked(answeringAttributes(inner, 1, INVALID_FILE_ATTRIBUTES), {line(L"4294967295", inner)});
  expectNotUnpacked(answeringAttributes(inner, 1, link), {line(L"1040", inner)});
  expectNotUnpacked(answeringAttributes(temporary, 2, INVALID_FILE_ATTRIBUTES), {line(L"4294967295", temporary)});
  expectNotUnpacked(answeringAttributes(temporary, 2, link), {line(L"1040", temporary)});
  expectNotUnpacked(answeringAttributes(temporaryModule, 1, FILE_ATTRIBUTE_REPARSE_POINT),
                    {unpackLine(L"Unzip file fail! Output path is a reparse point: " + temporaryModule)});

  expectNotUnpacked(failingFor<decltype(_wfopen)>(temporaryModule, "_wfopen", nullptr, {.errnoValue = EACCES}),
                    {unpackLine(L"Unzip file fail! Open output file failed, path: " + temporaryModule +
                                L", errno: 13, msg: Permission denied")});
  const auto isModule = [](int, const void* data, unsigned bytes) {
    return std::string_view(static_cast<const char*>(data), bytes).starts_with("MZ");
  };
  expectNotUnpacked(failing<decltype(_write)>("_write", -1, {.errnoValue = ENOSPC, .callCount = kEveryCall}, isModule),
                    {unpackLine(L"Unzip file fail! Write output file failed, path: " + temporaryModule + L", size: " +
                                std::to_wstring(content.size()) + L", errno: 28, msg: No space left on device")});
}

}  // namespace
}  // namespace zuvia::test
