// The plugin decides whether an offered version must be downloaded: each call of Windows on the way fails once, by
// itself.

#include <shlobj.h>
#include <shlwapi.h>

#include "integration/faults/UpdateFaultsTest.h"
#include "support/Digest.h"

namespace zuvia::test {
namespace {

class DecisionFaultsTest : public UpdateFaultsTest {
 protected:
  // Meanwhile the offered version has come, intact or with another module.
  const std::function<void()> intact = [this] { addVersion(L"2.0.0.47"); };
  const std::function<void()> other = [this] { tree.addVersion(L"2.0.0.47", moduleFile(L"2.0.0.46")); };

  // What the decision says of a module with this digest.
  Line mismatch(const std::string& digest, bool deleted) const {
    return checkLine(L"File md5 not match md5 " + toWide(digest) + L", expected md5: " + toWide(offer.dmd5) +
                     L", delete directory: " + (deleted ? L"true" : L"false"));
  }

  const std::string otherDigest = md5(readFile(moduleFile(L"2.0.0.46")));
};

// The clean-up before asks, too, and the task after it; the updater's own search says nothing when it fails.
TEST_F(DecisionFaultsTest, TakesAVersionThatItCannotLookAtForMissingOrDeleted) {
  const Lines nowhere = {checkLine(L"Directory not exist: \\2.0.0.47")};
  expectPublished(failing<decltype(GetModuleHandleExW)>("GetModuleHandleExW", FALSE,
                                                        {.lastError = kGreatError, .fromCall = 2}, isByAddress),
                  {.decision = nowhere, .task = usualTask()});
  expectPublished(
      failing<decltype(GetModuleFileNameW)>("GetModuleFileNameW", 0, {.lastError = kGreatError, .fromCall = 2}),
      {.decision = nowhere, .task = usualTask()});
  expectPublished(
      failing<decltype(PathRemoveFileSpecW)>("PathRemoveFileSpecW", FALSE, {.fromCall = 2}),
      {.decision = {checkLine(L"Directory not exist: " + tree.pluginPath() + L"\\2.0.0.47")}, .task = usualTask()});

  const Lines alreadyPublished = {downloaded(), unpacked(), deciding(true), told()};
  expectKept(failingFor<decltype(GetFileAttributesW)>(target, "GetFileAttributesW", INVALID_FILE_ATTRIBUTES),
             {.meanwhile = intact, .decision = usualDecision(), .task = alreadyPublished});
  expectKept(
      failingFor<decltype(GetFileAttributesW)>(targetModule, "GetFileAttributesW", INVALID_FILE_ATTRIBUTES),
      {.meanwhile = intact, .decision = {checkLine(L"File not exist: " + targetModule)}, .task = alreadyPublished});

  expectPublished(
      failingFor<decltype(GetFileAttributesW)>(target, "GetFileAttributesW", INVALID_FILE_ATTRIBUTES, {.fromCall = 2}),
      {.meanwhile = other, .decision = {mismatch(otherDigest, true)}, .task = usualTask()});
}

TEST_F(DecisionFaultsTest, DeletesAVersionWhoseDigestItCannotHaveOrOnlyThatOfItsStart) {
  for (const auto& [step, fault] : digestFaults(targetModule, 1, 0)) {
    expectPublished(
        fault, {.meanwhile = intact,
                .decision = {digestLine(L"Get file md5 fail! " + step + L" error: 2147483653, path: " + targetModule),
                             mismatch("", true)},
                .task = usualTask()});
  }

  const std::string start = md5(content.substr(0, kChunk));
  expectPublished(failingChunk(2), {.meanwhile = intact, .decision = {mismatch(start, true)}, .task = usualTask()});

  Offer shorter = offer;
  shorter.dmd5 = start;
  offerOnce(shorter, false);
  expectNoUpdate(failingChunk(2),
                 {.meanwhile = intact, .decision = {decisionLine(L"No needed to upgrade for for version: 2.0.0.47")}});
}

// The task then deletes it in its turn.
TEST_F(DecisionFaultsTest, SaysWhyAVersionWithAnotherModuleWasNotDeleted) {
  const auto expectNotDeleted = [this](const Fault& fault, const Lines& why) {
    Lines decision = why;
    decision.push_back(mismatch(otherDigest, false));
    expectPublished(fault, {.meanwhile = other, .decision = decision, .task = usualTask()});
  };
  expectNotDeleted(answeringAttributes(target, 2, FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT),
                   {removalLine(L"Delete directory fail! Not a plain directory, attributes: 1040")});
  expectNotDeleted(failingFor<decltype(FindFirstFileW)>(target + L"\\*", "FindFirstFileW", INVALID_HANDLE_VALUE),
                   {removalLine(L"Delete directory fail! FindFirstFile error: 2147483653")});
  const Line notEmpty = removalLine(L"Remove directory fail! error: 145, path: " + target);
  expectNotDeleted(failing<decltype(FindNextFileW)>("FindNextFileW", FALSE), {notEmpty});
  expectNotDeleted(failingFor<decltype(DeleteFileW)>(targetModule, "DeleteFileW", FALSE),
                   {removalLine(L"Delete file fail! error: 2147483653, path: " + targetModule), notEmpty});
  expectNotDeleted(failingFor<decltype(RemoveDirectoryW)>(target, "RemoveDirectoryW", FALSE),
                   {removalLine(L"Remove directory fail! error: 2147483653, path: " + target)});
}

TEST_F(DecisionFaultsTest, GoesOnWithTheDirectoryAndTheGuidThatItGets) {
  const auto line = [this](const std::wstring& result) {
    return decisionLine(L"Directory not exist: " + downloadDirectory() + L", create: " + result);
  };
  const std::wstring directory = downloadDirectory();
  expectPublished(failingFor<decltype(GetFileAttributesW)>(directory, "GetFileAttributesW", INVALID_FILE_ATTRIBUTES),
                  {.decision = {checkLine(L"Directory not exist: " + target), line(L"183")}, .task = usualTask()});

  removeTree(cacheDirectory() + L"\\update");
  const auto isDownloads = [directory](HWND, const wchar_t* path, const SECURITY_ATTRIBUTES*) {
    return directory == path;
  };
  expectNotPublished(
      failing<decltype(SHCreateDirectoryExW)>("SHCreateDirectoryExW", ERROR_ACCESS_DENIED, {}, isDownloads),
      {.decision = {checkLine(L"Directory not exist: " + target), line(L"5")},
       .task = {{"ZuDllUpdater::download", L"Download fail! Open save file failed, path: " + package +
                                               L", errno: 2, msg: No such file or directory"},
                notDownloaded()}});

  const RecordedImport<decltype(_wfopen), std::wstring> opened(
      module, "_wfopen", [](const wchar_t* path, const wchar_t*) { return std::wstring(path); });
  const std::wstring zeros = tree.root() + L"\\.update-2.0.0.47-0000000000000000";
  expectPublished(
      failing<decltype(CoCreateGuid)>("CoCreateGuid", E_FAIL, {.callCount = kEveryCall}),
      {.decision = {checkLine(L"Directory not exist: " + target), line(L"0")},
       .task = {downloaded(), taskLine(L"Unzip file success path: " + zeros), deciding(false), moved(true), told()}});
  EXPECT_THAT(opened.records(), testing::Contains(downloadDirectory() + L"0000000000000000.zip"));
}

}  // namespace
}  // namespace zuvia::test
