#include "loader/HostInfoText.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <exception>
#include <limits>
#include <string>

namespace zuvia {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

// Expects that the text parses.
HostInfoText parsed(const std::string& json) {
  HostInfoText info{.uid = 7, .version = "before", .appPath = "before", .testEnv = true};
  std::string errors;
  EXPECT_TRUE(parseHostInfo(json.c_str(), info, errors)) << errors;
  EXPECT_EQ(errors, "");
  return info;
}

void expectDefaults(const HostInfoText& info) {
  EXPECT_EQ(info.uid, 0u);
  EXPECT_EQ(info.version, "");
  EXPECT_EQ(info.appPath, "");
  EXPECT_FALSE(info.testEnv);
}

// Returns the words of the exception that the text causes.
std::string thrownBy(const std::string& json) {
  HostInfoText info;
  std::string errors;
  try {
    parseHostInfo(json.c_str(), info, errors);
  } catch (const std::exception& exception) {
    return exception.what();
  }
  return "nothing was thrown";
}

TEST(HostInfoText, ReadsEveryKey) {
  const HostInfoText info =
      parsed(R"({"uid": 4711, "ver": "9.1", "test_env": true, "app_path": "C:\\app \u4e2d", "other": []})");
  EXPECT_EQ(info.uid, 4711u);
  EXPECT_EQ(info.version, "9.1");
  EXPECT_EQ(info.appPath, "C:\\app \xe4\xb8\xad");
  EXPECT_TRUE(info.testEnv);
}

TEST(HostInfoText, GivesAbsentKeysTheirDefaults) {
  expectDefaults(parsed("{}"));
}

TEST(HostInfoText, GivesNullKeysTheirDefaults) {
  expectDefaults(parsed(R"({"uid": null, "ver": null, "test_env": null, "app_path": null})"));
}

TEST(HostInfoText, TakesNullForAnEmptyObject) {
  expectDefaults(parsed("null"));
}

TEST(HostInfoText, ReadsTheWholeRangeOfUserIds) {
  EXPECT_EQ(parsed(R"({"uid": 0})").uid, 0u);
  EXPECT_EQ(parsed(R"({"uid": 9223372036854775808})").uid, 9223372036854775808u);
  EXPECT_EQ(parsed(R"({"uid": 18446744073709551615})").uid, std::numeric_limits<uint64_t>::max());
}

TEST(HostInfoText, TakesForAUserIdWhatConvertsToANumber) {
  EXPECT_EQ(parsed(R"({"uid": 1.5})").uid, 1u);
  EXPECT_EQ(parsed(R"({"uid": true})").uid, 1u);
  EXPECT_EQ(parsed(R"({"uid": 18446744073709551616})").uid, 0u);
}

TEST(HostInfoText, RefusesAUserIdThatIsNoUnsignedNumber) {
  EXPECT_EQ(thrownBy(R"({"uid": "4711"})"), "Value is not convertible to UInt64.");
  EXPECT_EQ(thrownBy(R"({"uid": -1})"), "LargestInt out of UInt64 range");
  EXPECT_EQ(thrownBy(R"({"uid": 1e30})"), "double out of UInt64 range");
  EXPECT_EQ(thrownBy(R"({"uid": {}})"), "Value is not convertible to UInt64.");
  EXPECT_EQ(thrownBy(R"({"uid": []})"), "Value is not convertible to UInt64.");
}

TEST(HostInfoText, TakesForATextWhatConvertsToOne) {
  EXPECT_EQ(parsed(R"({"ver": 9})").version, "9");
  EXPECT_EQ(parsed(R"({"ver": true})").version, "true");
  EXPECT_EQ(parsed(R"({"app_path": 1})").appPath, "1");
}

TEST(HostInfoText, RefusesATextThatIsAListOrAnObject) {
  EXPECT_EQ(thrownBy(R"({"ver": []})"), "Type is not convertible to string");
  EXPECT_EQ(thrownBy(R"({"app_path": {}})"), "Type is not convertible to string");
}

TEST(HostInfoText, TakesForABooleanWhatConvertsToOne) {
  EXPECT_TRUE(parsed(R"({"test_env": 1})").testEnv);
  EXPECT_TRUE(parsed(R"({"test_env": 0.5})").testEnv);
  EXPECT_FALSE(parsed(R"({"test_env": 0})").testEnv);
  EXPECT_FALSE(parsed(R"({"test_env": false})").testEnv);
}

TEST(HostInfoText, RefusesABooleanThatIsATextOrMore) {
  EXPECT_EQ(thrownBy(R"({"test_env": "true"})"), "Value is not convertible to bool.");
  EXPECT_EQ(thrownBy(R"({"test_env": []})"), "Value is not convertible to bool.");
  EXPECT_EQ(thrownBy(R"({"test_env": {}})"), "Value is not convertible to bool.");
}

TEST(HostInfoText, ConvertsTheUserIdFirstAndTheBooleanLast) {
  EXPECT_THAT(thrownBy(R"({"uid": "", "ver": [], "app_path": [], "test_env": ""})"), HasSubstr("UInt64"));
  EXPECT_THAT(thrownBy(R"({"ver": [], "app_path": 1, "test_env": ""})"), HasSubstr("string"));
  EXPECT_THAT(thrownBy(R"({"app_path": [], "test_env": ""})"), HasSubstr("string"));
  EXPECT_THAT(thrownBy(R"({"app_path": "", "test_env": ""})"), HasSubstr("bool"));
}

TEST(HostInfoText, RefusesWhatIsNoObject) {
  EXPECT_NE(thrownBy("[]"), "nothing was thrown");
  EXPECT_NE(thrownBy("\"text\""), "nothing was thrown");
  EXPECT_NE(thrownBy("7"), "nothing was thrown");
}

TEST(HostInfoText, TellsWhyATextIsNoJson) {
  HostInfoText info;
  std::string errors;
  EXPECT_FALSE(parseHostInfo("{\"uid\": 1,", info, errors));
  EXPECT_EQ(errors, "* Line 1, Column 11\n  Missing '}' or object member name\n");
}

TEST(HostInfoText, RefusesTextsThatAreNoJson) {
  for (const char* json : {"", " ", "x", "{", "{'uid': 1}", "{\"uid\" 1}", "{\"a\": \"\\x\"}"}) {
    HostInfoText info;
    std::string errors;
    EXPECT_FALSE(parseHostInfo(json, info, errors)) << json;
    EXPECT_THAT(errors, StartsWith("* Line 1, Column ")) << json;
    expectDefaults(info);
  }
}

TEST(HostInfoText, ReadsWhatItsParserIsLenientAbout) {
  EXPECT_EQ(parsed("/* comment */ {\"uid\": 1, } // end").uid, 1u);
  EXPECT_EQ(parsed("\xef\xbb\xbf{\"uid\": 2}").uid, 2u);
  EXPECT_EQ(parsed("{\"uid\": 3}{\"uid\": 4}").uid, 3u);
  EXPECT_EQ(parsed("{\"uid\": 5, \"uid\": 6}").uid, 6u);
  EXPECT_EQ(parsed("{\"ver\": \"\xff\"}").version, "\xff");
}

TEST(HostInfoText, ThrowsWhenATextIsNestedTooDeep) {
  EXPECT_EQ(thrownBy(std::string(10000, '[')), "Exceeded stackLimit in readValue().");
}

}  // namespace
}  // namespace zuvia
