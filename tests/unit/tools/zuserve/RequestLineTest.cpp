#include "zuserve/RequestLine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace zuvia::zuserve {
namespace {

// Without the time.
std::string lineOf(const RequestRecord& record) {
  return requestLine(std::chrono::system_clock::now(), record).substr(23);
}

TEST(RequestLine, BeginsWithTheTime) {
  EXPECT_THAT(requestLine(std::chrono::system_clock::from_time_t(1'700'000'000) + std::chrono::milliseconds(7), {}),
              testing::MatchesRegex("2023-11-1\\dT\\d\\d:\\d\\d:20\\.007 .*"));
}

TEST(RequestLine, TellsMethodTargetStatusAndBytes) {
  EXPECT_EQ(lineOf({"GET", "/x.7z?a=b", 206, 5'000'000'000, ""}), " GET /x.7z?a=b 206 5000000000");
}

TEST(RequestLine, ShowsARequestThatCouldNotBeRead) {
  EXPECT_EQ(lineOf({"", "", 400, 0, ""}), " - - 400 0");
}

TEST(RequestLine, StaysOneLineOfFiveWords) {
  EXPECT_EQ(lineOf({"GET", "/a b\r\n\x1b[2J\xff", 404, 0, ""}), " GET /a_b\\x0d\\x0a\\x1b[2J\\xff 404 0");
}

TEST(RequestLine, QuotesFields) {
  EXPECT_EQ(lineOf({"POST", "/", 200, 1, field("uid", "1\n\" answer=\"x") + field("hitseq", "")}),
            " POST / 200 1 uid=\"1\\x0a\\\" answer=\\\"x\" hitseq=\"\"");
}

}  // namespace
}  // namespace zuvia::zuserve
