#include "zuserve/Fault.h"

#include <gtest/gtest.h>

#include "shared/CommandLine.h"

namespace zuvia::zuserve {
namespace {

std::string refusalOf(const std::string& text) {
  try {
    return "a fault: " + Fault::parse(text).text();
  } catch (const tools::Failure& failure) {
    return failure.what();
  }
}

TEST(Fault, IsWrittenAsItIsRead) {
  for (const char* text : {"none", "stall:0", "stall:65536", "cut", "cut:1000", "status:503", "slow:1000", "badmd5",
                           "config:cut", "config:status:400", "config:stall:0", "config:slow:1"}) {
    EXPECT_EQ(Fault::parse(text).text(), text);
  }
  EXPECT_EQ(Fault::parse("").text(), "none");
  EXPECT_EQ(Fault().text(), "none");
}

TEST(Fault, HappensWhereItIsMeantTo) {
  const Fault file = Fault::parse("status:503");
  EXPECT_EQ(file.in(Fault::Target::File).amount, 503u);
  EXPECT_EQ(file.in(Fault::Target::Configuration).kind, Fault::Kind::None);
  const Fault configuration = Fault::parse("config:status:503");
  EXPECT_EQ(configuration.in(Fault::Target::File).kind, Fault::Kind::None);
  EXPECT_EQ(configuration.in(Fault::Target::Configuration).kind, Fault::Kind::Status);
}

TEST(Fault, IsRefusedWithOneLine) {
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"x", R"(not a fault: "x"; stall:BYTES, cut, cut:BYTES, status:CODE, slow:BYTES, badmd5 or none)"},
      {"Stall:1", R"(not a fault: "Stall"; stall:BYTES, cut, cut:BYTES, status:CODE, slow:BYTES, badmd5 or none)"},
      {"config:", R"(not a fault: ""; stall:BYTES, cut, cut:BYTES, status:CODE, slow:BYTES, badmd5 or none)"},
      {"stall", "stall needs a number of bytes, as in stall:65536"},
      {"stall:", "stall needs a number of bytes, as in stall:65536"},
      {"stall:-1", "stall needs a number of bytes, as in stall:65536"},
      {"stall:1 ", "stall needs a number of bytes, as in stall:65536"},
      {"stall:99999999999999999999", "stall needs a number of bytes, as in stall:65536"},
      {"cut:x", "cut needs a number of bytes, as in cut:1000, or nothing behind it"},
      {"status:200", "status needs a status from 400 to 599, as in status:503"},
      {"status:600", "status needs a status from 400 to 599, as in status:503"},
      {"slow:0", "slow needs a number of bytes a second, as in slow:1000"},
      {"badmd5:1", "badmd5 stands alone, without a number or config:"},
      {"config:badmd5", "badmd5 stands alone, without a number or config:"},
      {"none:1", "none stands alone, without a number or config:"}};
  for (const auto& [text, refusal] : cases) EXPECT_EQ(refusalOf(text), refusal);
}

}  // namespace
}  // namespace zuvia::zuserve
