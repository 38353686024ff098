// The plugin publishes an unpacked version: each call of Windows on the way fails once, by itself.

#include <shlwapi.h>
#include <wincrypt.h>

#include "integration/faults/UpdateFaultsTest.h"
#include "integration/faults/VersionFault.h"
#include "support/Digest.h"

namespace zuvia::test {
namespace {

class PublishFaultsTest : public UpdateFaultsTest {
 protected:
  // The package is there and checked; then the task ends so.
  void expectEnd(const Fault& fault, Lines task, const std::wstring& leftover = {}) {
    task.insert(task.begin(), downloaded());
    expectNotPublished(fault, {.decision = usualDecision(), .task = task, .leftover = leftover});
  }
  // It is unpacked, too, and then refused for this reason.
  void expectRefused(const Fault& fault, Lines why) {
    why.insert(why.begin(), unpacked());
    why.push_back(skipped());
    expectEnd(fault, why);
  }
  void expectUsual(const Fault& fault) { expectPublished(fault, {.decision = usualDecision(), .task = usualTask()}); }

  // Another process publishes this module while the version's mutex is waited for, and something fails after that.
  Fault meanwhilePublished(const std::wstring& version, const Fault& fault = nothing) {
    const auto publish = [this, version] {
      tree.addVersion(L"2.0.0.47", moduleFile(version));
      rememberTarget();
    };
    return both(onMutex(kVersionMutex, {.beforeWait = publish}, {"open", "wait 30000", "release", "close"}), fault);
  }

  Line versionLine(const std::wstring& message) const { return {"ZuDllUpdater::getDllVersion", message}; }

