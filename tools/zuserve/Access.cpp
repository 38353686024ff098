#include "zuserve/Access.h"

#include <winsock2.h>
#include <ws2tcpip.h>

namespace zuvia::zuserve {
namespace {

constexpr const char* kLocalName = "localhost";

bool isLoopback(const std::string& address) {
  return isAddress(address) && address.starts_with("127.");
}

std::string withoutPort(const std::string& host) {
  return host.substr(0, host.find(':'));
}

}  // namespace

// Any other name may be one that a stranger has led here.
std::string whyNotShow(const RequestSource& source) {
  const std::string name = withoutPort(source.host);
  return name == kLocalName || isAddress(name) ? "" : "ask for it by address or as localhost";
}

std::string whyNotRead(const RequestSource& source) {
  const bool isOwn = source.origin.empty() || source.origin == "https://" + source.host;
  const bool isSame = source.fetchSite.empty() || source.fetchSite == "same-origin" || source.fetchSite == "none";
  return isOwn && isSame ? whyNotShow(source) : "not for other pages";
}

std::string whyNotChange(const RequestSource& source) {
  const std::string name = withoutPort(source.host);
  if (!isLoopback(source.peer)) return "settings change from the machine that serves only";
  if (name != kLocalName && !isLoopback(name)) return "ask for it as localhost";
  return whyNotRead(source);
}

bool isAddress(const std::string& text) {
  in_addr address{};
  return inet_pton(AF_INET, text.c_str(), &address) == 1;
}

bool isJsonType(const std::string& contentType) {
  const std::string type = contentType.substr(0, contentType.find(';'));
  return type.substr(0, type.find(' ')) == "application/json";
}

}  // namespace zuvia::zuserve
