// Another program opens the files of the plugin as they appear, and holds them for 0.2, 3 or 30 seconds.
//
// The plugin neither waits for a file nor tries twice, so it is the order of events that counts: who lets go after 0.2
// seconds may have done so before the file is needed again, after 3 seconds before the host is started next, and after
// 30 seconds not even then.

#include <string>
#include <thread>

#include "integration/disk/DiskTest.h"
#include "integration/disk/Scanner.h"
#include "integration/faults/FaultsTest.h"
#include "support/Digest.h"
#include "support/Text.h"

namespace zuvia::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class ScannerTest : public DiskTest {
 protected:
  // A life that finds 2.0.0.47 loaded, from this directory in the root, and has nothing to publish.
  Life upToDate(const Messages& host = {}, const std::wstring& directory = {}) const {
    return {.version = L"2.0.0.47",
            .directory = directory,
            .host = host,
            .decision = Messages{L"No needed to upgrade for version: 2.0.0.47, local ver is newest!"},
            .task = Messages{}};
  }

  static std::wstring unreadable(const std::wstring& path) {
    return L"Get file md5 fail! CreateFile error: 32, path: " + path;
  }

  // All is unpacked but cannot be moved; then these stay.
  Life notMoved(Messages stays) const {
    stays.insert(stays.begin(),
                 {L"Try published download plugin : false", L"MoveFileExW  published: false, dest: " + target});
    return {.task = afterUnpacking(stays)};
  }

  static std::wstring nameOf(const std::wstring& path) { return path.substr(path.rfind(L'\\') + 1); }

  Messages cleanUp(const std::wstring& version) const {
    return {L"Try delete unused plugin: " + tree.root() + L'\\' + version};
  }
};

// ---- The caches

TEST_F(ScannerTest, OfTheCaches) {
  const std::wstring cache = cachePath(L"bbs.cache");
  const std::wstring notWritten = L"Failed to write to persistent cache file: " + cache;
  for (const FileShare share : {FileShare::Read, FileShare::None}) {
    Scanner scanner(module, share, cache);
    live({.stored = notWritten});
    EXPECT_THAT(scanner.held(), ElementsAre(cache));
    Life next = upToDate(cleanUp(L"2.0.0.45"));  // it is still held
    if (share == FileShare::None) next.host.insert(next.host.begin(), L"Create file failed: " + cache);
    next.stored = notWritten;
    live(next);
    scanner.letGo();
    EXPECT_EQ(readFile(cache), "");
    live(upToDate());
    scanner.letGo();  // of what was written then
    EXPECT_GT(readFile(cache).size(), 0u);
    EXPECT_THAT(invariants->violations(), IsEmpty());
    addVersion(L"2.0.0.45");
    clear();
  }

  const std::wstring sequence = cachePath(L"hit.cache");
  for (const FileShare share : {FileShare::Read, FileShare::None}) {
    writeFile(sequence, "KEPT");
    Scanner scanner(module, share);
    scanner.open(sequence);
    live({});
    EXPECT_EQ(sentHitSequence() == "KEPT", share == FileShare::Read);  // otherwise one for this life only
    scanner.letGo();
    EXPECT_EQ(readFile(sequence), "KEPT");
    EXPECT_THAT(invariants->violations(), IsEmpty());
    takeBack();
    live({});
    EXPECT_EQ(sentHitSequence(), "KEPT");
    clear();
  }
}

// ---- The package

TEST_F(ScannerTest, OfThePackage) {
  {
    // Who reads it is only in the way of its removal.
    const std::wstring left = package();
    Scanner scanner(module, FileShare::Read, left);
    live({});
    EXPECT_THAT(leftovers(), ElementsAre(left));
    EXPECT_THAT(invariants->violations(), IsEmpty());
    scanner.letGo();
  }
  clear();

  // Who shares nothing makes it unreadable.
  const std::wstring left = package();
  Scanner scanner(module, FileShare::None, left);
  live({.task = Messages{L"Download success ver:  2.0.0.47", unreadable(left),
                         L"Download exception! Expected md5: " + toWide(usual.pmd5) + L", but found: , del: false"}});
  EXPECT_THAT(leftovers(), ElementsAre(left));
  EXPECT_FALSE(directoryExists(target));
  EXPECT_THAT(invariants->violations(), IsEmpty());
  live({});  // it is still held
  EXPECT_THAT(leftovers(), ElementsAre(left));
  scanner.letGo();
}

