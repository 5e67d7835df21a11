// Error records and lists: a bounded run of the fuzz target, which aborts where a list differs from its
// model, parameters in any state, stacked lists, and every allocation failing in turn.

#define LLVMFuzzerTestOneInput editErrors
#include "fuzz/errorlist_fuzz.cpp"

#include <gtest/gtest.h>

#include "tests/support/fault_allocator.h"

namespace {

using namespace errorfuzz;

const unsigned short* u16(const char16_t* text) { return reinterpret_cast<const unsigned short*>(text); }

std::u16string wideTextOf(ZuError& error) { return reinterpret_cast<const char16_t*>(error.getErrorTextW()); }

TEST(ErrorList, RandomCallsFollowTheModel) {
  Dice dice(6);
  for (int round = 0; round < 300; ++round) {
    const std::vector<uint8_t> commands = dice.bytes(160);
    ASSERT_EQ(editErrors(commands.data(), commands.size()), 0);
  }
}

TEST(ErrorList, TheMemoryRecordIsReadOnly) {
  Pushed list(1);
  ZuErrorKeeper::addMemoryError();
  ASSERT_EQ(list.getLastError(), &MemoryError);
  *list.getLastError() << "a" << 1L;
  ZuErrorKeeper::setLastErrorType(ErrTypeWarning);
  ZuErrorKeeper::appendTextToLastError(u8("more"));
  list.getLastError()->setInterfaceCode("HY001");
  EXPECT_TRUE(MemoryError.isStatic() && DummyError.isStatic());
  EXPECT_FALSE(MemoryError.isWarning());
  EXPECT_EQ(textOf(MemoryError), "Out Of Memory");
  EXPECT_EQ(wideTextOf(MemoryError), u"Out Of Memory");
  EXPECT_STREQ(MemoryError.getInterfaceCode(), "");
}

TEST(ErrorList, CatalogTextIsAppendedAtAPosition) {
  Pushed list(1);
  addError(10, u8("text"));
  appendTextToErrorAtPos(77, 0);
  appendTextToErrorAtPos(77, 1);
  EXPECT_EQ(textOf(*list.getFirstNode()), "text77") << "no catalog has 77";
}

TEST(Error, ParametersFillInOrderAndAppendedTextCountsAnew) {
  const Pushed list(1);
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
  for (const int supportMultiple : {0, 1}) {
    const Pushed list(supportMultiple);
    ZuError& error = addError(9, u16(u"<%s1>"));
    error << "\xFF\xFE";
    EXPECT_EQ(list.shown().substr(0, 3), "e9<");
    EXPECT_EQ(wideTextOf(error).substr(0, 1), u"<");
    EXPECT_EQ(wideTextOf(error).find(u"%s1"), std::u16string::npos);
    error.appendText(u8("\xC3\xA9"));
    EXPECT_EQ(wideTextOf(error).back(), u'\u00E9');
    EXPECT_EQ(textOf(error).substr(textOf(error).size() - 2), "\xC3\xA9");
  }
  const Pushed list(0);
  addDatabaseError(3, 77, u8("bad \xFF text"), ErrTypeError, zuCPUTF8);
  EXPECT_EQ(list.shown().substr(0, 3), "e3b") << "a message in another encoding does not hide its error";
}

TEST(Error, TextInUcs2HasItsWholeLength) {
  const Pushed list(1);
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
  for (const unsigned short id : {1, 2, 3}) addError(id, u8("text"));
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
    sizes += std::to_string(textOf(*error).size()) + " ";
  EXPECT_EQ(sizes, "4 2004 2004 ");
}

TEST(ErrorKeeper, ListsOfAThreadStackUp) {
  int outerOwner = 0;
  int innerOwner = 0;
  EXPECT_TRUE(addError(1).isDummyError()) << "no list";
  EXPECT_FALSE(ZuErrorKeeper::giveUpErrorList());
  {
    const Pushed outer(1, &outerOwner);
    {
      const Pushed inner(1, &innerOwner);
      addError(2);
      EXPECT_EQ(ZuErrorKeeper::getOwnerOfList(), &innerOwner);
    }
    EXPECT_EQ(ZuErrorKeeper::getOwnerOfList(), &outerOwner);
    addError(3);
    EXPECT_EQ(outer.shown(), "e33 ");

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

// Whatever allocation fails, each step returns something that can be used, and the list shows the failure.
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
