#include "common/config/ConfigAnswer.h"

#include <exception>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace zuvia {

void PrintTo(ConfigAnswer answer, std::ostream* stream) {
  *stream << (answer == ConfigAnswer::NotJson ? "NotJson" : answer == ConfigAnswer::NoValue ? "NoValue" : "Value");
}

namespace {

struct Case {
  std::string body;
  ConfigAnswer answer;
  std::string value;
};

TEST(ConfigAnswerText, IsReadForOneKey) {
  const std::vector<Case> cases = {
      {R"({"configs":{"k":"v","other":"w"},"more":1})", ConfigAnswer::Value, "v"},
      {R"({"configs":{"k":"{\"ver\":\"2\"}"}})", ConfigAnswer::Value, R"({"ver":"2"})"},
      {R"({"configs":{"k":12}})", ConfigAnswer::Value, "12"},
      {R"({"configs":{"k":null}})", ConfigAnswer::Value, ""},
      {R"({"configs":{"k":"a","k":"b"}})", ConfigAnswer::Value, "b"},
      {R"({"configs":{"K":"v"}})", ConfigAnswer::NoValue, "before"},
      {R"({"configs":null})", ConfigAnswer::NoValue, "before"},
      {R"({"k":"v"})", ConfigAnswer::NoValue, "before"},
      {"null", ConfigAnswer::NoValue, "before"},
  };
  for (const auto& [body, answer, expected] : cases) {
    std::string value = "before";
    std::string errors = "before";
    EXPECT_EQ(parseConfigAnswer(body, "k", value, errors), answer) << body;
    EXPECT_EQ(value, expected) << body;
    EXPECT_EQ(errors, "") << body;
  }
}

TEST(ConfigAnswerText, TellsTheParsersWordsAndLeavesTheValueAlone) {
  std::string value = "before";
  std::string errors;
  EXPECT_EQ(parseConfigAnswer("<html>", "k", value, errors), ConfigAnswer::NotJson);
  EXPECT_EQ(errors, "* Line 1, Column 1\n  Syntax error: value, object or array expected.\n");
  EXPECT_EQ(value, "before");
}

TEST(ConfigAnswerText, ThrowsForWhatIsOfAnotherForm) {
  for (const char* const body : {"[]", "7", R"({"configs":[]})", R"({"configs":"k"})", R"({"configs":{"k":{}}})"}) {
    std::string value = "before";
    std::string errors;
    EXPECT_THROW(parseConfigAnswer(body, "k", value, errors), std::exception) << body;
    EXPECT_EQ(value, "before") << body;
  }
}

}  // namespace
}  // namespace zuvia
