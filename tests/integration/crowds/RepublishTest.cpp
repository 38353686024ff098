// Hosts that delete what another has published, because they cannot read it or because it was not there when they
// looked; and what becomes of it.

#include <algorithm>
#include <string>
#include <vector>

#include "integration/crowds/CrowdTest.h"
#include "support/Digest.h"
#include "support/Files.h"
#include "support/SecondProcess.h"
#include "support/Text.h"

namespace zuvia::test {
namespace {

using testing::Each;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::Not;

constexpr const wchar_t* kTold = L"onNotifyEvent cmd: pluginUpgradeEvent, data: 2.0.0.47";

using Lines = std::vector<std::wstring>;

class RepublishTest : public CrowdTest {
 protected:
  RepublishTest() {
    add(2);
    crowd.load();
  }

  // The first host publishes.
  void publish() {
    crowd.inform(0);
    ASSERT_EQ(crowd.settle(), "");
    ASSERT_EQ(crowd.ending(0), Ending::Published);
  }

  // The second host cannot read the module, because a process has it open for itself alone, and stops there. Then that
  // process is done.
  void decideUnread() {
    second.holdFile(published);
    crowd[1].stopAt(unread);
    crowd.inform(1);
    ASSERT_TRUE(crowd[1].waitForMessage(unread));
    second.releaseFiles();
  }

  void expectLines(std::size_t host, const Lines& expected) {
    EXPECT_THAT(updateLines(crowd[host].messages(), service.offer, tree), ElementsAreArray(expected));
  }

  std::wstring mismatch(const std::string& found, bool deleted) const {
    return L"File md5 not match md5 " + toWide(found) + L", expected md5: " + toWide(service.offer.dmd5) +
           L", delete directory: " + (deleted ? L"true" : L"false");
  }

  const std::wstring target = directory(L"2.0.0.47");
  const std::wstring published = module(L"2.0.0.47");
  const std::wstring unread = L"Get file md5 fail! CreateFile error: 32, path: " + published;
  const Lines begun = {L"Try download plugin ver: 2.0.0.47, url:  " + toWide(service.offer.url)};
  const Lines unpacked = {L"Download success ver:  2.0.0.47",
                          L"Unzip file success path: " + tree.root() + L"\\.update-2.0.0.47"};
  const Lines moved = {L"Try published download plugin : false", L"MoveFileExW  published: true, dest: " + target,
                       L"onUpdateSuccess newVer: 2.0.0.47", kTold};
  const Lines notDeleted = {L"Delete file fail! error: 32, path: " + published,
                            L"Remove directory fail! error: 145, path: " + target};
  SecondProcess second;
};

Lines operator+(Lines lines, const Lines& more) {
  lines.insert(lines.end(), more.begin(), more.end());
  return lines;
}

TEST_F(RepublishTest, WhatCannotBeReadIsDeletedAndPublishedAgain) {
  ASSERT_NO_FATAL_FAILURE(publish());
  ASSERT_NO_FATAL_FAILURE(decideUnread());
  crowd[1].resume();
  ASSERT_TRUE(crowd[1].waitForMessage(kTold));
  expectLines(1, Lines{unread, mismatch("", true)} + begun + unpacked + moved);
  expectAfterwards({L"2.0.0.45", L"2.0.0.47"});
}

TEST_F(RepublishTest, WhatIsDeletedByOneThatDiesComesBackWithTheNext) {
  ASSERT_NO_FATAL_FAILURE(publish());
  service.server.expect("POST", "/configs/pc/post", Answer::respond(200, service.offer.answer()));
  service.server.expect("GET", "/zuimpl-2.0.0.47.7z", Answer::respond(200).stallBeforeHeaders());
  ASSERT_NO_FATAL_FAILURE(decideUnread());
  crowd[1].resume();
  ASSERT_TRUE(service.server.waitForRequests(4));
  crowd[1].terminate();
  expectLines(1, Lines{unread, mismatch("", true)} + begun);
  // It was announced, and is gone: nothing is rolled back.
  endLives();
  EXPECT_THAT(invariants->violations(), Each("Lost: " + toUtf8(target)));
  EXPECT_THAT(invariants->violations(), Not(IsEmpty()));

  EXPECT_EQ(crowd[0].load(), "2.0.0.45");
  crowd.inform(0);
  ASSERT_EQ(crowd.settle(), "");
  EXPECT_EQ(crowd.ending(0), Ending::Published);
  expectAfterwards({L"2.0.0.45", L"2.0.0.47"}, 0, 1);
}

TEST_F(RepublishTest, WhatIsPublishedBetweenADecisionAndItsDeletionIsPublishedAgain) {
  writeFile(published, "damaged");
  ASSERT_NO_FATAL_FAILURE(decideUnread());
  crowd.inform(0);
  ASSERT_TRUE(crowd[0].waitForMessage(kTold));
  expectLines(0, Lines{mismatch(md5("damaged"), true)} + begun + unpacked + moved);
  crowd[1].resume();
  ASSERT_TRUE(crowd[1].waitForMessage(kTold));
  expectLines(1, Lines{unread, mismatch("", true)} + begun + unpacked + moved);
  expectAfterwards({L"2.0.0.45", L"2.0.0.47"});
}

// What a version has beside its module is lost, and stays so: it is by its module that a version counts as published.
TEST_F(RepublishTest, WhatStaysOpenLosesItsCompanions) {
  ASSERT_NO_FATAL_FAILURE(publish());
  second.holdFile(published);
  crowd.inform(1);
  const std::wstring end = L"Publish plugin fail, skip update callback, ver: 2.0.0.47";
  ASSERT_TRUE(crowd[1].waitForMessage(end));
  expectLines(1, Lines{unread} + notDeleted + Lines{mismatch("", false)} + begun + unpacked + Lines{unread} +
                     Lines{L"Try published download plugin : false"} + notDeleted + Lines{end});
  second.releaseFiles();
  endLives();
  const std::string companion = toUtf8(target) + "\\sub";
  EXPECT_THAT(invariants->violations(),
              testing::ElementsAre("Missing: " + companion, "Missing: " + companion + "\\companion.txt",
                                   "Missing: " + companion, "Missing: " + companion + "\\companion.txt"));
}

}  // namespace
}  // namespace zuvia::test
