// The library's objects that are constructed at load and destroyed at unload. They are in one file because
// the language defines their order only within a file. dlopen and dlclose may load and unload the library any
// number of times; each load runs this file from top to bottom, each unload from bottom to top.
//
// The order, by what each step constructs:
//    0  the profiles of code pages
//    1  RAM_LOCK
//    2  MDS_PERTHREAD_LOCK
//    3  the sorter's start, TMP_FILES
//    4  VM_LOCK
//    5  the lock of the security tokens
//    6  MemoryError, DummyError
//    7  the statics of the data sources
//    8  ExchangeThreadLock, ExchangeTaskLock
//    9  the statics of the counted libraries
//   10  BOS_ZUSEMAPHORE_INFO, BOS_RUNTIME_DEBUG
//   11  the statics of the region locks
//   12  the statics of the install directory
//   13  thisDLL, CursorLibrarySingleThreadLock
// Locks and error records come early, so that the constructors and destructors of all that follows may take
// locks and report errors. The profiles come before all of them: they need neither, and code pages are known
// before anything runs and as long as anything runs. A step whose part of the library is not built yet is
// missing below.

#include "zulib/codepages/ucnvconv.h"
#include "zulib/convert/sources/zumemory.h"
#include "zulib/errors/zuerror.h"
#include "zulib/net/zugsservices.h"
#include "zulib/os/catalogs/boscatalog.h"
#include "zulib/os/files/regionlist.h"
#include "zulib/os/host/zusemaphoreinfo.h"
#include "zulib/runtime/mds.h"
#include "zulib/runtime/zucritse.h"
#include "zulib/runtime/zudebug.h"
#include "zulib/runtime/zusemaph.h"
#include "zulib/storage/sort.h"
#include "zulib/storage/tmp.h"
#include "zulib/storage/zuvm.h"

static IniInitialize codePageProfiles;

ZuCriticalSection RAM_LOCK(0);

ZuCriticalSection MDS_PERTHREAD_LOCK(0);
static ThreadListOwner threadListOwner;

static zustorage::SorterStart sorterStart;
ZuTmpFileList TMP_FILES;

ZuCriticalSection VM_LOCK(0);

ZuCriticalSection GSSLock(0);

static zuerrors::ReporterStart reporterStart;
ZuError MemoryError(ErrSpecialMemory);
ZuError DummyError(ErrSpecialDummy);

ZuMemorySource AnEmptyDataSource(nullptr, 0);

ZuCriticalSection ExchangeThreadLock(0);
ZuSemaphore ExchangeTaskLock(nullptr, nullptr);

ZuSemaphoreInfo BOS_ZUSEMAPHORE_INFO;
ZuRunTimeDebug BOS_RUNTIME_DEBUG;

zuos::RegionList REGION_LOCKS;

ZuCriticalSection CritOpen(0);
ZuCriticalSection CritCatalog(0);
static ResourceTexts resourceTexts;

static CursorLibraryStart cursorLibraryStart;
ZuCriticalSection CursorLibrarySingleThreadLock(0);