// ---- The unpacked files

// This publication fails, and the next one does not, whether the file is still held or not.
TEST_F(ScannerTest, OfACompanion) {
  for (const FileShare share : {FileShare::Read, FileShare::None}) {
    const std::wstring left = temporary();
    const std::wstring inner = left + L"\\sub";
    const std::wstring file = inner + L"\\companion.txt";
    Scanner scanner(module, share, file);
    live(notMoved({fileStays(file, 32), directoryStays(inner, 145), directoryStays(left, 145)}));
    EXPECT_THAT(leftovers(), ElementsAre(left, inner, file));
    EXPECT_FALSE(directoryExists(target));
    EXPECT_THAT(invariants->violations(), IsEmpty());
    live({});  // it is still held
    EXPECT_THAT(leftovers(), ElementsAre(left, inner, file));
    scanner.letGo();
    clear();
  }
}

TEST_F(ScannerTest, OfACompanionForATime) {
  {
    // 0.2 seconds, on a slow machine: between the unpacking and the move it is let go.
    Scanner scanner(module, FileShare::Read, temporary() + L"\\sub\\companion.txt");
    std::thread release;
    const Fault slow = replacing<DWORD(const wchar_t*, DWORD*)>("GetFileVersionInfoSizeW", [&](auto& happened) {
      return [&](auto* original, const wchar_t* path, DWORD* handle) {
        EXPECT_EQ(scanner.held().size(), 1u);
        release = std::thread([&] {
          Sleep(200);
          scanner.letGo();
        });
        happened = waitUntil([&] { return scanner.held().empty(); });
        return original(path, handle);
      };
    });
    live({}, slow);
    release.join();
    EXPECT_THAT(leftovers(), IsEmpty());
  }
  clear();

  // 3 seconds.
  const std::wstring left = temporary();
  const std::wstring file = left + L"\\sub\\companion.txt";
  Scanner scanner(module, FileShare::None, file);
  live(notMoved({fileStays(file, 32), directoryStays(left + L"\\sub", 145), directoryStays(left, 145)}));
  Sleep(3000);
  scanner.letGo();
  recover();
}

// What stays in the temporary directory is a candidate as any other: it is loaded next, and counts as up to date. The
// companion is gone. A newer version ends that.
TEST_F(ScannerTest, OfTheModuleLeavesItAloneInTheTemporaryDirectoryWhereItIsLoaded) {
  const std::wstring left = temporary();
  const std::wstring file = left + L"\\zuimpl.dll";
  Scanner scanner(module, FileShare::Read, file);
  live(notMoved({fileStays(file, 32), directoryStays(left, 145)}));
  EXPECT_THAT(leftovers(), ElementsAre(left, file));
  EXPECT_THAT(invariants->violations(), IsEmpty());
  const std::wstring directory = nameOf(left);
  live(upToDate(cleanUp(L"2.0.0.45"), directory));
  scanner.letGo();
  EXPECT_THAT(invariants->violations(), IsEmpty());

  const Offer newer = makeOffer("2.0.1.0");
  const std::wstring newerTarget = tree.root() + L"\\2.0.1.0";
  offerOnce(newer);
  server.expect("GET", "/zuimpl-2.0.1.0.7z", Answer::respond(200, newer.package));
  const std::wstring unpacked = tree.root() + L"\\.update-2.0.1.0-" + temporary().substr(temporary().rfind(L'-') + 1);
  live({.version = L"2.0.0.47",
        .directory = directory,
        .decision = Messages{L"Directory not exist: " + newerTarget},
        .task = Messages{L"Download success ver:  2.0.1.0", L"Unzip file success path: " + unpacked,
                         L"Try published download plugin : false",
                         L"MoveFileExW  published: true, dest: " + newerTarget, L"onUpdateSuccess newVer: 2.0.1.0"}});
  EXPECT_THAT(invariants->violations(), IsEmpty());
  Life last = upToDate({L"Skip non version directory: " + left});
  last.version = L"2.0.1.0";
  live(last);
  removeTree(newerTarget);
}

