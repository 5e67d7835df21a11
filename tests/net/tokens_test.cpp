// Security tokens: against a real Kerberos realm with an acceptor on the same GSS library, and against a
// library that returns what a real one never would.

#include <dlfcn.h>
#include <gssapi/gssapi_krb5.h>
#include <krb5.h>

#include <optional>
#include <thread>

#include "tests/net/errors.h"
#include "tests/net/scripted_gss/scripted_gss.h"
#include "tests/support/fault_allocator.h"
#include "tests/support/kerberos_realm.h"
#include "zulib/net/zugsservices.h"

using namespace nettest;

namespace {

using Bytes = std::vector<unsigned char>;

std::u16string wide(const std::string& ascii) { return {ascii.begin(), ascii.end()}; }

// A client: its services, and what the last token was.
struct Client {
  explicit Client(const char* library = nullptr) {
    EXPECT_EQ(services.setGSSClient(library ? ostest::units(wide(library)) : nullptr), 0);
  }
  int setName(const std::string& name) {
    return services.setServicePrincipalName(reinterpret_cast<const unsigned short*>(name.c_str()));
  }
  int next(const Bytes& input = {}) {
    Bytes copy = input;
    Bytes output(100000, 0xEE);
    length = kUntouched;
    more = -1;
    const int result = services.getSecurityToken(copy.empty() ? nullptr : copy.data(), copy.size(),
                                                 output.data(), room, &length, &more);
    token.assign(output.begin(), output.begin() + static_cast<long>(length == kUntouched ? 0 : length));
    return result;
  }

  static constexpr unsigned long kUntouched = 4711;
  ZuGSServices services;
  unsigned long room = 100000;
  Bytes token;
  unsigned long length = kUntouched;
  int more = -1;
};

// The other side: takes tokens, makes replies.
class Acceptor {
 public:
  Acceptor() = default;
  Acceptor(const Acceptor&) = delete;
  Acceptor& operator=(const Acceptor&) = delete;
  ~Acceptor() {
    OM_uint32 minor;
    gss_delete_sec_context(&minor, &context, GSS_C_NO_BUFFER);
  }
  // The major status; the reply and the client's name are kept.
  OM_uint32 take(Bytes token) {
    gss_buffer_desc input = {token.size(), token.data()};
    gss_buffer_desc output = GSS_C_EMPTY_BUFFER;
    gss_name_t source = GSS_C_NO_NAME;
    OM_uint32 minor;
    const OM_uint32 major =
        gss_accept_sec_context(&minor, &context, GSS_C_NO_CREDENTIAL, &input, GSS_C_NO_CHANNEL_BINDINGS,
                               &source, nullptr, &output, nullptr, nullptr, nullptr);
    const auto* value = static_cast<unsigned char*>(output.value);
    reply.assign(value, value + output.length);
    gss_release_buffer(&minor, &output);
    if (source && gss_display_name(&minor, source, &output, nullptr) == GSS_S_COMPLETE) {
      client.assign(static_cast<char*>(output.value), output.length);
      gss_release_buffer(&minor, &output);
    }
    gss_release_name(&minor, &source);
    return major;
  }

  Bytes reply;
  std::string client;

 private:
  gss_ctx_id_t context = GSS_C_NO_CONTEXT;
};

class Kerberos : public testing::Test {
 protected:
  static void SetUpTestSuite() { realm.emplace(); }
  static void TearDownTestSuite() { realm.reset(); }
  Kerberos() { realm->logIn(); }
  // The number, and whether a minor status comes with it.
  std::string takeNumber() {
    const std::string record = errors.take();
    const std::string param = record.substr(record.find(' ') + 1);
    return record.substr(0, record.find(' ')) + (param == "-" || param == "0" ? "" : " with minor");
  }

