// Error records: what went wrong, on a list that belongs to the calling thread.
//
// A function that fails answers its failure value and has put a record on the thread's current list; whoever
// passes the failure on adds nothing. A driver's entry point pushes its list with
// `ZuErrorKeeper::setErrorList`, and reads and pops it (`giveUpErrorList`) when the work is done. Lists of
// one thread stack up, the newest on top. On a thread without a list, errors go nowhere, harmlessly.
//
// Reporting works when memory is gone: a list then only sets its out-of-memory flag, and answers as if the
// static record MemoryError stood on it. And parameters can be attached to whatever `addError` answers, by
// chained `<<`: when no record could be made it is the static DummyError, which swallows them.
//
// Ownership: a list owns its records and deletes them. `removeFirstError` and `removeLastError` hand a record
// over to the caller, who deletes it unless `isStatic()`.
//
// Thread use: a list, with its records, one thread at a time. The two static records are read-only.

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

  // The message: 16-bit, or in the record's code page. Both belong to the record and stand until its text
  // changes or is asked for again. "Out Of Memory" for the memory record, and when there is no memory for the
  // text.
  const unsigned char* getErrorText();
  const unsigned short* getErrorTextW();
  const ZuSubStringW& getErrorView() const { return text; }

  // The SQLSTATE that belongs to the error; empty until it is set. At most 5 characters are kept.
  const char* getInterfaceCode();
  void setInterfaceCode(const char* code);

  // The error number of the interface that raised it; 0 unless set.
  unsigned short getInterfaceError() const { return interfaceCode; }
  void setInterfaceError(unsigned short number);

  // Adds to the text. 0, or 1 with the text as it was. 8-bit text is read in the record's code page.
  int appendText(const unsigned char* more);
  int appendText(const unsigned short* more);

  // Fills the next placeholder. Answers the record, or the dummy when that failed. 8-bit text is read in the
  // record's code page, or in the view's own; one that cannot be read becomes "<unknown>", and nothing of
  // the attempt stays on the thread's list.
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

  static constexpr unsigned long codeSize = 6;  // a SQLSTATE and its terminator

  long nativeError = 0;              // error code of the source, or 0
  unsigned short errorNumber = 0;    // message number
  unsigned short interfaceCode = 0;  // error number of the interface
  ZuParamStringW text;               // the message, with its placeholders
  zuCPType codePage = zuCPUTF8;      // of the 8-bit text it was made from
  char codeText[codeSize] = "";      // what getInterfaceCode answers
  char codeBuffer[codeSize] = "";    // the SQLSTATE
  bool warning : 1;
  bool isStaticRecord : 1;  // never deleted
  bool memory : 1;          // stands for exhausted memory
  bool dummy : 1;           // swallows parameters
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
  // `owner` is the caller's own and only handed out again. With `supportMultiple` 0 the list keeps one real
  // error, the first.
  explicit ZuErrorList(void* owner = nullptr, int supportMultiple = 0);
  ZuErrorList(const ZuErrorList&) = delete;
  ZuErrorList& operator=(const ZuErrorList&) = delete;
  ~ZuErrorList() override;

  // What stands for exhausted memory and for a record that could not be made; new records. A driver with
  // records of its own class overrides them.
  virtual ZuError* getMemoryError();
  virtual ZuError* getDummyError();
  virtual ZuError* allocError(unsigned short number, const unsigned char* text, zuCPType page, ErrorType type,
                              unsigned short interfaceError, long native);
  virtual ZuError* allocError(unsigned short number, const unsigned short* text, ErrorType type,
                              unsigned short interfaceError, long native);

  // The last record, or null. The other two take the record off the list and hand it over. While the
  // out-of-memory flag stands all three answer the memory record, and those that remove clear the flag.
  ZuError* getLastError();
  ZuError* removeFirstError();
  ZuError* removeLastError();

  ErrorsMix getErrorsMix() const;
  // True when the list holds a real error; warnings alone do not count.
  bool isExistingError() const;

  // Appends the text of every record, with `separator` between them. 0, or 1 when memory is gone.
  int concatErrors(ZuString* target, unsigned short separator);

  // Makes warnings of all records behind `pos`.
  void setWarningAfterPos(unsigned long pos);
  // Appends the text to the record at `pos` and to all behind it.
  void appendTextStartingAtPos(const unsigned char* text, unsigned long pos);
  // Moves the last record to `pos`, when there is such a position.
  void moveLastErrorToPos(unsigned long pos);

  // Walk the records with the list's cursor; null at the end.
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
  void memoryIsGone();
  void leaveThread();

  void* owner;
  bool supportMultiple : 1;
  bool outOfMemory : 1;
  ZuErrorList* previous = nullptr;  // the list that this one covers
  ZuErrorList** slot = nullptr;     // the thread's cell, while the list is pushed
  unsigned short currentIndex = 0;  // the record that getNextNode answers
  ZuList displaced;  // records that the memory error replaced; whoever ran out of memory may be using them
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

  // Takes the record over and answers it; or deletes it and answers the dummy, when the list keeps one error
  // and has it. A null record is answered by the dummy.
  static ZuError& addError(ZuError* record);

  // The text goes behind that of the last record, and the next parameter fills its first placeholder.
  static void appendTextToLastError(const unsigned char* text);
  static void appendTextToLastError(const unsigned short* text);

  // Deletes the last record, or clears the out-of-memory flag.
  static void clearLastError();

  // Sets the out-of-memory flag, in place of the one real error if the list keeps only one. Allocates
  // nothing.
  static void addMemoryError();

  // Pushes a list; enters the thread (`mdsPerThreadInit`), unless its record is given. When there is no
  // memory for the thread's record the list is not pushed.
  static void setErrorList(ZuErrorList* list);
  static void setErrorList(ZuErrorList* list, ZuThreadInfo* info);

  // Pops the list on top and answers it, null when there is none; leaves the thread (`mdsPerThreadTerm`),
  // unless its record is given.
  static ZuErrorList* giveUpErrorList();
  static ZuErrorList* giveUpErrorList(ZuThreadInfo* info);

  static void* getOwnerOfList();
  static bool isExistingError();
};

// Post a record on the thread's list, as an error or a warning: with the catalog's text for `id`, or with a
// text (8-bit text in code page 1). All answer the record that stands on the list, or the dummy.
ZU_API ZuError& addError(unsigned short id);
ZU_API ZuError& addError(unsigned short id, const unsigned short* text);
ZU_API ZuError& addError(unsigned short id, const unsigned char* text);
ZU_API ZuError& addWarning(unsigned short id);

// The same with the error code and the message of a database.
ZU_API ZuError& addDatabaseError(unsigned short number, long native, const unsigned char* text,
                                 ErrorType type, zuCPType page);

// Append the catalog's text `id` to the last record, or to the record at `pos`; its placeholders count
// from 1.
ZU_API void appendTextToLastError(unsigned short id);
ZU_API void appendTextToErrorAtPos(unsigned short id, unsigned long pos);

namespace zuerrors {

// Registers the error list as the place where the lower floors report. Made once, at load.
struct ReporterStart {
  ReporterStart();
};

}  // namespace zuerrors

#endif
