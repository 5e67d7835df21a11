#include "tests/net/scripted_gss/scripted_gss.h"

#include <gssapi/gssapi.h>

#include <cstdlib>
#include <cstring>

namespace {

ScriptedGss script;

gss_OID_desc name;     // what a name handle points to
gss_OID_desc context;  // and a context handle

OM_uint32 called(char letter, OM_uint32* minor) {
  script.calls += letter;
  ++script.count;
  *minor = script.minor;
  return GSS_S_COMPLETE;
}

}  // namespace

extern "C" {

ScriptedGss* scriptedGss() { return &script; }

OM_uint32 gss_import_name(OM_uint32* minor, gss_buffer_t text, gss_OID type, gss_name_t* out) {
  called(type ? 'i' : 'I', minor);
  script.name.assign(static_cast<char*>(text->value), text->length);
  if (script.importResult) return script.importResult;
  ++script.live;
  *out = reinterpret_cast<gss_name_t>(&name);
  return GSS_S_COMPLETE;
}

OM_uint32 gss_acquire_cred(OM_uint32* minor, gss_name_t, OM_uint32, gss_OID_set, gss_cred_usage_t,
                           gss_cred_id_t*, gss_OID_set*, OM_uint32*) {
  return called('a', minor);
}

OM_uint32 gss_init_sec_context(OM_uint32* minor, gss_cred_id_t credential, gss_ctx_id_t* handle,
                               gss_name_t target, gss_OID mechanism, OM_uint32 flags, OM_uint32 time,
                               gss_channel_bindings_t bindings, gss_buffer_t input, gss_OID* actualMechanism,
                               gss_buffer_t output, OM_uint32* actualFlags, OM_uint32* actualTime) {
  const bool asExpected = !credential && target && !mechanism && time == 0 && !bindings && !actualMechanism &&
                          actualFlags && !actualTime;
  called(asExpected ? 'c' : '?', minor);
  script.flags = flags;
  script.lastInput.assign(input->value ? static_cast<char*>(input->value) : "", input->length);
  if (!*handle) ++script.live;
  *handle = reinterpret_cast<gss_ctx_id_t>(&context);
  const unsigned result = script.initResults.empty() ? 0 : script.initResults.front();
  if (script.initResults.size() > 1) script.initResults.erase(script.initResults.begin());
  if (!script.token.empty()) {
    ++script.live;
    output->length = script.token.size();
    output->value = std::malloc(output->length);
    std::memcpy(output->value, script.token.data(), output->length);
  }
  return result;
}

OM_uint32 gss_delete_sec_context(OM_uint32* minor, gss_ctx_id_t* handle, gss_buffer_t output) {
  --script.live;
  *handle = GSS_C_NO_CONTEXT;
  return called(output ? '?' : 'd', minor);
}

OM_uint32 gss_release_buffer(OM_uint32* minor, gss_buffer_t buffer) {
  --script.live;
  std::free(buffer->value);
  *buffer = GSS_C_EMPTY_BUFFER;
  return called('b', minor);
}

OM_uint32 gss_release_cred(OM_uint32* minor, gss_cred_id_t*) { return called('r', minor); }

#ifndef WITHOUT_RELEASE_NAME
OM_uint32 gss_release_name(OM_uint32* minor, gss_name_t* handle) {
  --script.live;
  *handle = GSS_C_NO_NAME;
  called('n', minor);
  return script.releaseNameResult;
}
#endif

}  // extern "C"
