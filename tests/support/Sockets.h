#pragma once

#include <winsock2.h>

#include <memory>
#include <stop_token>
#include <string>

struct ssl_st;
struct ssl_ctx_st;

// The transport of TestServer: waits that end when the server stops, over TLS or without.

namespace zuvia::test {

// Starts the socket library of this process and ends it again.
class SocketLibrary {
 public:
  SocketLibrary();
  ~SocketLibrary();
  SocketLibrary(const SocketLibrary&) = delete;
  SocketLibrary& operator=(const SocketLibrary&) = delete;
};

// An owned socket; INVALID_SOCKET when empty.
class Socket {
 public:
  explicit Socket(SOCKET handle = INVALID_SOCKET) : handle_(handle) {}
  ~Socket() { reset(); }
  Socket(Socket&& other) noexcept : handle_(other.handle_) { other.handle_ = INVALID_SOCKET; }
  Socket& operator=(Socket&& other) noexcept;
  SOCKET get() const { return handle_; }
  bool valid() const { return handle_ != INVALID_SOCKET; }
  void reset();

 private:
  SOCKET handle_;
};

// Listens on 127.0.0.1 at this port, also when connections of an earlier listener are still known to the system; 0: at
// a free one. Throws std::runtime_error.
Socket listenOnLoopback(unsigned short port = 0);
unsigned short portOf(const Socket& socket);

enum class Readiness { Readable, Writable };

// Waits until a socket can be read or written. Returns false when stop was requested first.
bool waitUntilReady(const Socket& socket, Readiness wanted, const std::stop_token& stop);

// One accepted connection. Every operation waits in short slices and gives up when stop is requested.
// One thread at a time.
class Connection {
 public:
  Connection(Socket socket, std::stop_token stop);
  ~Connection();
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  // Returns whether the client begins with a TLS handshake; false as well when it sends nothing.
  bool beginsWithTls();

  // Makes the TLS handshake. Returns whether it succeeded.
  bool startTls(ssl_ctx_st* context);
  bool isTls() const { return tls_ != nullptr; }

  // Appends what has come to text, waiting for at least one byte. Returns false at the end.
  bool receive(std::string& text);

  // Sends everything. Returns false when the client has gone.
  bool send(std::string_view data);

  // Says goodbye as TLS wants it; without, the end looks like a cut to the client.
  void closePolitely();

  // Returns when the client has closed its side, or stop was requested.
  void waitForClientToLeave();

 private:
  struct FreeTls {
    void operator()(ssl_st* tls) const;
  };

  // Waits for what OpenSSL asked for after a call that returned result. False: the connection is over.
  bool waitForTls(int result);

  Socket socket_;
  std::stop_token stop_;
  std::unique_ptr<ssl_st, FreeTls> tls_;
};

}  // namespace zuvia::test
