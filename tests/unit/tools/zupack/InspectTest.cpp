#include "zupack/Inspect.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "../TemporaryTree.h"
#include "SampleModule.h"
#include "shared/CommandLine.h"
#include "shared/Utf8.h"
#include "support/Digest.h"
#include "support/InstallTree.h"
#include "zupack/ArchiveWriter.h"

namespace zuvia::zupack {
namespace {

using test::TemporaryTree;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

struct Report {
  std::vector<std::string> lines;
  std::vector<std::string> faults;
};

Report reportOn(const std::wstring& file) {
  Report report;
  report.faults = inspect(file, {}, [&report](const std::string& line) { report.lines.push_back(line); });
  return report;
}

std::string sizeAndDigest(const std::wstring& file) {
  const std::string bytes = test::readFile(file);
  return std::to_string(bytes.size()) + " bytes, MD5 " + test::md5(bytes);
}

TEST(Inspect, TellsWhatAPackageIsMadeOf) {
  const TemporaryTree tree;
  test::writeFile(tree.path(L"x.txt"), "companion");
  const std::wstring package = tree.path(L"x.7z");
  writeArchive(package, {{"zuimpl.dll", test::sampleModule()}, {"sub/x.txt", tree.path(L"x.txt")}});
  const Report report = reportOn(package);
  EXPECT_THAT(report.faults, IsEmpty());
  const std::vector<std::string> expected = {
      "package      " + tools::toUtf8(package),
      "size         " + sizeAndDigest(package),
      "entry        sub/x.txt: " + sizeAndDigest(tree.path(L"x.txt")),
      "entry        zuimpl.dll: " + sizeAndDigest(test::sampleModule()),
      "version      2.0.0.47",
      "resource     FileDescription: zuvia sample implementation",
      "architecture x64",
      "kind         DLL",
      "export       createImpl",
  };
  for (const std::string& line : expected) EXPECT_THAT(report.lines, Contains(line));
  EXPECT_THAT(report.lines, Contains(StartsWith("import       KERNEL32.dll: Windows, ")));
}

TEST(Inspect, TellsWhichImportsAreMissing) {
  const Report report = reportOn(test::moduleFile(L"missing-dependency"));
  EXPECT_THAT(report.lines, Contains("import       zuabsent.dll: MISSING, 1 function"));
  EXPECT_THAT(report.lines, Contains(StartsWith("fault        zuimpl.dll needs zuabsent.dll, ")));
  EXPECT_THAT(report.faults, ElementsAre(StartsWith("zuimpl.dll needs zuabsent.dll, ")));
}

TEST(Inspect, SeesTheCompanionsOfAnInstalledModule) {
  const TemporaryTree tree;
  test::copyFile(test::moduleFile(L"needs-companion"), tree.path(L"zuimpl.dll"));
  test::copyFile(test::companionFile(), tree.path(L"zucompanion.dll"));
  const Report report = reportOn(tree.path(L"zuimpl.dll"));
  EXPECT_THAT(report.faults, IsEmpty());
  EXPECT_THAT(report.lines, Contains(StartsWith("import       zucompanion.dll: beside it, ")));
}

TEST(Inspect, RefusesWhatIsNeither) {
  const TemporaryTree tree;
  test::writeFile(tree.path(L"x"), "text");
  EXPECT_THROW(reportOn(tree.path(L"x")), tools::Failure);
  EXPECT_THROW(reportOn(tree.path(L"none")), tools::Failure);
}

TEST(Inspect, TellsWhatHostsHaveAgainstAPackage) {
  const TemporaryTree tree;
  writeArchive(tree.path(L"x.7z"), {{"bin/zuimpl.dll", test::sampleModule()}});
  try {
    reportOn(tree.path(L"x.7z"));
    FAIL();
  } catch (const tools::Failure& failure) {
    EXPECT_EQ(failure.status(), tools::kCheckFailed);
    EXPECT_THAT(failure.what(), HasSubstr("Check unzip file fail. File zuimpl.dll not exist!"));
  }
}

}  // namespace
}  // namespace zuvia::zupack
