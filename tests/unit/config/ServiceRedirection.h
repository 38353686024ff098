#pragma once

#include <winsock2.h>
#include <ws2tcpip.h>

#include <string>
#include <string_view>

#include "support/ImportHook.h"

namespace zuvia::test {

// Leads this program's connections to the configuration services to a port of this machine.
class ServiceRedirection {
 public:
  explicit ServiceRedirection(unsigned short port) : port_(port) {}

 private:
  static constexpr std::string_view kProductionName = "config.zuvia.example";
  static HMODULE self() { return GetModuleHandleW(nullptr); }
  static bool isServicePort(unsigned short port) { return port == 443 || port == 18443; }

  static int resolve(decltype(getaddrinfo)* original, const char* name, const char* service, const addrinfo* hints,
                     addrinfo** result) {
    const bool production = name != nullptr && name == kProductionName;
    return original(production ? "127.0.0.1" : name, service, hints, result);
  }

  int lead(decltype(connect)* original, SOCKET socket, const sockaddr* address, int size) const {
    sockaddr_in target = *reinterpret_cast<const sockaddr_in*>(address);
    if (!isServicePort(ntohs(target.sin_port))) return original(socket, address, size);
    if (target.sin_family != AF_INET) {  // the servers of tests listen on 127.0.0.1 only
      WSASetLastError(WSAECONNREFUSED);
      return SOCKET_ERROR;
    }
    target.sin_port = htons(port_);
    return original(socket, reinterpret_cast<const sockaddr*>(&target), size);
  }

  const unsigned short port_;
  ImportHook<decltype(getaddrinfo)> resolve_{self(), "getaddrinfo", &ServiceRedirection::resolve};
  ImportHook<decltype(connect)> connect_{self(), "connect",
                                         [this](auto* original, auto... args) { return lead(original, args...); }};
};

}  // namespace zuvia::test
