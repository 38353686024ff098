// The rules catch what they are there for: a module made to break them all, and files that are none.
#include "binary/BinaryRules.h"

#include <fstream>
#include <stdexcept>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "binary/Locations.h"

namespace zuvia::test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

PeFile faultyModule() {
  return PeFile(binaryDirectory() / "zuvia_test_faulty.dll");
}

class DamagedFile : public testing::Test {
 protected:
  ~DamagedFile() override {
    std::error_code ignored;
    std::filesystem::remove(path_, ignored);
  }
  void write(const std::string& bytes) { std::ofstream(path_, std::ios::binary) << bytes; }
  static std::string faultyBytes() {
    std::ifstream file(binaryDirectory() / "zuvia_test_faulty.dll", std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  const std::filesystem::path path_ =
      std::filesystem::temp_directory_path() /
      ("zuvia-damaged-" + std::string(testing::UnitTest::GetInstance()->current_test_info()->name()) + ".dll");
};

TEST(BinaryRules, HardeningNamesEveryFault) {
  EXPECT_THAT(hardeningFaults(faultyModule()),
              ElementsAre("not loaded at a random address", "random over 32 bits only", "data may run",
                          "section .mixed is written and run", "section .common is shared with other processes"));
}

TEST(BinaryRules, ImportsBesideTheSystemsAreNamed) {
  EXPECT_THAT(importFaults(faultyModule(), {}), ElementsAre("loads winmm.dll"));
  EXPECT_THAT(importFaults(faultyModule(), {"winmm.dll"}), IsEmpty());
}

TEST(BinaryRules, ExportsBesideTheExpectedAreNamed) {
  EXPECT_THAT(
      exportFaults(faultyModule(), {"create"}),
      UnorderedElementsAre("exports _Z9decoratedv", "exports texts", "exports passedOn",
                           "passes passedOn on to another module", "does not export create", "exports 3 functions"));
}

TEST(BinaryRules, PathsAreFoundInBytesAndInWideTextWithEitherSlashAndWhatIsForDebuggers) {
  EXPECT_THAT(pathFaults(faultyModule(), {"/machine/bytes", "/machine/wide", "/machine/slash", "/machine/relative"}),
              ElementsAre("holds /machine/bytes", "holds /machine/wide", "holds /machine/slash",
                          "says where its symbols are", "holds the names of its functions"));
}

TEST(BinaryRules, VersionIsComparedInBothPlaces) {
  const auto program = binaryDirectory() / "zuvia_test_faulty.dll";
  EXPECT_THAT(versionFaults(program, "1.2.3.4"), IsEmpty());
  EXPECT_THAT(versionFaults(program, "2.0.0.45"), ElementsAre("the fixed part says 1.2.3.4", HasSubstr("the text")));
  EXPECT_THROW(versionFaults(binaryDirectory() / "zuvia_test_binary.exe", "1.2.3.4"), std::runtime_error);
}

TEST(PeFile, ReadsAProgramAsOne) {
  const PeFile program(binaryDirectory() / "zuvia_test_binary.exe");
  EXPECT_FALSE(program.isModule());
  EXPECT_TRUE(faultyModule().isModule());
  EXPECT_THAT(program.imports(), Contains("kernel32.dll"));
}

TEST_F(DamagedFile, IsRefusedWhenItIsNoImage) {
  EXPECT_THROW(PeFile{path_}, std::runtime_error);
  write("");
  EXPECT_THROW(PeFile{path_}, std::runtime_error);
  write(std::string(4096, 'x'));
  EXPECT_THROW(PeFile{path_}, std::runtime_error);
}

TEST_F(DamagedFile, IsRefusedWhereverItEndsEarly) {
  const std::string whole = faultyBytes();
  ASSERT_GT(whole.size(), 4096U);
  for (const size_t size : {size_t{1}, size_t{64}, size_t{200}, size_t{1024}, size_t{3072}}) {
    write(whole.substr(0, size));
    EXPECT_THROW(exportFaults(PeFile(path_), {"create"}), std::runtime_error) << size;
  }
}

}  // namespace
}  // namespace zuvia::test
