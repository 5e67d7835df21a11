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
// before anything runs and as long as anything runs. The end of the process destroys none of them, since
// other threads run on.
//
// The headers declare what is not static here under the names in quotation marks, as objects of the plain
// types.

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
#include "zulib/runtime/zulifetime.h"
#include "zulib/runtime/zusemaph.h"
#include "zulib/storage/sort.h"
#include "zulib/storage/tmp.h"
#include "zulib/storage/zuvm.h"

static LibraryObject<IniInitialize> codePageProfiles;

ZU_API LibraryObject<ZuCriticalSection> ramLock asm("RAM_LOCK"){0u};

ZU_API LibraryObject<ZuCriticalSection> perThreadLock asm("MDS_PERTHREAD_LOCK"){0u};
static LibraryObject<ThreadListOwner> threadListOwner;

static zustorage::SorterStart sorterStart;
LibraryObject<ZuTmpFileList> tmpFiles asm("TMP_FILES");

ZU_API LibraryObject<ZuCriticalSection> vmLock asm("VM_LOCK"){0u};

ZU_API LibraryObject<ZuCriticalSection> gssLock asm("GSSLock"){0u};

static zuerrors::ReporterStart reporterStart;
ZU_API LibraryObject<ZuError> memoryError asm("MemoryError"){ErrSpecialMemory};
ZU_API LibraryObject<ZuError> dummyError asm("DummyError"){ErrSpecialDummy};

ZU_API LibraryObject<ZuMemorySource> emptyDataSource asm("AnEmptyDataSource"){nullptr, 0ul};

ZU_API LibraryObject<ZuCriticalSection> exchangeThreadLock asm("ExchangeThreadLock"){0u};
ZU_API LibraryObject<ZuSemaphore> exchangeTaskLock asm("ExchangeTaskLock"){nullptr, nullptr};

ZU_API LibraryObject<ZuSemaphoreInfo> semaphoreInfo asm("BOS_ZUSEMAPHORE_INFO");
ZU_API LibraryObject<ZuRunTimeDebug> runtimeDebug asm("BOS_RUNTIME_DEBUG");

LibraryObject<zuos::RegionList> regionLocks asm("REGION_LOCKS");

ZU_API LibraryObject<ZuCriticalSection> critOpen asm("CritOpen"){0u};
ZU_API LibraryObject<ZuCriticalSection> critCatalog asm("CritCatalog"){0u};
static LibraryObject<ResourceTexts> resourceTexts;

static LibraryObject<CursorLibraryStart> cursorLibraryStart;
ZU_API LibraryObject<ZuCriticalSection> cursorLibraryLock asm("CursorLibrarySingleThreadLock"){0u};

// The objects of the system that would outlive the process are removed at its end, too.
struct SystemObjects {
  SystemObjects() = default;
  SystemObjects(const SystemObjects&) = delete;
  SystemObjects& operator=(const SystemObjects&) = delete;
  ~SystemObjects() {
    tmpFiles->unlinkFiles();
    semaphoreInfo->removeSets();
  }
};
static SystemObjects systemObjects;
