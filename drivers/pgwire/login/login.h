// The login: connects, starts the session and proves who the user is, in the way the server asks for: not at
// all, by password, MD5, SCRAM-SHA-256 or GSS.

#ifndef PGWIRE_LOGIN_LOGIN_H
#define PGWIRE_LOGIN_LOGIN_H

#include "login/settings.h"
#include "wire/session.h"

namespace pgwire {

// 0 with the session ready, or 1 with it closed and the cause recorded.
[[nodiscard]] int logIn(Session& session, const Settings& settings);

}  // namespace pgwire

#endif
