#include "support/Sockets.h"

#include <openssl/err.h>
#include <openssl/ssl.h>
#include <ws2tcpip.h>

#include <array>
#include <stdexcept>
#include <utility>

namespace zuvia::test {
namespace {

constexpr int kSliceMilliseconds = 50;

void check(bool succeeded, const char* action) {
  if (!succeeded) throw std::runtime_error(std::string(action) + ": error " + std::to_string(WSAGetLastError()));
}

}  // namespace

SocketLibrary::SocketLibrary() {
  WSADATA data{};
  check(WSAStartup(MAKEWORD(2, 2), &data) == 0, "WSAStartup");
}

SocketLibrary::~SocketLibrary() {
  WSACleanup();
}

Socket& Socket::operator=(Socket&& other) noexcept {
  if (this != &other) {
    reset();
    handle_ = std::exchange(other.handle_, INVALID_SOCKET);
  }
  return *this;
}

void Socket::reset() {
  if (valid()) closesocket(std::exchange(handle_, INVALID_SOCKET));
}

Socket listenOnLoopback(unsigned short port) {
  Socket socket(::socket(AF_INET, SOCK_STREAM, IPPROTO_TCP));
  check(socket.valid(), "socket");
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(port);
  const BOOL reuse = port == 0 ? FALSE : TRUE;
  setsockopt(socket.get(), SOL_SOCKET, SO_REUSEADDR, reinterpret_cast<const char*>(&reuse), sizeof reuse);
  check(bind(socket.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) == 0, "bind");
  check(listen(socket.get(), SOMAXCONN) == 0, "listen");
  return socket;
}

unsigned short portOf(const Socket& socket) {
  sockaddr_in address{};
  int size = sizeof address;
  check(getsockname(socket.get(), reinterpret_cast<sockaddr*>(&address), &size) == 0, "getsockname");
  return ntohs(address.sin_port);
}

bool waitUntilReady(const Socket& socket, Readiness wanted, const std::stop_token& stop) {
  while (!stop.stop_requested()) {
    fd_set sockets;
    FD_ZERO(&sockets);
    FD_SET(socket.get(), &sockets);
    timeval slice{0, kSliceMilliseconds * 1000};
    const bool reading = wanted == Readiness::Readable;
    if (select(0, reading ? &sockets : nullptr, reading ? nullptr : &sockets, nullptr, &slice) != 0) return true;
  }
  return false;
}

Connection::Connection(Socket socket, std::stop_token stop) : socket_(std::move(socket)), stop_(std::move(stop)) {
  u_long nonBlocking = 1;
  ioctlsocket(socket_.get(), static_cast<long>(FIONBIO), &nonBlocking);
}

Connection::~Connection() = default;

void Connection::FreeTls::operator()(ssl_st* tls) const {
  SSL_free(tls);
}

bool Connection::beginsWithTls() {
  constexpr char kHandshake = 0x16;
  char first = 0;
  return waitUntilReady(socket_, Readiness::Readable, stop_) && recv(socket_.get(), &first, 1, MSG_PEEK) == 1 &&
         first == kHandshake;
}

bool Connection::startTls(ssl_ctx_st* context) {
  tls_.reset(SSL_new(context));
  SSL_set_fd(tls_.get(), static_cast<int>(socket_.get()));
  for (;;) {
    const int result = SSL_accept(tls_.get());
    if (result == 1) return true;
    if (!waitForTls(result)) return false;
  }
}

bool Connection::receive(std::string& text) {
  std::array<char, 16384> buffer{};
  const auto size = static_cast<int>(buffer.size());
  for (;;) {
    const int got = tls_ ? SSL_read(tls_.get(), buffer.data(), size) : recv(socket_.get(), buffer.data(), size, 0);
    if (got > 0) {
      text.append(buffer.data(), static_cast<std::size_t>(got));
      return true;
    }
    if (tls_) {
      if (!waitForTls(got)) return false;
    } else if (got == 0 || WSAGetLastError() != WSAEWOULDBLOCK ||
               !waitUntilReady(socket_, Readiness::Readable, stop_)) {
      return false;
    }
  }
}

bool Connection::send(std::string_view data) {
  while (!data.empty()) {
    const auto size = static_cast<int>(data.size());
    const int sent = tls_ ? SSL_write(tls_.get(), data.data(), size) : ::send(socket_.get(), data.data(), size, 0);
    if (sent > 0) {
      data.remove_prefix(static_cast<std::size_t>(sent));
    } else if (tls_) {
      if (!waitForTls(sent)) return false;
    } else if (WSAGetLastError() != WSAEWOULDBLOCK || !waitUntilReady(socket_, Readiness::Writable, stop_)) {
      return false;
    }
  }
  return true;
}

void Connection::closePolitely() {
  if (tls_) SSL_shutdown(tls_.get());
  shutdown(socket_.get(), SD_SEND);
  // Closing with unread bytes would reset the connection and take what was sent away from the client.
  waitForClientToLeave();
}

void Connection::waitForClientToLeave() {
  std::string ignored;
  while (receive(ignored)) ignored.clear();
}

bool Connection::waitForTls(int result) {
  const int error = SSL_get_error(tls_.get(), result);
  ERR_clear_error();
  if (error == SSL_ERROR_WANT_READ) return waitUntilReady(socket_, Readiness::Readable, stop_);
  if (error == SSL_ERROR_WANT_WRITE) return waitUntilReady(socket_, Readiness::Writable, stop_);
  return false;
}

}  // namespace zuvia::test
