// Sends a line to "host,port" and prints the line that comes back:
//   pipe localhost,7 hello
//   pipe --log localhost,7 hello                     and writes what went over the wire to 0.out
//   pipe --token db/localhost@REALM localhost,7 hello   sends a Kerberos token, in hexadecimal, as a first
//   line

#include <zulib/errors/zuerror.h>
#include <zulib/net/zugsservices.h>
#include <zulib/net/zupipe.h>

#include <CLI/CLI.hpp>
#include <clocale>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

namespace {

const unsigned char* bytes(const std::string& text) {
  return reinterpret_cast<const unsigned char*>(text.c_str());
}

// The first token of a login to `service`, in hexadecimal. False after an error.
bool makeToken(const std::string& service, std::string& hex) {
  const std::unique_ptr<ZuSecurityServices> services(ZuSecurityServices::createSecurityService(nullptr));
  // The name is 8-bit text, whatever the type of the parameter.
  if (!services ||
      services->setServicePrincipalName(reinterpret_cast<const unsigned short*>(service.c_str()))) {
    return false;
  }
  std::vector<unsigned char> token(64 * 1024);
  unsigned long length = 0;
  if (services->getSecurityToken(nullptr, 0, token.data(), token.size(), &length, nullptr)) return false;
  char digits[3];
  for (unsigned long i = 0; i < length; ++i) {
    std::snprintf(digits, sizeof digits, "%02x", token[i]);
    hex += digits;
  }
  return true;
}

// Reads up to the first line feed, or to the end of what the peer sends. False after an error.
bool readLine(ZuPipe& pipe, std::string& line) {
  while (line.find('\n') == std::string::npos) {
    unsigned char piece[256];
    unsigned long got = 0;
    const ZuNetStatus status = pipe.readPipe(piece, sizeof piece, 0, &got);
    if (status == netTimeout) std::fputs("pipe: no line came within 10 seconds\n", stderr);
    if (status != netOk) return false;
    line.append(reinterpret_cast<char*>(piece), got);
  }
  line.resize(line.find('\n'));
  return true;
}

bool run(const std::string& address, const std::string& text, const std::string& service, bool log) {
  std::string request = text + "\n";
  if (!service.empty()) {
    std::string token;
    if (!makeToken(service, token)) return false;
    request = token + "\n" + request;
  }
  ZuPipe pipe;
  pipe.setLogging(log);
  std::string reply;
  const bool done = pipe.openPipe(bytes(address)) == 0 &&
                    pipe.writePipe(bytes(request), request.size(), 0) == netOk && readLine(pipe, reply);
  pipe.closePipe();
  pipe.setLogging(0);
  if (done) std::puts(reply.c_str());
  return done;
}

}  // namespace

int main(int argc, char** argv) {
  std::setlocale(LC_ALL, "");  // the language of error texts

  CLI::App app("Sends a line to a server and prints the line that comes back.");
  std::string address;
  std::string text;
  std::string service;
  bool log = false;
  app.add_option("address", address, "the server, as \"host,port\"")->required();
  app.add_option("line", text, "what to send")->required();
  app.add_flag("--log", log,
               "write what goes over the wire to a file in the current directory, 0.out or the next free");
  app.add_option("--token", service, "the Kerberos service to send a token for, as \"service/host@REALM\"");
  CLI11_PARSE(app, argc, argv);

  ZuErrorList errors;
  ZuErrorKeeper::setErrorList(&errors);
  const bool done = run(address, text, service, log);
  for (ZuError* error = errors.getFirstNode(); error; error = errors.getNextNode()) {
    std::fprintf(stderr, "pipe: %u: %s\n", error->getErrorNumber(),
                 reinterpret_cast<const char*>(error->getErrorText()));
  }
  ZuErrorKeeper::giveUpErrorList();
  return done ? 0 : 1;
}
