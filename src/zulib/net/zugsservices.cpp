#include "zulib/net/zugsservices.h"

#include <cstdlib>
#include <cstring>

#include "zulib/codepages/zutextconvert.h"
#include "zulib/errors/zuerror.h"
#include "zulib/runtime/ram.h"
#include "zulib/runtime/zumessages.h"
#include "zulib/text/strcopy.h"

namespace {

constexpr char kDefaultLibrary[] = "libgssapi_krb5.so";

// The functions of the GSS library, by their indexes in the mapper's table.
enum Entry : unsigned long {
  ImportName,
  AcquireCred,
  InitSecContext,
  DeleteSecContext,
  ReleaseBuffer,
  ReleaseCred,
  ReleaseName,
};
constexpr const char* kFunctions[] = {
    "gss_import_name",    "gss_acquire_cred", "gss_init_sec_context", "gss_delete_sec_context",
    "gss_release_buffer", "gss_release_cred", "gss_release_name",
};
static_assert(sizeof kFunctions / sizeof *kFunctions == ReleaseName + 1);

// The name type of a Kerberos principal, 1.2.840.113554.1.2.2.1.
// NOLINTNEXTLINE(readability-identifier-naming)
constexpr unsigned char KERBEROS5_MECH_PRINCIPAL_NAME_BYTES[] = {0x2A, 0x86, 0x48, 0x86, 0xF7,
                                                                 0x12, 0x01, 0x02, 0x02, 0x01};

struct StatusMessage {
  OM_uint32 major;
  ZuMessage message;
};
constexpr StatusMessage kMessages[] = {
    {GSS_S_DUPLICATE_TOKEN, ZU_MSG_GSS_DUPLICATE_TOKEN},
    {GSS_S_OLD_TOKEN, ZU_MSG_GSS_OLD_TOKEN},
    {GSS_S_UNSEQ_TOKEN, ZU_MSG_GSS_UNSEQ_TOKEN},
    {GSS_S_GAP_TOKEN, ZU_MSG_GSS_GAP_TOKEN},
    {GSS_S_BAD_MECH, ZU_MSG_GSS_BAD_MECH},
    {GSS_S_BAD_NAME, ZU_MSG_GSS_BAD_NAME},
    {GSS_S_BAD_NAMETYPE, ZU_MSG_GSS_BAD_NAMETYPE},
    {GSS_S_BAD_BINDINGS, ZU_MSG_GSS_BAD_BINDINGS},
    {GSS_S_BAD_STATUS, ZU_MSG_GSS_BAD_STATUS},
    {GSS_S_BAD_SIG, ZU_MSG_GSS_BAD_SIG},
    {GSS_S_NO_CRED, ZU_MSG_GSS_NO_CRED},
    {GSS_S_NO_CONTEXT, ZU_MSG_GSS_NO_CONTEXT},
    {GSS_S_DEFECTIVE_TOKEN, ZU_MSG_GSS_DEFECTIVE_TOKEN},
    {GSS_S_DEFECTIVE_CREDENTIAL, ZU_MSG_GSS_DEFECTIVE_CREDENTIAL},
    {GSS_S_CREDENTIALS_EXPIRED, ZU_MSG_GSS_CREDENTIALS_EXPIRED},
    {GSS_S_CONTEXT_EXPIRED, ZU_MSG_GSS_CONTEXT_EXPIRED},
    {GSS_S_FAILURE, ZU_MSG_GSS_FAILURE},
    {GSS_S_BAD_QOP, ZU_MSG_GSS_BAD_QOP},
    {GSS_S_UNAUTHORIZED, ZU_MSG_GSS_UNAUTHORIZED},
    {GSS_S_UNAVAILABLE, ZU_MSG_GSS_UNAVAILABLE},
    {GSS_S_DUPLICATE_ELEMENT, ZU_MSG_GSS_DUPLICATE_ELEMENT},
    {GSS_S_NAME_NOT_MN, ZU_MSG_GSS_NAME_NOT_MN},
    {GSS_S_CALL_INACCESSIBLE_READ, ZU_MSG_GSS_CALL_INACCESSIBLE_READ},
    {GSS_S_CALL_INACCESSIBLE_WRITE, ZU_MSG_GSS_CALL_INACCESSIBLE_WRITE},
    {GSS_S_CALL_BAD_STRUCTURE, ZU_MSG_GSS_CALL_BAD_STRUCTURE},
};

// The message of a status; one that combines several counts as a failure of no kind.
ZuMessage messageOf(OM_uint32 major) {
  for (const StatusMessage& row : kMessages) {
    if (row.major == major) return row.message;
  }
  return ZU_MSG_GSS_FAILURE;
}

const unsigned char* bytes(const char* text) { return reinterpret_cast<const unsigned char*>(text); }

// Calls a function of the GSS library, whose type is that of its namesake in the header.
template <class Function, class... Arguments>
OM_uint32 callLocked(const UtlLibCallMapper& mapper, Entry entry, OM_uint32* minor, Arguments... arguments) {
  auto* function = reinterpret_cast<Function*>(mapper.getDLLEntryPoint(entry));
  if (!function) {
    *minor = 0;
    return GSS_S_FAILURE;
  }
  const ZuCriticalSectionHolder lock(GSSLock);
  return function(minor, arguments...);
}

}  // namespace

