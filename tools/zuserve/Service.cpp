#include "zuserve/Service.h"

#include <array>
#include <atomic>
#include <thread>
#include <utility>

#include <httplib.h>

#include "shared/CommandLine.h"
#include "shared/SystemError.h"
#include "shared/Utf8.h"
#include "tls/ServerContext.h"
#include "zuserve/ConfigExchange.h"
#include "zuserve/Offer.h"
#include "zuserve/RequestLine.h"

namespace zuvia::zuserve {
namespace {

constexpr const char* kAddress = "127.0.0.1";
constexpr std::size_t kMaxRequestBytes = 64 * 1024;
constexpr std::size_t kChunkBytes = 64 * 1024;
constexpr time_t kKeepAliveSeconds = 1;  // an idle connection delays the end by no more
constexpr auto kStartPoll = std::chrono::milliseconds(1);

// What is to be printed about the request that this thread answers; a request stays on its thread.
thread_local RequestRecord current;

// Without it a second program could listen on the same port, and clients would meet either.
void claimPort(socket_t socket) {
  const BOOL on = TRUE;
  setsockopt(socket, SOL_SOCKET, SO_EXCLUSIVEADDRUSE, reinterpret_cast<const char*>(&on), sizeof on);
}

std::string bindErrorText(int code) {
  if (code == WSAEADDRINUSE) return "the port is in use";
  return code == WSAEACCES ? "the port is reserved" : tools::systemErrorText(static_cast<std::uint32_t>(code));
}

std::string joined(const std::vector<std::string>& texts) {
  std::string result;
  for (const std::string& text : texts) result += (result.empty() ? "" : "; ") + text;
  return result;
}

std::string describe(const httplib::Request& request, const ConfigRequest& body, const Offer& offer) {
  std::string detail = field("uid", request.get_header_value("uid")) + field("version", body.version) +
                       field("hostver", body.hostver) + field("hitseq", body.hitseq) +
                       field("osVersion", body.osVersion) + field("answer", offer.entry ? offer.entry->ver : "nothing");
  if (!offer.skipped.empty()) detail += field("skipped", joined(offer.skipped));
  return detail;
}

}  // namespace

struct Service::Private {
  Private(Site servedSite, const tls::Certificate& certificate, std::function<void(const std::string&)> printLine)
      : site(std::move(servedSite)), print(std::move(printLine)), server([&](SSL_CTX& context) {
          tls::useCertificate(context, certificate);
          return true;
        }) {
    server.set_address_family(AF_INET);
    server.set_socket_options(claimPort);
    server.set_keep_alive_timeout(kKeepAliveSeconds);
    server.set_payload_max_length(kMaxRequestBytes);
    server.set_default_headers({{"Cache-Control", "no-cache"}, {"X-Content-Type-Options", "nosniff"}});
    setHandlers();
  }

  void setHandlers();
  void answerConfiguration(const httplib::Request& request, httplib::Response& response) const;
  httplib::Server::HandlerResponse answerFile(const httplib::Request& request, httplib::Response& response);
  bool sendPart(const SiteFile& file, std::size_t offset, std::size_t length, httplib::DataSink& sink) const;
  bool isWhole(const httplib::Request& request, const httplib::Response& response) const;
  void printRequest(const httplib::Request& request, const httplib::Response& response) const;

