// Libraries with the names of the system's own, and of one that an implementation needs, planted where a careless
// search would find them: the plugin that ships looks for what an implementation needs in the version's directory, in
// its own and in the system's, in this order, and nowhere else.
//
// Planted are copies of the system's own libraries, so that what is found does work. Where a module comes from is what
// the system's loader says. Under Wine it says so too for a library of which Wine then runs its own copy.

#include <algorithm>
#include <cwctype>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "integration/PluginTest.h"
#include "support/ChildProcess.h"
#include "support/Digest.h"
#include "support/Files.h"
#include "support/Invariants.h"
#include "support/PackageBuilder.h"
#include "support/Text.h"
#include "support/Wine.h"

namespace zuvia::test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::IsSupersetOf;

// Names that are planted: what the module "system-names" imports, and what the system, libcurl and OpenSSL were seen to
// load, on Windows or under Wine, while they fetch, verify and unpack. Not netapi32.dll: the secur32.dll of Wine 8
// loads its packages as LoadLibrary does, and one of them needs it.
const std::vector<std::wstring> kImported = {L"bcrypt.dll",  L"secur32.dll", L"userenv.dll",
                                             L"version.dll", L"winhttp.dll", L"wldap32.dll"};
const std::vector<std::wstring> kOthers = {
    L"cryptbase.dll", L"cryptnet.dll", L"cryptsp.dll", L"dbghelp.dll", L"dnsapi.dll",  L"gpapi.dll",
    L"iphlpapi.dll",  L"msasn1.dll",   L"mswsock.dll", L"ncrypt.dll",  L"ntmarta.dll", L"profapi.dll",
    L"propsys.dll",   L"rasadhlp.dll", L"rsaenh.dll",  L"sspicli.dll", L"wintrust.dll"};

// Of the libraries that Windows knows no directory can supply another; Wine 8 has no such list.
const std::set<std::wstring> kKnownToWindows = {L"wldap32.dll"};

std::wstring lowerCase(std::wstring text) {
  std::ranges::transform(text, text.begin(), [](wchar_t c) { return static_cast<wchar_t>(std::towlower(c)); });
  return text;
}

std::wstring nameIn(const std::wstring& path) {
  return lowerCase(path.substr(path.find_last_of(L'\\') + 1));
}

// The system's library of that name, or another one where it has none.
std::wstring systemLibrary(const std::wstring& name) {
  wchar_t directory[MAX_PATH];
  GetSystemDirectoryW(directory, MAX_PATH);
  const std::wstring path = joinPath(directory, name);
  return fileExists(path) ? path : joinPath(directory, L"version.dll");
}

std::vector<std::wstring> plantedNames() {
  std::vector<std::wstring> names = kImported;
  names.insert(names.end(), kOthers.begin(), kOthers.end());
  return names;
}

void plant(const std::wstring& directory) {
  for (const std::wstring& name : plantedNames()) copyFile(systemLibrary(name), joinPath(directory, name));
}

std::set<std::wstring> namesOf(const std::vector<std::wstring>& paths) {
  std::set<std::wstring> names;
  for (const std::wstring& path : paths) names.insert(nameIn(path));
  return names;
}

// What a host told, in the words of host_main.cpp.
struct Story {
  std::vector<std::string> course;  // "version …" and "upgraded"
  std::set<std::wstring> has;       // the names of modules that were there before
  std::vector<std::wstring> found;  // the paths of those that came
  std::wstring ordinary;
};

class PlantedTest : public PluginTest {
 protected:
  PlantedTest() {
    for (const std::wstring& directory : {host, current, onPath}) makeDirectories(directory);
    for (const wchar_t* file : {L"zuvia_test_planted_host.exe", L"hxbase.dll", L"hxutility.dll"}) {
      copyFile(joinPath(programDirectory(), file), joinPath(host, file));
    }
    addVersion(L"2.0.0.45");
  }

  // Has the service offer 2.0.0.50, which is this module, with further files beside it.
  void offer(const std::wstring& moduleName, const std::vector<std::wstring>& planted = {}) {
    const std::string content = readFile(moduleFile(moduleName));
    PackageBuilder builder("copy");
    builder.add(L"zuimpl.dll", content);
    for (const std::wstring& name : planted) builder.add(name, readFile(systemLibrary(name)));
    const std::string package = builder.build();
    serve({"2.0.0.50", package, md5(package), md5(content), "https://config.zuvia.example/zuimpl-2.0.0.50.7z"});
  }

  // Runs a host, which pauses for `prepare` when it has loaded the plugin.
  template <typename Prepare>
  Story runHost(Prepare prepare) {
    ChildProcess process(joinPath(host, L"zuvia_test_planted_host.exe"),
                         {tree.pluginPath(), tree.appPath(), std::to_wstring(server.port()), current, onPath});
    EXPECT_EQ(process.readLine(30000), "ready") << process.errorText();
    prepare();
    const Invariants invariants(tree);
    process.writeLine("go");
    Story story;
    while (const auto line = process.readLine(40000)) note(story, *line);
    EXPECT_EQ(process.waitForExit(), 0u) << process.errorText();
    log_ = process.errorText();
    EXPECT_THAT(invariants.violations(), IsEmpty());
    return story;
  }

