#include "support/TestServer.h"

#include <gtest/gtest.h>
#include <openssl/ssl.h>
#include <tls/DevCa.h>
#include <tls/ServerContext.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <deque>
#include <list>
#include <mutex>
#include <stdexcept>
#include <string_view>
#include <thread>

#include "support/Sockets.h"

namespace zuvia::test {
namespace {

struct FreeTlsContext {
  void operator()(SSL_CTX* context) const { SSL_CTX_free(context); }
};
using TlsContext = std::unique_ptr<SSL_CTX, FreeTlsContext>;

TlsContext makeTlsContext(const tls::Certificate& certificate) {
  TlsContext context(SSL_CTX_new(TLS_server_method()));
  if (context == nullptr) throw std::runtime_error("SSL_CTX_new failed");
  tls::useCertificate(*context, certificate);
  SSL_CTX_set_mode(context.get(), SSL_MODE_ENABLE_PARTIAL_WRITE | SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER);
  return context;
}

tls::Certificate issueFor(const tls::DevCa& authority, const TestServerOptions& options) {
  tls::IssueOptions wanted;
  wanted.dnsNames = options.names;
  if (options.expired) wanted.validity = {-3 * tls::kSecondsPerDay, -tls::kSecondsPerDay};
  return authority.issue(wanted);
}

std::string_view takeLine(std::string_view& text) {
  const std::size_t end = text.find("\r\n");
  const std::string_view line = text.substr(0, end);
  text.remove_prefix(end == std::string_view::npos ? text.size() : end + 2);
  return line;
}

void parseHead(std::string_view head, Request& request) {
  const std::string_view start = takeLine(head);
  const std::size_t blank = start.find(' ');
  request.method = start.substr(0, blank);
  request.target = start.substr(blank + 1, start.rfind(' ') - blank - 1);
  while (!head.empty()) {
    const std::string_view line = takeLine(head);
    const std::size_t colon = line.find(':');
    if (colon == std::string_view::npos) continue;
    const std::size_t value = std::min(line.find_first_not_of(' ', colon + 1), line.size());
    request.headers.emplace_back(line.substr(0, colon), line.substr(value));
  }
}

// A client that waits to be asked for a long body is asked for it.
bool receiveBody(Connection& connection, Request& request) {
  const std::size_t length = std::stoul(request.header("Content-Length").value_or("0"));
  if (request.header("Expect") && !connection.send("HTTP/1.1 100 Continue\r\n\r\n")) return false;
  while (request.body.size() < length) {
    if (!connection.receive(request.body)) return false;
  }
  return true;
}

bool receiveRequest(Connection& connection, Request& request) {
  std::string text;
  std::size_t end = std::string::npos;
  while ((end = text.find("\r\n\r\n")) == std::string::npos) {
    if (!connection.receive(text)) return false;
  }
  parseHead(std::string_view(text).substr(0, end), request);
  request.body = text.substr(end + 4);
  if (!receiveBody(connection, request)) return false;
  request.tls = connection.isTls();
  request.time = std::chrono::steady_clock::now();
  return true;
}

}  // namespace

Answer Answer::respond(int status, std::string body, Headers headers) {
  Answer answer;
  answer.status_ = status;
  answer.size_ = body.size();
  answer.body_ = std::move(body);
  answer.headers_ = std::move(headers);
  return answer;
}

Answer Answer::redirect(int status, const std::string& location) {
  return respond(status, {}, {{"Location", location}});
}

Answer Answer::oversize(std::uint64_t bodySize) {
  Answer answer;
  answer.size_ = bodySize;
  return answer;
}

Answer&& Answer::declareLength(std::uint64_t length) && {
  length_ = Length::Declared;
  declared_ = length;
  return std::move(*this);
}

Answer&& Answer::withoutLength() && {
  length_ = Length::None;
  return std::move(*this);
}

Answer&& Answer::chunked() && {
  length_ = Length::Chunked;
  return std::move(*this);
}

Answer&& Answer::stallAfter(std::uint64_t bytes) && {
  end_ = End::Stall;
  endAfter_ = bytes;
  return std::move(*this);
}

Answer&& Answer::stallBeforeHeaders() && {
  silent_ = true;
  return std::move(*this);
}

Answer&& Answer::cutAfter(std::uint64_t bytes) && {
  end_ = End::Cut;
  endAfter_ = bytes;
  return std::move(*this);
}

Answer&& Answer::closeAfter(std::uint64_t bytes) && {
  end_ = End::Close;
  endAfter_ = bytes;
  return std::move(*this);
}

Answer&& Answer::drip(unsigned bytesPerSecond) && {
  bytesPerSecond_ = bytesPerSecond;
  return std::move(*this);
}

std::optional<std::string> Request::header(const std::string& name) const {
  for (const auto& [key, value] : headers) {
    if (_stricmp(key.c_str(), name.c_str()) == 0) return value;
  }
  return std::nullopt;
}

// Sends one answer over one connection.
class Responder {
 public:
  Responder(const Answer& answer, Connection& connection, std::stop_token stop)
      : answer_(answer), connection_(connection), stop_(std::move(stop)) {}

