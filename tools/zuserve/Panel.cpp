#include "zuserve/Panel.h"

#include <chrono>
#include <utility>

#include <httplib.h>
#include <json/json.h>

#include "shared/CommandLine.h"
#include "shared/Utf8.h"
#include "zuserve/Access.h"
#include "zuserve/Page.h"
#include "zuserve/RequestLine.h"

namespace zuvia::zuserve {
namespace {

constexpr const char* kPagePath = "/";
constexpr const char* kApiPrefix = "/api/";
constexpr const char* kStatePath = "/api/state";
constexpr const char* kEventsPath = "/api/events";
constexpr const char* kJson = "application/json";
constexpr int kMaxStreams = 8;  // each takes a thread
constexpr std::chrono::seconds kLookEvery(1);

RequestSource sourceOf(const httplib::Request& request) {
  return {request.remote_addr, request.get_header_value("Host"), request.get_header_value("Origin"),
          request.get_header_value("Sec-Fetch-Site")};
}

std::string compactText(const Json::Value& value) {
  Json::StreamWriterBuilder writer;
  writer["indentation"] = "";
  writer["precision"] = 6;
  return Json::writeString(writer, value);
}

void fail(httplib::Response& response, int status, const std::string& error) {
  Json::Value value(Json::objectValue);
  value["error"] = tools::printable(error);
  response.status = status;
  response.set_content(compactText(value) + "\n", kJson);
}

std::string event(const char* name, const std::string& data) {
  return std::string("event: ") + name + "\ndata: " + data + "\n\n";
}

Json::Value arrayOf(const std::vector<Json::Value>& values) {
  Json::Value array(Json::arrayValue);
  for (const Json::Value& value : values) array.append(value);
  return array;
}

Json::Value packageValue(const UpdateEntry& entry, bool isNewest) {
  Json::Value value(Json::objectValue);
  value["ver"] = tools::printable(entry.ver);
  value["url"] = tools::printable(entry.url);
  value["pmd5"] = tools::printable(entry.pmd5);
  value["newest"] = isNewest;
  return value;
}

void answerPage(const httplib::Request& request, httplib::Response& response) {
  const std::string refusal = whyNotShow(sourceOf(request));
  if (!refusal.empty()) return fail(response, 403, refusal);
  response.set_header("Content-Security-Policy", pagePolicy());
  response.set_header("Referrer-Policy", "no-referrer");
  response.set_header("Cross-Origin-Opener-Policy", "same-origin");
  response.set_header("Cross-Origin-Resource-Policy", "same-origin");
  response.set_content(pageText().data(), pageText().size(), "text/html; charset=utf-8");
}

}  // namespace

// What one client has been told by events.
struct Panel::Stream {
  explicit Stream(std::shared_ptr<std::atomic<int>> openStreams, std::string whyReadOnly)
      : count(std::move(openStreams)), number(++*count), readOnly(std::move(whyReadOnly)) {}
  Stream(const Stream&) = delete;
  Stream& operator=(const Stream&) = delete;
  ~Stream() { --*count; }

  const std::shared_ptr<std::atomic<int>> count;
  const int number;  // how many there were with it when it began
  const std::string readOnly;
  bool hasBegun = false;
  Journal::Revision revision = 0;
  std::string state;
};

bool Panel::isPath(const std::string& path) {
  return path == kPagePath || path.starts_with(kApiPrefix);
}

std::string Panel::stateText(const std::string& readOnly) const {
  const Offer offer = readOffer(site_);
  Json::Value state(Json::objectValue);
  state["site"] = tools::printable(tools::pathText(site_.directory()));
  state["settings"] = settingsValue(settings_.get());
  state["readOnly"] = readOnly;
  state["packages"] = Json::Value(Json::arrayValue);
  if (offer.entry) state["packages"].append(packageValue(*offer.entry, true));
  for (const UpdateEntry& entry : offer.others) state["packages"].append(packageValue(entry, false));
  state["skipped"] = Json::Value(Json::arrayValue);
  for (const std::string& skipped : offer.skipped) state["skipped"].append(tools::printable(skipped));
  return compactText(state);
}

void Panel::answer(const httplib::Request& request, httplib::Response& response) {
  if (request.path == kPagePath) return answerPage(request, response);
  const std::string refusal = whyNotRead(sourceOf(request));
  if (!refusal.empty()) return fail(response, 403, refusal);
  if (request.path == kStatePath) return answerState(request, response);
  if (request.path == kEventsPath) return answerEvents(request, response);
  if (request.path == kSettingsPath) return fail(response, 405, "settings are read at /api/state and changed by POST");
  fail(response, 404, "not found");
}

void Panel::answerState(const httplib::Request& request, httplib::Response& response) const {
  const std::string state = stateText(whyNotChange(sourceOf(request)));
  const Journal::News news = journal_.newsSince(0, std::chrono::milliseconds(0));
  const std::string requests = compactText(arrayOf(news.rows));
  response.set_content(R"({"state":)" + state + R"(,"requests":)" + requests + "}\n", kJson);
}

void Panel::answerEvents(const httplib::Request& request, httplib::Response& response) {
  const auto stream = std::make_shared<Stream>(streams_, whyNotChange(sourceOf(request)));
  if (stream->number > kMaxStreams) return fail(response, 503, "too many pages are open");
  response.set_chunked_content_provider("text/event-stream", [this, stream](std::size_t, httplib::DataSink& sink) {
    if (journal_.isClosed()) return false;
    const std::string events = nextEvents(*stream);
    return sink.write(events.data(), events.size());
  });
}

// A comment when there is nothing to tell, so that a client that has left is noticed.
std::string Panel::nextEvents(Stream& stream) const {
  std::string events;
  const bool isFirst = !std::exchange(stream.hasBegun, true);
  const Journal::News news = journal_.newsSince(stream.revision, isFirst ? std::chrono::seconds(0) : kLookEvery);
  stream.revision = news.revision;
  const std::string state = stateText(stream.readOnly);
  if (state != stream.state) events += event("state", state);
  stream.state = state;
  if (isFirst || !news.rows.empty()) events += event(isFirst ? "begin" : "requests", compactText(arrayOf(news.rows)));
  return events.empty() ? ":\n\n" : events;
}

std::string Panel::change(const httplib::Request& request, httplib::Response& response) {
  const auto refuse = [&](int status, const std::string& error) {
    fail(response, status, error);
    return field("error", error);
  };
  const std::string refusal = whyNotChange(sourceOf(request));
  if (!refusal.empty()) return refuse(403, refusal);
  if (!isJsonType(request.get_header_value("Content-Type"))) return refuse(415, "send application/json");
  try {
    const std::string settings = compactText(settingsValue(settings_.change(request.body)));
    response.set_content(settings + "\n", kJson);
    return field("settings", settings);
  } catch (const tools::Failure& failure) {
    return refuse(400, failure.what());
  }
}

}  // namespace zuvia::zuserve
