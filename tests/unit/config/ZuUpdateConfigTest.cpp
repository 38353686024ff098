#include "config/ZuUpdateConfig.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <string_view>
#include <typeinfo>

#include "ConfigTest.h"
#include "config/UpdateEntryText.h"
#include "support/ImportHook.h"
#include "updater/ZuDllUpdater.h"

namespace zuvia {
namespace {

using test::ImportHook;
using test::LogLine;
using testing::ElementsAre;
using testing::IsEmpty;

// An entry that the updater answers with one line, because it may not be fetched.
const std::string kPlainHttp = R"({"ver":"9.9.9.9","pmd5":"aa","dmd5":"bb","url":"http://x/y"})";
const std::wstring kPlainHttpDescription =
    L"Fetch ZuUpdateConfig success str: [ver: 9.9.9.9, pmd5: aa, dmd5:bb, url: http://x/y]";
const std::wstring kPlainHttpRefused = L"Update plugin fail! HTTPS is required: http://x/y";

class ZuUpdateConfigTest : public test::ConfigTest {
 protected:
  void fetch(const std::string& value, bool fromCache = false) { config.onFetch(true, value, fromCache); }

  ZuUpdateConfig config{5};
  ZuDllUpdater updater{5};
};

TEST_F(ZuUpdateConfigTest, BeginsWithAnEmptyRecord) {
  EXPECT_EQ(describe(config.record()), "[ver: , pmd5: , dmd5:, url: ]");
  EXPECT_FALSE(config.handed());
}

TEST_F(ZuUpdateConfigTest, HandsTheRecordToTheUpdater) {
  config.setUpdater(&updater);
  fetch(kPlainHttp);
  EXPECT_THAT(log.messages(), ElementsAre(kPlainHttpDescription, kPlainHttpRefused));
  EXPECT_TRUE(config.handed());
}

TEST_F(ZuUpdateConfigTest, LogsUnderItsOwnNames) {
  fetch(kPlainHttp);
  ASSERT_EQ(log.lines().size(), 1U);
  const LogLine line = log.lines().front();
  EXPECT_EQ(line.level, 1);
  EXPECT_EQ(line.className, "ZuUpdateConfig");
  EXPECT_EQ(line.sourceFile, "config\\ZuUpdateConfig");
  EXPECT_EQ(line.functionName, "ZuUpdateConfig::onFetch");
}

TEST_F(ZuUpdateConfigTest, KeepsTheRecordToItselfWithoutAnUpdater) {
  fetch(kPlainHttp);
  EXPECT_THAT(log.messages(), ElementsAre(kPlainHttpDescription));
  EXPECT_EQ(describe(config.record()), "[ver: 9.9.9.9, pmd5: aa, dmd5:bb, url: http://x/y]");
  EXPECT_FALSE(config.handed());
}

TEST_F(ZuUpdateConfigTest, HandsAnEmptyRecordOverToo) {
  config.setUpdater(&updater);
  fetch("{}");
  EXPECT_THAT(log.messages(), ElementsAre(L"Fetch ZuUpdateConfig success str: [ver: , pmd5: , dmd5:, url: ]"));
  EXPECT_TRUE(config.handed());
}

TEST_F(ZuUpdateConfigTest, OverwritesTheWholeRecord) {
  fetch(kPlainHttp);
  fetch(R"({"pmd5":"cc"})");
  EXPECT_EQ(describe(config.record()), "[ver: , pmd5: cc, dmd5:, url: ]");
}

TEST_F(ZuUpdateConfigTest, RefusesAFailedFetch) {
  config.setUpdater(&updater);
  config.onFetch(false, kPlainHttp, false);
  EXPECT_THAT(log.messages(), ElementsAre(L"Config fetch failed or empty body: " + test::toWide(kPlainHttp)));
  EXPECT_FALSE(config.handed());
  EXPECT_EQ(config.record().ver, "");
}

TEST_F(ZuUpdateConfigTest, RefusesAnEmptyValue) {
  config.setUpdater(&updater);
  fetch("");
  EXPECT_THAT(log.messages(), ElementsAre(L"Config fetch failed or empty body: "));
  EXPECT_FALSE(config.handed());
}

TEST_F(ZuUpdateConfigTest, RefusesWhatIsNotJson) {
  config.setUpdater(&updater);
  fetch("nonsense");
  EXPECT_THAT(log.messages(), ElementsAre(L"onFetch parse error: * Line 1, Column 1\n"
                                          L"  Syntax error: value, object or array expected.\n"));
  EXPECT_FALSE(config.handed());
}

TEST_F(ZuUpdateConfigTest, CatchesTheExceptionOfAValueThatIsNoObject) {
  config.setUpdater(&updater);
  fetch("[]");
  EXPECT_THAT(
      log.messages(),
      ElementsAre(L"onFetch parse exception: in Json::Value::find(begin, end): requires objectValue or nullValue"));
  EXPECT_FALSE(config.handed());
}

TEST_F(ZuUpdateConfigTest, CatchesTheExceptionOfAMemberThatIsNoText) {
  config.setUpdater(&updater);
  fetch(R"({"ver":{}})");
  EXPECT_THAT(log.messages(), ElementsAre(L"onFetch parse exception: Type is not convertible to string"));
  EXPECT_FALSE(config.handed());
}

TEST_F(ZuUpdateConfigTest, TakesACachedValueWhileNoneWasHandedOver) {
  config.setUpdater(&updater);
  fetch(kPlainHttp, true);
  EXPECT_THAT(log.messages(), ElementsAre(kPlainHttpDescription, kPlainHttpRefused));
}

TEST_F(ZuUpdateConfigTest, SkipsACachedValueAfterOneWasHandedOver) {
  config.setUpdater(&updater);
  fetch(kPlainHttp);
  log.clear();
  fetch("{}", true);
  EXPECT_THAT(log.messages(), ElementsAre(L"Skip cache update "));
  EXPECT_EQ(config.record().ver, "9.9.9.9");
}

TEST_F(ZuUpdateConfigTest, ChecksTheValueBeforeItSkips) {
  config.setUpdater(&updater);
  fetch(kPlainHttp);
  log.clear();
  fetch("", true);
  EXPECT_THAT(log.messages(), ElementsAre(L"Config fetch failed or empty body: "));
}

TEST_F(ZuUpdateConfigTest, TakesACachedValueAgainWithoutAnUpdater) {
  fetch(kPlainHttp);
  fetch("{}", true);
  EXPECT_EQ(config.record().ver, "");
}

TEST_F(ZuUpdateConfigTest, HandsEveryFreshValueOver) {
  config.setUpdater(&updater);
  fetch(kPlainHttp);
  fetch(kPlainHttp);
  EXPECT_THAT(log.messages(),
              ElementsAre(kPlainHttpDescription, kPlainHttpRefused, kPlainHttpDescription, kPlainHttpRefused));
}

TEST_F(ZuUpdateConfigTest, StaysHandedAfterAFailure) {
  config.setUpdater(&updater);
  fetch(kPlainHttp);
  fetch("nonsense");
  EXPECT_TRUE(config.handed());
}

// The updater looks for the directory of the offered version; what that call throws comes out of the updater.
template <typename Exception>
class ThrowingUpdater {
 public:
  explicit ThrowingUpdater(Exception exception)
      : hook_(GetModuleHandleW(nullptr), "GetFileAttributesW",
              [exception](auto* original, const wchar_t* path) -> DWORD {
                if (!std::wstring_view(path).ends_with(L"\\9.9.9.9")) return original(path);
                throw exception;
              }) {}

