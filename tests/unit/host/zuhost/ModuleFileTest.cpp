#include "ModuleFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <windows.h>

#include <cstring>

#include "support/Files.h"
#include "support/InstallTree.h"
#include "support/ModuleBytes.h"

namespace zuhost {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::Not;

std::string faultOf(const std::string& content) {
  try {
    readModuleFile(content);
  } catch (const NoModule& fault) {
    return fault.what();
  }
  return "none";
}

std::string module(const wchar_t* name) {
  return zuvia::test::readFile(zuvia::test::moduleFile(name));
}

TEST(ReadModuleFile, TellsWhatIsNeededAndOffered) {
  const ModuleFile good = readModuleFile(module(L"2.0.0.45"));
  EXPECT_THAT(good.exports, Contains("createImpl"));
  EXPECT_THAT(good.imports, Contains(testing::StrCaseEq("kernel32.dll")));
  EXPECT_THAT(readModuleFile(module(L"missing-dependency")).imports, Contains("zuabsent.dll"));
  EXPECT_THAT(readModuleFile(module(L"no-export")).exports, Not(Contains("createImpl")));
  EXPECT_THAT(readModuleFile(zuvia::test::readFile(zuvia::test::builtPlugin())).exports, ElementsAre("create"));
}

TEST(ReadModuleFile, RefusesWhatIsNoModuleForThisSystem) {
  EXPECT_EQ(faultOf(""), "it is cut short");
  EXPECT_EQ(faultOf(std::string(4096, 'x')), "it is no module");
  std::string other = module(L"2.0.0.45");
  uint32_t header = 0;
  std::memcpy(&header, other.data() + 0x3C, sizeof(header));
  other[header + 4] = 0x4C;  // the machine number of 32-bit x86 begins so
  other[header + 5] = 0x01;
  EXPECT_EQ(faultOf(other), "it is for another kind of processor than x64");
}

// All of its names are the same text, which stands in the file once.
std::string exporting(DWORD count, size_t length) {
  IMAGE_EXPORT_DIRECTORY table{};
  table.NumberOfNames = count;
  table.AddressOfNames = zuvia::test::kSectionAddress + sizeof(table);
  std::string section = zuvia::test::bytesOf(table);
  const DWORD name = table.AddressOfNames + count * DWORD{sizeof(DWORD)};
  for (DWORD i = 0; i < count; ++i) section += zuvia::test::bytesOf(name);
  section += std::string(length, 'x') + '\0';
  return zuvia::test::moduleBytes(IMAGE_DIRECTORY_ENTRY_EXPORT, section);
}

TEST(ReadModuleFile, RefusesNamesThatTakeMoreRoomThanAnyModuleNeeds) {
  EXPECT_EQ(readModuleFile(exporting(3, 4096)).exports, std::vector<std::string>(3, std::string(4096, 'x')));
  EXPECT_EQ(faultOf(exporting(3, 4097)), "a name in it is too long");
  EXPECT_EQ(faultOf(exporting(65'536, 3000)), "its names are too long");
}

// Every length, near the tables and in steps elsewhere: an error or a reading, never more.
TEST(ReadModuleFile, SurvivesModulesThatAreCutShort) {
  const std::string whole = module(L"2.0.0.45");
  size_t refused = 0;
  for (size_t length = 0; length < whole.size(); length += length < 2048 ? 1 : 997) {
    refused += faultOf(whole.substr(0, length)) == "none" ? 0 : 1;
  }
  EXPECT_GT(refused, 2048U);
}

TEST(ReadModuleFile, SurvivesDamagedHeaders) {
  const std::string whole = module(L"2.0.0.45");
  size_t refused = 0;
  for (size_t at = 0; at < 1024; ++at) {
    std::string damaged = whole;
    damaged[at] = static_cast<char>(~damaged[at]);
    refused += faultOf(damaged) == "none" ? 0 : 1;
  }
  EXPECT_GT(refused, 10U);
}

}  // namespace
}  // namespace zuhost
