#include "common/VersionText.h"

#include <string>

#include <gtest/gtest.h>

namespace zuvia {
namespace {

TEST(IsVersionName, TakesDigitsAndFullStopsWithADigit) {
  for (const wchar_t* name : {L"2.0.0.45", L"3", L"7", L"1..2", L"007", L".1", L"1.", L"99999999999999999999"}) {
    EXPECT_TRUE(isVersionName(name)) << std::wstring(name).size();
  }
}

TEST(IsVersionName, RefusesEverythingElse) {
  for (const wchar_t* name : {L"", L".", L"..", L"2.0.0.45a", L"v2.0.0.45", L"2 0", L" 2", L"2.0-1", L"2,0", L"2\\0",
                              L"\x0661", L"2.0.0.45 "}) {
    EXPECT_FALSE(isVersionName(name)) << std::wstring(name).size();
  }
}

struct Parsed {
  std::string text;
  DllCandidate version;
};

void PrintTo(const Parsed& parsed, std::ostream* stream) {
  *stream << parsed.text;
}

class AcceptedVersion : public testing::TestWithParam<Parsed> {};

TEST_P(AcceptedVersion, GivesItsNumbers) {
  DllCandidate version{L"kept", 9, 9, 9, 9};
  ASSERT_TRUE(parseUpdateVersion(GetParam().text, version)) << GetParam().text;
  EXPECT_TRUE(isSameVersion(version, GetParam().version)) << candidateVersionString(version);
  EXPECT_EQ(version.path, L"kept");
}

INSTANTIATE_TEST_SUITE_P(UpdateVersion, AcceptedVersion,
                         testing::Values(Parsed{"1.2.3", {L"", 1, 2, 3, 0}}, Parsed{"2.0.0.46", {L"", 2, 0, 0, 46}},
                                         Parsed{"0.0.0", {L"", 0, 0, 0, 0}}, Parsed{"00001.2.3", {L"", 1, 2, 3, 0}},
                                         Parsed{"65535.65535.65535.65535", {L"", 65535, 65535, 65535, 65535}}));

class RefusedVersion : public testing::TestWithParam<std::string> {};

TEST_P(RefusedVersion, LeavesTheNumbersAlone) {
  DllCandidate version{L"", 9, 8, 7, 6};
  EXPECT_FALSE(parseUpdateVersion(GetParam(), version)) << GetParam();
  EXPECT_EQ(candidateVersionString(version), "9.8.7.6");
}

INSTANTIATE_TEST_SUITE_P(UpdateVersion, RefusedVersion,
                         testing::Values("", "1", "1.2", "1.2.3.4.5", "1.2.3.", ".1.2.3", "1..2.3", "1.2..3",
                                         "1.2.3.4.", "1.2.70000", "1.2.65536", "65536.0.0", "1.2.3.65536", "1.2.000001",
                                         "1.2.3a", "a.b.c", "1.2.-3", "1.2.+3", " 1.2.3", "1.2.3 ", "1.2.3\n", "1,2,3",
                                         std::string("1.2.3\0", 6), "1.2.0x1", "...", "1.2.3.4.5.6.7.8",
                                         "00001.00002.00003.00004.00005.00"));

TEST(UpdateVersion, FourNumbersOfFiveDigitsAreTheLongestThatPass) {
  DllCandidate version;
  EXPECT_TRUE(parseUpdateVersion("00001.00002.00003.00004", version));
  EXPECT_FALSE(parseUpdateVersion("00001.00002.00003.000004", version));
  EXPECT_FALSE(parseUpdateVersion(std::string(31, '1'), version));
  EXPECT_FALSE(parseUpdateVersion(std::string(32, '1'), version));
}

}  // namespace
}  // namespace zuvia