 private:
  ImportHook<decltype(GetFileAttributesW)> hook_;
};

const std::string kHttps = R"({"ver":"9.9.9.9","pmd5":"aa","dmd5":"bb","url":"https://x/y"})";
const std::wstring kHttpsDescription =
    L"Fetch ZuUpdateConfig success str: [ver: 9.9.9.9, pmd5: aa, dmd5:bb, url: https://x/y]";

TEST_F(ZuUpdateConfigTest, CatchesAStandardExceptionOfTheUpdater) {
  config.setUpdater(&updater);
  const ThrowingUpdater throwing(std::runtime_error("no room"));
  fetch(kHttps);
  EXPECT_THAT(log.messages(), ElementsAre(kHttpsDescription, L"onFetch parse exception: no room"));
  EXPECT_TRUE(config.handed());
}

TEST_F(ZuUpdateConfigTest, LetsOtherExceptionsOfTheUpdaterPass) {
  config.setUpdater(&updater);
  const ThrowingUpdater throwing(42);
  EXPECT_THROW(fetch(kHttps), int);
  EXPECT_THAT(log.messages(), ElementsAre(kHttpsDescription));
  EXPECT_TRUE(config.handed());
}

TEST_F(ZuUpdateConfigTest, StopsBeforeItsOwnMembersGo) {
  auto ending = std::make_unique<ZuUpdateConfig>(5);
  const BssConfig& base = *ending;
  std::vector<std::string> waited;
  const ImportHook<decltype(WaitForThreadpoolWorkCallbacks)> hook(self(), "WaitForThreadpoolWorkCallbacks",
                                                                  [&](auto* original, PTP_WORK work, BOOL cancel) {
                                                                    waited.emplace_back(typeid(base).name());
                                                                    original(work, cancel);
                                                                  });
  ending.reset();
  EXPECT_THAT(waited, ElementsAre(typeid(ZuUpdateConfig).name()));
}

}  // namespace
}  // namespace zuvia
