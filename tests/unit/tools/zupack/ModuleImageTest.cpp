#include "zupack/ModuleImage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Damage.h"
#include "SampleModule.h"
#include "binary/PeFile.h"
#include "shared/CommandLine.h"
#include "support/InstallTree.h"
#include "support/ModuleBytes.h"

namespace zuvia::zupack {
namespace {

using testing::Contains;

std::string sampleBytes() {
  return test::readFile(test::sampleModule());
}

std::string faultOf(const std::string& bytes) {
  try {
    readModuleImage(bytes);
  } catch (const tools::Failure& failure) {
    return failure.what();
  }
  return "";
}

std::set<std::string> librariesOf(const ModuleImage& image) {
  std::set<std::string> names;
  for (const auto* list : {&image.imports, &image.delayed}) {
    for (const ImportedLibrary& library : *list) names.insert(lowerCase(library.name));
  }
  return names;
}

TEST(ModuleImage, SaysWhatTheModuleIs) {
  const ModuleImage image = readModuleImage(sampleBytes());
  EXPECT_EQ(architectureName(image.machine), "x64");
  EXPECT_TRUE(image.isLibrary);
  EXPECT_THAT(image.exports, Contains("createImpl"));
  EXPECT_THAT(image.exports, Contains("#1"));
}

TEST(ModuleImage, AgreesWithAnotherReader) {
  for (const std::wstring& file : {test::sampleModule(), test::builtPlugin(), test::companionFile(),
                                   test::moduleFile(L"system-names"), test::moduleFile(L"needs-companion")}) {
    const test::PeFile other(file);
    const ModuleImage image = readModuleImage(test::readFile(file));
    EXPECT_EQ(librariesOf(image), other.imports());
    for (const test::PeExport& exported : other.exports()) EXPECT_THAT(image.exports, Contains(exported.name));
  }
}

TEST(ModuleImage, NamesTheFunctionsThatAreTaken) {
  const ModuleImage image = readModuleImage(test::readFile(test::moduleFile(L"missing-dependency")));
  const auto absent = std::ranges::find(image.imports, "zuabsent.dll", &ImportedLibrary::name);
  ASSERT_NE(absent, image.imports.end());
  EXPECT_EQ(absent->functions.size(), 1u);
}

TEST(ModuleImage, KnowsArchitecturesByName) {
  EXPECT_EQ(architectureName(IMAGE_FILE_MACHINE_I386), "x86");
  EXPECT_EQ(architectureName(IMAGE_FILE_MACHINE_ARM64), "ARM64");
  EXPECT_EQ(architectureName(0x01F0), "0x01f0");
}

TEST(ModuleImage, RefusesWhatIsNone) {
  for (const std::string& bytes : {std::string(), std::string("text"), std::string(4096, 'x')}) {
    EXPECT_EQ(faultOf(bytes), "it is no Windows program or library");
  }
  EXPECT_EQ(faultOf("MZ"), "it ends early");
}

// Cut anywhere, and with any byte of its headers changed, it is read or refused, and nothing else happens.
TEST(ModuleImage, IsSafeWithEveryDamage) {
  const std::string whole = sampleBytes();
  for (std::size_t length = 0; length < 2048; ++length) EXPECT_NE(faultOf(whole.substr(0, length)), "") << length;
  for (std::size_t at = 0; at < 1024; ++at) {
    for (const char value : {'\0', '\x7F', '\xFF'}) {
      std::string damaged = whole;
      damaged[at] = value;
      faultOf(damaged);
    }
  }
}

// A small file: every one of its imports takes the same functions by the same numbers.
TEST(ModuleImage, RefusesTablesThatShareTheirEntries) {
  constexpr DWORD kLibraries = 64;
  constexpr DWORD kFunctions = 65'535;
  IMAGE_IMPORT_DESCRIPTOR library{};
  library.OriginalFirstThunk = test::kSectionAddress + (kLibraries + 1) * DWORD{sizeof library};
  library.Name = library.OriginalFirstThunk + kFunctions * DWORD{sizeof(ULONGLONG)};
  std::string section;
  for (DWORD index = 0; index < kLibraries; ++index) section += test::bytesOf(library);
  section += test::bytesOf(IMAGE_IMPORT_DESCRIPTOR{});
  for (DWORD index = 0; index < kFunctions; ++index) section += test::bytesOf(IMAGE_ORDINAL_FLAG64 | index);
  section.append(sizeof(ULONGLONG), '\0');
  EXPECT_EQ(faultOf(test::moduleBytes(IMAGE_DIRECTORY_ENTRY_IMPORT, section)), "its tables are too long");
}

TEST(ModuleImage, RefusesMoreFunctionsThanCanBeNumbered) {
  IMAGE_EXPORT_DIRECTORY table{};
  table.NumberOfFunctions = 65'537;
  table.AddressOfFunctions = test::kSectionAddress + sizeof table;
  const std::string section = test::bytesOf(table) + std::string(table.NumberOfFunctions * sizeof(DWORD), '\0');
  EXPECT_EQ(faultOf(test::moduleBytes(IMAGE_DIRECTORY_ENTRY_EXPORT, section)), "its tables are too long");
}

TEST(LowerCase, LeavesOtherLettersAlone) {
  EXPECT_EQ(lowerCase("KERNEL32.dll \u00C4"), "kernel32.dll \u00C4");
}

}  // namespace
}  // namespace zuvia::zupack
