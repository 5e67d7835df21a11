// Error records: what went wrong, on a list that belongs to the calling thread.
//
// A function that fails puts a record on the thread's current list and returns its failure value; callers
// that pass the failure on add nothing. A driver's entry point pushes its list with
// `ZuErrorKeeper::setErrorList`, and reads and pops it (`giveUpErrorList`) when the work is done. The lists
// of a thread form a stack. On a thread without a list, records are dropped.
//
// Reporting works if allocations fail: a list then only sets its out-of-memory flag, and behaves as if the
// static record MemoryError were its last. Parameters can be attached to whatever `addError` returns, by
// chained `<<`: if no record could be made it is the static DummyError, which ignores them.
//
//   ZuErrorList list;
//   ZuErrorKeeper::setErrorList(&list);
//   addError(9001) << "the first parameter" << 2UL;   // the text of number 9001, e.g. "%s1 and %d2"
//   ...
//   ZuErrorKeeper::giveUpErrorList();
//
// Ownership: a list owns its records and deletes them. `removeFirstError` and `removeLastError` hand a record
// over to the caller, who deletes it unless `isStatic()`.
//
// Thread safety: one thread at a time uses a list and its records. The two static records are read-only.

#ifndef ZULIB_ERRORS_ZUERROR_H
#define ZULIB_ERRORS_ZUERROR_H

#include "zulib/collections/zulist.h"
#include "zulib/collections/zusorted.h"
#include "zulib/runtime/mds.h"
#include "zulib/runtime/zuapi.h"
#include "zulib/text/zuparams.h"

enum ErrorType {
  ErrTypeError = 0,
  ErrTypeWarning = 1,
};

enum ErrSpecialError {
  ErrSpecialMemory = 1,
  ErrSpecialDummy = 2,
};

class ZU_API ZuError : public ZuNode {
 public:
  // A record of the text, which may have placeholders, read in code page `page`; or of a 16-bit text, whose
  // 8-bit form is then code page 3.
  ZuError(unsigned short number, const unsigned char* text, zuCPType page, ErrorType type,
          unsigned short interfaceError, long native);
  ZuError(unsigned short number, const unsigned short* text, ErrorType type, unsigned short interfaceError,
          long native);
  // One of the two static records.
  explicit ZuError(ErrSpecialError special);
  ZuError(const ZuError&) = delete;
  ZuError& operator=(const ZuError&) = delete;
  ~ZuError() override;

  unsigned short getErrorNumber() const { return errorNumber; }
  long getNativeError() const { return nativeError; }
  bool isWarning() const { return warning; }
  bool isStatic() const { return isStaticRecord; }
  bool isDummyError() const { return dummy; }

  // Without effect on a static record.
  void setWarning();
  void resetWarning();

  // The next parameter fills placeholder 1 again.
  void resetParamCount();

  // The message: 16-bit, or in the record's code page (in the locale's if that is UCS-2). The record owns
  // both; they are valid until its text changes or is requested again. "Out Of Memory" for the memory record,
  // and if the allocation of the text fails.
  const unsigned char* getErrorText();
  const unsigned short* getErrorTextW();
  const ZuSubStringW& getErrorView() const { return text; }

  // The SQLSTATE that belongs to the error; empty until it is set. At most 5 characters are kept.
  const char* getInterfaceCode();
  void setInterfaceCode(const char* code);

  // The error number of the interface that raised it; 0 unless set.
  unsigned short getInterfaceError() const { return interfaceCode; }
  void setInterfaceError(unsigned short number);

  // Adds to the text. 0, or 1 with the text unchanged. 8-bit text is read in the record's code page.
  int appendText(const unsigned char* more);
  int appendText(const unsigned short* more);

