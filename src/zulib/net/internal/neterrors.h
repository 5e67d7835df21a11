// How pipes judge the error numbers of the system, and the error records that they post.

#ifndef ZULIB_NET_INTERNAL_NETERRORS_H
#define ZULIB_NET_INTERNAL_NETERRORS_H

#include "zulib/errors/zuerror.h"
#include "zulib/net/zunetstatus.h"

namespace zunet {

constexpr char kLinkFailure[] = "08S01";        // the SQLSTATE of an error of a connection
constexpr unsigned short kNetworkFailure = 21;  // its interface error

// The status for an error number of a transfer. A time-out posts no error.
ZuNetStatus statusOf(unsigned number);

// Posts the message of a status with SQLSTATE 08S01; `number` is its parameter if it takes one. A status
// without a message posts nothing, and the result is null.
ZuError* addStatusError(ZuNetStatus status, long number);

// Posts message `number` with SQLSTATE 08S01 and the interface error of a network failure.
void addLinkError(unsigned short number);

}  // namespace zunet

#endif
