// Connections, ciphers, digests and tokens beside bare sockets, libcrypto, memcpy and direct GSS calls.

#define OPENSSL_SUPPRESS_DEPRECATED

#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <gssapi/gssapi_krb5.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <openssl/des.h>
#include <openssl/evp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/kerberos_realm.h"
#include "zulib/net/des.h"
#include "zulib/net/md5.h"
#include "zulib/net/zugsservices.h"
#include "zulib/net/zupipe.h"
#include "zulib/net/zutcpip.h"
#include "zulib/text/zuscramble.h"

namespace {

constexpr size_t kRequest = 64;
constexpr size_t kPiece = 64 << 10;
constexpr size_t kPieces = 1024;  // 64 MB of them in each turn
constexpr size_t kMegabyte = 1 << 20;
constexpr double kTurnSeconds = 0.003;  // short, so that some turns pass undisturbed
constexpr int kTurns = 200;
constexpr int kLongTurns = 64;  // of 64 MB

const unsigned char* bytes(const std::string& s) { return reinterpret_cast<const unsigned char*>(s.c_str()); }

void require(bool holds) {
  if (!holds) std::abort();
}

// What the other end of a connection does until it ends.
enum class Peer { Echo, Drain, Feed };

void serve(int handle, Peer peer) {
  std::vector<char> piece(kPiece);
  for (;;) {
    const size_t n = peer == Peer::Echo ? kRequest : kPiece;
    if (peer != Peer::Feed && recv(handle, piece.data(), n, peer == Peer::Echo ? MSG_WAITALL : 0) <= 0) break;
    if (peer != Peer::Drain && send(handle, piece.data(), n, MSG_NOSIGNAL) <= 0) break;
  }
  close(handle);
}

// A listener on loopback, and a thread for the one connection that is made to it.
class Server {
 public:
  explicit Server(Peer peer) : listener(socket(AF_INET, SOCK_STREAM, 0)) {
    sockaddr_in here = {};
    here.sin_family = AF_INET;
    here.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof here;
    require(bind(listener, reinterpret_cast<sockaddr*>(&here), length) == 0 && listen(listener, 1) == 0);
    getsockname(listener, reinterpret_cast<sockaddr*>(&here), &length);
    address = here;
    thread = std::thread([this, peer] {
      const int handle = accept(listener, nullptr, nullptr);
      const int on = 1;
      setsockopt(handle, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
      serve(handle, peer);
    });
  }
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;
  ~Server() {
    thread.join();
    close(listener);
  }

  std::string text() const { return "127.0.0.1," + std::to_string(ntohs(address.sin_port)); }
  sockaddr_in address;

 private:
  int listener;
  std::thread thread;
};

// Bare sockets, with the options that the connections of the library have.
class Bare {
 public:
  explicit Bare(const Server& server) : handle(socket(AF_INET, SOCK_STREAM, 0)) {
    const int on = 1;
    setsockopt(handle, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    require(connect(handle, reinterpret_cast<const sockaddr*>(&server.address), sizeof server.address) == 0);
  }
  Bare(const Bare&) = delete;
  Bare& operator=(const Bare&) = delete;
  ~Bare() { close(handle); }

  void write(const char* data, size_t n) {
    for (size_t done = 0; done < n;) {
      const ssize_t sent = send(handle, data + done, n - done, MSG_NOSIGNAL);
      require(sent > 0);
      done += static_cast<size_t>(sent);
    }
  }
  size_t read(char* to, size_t n) {
    const ssize_t got = recv(handle, to, n, 0);
    require(got > 0);
    return static_cast<size_t>(got);
  }

 private:
  int handle;
};

template <class Pipe>
class Ours {
 public:
  explicit Ours(const Server& server) { require(pipe.openPipe(bytes(server.text())) == 0); }
  Ours(const Ours&) = delete;
  Ours& operator=(const Ours&) = delete;
  ~Ours() { pipe.closePipe(); }

  void write(const char* data, size_t n) {
    const auto* from = reinterpret_cast<const unsigned char*>(data);
    if constexpr (std::is_same_v<Pipe, ZuPipe>) {
      require(pipe.writePipe(from, n, 0) == netOk);
    } else {
      require(pipe.writePipe(from, n) == netOk);
    }
  }
  size_t read(char* to, size_t n) {
    unsigned long got = 0;
    auto* into = reinterpret_cast<unsigned char*>(to);
    if constexpr (std::is_same_v<Pipe, ZuPipe>) {
      require(pipe.readPipe(into, n, 0, &got) == netOk);
    } else {
      require(pipe.readPipe(into, n, &got, 0) == netOk);
    }
    return got;
  }

