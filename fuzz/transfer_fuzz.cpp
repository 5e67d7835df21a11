// Transfers of any length by a pipe over a transport that does as the input says, beside the rules of chunks
// and results told again in one loop.

#include <algorithm>
#include <cerrno>
#include <vector>

#include "fuzz/input.h"
#include "zulib/errors/zuerror.h"
#include "zulib/net/zupipe.h"

namespace transferfuzz {

// What the transport does in turn, and what it was asked.
struct Script {
  struct Step {
    unsigned short count;
    unsigned error;
  };
  struct Call {
    const void* data;
    int length;  // negative for out-of-band data
    bool operator==(const Call& other) const { return data == other.data && length == other.length; }
  };
  std::vector<Step> steps{};
  std::vector<Call> calls{};
  int closeResult = 1;
  int checkResult = 0;
  unsigned checkError = 0;

  unsigned short take(const Call& call, unsigned* error) {
    calls.push_back(call);
    const Step step = calls.size() <= steps.size() ? steps[calls.size() - 1] : Step{0, EIO};
    *error = step.error;
    return step.count;
  }
} script;

class ScriptedPipe : public ZuPipe {
 public:
  ScriptedPipe() {
    netFunctions.Read = [](void*, void* to, unsigned short n, unsigned short same, unsigned short zero,
                           unsigned* error) {
      demand(same == n && zero == 0);
      return script.take({to, n}, error);
    };
    netFunctions.Write = [](void*, const void* from, unsigned short n, unsigned* error) {
      return script.take({from, n}, error);
    };
    netFunctions.WriteOOB = [](void*, const void* from, unsigned short n, unsigned* error) {
      return script.take({from, -n}, error);
    };
    netFunctions.Open = [](void*, const char*, unsigned*) { return 1; };
    netFunctions.Close = [](void*, unsigned* error) {
      *error = 99;
      return script.closeResult;
    };
    netFunctions.CheckForData = [](void*, unsigned* hasData, unsigned* error) {
      *hasData = 1;
      *error = script.checkError;
      return script.checkResult;
    };
    script = Script();
    demand(openPipe(reinterpret_cast<const unsigned char*>("any")) == 0);
  }
  using ZuPipe::addNetLibError;
};

void transfer(Input& in) {
  constexpr unsigned long kChunk = 65535;
  constexpr unsigned kWords[] = {EAGAIN, EPIPE, ECONNRESET, ETIME, ETIMEDOUT, EIO, EINTR};
  static std::vector<unsigned char> buffer(4 * kChunk);
  const unsigned long near = in(4) * kChunk + in(5);
  const unsigned long length = in(2) ? near - std::min(near, 2UL) : in(buffer.size());
  const bool reading = in(2);
  const bool urgent = in(2);
  ScriptedPipe pipe;
  ZuErrorList errors;
  ZuErrorKeeper::setErrorList(&errors);
  std::vector<Script::Call> calls;
  ZuNetStatus expected = netOk;
  unsigned number = 0;
  unsigned long total = 0;
  for (unsigned long left = length;; left -= kChunk) {
    const int chunk = static_cast<int>(std::min(left, kChunk));
    const unsigned long choice = in(8);
    const bool fails = choice == 0 && !in.atEnd();  // the zeros after the input would fail for ever
    const unsigned word = fails ? kWords[in(7)] : 0;
    const auto count = static_cast<unsigned short>(choice == 1   ? in(static_cast<unsigned>(chunk) + 1)
                                                   : choice == 2 ? 0
                                                                 : chunk);
    script.steps.push_back({count, word});
    calls.push_back({buffer.data() + (length - left), reading || !urgent ? chunk : -chunk});
    if (reading && word == EINTR) {
      left += kChunk;
      continue;
    }
    if (word || (!reading && count < chunk)) {
      const bool lost = word == EAGAIN || word == EPIPE || word == ECONNRESET;
      const bool late = word == ETIME || word == ETIMEDOUT;
      expected = lost ? netConnectionLost : late ? netTimeout : netError;
      number = lost ? 7503 : late ? 0 : 7500;
      break;
    }
    total += count;
    if (count == 0 && chunk != 0) total = 0;
    if (count < chunk || left < kChunk) break;
  }
  unsigned long got = total;
  unsigned long* const where = in(4) ? &got : nullptr;
  if (where) got = 77;
  const ZuNetStatus status = reading ? pipe.readPipe(buffer.data(), length, 1, where)
                                     : pipe.writePipe(buffer.data(), length, urgent);
  demand(status == expected);
  demand(script.calls == calls);
  demand(pipe.isConnected() == (expected != netConnectionLost));
  demand(errors.getCount() == (number ? 1u : 0u) && ZuErrorKeeper::getLastErrorNumber() == number);
  demand(got == (reading || !where ? total : 77));
  ZuErrorKeeper::giveUpErrorList();
}

}  // namespace transferfuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input in(data, size);
  transferfuzz::transfer(in);
  return 0;
}
