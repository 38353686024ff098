#include "LineEditor.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Text.h"

namespace zuhost {
namespace {

using Kind = Key::Kind;
using Outcome = LineEditor::Outcome;
using testing::ElementsAre;
using testing::IsEmpty;

class LineEditorTest : public testing::Test {
 protected:
  void type(const char* text) {
    for (const char32_t character : codePointsOf(text)) {
      EXPECT_EQ(editor.press({Kind::Character, character}), Outcome::Editing);
    }
  }

  void press(Kind kind, int times = 1) {
    for (int i = 0; i < times; ++i) EXPECT_EQ(editor.press({kind}), Outcome::Editing);
  }

  History history;
  Completion completion;
  std::string asked;
  LineEditor editor{history, [this](const std::string& before) {
                      asked = before;
                      return completion;
                    }};
};

TEST_F(LineEditorTest, InsertsWhereTheCursorIs) {
  type("lod");
  press(Kind::Left);
  type("a");
  EXPECT_EQ(editor.line(), "load");
  EXPECT_EQ(editor.cursor(), 3U);
  press(Kind::End);
  type(" \xE6\x96\x87");
  EXPECT_EQ(editor.line(), "load \xE6\x96\x87");
  EXPECT_EQ(editor.press({Kind::Enter}), Outcome::Entered);
}

TEST_F(LineEditorTest, StaysWithinTheLine) {
  press(Kind::Left);
  press(Kind::DeleteBefore);
  press(Kind::DeleteAfter);
  press(Kind::Right);
  press(Kind::WordLeft);
  press(Kind::WordRight);
  EXPECT_EQ(editor.cursor(), 0U);
  type("a");
  press(Kind::Right, 2);
  EXPECT_EQ(editor.cursor(), 1U);
}

TEST_F(LineEditorTest, DeletesCharactersWordsAndSides) {
  type("send echo  text");
  press(Kind::DeleteWordBefore);
  EXPECT_EQ(editor.line(), "send echo  ");
  press(Kind::DeleteWordBefore);
  EXPECT_EQ(editor.line(), "send ");
  press(Kind::DeleteBefore);
  press(Kind::Begin);
  press(Kind::DeleteAfter);
  EXPECT_EQ(editor.line(), "end");
  press(Kind::Right);
  press(Kind::DeleteAllAfter);
  EXPECT_EQ(editor.line(), "e");
  type("xy");
  press(Kind::Left);
  press(Kind::DeleteAllBefore);
  EXPECT_EQ(editor.line(), "y");
  press(Kind::Clear);
  EXPECT_EQ(editor.line(), "");
}

TEST_F(LineEditorTest, MovesByWords) {
  type("one two  three");
  press(Kind::WordLeft, 2);
  EXPECT_EQ(editor.cursor(), 4U);
  press(Kind::WordRight);
  EXPECT_EQ(editor.cursor(), 9U);
}

TEST_F(LineEditorTest, EndsTheInputOfAnEmptyLineOnly) {
  type("ab");
  press(Kind::Begin);
  press(Kind::EndOfInput);
  EXPECT_EQ(editor.line(), "b");
  press(Kind::DeleteAfter);
  EXPECT_EQ(editor.press({Kind::EndOfInput}), Outcome::Ended);
}

TEST_F(LineEditorTest, WalksThroughTheHistoryAndBackToWhatWasTyped) {
  history.add("first");
  history.add("second");
  editor.reset();
  type("thi");
  press(Kind::Older);
  EXPECT_EQ(editor.line(), "second");
  press(Kind::Older, 2);
  EXPECT_EQ(editor.line(), "first");
  EXPECT_EQ(editor.cursor(), 5U);
  press(Kind::Newer);
  EXPECT_EQ(editor.line(), "second");
  press(Kind::Newer, 2);
  EXPECT_EQ(editor.line(), "thi");
}

TEST_F(LineEditorTest, CompletesTheOnlyWord) {
  completion = {.begin = 0, .words = {"listen"}};
  type("lix");
  press(Kind::Left);
  press(Kind::Complete);
  EXPECT_EQ(asked, "li");
  EXPECT_EQ(editor.line(), "listen x");
  EXPECT_EQ(editor.cursor(), 7U);
}

TEST_F(LineEditorTest, AddsNoBlankToTheRestOfALine) {
  completion = {.begin = 6, .words = {"IID_IZUPlugin"}, .isRest = true};
  type("query IID_IZ");
  press(Kind::Complete);
  EXPECT_EQ(editor.line(), "query IID_IZUPlugin");
}

TEST_F(LineEditorTest, GoesAsFarAsAllWordsAgreeAndThenNamesThem) {
  completion = {.begin = 0, .words = {"load", "loaded"}};
  type("l");
  press(Kind::Complete);
  EXPECT_EQ(editor.line(), "load");
  EXPECT_THAT(editor.choices(), IsEmpty());
  press(Kind::Complete);
  EXPECT_EQ(editor.line(), "load");
  EXPECT_THAT(editor.choices(), ElementsAre("load", "loaded"));
  press(Kind::Left);
  EXPECT_THAT(editor.choices(), IsEmpty());
}

TEST_F(LineEditorTest, LeavesTheLineAloneWithoutAWord) {
  type("bogus");
  press(Kind::Complete);
  EXPECT_EQ(editor.line(), "bogus");
}

TEST(VisibleLine, ShowsAllThatFits) {
  const VisibleLine line = visibleLine(U"load x", 6, 10);
  EXPECT_EQ(line.text, "load x");
  EXPECT_EQ(line.cursorColumn, 6U);
}

TEST(VisibleLine, FollowsTheCursor) {
  const VisibleLine atEnd = visibleLine(U"0123456789", 10, 5);
  EXPECT_EQ(atEnd.text, "6789");
  EXPECT_EQ(atEnd.cursorColumn, 4U);
  const VisibleLine atBegin = visibleLine(U"0123456789", 0, 5);
  EXPECT_EQ(atBegin.text, "01234");
  EXPECT_EQ(atBegin.cursorColumn, 0U);
}

TEST(VisibleLine, KnowsCharactersOfTwoColumns) {
  const VisibleLine line = visibleLine(U"\u6587\u6587\u6587", 3, 5);
  EXPECT_EQ(line.text, "\xE6\x96\x87\xE6\x96\x87");
  EXPECT_EQ(line.cursorColumn, 4U);
}

}  // namespace
}  // namespace zuhost
