#include "zuserve/BodySender.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <thread>

namespace zuvia::zuserve {
namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

// Sends a body of 100,000 bytes as the server does, until it is sent or the connection is to end.
class BodySenderTest : public testing::Test {
 protected:
  BodySenderTest() {
    for (std::size_t index = 0; index < body.size(); ++index) body[index] = static_cast<char>(index % 251);
  }

  // Returns whether it came to the end of the part.
  bool send(const std::string& fault, std::size_t begin = 0, std::size_t length = std::string::npos) {
    const std::size_t end = std::min(body.size(), length == std::string::npos ? length : begin + length);
    BodySender sender(
        [this](std::uint64_t offset, std::span<char> to) { return body.copy(to.data(), to.size(), offset); },
        body.size(), Fault::parse(fault), stop, [this] { return hasLeft; });
    const auto write = [this](std::string_view piece) {
      received += piece;
      return takesMore;
    };
    bool goesOn = true;
    while (goesOn && begin + received.size() < end) {
      goesOn = sender.sendNext(begin + received.size(), end - begin - received.size(), write);
    }
    EXPECT_EQ(sender.sent(), takesMore ? received.size() : 0);
    return goesOn;
  }

  std::string body = std::string(100'000, '\0');
  std::string received;
  StopSignal stop;
  bool hasLeft = false;
  bool takesMore = true;
};

TEST_F(BodySenderTest, SendsAllOfIt) {
  EXPECT_TRUE(send("none"));
  EXPECT_EQ(received, body);
}

TEST_F(BodySenderTest, SendsAPart) {
  EXPECT_TRUE(send("none", 70'000, 10));
  EXPECT_EQ(received, body.substr(70'000, 10));
}

TEST_F(BodySenderTest, CutsInTheMiddleOrWhereItIsTold) {
  EXPECT_FALSE(send("cut"));
  EXPECT_EQ(received, body.substr(0, 50'000));
  received.clear();
  EXPECT_FALSE(send("cut:70001"));
  EXPECT_EQ(received, body.substr(0, 70'001));
  received.clear();
  EXPECT_FALSE(send("cut:0"));
  EXPECT_EQ(received, "");
  EXPECT_TRUE(send("cut:100000")) << "cuts behind the end";
}

TEST_F(BodySenderTest, StallsUntilTheClientLeaves) {
  hasLeft = true;
  EXPECT_FALSE(send("stall:65536"));
  EXPECT_EQ(received, body.substr(0, 65'536));
}

TEST_F(BodySenderTest, StallsUntilItIsStopped) {
  std::atomic<bool> hasEnded = false;
  std::thread sending([&] {
    EXPECT_FALSE(send("stall:10"));
    hasEnded = true;
  });
  std::this_thread::sleep_for(500ms);
  EXPECT_FALSE(hasEnded);
  stop.raise();
  sending.join();
  EXPECT_EQ(received, body.substr(0, 10));
}

TEST_F(BodySenderTest, SendsSlowly) {
  const auto begin = Clock::now();
  EXPECT_TRUE(send("slow:1000", 0, 500));
  EXPECT_EQ(received, body.substr(0, 500));
  EXPECT_GE(Clock::now() - begin, 400ms);
}

TEST_F(BodySenderTest, EndsWhenItIsStoppedOrTheClientTakesNoMore) {
  takesMore = false;
  EXPECT_FALSE(send("none"));
  received.clear();
  takesMore = true;
  stop.raise();
  EXPECT_FALSE(send("none"));
  EXPECT_EQ(received, "");
}

}  // namespace
}  // namespace zuvia::zuserve