  void run() {
    if (answer_.silent_) return connection_.waitForClientToLeave();
    if (connection_.send(head()) && sendBody()) end();
  }

 private:
  static constexpr std::uint64_t kPieceSize = 65536;

  std::string head() const {
    std::string text = "HTTP/1.1 " + std::to_string(answer_.status_) + " Test\r\n";
    for (const auto& [name, value] : answer_.headers_) text += name + ": " + value + "\r\n";
    return text + length() + "Connection: close\r\n\r\n";
  }

  std::string length() const {
    switch (answer_.length_) {
      case Answer::Length::True:
        return "Content-Length: " + std::to_string(answer_.size_) + "\r\n";
      case Answer::Length::Declared:
        return "Content-Length: " + std::to_string(answer_.declared_) + "\r\n";
      case Answer::Length::Chunked:
        return "Transfer-Encoding: chunked\r\n";
      case Answer::Length::None:
        break;
    }
    return {};
  }

  bool sendBody() {
    const bool whole = answer_.end_ == Answer::End::Whole;
    const std::uint64_t end = whole ? answer_.size_ : std::min(answer_.endAfter_, answer_.size_);
    for (std::uint64_t sent = 0; sent < end;) {
      const std::string next = piece(sent, std::min(end - sent, pieceSize()));
      if (!sendPiece(next)) return false;
      sent += next.size();
      if (!pause(next.size())) return false;
    }
    const bool lastChunk = whole && answer_.length_ == Answer::Length::Chunked;
    return !lastChunk || connection_.send("0\r\n\r\n");
  }

  std::uint64_t pieceSize() const {
    const std::uint64_t tenth = std::max(answer_.bytesPerSecond_ / 10, 1u);
    return answer_.bytesPerSecond_ == 0 ? kPieceSize : tenth;
  }

  std::string piece(std::uint64_t offset, std::uint64_t size) const {
    const std::string& body = answer_.body_;
    std::string text = offset < body.size() ? body.substr(offset, size) : std::string();
    text.resize(size, '\0');
    return text;
  }

  bool sendPiece(const std::string& text) {
    if (answer_.length_ != Answer::Length::Chunked) return connection_.send(text);
    std::string size(16, '\0');
    size.resize(static_cast<std::size_t>(snprintf(size.data(), size.size(), "%zx\r\n", text.size())));
    return connection_.send(size + text + "\r\n");
  }

  // Waits as long as the speed demands. Returns false when the server stops.
  bool pause(std::size_t bytes) {
    if (answer_.bytesPerSecond_ == 0) return true;
    const std::chrono::duration<double> time(static_cast<double>(bytes) / answer_.bytesPerSecond_);
    std::mutex mutex;
    std::unique_lock lock(mutex);
    std::condition_variable_any().wait_for(lock, stop_, time, [] { return false; });
    return !stop_.stop_requested();
  }

  void end() {
    switch (answer_.end_) {
      case Answer::End::Stall:
        return connection_.waitForClientToLeave();
      case Answer::End::Cut:
        return;
      case Answer::End::Whole:
      case Answer::End::Close:
        return connection_.closePolitely();
    }
  }

  const Answer& answer_;
  Connection& connection_;
  std::stop_token stop_;
};

struct TestServer::Private {
  struct Expectation {
    std::string method;
    std::string target;
    Answer answer;

    bool matches(const Request& request) const { return request.method == method && request.target == target; }
    std::string text() const { return method + ' ' + target; }
  };

  struct Worker {
    std::jthread thread;
    std::shared_ptr<std::atomic<bool>> done;
  };

  explicit Private(const TestServerOptions& chosen)
      : options(chosen),
        authority(tls::DevCa::create("zuvia test authority")),
        context(makeTlsContext(issueFor(authority, chosen))),
        listener(listenOnLoopback()),
        port(portOf(listener)) {
    startAccepting();
  }

  // Nothing runs when the members go.
  ~Private() { stopAccepting(); }

  void startAccepting() {
    acceptor = std::jthread([this](const std::stop_token& stop) { acceptAll(stop); });
  }

  // The acceptor ends its workers.
  void stopAccepting() {
    acceptor.request_stop();
    if (acceptor.joinable()) acceptor.join();
  }

  void acceptAll(const std::stop_token& stop) {
    std::list<Worker> workers;
    while (!stop.stop_requested()) {
      if (acceptable()) workers.push_back(startWorker(Socket(accept(listener.get(), nullptr, nullptr))));
      workers.remove_if([](const Worker& worker) { return worker.done->load(); });
    }
    for (Worker& worker : workers) worker.thread.request_stop();
  }

  // Waits for one slice only, so that ended workers are let go of soon.
  bool acceptable() const {
    fd_set sockets;
    FD_ZERO(&sockets);
    FD_SET(listener.get(), &sockets);
    timeval slice{0, 50000};
    return select(0, &sockets, nullptr, nullptr, &slice) > 0;
  }