// --- ZuSecurityServices ---

ZuSecurityServices* ZuSecurityServices::createSecurityService(const unsigned short* gssClient) {
  auto* services = new ZuGSServices;
  if (services && services->setGSSClient(gssClient) == 0) return services;
  delete services;
  return nullptr;
}

int ZuSecurityServices::setServicePrincipalName(const unsigned short*) { return 0; }

int ZuSecurityServices::getSecurityToken(unsigned char*, unsigned long, unsigned char*, unsigned long,
                                         unsigned long*, int*) {
  return 0;
}

// --- ZuGSSCallMapper ---

int ZuGSSCallMapper::initialize(const unsigned char* libraryName) {
  if (setDLLName(libraryName ? libraryName : bytes(kDefaultLibrary)) != 0) return 1;
  if (UtlLibCallMapper::initialize() != 0) return 1;
  for (unsigned long i = ImportName; i <= ReleaseName; ++i) {
    if (setDLLEntryPoint(bytes(kFunctions[i]), i) == 0) continue;
    abandon();
    return 1;
  }
  return 0;
}

OM_uint32 ZuGSSCallMapper::gss_import_name(OM_uint32* minor, gss_buffer_t text, gss_OID type,
                                           gss_name_t* name) {
  return callLocked<decltype(::gss_import_name)>(*this, ImportName, minor, text, type, name);
}

OM_uint32 ZuGSSCallMapper::gss_acquire_cred(OM_uint32* minor, gss_name_t name, OM_uint32 time,
                                            gss_OID_set mechanisms, gss_cred_usage_t usage,
                                            gss_cred_id_t* credential, gss_OID_set* actualMechanisms,
                                            OM_uint32* actualTime) {
  return callLocked<decltype(::gss_acquire_cred)>(*this, AcquireCred, minor, name, time, mechanisms, usage,
                                                  credential, actualMechanisms, actualTime);
}

OM_uint32 ZuGSSCallMapper::gss_init_sec_context(OM_uint32* minor, gss_cred_id_t credential,
                                                gss_ctx_id_t* context, gss_name_t name, gss_OID mechanism,
                                                OM_uint32 flags, OM_uint32 time,
                                                gss_channel_bindings_t bindings, gss_buffer_t input,
                                                gss_OID* actualMechanism, gss_buffer_t output,
                                                OM_uint32* actualFlags, OM_uint32* actualTime) {
  return callLocked<decltype(::gss_init_sec_context)>(*this, InitSecContext, minor, credential, context, name,
                                                      mechanism, flags, time, bindings, input,
                                                      actualMechanism, output, actualFlags, actualTime);
}

OM_uint32 ZuGSSCallMapper::gss_delete_sec_context(OM_uint32* minor, gss_ctx_id_t* context,
                                                  gss_buffer_t output) {
  return callLocked<decltype(::gss_delete_sec_context)>(*this, DeleteSecContext, minor, context, output);
}

OM_uint32 ZuGSSCallMapper::gss_release_buffer(OM_uint32* minor, gss_buffer_t buffer) {
  return callLocked<decltype(::gss_release_buffer)>(*this, ReleaseBuffer, minor, buffer);
}

OM_uint32 ZuGSSCallMapper::gss_release_cred(OM_uint32* minor, gss_cred_id_t* credential) {
  return callLocked<decltype(::gss_release_cred)>(*this, ReleaseCred, minor, credential);
}

OM_uint32 ZuGSSCallMapper::gss_release_name(OM_uint32* minor, gss_name_t* name) {
  return callLocked<decltype(::gss_release_name)>(*this, ReleaseName, minor, name);
}

// --- ZuGSServices ---

ZuGSServices::ZuGSServices()
    : nameType{sizeof KERBEROS5_MECH_PRINCIPAL_NAME_BYTES,
               const_cast<unsigned char*>(KERBEROS5_MECH_PRINCIPAL_NAME_BYTES)} {}

