// The result of an operation of a pipe.

#ifndef ZULIB_NET_ZUNETSTATUS_H
#define ZULIB_NET_ZUNETSTATUS_H

enum ZuNetStatus : int {
  netOk = 0,
  netError = -1,            // any failure that is none of the others
  netTimeout = -2,          // nothing came, or nothing could be sent, in time
  netAltTimeout = -3,       // nothing came within the alternate wait
  netConnectionLost = -13,  // the connection is gone, or was never opened
  netBadHandle = -233,      // reserved: nothing returns it
};

#endif
