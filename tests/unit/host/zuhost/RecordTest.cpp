#include "Record.h"

#include <gtest/gtest.h>

#include "Command.h"

namespace zuhost {
namespace {

const LogLine kLogLine{.level = 1,
                       .className = "ZuLoader",
                       .sourceFile = "..\\loader\\ZuLoader",
                       .line = 65535,
                       .functionName = "ZuLoader::f",
                       .message = L"\u6587 \"x\"\nnext",
                       .moduleName = "zuviaplugin.dll"};

TEST(JsonLine, WritesAnswers) {
  EXPECT_EQ(jsonLine(answer("done", "load")), R"({"done":"load"})");
  EXPECT_EQ(jsonLine(answer("listener", Json::UInt64{18446744073709551615U})), R"({"listener":18446744073709551615})");
  EXPECT_EQ(jsonLine(answer("interface", true)), R"({"interface":true})");
  EXPECT_EQ(jsonLine(answer("result", Json::Value())), R"({"result":null})");
  EXPECT_EQ(jsonLine(errorRecord("why \"so\"")), R"({"error":"why \"so\""})");
}

TEST(JsonLine, IsOneLineOfValidUtf8WhateverTheBytes) {
  EXPECT_EQ(jsonLine(errorRecord("a\nb\xFF\xE6\x96\x87\x7F")), "{\"error\":\"a\\nb\xEF\xBF\xBD\xE6\x96\x87\x7F\"}");
}

TEST(JsonLine, WritesEvents) {
  EXPECT_EQ(jsonLine(eventRecord({"pluginLoadedEvent", "", 100, 4294967295U, 12})),
            R"({"data":"","event":"pluginLoadedEvent","listener":100,"ms":12,"thread":4294967295})");
  EXPECT_EQ(jsonLine(eventRecord({nullptr, nullptr, 100, 1, 0})),
            R"({"data":null,"event":null,"listener":100,"ms":0,"thread":1})");
}

TEST(JsonLine, WritesAllSevenFieldsOfALogLine) {
  EXPECT_EQ(jsonLine(logRecord(kLogLine)),
            "{\"log\":{\"class\":\"ZuLoader\",\"function\":\"ZuLoader::f\",\"level\":1,\"line\":65535,"
            "\"message\":\"\xE6\x96\x87 \\\"x\\\"\\nnext\",\"module\":\"zuviaplugin.dll\","
            "\"source\":\"..\\\\loader\\\\ZuLoader\"}}");
}

TEST(ReadableLine, TellsTheSameToAPerson) {
  EXPECT_EQ(readableLine(answer("done", "load"), false), "done: load");
  EXPECT_EQ(readableLine(errorRecord("why"), false), "error: why");
  EXPECT_EQ(readableLine(eventRecord({"name", "data", 100, 7, 12}), false),
            "event name \"data\" (listener 100, thread 7, 12 ms)");
  EXPECT_EQ(readableLine(logRecord(kLogLine), false),
            "log [1] zuviaplugin.dll ..\\loader\\ZuLoader:65535 ZuLoader::f: \xE6\x96\x87 \"x\" next");
}

TEST(ReadableLine, NamesEveryFieldOfAnAnswerWithSeveral) {
  Record record = answer("waited", "event");
  record.fields["ok"] = false;
  EXPECT_EQ(readableLine(record, false), "ok: false, waited: event");
}

TEST(ReadableLine, LetsNoControlCharacterReachTheTerminal) {
  EXPECT_EQ(readableLine(errorRecord("a\x1B[2J\r\nb\x7F"), false), "error: a [2J  b ");
}

TEST(HelpAbout, TellsMoreAboutACommand) {
  const Record about = helpAbout("wait");
  EXPECT_TRUE(about.text.starts_with("wait EVENT MS\nwait until EVENT arrives")) << about.text;
  EXPECT_TRUE(about.text.ends_with("when the event does not come.")) << about.text;
  EXPECT_EQ(about.fields["help"].size(), 1U);
  EXPECT_EQ(about.fields["help"][0]["command"], "wait EVENT MS");
  EXPECT_EQ(helpAbout("destroy").text, "destroy\ndelete the plugin object");
  EXPECT_THROW(helpAbout("bogus"), BadCommand);
}

TEST(ResultText, IsWhatACommandAnswered) {
  EXPECT_EQ(resultText(answer("result", "x")), "x");
  EXPECT_EQ(resultText(answer("result", Json::Value())), "null");
  EXPECT_EQ(resultText(answer("removed", false)), "false");
  EXPECT_EQ(resultText(answer("listener", 100)), "100");
  Record waited = answer("waited", "e");
  waited.fields["ok"] = true;
  EXPECT_EQ(resultText(waited), "true");
  EXPECT_TRUE(hasResult(waited));
  for (const char* key : {"done", "help", "status", "matched"}) EXPECT_FALSE(hasResult(answer(key, "x"))) << key;
  EXPECT_FALSE(hasResult(errorRecord("x")));
}

TEST(IsFailure, CountsErrorsAndWaitingInVain) {
  EXPECT_TRUE(isFailure(errorRecord("why")));
  EXPECT_EQ(failureText(errorRecord("why")), "why");
  Record waited = answer("waited", "e");
  waited.fields["ok"] = false;
  EXPECT_TRUE(isFailure(waited));
  EXPECT_EQ(failureText(waited), "the event e did not come");
  EXPECT_FALSE(isFailure(answer("removed", false)));
}

TEST(ScriptLine, HoldsNoControlCharacters) {
  EXPECT_EQ(readableLine(scriptLine("load\t\x1B[1mx"), true), "> load  [1mx");
}

TEST(ReadableLine, ColoursByKind) {
  EXPECT_EQ(readableLine(errorRecord("x"), true), "\x1B[31merror: x\x1B[0m");
  EXPECT_EQ(readableLine(answer("done", "x"), true), "\x1B[32mdone: x\x1B[0m");
}

TEST(ReadableLine, ListsTheCommandsOnLinesOfTheirOwn) {
  const std::string text = readableLine(help(), false);
  EXPECT_TRUE(text.starts_with("load [PATH]       tell the plugin")) << text;
  EXPECT_NE(text.find("\nexpect [--within MS] RESULT|EVENT|LOG PATTERN\n                  check what"),
            std::string::npos);
  EXPECT_NE(text.find("\nquit "), std::string::npos);
}

}  // namespace
}  // namespace zuhost