  Pipe pipe;
};

template <class Client>
void requests(benchmark::State& state, Client& client) {
  std::vector<char> buffer(kRequest);
  for (auto _ : state) {
    client.write(buffer.data(), kRequest);
    for (size_t got = 0; got < kRequest;) got += client.read(buffer.data() + got, kRequest - got);
  }
}

template <class Client>
void requests(benchmark::State& state) {
  const Server server(Peer::Echo);
  Client client(server);
  requests(state, client);
}

// Logging that was on and is off again, beside a pipe that never had it.
void requestsLoggedBefore(benchmark::State& state) {
  const Server server(Peer::Echo);
  Ours<ZuTCPIP> client(server);
  char made[] = "/tmp/zubenchXXXXXX";
  require(mkdtemp(made) && chdir(made) == 0);
  client.pipe.setLogging(1);
  client.pipe.setLogging(0);
  unlink("0.out");
  require(chdir("/") == 0 && rmdir(made) == 0);
  requests(state, client);
}

template <class Client>
void writes(benchmark::State& state) {
  const Server server(Peer::Drain);
  Client client(server);
  const std::vector<char> piece(kPiece);
  for (auto _ : state) {
    for (size_t i = 0; i < kPieces; ++i) client.write(piece.data(), kPiece);
  }
}

template <class Client>
void reads(benchmark::State& state) {
  const Server server(Peer::Feed);
  Client client(server);
  std::vector<char> piece(kPiece);
  for (auto _ : state) {
    for (size_t left = kPieces * kPiece; left > 0;) left -= client.read(piece.data(), std::min(left, kPiece));
  }
}

std::vector<unsigned char>& megabyte() {
  static std::vector<unsigned char> data = [] {
    std::vector<unsigned char> text(kMegabyte);
    for (size_t i = 0; i < text.size(); ++i) text[i] = static_cast<unsigned char>(i * 7 + i / 256);
    return text;
  }();
  return data;
}

void md5Ours(benchmark::State& state) {
  uint32_t digest[4];
  for (auto _ : state) {
    MD5(reinterpret_cast<const uint32_t*>(megabyte().data()), 8 * kMegabyte, digest);
    benchmark::DoNotOptimize(digest);
  }
}

void md5Reference(benchmark::State& state) {
  unsigned char digest[EVP_MAX_MD_SIZE];
  for (auto _ : state) {
    require(EVP_Digest(megabyte().data(), kMegabyte, digest, nullptr, EVP_md5(), nullptr) == 1);
    benchmark::DoNotOptimize(digest);
  }
}

constinit unsigned char desKey[8] = {0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF};

void desOurs(benchmark::State& state) {
  DESwCBCEncryptor des;
  des.SetKeySchedule(desKey, sizeof desKey, CipherEncrypt);
  std::vector<unsigned char> out(kMegabyte);
  for (auto _ : state) {
    des.ProcessString(megabyte().data(), kMegabyte, out.data(), 0);
    benchmark::DoNotOptimize(out.data());
  }
}

void desReference(benchmark::State& state) {
  DES_key_schedule schedule;
  DES_set_key_unchecked(&desKey, &schedule);
  std::vector<unsigned char> out(kMegabyte);
  for (auto _ : state) {
    DES_cblock chain = {};
    DES_ncbc_encrypt(megabyte().data(), out.data(), kMegabyte, &schedule, &chain, DES_ENCRYPT);
    benchmark::DoNotOptimize(out.data());
  }
}

template <unsigned short mode>
void scramble(benchmark::State& state) {
  std::vector<unsigned char> text(megabyte().begin(), megabyte().begin() + static_cast<long>(kPiece));
  for (auto _ : state) {
    encrypt(text.data(), text.size(), mode, nullptr);
    benchmark::ClobberMemory();
  }
}

void copy(benchmark::State& state) {
  const std::vector<unsigned char> text(megabyte().begin(), megabyte().begin() + static_cast<long>(kPiece));
  std::vector<unsigned char> to(kPiece);
  for (auto _ : state) {
    std::memcpy(to.data(), text.data(), kPiece);
    benchmark::ClobberMemory();
  }
}

const KerberosRealm& realm() {
  static const KerberosRealm made;
  static const bool in = (made.logIn(), true);
  require(in);
  return made;
}

// A login each: the name, one token, and all of it released.
void tokenOurs(benchmark::State& state) {
  realm();
  std::vector<unsigned char> token(16384);
  unsigned long length = 0;
  for (auto _ : state) {
    ZuGSServices services;
    require(services.setServicePrincipalName(
                reinterpret_cast<const unsigned short*>(KerberosRealm::kService)) == 0);
    require(services.getSecurityToken(nullptr, 0, token.data(), token.size(), &length, nullptr) == 0);
  }
}

void tokenReference(benchmark::State& state) {
  realm();
  std::vector<unsigned char> token(16384);
  for (auto _ : state) {
    OM_uint32 minor;
    gss_buffer_desc text = {sizeof KerberosRealm::kService, const_cast<char*>(KerberosRealm::kService)};
    gss_name_t name = GSS_C_NO_NAME;
    gss_ctx_id_t context = GSS_C_NO_CONTEXT;
    gss_buffer_desc output = GSS_C_EMPTY_BUFFER;
    require(gss_import_name(&minor, &text, GSS_KRB5_NT_PRINCIPAL_NAME, &name) == GSS_S_COMPLETE);
    require(gss_init_sec_context(&minor, GSS_C_NO_CREDENTIAL, &context, name, GSS_C_NO_OID, 0, 0,
                                 GSS_C_NO_CHANNEL_BINDINGS, GSS_C_NO_BUFFER, nullptr, &output, nullptr,
                                 nullptr) == GSS_S_COMPLETE);
    std::memcpy(token.data(), output.value, output.length);
    gss_delete_sec_context(&minor, &context, GSS_C_NO_BUFFER);
    gss_release_buffer(&minor, &output);
    gss_release_name(&minor, &name);
  }
}

// Runs both sides by turns, so that a busy machine disturbs them alike; the table takes the best run of each.
void pair(const std::string& name, void (*ours)(benchmark::State&), void (*reference)(benchmark::State&),
          benchmark::TimeUnit unit, int turns = kTurns) {
  for (int turn = 0; turn < turns; ++turn) {
    for (const auto& [side, run] : {std::pair("/ours", ours), std::pair("/reference", reference)}) {
      benchmark::RegisterBenchmark((name + side).c_str(), run)
          ->Unit(unit)
          ->UseRealTime()
          ->MinTime(kTurnSeconds);
    }
  }
}

const bool kRegistered = [] {
  using benchmark::kMicrosecond;
  using benchmark::kMillisecond;
  pair("ZuTCPIP, 64 bytes and back", requests<Ours<ZuTCPIP>>, requests<Bare>, kMicrosecond);
  pair("ZuPipe, 64 bytes and back", requests<Ours<ZuPipe>>, requests<Bare>, kMicrosecond);
  pair("ZuTCPIP, logging off again", requestsLoggedBefore, requests<Ours<ZuTCPIP>>, kMicrosecond);
  pair("ZuTCPIP, 64 MB written", writes<Ours<ZuTCPIP>>, writes<Bare>, kMillisecond, kLongTurns);
  pair("ZuTCPIP, 64 MB read", reads<Ours<ZuTCPIP>>, reads<Bare>, kMillisecond, kLongTurns);
  pair("ZuPipe, 64 MB written", writes<Ours<ZuPipe>>, writes<Bare>, kMillisecond, kLongTurns);
  pair("ZuPipe, 64 MB read", reads<Ours<ZuPipe>>, reads<Bare>, kMillisecond, kLongTurns);
  pair("MD5, 1 MB", md5Ours, md5Reference, kMicrosecond);
  pair("DES-CBC, 1 MB", desOurs, desReference, kMicrosecond);
  pair("encrypt mode 1, 64 KB", scramble<ZuScrambleComplement>, copy, kMicrosecond);
  pair("encrypt mode 2, 64 KB", scramble<ZuScrambleLines>, copy, kMicrosecond);
  pair("security token", tokenOurs, tokenReference, kMicrosecond);
  return true;
}();

}  // namespace