  static inline std::optional<KerberosRealm> realm;
  Errors errors;
};

TEST_F(Kerberos, OneTokenWithoutMutualAuthentication) {
  Client client;
  ASSERT_EQ(client.setName(KerberosRealm::kService), 0) << errors.take();
  ASSERT_EQ(client.next(), 0) << errors.take();
  EXPECT_EQ(client.more, 0);
  Acceptor acceptor;
  EXPECT_EQ(acceptor.take(client.token), GSS_S_COMPLETE);
  EXPECT_EQ(acceptor.client, KerberosRealm::kUser);
}

TEST_F(Kerberos, TheServerAnswersWhenItHasTo) {
  Client client;
  client.services.setRequestFlags(GSS_C_MUTUAL_FLAG);
  ASSERT_EQ(client.setName(KerberosRealm::kService), 0);
  ASSERT_EQ(client.next(), 0) << errors.take();
  EXPECT_EQ(client.more, 1);
  Acceptor acceptor;
  ASSERT_EQ(acceptor.take(client.token), GSS_S_COMPLETE);
  ASSERT_EQ(client.next(acceptor.reply), 0) << errors.take();
  EXPECT_EQ(client.more, 0);
  EXPECT_EQ(client.length, Client::kUntouched) << "no second token in this style";

  // Three tokens, in the style of DCE.
  Client third;
  third.services.setRequestFlags(GSS_C_MUTUAL_FLAG | GSS_C_DCE_STYLE);
  ASSERT_EQ(third.setName(KerberosRealm::kService), 0);
  ASSERT_EQ(third.next(), 0) << errors.take();
  EXPECT_EQ(third.more, 1);
  Acceptor other;
  ASSERT_EQ(other.take(third.token), GSS_S_CONTINUE_NEEDED);
  ASSERT_EQ(third.next(other.reply), 0) << errors.take();
  EXPECT_EQ(third.more, 0);
  EXPECT_EQ(other.take(third.token), GSS_S_COMPLETE);
  EXPECT_EQ(other.client, KerberosRealm::kUser);
}

TEST_F(Kerberos, WhatCanGoWrong) {
  Client client;
  EXPECT_EQ(client.next(), 1);
  EXPECT_EQ(takeNumber(), "2767");
  EXPECT_EQ(client.services.setServicePrincipalName(nullptr), 1);
  EXPECT_EQ(takeNumber(), "2767");
  EXPECT_EQ(client.setName("nobody/localhost@ZULIB.TEST"), 0);
  EXPECT_EQ(client.next(), 1) << "an unknown service";
  EXPECT_EQ(takeNumber(), "2755 with minor");
  EXPECT_EQ(client.setName("db@A@B"), 0) << "the library looks at a name when it uses it";
  EXPECT_EQ(client.next(), 1);
  EXPECT_EQ(takeNumber(), "2755 with minor");

  EXPECT_EQ(client.setName(KerberosRealm::kService), 0) << "the object can still be used";
  client.room = 100;
  EXPECT_EQ(client.next(), 1);
  EXPECT_EQ(takeNumber(), "2766");
  EXPECT_EQ(client.length, Client::kUntouched);

  Client damaged;
  damaged.services.setRequestFlags(GSS_C_MUTUAL_FLAG);
  EXPECT_EQ(damaged.setName(KerberosRealm::kService), 0);
  EXPECT_EQ(damaged.next(), 0);
  EXPECT_EQ(damaged.next(Bytes(20, 'x')), 1) << "the server's reply is no token";
  EXPECT_EQ(takeNumber(), "2751 with minor");
}

TEST_F(Kerberos, WithoutATicket) {
  realm->logOut();
  Client client;
  ASSERT_EQ(client.setName(KerberosRealm::kService), 0);
  EXPECT_EQ(client.next(), 1);
  EXPECT_EQ(takeNumber(), "2749 with minor");
  realm->logIn(1);
  sleep(2);
  Client late;
  ASSERT_EQ(late.setName(KerberosRealm::kService), 0);
  EXPECT_EQ(late.next(), 1);
  // The library reports an expired ticket as a failure of no kind, and the reason in the minor status.
  EXPECT_EQ(errors.take(), "2755 " + std::to_string(static_cast<unsigned>(KRB5KRB_AP_ERR_TKT_EXPIRED)));
}

TEST(GssLibrary, ThatIsNotThereOrNotWhole) {
  Errors errors;
  Client none("libnosuchgss.so");
  EXPECT_EQ(none.setName("x"), 1);
  EXPECT_EQ(errors.take(), "2733 libnosuchgss.so");
  EXPECT_EQ(none.setName("x"), 1) << "and again";
  EXPECT_EQ(errors.take(), "2733 libnosuchgss.so");
  Client tooLong(std::string(1025, 'l').c_str());
  EXPECT_EQ(tooLong.setName("x"), 1);
  EXPECT_EQ(errors.take(), "2733 " + std::string(1025, 'l'));
  Client another("libm.so.6");
  EXPECT_EQ(another.setName("x"), 1);
  EXPECT_EQ(errors.take(), "2734 gss_import_name|libm.so.6");
  const std::string missing = "2734 gss_release_name|" ZULIB_SCRIPTED_GSS_SHORT;
  Client lacking(ZULIB_SCRIPTED_GSS_SHORT);
  EXPECT_EQ(lacking.setName("x"), 1);
  EXPECT_EQ(lacking.setName("x"), 1) << "not bound in part";
  EXPECT_EQ(errors.take(), missing + "; " + missing);
}

TEST(GssLibrary, MapperStates) {
  Errors errors;
  UtlLibCallMapper mapper;
  const auto* name = ostest::bytes(ZULIB_SCRIPTED_GSS);
  EXPECT_EQ(mapper.setDLLEntryPoint(ostest::bytes("gss_import_name"), 0), 1);
  EXPECT_EQ(mapper.getDLLEntryPoint(0), nullptr);
  EXPECT_EQ(mapper.setDLLName(ostest::bytes(std::string(1025, 'x'))), 1);
  EXPECT_EQ(mapper.setDLLName(ostest::bytes(std::string(1024, 'x'))), 0);
  EXPECT_EQ(mapper.setDLLName(name), 0);
  sweepAllocations([&] { return mapper.initialize() == 0; });
  errors.take();
  EXPECT_EQ(mapper.getInitialized(), 1u);
  EXPECT_EQ(mapper.initialize(), 1);
  EXPECT_EQ(mapper.setDLLName(name), 1);
  EXPECT_EQ(mapper.setDLLEntryPoint(ostest::bytes("gss_import_name"), 100), 0);
  EXPECT_EQ(mapper.setDLLEntryPoint(ostest::bytes("gss_import_name"), 101), 1);
  EXPECT_NE(mapper.getDLLEntryPoint(100), nullptr);
  EXPECT_EQ(mapper.getDLLEntryPoint(99), nullptr);
  EXPECT_EQ(mapper.getDLLEntryPoint(101), nullptr);
  ZuGSSCallMapper closed;
  OM_uint32 minor = 5;
  EXPECT_EQ(closed.gss_release_cred(&minor, nullptr), GSS_S_FAILURE);
  EXPECT_EQ(minor, 0u);
}

// The scripted library, and services over it.
class ScriptedTokens : public testing::Test {
 protected:
  ScriptedTokens() : library(dlopen(ZULIB_SCRIPTED_GSS, RTLD_NOW)) {
    script = reinterpret_cast<ScriptedGss* (*)()>(dlsym(library, "scriptedGss"))();
    *script = ScriptedGss();
  }
  ~ScriptedTokens() override {
    EXPECT_EQ(script->live, 0) << "names, contexts and buffers are released";
    dlclose(library);
  }