  Worker startWorker(Socket socket) {
    auto done = std::make_shared<std::atomic<bool>>(false);
    auto work = [this, done, client = std::move(socket)](const std::stop_token& stop) mutable {
      handle(std::move(client), stop);
      OPENSSL_thread_stop();  // linked statically, it does not see that the thread ends
      *done = true;
    };
    return {std::jthread(std::move(work)), done};
  }

  void handle(Socket client, const std::stop_token& stop) {
    Connection connection(std::move(client), stop);
    if (takeSilence()) return connection.waitForClientToLeave();
    if (const std::optional<std::string> text = takePlainText()) return answerInTheClear(connection, *text);
    if (connection.beginsWithTls() && !connection.startTls(context.get())) {
      ++failedHandshakes;
      return;
    }
    Request request;
    if (!receiveRequest(connection, request)) return;
    const Answer answer = answerFor(request);
    Responder(answer, connection, stop).run();
  }

  bool takeSilence() {
    const std::lock_guard lock(mutex);
    ++connections;
    if (silences == 0) return false;
    --silences;
    return true;
  }

  std::optional<std::string> takePlainText() {
    const std::lock_guard lock(mutex);
    if (plainTexts.empty()) return std::nullopt;
    std::string text = std::move(plainTexts.front());
    plainTexts.pop_front();
    return text;
  }

  static void answerInTheClear(Connection& connection, const std::string& text) {
    std::string greeting;
    if (connection.receive(greeting) && connection.send(text)) connection.closePolitely();
  }

  Answer answerFor(const Request& request) {
    const std::lock_guard lock(mutex);
    requests.push_back(request);
    arrived.notify_all();
    const auto sameRequest = [&](const Expectation& expectation) { return expectation.matches(request); };
    const auto next = std::find_if(expected.begin(), expected.end(), sameRequest);
    if (next != expected.end() && (options.inAnyOrder || next == expected.begin())) {
      Answer answer = std::move(next->answer);
      expected.erase(next);
      return answer;
    }
    const auto standing = std::find_if(served.begin(), served.end(), sameRequest);
    if (standing != served.end()) return standing->answer;
    unexpected.push_back(request.method + ' ' + request.target);
    return Answer::respond(500, "This request was not expected.");
  }

  const TestServerOptions options;
  const SocketLibrary library;
  const tls::DevCa authority;
  const TlsContext context;
  Socket listener;
  const unsigned short port;

  mutable std::mutex mutex;  // guards what follows, except the atomic
  mutable std::condition_variable arrived;
  std::deque<Expectation> expected;
  std::vector<Expectation> served;
  std::vector<Request> requests;
  std::vector<std::string> unexpected;
  unsigned connections = 0;
  unsigned silences = 0;
  std::deque<std::string> plainTexts;  // for connections that get no TLS
  std::atomic<unsigned> failedHandshakes = 0;

  std::jthread acceptor;
};

TestServer::TestServer(const TestServerOptions& options) : m(std::make_unique<Private>(options)) {}

TestServer::~TestServer() {
  m->acceptor.request_stop();
  verify();
}

unsigned short TestServer::port() const {
  return m->port;
}

std::string TestServer::url(const std::string& path) const {
  return "https://localhost:" + std::to_string(port()) + path;
}

const std::string& TestServer::rootPem() const {
  return m->authority.root().certificatePem;
}

void TestServer::expect(const std::string& method, const std::string& target, Answer answer) {
  const std::lock_guard lock(m->mutex);
  m->expected.push_back({method, target, std::move(answer)});
}

void TestServer::serve(const std::string& method, const std::string& target, Answer answer) {
  const std::lock_guard lock(m->mutex);
  std::erase_if(m->served, [&](const auto& known) { return known.method == method && known.target == target; });
  m->served.push_back({method, target, std::move(answer)});
}

void TestServer::close() {
  m->stopAccepting();
  m->listener.reset();
}

void TestServer::reopen() {
  m->listener = listenOnLoopback(m->port);
  m->startAccepting();
}

void TestServer::acceptInSilence(unsigned connections) {
  const std::lock_guard lock(m->mutex);
  m->silences += connections;
}

void TestServer::answerWithoutTls(std::string text) {
  const std::lock_guard lock(m->mutex);
  m->plainTexts.push_back(std::move(text));
}

std::vector<Request> TestServer::requests() const {
  const std::lock_guard lock(m->mutex);
  return m->requests;
}

unsigned TestServer::connections() const {
  const std::lock_guard lock(m->mutex);
  return m->connections;
}

unsigned TestServer::failedHandshakes() const {
  return m->failedHandshakes;
}

bool TestServer::waitForRequests(std::size_t count, unsigned milliseconds) const {
  std::unique_lock lock(m->mutex);
  return m->arrived.wait_for(lock, std::chrono::milliseconds(milliseconds),
                             [&] { return m->requests.size() >= count; });
}

void TestServer::verify() {
  const std::lock_guard lock(m->mutex);
  for (const std::string& request : m->unexpected) ADD_FAILURE() << "Unexpected request: " << request;
  for (const Private::Expectation& expectation : m->expected)
    ADD_FAILURE() << "Expected, but not requested: " << expectation.text();
  m->unexpected.clear();
  m->expected.clear();
}

}  // namespace zuvia::test
