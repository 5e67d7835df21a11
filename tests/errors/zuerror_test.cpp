// Error records and lists: which record stands, what the out-of-memory state answers, parameters in any
// state, positions, stacked lists, and every allocation failing in turn.

#include "zulib/errors/zuerror.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "tests/support/fault_allocator.h"

namespace {

const unsigned char* u8(const char* text) { return reinterpret_cast<const unsigned char*>(text); }
const unsigned short* u16(const char16_t* text) { return reinterpret_cast<const unsigned short*>(text); }

std::string textOf(ZuError* error) { return reinterpret_cast<const char*>(error->getErrorText()); }
std::string textOf(ZuError& error) { return textOf(&error); }
std::u16string wideTextOf(ZuError& error) { return reinterpret_cast<const char16_t*>(error.getErrorTextW()); }

// Pushes a list for the life of a scope.
class Pushed : public ZuErrorList {
 public:
  explicit Pushed(int supportMultiple, void* owner = nullptr) : ZuErrorList(owner, supportMultiple) {
    ZuErrorKeeper::setErrorList(this);
  }
  ~Pushed() override { ZuErrorKeeper::giveUpErrorList(); }

  std::string numbers() const {
    std::string all;
    for (unsigned long i = 0; i < getCount(); ++i) {
      auto* error = static_cast<ZuError*>(at(i));
      all += (error->isWarning() ? "w" : "e") + std::to_string(error->getErrorNumber()) + " ";
    }
    return all;
  }
};

TEST(ErrorList, TheFirstErrorWinsUnlessManyAreKept) {
  {
    Pushed list(0);
    EXPECT_EQ(list.getErrorsMix(), ErrMixNone);
    addWarning(1);
    EXPECT_EQ(list.getErrorsMix(), ErrMixWarnings);
    EXPECT_FALSE(ZuErrorKeeper::isExistingError());
    addError(2, u8("first"));
    EXPECT_EQ(list.getErrorsMix(), ErrMixBoth);
    ZuError& refused = addError(7) << "a" << 5UL << u16(u"b") << -5L;
    EXPECT_TRUE(refused.isDummyError());
    EXPECT_TRUE(addWarning(8).isDummyError());
    EXPECT_EQ(list.numbers(), "w1 e2 ");
  }
  Pushed list(1);
  addError(1);
  addDatabaseError(2, -942, u8("no table"), ErrTypeWarning, zuCPLocale);
  EXPECT_EQ(list.numbers(), "e1 w2 ");
  EXPECT_EQ(ZuErrorKeeper::getLastErrorNumber(), 2);
  EXPECT_EQ(ZuErrorKeeper::getLastNativeError(), -942);
  ZuErrorKeeper::setLastErrorType(ErrTypeError);
  EXPECT_EQ(list.getErrorsMix(), ErrMixErrors);
  ZuErrorKeeper::clearLastError();
  ZuErrorKeeper::clearLastError();
  ZuErrorKeeper::clearLastError();
  EXPECT_EQ(list.numbers(), "");
  EXPECT_EQ(ZuErrorKeeper::getLastErrorNumber(), 0);
}

TEST(ErrorList, OutOfMemoryAnswersAsARecordWouldAndHidesTheOthers) {
  Pushed list(1);
  addError(5);
  ZuErrorKeeper::addMemoryError();
  for (int again = 0; again < 2; ++again) {
    ZuError* last = list.getLastError();
    ASSERT_EQ(last, &MemoryError);
    EXPECT_TRUE(last->isStatic());
    EXPECT_EQ(last->getErrorNumber(), 30190);
    EXPECT_EQ(textOf(last), "Out Of Memory");
    EXPECT_EQ(wideTextOf(*last), u"Out Of Memory");
  }
  // Nothing changes a record that all threads share.
  *list.getLastError() << "a" << 1L;
  ZuErrorKeeper::setLastErrorType(ErrTypeWarning);
  ZuErrorKeeper::appendTextToLastError(u8("more"));
  list.getLastError()->setInterfaceCode("HY001");
  EXPECT_FALSE(MemoryError.isWarning());
  EXPECT_EQ(textOf(MemoryError), "Out Of Memory");
  EXPECT_STREQ(MemoryError.getInterfaceCode(), "");

  EXPECT_EQ(list.removeLastError(), &MemoryError);
  EXPECT_FALSE(list.isOutOfMemory());
  ZuError* real = list.removeLastError();
  ASSERT_TRUE(real);
  EXPECT_EQ(real->getErrorNumber(), 5);
  delete real;
  EXPECT_FALSE(list.removeLastError());
  ZuErrorKeeper::addMemoryError();
  ZuErrorKeeper::clearLastError();
  EXPECT_FALSE(list.isOutOfMemory());
  ZuErrorKeeper::addMemoryError();
  list.clearErrors();
  EXPECT_FALSE(list.getLastError());
}

TEST(ErrorList, OutOfMemoryReplacesTheOneErrorThatIsKept) {
  Pushed list(0);
  addWarning(4);
  ZuErrorKeeper::addMemoryError();
  list.resetOutOfMemory();
  EXPECT_EQ(list.numbers(), "w4 ");
  addError(5);
  ZuErrorKeeper::addMemoryError();
  ZuErrorKeeper::addMemoryError();
  EXPECT_EQ(list.removeFirstError(), &MemoryError);
  EXPECT_EQ(list.numbers(), "w4 ");
}

TEST(ErrorList, WalksAndPositions) {
  Pushed list(1);
  for (unsigned short id : {10, 11, 12}) addError(id, u8("text"));
  EXPECT_EQ(list.getFirstNode()->getErrorNumber(), 10);
  EXPECT_EQ(list.getNextNode()->getErrorNumber(), 11);
  EXPECT_EQ(list.getNodeAtPos(1)->getErrorNumber(), 11);
  EXPECT_EQ(list.getCurrentIndex(), 2);
  EXPECT_FALSE(list.getNodeAtPos(3));
  EXPECT_EQ(list.getNextNode()->getErrorNumber(), 12);
  EXPECT_FALSE(list.getNextNode());

  list.setWarningAfterPos(0);
  EXPECT_EQ(list.numbers(), "e10 w11 w12 ");
  list.setWarningAfterPos(~0UL);
  list.moveLastErrorToPos(3);
  list.moveLastErrorToPos(0);
  EXPECT_EQ(list.numbers(), "w12 e10 w11 ");
  list.appendTextStartingAtPos(u8("+"), 1);
  ZuString all;
  ASSERT_EQ(list.concatErrors(&all, '|'), 0);
  EXPECT_EQ(reinterpret_cast<char*>(all.asCStr()), std::string("text|text+|text+"));

  appendTextToErrorAtPos(77, 0);
  appendTextToErrorAtPos(77, 3);
  EXPECT_EQ(textOf(list.getFirstNode()).substr(0, 4), "text");
  EXPECT_GT(textOf(list.getFirstNode()).size(), 4u);
  ZuError* first = list.removeFirstError();
  EXPECT_EQ(first->getErrorNumber(), 12);
  EXPECT_EQ(list.getCurrentIndex(), 0);
  delete first;
}

TEST(Error, ParametersFillInOrderAndAppendedTextCountsAnew) {
  Pushed list(1);
  const unsigned char view[] = {'v', 'i', 'e', 'w', 'X'};
  ZuError& error = addError(9, u16(u"%s1 %d2 %d3 %s4 %s5"));
  error << "one" << 2UL << -3L << ZuSubString(view, 4) << u16(u"five");
  EXPECT_EQ(textOf(error), "one 2 -3 view five");
  ZuErrorKeeper::appendTextToLastError(u16(u", then %s1"));
  error << ZuSubStringW(u16(u"lasting"), 4);
  EXPECT_EQ(wideTextOf(error), u"one 2 -3 view five, then last");

  EXPECT_STREQ(error.getInterfaceCode(), "");
  error.setInterfaceCode("01004 and more");
  error.setInterfaceError(60);
  EXPECT_STREQ(error.getInterfaceCode(), "01004");
  EXPECT_EQ(error.getInterfaceError(), 60);
}

TEST(Error, TextThatCannotBeReadLeavesNoRecordBehind) {
  for (int supportMultiple : {0, 1}) {
    Pushed list(supportMultiple);
    ZuError& error = addError(9, u16(u"<%s1>"));
    error << "\xFF\xFE";
    EXPECT_EQ(list.numbers(), "e9 ");
    EXPECT_EQ(wideTextOf(error).substr(0, 1), u"<");
    EXPECT_EQ(wideTextOf(error).find(u"%s1"), std::u16string::npos);
    error.appendText(u8("\xC3\xA9"));
    EXPECT_EQ(wideTextOf(error).back(), u'\u00E9');
    EXPECT_EQ(textOf(error).substr(textOf(error).size() - 2), "\xC3\xA9");
  }
  Pushed list(0);
  addDatabaseError(3, 77, u8("bad \xFF text"), ErrTypeError, zuCPUTF8);
  EXPECT_EQ(list.numbers(), "e3 ") << "a message in another encoding does not hide its error";
}

TEST(Error, TextInUcs2HasItsWholeLength) {
  Pushed list(1);
  const auto* const message = reinterpret_cast<const unsigned char*>(u"\u4e2d <%s1>");
  ZuError& error = addDatabaseError(3, 77, message, ErrTypeError, zuCPUCS2);
  error << reinterpret_cast<const unsigned char*>(u"\u00e9a");
  error.appendText(reinterpret_cast<const unsigned char*>(u" more"));
  EXPECT_EQ(wideTextOf(error), u"\u4e2d <\u00e9a> more");
}

// Counts its instances.
class CountedError : public ZuError {
 public:
  CountedError(unsigned short number, const unsigned short* text)
      : ZuError(number, text, ErrTypeError, 0, 0) {
    ++alive;
  }
  ~CountedError() override { --alive; }
  static inline int alive = 0;
};

TEST(ErrorList, ErrorsThatTheMemoryErrorReplacesDoNotPileUp) {
  Pushed list(0);
  for (int i = 0; i < 1000; ++i) {
    ZuError& error = ZuErrorKeeper::addError(new CountedError(5, u16(u"%s1")));
    ZuErrorKeeper::addMemoryError();
    error << "still there for whoever holds it";
    EXPECT_EQ(wideTextOf(error), u"still there for whoever holds it");
    list.resetOutOfMemory();
  }
  EXPECT_LE(CountedError::alive, 16);
  list.clearErrors();
  EXPECT_EQ(CountedError::alive, 0);
}

TEST(ErrorList, ARecordThatCannotBeExtendedDoesNotKeepTheOthersFromIt) {
  Pushed list(1);
  for (unsigned short id : {1, 2, 3}) addError(id, u8("text"));
  const std::string more(2000, '+');
  {
    FaultAllocator faults;
    faults.failAt(1);
    list.appendTextStartingAtPos(u8(more.c_str()), 0);
    EXPECT_TRUE(faults.triggered());
  }
  list.resetOutOfMemory();
  std::string sizes;
  for (ZuError* error = list.getFirstNode(); error; error = list.getNextNode())
    sizes += std::to_string(textOf(error).size()) + " ";
  EXPECT_EQ(sizes, "4 2004 2004 ");
}

TEST(ErrorKeeper, ListsOfAThreadStackUp) {
  int outerOwner = 0;
  int innerOwner = 0;
  EXPECT_TRUE(addError(1).isDummyError()) << "no list";
  EXPECT_FALSE(ZuErrorKeeper::giveUpErrorList());
  {
    Pushed outer(1, &outerOwner);
    {
      Pushed inner(1, &innerOwner);
      addError(2);
      EXPECT_EQ(ZuErrorKeeper::getOwnerOfList(), &innerOwner);
    }
    EXPECT_EQ(ZuErrorKeeper::getOwnerOfList(), &outerOwner);
    addError(3);
    EXPECT_EQ(outer.numbers(), "e3 ");

    // By record: the caller has entered the thread already. A list that goes while pushed leaves the stack.
    {
      ZuErrorList forgotten;
      ZuErrorKeeper::setErrorList(&forgotten, getThreadInfo());
      EXPECT_EQ(ZuErrorKeeper::getErrorList(), &forgotten);
    }
    EXPECT_EQ(ZuErrorKeeper::getErrorList(), &outer);
    ZuErrorList byRecord;
    ZuErrorKeeper::setErrorList(&byRecord, getThreadInfo());
    EXPECT_EQ(ZuErrorKeeper::giveUpErrorList(getThreadInfo()), &byRecord);
    EXPECT_EQ(ZuErrorKeeper::getErrorList(), &outer);
  }
  EXPECT_FALSE(ZuErrorKeeper::getErrorList());
}

TEST(ErrorKeeper, ThreadsDoNotSeeEachOther) {
  std::vector<std::thread> threads;
  for (unsigned short t = 1; t <= 6; ++t) {
    threads.emplace_back([t] {
      for (int round = 0; round < 100; ++round) {
        Pushed list(1);
        addError(t, u8("%d1")) << static_cast<long>(t);
        ZuErrorKeeper::addMemoryError();
        std::this_thread::yield();
        ASSERT_EQ(list.getCount(), 1u);
        ASSERT_EQ(list.removeLastError(), &MemoryError);
        ASSERT_EQ(textOf(list.getLastError()), std::to_string(t));
      }
    });
  }
  for (auto& thread : threads) thread.join();
}

TEST(ErrorList, ADriverBringsItsOwnRecords) {
  class DriverError : public ZuError {
   public:
    using ZuError::ZuError;
  };
  class DriverList : public ZuErrorList {
   public:
    using ZuErrorList::allocError;
    using ZuErrorList::ZuErrorList;
    ZuError* getDummyError() override { return &ownDummy; }
    ZuError* allocError(unsigned short number, const unsigned short* text, ErrorType type,
                        unsigned short interfaceError, long native) override {
      return new DriverError(number, text, type, interfaceError, native);
    }
    ZuError ownDummy{ErrSpecialDummy};
  };
  DriverList list;
  ZuErrorKeeper::setErrorList(&list);
  addError(1);
  EXPECT_TRUE(dynamic_cast<DriverError*>(list.getLastError()));
  EXPECT_EQ(&(addError(2) << "x"), &list.ownDummy);
  EXPECT_EQ(ZuErrorKeeper::giveUpErrorList(), &list);
}

// Whatever fails, each step answers something that can be used, and the list tells of it.
TEST(ErrorFaults, ReportingNeedsNoMemory) {
  for (int supportMultiple : {0, 1}) {
    sweepAllocations([&](FaultAllocator& faults) {
      ZuErrorList list(nullptr, supportMultiple);
      ZuErrorKeeper::setErrorList(&list);
      const bool pushed = ZuErrorKeeper::getErrorList() == &list;
      const bool early = faults.triggered();  // while there was no list to tell it to
      ZuError& error = addError(9, u16(u"%s1 and %s2 and %d3")) << "a parameter" << u16(u"another") << 77UL;
      const int appended = error.appendText(u8(" appended"));
      ZuString all;
      const int joined = list.concatErrors(&all, ' ');
      const unsigned char* text = error.getErrorText();
      const bool failed = faults.triggered();
      faults.stop();

      const FaultPause pause;
      if (failed) {
        EXPECT_TRUE(list.isOutOfMemory() || early);
      } else {
        EXPECT_EQ(reinterpret_cast<const char*>(text),
                  std::string("a parameter and another and 77 appended"));
        EXPECT_EQ(appended + joined, 0);
      }
      EXPECT_EQ(ZuErrorKeeper::giveUpErrorList(), pushed ? &list : nullptr);
      return !failed;
    });
  }
}

}  // namespace
