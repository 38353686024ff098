#include "Recorder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/Files.h"
#include "support/InstallTree.h"

namespace zuhost {
namespace {

class RecorderTest : public testing::Test {
 protected:
  std::string recorded() const { return zuvia::test::readFile(file); }

  const zuvia::test::InstallTree tree;
  const std::wstring file = tree.appPath() + L"\\session.zu";
};

TEST_F(RecorderTest, WritesCommandsWithTheirResults) {
  Recorder recorder(file, "heading");
  recorder.command("load C:\\a b", answer("done", "load"));
  recorder.command("version", answer("version", "2.0.0.45"));
  recorder.command("loaded", answer("loaded", true));
  recorder.command("send null", answer("result", Json::Value()));
  recorder.command("send lines", answer("result", " a*b\nc"));
  recorder.command("send empty", answer("result", ""));
  EXPECT_EQ(recorded(),
            "# heading\nload C:\\a b\nversion\nexpect RESULT 2.0.0.45\nloaded\nexpect RESULT true\n"
            "send null\nexpect RESULT null\nsend lines\nexpect RESULT ?a?b?c\nsend empty\nexpect RESULT \n");
}

TEST_F(RecorderTest, TurnsWhatWouldStopTheScriptIntoComments) {
  Recorder recorder(file, "h");
  recorder.command("bogus\tx", errorRecord("unknown command: bogus"));
  Record inVain = answer("waited", "e");
  inVain.fields["ok"] = false;
  recorder.command("wait e 5", inVain);
  EXPECT_EQ(recorded(), "# h\n# bogus x\n# -> unknown command: bogus\n# wait e 5\n# -> the event e did not come\n");
}

TEST_F(RecorderTest, LeavesOutWhatOnlyLooksAndTheResultsOfWaiting) {
  Recorder recorder(file, "h");
  recorder.command("help", help());
  recorder.command(" status", answer("status", Json::objectValue));
  recorder.command("expect RESULT *", answer("matched", "x"));
  Record came = answer("waited", "e");
  came.fields["ok"] = true;
  recorder.command("wait e 5", came);
  recorder.comment("# mine");
  EXPECT_EQ(recorded(), "# h\nexpect RESULT *\nwait e 5\n# mine\n");
}

TEST_F(RecorderTest, PutsWhatHappenedBehindTheCommandAsAComment) {
  Recorder recorder(file, "h");
  recorder.commandBegins();
  recorder.happened("event a two\nlines");
  recorder.command("version", answer("version", "1"));
  EXPECT_EQ(recorded(), "# h\nversion\n# event a two lines\nexpect RESULT 1\n");
}

TEST_F(RecorderTest, PutsWhatHappenedSinceBehindTheLastCommandAtOnce) {
  Recorder recorder(file, "h");
  recorder.commandBegins();
  recorder.command("version", answer("version", "1"));
  recorder.happened("event a");
  EXPECT_EQ(recorded(), "# h\nversion\nexpect RESULT 1\n# event a\n");
  recorder.happened("event b");
  EXPECT_EQ(recorded(), "# h\nversion\nexpect RESULT 1\n# event a\n# event b\n");
}

TEST_F(RecorderTest, LeavesAFileThatIsThereAlone) {
  zuvia::test::writeFile(file, "mine");
  EXPECT_THROW(Recorder(file, "h"), RecordingFailure);
  EXPECT_EQ(recorded(), "mine");
}

TEST_F(RecorderTest, NamesAFileThatCannotBeMade) {
  try {
    const Recorder recorder(L"Z:\\no\\such\\session.zu", "h");
    FAIL();
  } catch (const RecordingFailure& failure) {
    EXPECT_STREQ(failure.what(), "cannot make Z:\\no\\such\\session.zu for the recording");
  }
}

}  // namespace
}  // namespace zuhost
