#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

// An HTTPS server for tests, in process, on 127.0.0.1 at a port of its own. It is strict: a request that is
// not expected, and an expectation that is not met, fail the test. What it answers is exact to the byte.
//
//   TestServer server;
//   const TrustedRoot trusted(server.rootPem());
//   server.expect("POST", "/configs/pc/post", Answer::respond(200, configuration));
//   server.expect("GET", "/package.7z", Answer::respond(200, package).cutAfter(package.size() / 2));

namespace zuvia::test {

using Headers = std::vector<std::pair<std::string, std::string>>;

// What is sent back, and how. Byte counts are of the body, before chunks are made of it.
class Answer {
 public:
  static Answer respond(int status, std::string body = {}, Headers headers = {});

  // status: 301, 302, 303, 307 or 308. location: as it is to be sent.
  static Answer redirect(int status, const std::string& location);

  // A body of so many zero bytes, not held in memory.
  static Answer oversize(std::uint64_t bodySize);

  // Content-Length says this, whatever the body is.
  Answer&& declareLength(std::uint64_t length) &&;

  // No Content-Length; the body ends with the connection.
  Answer&& withoutLength() &&;

  // Sends the body in chunks; without Content-Length.
  Answer&& chunked() &&;

  // Sends so many bytes of the body and then nothing, until the client leaves. 0: silence after the headers.
  Answer&& stallAfter(std::uint64_t bytes) &&;

  // Reads the request and sends nothing, not even a status, until the client leaves.
  Answer&& stallBeforeHeaders() &&;

  // Sends so many bytes of the body and ends the connection without a word, as a broken one ends.
  Answer&& cutAfter(std::uint64_t bytes) &&;

  // Sends so many bytes of the body and ends the connection in order.
  Answer&& closeAfter(std::uint64_t bytes) &&;

  // Sends the body at this speed, one byte at a time up to 10 a second.
  Answer&& drip(unsigned bytesPerSecond) &&;

 private:
  friend class TestServer;
  friend class Responder;

  enum class Length { True, Declared, None, Chunked };
  enum class End { Whole, Stall, Cut, Close };

  int status_ = 200;
  Headers headers_;
  std::string body_;
  std::uint64_t size_ = 0;  // of the body; beyond body_ it is zero bytes
  Length length_ = Length::True;
  std::uint64_t declared_ = 0;
  End end_ = End::Whole;
  std::uint64_t endAfter_ = 0;
  bool silent_ = false;
  unsigned bytesPerSecond_ = 0;  // 0: as fast as it goes
};

// A request as it came.
struct Request {
  std::string method;
  std::string target;  // path and query
  Headers headers;     // in the order and spelling in which they came
  std::string body;
  bool tls = false;
  std::chrono::steady_clock::time_point time;  // when it was complete

  // The value of the first header of that name, without regard to letter case; none: nothing.
  std::optional<std::string> header(const std::string& name) const;
};

struct TestServerOptions {
  // What the certificate is valid for. The names of the configuration services are among them.
  std::vector<std::string> names = {"localhost", "config.zuvia.example"};
  bool expired = false;     // the certificate was valid until yesterday
  bool inAnyOrder = false;  // expectations are met in any order; else in the order of their making
};

// All operations: any thread, except that close(), reopen(), verify() and the destructor belong to the thread of the
// test.
class TestServer {
 public:
  // Starts it, with a certificate from an authority of its own, which nobody trusts yet.
  explicit TestServer(const TestServerOptions& options = {});

  // Stops at once, whatever clients do, and verifies.
  ~TestServer();

  TestServer(const TestServer&) = delete;
  TestServer& operator=(const TestServer&) = delete;

  unsigned short port() const;

  // "https://localhost:PORT" followed by the path, which begins with "/".
  std::string url(const std::string& path) const;

  // The root certificate of the server's authority, as PEM, for TrustedRoot.
  const std::string& rootPem() const;

  // Expects one such request and answers it. method, target: compared exactly.
  void expect(const std::string& method, const std::string& target, Answer answer);

  // Answers such requests whenever they come, and also when none does. Expectations go first. What was served to the
  // same requests before is replaced.
  void serve(const std::string& method, const std::string& target, Answer answer);

  // The next so many connections are accepted and get no answer at all, not even to their TLS greeting.
  void acceptInSilence(unsigned connections = 1);

  // The next connection is accepted and, once its TLS greeting has come, sent this text in the clear and ended in
  // order. "": it is ended at once. Silence goes first.
  void answerWithoutTls(std::string text);

  // Stops at once, whatever clients do, as a service that goes down: connections to the port are refused. What it
  // knows stays.
  void close();

  // Goes on at the same port after close().
  void reopen();

  // The requests so far, unexpected ones included.
  std::vector<Request> requests() const;

  // How many connections were accepted, and how many of them ended before their TLS handshake did.
  unsigned connections() const;
  unsigned failedHandshakes() const;

  // Waits until so many requests have come. Returns whether they came within that time.
  bool waitForRequests(std::size_t count, unsigned milliseconds = 10000) const;

  // Fails the test for each request that was not expected and each expectation that was not met so far, and
  // forgets them.
  void verify();

 private:
  struct Private;
  std::unique_ptr<Private> m;
};

}  // namespace zuvia::test
