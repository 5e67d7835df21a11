/* One TCP connection, as a plain C interface: open, read, write, poll, close.
 *
 * The caller provides the memory of a connection, ConnectionObjectSize() bytes at any address; ConnectionOpen
 * makes a connection object of it. Every function of a connection reports a failure three times: by its
 * result, by `*error` (0 on success), and in the object, where ConnectionError finds it.
 *
 * An error code is the system's error number, or one of the two below. An error text names the function and
 * the system call that failed: "ConnectionRead (recv())."
 *
 *   char object[548];
 *   unsigned error;
 *   if (ConnectionOpen(object, "db.example.com,5432", &error)) {
 *     ConnectionWrite(object, "hello", 5, &error);
 *     ConnectionClose(object, &error);
 *   }
 *
 * Closing resets the connection: what the peer has not received by then is lost. A peer that is gone never
 * raises SIGPIPE. A signal that interrupts a call makes it fail with EINTR.
 *
 * Threads: one at a time for each connection; any number of connections. */

#ifndef ZULIB_NET_CONNECTION_H
#define ZULIB_NET_CONNECTION_H

#include "zulib/runtime/zuapi.h"

#ifdef __cplusplus
extern "C" {
#endif

enum {
  kConnectionFailed = 11,    /* the peer closed, or an address is bad or has no host */
  kConnectionTimedOut = 110, /* nothing came within the 10 seconds that a read waits */
};

/* 548, the size of a connection object in bytes. */
ZU_API unsigned ConnectionObjectSize(void);

/* The version of this interface, 0x07000207. */
ZU_API unsigned ConnectionVer(void);

/* Connects to `address`: "host,port", where host is a dotted IPv4 address or a name of 1 to 4095 characters.
 * Names are looked up as IPv4 only. Returns 1, or 0 with the object closed. The object may be uninitialised
 * memory, or closed; one that is open loses its socket. A bad address fails with kConnectionFailed, and the
 * error text shows the address. */
ZU_API int ConnectionOpen(void* conn, const char* address, unsigned* error);

/* Returns 1 if the connection is closed now or was before, 0 if closing failed. It is closed in any case. */
ZU_API int ConnectionClose(void* conn, unsigned* error);

/* Waits up to 10 seconds for data and reads at most `length` bytes of it, in one go: fewer may come. Returns
 * the bytes read, or 0 on failure. The last two numbers are ignored. */
ZU_API unsigned short ConnectionRead(void* conn, void* buffer, unsigned short length, unsigned short,
                                     unsigned short, unsigned* error);

/* Writes all of `length` bytes, as data or as out-of-band data. Returns `length`, or 0 on failure, even if
 * some bytes went out. */
ZU_API unsigned short ConnectionWrite(void* conn, const void* buffer, unsigned short length, unsigned* error);
ZU_API unsigned short ConnectionWriteOOB(void* conn, const void* buffer, unsigned short length,
                                         unsigned* error);

/* ConnectionWrite, and if all went out, ConnectionRead with the two numbers. Returns the bytes read, or 0 on
 * failure. */
ZU_API unsigned short ConnectionTransact(void* conn, void* readBuffer, const void* writeBuffer,
                                         unsigned short writeLength, unsigned short readLength,
                                         unsigned short, unsigned short, unsigned* error);

/* Returns 1, and stores 1 in `*hasData`, if data can be read at once. Returns 0 if there is none, with no
 * error, or if the connection has failed. */
ZU_API int ConnectionCheckForData(void* conn, unsigned* hasData, unsigned* error);

/* The last failure: its code, its text, which lies in the object, and kConnectionFailed as detail. Each
 * pointer may be null. Returns 1. */
ZU_API int ConnectionError(void* conn, unsigned* code, const char** text, unsigned* detail);

/* These do nothing. ConnectionStatus returns 0. */
ZU_API int ConnectionStatus(void* conn, unsigned short);
ZU_API void ConnectionMode(void* conn, unsigned short);

/* Servers cannot be enumerated: stores 0 in `*count` unless it is null, and returns 2. */
ZU_API int ConnectionServerEnum(void* handle, unsigned short, unsigned short* count);
ZU_API int ConnectionServerEnumW(void* handle, unsigned short, unsigned short* count);

/* Looks up the first IPv4 address of `name`, in network order. Returns null, or the name of the call that
 * failed ("" if the name has no address), with the look-up's error word in `*error`. */
ZU_API const char* MapHostNameToAddress(void* conn, const char* name, unsigned* address, unsigned* error);

#ifdef __cplusplus
}
#endif

#endif