  // The digests of the task: of the package, of the unpacked module, of a published one.
  const std::size_t packageChunks = chunksOf(offer.package);
  const std::size_t moduleChunks = chunksOf(content);
};

TEST_F(PublishFaultsTest, NeedsItsOwnDirectoryAndTheMutexOfTheVersion) {
  expectEnd(failing<decltype(GetModuleHandleExW)>("GetModuleHandleExW", FALSE,
                                                  {.lastError = kGreatError, .fromCall = 3}, isByAddress),
            {skipped()});
  expectEnd(failing<decltype(GetModuleFileNameW)>("GetModuleFileNameW", 0, {.lastError = kGreatError, .fromCall = 3}),
            {skipped()});

  const Line failed = taskLine(L"Unzip file err! VersionLock.");
  expectEnd(onMutex(kVersionMutex, {.creationError = kGreatError}, {"open"}), {failed});
  expectEnd(onMutex(kVersionMutex, {.waitResult = WAIT_TIMEOUT}, {"open", "wait 30000 in vain", "close"}), {failed});
  expectEnd(onMutex(kVersionMutex, {.waitResult = WAIT_FAILED}, {"open", "wait 30000 in vain", "close"}), {failed});
  SecondProcess holder;
  const auto abandon = [&] {
    EXPECT_EQ(holder.lockMutex(kVersionMutex), MutexState::Free);
    holder.die();
  };
  expectUsual(onMutex(kVersionMutex, {.beforeWait = abandon}, {"open", "wait 30000 abandoned", "release", "close"}));
}

TEST_F(PublishFaultsTest, RefusesAModuleWhoseDigestItCannotHaveOrOnlyThatOfItsStart) {
  for (const auto& [step, fault] : digestFaults(temporaryModule, 2, packageChunks)) {
    expectRefused(fault, {digestLine(L"Get file md5 fail! " + step + L" error: 2147483653, path: " + temporaryModule)});
  }

  // The package is read up to the read that finds its end; then the module is.
  const Fault breaksOff = failingChunk(packageChunks + 1 + 2);
  expectRefused(breaksOff, {});

  Offer shorter = offer;
  shorter.dmd5 = md5(content.substr(0, kChunk));
  offerOnce(shorter);
  expectUsual(breaksOff);
}

TEST_F(PublishFaultsTest, RefusesAModuleWhoseVersionItCannotRead) {
  const std::wstring& path = temporaryModule;
  expectRefused(failingFor<decltype(GetFileVersionInfoSizeW)>(path, "GetFileVersionInfoSizeW", 0),
                {versionLine(L"Get dll version fail! No version resource, path: " + path + L", error: 2147483653")});
  const std::wstring size = std::to_wstring(GetFileVersionInfoSizeW(moduleFile(L"2.0.0.47").c_str(), nullptr));
  expectRefused(
      failingFor<decltype(GetFileVersionInfoW)>(path, "GetFileVersionInfoW", FALSE),
      {versionLine(L"Get dll version fail! GetFileVersionInfo error: 2147483653, size: " + size + L", path: " + path)});
  const auto expectInvalid = [&](const FixedInfoAnswer& answer, const std::wstring& length, const std::wstring& info) {
    expectRefused(answeringFixedInfo(path, answer),
                  {versionLine(L"Get dll version fail! VerQueryValue invalid, len: " + length +
                               L", expect: 52, fixedInfo: " + info + L", path: " + path)});
  };
  expectInvalid({.result = FALSE, .hasInfo = false, .length = 0}, L"0", L"null");
  expectInvalid({.hasInfo = false}, L"52", L"null");
  expectInvalid({.length = 51}, L"51", L"valid");
  expectUsual(answeringFixedInfo(path, {.length = 53}));
}

TEST_F(PublishFaultsTest, LeavesNothingBesideATargetThatIsNoPlainDirectoryOrWhenTheMoveFails) {
  const Line invalid = taskLine(L"Invalid update target path: " + target);
  expectRefused(answeringAttributes(target, 2, FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT), {invalid});
  expectRefused(answeringAttributes(target, 2, FILE_ATTRIBUTE_ARCHIVE), {invalid});

  const Fault stays = failing<decltype(MoveFileExW)>("MoveFileExW", FALSE);
  expectEnd(stays, {unpacked(), deciding(false), moved(false), skipped()});
  expectNotPublished(meanwhilePublished(L"2.0.0.46", stays),
                     {.decision = usualDecision(),
                      .task = {downloaded(), unpacked(), deciding(false), moved(false), skipped()},
                      .targetDeleted = true});
}

// What is there already is not trusted while it cannot be looked at, and replaced.
TEST_F(PublishFaultsTest, ReplacesAPublishedVersionThatItCannotCheck) {
  expectKept(meanwhilePublished(L"2.0.0.47"),
             {.decision = usualDecision(), .task = {downloaded(), unpacked(), deciding(true), told()}});

  expectUsual(meanwhilePublished(L"2.0.0.47", failingFor<decltype(GetFileAttributesW)>(
                                                  targetModule, "GetFileAttributesW", INVALID_FILE_ATTRIBUTES)));
  const auto expectReplaced = [this](const Fault& fault, const Line& why) {
    expectPublished(
        meanwhilePublished(L"2.0.0.47", fault),
        {.decision = usualDecision(), .task = {downloaded(), unpacked(), why, deciding(false), moved(true), told()}});
  };
  for (const auto& [step, fault] : digestFaults(targetModule, 3, packageChunks + moduleChunks)) {
    expectReplaced(fault, digestLine(L"Get file md5 fail! " + step + L" error: 2147483653, path: " + targetModule));
  }
  expectReplaced(
      failingFor<decltype(GetFileVersionInfoSizeW)>(targetModule, "GetFileVersionInfoSizeW", 0),
      versionLine(L"Get dll version fail! No version resource, path: " + targetModule + L", error: 2147483653"));
}

TEST_F(PublishFaultsTest, LeavesWhatItCannotRemove) {
  const auto expectTargetStays = [this](const Fault& fault, const Lines& why, bool emptied) {
    Lines task = {downloaded(), unpacked(), deciding(false)};
    task.insert(task.end(), why.begin(), why.end());
    task.push_back(skipped());
    expectNotPublished(meanwhilePublished(L"2.0.0.46", fault),
                       {.decision = usualDecision(), .task = task, .leftover = target, .targetDeleted = emptied});
  };
  const Line unlisted = removalLine(L"Delete directory fail! FindFirstFile error: 2147483653");
  expectTargetStays(failingFor<decltype(FindFirstFileW)>(target + L"\\*", "FindFirstFileW", INVALID_HANDLE_VALUE),
                    {unlisted}, false);
  expectTargetStays(failingFor<decltype(DeleteFileW)>(targetModule, "DeleteFileW", FALSE),
                    {removalLine(L"Delete file fail! error: 2147483653, path: " + targetModule),
                     removalLine(L"Remove directory fail! error: 145, path: " + target)},
                    false);
  expectTargetStays(failingFor<decltype(RemoveDirectoryW)>(target, "RemoveDirectoryW", FALSE),
                    {removalLine(L"Remove directory fail! error: 2147483653, path: " + target)}, true);

  Offer wrong = offer;
  wrong.dmd5 = md5("something else");
  const auto expectTemporaryStays = [&](const Fault& fault, const Lines& why) {
    offerOnce(wrong);
    Lines task = {unpacked()};
    task.insert(task.end(), why.begin(), why.end());
    task.push_back(skipped());
    expectEnd(fault, task, temporary);
  };
  expectTemporaryStays(failingFor<decltype(FindFirstFileW)>(temporary + L"\\*", "FindFirstFileW", INVALID_HANDLE_VALUE),
                       {unlisted});
  expectTemporaryStays(failingFor<decltype(DeleteFileW)>(temporaryModule, "DeleteFileW", FALSE),
                       {removalLine(L"Delete file fail! error: 2147483653, path: " + temporaryModule),
                        removalLine(L"Remove directory fail! error: 145, path: " + temporary)});
  expectTemporaryStays(failingFor<decltype(RemoveDirectoryW)>(temporary, "RemoveDirectoryW", FALSE),
                       {removalLine(L"Remove directory fail! error: 2147483653, path: " + temporary)});
}

TEST_F(PublishFaultsTest, MindsNoFailureOfGivingBack) {
  expectUsual(failingAfterwards<decltype(ReleaseMutex)>("ReleaseMutex", FALSE));
  expectUsual(failingAfterwards<decltype(CloseHandle)>("CloseHandle", FALSE));
  expectUsual(both(failingAfterwards<decltype(CryptDestroyHash)>("CryptDestroyHash", FALSE),
                   failingAfterwards<decltype(CryptReleaseContext)>("CryptReleaseContext", FALSE)));
}

}  // namespace
}  // namespace zuvia::test