  // Fills the next placeholder. Returns the record, or the dummy on failure. 8-bit text is read in the
  // record's code page, or in the view's own; one that cannot be read becomes "<unknown>", and the attempt
  // leaves no record on the thread's list.
  ZuError& operator<<(const unsigned char* param);
  ZuError& operator<<(const unsigned short* param);
  ZuError& operator<<(unsigned long param);
  ZuError& operator<<(long param);
  ZuError& operator<<(const ZuSubString& param);
  ZuError& operator<<(const ZuSubStringW& param);
  ZuError& operator<<(const char* param) { return *this << reinterpret_cast<const unsigned char*>(param); }
  ZuError& operator<<(int param) { return *this << static_cast<long>(param); }
  ZuError& operator<<(unsigned param) { return *this << static_cast<unsigned long>(param); }

 private:
  template <class Param>
  ZuError& fill(const Param& param);

  static constexpr unsigned long kCodeSize = 6;  // a SQLSTATE and its terminator

  long nativeError = 0;              // error code of the source, or 0
  unsigned short errorNumber = 0;    // message number
  unsigned short interfaceCode = 0;  // error number of the interface
  ZuParamStringW text;               // the message, with its placeholders
  zuCPType codePage = zuCPUTF8;      // of the 8-bit text it was made from
  char codeText[kCodeSize] = "";     // what getInterfaceCode returns
  char codeBuffer[kCodeSize] = "";   // the SQLSTATE
  bool warning : 1;
  bool isStaticRecord : 1;  // never deleted
  bool memory : 1;          // the record of exhausted memory
  bool dummy : 1;           // ignores parameters
};

extern ZU_API ZuError MemoryError;
extern ZU_API ZuError DummyError;

// What a list holds.
enum ErrorsMix {
  ErrMixNone = 0,
  ErrMixBoth = 1,
  ErrMixErrors = 2,
  ErrMixWarnings = 3,
};

class ZU_API ZuErrorList : public ZuSortedArray {
 public:
  // `owner` is only returned by getOwnerOfList. With `supportMultiple` 0 the list keeps one real error, the
  // first.
  explicit ZuErrorList(void* owner = nullptr, int supportMultiple = 0);
  ZuErrorList(const ZuErrorList&) = delete;
  ZuErrorList& operator=(const ZuErrorList&) = delete;
  ~ZuErrorList() override;

  // The record of exhausted memory, the one in place of a record that could not be made, and new records. A
  // driver with records of its own class overrides them.
  virtual ZuError* getMemoryError();
  virtual ZuError* getDummyError();
  virtual ZuError* allocError(unsigned short number, const unsigned char* text, zuCPType page, ErrorType type,
                              unsigned short interfaceError, long native);
  virtual ZuError* allocError(unsigned short number, const unsigned short* text, ErrorType type,
                              unsigned short interfaceError, long native);

  // The last record, or null. The other two remove the record and hand it over. While the out-of-memory flag
  // is set all three return the memory record, and those that remove clear the flag.
  ZuError* getLastError();
  ZuError* removeFirstError();
  ZuError* removeLastError();

  ErrorsMix getErrorsMix() const;
  // True if the list holds a real error; warnings alone do not count.
  bool isExistingError() const;

  // Appends the text of every record, with `separator` between them. 0, or 1 if an allocation fails.
  int concatErrors(ZuString* target, unsigned short separator);

  // Makes all records after `pos` warnings.
  void setWarningAfterPos(unsigned long pos);
  // Appends the text to the record at `pos` and to all after it.
  void appendTextStartingAtPos(const unsigned char* text, unsigned long pos);
  // Moves the last record to `pos` if there is such a position.
  void moveLastErrorToPos(unsigned long pos);

  // Walks the records with the list's cursor; null at the end.
  ZuError* getFirstNode();
  ZuError* getNextNode();
  ZuError* getNodeAtPos(unsigned long pos);

  // Deletes the records, also those that the memory error replaced, and clears the out-of-memory flag.
  void clearErrors();

