#pragma once

#include <string>

namespace zuvia::zuserve {

// What a request says about where it comes from: the address of the other end, and headers, empty where there are none.
struct RequestSource {
  std::string peer;
  std::string host;
  std::string origin;
  std::string fetchSite;
};

// Another page in the user's browser must learn and change nothing here, whatever name it gives to this machine. Each
// of these returns why a request is refused; empty when it is not.

// For the page itself.
std::string whyNotShow(const RequestSource& source);
// For what the page shows.
std::string whyNotRead(const RequestSource& source);
// For what changes settings: this machine only.
std::string whyNotChange(const RequestSource& source);

// Whether a text is an IPv4 address.
bool isAddress(const std::string& text);

// Whether this is the type of a JSON body, which a form of another page cannot send.
bool isJsonType(const std::string& contentType);

}  // namespace zuvia::zuserve
