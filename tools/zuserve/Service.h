#pragma once

#include <functional>
#include <memory>
#include <string>

#include "tls/DevCa.h"
#include "zuserve/Settings.h"
#include "zuserve/Site.h"

namespace zuvia::zuserve {

inline constexpr const char* kLoopbackAddress = "127.0.0.1";

// The HTTPS service: the files of a site, the configuration request answered with what the site offers at that moment
// to those whom the settings choose, and a page that shows both and changes the settings.
class Service {
 public:
  // print receives one line per answered request, without line end; it is called by several threads at once.
  // Throws std::runtime_error when the certificate cannot be used.
  Service(Site site, const tls::Certificate& certificate, std::function<void(const std::string&)> print,
          const Settings& settings = {});
  ~Service();

  // Takes the port, 0 for any that is free, at an IPv4 address of this machine, and returns it: from now on clients can
  // connect. Throws tools::Failure when it cannot be had. Once, before run().
  int bind(int port, const std::string& address = kLoopbackAddress);

  // Serves until stop(); returns when every request has ended. Throws tools::Failure when the
  // system ends the listening.
  void run();

  // Lets run() return: ends transfers where they stand. Any thread, any number of times, before run() too.
  void stop();

 private:
  struct Private;
  std::unique_ptr<Private> m;
};

}  // namespace zuvia::zuserve