  bool isSupportMultipleErrors() const { return supportMultiple; }
  bool isOutOfMemory() const { return outOfMemory; }
  void setOutOfMemory() { outOfMemory = true; }
  void resetOutOfMemory() { outOfMemory = false; }
  unsigned short getCurrentIndex() const { return currentIndex; }
  void setCurrentIndex(unsigned short index) { currentIndex = index; }
  void* getOwnerOfList() const { return owner; }

  // Deletes records from the end until `n` are left.
  void shortenTo(unsigned long n);

 private:
  friend class ZuErrorKeeper;
  ZuError* errorAt(unsigned long pos) const { return static_cast<ZuError*>(at(pos)); }
  ZuError* removeError(unsigned long pos);
  void replaceByMemoryError();
  void displace(ZuError* record);
  void leaveThread();

  static constexpr unsigned kMostDisplaced = 8;

  void* owner;
  bool supportMultiple : 1;
  bool outOfMemory : 1;
  ZuErrorList* previous = nullptr;  // the list that this one covers
  ZuErrorList** slot = nullptr;     // the thread's cell, while the list is pushed
  unsigned short currentIndex = 0;  // the record that getNextNode returns
  // The latest records that the memory error replaced: the code whose allocation failed may still use them.
  ZuList displaced;
  unsigned displacedCount = 0;
};

// The calling thread's list, for classes that report errors. Without state.
class ZU_API ZuErrorKeeper {
 public:
  // The list on top, or null.
  static ZuErrorList* getErrorList();

  static ZuError* getLastError();
  static unsigned short getLastErrorNumber();  // 0 without a record
  static long getLastNativeError();            // 0 without a record
  static void setLastErrorType(ErrorType type);

  // Takes ownership of the record and returns it; or deletes it and returns the dummy, if the list keeps one
  // error and has it. For a null record it returns the dummy.
  static ZuError& addError(ZuError* record);

  // Appends the text to that of the last record; the next parameter fills its first placeholder.
  static void appendTextToLastError(const unsigned char* text);
  static void appendTextToLastError(const unsigned short* text);

  // Deletes the last record, or clears the out-of-memory flag.
  static void clearLastError();

  // Sets the out-of-memory flag, in place of the one real error if the list keeps only one. Allocates
  // nothing.
  static void addMemoryError();

  // Pushes a list; enters the thread (`mdsPerThreadInit`), unless its record is given. The list is not pushed
  // if the allocation of the thread's record fails.
  static void setErrorList(ZuErrorList* list);
  static void setErrorList(ZuErrorList* list, ZuThreadInfo* info);

  // Pops the list on top and returns it, null if there is none; leaves the thread (`mdsPerThreadTerm`),
  // unless its record is given.
  static ZuErrorList* giveUpErrorList();
  static ZuErrorList* giveUpErrorList(ZuThreadInfo* info);

  static void* getOwnerOfList();
  static bool isExistingError();
};

// Put a record on the thread's list, as an error or a warning: with the catalog's text for `id`, which is one
// of ZuMessage or a driver's own number, or with a text (8-bit text in code page 1). All return the record on
// the list, or the dummy.
ZU_API ZuError& addError(unsigned short id);
ZU_API ZuError& addError(unsigned short id, const unsigned short* text);
ZU_API ZuError& addError(unsigned short id, const unsigned char* text);
ZU_API ZuError& addWarning(unsigned short id);

// The same with the error code and the message of a database, which is text in `page`.
ZU_API ZuError& addDatabaseError(unsigned short number, long native, const unsigned char* text,
                                 ErrorType type, zuCPType page);

// Append the catalog's text `id` to the last record, or to the record at `pos`; its placeholders count
// from 1.
ZU_API void appendTextToLastError(unsigned short id);
ZU_API void appendTextToErrorAtPos(unsigned short id, unsigned long pos);

namespace zuerrors {

// Registers the error list for the reports of the lower floors. Constructed once, at load.
struct ReporterStart {
  ReporterStart();
};

}  // namespace zuerrors

#endif
