#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "integration/PluginTest.h"
#include "integration/packages/PathWatch.h"
#include "support/Files.h"
#include "support/SecondProcess.h"

namespace zuvia::test {

// Path below a version directory, separated by "\", to content.
using Contents = std::map<std::wstring, std::string>;

// The plugin that ships, running 2.0.0.45, with the host's real 7z library, is offered packages of 2.0.0.47, one
// after another in one process. After each of them, whatever became of it, the fixture proves that
//   - 2.0.0.45 still runs, no lock is held, and the host was told of an upgrade only where there was one;
//   - the temporary directory and the package are gone;
//   - nothing else has changed in and around the installation and the application path, by the digests of
//     everything there and by every path that the plugin has opened, made, moved, changed or removed;
//   - the host can unload and load again, and gets the version that it should.
// Then the published version is taken away, and the next package may come.
//
// Lines are the messages of the update task, each whole. "<temporary>" stands for the temporary directory and
// "<package>" for the downloaded file.
class PackageTest : public PluginTest {
 protected:
  PackageTest();
  void SetUp() override;

  // Offers the package and expects a version directory with exactly these files and the directories above them.
  void expectPublished(const std::string& package, const Contents& files);

  // Offers the package and expects that unpacking it fails with these lines.
  void expectRefused(const std::string& package, const std::vector<std::wstring>& lines);

  // Offers the package and expects either. Returns whether it was published.
  bool expectPublishedOrRefused(const std::string& package, const Contents& files,
                                const std::vector<std::wstring>& oneOfTheseLines);

  // Offers the package and expects that it is unpacked and then not published, without a line that says why: the
  // module in it is not the offered one.
  void expectUnpackedOnly(const std::string& package);

  // The offered module. The fixture begins with that of 2.0.0.47.
  std::string implementation = readFile(moduleFile(L"2.0.0.47"));
  bool loadable = true;  // whether the host can load it; otherwise 2.0.0.45 goes on running

  // Where names in the next packages lead to outside the temporary directory, as the system writes it: devices,
  // "\\.\nul". All of them, and nothing else there, are expected to be opened.
  std::vector<std::wstring> elsewhere;

 private:
  std::vector<WideText> update(const std::string& package);
  void expectLines(const std::vector<WideText>& lines, const std::vector<std::wstring>& expected) const;
  void expectAfterwards(const Contents& files);
  void expectRunning();
  void expectNothingElse();
  void expectVersion(const Contents& files);
  void expectLoad(const std::wstring& version, const std::wstring& path);
  std::vector<std::wstring> publication() const;
  std::vector<WideText> filledIn(const std::vector<std::wstring>& lines) const;

  const std::wstring temporary_ = tree.root() + L"\\.update-2.0.0.47-00112233aabbccdd";
  const std::wstring target_ = tree.root() + L"\\2.0.0.47";
  const std::wstring download_ = cachePath(L"update\\00112233aabbccdd.zip");
  ImportHook<decltype(CoCreateGuid)> guid_;
  ImportHook<void*(ULONG_PTR, const char*)> roots_;
  SecondProcess second_;
  TreeListing before_;
  std::optional<PathWatch> watch_;
  std::ptrdiff_t upgrades_ = 0;
};

}  // namespace zuvia::test
