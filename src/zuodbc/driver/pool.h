// Connection pooling: the driver's side of a connection stays open when the application disconnects, and
// serves the next connection that asks for the same.
//
// It is off unless SQL_ATTR_CONNECTION_POOLING is set, for the process or an environment: one pool for each
// driver, or one for each environment. Two connections ask for the same if their driver, ODBC version, form
// and connection string, or name, user and password, agree byte for byte, and, with SQL_CP_STRICT_MATCH, also
// the attributes that were set before they connected.
//
// A connection goes into the pool only as new: reset by SQL_ATTR_RESET_CONNECTION; or, by a driver that does
// not know that but tells whether a connection lives, rolled back and set to autocommit, if the application
// changed nothing else. It leaves the pool only if the driver does not say that it is dead. One that nobody
// wants for a minute, or for as long as the key CPTimeout says, is closed when the pool is used next.
//
// Thread use: any thread.

#ifndef ZUODBC_DRIVER_POOL_H
#define ZUODBC_DRIVER_POOL_H

#include <atomic>
#include <string>

#include "zuodbc/handles/handles.h"

namespace dm {

// SQL_ATTR_CONNECTION_POOLING of the process, which environments begin with.
std::atomic<SQLULEN>& processPooling() noexcept;

// What a connection is found by, and for how many seconds it may be idle.
struct PoolKey {
  std::string text;  // empty if it is not to be pooled
  long idleSeconds = 60;
};

// `request` is what the application asked for. The key CPTimeout is that of the data source, or else of the
// driver as odbcinst.ini names it; with 0 a connection is not pooled.
PoolKey poolKey(const DMConn& conn, const std::string& library, const std::string& driver, bool byWide,
                const std::string& request);

// Gives an attached connection (driver/attach.h) the handles of a pooled one, in place of its own. False if
// there is none that lives.
bool takePooled(DMConn& conn, const std::string& key);

// The connection was opened, or taken, by that key.
void notePoolKey(DMConn& conn, const PoolKey& key);

// The application has set an attribute of the connection.
void notePoolAttribute(DMConn& conn, SQLINTEGER attribute) noexcept;

// Puts the driver's side of a connected connection into the pool, its statements and descriptors freed. False
// if it has to be disconnected instead.
bool givePooled(DMConn& conn);

// Closes what is pooled for an environment.
void closePool(const DMEnv& env) noexcept;

}  // namespace dm

#endif