ZuGSServices::~ZuGSServices() {
  OM_uint32 minor;
  if (contextHandle) callMapper.gss_delete_sec_context(&minor, &contextHandle, GSS_C_NO_BUFFER);
  if (credential) callMapper.gss_release_cred(&minor, &credential);
  releaseToken();
  if (targetName) callMapper.gss_release_name(&minor, &targetName);
  std::free(gssClient);
  std::free(nameBuffer.value);
}

int ZuGSServices::setGSSClient(const unsigned short* name) {
  unsigned short* copy = nullptr;
  if (name) {
    const unsigned long size = (strLen(name) + 1) * sizeof *name;
    copy = static_cast<unsigned short*>(ramAlloc(size));
    if (!copy) return 1;
    std::memcpy(copy, name, size);
  }
  std::free(gssClient);
  gssClient = copy;
  return 0;
}

int ZuGSServices::setServicePrincipalName(const unsigned short* name) {
  if (!name) {
    addError(ZU_MSG_NO_SERVICE_NAME);
    return 1;
  }
  unsigned char* copy = ramAllocStr(reinterpret_cast<const unsigned char*>(name));
  if (!copy) return 1;
  std::free(nameBuffer.value);
  nameBuffer.value = copy;
  nameBuffer.length = strLen(copy) + 1;  // the terminator counts
  if (releaseName() != 0 || openLibrary() != 0) return 1;
  return importName(&nameType);
}

int ZuGSServices::getSecurityToken(unsigned char* input, unsigned long inputLength, unsigned char* output,
                                   unsigned long outputSize, unsigned long* outputLength,
                                   int* continueNeeded) {
  if (!targetName) {
    addError(ZU_MSG_NO_SERVICE_NAME);
    return 1;
  }
  if (openLibrary() != 0) return 1;
  gss_buffer_desc inputToken = GSS_C_EMPTY_BUFFER;
  if (input && inputLength) inputToken = {inputLength, input};
  OM_uint32 minor = 0;
  const auto makeToken = [&] {
    releaseToken();
    OM_uint32 actualFlags = 0;
    return callMapper.gss_init_sec_context(&minor, GSS_C_NO_CREDENTIAL, &contextHandle, targetName,
                                           GSS_C_NO_OID, requestFlags, 0, GSS_C_NO_CHANNEL_BINDINGS,
                                           &inputToken, nullptr, &outputToken, &actualFlags, nullptr);
  };
  OM_uint32 major = makeToken();
  if (major == GSS_S_BAD_NAMETYPE) {
    if (retryWithDefaultNameType() != 0) return 1;
    major = makeToken();
  }
  if (mapGSSReturn(major, minor) != 0) return 1;
  if (outputToken.length > outputSize) {
    addError(ZU_MSG_SECURITY_TOKEN_TOO_LONG);
    return 1;
  }
  if (outputToken.length) {
    std::memcpy(output, outputToken.value, outputToken.length);
    if (outputLength) *outputLength = outputToken.length;
  }
  if (continueNeeded) *continueNeeded = major == GSS_S_CONTINUE_NEEDED;
  return 0;
}

int ZuGSServices::mapGSSReturn(unsigned major, unsigned minor) {
  if (major == GSS_S_COMPLETE || major == GSS_S_CONTINUE_NEEDED) return 0;
  addError(messageOf(major)) << minor;
  return 1;
}

int ZuGSServices::openLibrary() {
  if (callMapper.getMapperInitialzed()) return 0;
  if (!gssClient) return callMapper.initialize(nullptr);
  unsigned char name[UtlLibCallMapper::kLongestName + 1];
  if (strLen(gssClient) > UtlLibCallMapper::kLongestName ||
      zuGetANSIStrFromUTF16Str(gssClient, name, sizeof name) < 0) {
    addError(ZU_MSG_LIBRARY_NOT_OPENED) << gssClient;
    return 1;
  }
  return callMapper.initialize(name);
}

int ZuGSServices::importName(gss_OID type) {
  OM_uint32 minor = 0;
  const OM_uint32 major = callMapper.gss_import_name(&minor, &nameBuffer, type, &targetName);
  return mapGSSReturn(major, minor);
}

int ZuGSServices::releaseName() {
  if (!targetName) return 0;
  OM_uint32 minor = 0;
  const OM_uint32 major = callMapper.gss_release_name(&minor, &targetName);
  targetName = GSS_C_NO_NAME;
  return mapGSSReturn(major, minor);
}

// For a mechanism that does not know the type of Kerberos principals.
int ZuGSServices::retryWithDefaultNameType() { return releaseName() != 0 || importName(GSS_C_NO_OID) != 0; }

void ZuGSServices::releaseToken() {
  OM_uint32 minor;
  if (outputToken.value) callMapper.gss_release_buffer(&minor, &outputToken);
  outputToken = GSS_C_EMPTY_BUFFER;
}
