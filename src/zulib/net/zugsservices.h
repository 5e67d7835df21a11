// Security tokens for a login: the interface that a driver uses, and its implementation over GSS-API, which
// on Linux means Kerberos.
//
//   std::unique_ptr<ZuSecurityServices> services(ZuSecurityServices::createSecurityService(nullptr));
//   if (!services || services->setServicePrincipalName(name)) return 1;
//   int more = 1;
//   while (more) {
//     if (services->getSecurityToken(reply, replyLength, token, sizeof token, &tokenLength, &more)) return 1;
//     // Send the token, and read the server's reply for the next one.
//   }
//
// The GSS library is not linked but opened by name when it is first needed, "libgssapi_krb5.so" unless
// another is given, and stays open. The credentials are those that the process has by default: a ticket from
// kinit, or a client keytab.
//
// Operations return 0, or 1 after one error record:
//   2733, 2734    the GSS library cannot be opened, or lacks a function
//   2740 to 2765  the status of a GSS call, with its minor status
//   2766          the token is longer than the buffer for it
//   2767          there is no principal name yet
//
// Threads: an object is used by one thread at a time. All GSS calls of the process pass GSSLock one by one,
// since the GSS library is not taken to be safe for threads.

#ifndef ZULIB_NET_ZUGSSERVICES_H
#define ZULIB_NET_ZUGSSERVICES_H

#include <gssapi/gssapi.h>

#include <cstdint>

#include "zulib/net/utllibcallmapper.h"
#include "zulib/runtime/zuapi.h"
#include "zulib/runtime/zucritse.h"
#include "zulib/runtime/zuobject.h"

extern ZU_API ZuCriticalSection GSSLock;

class ZU_API ZuSecurityServices : public ZuObject {
 public:
  // New services, which the caller deletes; null if there is no memory. `gssClient` is the file name of the
  // GSS library, or null.
  static ZuSecurityServices* createSecurityService(const unsigned short* gssClient);

  // `name` is the address of terminated 8-bit text, as "service/host@REALM".
  virtual int setServicePrincipalName(const unsigned short* name);

  // Makes the next token: the first from no input (null or length 0), each later one from the server's reply
  // to the one before. A token goes to `output`, and its length to `*outputLength`; without a token both stay
  // as they were.
  // `*continueNeeded` is 1 if the server has to reply, 0 if the login is complete. The last two may be null.
  virtual int getSecurityToken(unsigned char* input, unsigned long inputLength, unsigned char* output,
                               unsigned long outputSize, unsigned long* outputLength, int* continueNeeded);
};

// The GSS functions of a library that is opened at run time. Each takes the arguments of its namesake and
// returns its major status; GSS_S_FAILURE if no library is open.
class ZU_API ZuGSSCallMapper : public UtlLibCallMapper {
 public:
  // Opens the library, by its default name if `libraryName` is null, and looks all functions up. On failure
  // no library is open.
  int initialize(const unsigned char* libraryName);
  unsigned getMapperInitialzed() const { return getInitialized(); }

  OM_uint32 gss_import_name(OM_uint32* minor, gss_buffer_t text, gss_OID type, gss_name_t* name);
  OM_uint32 gss_acquire_cred(OM_uint32* minor, gss_name_t name, OM_uint32 time, gss_OID_set mechanisms,
                             gss_cred_usage_t usage, gss_cred_id_t* credential, gss_OID_set* actualMechanisms,
                             OM_uint32* actualTime);
  OM_uint32 gss_init_sec_context(OM_uint32* minor, gss_cred_id_t credential, gss_ctx_id_t* context,
                                 gss_name_t name, gss_OID mechanism, OM_uint32 flags, OM_uint32 time,
                                 gss_channel_bindings_t bindings, gss_buffer_t input,
                                 gss_OID* actualMechanism, gss_buffer_t output, OM_uint32* actualFlags,
                                 OM_uint32* actualTime);
  OM_uint32 gss_delete_sec_context(OM_uint32* minor, gss_ctx_id_t* context, gss_buffer_t output);
  OM_uint32 gss_release_buffer(OM_uint32* minor, gss_buffer_t buffer);
  OM_uint32 gss_release_cred(OM_uint32* minor, gss_cred_id_t* credential);
  OM_uint32 gss_release_name(OM_uint32* minor, gss_name_t* name);
};

// One login over GSS-API.
class ZU_API ZuGSServices : public ZuSecurityServices {
 public:
  ZuGSServices();
  ZuGSServices(const ZuGSServices&) = delete;
  ZuGSServices& operator=(const ZuGSServices&) = delete;
  ~ZuGSServices() override;

  // The file name of the GSS library, copied; null for the default. Without effect once the library is open.
  // 0, or 1 if there is no memory.
  int setGSSClient(const unsigned short* name);

  // The GSS_C_..._FLAG bits that are asked for; none at the start.
  void setRequestFlags(uint32_t flags) { requestFlags = flags; }

  int setServicePrincipalName(const unsigned short* name) override;
  int getSecurityToken(unsigned char* input, unsigned long inputLength, unsigned char* output,
                       unsigned long outputSize, unsigned long* outputLength, int* continueNeeded) override;

  // 0 for GSS_S_COMPLETE and GSS_S_CONTINUE_NEEDED; 1 for any other major status, after its error record.
  int mapGSSReturn(unsigned major, unsigned minor);

 private:
  int openLibrary();
  int importName(gss_OID type);
  int releaseName();
  int retryWithDefaultNameType();
  void releaseToken();

  gss_cred_id_t credential = GSS_C_NO_CREDENTIAL;
  gss_name_t targetName = GSS_C_NO_NAME;
  gss_ctx_id_t contextHandle = GSS_C_NO_CONTEXT;
  gss_buffer_desc outputToken = GSS_C_EMPTY_BUFFER;
  gss_OID_desc nameType;
  ZuGSSCallMapper callMapper;
  unsigned short* gssClient = nullptr;              // owned, a ram block
  gss_buffer_desc nameBuffer = GSS_C_EMPTY_BUFFER;  // owned, a ram block
  uint32_t requestFlags = 0;
};

#endif
