#include "zulib/net/internal/neterrors.h"

#include <cerrno>

#include "zulib/runtime/zumessages.h"

namespace zunet {

ZuNetStatus statusOf(unsigned number) {
  switch (number) {
    case EAGAIN:  // what the transport reports for a peer that closed
    case EPIPE:
    case ECONNRESET: return netConnectionLost;
    case ETIME:
    case ETIMEDOUT: return netTimeout;
    default: return netError;
  }
}

ZuError* addStatusError(ZuNetStatus status, long number) {
  ZuError* error = nullptr;
  switch (status) {
    case netError: error = &(addError(ZU_MSG_NET_ERROR) << number); break;
    case netTimeout: error = &addError(ZU_MSG_NET_TIMEOUT); break;
    case netConnectionLost: error = &addError(ZU_MSG_NET_CONNECTION_LOST); break;
    case netBadHandle: error = &addError(ZU_MSG_NET_BAD_HANDLE); break;
    case netOk:
    case netAltTimeout: return nullptr;
  }
  error->setInterfaceCode(kLinkFailure);
  return error;
}

void addLinkError(unsigned short number) {
  ZuError& error = addError(number);
  error.setInterfaceCode(kLinkFailure);
  error.setInterfaceError(kNetworkFailure);
}

}  // namespace zunet
