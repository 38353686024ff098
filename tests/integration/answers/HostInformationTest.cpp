// Host information that is not what it should be. What is refused leaves nothing behind but its line; what the reader
// is lenient about reaches the configuration service as it was read. The implementation gets every text as it came.

#include <json/json.h>

#include <chrono>
#include <sstream>
#include <string>
#include <vector>

#include "integration/answers/AnsweredTest.h"

namespace zuvia::test {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::SizeIs;

class OddHostInformationTest : public PluginTest {
 protected:
  // Host information that asks the test service, up to its last member.
  std::string start(const std::wstring& appPath) const {
    return R"({"test_env":1,"app_path":)" + jsonText(toUtf8(appPath));
  }

  // One life of the plugin, from load to unload, with one fetch in it. Returns the request.
  Request live(const std::string& json) {
    entry().onLoaded(nullptr);
    log.clear();
    passedOn();
    const std::size_t before = server.requests().size();
    serveEntry("{}");
    EXPECT_EQ(send("setHostInfo", json), "0");
    EXPECT_EQ(passedOn(), "sendCommand \"setHostInfo\" \"" + json + "\"\n");
    EXPECT_TRUE(log.waitFor(L"onFetch success key: zu_plugin_update, value: {}"));
    EXPECT_THAT(server.requests(), SizeIs(before + 1));
    entry().onUnload();
    return server.requests().back();
  }

  // What the implementation has been sent since the last time.
  std::string passedOn() {
    const std::string record = send("record", "");
    send("forget", "");
    return record;
  }

