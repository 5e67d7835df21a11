#include "zuodbc/driver/pool.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <list>
#include <map>
#include <mutex>

#include "zuodbc/call/drivercall.h"
#include "zuodbc/call/values.h"
#include "zuodbc/driver/driverloading.h"
#include "zuodbc/sources/datasource.h"

namespace dm {
namespace {

using Clock = std::chrono::steady_clock;
constexpr long kMostIdleSeconds = 100'000'000;  // more is for ever

struct PooledConnection {
  std::string key;
  const LoadedDriver* driver;
  const DMEnv* owner;  // null: any environment's
  void* driverEnv;
  void* driverConn;
  bool driverKnowsVersion;
  Clock::time_point until;
};

// What is known of a connection in use that is to be pooled.
struct Use {
  PoolKey key;
  bool isChanged = false;  // by an attribute that only a reset takes back
};

struct Pool {
  std::mutex lock;  // guards the rest
  std::list<PooledConnection> idle;
  std::map<const DMConn*, Use> inUse;
};

// Never destroyed: connections may outlive static destruction.
Pool& pool() {
  static auto& one = *new Pool;
  return one;
}

void freeHandle(const DMDriverFunctions& driver, SQLSMALLINT type, void* handle) {
  guardQuietly([&] {
    if (driver.SQLFreeHandle) return ask(driver.SQLFreeHandle, type, handle);
    switch (type) {
      case SQL_HANDLE_STMT: return ask(driver.SQLFreeStmt, handle, static_cast<SQLUSMALLINT>(SQL_DROP));
      case SQL_HANDLE_DBC: return ask(driver.SQLFreeConnect, handle);
      default: return ask(driver.SQLFreeEnv, handle);
    }
  });
}

void closeConnection(const PooledConnection& one) {
  const DMDriverFunctions& driver = one.driver->functions();
  guardQuietly([&] { return ask(driver.SQLDisconnect, one.driverConn); });
  freeHandle(driver, SQL_HANDLE_DBC, one.driverConn);
  freeHandle(driver, SQL_HANDLE_ENV, one.driverEnv);
}

// The connections for which `isMeant` holds, out of the pool.
template <class IsMeant>
std::list<PooledConnection> takeOut(IsMeant&& isMeant) {
  Pool& all = pool();
  std::list<PooledConnection> taken;
  const std::lock_guard guard(all.lock);
  for (auto at = all.idle.begin(); at != all.idle.end();) {
    const auto next = std::next(at);
    if (isMeant(*at)) taken.splice(taken.end(), all.idle, at);
    at = next;
  }
  return taken;
}

void closeIdle() {
  const auto now = Clock::now();
  for (const PooledConnection& one : takeOut([&](const PooledConnection& p) { return p.until < now; }))
    closeConnection(one);
}

// What the driver says of a connection: SQL_CD_TRUE, SQL_CD_FALSE, or -1 if it does not say.
long askDead(const DMDriverFunctions& driver, void* driverConn) {
  const auto getAttr = driver.SQLGetConnectAttr ? driver.SQLGetConnectAttr : driver.SQLGetConnectAttrW;
  SQLUINTEGER dead = SQL_CD_FALSE;
  const SQLRETURN rc = guardQuietly([&] {
    return ask(getAttr, driverConn, static_cast<SQLINTEGER>(SQL_ATTR_CONNECTION_DEAD),
               static_cast<SQLPOINTER>(&dead), static_cast<SQLINTEGER>(sizeof dead),
               static_cast<SQLINTEGER*>(nullptr));
  });
  return SQL_SUCCEEDED(rc) ? static_cast<long>(dead) : -1;
}

bool setNumber(DMConn& conn, SQLINTEGER attribute, SQLULEN value) {
  const DMDriverFunctions& driver = *conn.driverFunctions;
  const auto setAttr = driver.SQLSetConnectAttr ? driver.SQLSetConnectAttr : driver.SQLSetConnectAttrW;
  return SQL_SUCCEEDED(guardQuietly([&] {
    return ask(setAttr, conn.driverHandle, attribute, asPointer(value),
               static_cast<SQLINTEGER>(SQL_IS_UINTEGER));
  }));
}

void freeStatements(DMConn& conn) {
  const DMDriverFunctions& driver = *conn.driverFunctions;
  const std::lock_guard guard(conn.state->lock);
  for (DMStmt* stmt = conn.state->firstStmt; stmt; stmt = stmt->state->next) {
    if (stmt->driverHandle) freeHandle(driver, SQL_HANDLE_STMT, stmt->driverHandle);
  }
  for (const DMDesc* desc : conn.state->descriptors) {
    if (desc->driverHandle) freeHandle(driver, SQL_HANDLE_DESC, desc->driverHandle);
  }
}

// Makes the connection as it was when it was opened.
bool makeNew(DMConn& conn, const Use& use) {
  if (setNumber(conn, SQL_ATTR_RESET_CONNECTION, SQL_RESET_CONNECTION_YES)) return true;
  if (use.isChanged || askDead(*conn.driverFunctions, conn.driverHandle) != SQL_CD_FALSE) return false;
  conn.DoTransaction(SQL_HANDLE_DBC, SQL_ROLLBACK, 1);
  dropUnsettled(conn);
  return setNumber(conn, SQL_ATTR_AUTOCOMMIT, SQL_AUTOCOMMIT_ON);
}

// What CPTimeout says; a minute if it is not there or no number.
long readIdleSeconds(const std::string& dataSource, const std::string& driver) {
  std::string text = valueOf(dataSource, "CPTimeout");
  if (text.empty()) text = valueOfDriver(driver, "CPTimeout");
  char* end = nullptr;
  const long seconds = std::strtol(text.c_str(), &end, 10);
  if (text.empty() || *end || seconds < 0) return PoolKey().idleSeconds;
  return std::min(seconds, kMostIdleSeconds);
}

bool ofEnvironment(const DMConn& conn) { return conn.env->state->connectionPooling == SQL_CP_ONE_PER_HENV; }

}  // namespace

std::atomic<SQLULEN>& processPooling() noexcept {
  static std::atomic<SQLULEN> pooling{SQL_CP_OFF};
  return pooling;
}

PoolKey poolKey(const DMConn& conn, const std::string& library, const std::string& driver, bool byWide,
                const std::string& request) {
  const DMEnvState& env = *conn.env->state;
  if (env.connectionPooling == SQL_CP_OFF) return {};
  const long idleSeconds = readIdleSeconds(conn.state->dataSource, driver);
  if (idleSeconds == 0) return {};
  std::string key = library + '\0' + std::to_string(conn.env->odbcVersion) + (byWide ? 'w' : 'n') + request;
  if (env.poolingMatch == SQL_CP_STRICT_MATCH) {
    for (const auto& [attribute, kept] : conn.state->keptAttributes) {
      key += '\0' + std::to_string(attribute) + '=' + std::to_string(kept.value) + kept.text;
    }
  }
  return {key, idleSeconds};
}

bool takePooled(DMConn& conn, const std::string& key) {
  closeIdle();
  const DMEnv* owner = ofEnvironment(conn) ? conn.env : nullptr;
  for (;;) {
    bool isFound = false;
    const auto found = takeOut([&](const PooledConnection& one) {
      const bool isMeant = !isFound && one.owner == owner && one.key == key;
      isFound |= isMeant;
      return isMeant;
    });
    if (found.empty()) return false;
    const PooledConnection& one = found.front();
    if (askDead(one.driver->functions(), one.driverConn) == SQL_CD_TRUE) {
      closeConnection(one);
      continue;
    }
    freeHandle(*conn.driverFunctions, SQL_HANDLE_DBC, conn.driverHandle);
    freeHandle(*conn.driverFunctions, SQL_HANDLE_ENV, conn.state->driverEnv);
    conn.driverHandle = one.driverConn;
    conn.state->driverEnv = one.driverEnv;
    conn.state->driverKnowsVersion = one.driverKnowsVersion;
    return true;
  }
}

void notePoolKey(DMConn& conn, const PoolKey& key) {
  const std::lock_guard guard(pool().lock);
  pool().inUse[&conn] = {key};
}

void notePoolAttribute(DMConn& conn, SQLINTEGER attribute) noexcept {
  if (attribute == SQL_ATTR_AUTOCOMMIT) return;
  const std::lock_guard guard(pool().lock);
  const auto found = pool().inUse.find(&conn);
  if (found != pool().inUse.end()) found->second.isChanged = true;
}

bool givePooled(DMConn& conn) {
  Use use;
  {
    const std::lock_guard guard(pool().lock);
    auto node = pool().inUse.extract(&conn);
    if (node.empty()) return false;
    use = std::move(node.mapped());
  }
  closeIdle();
  if (conn.env->state->connectionPooling == SQL_CP_OFF) return false;
  std::list<PooledConnection> one;
  one.push_back({use.key.text, conn.state->driver, ofEnvironment(conn) ? conn.env : nullptr,
                 conn.state->driverEnv, conn.driverHandle, conn.state->driverKnowsVersion,
                 Clock::now() + std::chrono::seconds(use.key.idleSeconds)});
  if (!makeNew(conn, use)) return false;
  freeStatements(conn);
  conn.driverHandle = nullptr;
  conn.state->driverEnv = nullptr;
  const std::lock_guard guard(pool().lock);
  pool().idle.splice(pool().idle.end(), one);
  return true;
}

void closePool(const DMEnv& env) noexcept {
  try {
    for (const PooledConnection& one : takeOut([&](const PooledConnection& p) { return p.owner == &env; }))
      closeConnection(one);
  } catch (const std::bad_alloc&) {  // they stay open, and nobody can ask for them
  }
}

}  // namespace dm
