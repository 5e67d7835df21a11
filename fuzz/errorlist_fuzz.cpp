// Lists of error records as a small language: each command byte adds, removes, changes or moves a record of a
// list and of a plain model, which must agree after every step.

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "fuzz/input.h"
#include "zulib/errors/zuerror.h"

namespace errorfuzz {

const unsigned char* u8(const char* text) { return reinterpret_cast<const unsigned char*>(text); }
std::string textOf(ZuError& error) { return reinterpret_cast<const char*>(error.getErrorText()); }

// A list for the life of a scope.
class Pushed : public ZuErrorList {
 public:
  explicit Pushed(int supportMultiple, void* owner = nullptr) : ZuErrorList(owner, supportMultiple) {
    ZuErrorKeeper::setErrorList(this);
  }
  ~Pushed() override { ZuErrorKeeper::giveUpErrorList(); }

  // "e" or "w" for each record, its number and its text.
  std::string shown() const {
    std::string all;
    for (unsigned long i = 0; i < getCount(); ++i) {
      auto* const error = static_cast<ZuError*>(at(i));
      all +=
          (error->isWarning() ? "w" : "e") + std::to_string(error->getErrorNumber()) + textOf(*error) + " ";
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
  std::string joined() const {
    std::string all;
    for (const Record& r : records) all += (all.empty() ? "" : "|") + r.text;
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

void remove(Pushed& list, Model& model, bool first) {
  ZuError* const gone = first ? list.removeFirstError() : list.removeLastError();
  demand(numberOf(gone) == model.remove(first));
  if (gone && !gone->isStatic()) delete gone;
}

// What records say and where they are.
void change(Pushed& list, Model& model, Input& in) {
  const unsigned long count = model.records.size();
  const unsigned long pos = in(count + 2);
  switch (in(8)) {
    case 0: {
      const bool warning = in(2);
      ZuErrorKeeper::setLastErrorType(warning ? ErrTypeWarning : ErrTypeError);
      if (count && !model.memory) model.records.back().warning = warning;
      break;
    }
    case 1:
      list.setWarningAfterPos(pos);
      list.setWarningAfterPos(~0UL);
      for (unsigned long i = pos + 1; i < count; ++i) model.records[i].warning = true;
      break;
    case 2:
      list.appendTextStartingAtPos(u8("+"), pos);
      for (unsigned long i = pos; i < count; ++i) model.records[i].text += "+";
      break;
    case 3:
      list.moveLastErrorToPos(pos);
      if (pos < count)
        std::rotate(model.records.begin() + static_cast<long>(pos), model.records.end() - 1,
                    model.records.end());
      break;
    case 4:
      demand(numberOf(list.getNodeAtPos(pos)) == (pos < count ? model.records[pos].number : 0));
      if (pos < count) model.index = static_cast<unsigned short>(pos + 1);
      break;
    case 5:
      demand(numberOf(list.getNextNode()) == (model.index < count ? model.records[model.index++].number : 0));
      break;
    case 6:
      ZuErrorKeeper::appendTextToLastError(u8("!"));
      if (count && !model.memory) model.records.back().text += "!";
      break;
    default: list.resetOutOfMemory(); model.memory = false;
  }
}

void step(Pushed& list, Model& model, unsigned short number, Input& in) {
  switch (in(15)) {
    case 0:
      demand((addError(number, u8("%s1")) << "a" << 5UL).isDummyError() != model.add({number, false, "a"}));
      break;
    case 1: {
      const bool added = model.add({number, true, "t"});
      demand(addDatabaseError(number, -942, u8("t"), ErrTypeWarning, zuCPLocale).isDummyError() != added);
      demand(!added || model.memory || ZuErrorKeeper::getLastNativeError() == -942);
      break;
    }
    case 2:
      ZuErrorKeeper::addMemoryError();
      if (!model.many && !model.memory && model.hasError()) model.remove(false);
      model.memory = true;
      break;
    case 3: remove(list, model, true); break;
    case 4: remove(list, model, false); break;
    case 5:
      ZuErrorKeeper::clearLastError();
      model.remove(false);
      break;
    case 6:
      if (in(5)) break;
      list.clearErrors();
      model.records.clear();
      model.memory = false;
      break;
    default: change(list, model, in);
  }
}

void demandSame(const Pushed& list, const Model& model) {
  const std::string shown = list.shown();
  demand(shown == model.shown());
  demand(list.getCurrentIndex() == model.index);
  demand(ZuErrorKeeper::isExistingError() == model.hasError());
  const bool hasWarning = shown.find('w') != std::string::npos;
  demand(list.getErrorsMix() == (model.hasError() ? (hasWarning ? ErrMixBoth : ErrMixErrors)
                                 : hasWarning     ? ErrMixWarnings
                                                  : ErrMixNone));
  demand(ZuErrorKeeper::getLastErrorNumber() == (model.memory            ? 30190
                                                 : model.records.empty() ? 0
                                                                         : model.records.back().number));
}

}  // namespace errorfuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace errorfuzz;
  constexpr unsigned short kMostSteps = 60;
  Input in(data, size);
  Model model{in(2) == 0};
  Pushed list(model.many);
  for (unsigned short number = 1; number < kMostSteps && !in.atEnd(); ++number) {
    step(list, model, number, in);
    demandSame(list, model);
    ZuString all;
    demand(list.concatErrors(&all, '|') == 0);
    demand(model.joined() == reinterpret_cast<const char*>(all.asCStr()));
  }
  return 0;
}
