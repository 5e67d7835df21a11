// Error records and lists: which record is kept, what the out-of-memory state hides, parameters in any
// state, positions, stacked lists, and every allocation failing in turn.

#include "zulib/errors/zuerror.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <utility>
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

// What a list holds, by the rules.
struct Model {
  struct Record {
    unsigned short number;
    bool warning;
    std::string text;
  };
  bool many;
  bool memory = false;
  std::vector<Record> records{};
  unsigned short index = 0;

  bool hasError() const {
    return std::any_of(records.begin(), records.end(), [](const Record& r) { return !r.warning; });
  }
  std::string shown() const {
    std::string all;
    for (const Record& r : records) all += (r.warning ? "w" : "e") + std::to_string(r.number) + r.text + " ";
    return all;
  }
  bool add(const Record& record) {
    if (!many && hasError()) return false;
    records.push_back(record);
    return true;
  }
  // The number of the record that leaves; 0 for none.
  unsigned short remove(bool first) {
    if (std::exchange(memory, false)) return 30190;
    index = 0;
    if (records.empty()) return 0;
    const auto at = first ? records.begin() : records.end() - 1;
    const unsigned short number = at->number;
    records.erase(at);
    return number;
  }
};

unsigned short numberOf(const ZuError* error) {
  return error ? error->getErrorNumber() : static_cast<unsigned short>(0);
}

TEST(ErrorList, RandomCallsFollowTheModel) {
  std::mt19937 random(6);
  for (int round = 0; round < 200 && !testing::Test::HasFailure(); ++round) {
    Model model{round % 2 == 0};
    Pushed list(model.many);
    for (unsigned short step = 1; step < 60 && !testing::Test::HasFailure(); ++step) {
      SCOPED_TRACE(std::to_string(round) + ", " + std::to_string(step) + ": " + model.shown());
      const unsigned long count = model.records.size();
      const unsigned long pos = random() % (count + 2);
      const auto remove = [&](bool first) {
        ZuError* const gone = first ? list.removeFirstError() : list.removeLastError();
        EXPECT_EQ(numberOf(gone), model.remove(first));
        if (gone && !gone->isStatic()) delete gone;
      };
      switch (random() % 15) {
        case 0:
          EXPECT_EQ((addError(step, u8("%s1")) << "a" << 5UL).isDummyError(), !model.add({step, false, "a"}));
          break;
        case 1:
          EXPECT_EQ(addDatabaseError(step, -942, u8("t"), ErrTypeWarning, zuCPLocale).isDummyError(),
                    !model.add({step, true, "t"}));
          EXPECT_TRUE(count == model.records.size() || model.memory ||
                      ZuErrorKeeper::getLastNativeError() == -942);
          break;
        case 2:
          ZuErrorKeeper::addMemoryError();
          if (!model.many && !model.memory && model.hasError()) model.remove(false);
          model.memory = true;
          break;
        case 3: remove(true); break;
        case 4: remove(false); break;
        case 5:
          ZuErrorKeeper::clearLastError();
          model.remove(false);
          break;
        case 6:
          if (random() % 5) break;
          list.clearErrors();
          model.records.clear();
          model.memory = false;
          break;
        case 7: {
          const bool warning = random() % 2;
          ZuErrorKeeper::setLastErrorType(warning ? ErrTypeWarning : ErrTypeError);
          if (count && !model.memory) model.records.back().warning = warning;
          break;
        }
        case 8:
          list.setWarningAfterPos(pos);
          list.setWarningAfterPos(~0UL);
          for (unsigned long i = pos + 1; i < count; ++i) model.records[i].warning = true;
          break;
        case 9:
          list.appendTextStartingAtPos(u8("+"), pos);
          for (unsigned long i = pos; i < count; ++i) model.records[i].text += "+";
          break;
        case 10:
          list.moveLastErrorToPos(pos);
          if (pos < count)
            std::rotate(model.records.begin() + static_cast<long>(pos), model.records.end() - 1,
                        model.records.end());
          break;
        case 11:
          EXPECT_EQ(numberOf(list.getNodeAtPos(pos)), pos < count ? model.records[pos].number : 0);
          if (pos < count) model.index = static_cast<unsigned short>(pos + 1);
          break;
        case 12:
          EXPECT_EQ(numberOf(list.getNextNode()),
                    model.index < count ? model.records[model.index++].number : 0);
          break;
        case 13:
          ZuErrorKeeper::appendTextToLastError(u8("!"));
          if (count && !model.memory) model.records.back().text += "!";
          break;
        default: list.resetOutOfMemory(); model.memory = false;
      }
      std::string shown;
      for (unsigned long i = 0; i < list.getCount(); ++i) {
        auto* const error = static_cast<ZuError*>(list.at(i));
        shown +=
            (error->isWarning() ? "w" : "e") + std::to_string(error->getErrorNumber()) + textOf(error) + " ";
      }
      EXPECT_EQ(shown, model.shown());
      EXPECT_EQ(list.getCurrentIndex(), model.index);
      EXPECT_EQ(ZuErrorKeeper::isExistingError(), model.hasError());
      const bool hasWarning = shown.find('w') != std::string::npos;
      EXPECT_EQ(list.getErrorsMix(), model.hasError() ? (hasWarning ? ErrMixBoth : ErrMixErrors)
                                     : hasWarning     ? ErrMixWarnings
                                                      : ErrMixNone);
      EXPECT_EQ(ZuErrorKeeper::getLastErrorNumber(), model.memory            ? 30190
                                                     : model.records.empty() ? 0
                                                                             : model.records.back().number);
      ZuString all;
      ASSERT_EQ(list.concatErrors(&all, '|'), 0);
      std::string joined;
      for (const auto& record : model.records) joined += (joined.empty() ? "" : "|") + record.text;
      EXPECT_EQ(std::string(reinterpret_cast<const char*>(all.asCStr())), joined);
    }
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
  EXPECT_EQ(textOf(list.getFirstNode()), "text77") << "no catalog has 77";
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
    EXPECT_EQ(list.numbers(), "e9 ");
    EXPECT_EQ(wideTextOf(error).substr(0, 1), u"<");
    EXPECT_EQ(wideTextOf(error).find(u"%s1"), std::u16string::npos);
    error.appendText(u8("\xC3\xA9"));
    EXPECT_EQ(wideTextOf(error).back(), u'\u00E9');
    EXPECT_EQ(textOf(error).substr(textOf(error).size() - 2), "\xC3\xA9");
  }
  const Pushed list(0);
  addDatabaseError(3, 77, u8("bad \xFF text"), ErrTypeError, zuCPUTF8);
  EXPECT_EQ(list.numbers(), "e3 ") << "a message in another encoding does not hide its error";
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
    sizes += std::to_string(textOf(error).size()) + " ";
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
