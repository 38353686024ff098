// Update entries that are not what they should be, each in an answer that is: the line says what was wrong, and nothing
// else comes of them.

#include <string>
#include <vector>

#include "integration/answers/AnsweredTest.h"

namespace zuvia::test {
namespace {

using namespace std::string_literals;

// An entry, and what was found in it.
struct EntryRow {
  std::string name;
  std::string entry;
  std::vector<WideText> lines;  // before the one that repeats the entry
  std::wstring shown = {};      // the entry in that line; "": as it is
  std::string cached = {};      // the answer in the cache file; "": as jsonText() spells it
};

class EntriesTest : public AnsweredTest {
 protected:
  void expectEntries(const std::vector<EntryRow>& rows) {
    std::vector<AnswerRow> answers;
    for (const EntryRow& row : rows) {
      AnswerRow answer{row.name, R"({"configs":{"zu_plugin_update":)" + jsonText(row.entry) + "}}", row.lines,
                       row.cached};
      const std::wstring shown = row.shown.empty() ? toWide(row.entry) : row.shown;
      answer.lines.push_back(L"onFetch success key: zu_plugin_update, value: " + shown);
      answers.push_back(answer);
    }
    expectAnswers(answers);
  }
};

std::string nested(std::size_t depth) {
  return std::string(depth, '[') + std::string(depth, ']');
}

std::vector<WideText> parseError(const std::wstring& words) {
  return {L"onFetch parse error: " + words + L"\n"};
}
const std::vector<WideText> kNoValue =
    parseError(L"* Line 1, Column 1\n  Syntax error: value, object or array expected.");
const std::vector<WideText> kNoObject = {
    L"onFetch parse exception: in Json::Value::find(begin, end): requires objectValue or nullValue"};
const std::vector<WideText> kNoText = {L"onFetch parse exception: Type is not convertible to string"};
const std::vector<WideText> kTooDeep = {L"onFetch parse exception: Exceeded stackLimit in readValue()."};

// The four members were read. An entry with an empty one is left alone without a word.
std::vector<WideText> read(const std::wstring& description) {
  return {L"Fetch ZuUpdateConfig success str: [" + description + L"]"};
}
const std::vector<WideText> kReadEmpty = read(L"ver: , pmd5: , dmd5:, url: ");

TEST_F(EntriesTest, ThatAreNoJson) {
  expectEntries({
      {"a blank", " ", parseError(L"* Line 1, Column 2\n  Syntax error: value, object or array expected.")},
      {"a page", "<html></html>", kNoValue},
      {"a word", "oops", kNoValue},
      {"single quotes", "{'ver':1}", parseError(L"* Line 1, Column 2\n  Missing '}' or object member name")},
      {"a number for a name", "{1:2}", parseError(L"* Line 1, Column 2\n  Missing '}' or object member name")},
      {"an escape that is none", R"({"ver":"\x"})",
       parseError(L"* Line 1, Column 8\n  Bad escape sequence in string\nSee Line 1, Column 11 for detail.")},
  });
}

TEST_F(EntriesTest, ThatBreakOff) {
  expectEntries({
      {"at once", "{", parseError(L"* Line 1, Column 2\n  Missing '}' or object member name")},
      {"in a name", R"({"ve)", parseError(L"* Line 1, Column 2\n  Missing '}' or object member name")},
      {"before a value", R"({"ver":)",
       parseError(L"* Line 1, Column 8\n  Syntax error: value, object or array expected.")},
      {"in a text", R"({"ver":"2.0)",
       parseError(L"* Line 1, Column 8\n  Syntax error: value, object or array expected.")},
      {"before the last brace", R"({"ver":"2.0.0.47")",
       parseError(L"* Line 1, Column 18\n  Missing ',' or '}' in object declaration")},
  });
}

TEST_F(EntriesTest, ThatAreOfAnotherType) {
  expectEntries({
      {"a list", "[]", kNoObject},
      {"a text", R"("2.0.0.47")", kNoObject},
      {"a number", "2", kNoObject},
      {"a truth", "true", kNoObject},
      {"null", "null", kReadEmpty},
      {"an empty object", "{}", kReadEmpty},
  });
}

TEST_F(EntriesTest, WhoseMembersAreListsOrObjects) {
  expectEntries({
      {"ver a list", R"({"ver":[],"pmd5":"a","dmd5":"b","url":"c"})", kNoText},
      {"ver an object", R"({"ver":{},"pmd5":"a","dmd5":"b","url":"c"})", kNoText},
      {"pmd5 a list", R"({"ver":"v","pmd5":["a"],"dmd5":"b","url":"c"})", kNoText},
      {"pmd5 an object", R"({"ver":"v","pmd5":{"a":1},"dmd5":"b","url":"c"})", kNoText},
      {"dmd5 a list", R"({"ver":"v","pmd5":"a","dmd5":[],"url":"c"})", kNoText},
      {"dmd5 an object", R"({"ver":"v","pmd5":"a","dmd5":{},"url":"c"})", kNoText},
      {"url a list", R"({"ver":"v","pmd5":"a","dmd5":"b","url":[]})", kNoText},
      {"url an object", R"({"ver":"v","pmd5":"a","dmd5":"b","url":{}})", kNoText},
  });
}

TEST_F(EntriesTest, WhoseMembersReadAsTexts) {
  expectEntries({
      {"null each", R"({"ver":null,"pmd5":null,"dmd5":null,"url":null})", kReadEmpty},
      {"one missing", R"({"ver":"v","pmd5":"a","dmd5":"b"})", read(L"ver: v, pmd5: a, dmd5:b, url: ")},
      {"names in capitals", R"({"VER":"v","PMD5":"a","DMD5":"b","URL":"c"})", kReadEmpty},
      {"numbers", R"({"ver":2,"pmd5":1.5,"dmd5":-7,"url":""})", read(L"ver: 2, pmd5: 1.5, dmd5:-7, url: ")},
      {"truths", R"({"ver":true,"pmd5":false,"dmd5":true,"url":""})",
       read(L"ver: true, pmd5: false, dmd5:true, url: ")},
      {"a number beyond 64 bits", R"({"ver":18446744073709551616})",
       read(L"ver: 1.8446744073709552e+19, pmd5: , dmd5:, url: ")},
      {"members twice", R"({"ver":[],"ver":"1.2.3","pmd5":"a","dmd5":"b","url":"c","url":""})",
       read(L"ver: 1.2.3, pmd5: a, dmd5:b, url: ")},
      {"a number for the version, and all there",
       R"({"ver":2,"pmd5":"a","dmd5":"b","url":"https://x/y"})",
       {L"Fetch ZuUpdateConfig success str: [ver: 2, pmd5: a, dmd5:b, url: https://x/y]",
        L"Update plugin fail! Invalid version: 2"}},
      {"a number for the address",
       R"({"ver":"9.9.9","pmd5":"a","dmd5":"b","url":443})",
       {L"Fetch ZuUpdateConfig success str: [ver: 9.9.9, pmd5: a, dmd5:b, url: 443]",
        L"Update plugin fail! HTTPS is required: 443"}},
  });
}

TEST_F(EntriesTest, ThatTheReaderIsLenientAbout) {
  expectEntries({
      {"two documents", "{} {\"ver\":\"v\"}", kReadEmpty},
      {"rubbish behind", "{}<html>", kReadEmpty},
      {"a byte order mark", "\xef\xbb\xbf{}", kReadEmpty, L"\u00ef\u00bb\u00bf{}",
       R"("{\"configs\":{\"zu_plugin_update\":\"\ufeff{}\"}}")"},
      {"comments", "/* a */{}// b", kReadEmpty},
      {"a trailing comma", R"({"ver":"v",})", read(L"ver: v, pmd5: , dmd5:, url: ")},
  });
}

TEST_F(EntriesTest, ThatHoldBytesThatAreNoText) {
  expectEntries({
      {"invalid UTF-8", "{\"pmd5\":\"\xff\"}", read(L"ver: , pmd5: \u00ff, dmd5:, url: "), L"{\"pmd5\":\"\u00ff\"}",
       R"("{\"configs\":{\"zu_plugin_update\":\"{\\\"pmd5\\\":\\\"\ufffd\\\"}\"}}")"},
      {"invalid UTF-8 in the version",
       "{\"ver\":\"2.0.\xff\",\"pmd5\":\"a\",\"dmd5\":\"b\",\"url\":\"https://x/y\"}",
       {L"Fetch ZuUpdateConfig success str: [ver: 2.0.\u00ff, pmd5: a, dmd5:b, url: https://x/y]",
        L"Update plugin fail! Invalid version: 2.0.\u00ff"},
       L"{\"ver\":\"2.0.\u00ff\",\"pmd5\":\"a\",\"dmd5\":\"b\",\"url\":\"https://x/y\"}",
       R"("{\"configs\":{\"zu_plugin_update\":\"{\\\"ver\\\":\\\"2.0.\ufffd\\\",\\\"pmd5\\\":\\\"a\\\",\\\"dmd5\\\":\\\"b\\\",\\\"url\\\":\\\"https://x/y\\\"}\"}}")"},
      // The host's logger takes texts that end at a NUL.
      {"a NUL between members", "{\"ver\":\"v\"\0}"s,
       parseError(L"* Line 1, Column 11\n  Missing ',' or '}' in object declaration"), L"{\"ver\":\"v\"",
       R"("{\"configs\":{\"zu_plugin_update\":\"{\\\"ver\\\":\\\"v\\\"\u0000}\"}}")"},
      {"a NUL in a text",
       "{\"ver\":\"v\0w\"}"s,
       {L"Fetch ZuUpdateConfig success str: [ver: v"},
       L"{\"ver\":\"v",
       R"("{\"configs\":{\"zu_plugin_update\":\"{\\\"ver\\\":\\\"v\u0000w\\\"}\"}}")"},
      {"an escaped NUL in the version",
       R"({"ver":"9.9.9\u0000","pmd5":"a","dmd5":"b","url":"https://x/y"})",
       {L"Fetch ZuUpdateConfig success str: [ver: 9.9.9", L"Update plugin fail! Invalid version: 9.9.9"}},
      {"an escaped NUL before the scheme",
       R"({"ver":"9.9.9","pmd5":"a","dmd5":"b","url":"\u0000https://x/y"})",
       {L"Fetch ZuUpdateConfig success str: [ver: 9.9.9, pmd5: a, dmd5:b, url: ",
        L"Update plugin fail! HTTPS is required: "}},
  });
}

TEST_F(EntriesTest, ThatAreDeep) {
  expectEntries({
      {"10,000 lists that stay open", std::string(10'000, '['), kTooDeep},
      {"10,000 lists", nested(10'000), kTooDeep},
      {"10,000 lists as the version", "{\"ver\":" + nested(10'000) + "}", kTooDeep},
      {"the deepest that is read", "{\"a\":" + nested(999) + "}", kReadEmpty},
      {"one deeper", "{\"a\":" + nested(1000) + "}", kTooDeep},
  });
}

TEST_F(EntriesTest, ThatAreLong) {
  const std::string filler(1'000'000, 'x');
  expectEntries({
      {"a member that nobody reads", R"({"a":")" + filler + "\"}", kReadEmpty},
      {"the digest", R"({"pmd5":")" + filler + "\"}", read(L"ver: , pmd5: " + toWide(filler) + L", dmd5:, url: ")},
      {"the version",
       R"({"ver":")" + filler + R"(","pmd5":"a","dmd5":"b","url":"https://x/y"})",
       {L"Fetch ZuUpdateConfig success str: [ver: " + toWide(filler) + L", pmd5: a, dmd5:b, url: https://x/y]",
        L"Update plugin fail! Invalid version: " + toWide(filler)}},
  });
}

}  // namespace
}  // namespace zuvia::test
