#include "zuserve/Service.h"

#include <atomic>
#include <thread>
#include <utility>

#include <httplib.h>

#include "shared/CommandLine.h"
#include "shared/ConfigAnswer.h"
#include "shared/SystemError.h"
#include "shared/Utf8.h"
#include "tls/ServerContext.h"
#include "zuserve/BodySender.h"
#include "zuserve/ConfigRequest.h"
#include "zuserve/Journal.h"
#include "zuserve/Offer.h"
#include "zuserve/Panel.h"
#include "zuserve/RequestLine.h"

namespace zuvia::zuserve {
namespace {

using std::chrono::system_clock;

constexpr std::size_t kMaxRequestBytes = 64 * 1024;
constexpr std::size_t kThreads = 32;     // transfers that stall and open pages take one each
constexpr time_t kKeepAliveSeconds = 1;  // an idle connection delays the end by no more
constexpr const char* kSending = "sending";
constexpr auto kStartPoll = std::chrono::milliseconds(1);

// What is to be said about the request that a thread answers.
struct Current {
  RequestRecord record;
  JournalRow row;
  Journal::Id rowId = 0;  // once it is in the journal
  bool isPanel = false;
  std::shared_ptr<BodySender> body;  // what is sent piece by piece
};

// A request stays on its thread.
thread_local Current current;

// Without it a second program could listen on the same port, and clients would meet either.
void claimPort(socket_t socket) {
  const BOOL on = TRUE;
  setsockopt(socket, SOL_SOCKET, SO_EXCLUSIVEADDRUSE, reinterpret_cast<const char*>(&on), sizeof on);
}

std::string bindErrorText(int code) {
  if (code == WSAEADDRINUSE) return "the port is in use";
  if (code == WSAEADDRNOTAVAIL) return "the address is not one of this machine";
  return code == WSAEACCES ? "the port is reserved" : tools::systemErrorText(static_cast<std::uint32_t>(code));
}

std::string joined(const std::vector<std::string>& texts) {
  std::string result;
  for (const std::string& text : texts) result += (result.empty() ? "" : "; ") + text;
  return result;
}

// Nothing more is to come from a client that waits for an answer: what can be read is its farewell.
bool hasLeft(const SSL* connection) {
  const auto socket = static_cast<SOCKET>(SSL_get_fd(connection));
  fd_set sockets;
  FD_ZERO(&sockets);
  FD_SET(socket, &sockets);
  timeval atOnce{};
  return select(0, &sockets, nullptr, nullptr, &atOnce) != 0;
}

void giveReason(const std::string& reason) {
  current.row.reason += (current.row.reason.empty() ? "" : ", ") + reason;
}

// The answer of a fault that is a status.
void answerStatus(const Fault& fault, httplib::Response& response) {
  response.status = static_cast<int>(*fault.amount);
  response.set_content("on purpose\n", "text/plain");
  current.row.answer = std::to_string(response.status);
}

void noteFault(const Fault& fault) {
  if (fault.kind == Fault::Kind::None) return;
  current.record.detail += field("fault", fault.text());
  giveReason("fault " + fault.text());
}

void describe(const httplib::Request& request, const ConfigRequest& body, const Offer& offer,
              const Decision& decision) {
  const std::string answer = decision.entry ? decision.entry->ver : "nothing";
  const std::string uid = request.get_header_value("uid");
  current.record.detail = field("uid", uid) + field("version", body.version) + field("hostver", body.hostver) +
                          field("hitseq", body.hitseq) + field("osVersion", body.osVersion) + field("answer", answer) +
                          field("why", decision.reason);
  if (!offer.skipped.empty()) current.record.detail += field("skipped", joined(offer.skipped));
  current.row.uid = uid;
  current.row.hostVersion = body.hostver;
  current.row.hitSequence = body.hitseq;
  current.row.system = body.osVersion;
  current.row.answer = answer;
  current.row.reason = decision.reason;
}

}  // namespace

struct Service::Private {
  Private(Site servedSite, const tls::Certificate& certificate, std::function<void(const std::string&)> printLine,
          const Settings& firstSettings)
      : site(std::move(servedSite)),
        print(std::move(printLine)),
        settings(firstSettings),
        server([&](SSL_CTX& context) {
          tls::useCertificate(context, certificate);
          return true;
        }) {
    server.new_task_queue = [] { return new httplib::ThreadPool(kThreads); };
    server.set_address_family(AF_INET);
    server.set_socket_options(claimPort);
    server.set_keep_alive_timeout(kKeepAliveSeconds);
    server.set_payload_max_length(kMaxRequestBytes);
    server.set_default_headers({{"Cache-Control", "no-cache"}, {"X-Content-Type-Options", "nosniff"}});
    setHandlers();
  }

