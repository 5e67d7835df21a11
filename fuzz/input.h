// What targets and tests share that compare a class with a model: numbers out of the bytes of an input or
// seeded ones, and demands.

#ifndef ZULIB_FUZZ_INPUT_H
#define ZULIB_FUZZ_INPUT_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <vector>

// Aborts, and says where, if what is demanded does not hold.
inline void demand(bool holds, const char* file = __builtin_FILE(), int line = __builtin_LINE()) {
  if (holds) return;
  std::fprintf(stderr, "%s:%d: demand failed\n", file, line);
  std::abort();
}

// The bytes of an input, and zeros after its end.
class Input {
 public:
  Input(const uint8_t* p, size_t n) : p(p), left(n) {}
  bool atEnd() const { return left == 0; }
  // 0 to sides - 1, out of as many bytes as `sides` needs.
  unsigned long operator()(unsigned long sides) {
    unsigned long value = 0;
    for (unsigned long most = sides - 1; most > 0; most >>= 8) value = value << 8 | byte();
    return value % sides;
  }

 private:
  unsigned byte() { return left == 0 ? 0u : (--left, *p++); }

  const uint8_t* p;
  size_t left;
};

// Seeded numbers in place of an input.
class Dice {
 public:
  explicit Dice(unsigned long seed) : engine(seed) {}
  // 0 to sides - 1.
  unsigned long operator()(unsigned long sides) { return engine() % sides; }
  // An input of `n` bytes.
  std::vector<uint8_t> bytes(size_t n) {
    std::vector<uint8_t> all(n);
    for (uint8_t& byte : all) byte = static_cast<uint8_t>(engine());
    return all;
  }

 private:
  std::mt19937_64 engine;
};

#endif
