#include "login/login.h"

#include "base/errors.h"
#include "login/digests.h"
#include "login/gss.h"
#include "login/scram.h"

namespace pgwire {

namespace {

constexpr uint32_t kProtocol = 3 << 16;

// What the server asks for in an authentication message.
enum class Ask : uint32_t {
  Nothing = 0,
  Password = 3,
  Md5 = 5,
  Gss = 7,
  GssContinue = 8,
  Sasl = 10,
  SaslContinue = 11,
  SaslFinal = 12,
};

class Login {
 public:
  Login(Session& session, const Settings& settings)
      : session(session), settings(settings), scram(settings.password.view()), gss(settings) {}

  int run() {
    if (sendStart()) return 1;
    for (bool ready = false; !ready;) {
      Message message;
      if (session.next(message)) return 1;
      switch (message.type) {
        case 'R':
          if (respond(message)) return 1;
          break;
        case 'K':
          if (takeKey(message)) return 1;
          break;
        case 'E': return session.reportError(message);
        case 'Z':
          if (!proven) return session.reportNonsense();
          ready = true;
          break;
        default: return session.reportNonsense();
      }
    }
    return 0;
  }

 private:
  int option(const char* name, std::string_view value) {
    Request& out = session.request();
    return value.empty() ? 0 : out.text(name) || out.text(value);
  }

  int sendStart() {
    Request& out = session.request();
    out.clear();
    if (out.begin(0) || out.int32(kProtocol) || option("user", settings.user.view()) ||
        option("database", settings.database.view()) ||
        option("application_name", settings.applicationName.view()) ||
        option("options", settings.options.view()) || option("client_encoding", "UTF8") ||
        option("DateStyle", "ISO") || option("extra_float_digits", "3") ||
        option("default_transaction_read_only", settings.readOnly ? "on" : "") || out.text("") || out.end()) {
      return 1;
    }
    return session.send();
  }

  int takeKey(const Message& message) {
    MessageReader reader(message);
    uint32_t process = 0;
    uint32_t key = 0;
    if (reader.int32(&process) || reader.int32(&key)) return session.reportNonsense();
    session.setCancelKey(process, key);
    return 0;
  }

  int respond(const Message& message) {
    MessageReader reader(message);
    uint32_t ask = 0;
    Text data;
    if (reader.int32(&ask)) return session.reportNonsense();
    if (reader.rest(data)) return 1;
    switch (static_cast<Ask>(ask)) {
      case Ask::Nothing:
        proven = true;
        return scramStarted && !serverProven ? fail(Issue::BadServerProof) : 0;
      case Ask::Password: return needPassword() || sendPassword(settings.password.view());
      case Ask::Md5: return needPassword() || sendMd5(data.view());
      case Ask::Gss:
      case Ask::GssContinue: return sendToken(static_cast<Ask>(ask) == Ask::Gss ? "" : data.view());
      case Ask::Sasl: return needPassword() || startScram(data.view());
      case Ask::SaslContinue: return scramStarted ? continueScram(data.view()) : session.reportNonsense();
      case Ask::SaslFinal:
        if (!scramStarted || scram.verify(data.view())) return fail(Issue::BadServerProof);
        serverProven = true;
        return 0;
    }
    return fail(Issue::UnknownLogin, static_cast<unsigned long>(ask));
  }

  int needPassword() {
    session.wantsPassword = settings.password.empty();
    return session.wantsPassword ? fail(Issue::NoPassword) : 0;
  }

  // The message that carries a password, or any other reply.
  int sendReply(std::string_view data) {
    Request& out = session.request();
    out.clear();
    return out.begin('p') || out.bytes(data.data(), data.size()) || out.end() || session.send();
  }

  int sendPassword(std::string_view password) {
    Text terminated;
    return terminated.assign(password) || terminated.append('\0') || sendReply(terminated.view());
  }

  int sendMd5(std::string_view salt) {
    constexpr std::size_t kSaltSize = 4;
    Text inner;
    Text outer;
    Text reply;
    if (salt.size() != kSaltSize) return session.reportNonsense();
    return md5Hex(settings.password.view(), settings.user.view(), inner) ||
           md5Hex(inner.view(), salt, outer) || reply.assign("md5") || reply.append(outer.view()) ||
           sendPassword(reply.view());
  }

  int sendToken(std::string_view input) {
    Text token;
    if (gss.next(input, token)) return 1;
    return token.empty() ? 0 : sendReply(token.view());
  }

  int startScram(std::string_view mechanisms) {
    constexpr std::string_view kMechanism = "SCRAM-SHA-256";
    bool offered = false;
    while (!mechanisms.empty() && mechanisms[0] != '\0') {
      const std::string_view name = mechanisms.substr(0, mechanisms.find('\0'));
      offered = offered || name == kMechanism;
      mechanisms.remove_prefix(name.size() < mechanisms.size() ? name.size() + 1 : name.size());
    }
    if (!offered) return fail(Issue::UnknownLogin, static_cast<unsigned long>(Ask::Sasl));
    Text first;
    Request& out = session.request();
    out.clear();
    scramStarted = true;
    return scram.start(first) || out.begin('p') || out.text(kMechanism) ||
           out.int32(static_cast<uint32_t>(first.size())) || out.bytes(first.data(), first.size()) ||
           out.end() || session.send();
  }

  int continueScram(std::string_view data) {
    Text reply;
    return scram.respond(data, reply) || sendReply(reply.view());
  }

  Session& session;
  const Settings& settings;
  ScramClient scram;
  GssClient gss;
  bool proven = false;
  bool scramStarted = false;
  bool serverProven = false;
};

}  // namespace

int logIn(Session& session, const Settings& settings) {
  Text address;
  if (address.assign(settings.server.view()) || address.append(",") || address.append(settings.port.view()) ||
      session.open(address.view(), settings.logStream)) {
    return 1;
  }
  session.wantsPassword = false;
  session.setConnectionWait(settings.loginWait, Issue::LoginTimedOut);
  if (!Login(session, settings).run()) {
    session.setConnectionWait(0);
    return 0;
  }
  session.close();
  return 1;
}

}  // namespace pgwire