  void setHandlers();
  httplib::Server::HandlerResponse begin(const httplib::Request& request, httplib::Response& response);
  void answerConfiguration(const httplib::Request& request, httplib::Response& response);
  void answerFile(const httplib::Request& request, httplib::Response& response);
  void send(const httplib::Request& request, httplib::Response& response, const std::string& type, std::uint64_t size,
            const Fault& fault, BodySender::Read read);
  bool isWhole(const httplib::Request& request, const httplib::Response& response) const;
  void end(const httplib::Request& request, const httplib::Response& response);
  void keepRow();
  void finishRow(const httplib::Request& request, const RequestRecord& record);

  const Site site;
  const std::function<void(const std::string&)> print;
  SharedSettings settings;
  Journal journal;
  Panel panel{site, settings, journal};
  StopSignal stopSignal;
  httplib::SSLServer server;
  std::atomic<bool> isStopping = false;
  std::atomic<bool> hasEnded = false;
};

void Service::Private::setHandlers() {
  // Files are answered here and not by a route: a route is a regular expression, which a path of many
  // kilobytes would drive through the stack.
  server.set_pre_routing_handler([this](const auto& request, auto& response) { return begin(request, response); });
  server.Post(tools::kConfigurationPath,
              [this](const auto& request, auto& response) { answerConfiguration(request, response); });
  server.Post(kSettingsPath, [this](const auto& request, auto& response) {
    current.record.detail = panel.change(request, response);
    current.row.answer = response.status < 400 ? "changed" : "refused";
    giveReason(response.body.substr(0, response.body.find('\n')));
  });
  server.set_logger([this](const auto& request, const auto& response) { end(request, response); });
  server.set_exception_handler([](const auto&, auto& response, std::exception_ptr failure) {
    response.status = 500;
    try {
      std::rethrow_exception(std::move(failure));
    } catch (const std::exception& error) {
      current.record.detail = field("error", error.what());
    } catch (...) {
      current.record.detail = field("error", "unknown");
    }
  });
}

httplib::Server::HandlerResponse Service::Private::begin(const httplib::Request& request, httplib::Response& response) {
  using httplib::Server;
  current = {};
  current.row.time = system_clock::now();
  current.row.request = request.method + " " + request.target;
  current.isPanel = Panel::isPath(request.path);
  if (request.method != "GET" && request.method != "HEAD") return Server::HandlerResponse::Unhandled;
  if (current.isPanel) {
    panel.answer(request, response);
  } else {
    answerFile(request, response);
  }
  return Server::HandlerResponse::Handled;
}

void Service::Private::answerConfiguration(const httplib::Request& request, httplib::Response& response) {
  const std::optional<ConfigRequest> body = parseConfigRequest(request.body);
  if (!body) {
    response.status = 400;
    response.set_content("not a configuration request\n", "text/plain");
    current.record.detail = field("uid", request.get_header_value("uid")) + field("answer", "bad request");
    current.row.uid = request.get_header_value("uid");
    giveReason("not a configuration request");
    return;
  }
  const Settings now = settings.get();
  const Offer offer = readOffer(site);
  const Decision decision = decide(now, offer, request.get_header_value("uid"), body->hostver);
  describe(request, *body, offer, decision);
  const Fault fault = now.fault.in(Fault::Target::Configuration);
  noteFault(fault);
  if (fault.kind == Fault::Kind::Status) return answerStatus(fault, response);
  const auto answer = std::make_shared<const std::string>(tools::configurationAnswer(decision.entry));
  send(request, response, "application/json", answer->size(), fault,
       [answer](std::uint64_t offset, std::span<char> to) {
         return answer->copy(to.data(), to.size(), static_cast<std::size_t>(offset));
       });
}

void Service::Private::answerFile(const httplib::Request& request, httplib::Response& response) {
  const auto file = std::make_shared<const std::optional<SiteFile>>(site.open(request.path));
  const std::string type = contentTypeOf(request.path);
  const Fault fault = settings.get().fault.in(Fault::Target::File);
  giveReason(*file ? "in the site" : "not in the site");
  if (!*file) {
    response.status = 404;
    response.set_content("not found\n", "text/plain");
    return;
  }
  if (fault.kind != Fault::Kind::BadMd5) noteFault(fault);
  if (fault.kind == Fault::Kind::Status) return answerStatus(fault, response);
  if ((*file)->size() == 0) return response.set_content("", type);
  current.row.answer = kSending;
  send(request, response, type, (*file)->size(), fault,
       [file](std::uint64_t offset, std::span<char> to) { return (*file)->read(offset, to); });
}

void Service::Private::send(const httplib::Request& request, httplib::Response& response, const std::string& type,
                            std::uint64_t size, const Fault& fault, BodySender::Read read) {
  const auto body = std::make_shared<BodySender>(std::move(read), size, fault, stopSignal,
                                                 [connection = request.ssl] { return hasLeft(connection); });
  current.body = body;
  keepRow();
  response.set_content_provider(
      static_cast<std::size_t>(size), type, [body](std::size_t offset, std::size_t length, httplib::DataSink& sink) {
        return body->sendNext(offset, length,
                              [&](std::string_view piece) { return sink.write(piece.data(), piece.size()); });
      });
}

// A transfer that stop() ended counts as a success for the server.
bool Service::Private::isWhole(const httplib::Request& request, const httplib::Response& response) const {
  if (!current.body || request.method == "HEAD") return true;
  const bool isEnded = isStopping && current.body->sent() < response.get_header_value<std::uint64_t>("Content-Length");
  return response.content_provider_success_ && !isEnded;
}

void Service::Private::keepRow() {
  if (current.rowId == 0) {
    current.rowId = journal.add(current.row);
  } else {
    journal.replace(current.rowId, current.row);
  }
}

// What the answer was, unless it was said already.
void Service::Private::finishRow(const httplib::Request& request, const RequestRecord& record) {
  JournalRow& row = current.row;
  if (row.request.empty()) row.request = request.method + " " + request.target;
  if (row.time == system_clock::time_point()) row.time = system_clock::now();
  if (row.answer.empty() || row.answer == kSending) {
    row.answer = std::to_string(record.status) + ", " + std::to_string(record.bytes) + " bytes";
  }
  keepRow();
}

void Service::Private::end(const httplib::Request& request, const httplib::Response& response) {
  if (!isWhole(request, response)) {
    current.record.detail += field("transfer", "incomplete");
    giveReason("incomplete");
  }
  RequestRecord& record = current.record;
  record.method = request.method;
  record.target = request.target;
  record.status = response.status;
  if (request.method != "HEAD") record.bytes = current.body ? current.body->sent() : response.body.size();
  const bool isRoutine = current.isPanel && request.method != "POST" && response.status < 400;
  if (!isRoutine) {
    finishRow(request, record);
    print(requestLine(system_clock::now(), record));
  }
  current = {};
}

Service::Service(Site site, const tls::Certificate& certificate, std::function<void(const std::string&)> print,
                 const Settings& settings)
    : m(std::make_unique<Private>(std::move(site), certificate, std::move(print), settings)) {}

Service::~Service() = default;

int Service::bind(int port, const std::string& address) {
  const int bound =
      port == 0 ? m->server.bind_to_any_port(address) : (m->server.bind_to_port(address, port) ? port : -1);
  if (bound >= 0) return bound;
  throw tools::Failure("cannot listen on " + address + ":" + std::to_string(port) + ": " +
                       bindErrorText(WSAGetLastError()));
}

void Service::run() {
  const bool ended = m->isStopping || m->server.listen_after_bind();
  m->hasEnded = true;
  if (!ended && !m->isStopping) throw tools::Failure("the system ended the listening");
}

void Service::stop() {
  if (m->isStopping.exchange(true)) return;
  m->stopSignal.raise();
  m->journal.close();
  // The server only takes notice while it runs; run() may just be about to start it.
  while (!m->server.is_running() && !m->hasEnded) std::this_thread::sleep_for(kStartPoll);
  m->server.stop();
}

}  // namespace zuvia::zuserve