  const Site site;
  const std::function<void(const std::string&)> print;
  httplib::SSLServer server;
  std::atomic<bool> isStopping = false;
  std::atomic<bool> hasEnded = false;
};

void Service::Private::setHandlers() {
  // Files are answered here and not by a route: a route is a regular expression, which a path of many
  // kilobytes would drive through the stack.
  server.set_pre_routing_handler([this](const auto& request, auto& response) { return answerFile(request, response); });
  server.Post(kConfigPath, [this](const auto& request, auto& response) { answerConfiguration(request, response); });
  server.set_logger([this](const auto& request, const auto& response) { printRequest(request, response); });
  server.set_exception_handler([](const auto&, auto& response, std::exception_ptr failure) {
    response.status = 500;
    try {
      std::rethrow_exception(std::move(failure));
    } catch (const std::exception& error) {
      current.detail = field("error", error.what());
    } catch (...) {
      current.detail = field("error", "unknown");
    }
  });
}

void Service::Private::answerConfiguration(const httplib::Request& request, httplib::Response& response) const {
  const std::optional<ConfigRequest> body = parseConfigRequest(request.body);
  if (!body) {
    response.status = 400;
    response.set_content("not a configuration request\n", "text/plain");
    current.detail = field("uid", request.get_header_value("uid")) + field("answer", "bad request");
    return;
  }
  const Offer offer = readOffer(site);
  response.set_content(configAnswer(offer.entry), "application/json");
  current.detail = describe(request, *body, offer);
}

httplib::Server::HandlerResponse Service::Private::answerFile(const httplib::Request& request,
                                                              httplib::Response& response) {
  using httplib::Server;
  current = {};
  if (request.method != "GET" && request.method != "HEAD") return Server::HandlerResponse::Unhandled;
  const auto file = std::make_shared<const std::optional<SiteFile>>(site.open(request.path));
  const std::string type = contentTypeOf(request.path);
  if (!*file) {
    response.status = 404;
    response.set_content("not found\n", "text/plain");
  } else if ((*file)->size() == 0) {
    response.set_content("", type);
  } else {
    response.set_content_provider(static_cast<std::size_t>((*file)->size()), type,
                                  [this, file](std::size_t offset, std::size_t length, httplib::DataSink& sink) {
                                    return sendPart(**file, offset, length, sink);
                                  });
  }
  return Server::HandlerResponse::Handled;
}

bool Service::Private::sendPart(const SiteFile& file, std::size_t offset, std::size_t length,
                                httplib::DataSink& sink) const {
  std::array<char, kChunkBytes> buffer;
  const std::size_t count =
      isStopping ? 0 : file.read(offset, std::span(buffer).first(std::min(length, buffer.size())));
  if (count == 0 || !sink.write(buffer.data(), count)) return false;
  current.bytes += count;
  return true;
}

// A transfer that stop() ended counts as a success for the server.
bool Service::Private::isWhole(const httplib::Request& request, const httplib::Response& response) const {
  if (response.content_provider_ == nullptr || request.method == "HEAD") return true;
  const bool isEnded = isStopping && current.bytes < response.get_header_value<std::uint64_t>("Content-Length");
  return response.content_provider_success_ && !isEnded;
}

void Service::Private::printRequest(const httplib::Request& request, const httplib::Response& response) const {
  if (!isWhole(request, response)) current.detail += field("transfer", "incomplete");
  RequestRecord record = std::exchange(current, {});
  record.method = request.method;
  record.target = request.target;
  record.status = response.status;
  if (response.content_provider_ == nullptr && request.method != "HEAD") record.bytes = response.body.size();
  print(requestLine(std::chrono::system_clock::now(), record));
}

Service::Service(Site site, const tls::Certificate& certificate, std::function<void(const std::string&)> print)
    : m(std::make_unique<Private>(std::move(site), certificate, std::move(print))) {}

Service::~Service() = default;

int Service::bind(int port) {
  const int bound =
      port == 0 ? m->server.bind_to_any_port(kAddress) : (m->server.bind_to_port(kAddress, port) ? port : -1);
  if (bound >= 0) return bound;
  throw tools::Failure("cannot listen on " + std::string(kAddress) + ":" + std::to_string(port) + ": " +
                       bindErrorText(WSAGetLastError()));
}

void Service::run() {
  const bool ended = m->isStopping || m->server.listen_after_bind();
  m->hasEnded = true;
  if (!ended && !m->isStopping) throw tools::Failure("the system ended the listening");
}

void Service::stop() {
  if (m->isStopping.exchange(true)) return;
  // The server only takes notice while it runs; run() may just be about to start it.
  while (!m->server.is_running() && !m->hasEnded) std::this_thread::sleep_for(kStartPoll);
  m->server.stop();
}

}  // namespace zuvia::zuserve