  void* library;
  ScriptedGss* script;
  Errors errors;
};

TEST_F(ScriptedTokens, EveryStatusHasItsMessage) {
  // 1 to 0x12 in the upper half are 2743 to 2760; a supplementary bit alone, or a calling error, has its own.
  std::map<unsigned, unsigned> numbers = {{2, 2762},         {4, 2763},          {8, 2764},
                                          {16, 2765},        {0x01000000, 2740}, {0x02000000, 2741},
                                          {0x03000000, 2742}};
  for (unsigned i = 1; i <= 0x12; ++i) numbers[i << 16] = 2742 + i;
  ZuGSServices services;
  for (unsigned status = 0; status < 0x20000; ++status) {
    // All combinations of supplementary bits with some routine and calling errors.
    const unsigned major = (status & 0x1F) | (status >> 5 & 0x1F) << 16 | (status >> 10) << 24;
    const int result = services.mapGSSReturn(major, 4000000000);
    if (major <= 1) {
      EXPECT_EQ(result, 0);
      continue;
    }
    EXPECT_EQ(result, 1);
    const unsigned expected = numbers.contains(major) ? numbers[major] : 2755;
    ASSERT_EQ(errors.take(), std::to_string(expected) + " 4000000000") << std::hex << major;
  }
}

TEST_F(ScriptedTokens, TheNameTypeIsTriedOnceMore) {
  Client client(ZULIB_SCRIPTED_GSS);
  script->token = "token";
  script->initResults = {GSS_S_BAD_NAMETYPE, GSS_S_CONTINUE_NEEDED};
  client.services.setRequestFlags(0x42);
  ASSERT_EQ(client.setName("db@host"), 0);
  EXPECT_EQ(script->name, std::string("db@host\0", 8)) << "the terminator counts";
  ASSERT_EQ(client.next(), 0);
  EXPECT_EQ(script->calls, "icnIbc");
  EXPECT_EQ(client.more, 1);
  EXPECT_EQ(script->flags, 0x42u);
  EXPECT_EQ(std::string(client.token.begin(), client.token.end()), "token");

  script->calls.clear();
  script->initResults = {GSS_S_COMPLETE};
  EXPECT_EQ(client.services.getSecurityToken(nullptr, 9, client.token.data(), 5, nullptr, nullptr), 0);
  EXPECT_EQ(script->lastInput, "") << "no input, no length";
  EXPECT_EQ(client.next({'r', 'e'}), 0);
  EXPECT_EQ(script->lastInput, "re");

  script->initResults = {GSS_S_BAD_NAMETYPE};
  EXPECT_EQ(client.next(), 1);
  EXPECT_EQ(errors.take(), "2745 77");
  script->importResult = GSS_S_BAD_MECH;
  EXPECT_EQ(client.next(), 1);
  EXPECT_EQ(errors.take(), "2743 77");
  script->importResult = 0;
  EXPECT_EQ(client.next(), 1) << "the name is gone";
  EXPECT_EQ(errors.take(), "2767 -");
  EXPECT_EQ(client.setName("again"), 0);
  script->releaseNameResult = GSS_S_BAD_NAME;
  EXPECT_EQ(client.next(), 1);
  EXPECT_EQ(errors.take(), "2744 77");
}

TEST_F(ScriptedTokens, NothingIsReleasedTwice) {
  script->token = "a token";
  script->initResults = {GSS_S_FAILURE};
  {
    Client client(ZULIB_SCRIPTED_GSS);
    EXPECT_EQ(client.setName("first"), 0);
    EXPECT_EQ(client.setName("second"), 0);
    EXPECT_EQ(client.next(), 1) << "though a token was made";
    EXPECT_EQ(client.next(), 1);
    EXPECT_EQ(errors.take(), "2755 77; 2755 77");
    script->calls.clear();
  }
  EXPECT_EQ(script->calls, "dbn");
}

TEST_F(ScriptedTokens, NoMemory) {
  sweepAllocations([&] {
    const std::unique_ptr<ZuSecurityServices> services(
        ZuSecurityServices::createSecurityService(ostest::units(u"" ZULIB_SCRIPTED_GSS)));
    const bool named = services && services->setServicePrincipalName(
                                       reinterpret_cast<const unsigned short*>("db@host")) == 0;
    const FaultPause quiet;
    EXPECT_EQ(errors.take(), named ? "" : "out of memory");
    return named;
  });
}

TEST_F(ScriptedTokens, ThreadsPassTheLockOneByOne) {
  constexpr int kThreads = 4;
  constexpr int kLogins = 50;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([] {
      for (int i = 0; i < kLogins; ++i) {
        Client client(ZULIB_SCRIPTED_GSS);
        EXPECT_EQ(client.setName("db@host"), 0);
        EXPECT_EQ(client.next(), 0);
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(script->count, kThreads * kLogins * 4) << "import, context, delete, release";
}

}  // namespace
