// A build with checks ends a program that does wrong, whichever of them sees it.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "support/ChildProcess.h"
#include "support/Files.h"
#include "support/Text.h"

namespace zuvia::test {
namespace {

constexpr unsigned long kTrapped = 0xC000001D;  // an illegal instruction
constexpr unsigned long kAborted = 3;

struct Fault {
  const char* name;
  unsigned long status;
  const char* message;  // part of what is on the error stream
};

void PrintTo(const Fault& fault, std::ostream* stream) {
  *stream << fault.name;
}

ChildProcess start(const std::string& fault) {
  return ChildProcess(joinPath(programDirectory(), L"zuvia_test_faulty_program.exe"), {toWide(fault)});
}

class TrapsTest : public testing::TestWithParam<Fault> {};

TEST_P(TrapsTest, EndTheProgramAtTheFault) {
  ChildProcess program = start(GetParam().name);
  // What there is comes from Wine's debugger.
  while (const auto line = program.readLine(30000)) EXPECT_NE(*line, "went on");
  EXPECT_EQ(program.waitForExit(), GetParam().status);
  EXPECT_THAT(program.errorText(), testing::HasSubstr(GetParam().message));
}

INSTANTIATE_TEST_SUITE_P(Faults, TrapsTest,
                         testing::Values(Fault{"overflow", kTrapped, ""}, Fault{"shift", kTrapped, ""},
                                         Fault{"misaligned", kTrapped, ""}, Fault{"flag", kTrapped, ""},
                                         Fault{"index", kAborted, "Assertion '__n < this->size()' failed."},
                                         Fault{"optional", kAborted, "Assertion 'this->_M_is_engaged()' failed."},
                                         Fault{"copy", kTrapped, ""}),
                         [](const auto& tested) { return std::string(tested.param.name); });

TEST(Traps, LeaveAProgramAloneThatDoesNothingWrong) {
  ChildProcess program = start("nothing");
  EXPECT_EQ(program.readLine(), "went on");
  EXPECT_EQ(program.waitForExit(), 0u);
}

}  // namespace
}  // namespace zuvia::test