// Nobody can load it while it is held; then it is found before the published one, which has the same version.
TEST_F(ScannerTest, OfTheModuleThatSharesNothingLeavesItToBeLoadedLater) {
  const std::wstring left = temporary();
  const std::wstring file = left + L"\\zuimpl.dll";
  Scanner scanner(module, FileShare::None, file);
  live({.task = afterUnpacking({unreadable(file), fileStays(file, 32), directoryStays(left, 145)})});
  EXPECT_THAT(leftovers(), ElementsAre(left, file));
  live({});  // it is still held
  EXPECT_THAT(invariants->violations(), IsEmpty());
  scanner.letGo();
  EXPECT_THAT(invariants->violations(), IsEmpty());
  live(upToDate(cleanUp(L"2.0.0.45"), nameOf(left)));
  EXPECT_THAT(invariants->violations(), IsEmpty());
}

TEST_F(ScannerTest, OfEverythingLeavesAllInTheTemporaryDirectoryWhereItIsLoaded) {
  const std::wstring left = temporary();
  const std::wstring inner = left + L"\\sub";
  const std::wstring file = left + L"\\zuimpl.dll";
  const std::wstring downloaded = package();
  Scanner scanner(module, FileShare::Read, [](const std::wstring&) { return true; });
  Life life = notMoved({fileStays(inner + L"\\companion.txt", 32), directoryStays(inner, 145), fileStays(file, 32),
                        directoryStays(left, 145)});
  life.stored = L"Failed to write to persistent cache file: " + cachePath(L"bbs.cache");
  live(life);
  EXPECT_THAT(scanner.held(), ElementsAre(cachePath(L"bbs.cache"), cachePath(L"hit.cache"), downloaded,
                                          inner + L"\\companion.txt", file));
  scanner.letGo();
  EXPECT_THAT(leftovers(), ElementsAre(downloaded, left, inner, inner + L"\\companion.txt", file));
  EXPECT_THAT(invariants->violations(), IsEmpty());
  live(upToDate(cleanUp(L"2.0.0.45"), nameOf(left)));
  EXPECT_THAT(invariants->violations(), IsEmpty());
}

// ---- Versions that are there

TEST_F(ScannerTest, OfAnUnusedVersion) {
  const std::wstring unused = tree.root() + L"\\2.0.0.44";
  const std::wstring inner = unused + L"\\sub";
  addVersion(L"2.0.0.44");
  const std::wstring companion = tree.addFile(L"2.0.0.44\\sub\\inner.txt", "x");
  watch();
  for (const FileShare share : {FileShare::Read, FileShare::None}) {
    Scanner scanner(module, share);
    scanner.open(modulePath(L"2.0.0.44"));
    // What shares nothing has no version that can be read, and is no candidate.
    const std::wstring skipped = L"Skip in-use or inaccessible version: " + modulePath(L"2.0.0.44");
    live({.host = share == FileShare::Read ? Messages{skipped} : Messages{}});
    scanner.letGo();
    EXPECT_THAT(invariants->violations(), IsEmpty());
    takeBack();
  }
  // What has no module any more is no candidate, and stays for good.
  Scanner scanner(module, FileShare::Read);
  scanner.open(companion);
  live({.host = {L"Try delete unused plugin: " + unused, fileStays(companion, 32), directoryStays(inner, 145),
                 directoryStays(unused, 145)}});
  EXPECT_THAT(invariants->violations(), IsEmpty());
  scanner.letGo();
  EXPECT_EQ(listTree(unused).size(), 2u);
  live(upToDate(cleanUp(L"2.0.0.45")));
  EXPECT_EQ(listTree(unused).size(), 2u);
  removeTree(unused);
}

// Another host has published the version while this one, which runs an older one, asks about it.
class ScannedVersionTest : public ScannerTest {
 protected:
  // Has it published after the load, and opened.
  Fault published(Scanner& scanner) {
    return [&](HMODULE hooked) {
      tree.addVersion(L"2.0.0.47", moduleFile(L"2.0.0.47"));
      tree.addFile(L"2.0.0.47\\sub\\companion.txt", "companion");
      scanner.open(modulePath(L"2.0.0.47"));
      return nothing(hooked);
    };
  }
};

