#pragma once

#include <atomic>
#include <memory>
#include <string>

#include "zuserve/Journal.h"
#include "zuserve/Settings.h"
#include "zuserve/Site.h"

namespace httplib {
struct Request;
struct Response;
}  // namespace httplib

namespace zuvia::zuserve {

inline constexpr const char* kSettingsPath = "/api/settings";

// The page at the root of the service, and what it asks for: what is offered, to whom, and the requests as they come
// in. Any thread. Site, settings and journal must outlive it.
class Panel {
 public:
  Panel(const Site& site, SharedSettings& settings, Journal& journal)
      : site_(site), settings_(settings), journal_(journal) {}

  // Whether it answers what is asked for at a path, instead of the site.
  static bool isPath(const std::string& path);

  // Answers a GET or HEAD of such a path.
  void answer(const httplib::Request& request, httplib::Response& response);

  // Answers a POST to kSettingsPath. Returns what there is to print about it.
  std::string change(const httplib::Request& request, httplib::Response& response);

 private:
  struct Stream;

  std::string stateText(const std::string& readOnly) const;
  void answerState(const httplib::Request& request, httplib::Response& response) const;
  void answerEvents(const httplib::Request& request, httplib::Response& response);
  std::string nextEvents(Stream& stream) const;

  const Site& site_;
  SharedSettings& settings_;
  Journal& journal_;
  const std::shared_ptr<std::atomic<int>> streams_ = std::make_shared<std::atomic<int>>(0);
};

}  // namespace zuvia::zuserve