  Clock clock{module};
};

Json::Value parsed(const std::string& text) {
  Json::Value value;
  std::istringstream(text) >> value;
  return value;
}

struct RefusedRow {
  std::string name;
  std::string json;
  std::wstring words;  // of the line, after "setHostInfo parse "
};

const std::wstring kNoValue = L"error: * Line 1, Column 1\n  Syntax error: value, object or array expected.\n";
const std::wstring kNoObject = L"exception: in Json::Value::find(begin, end): requires objectValue or nullValue";
const std::wstring kNoNumber = L"exception: Value is not convertible to UInt64.";
const std::wstring kNoText = L"exception: Type is not convertible to string";
const std::wstring kNoTruth = L"exception: Value is not convertible to bool.";
const std::wstring kTooDeep = L"exception: Exceeded stackLimit in readValue().";

const std::vector<RefusedRow> kRefused = {
    {"a blank", " ", L"error: * Line 1, Column 2\n  Syntax error: value, object or array expected.\n"},
    {"a word", "oops", kNoValue},
    {"a page", "<html></html>", kNoValue},
    {"breaking off at once", "{", L"error: * Line 1, Column 2\n  Missing '}' or object member name\n"},
    {"breaking off in a text", R"({"ver":"9)",
     L"error: * Line 1, Column 8\n  Syntax error: value, object or array expected.\n"},
    {"breaking off before the last brace", R"({"ver":"9")",
     L"error: * Line 1, Column 11\n  Missing ',' or '}' in object declaration\n"},
    {"control characters", "\x01\x02", kNoValue},
    {"an escape that is none", R"({"ver":"\x"})",
     L"error: * Line 1, Column 8\n  Bad escape sequence in string\nSee Line 1, Column 11 for detail.\n"},
    {"a list", "[]", kNoObject},
    {"a text", R"("9.1")", kNoObject},
    {"a number", "7", kNoObject},
    {"a truth", "true", kNoObject},
    {"uid a text", R"({"uid":"4711"})", kNoNumber},
    {"uid empty", R"({"uid":""})", kNoNumber},
    {"uid a list", R"({"uid":[]})", kNoNumber},
    {"uid an object", R"({"uid":{}})", kNoNumber},
    {"uid negative", R"({"uid":-1})", L"exception: LargestInt out of UInt64 range"},
    {"uid a negative fraction", R"({"uid":-0.5})", L"exception: double out of UInt64 range"},
    {"uid far too large", R"({"uid":1e30})", L"exception: double out of UInt64 range"},
    {"ver a list", R"({"ver":[]})", kNoText},
    {"ver an object", R"({"ver":{}})", kNoText},
    {"app_path a list", R"({"app_path":[]})", kNoText},
    {"app_path an object", R"({"app_path":{}})", kNoText},
    {"test_env a text", R"({"test_env":"true"})", kNoTruth},
    {"test_env a list", R"({"test_env":[]})", kNoTruth},
    {"test_env an object", R"({"test_env":{}})", kNoTruth},
    {"uid twice, the last a text", R"({"uid":1,"uid":"1"})", kNoNumber},
    {"10,000 lists that stay open", std::string(10'000, '['), kTooDeep},
    {"10,000 lists as a member", "{\"a\":" + std::string(10'000, '[') + std::string(10'000, ']') + '}', kTooDeep},
    {"a long text that stays open", '"' + std::string(1'048'576, 'x'), kNoValue},
};

TEST_F(OddHostInformationTest, ThatIsRefused) {
  load();
  const TreeListing before = tree.listAll();
  passedOn();
  for (const RefusedRow& row : kRefused) {
    SCOPED_TRACE(row.name);
    log.clear();
    EXPECT_EQ(send("setHostInfo", row.json), "0");
    EXPECT_THAT(log.messages(), ElementsAre(L"setHostInfo parse " + row.words));
    EXPECT_EQ(passedOn(), "sendCommand \"setHostInfo\" \"" + row.json + "\"\n");
  }
  EXPECT_EQ(tree.listAll(), before);
  EXPECT_THAT(server.requests(), IsEmpty());
  log.clear();
  serveEntry("{}");
  exchange();
  EXPECT_THAT(events(), IsEmpty());
}

struct AcceptedRow {
  std::string name;
  std::string json;  // what follows the members that say where to ask and where the cache lies
  std::wstring logged;
  std::string uid;      // of the request
  std::string hostver;  // of the request, in UTF-8
};

const std::vector<AcceptedRow> kAccepted = {
    {"no more members", "}", L"uid: 0, ver: , env: true", "0", ""},
    {"null each", R"(,"uid":null,"ver":null})", L"uid: 0, ver: , env: true", "0", ""},
    {"the largest uid", R"(,"uid":18446744073709551615})", L"uid: -1, ver: , env: true", "18446744073709551615", ""},
    {"a uid one larger", R"(,"uid":18446744073709551616})", L"uid: 0, ver: , env: true", "0", ""},
    {"uid a fraction", R"(,"uid":1.5})", L"uid: 1, ver: , env: true", "1", ""},
    {"uid a truth", R"(,"uid":true})", L"uid: 1, ver: , env: true", "1", ""},
    {"ver a number", R"(,"ver":9.5})", L"uid: 0, ver: 9.5, env: true", "0", "9.5"},
    {"ver a truth", R"(,"ver":false})", L"uid: 0, ver: false, env: true", "0", "false"},
    {"members twice", R"(,"uid":[],"uid":7,"ver":{},"ver":"9"})", L"uid: 7, ver: 9, env: true", "7", "9"},
    {"two documents", R"(,"uid":7}{"uid":8})", L"uid: 7, ver: , env: true", "7", ""},
    {"rubbish behind", R"(,"uid":7}<html>)", L"uid: 7, ver: , env: true", "7", ""},
    {"a comment and a trailing comma", R"(,"uid":7,/* a */}// b)", L"uid: 7, ver: , env: true", "7", ""},
    {"invalid UTF-8", ",\"\xff\":1,\"ver\":\"9\xff\"}", L"uid: 0, ver: 9\u00ff, env: true", "0", "9\xef\xbf\xbd"},
    {"UTF-8", ",\"ver\":\"9\xc3\xa9\"}", L"uid: 0, ver: 9\u00c3\u00a9, env: true", "0", "9\xc3\xa9"},
    // The host's logger takes texts that end at a NUL.
    {"an escaped NUL", R"(,"ver":"9\u0000x"})", L"uid: 0, ver: 9", "0", std::string("9\0x", 3)},
    {"a long text", R"(,"ver":")" + std::string(1'000'000, 'x') + "\"}",
     L"uid: 0, ver: " + std::wstring(1'000'000, L'x') + L", env: true", "0", std::string(1'000'000, 'x')},
    {"a deep member", ",\"a\":" + std::string(999, '[') + std::string(999, ']') + '}', L"uid: 0, ver: , env: true", "0",
     ""},
};

TEST_F(OddHostInformationTest, ThatTheReaderIsLenientAbout) {
  load();
  entry().onUnload();
  for (const AcceptedRow& row : kAccepted) {
    SCOPED_TRACE(row.name);
    const Request request = live(start(tree.appPath()) + row.json);
    EXPECT_THAT(messagesOf(GetCurrentThreadId()),
                ElementsAre(L"setHostInfo " + row.logged, L"setHostInfo path: " + tree.appPath(), L"onUnload"));
    EXPECT_EQ(request.header("uid"), row.uid);
    const Json::Value extendInfo = parsed(request.body)["extendInfo"];
    EXPECT_EQ(extendInfo["zuuid"], row.uid);
    EXPECT_EQ(extendInfo["hostver"].asString(), row.hostver);
  }
}

struct PathRow {
  std::string name;
  std::string json;                   // the whole text
  std::wstring logged;                // the path
  std::vector<std::wstring> further;  // lines on the host's thread
  std::wstring cacheLine;             // of the fetch
};

// The host information of a path as JSON spells it, and its lines when no directory can be made there.
PathRow unusable(const std::string& name, const std::string& path, const std::wstring& logged) {
  const std::wstring cache = logged + L"\\zuviaplugin\\cache";
  return {name,
          R"({"test_env":1,"app_path":)" + path + '}',
          logged,
          {L"Create directory failed: " + cache},
          L"Failed to write to persistent cache file: " + cache + L"\\bbs.cache"};
}

TEST_F(OddHostInformationTest, ThatNamesAnOddPath) {
  load();
  entry().onUnload();
  const std::wstring path = tree.appPath();
  const std::wstring file = tree.addFile(L"file", "content");
  const std::string utf8 = jsonText(toUtf8(path));
  const std::string open = utf8.substr(0, utf8.size() - 1);  // without its last quotation mark
  const auto stored = [](const std::wstring& there) {
    return L"Stored cache to persistent file: " + there + L"\\zuviaplugin\\cache\\bbs.cache";
  };
  const std::vector<PathRow> rows = {
      {"a byte order mark before all", "\xef\xbb\xbf" + start(path) + '}', path, {}, stored(path)},
      {"path twice", start(L"1") + R"(,"app_path":)" + utf8 + '}', path, {}, stored(path)},
      {"an escaped NUL behind it", R"({"test_env":1,"app_path":)" + open + R"(\u0000x"})", path, {}, stored(path)},
      {"invalid UTF-8, read in the code page",
       R"({"test_env":1,"app_path":)" + open + "\xff\"}",
       path + L'\u00ff',
       {},
       stored(path + L'\u00ff')},
      unusable("a number", "1", L"1"),
      unusable("a file", jsonText(toUtf8(file)), file),
      unusable("characters that no path has", jsonText("C:\\a|b<c>"), L"C:\\a|b<c>"),
      unusable("a very long one", '"' + std::string(1'000'000, 'x') + '"', std::wstring(1'000'000, L'x')),
  };
  for (const PathRow& row : rows) {
    SCOPED_TRACE(row.name);
    live(row.json);
    std::vector<WideText> expected = {L"setHostInfo uid: 0, ver: , env: true", L"setHostInfo path: " + row.logged};
    expected.insert(expected.end(), row.further.begin(), row.further.end());
    expected.emplace_back(L"onUnload");
    EXPECT_THAT(messagesOf(GetCurrentThreadId()), ElementsAreArray(expected));
    EXPECT_EQ(messagesOf(threadOf(L"DoFetchJob "))[0], row.cacheLine);
    clock.advance(std::chrono::seconds(30));
  }
}

}  // namespace
}  // namespace zuvia::test
