// Answers of the configuration service that are not what they should be: the line says what was wrong, and nothing
// else comes of them.

#include <string>
#include <vector>

#include "integration/answers/AnsweredTest.h"

namespace zuvia::test {
namespace {

using namespace std::string_literals;

using AnswersTest = AnsweredTest;

// An answer with this value under the key, written as it is.
std::string withValue(const std::string& value) {
  return R"({"configs":{"zu_plugin_update":)" + value + "}}";
}

std::string nested(std::size_t depth) {
  return std::string(depth, '[') + std::string(depth, ']');
}

const std::string kGood = withValue(R"("{}")");
const std::vector<WideText> kAccepted = {
    L"Fetch ZuUpdateConfig success str: [ver: , pmd5: , dmd5:, url: ]",
    L"onFetch success key: zu_plugin_update, value: {}",
};

std::vector<WideText> parseError(const std::wstring& words, const std::wstring& body) {
  return {L"OnResponse parse error: " + words + L"\n, body: " + body};
}
const std::vector<WideText> kNoObject = {
    L"OnResponse parse exception: in Json::Value::find(begin, end): requires objectValue or nullValue"};
const std::vector<WideText> kTooDeep = {L"OnResponse parse exception: Exceeded stackLimit in readValue()."};
const std::vector<WideText> kNoText = {L"OnResponse parse exception: Type is not convertible to string"};

std::vector<WideText> configsError(const std::wstring& body) {
  return {L"onFetch success but configs err, key: zu_plugin_update, body: " + body};
}

// The value reached the reader of the entry, which could make nothing of it.
std::vector<WideText> valueWithoutEntry(const std::wstring& line, const std::wstring& value) {
  return {line, L"onFetch success key: zu_plugin_update, value: " + value};
}
const std::wstring kNoEntryObject =
    L"onFetch parse exception: in Json::Value::find(begin, end): requires objectValue or nullValue";
const std::wstring kNoEntryJson =
    L"onFetch parse error: * Line 1, Column 1\n  Syntax error: value, object or array expected.\n";

TEST_F(AnswersTest, ThatAreNoJson) {
  expectAnswers({
      {"nothing", "", {L"onFetch fail key: zu_plugin_update, body: "}},
      {"blanks", "  \t ", parseError(L"* Line 1, Column 5\n  Syntax error: value, object or array expected.", L"  \t "),
       R"("  \t ")"},
      {"a page", "<html></html>",
       parseError(L"* Line 1, Column 1\n  Syntax error: value, object or array expected.", L"<html></html>")},
      {"a word", "oops", parseError(L"* Line 1, Column 1\n  Syntax error: value, object or array expected.", L"oops")},
      {"single quotes", "{'configs':{}}",
       parseError(L"* Line 1, Column 2\n  Missing '}' or object member name", L"{'configs':{}}")},
      {"a number for a name", "{12:{}}",
       parseError(L"* Line 1, Column 2\n  Missing '}' or object member name", L"{12:{}}")},
      {"an escape that is none", withValue(R"("\x")"),
       parseError(L"* Line 1, Column 32\n  Bad escape sequence in string\nSee Line 1, Column 35 for detail.",
                  LR"({"configs":{"zu_plugin_update":"\x"}})")},
      {"half a surrogate pair", withValue(R"("\ud800")"),
       parseError(L"* Line 1, Column 32\n  additional six characters expected to parse unicode surrogate pair.\nSee "
                  L"Line 1, Column 39 for detail.",
                  LR"({"configs":{"zu_plugin_update":"\ud800"}})")},
      {"a number that is too large", R"({"configs":1e999})",
       parseError(L"* Line 1, Column 12\n  '1e999' is not a number.", LR"({"configs":1e999})")},
  });
}

TEST_F(AnswersTest, ThatBreakOff) {
  expectAnswers({
      {"at once", "{", parseError(L"* Line 1, Column 2\n  Missing '}' or object member name", L"{")},
      {"in a name", R"({"conf)", parseError(L"* Line 1, Column 2\n  Missing '}' or object member name", LR"({"conf)")},
      {"before the value", R"({"configs":)",
       parseError(L"* Line 1, Column 12\n  Syntax error: value, object or array expected.", LR"({"configs":)")},
      {"in the text", R"({"configs":{"zu_plugin_update":"{)",
       parseError(L"* Line 1, Column 32\n  Syntax error: value, object or array expected.",
                  LR"({"configs":{"zu_plugin_update":"{)")},
      {"in an escape", R"({"configs":{"zu_plugin_update":"\)",
       parseError(L"* Line 1, Column 32\n  Syntax error: value, object or array expected.",
                  LR"({"configs":{"zu_plugin_update":"\)")},
      {"before the last brace", R"({"configs":{"zu_plugin_update":"{}"})",
       parseError(L"* Line 1, Column 37\n  Missing ',' or '}' in object declaration",
                  LR"({"configs":{"zu_plugin_update":"{}"})")},
  });
}

TEST_F(AnswersTest, ThatAreJsonWithoutTheEntry) {
  expectAnswers({
      {"null", "null", configsError(L"null")},
      {"an empty object", "{}", configsError(L"{}")},
      {"configs null", R"({"configs":null})", configsError(LR"({"configs":null})")},
      {"configs empty", R"({"configs":{}})", configsError(LR"({"configs":{}})")},
      {"configs in capitals", R"({"CONFIGS":{"zu_plugin_update":"{}"}})",
       configsError(LR"({"CONFIGS":{"zu_plugin_update":"{}"}})")},
      {"another key", R"({"configs":{"zu_plugin_update ":"{}"}})",
       configsError(LR"({"configs":{"zu_plugin_update ":"{}"}})")},
  });
}

TEST_F(AnswersTest, ThatAreOfAnotherType) {
  expectAnswers({
      {"a list", "[1]", kNoObject},
      {"an empty list", "[]", kNoObject},
      {"a text", R"("configs")", kNoObject},
      {"a number", "7", kNoObject},
      {"a truth", "true", kNoObject},
      {"configs a list", R"({"configs":[]})", kNoObject},
      {"configs a text", R"({"configs":"zu_plugin_update"})", kNoObject},
      {"configs a number", R"({"configs":1})", kNoObject},
      {"configs a truth", R"({"configs":true})", kNoObject},
      {"the value an object", withValue(R"({"ver":"2.0.0.47"})"), kNoText},
      {"the value an empty object", withValue("{}"), kNoText},
      {"the value a list", withValue("[]"), kNoText},
      {"the value null", withValue("null"), valueWithoutEntry(L"Config fetch failed or empty body: ", L"")},
      {"the value empty", withValue(R"("")"), valueWithoutEntry(L"Config fetch failed or empty body: ", L"")},
      {"the value a number", withValue("12"), valueWithoutEntry(kNoEntryObject, L"12")},
      {"the value a fraction", withValue("1.5"), valueWithoutEntry(kNoEntryObject, L"1.5")},
      {"the value a truth", withValue("true"), valueWithoutEntry(kNoEntryObject, L"true")},
  });
}

TEST_F(AnswersTest, ThatTheReaderIsLenientAbout) {
  expectAnswers({
      {"two documents", kGood + " " + withValue("1"), kAccepted},
      {"two documents without a blank", kGood + withValue("1"), kAccepted},
      {"rubbish behind", kGood + "<html>", kAccepted},
      {"a byte order mark", "\xef\xbb\xbf" + kGood, kAccepted,
       R"("\ufeff{\"configs\":{\"zu_plugin_update\":\"{}\"}}")"},
      {"comments", "/* a */" + kGood + "// b", kAccepted},
      {"a trailing comma", R"({"configs":{"zu_plugin_update":"{}",}})", kAccepted},
      {"a key twice", R"({"configs":{"zu_plugin_update":1,"zu_plugin_update":"{}"}})", kAccepted},
      {"configs twice", R"({"configs":[],"configs":{"zu_plugin_update":"{}"}})", kAccepted},
      {"configs twice, the last null", R"({"configs":{"zu_plugin_update":"{}"},"configs":null})",
       configsError(LR"({"configs":{"zu_plugin_update":"{}"},"configs":null})")},
  });
}

TEST_F(AnswersTest, ThatHoldBytesThatAreNoText) {
  expectAnswers({
      // In the cache file the byte behind a first one of two counts as the second, whatever it is.
      {"invalid UTF-8 beside the entry", "{\"\xff\":\"\xc3(\",\"configs\":{\"zu_plugin_update\":\"{}\"}}", kAccepted,
       R"("{\"\ufffd\":\"\u00e8\",\"configs\":{\"zu_plugin_update\":\"{}\"}}")"},
      {"invalid UTF-8 in the value", withValue("\"\xff\""), valueWithoutEntry(kNoEntryJson, L"\u00ff"),
       R"("{\"configs\":{\"zu_plugin_update\":\"\ufffd\"}}")"},
      // The host's logger takes texts that end at a NUL.
      {"a NUL between two members",
       "{\"a\":1,\0\"b\":2}"s,
       {L"OnResponse parse error: * Line 1, Column 8\n  Missing '}' or object member name\n, body: {\"a\":1,"},
       R"("{\"a\":1,\u0000\"b\":2}")"},
      {"a NUL in the value", withValue("\"a\0b\""s), valueWithoutEntry(kNoEntryJson, L"a"),
       R"("{\"configs\":{\"zu_plugin_update\":\"a\u0000b\"}}")"},
      {"an escaped NUL in the value", withValue(R"("a\u0000b")"), valueWithoutEntry(kNoEntryJson, L"a")},
      {"a NUL behind the end", kGood + "\0"s, kAccepted, R"("{\"configs\":{\"zu_plugin_update\":\"{}\"}}\u0000")"},
      {"a NUL first",
       "\0"s + kGood,
       {L"OnResponse parse error: * Line 1, Column 1\n  Syntax error: value, object or array expected.\n, body: "},
       R"("\u0000{\"configs\":{\"zu_plugin_update\":\"{}\"}}")"},
  });
}

TEST_F(AnswersTest, ThatAreDeep) {
  std::string objects;
  for (int i = 0; i < 10'000; ++i) objects += "{\"a\":";
  expectAnswers({
      {"10,000 lists that stay open", std::string(10'000, '['), kTooDeep},
      {"10,000 lists", nested(10'000), kTooDeep},
      {"10,000 objects that stay open", objects, kTooDeep},
      {"10,000 lists as configs", "{\"configs\":" + nested(10'000) + "}", kTooDeep},
      {"10,000 lists as the value", withValue(nested(10'000)), kTooDeep},
      {"the deepest that is read", "{\"a\":" + nested(999) + ",\"configs\":{\"zu_plugin_update\":\"{}\"}}", kAccepted},
      {"one deeper", "{\"a\":" + nested(1000) + ",\"configs\":{\"zu_plugin_update\":\"{}\"}}", kTooDeep},
  });
}

TEST_F(AnswersTest, ThatAreAsLongAsTheyMayBe) {
  constexpr std::size_t kLongest = 1'048'576;
  const std::string filler(kLongest - withValue(R"("")").size(), 'x');
  const std::wstring sevens(kLongest, L'7');
  std::string lists = "[";
  while (lists.size() + 4 < kLongest) lists += "[],";
  lists += "[]]";
  expectAnswers({
      {"one text", withValue('"' + filler + '"'), valueWithoutEntry(kNoEntryJson, toWide(filler))},
      {"one text that stays open", '"' + std::string(kLongest - 1, 'x'),
       parseError(L"* Line 1, Column 1\n  Syntax error: value, object or array expected.",
                  L'"' + std::wstring(kLongest - 1, L'x'))},
      {"one number", std::string(kLongest, '7'),
       parseError(L"* Line 1, Column 1\n  '" + sevens + L"' is not a number.", sevens)},
      {"very many lists", lists, kNoObject},
  });
}

}  // namespace
}  // namespace zuvia::test
