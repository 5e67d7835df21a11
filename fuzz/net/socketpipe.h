// The older pipe over a socket that is open already.

#ifndef ZULIB_FUZZ_NET_SOCKETPIPE_H
#define ZULIB_FUZZ_NET_SOCKETPIPE_H

#include "zulib/net/internal/connectionobject.h"
#include "zulib/net/zutcpip.h"

// Owns the socket.
class SocketTCPIP : public ZuTCPIP {
 public:
  explicit SocketTCPIP(int socket) {
    connection = new zunet::ConnectionObject();
    connection->socketHandle = socket;
    connected = 1;
    setReadTimeout(5, 0);
  }
};

#endif
