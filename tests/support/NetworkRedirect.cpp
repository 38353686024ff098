#include "support/NetworkRedirect.h"

#include <utility>

namespace zuvia::test {
namespace {

// The address by which an endpoint is known between its look-up and its connection: 127.77.0.index.
std::string stationAddress(std::size_t index) {
  return "127.77.0." + std::to_string(index);
}

constexpr u_long kFirstStation = 0x7F4D0000;

// libcurl knows this name by itself and looks it up nowhere.
bool isLocalName(const std::string& name) {
  return name == "localhost" || name == "127.0.0.1";
}

}  // namespace

NetworkRedirect::NetworkRedirect(HMODULE module, std::vector<Endpoint> endpoints)
    : m_endpoints(std::move(endpoints)),
      m_lookUp(module, "getaddrinfo",
               [this](auto* original, auto... arguments) { return lookUp(original, arguments...); }),
      m_connect(module, "connect", [this](auto* original, SOCKET socket, const sockaddr* address, int) {
        return open(original, socket, address);
      }) {}

int NetworkRedirect::lookUp(GetAddresses* original, const char* name, const char* service, const addrinfo* hints,
                            addrinfo** found) {
  const std::string wanted = name == nullptr ? "" : name;
  for (std::size_t index = 0; index < m_endpoints.size(); ++index) {
    if (m_endpoints[index].host == wanted) return original(stationAddress(index).c_str(), service, hints, found);
  }
  if (isLocalName(wanted)) return original(name, service, hints, found);
  ++m_refused;
  return EAI_NONAME;
}

int NetworkRedirect::open(Connect* original, SOCKET socket, const sockaddr* address) {
  if (address->sa_family == AF_INET) {
    auto target = *reinterpret_cast<const sockaddr_in*>(address);
    if (const Endpoint* endpoint = endpointOf(target)) {
      target.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
      target.sin_port = htons(endpoint->servedPort);
    }
    if (target.sin_addr.s_addr == htonl(INADDR_LOOPBACK)) {
      return original(socket, reinterpret_cast<const sockaddr*>(&target), sizeof target);
    }
  }
  // Clients try the other addresses of a name, such as ::1 for localhost, one after another.
  const bool otherLoopback = address->sa_family == AF_INET6 &&
                             IN6_IS_ADDR_LOOPBACK(&reinterpret_cast<const sockaddr_in6*>(address)->sin6_addr);
  if (!otherLoopback) ++m_refused;
  WSASetLastError(WSAECONNREFUSED);
  return SOCKET_ERROR;
}

const Endpoint* NetworkRedirect::endpointOf(const sockaddr_in& address) const {
  const u_long host = ntohl(address.sin_addr.s_addr);
  const unsigned short port = ntohs(address.sin_port);
  for (std::size_t index = 0; index < m_endpoints.size(); ++index) {
    const Endpoint& endpoint = m_endpoints[index];
    const bool station = host == kFirstStation + index;
    const bool local = host == INADDR_LOOPBACK && isLocalName(endpoint.host);
    if ((station || local) && port == endpoint.port) return &endpoint;
  }
  return nullptr;
}

}  // namespace zuvia::test