// What cannot be read counts as damaged, and what is not held of it is removed: a loss that is accepted. The rest can
// be loaded, and is not replaced, because it has the version that is offered.
TEST_F(ScannedVersionTest, IsDamagedWhenItCannotBeRead) {
  {
    Scanner reader(module, FileShare::Read);
    live({.decision = Messages{L"No needed to upgrade for for version: 2.0.0.47"}, .task = Messages{}},
         published(reader));
    EXPECT_THAT(invariants->violations(), IsEmpty());
  }
  takeBack();

  const std::wstring file = modulePath(L"2.0.0.47");
  Scanner scanner(module, FileShare::None);
  live({.decision =
            Messages{unreadable(file), fileStays(file, 32), directoryStays(target, 145),
                     L"File md5 not match md5 , expected md5: " + toWide(usual.dmd5) + L", delete directory: false",
                     L"Directory not exist: " + downloads + L", create: 0"},
        .task = afterUnpacking({unreadable(file), L"Try published download plugin : false", fileStays(file, 32),
                                directoryStays(target, 145)})},
       published(scanner));
  scanner.letGo();
  EXPECT_THAT(leftovers(), IsEmpty());
  EXPECT_EQ(listTree(target).size(), 1u);
  const std::string companions = "Missing: " + toUtf8(target) + "\\sub";
  EXPECT_THAT(invariants->violations(),
              ElementsAre(companions, companions + "\\companion.txt", companions, companions + "\\companion.txt"));
  live(upToDate(cleanUp(L"2.0.0.45")));
  EXPECT_EQ(listTree(target).size(), 1u);
}

// ---- Modules that are loaded

// Windows gives no module that is loaded to who shares it with nobody, and deletes none; Wine does the former.
Fault likeWindows(const std::wstring& path) {
  return failing<decltype(CreateFileW)>(
      "CreateFileW", INVALID_HANDLE_VALUE, {.lastError = ERROR_SHARING_VIOLATION, .callCount = kEveryCall},
      [path](const wchar_t* opened, DWORD, DWORD share, auto...) { return path == opened && share == 0; });
}

class LoadedElsewhereTest : public ScannerTest {
 protected:
  SecondProcess host;
};

TEST_F(LoadedElsewhereTest, VersionsAreNeitherRemovedNorReplaced) {
  addVersion(L"2.0.0.44");
  watch();
  const std::wstring unused = modulePath(L"2.0.0.44");
  host.holdModule(unused);
  live({.host = {L"Skip in-use or inaccessible version: " + unused}}, likeWindows(unused));
  EXPECT_THAT(invariants->violations(), IsEmpty());
  host.releaseFiles();
  takeBack();
  recover({.host = cleanUp(L"2.0.0.44")});
  EXPECT_FALSE(directoryExists(parentOf(unused)));

  // The service has issued the same version anew.
  const std::wstring path = modulePath(L"2.0.0.47");
  const std::string other = content + "other";
  const auto publishedOtherwise = [&](bool loaded) -> Fault {
    return [&, loaded](HMODULE hooked) {
      writeFile(path, other);
      if (loaded) host.holdModule(path);
      return nothing(hooked);
    };
  };
  const auto mismatch = [&](const std::wstring& deleted) {
    return L"File md5 not match md5 " + toWide(md5(other)) + L", expected md5: " + toWide(usual.dmd5) +
           L", delete directory: " + deleted;
  };
  const std::wstring made = L"Directory not exist: " + downloads + L", create: 0";
  live({.decision = Messages{fileStays(path, 5), directoryStays(target, 145), mismatch(L"false"), made},
        .task = afterUnpacking(
            {L"Try published download plugin : false", fileStays(path, 5), directoryStays(target, 145)})},
       publishedOtherwise(true));
  EXPECT_EQ(readFile(path), other);
  EXPECT_THAT(leftovers(), IsEmpty());
  host.releaseFiles();
  removeTree(target);
  live({.decision = Messages{mismatch(L"true")}}, publishedOtherwise(false));
  EXPECT_THAT(invariants->violations(), IsEmpty());
}

}  // namespace
}  // namespace zuvia::test
