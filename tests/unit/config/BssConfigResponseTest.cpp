#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "ConfigTest.h"
#include "RecordingClient.h"
#include "support/WideText.h"

namespace zuvia {
namespace {

using test::Delivery;
using test::LogLine;
using test::WideText;
using testing::ElementsAre;
using testing::IsEmpty;

class BssConfigResponse : public test::ConfigTest {
 protected:
  void respond(const std::string& body, bool ok = true) { client.OnResponse(ok, body); }

  // The answer holds a value that is delivered and logged.
  void expectDelivery(const std::string& body, const std::string& value) {
    respond(body);
    EXPECT_THAT(client.deliveries(), ElementsAre(Delivery{true, value, false}));
    EXPECT_THAT(log.messages(), ElementsAre(L"onFetch success key: the_key, value: " + test::toWide(value)));
  }

  // The answer is refused with one line.
  void expectRefusal(const std::string& body, const std::wstring& message) {
    respond(body);
    EXPECT_THAT(client.deliveries(), IsEmpty());
    EXPECT_THAT(log.messages(), ElementsAre(message));
  }

  test::RecordingClient client;
};

TEST_F(BssConfigResponse, DeliversTheValueAsText) {
  expectDelivery(R"({"configs":{"the_key":"{\"ver\":\"2.0.0.47\"}"}})", R"({"ver":"2.0.0.47"})");
}

TEST_F(BssConfigResponse, LogsUnderItsOwnNames) {
  respond("");
  ASSERT_EQ(log.lines().size(), 1U);
  const LogLine line = log.lines().front();
  EXPECT_EQ(line.level, 1);
  EXPECT_EQ(line.className, "BssConfig");
  EXPECT_EQ(line.sourceFile, "..\\common\\config\\BssConfig");
  EXPECT_EQ(line.functionName, "BssConfig::OnResponse");
}

TEST_F(BssConfigResponse, LogsTheSuccessAfterTheDelivery) {
  std::vector<WideText> before = {L"none"};
  client.inOnFetch = [&] { before = log.messages(); };
  respond(R"({"configs":{"the_key":"v"}})");
  EXPECT_THAT(before, IsEmpty());
  EXPECT_THAT(log.messages(), ElementsAre(L"onFetch success key: the_key, value: v"));
}

TEST_F(BssConfigResponse, DeliversNothingOfAFailedTransfer) {
  respond(R"({"configs":{"the_key":"v"}})", false);
  EXPECT_THAT(client.deliveries(), IsEmpty());
  EXPECT_THAT(log.messages(), ElementsAre(LR"(onFetch fail key: the_key, body: {"configs":{"the_key":"v"}})"));
}

TEST_F(BssConfigResponse, RefusesAnEmptyAnswer) {
  expectRefusal("", L"onFetch fail key: the_key, body: ");
}

TEST_F(BssConfigResponse, RefusesWhatIsNotJson) {
  expectRefusal("<html>",
                L"OnResponse parse error: * Line 1, Column 1\n"
                L"  Syntax error: value, object or array expected.\n"
                L", body: <html>");
}

TEST_F(BssConfigResponse, RefusesATruncatedAnswer) {
  expectRefusal(R"({"configs":{"the_key":"v")",
                L"OnResponse parse error: * Line 1, Column 26\n"
                L"  Missing ',' or '}' in object declaration\n"
                LR"(, body: {"configs":{"the_key":"v")");
}

TEST_F(BssConfigResponse, RefusesAnAnswerWithoutConfigs) {
  expectRefusal("{}", L"onFetch success but configs err, key: the_key, body: {}");
}

TEST_F(BssConfigResponse, RefusesConfigsThatAreNull) {
  expectRefusal(R"({"configs":null})", LR"(onFetch success but configs err, key: the_key, body: {"configs":null})");
}

TEST_F(BssConfigResponse, RefusesConfigsWithoutItsKey) {
  expectRefusal(R"({"configs":{"The_key":"v","other":"w"}})",
                LR"(onFetch success but configs err, key: the_key, body: {"configs":{"The_key":"v","other":"w"}})");
}

TEST_F(BssConfigResponse, RefusesANullAnswer) {
  expectRefusal("null", L"onFetch success but configs err, key: the_key, body: null");
}

TEST_F(BssConfigResponse, CatchesTheExceptionOfConfigsThatAreNoObject) {
  const std::wstring message =
      L"OnResponse parse exception: in Json::Value::find(begin, end): requires objectValue or nullValue";
  for (const char* const configs : {"[]", "\"text\"", "1", "true"}) {
    log.clear();
    expectRefusal(std::string(R"({"configs":)") + configs + "}", message);
  }
}

TEST_F(BssConfigResponse, CatchesTheExceptionOfAnAnswerThatIsNoObject) {
  const std::wstring message =
      L"OnResponse parse exception: in Json::Value::find(begin, end): requires objectValue or nullValue";
  for (const char* const answer : {"[]", "\"text\"", "1", "true"}) {
    log.clear();
    expectRefusal(answer, message);
  }
}

TEST_F(BssConfigResponse, CatchesTheExceptionOfAValueThatIsNoText) {
  for (const char* const value : {"{}", "[]", R"({"ver":"2"})"}) {
    log.clear();
    expectRefusal(std::string(R"({"configs":{"the_key":)") + value + "}}",
                  L"OnResponse parse exception: Type is not convertible to string");
  }
}

TEST_F(BssConfigResponse, CatchesTheExceptionOfTooDeepAnAnswer) {
  expectRefusal(std::string(10'000, '['), L"OnResponse parse exception: Exceeded stackLimit in readValue().");
}

TEST_F(BssConfigResponse, DeliversSimpleValuesAsText) {
  const std::vector<std::pair<std::string, std::string>> values = {
      {"12", "12"}, {"1.5", "1.5"}, {"true", "true"}, {"null", ""}, {"\"\"", ""}};
  for (const auto& [value, text] : values) {
    test::RecordingClient other;
    other.OnResponse(true, R"({"configs":{"the_key":)" + value + "}}");
    EXPECT_THAT(other.deliveries(), ElementsAre(Delivery{true, text, false})) << value;
  }
}

TEST_F(BssConfigResponse, TakesTheLastOfDuplicateMembers) {
  expectDelivery(R"({"configs":{"the_key":"a"},"configs":{"the_key":"b","the_key":"c"}})", "c");
}

TEST_F(BssConfigResponse, ReadsTheFirstOfTwoDocuments) {
  expectDelivery(R"({"configs":{"the_key":"a"}} {"configs":{"the_key":"b"}})", "a");
}

TEST_F(BssConfigResponse, ReadsBehindAByteOrderMark) {
  expectDelivery(
      "\xef\xbb\xbf"
      R"({"configs":{"the_key":"a"}})",
      "a");
}

TEST_F(BssConfigResponse, ReadsCommentsAndATrailingComma) {
  expectDelivery("/* a */ {\"configs\":{\"the_key\":\"a\",}} // b", "a");
}

TEST_F(BssConfigResponse, PassesInvalidUtf8On) {
  respond("{\"configs\":{\"the_key\":\"\xff\"}}");
  EXPECT_THAT(client.deliveries(), ElementsAre(Delivery{true, "\xff", false}));
}

TEST_F(BssConfigResponse, PassesANulOnAndEndsTheLineThere) {
  respond(R"({"configs":{"the_key":"a\u0000b"}})");
  EXPECT_THAT(client.deliveries(), ElementsAre(Delivery{true, std::string("a\0b", 3), false}));
  EXPECT_THAT(log.messages(), ElementsAre(L"onFetch success key: the_key, value: a"));
}

TEST_F(BssConfigResponse, DeliversALongValueWhole) {
  const std::string value(1'000'000, 'x');
  expectDelivery(R"({"configs":{"the_key":")" + value + "\"}}", value);
}

TEST_F(BssConfigResponse, CatchesAStandardExceptionOfItsReceiver) {
  client.inOnFetch = [] { throw std::runtime_error("no room"); };
  respond(R"({"configs":{"the_key":"v"}})");
  EXPECT_THAT(log.messages(), ElementsAre(L"OnResponse parse exception: no room"));
}

TEST_F(BssConfigResponse, LetsOtherExceptionsOfItsReceiverPass) {
  client.inOnFetch = [] { throw 42; };
  EXPECT_THROW(respond(R"({"configs":{"the_key":"v"}})"), int);
  EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(BssConfigResponse, IsNotDeliveredByAPlainClient) {
  BssConfig plain(1, "the_code", "the_key");
  plain.OnResponse(true, R"({"configs":{"the_key":"v"}})");
  EXPECT_THAT(log.messages(), ElementsAre(L"onFetch success key: the_key, value: v"));
}

}  // namespace
}  // namespace zuvia