  // Those of the modules that came from below the tree and are not the product's own files.
  std::vector<std::wstring> foreign(const Story& story) const {
    std::vector<std::wstring> paths;
    for (const std::wstring& path : story.found) {
      if (path.starts_with(tree.base()) && nameIn(path) != L"zuimpl.dll") paths.push_back(lowerCase(path));
    }
    std::ranges::sort(paths);
    return paths;
  }

  // What an implementation that imports them gets from a directory that is searched before the system's: all but what
  // is in the process already, or known to Windows.
  std::vector<std::wstring> importsFrom(const std::wstring& directory, const Story& story) const {
    std::vector<std::wstring> paths;
    for (const std::wstring& name : kImported) {
      const bool known = !runsUnderWine() && kKnownToWindows.contains(name);
      if (!known && !story.has.contains(name)) paths.push_back(lowerCase(joinPath(directory, name)));
    }
    return paths;
  }

  const std::wstring host = joinPath(tree.base(), L"host");
  const std::wstring current = joinPath(tree.base(), L"current");
  const std::wstring onPath = joinPath(tree.base(), L"path");
  std::string log_;

 private:
  static void note(Story& story, const std::string& line) {
    const std::size_t blank = line.find(' ');
    const std::string word = line.substr(0, blank);
    const std::wstring text = blank == std::string::npos ? L"" : toWide(line.substr(blank + 1));
    if (word == "has") {
      story.has.insert(nameIn(text));
    } else if (word == "found") {
      story.found.push_back(text);
    } else if (word == "ordinary") {
      story.ordinary = text;
    } else {
      story.course.push_back(line);
    }
  }
};

// The version text stays the one of the first load; which module is loaded is seen from its path.
const auto kUpdated = ElementsAre("version 2.0.0.45", "upgraded", "version 2.0.0.45");

TEST_F(PlantedTest, NothingComesFromBesideTheHostTheCurrentDirectoryThePathOrTheApplicationPath) {
  offer(L"system-names");
  const Story story = runHost([this] {
    for (const std::wstring& directory : {host, current, onPath, tree.appPath()}) plant(directory);
  });
  EXPECT_THAT(story.course, kUpdated);
  EXPECT_THAT(story.found, Contains(modulePath(L"2.0.0.50")));
  EXPECT_THAT(namesOf(story.found), Contains(L"winhttp.dll"));
  EXPECT_THAT(foreign(story), IsEmpty());
}

// The plugin's own imports do not: the host's program is loaded from elsewhere.
TEST_F(PlantedTest, AnImplementationsImportsComeFromTheRootBeforeTheSystem) {
  plant(tree.root());
  offer(L"system-names");
  const Story story = runHost([] {});
  EXPECT_THAT(story.course, kUpdated);
  EXPECT_THAT(foreign(story), ElementsAreArray(importsFrom(tree.root(), story)));
  EXPECT_THAT(namesOf(story.found), Contains(L"winhttp.dll"));
  EXPECT_THAT(story.has, IsSupersetOf({L"bcrypt.dll", L"version.dll"}));
}

TEST_F(PlantedTest, AnImplementationsImportsComeFromItsVersionBeforeTheRoot) {
  plant(tree.root());
  offer(L"system-names", kImported);
  const Story story = runHost([] {});
  EXPECT_THAT(story.course, kUpdated);
  EXPECT_THAT(foreign(story), ElementsAreArray(importsFrom(joinPath(tree.root(), L"2.0.0.50"), story)));
  EXPECT_THAT(namesOf(story.found), Contains(L"winhttp.dll"));
}

// ---- A library that is not the system's

class CompanionTest : public PlantedTest, public testing::WithParamInterface<const wchar_t*> {};

TEST_P(CompanionTest, OfAnImplementationIsNotFoundWhereLoadLibraryFindsIt) {
  offer(L"needs-companion");
  const std::wstring planted = joinPath(joinPath(tree.base(), GetParam()), L"zucompanion.dll");
  copyFile(companionFile(), planted);
  const Story story = runHost([] {});
  EXPECT_THAT(story.course, kUpdated);
  EXPECT_THAT(log_, HasSubstr("Load plugin failed, path: " + toUtf8(modulePath(L"2.0.0.50")) +
                              ", version: 2.0.0.50, error: 126"));
  EXPECT_THAT(foreign(story), IsEmpty());
  EXPECT_EQ(lowerCase(story.ordinary), lowerCase(planted));
}

INSTANTIATE_TEST_SUITE_P(Places, CompanionTest, testing::Values(L"host", L"current", L"path"),
                         [](const auto& tested) { return toUtf8(tested.param); });

}  // namespace
}  // namespace zuvia::test
