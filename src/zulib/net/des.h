// DES, with cipher block chaining for encryption.
//
// It reads and writes what the published algorithm does, for protocols that ask for it; a key of 56 bits
// protects nothing today.
//
//   DESwCBCEncryptor des;
//   des.SetKeySchedule(key, 8, CipherEncrypt);
//   des.ProcessString(text, length, out, 0);  // both buffers rounded up to a multiple of 8 bytes
//
// Chaining starts from the vector of SetChainBlock, or from zeros, in each call anew. It only encrypts: to
// decrypt, set the key schedule for CipherDecrypt, call ProcessBlock and XOR each block with the cipher block
// before it.
//
// Thread safety: const operations may run in several threads.

#ifndef ZULIB_NET_DES_H
#define ZULIB_NET_DES_H

#include <array>
#include <cstdint>

#include "zulib/runtime/zuapi.h"

enum CipherDir : int {
  CipherEncrypt = 0,
  CipherDecrypt = 1,
};

class ZU_API DESwCBCEncryptor {
 public:
  // The vector that chaining starts from: 8 bytes, which are copied.
  void SetChainBlock(const unsigned char* vector);

  // `key` is 8 bytes, whatever `length` says. The low bit of each is not used.
  void SetKeySchedule(const unsigned char* key, unsigned long length, CipherDir direction);

  // One block of 8 bytes, in place, without chaining.
  void ProcessBlock(unsigned char* block) const;

  // Encrypts `length` bytes in blocks of 8. The last block reads and writes 8 bytes, however short the text.
  // `output` may be `input`. Nothing is done for a length of 0. The last argument is not used.
  void ProcessString(const unsigned char* input, unsigned long length, unsigned char* output,
                     unsigned long) const;
  // The same for a text that ends before its zero byte.
  void ProcessString(const unsigned char* input, unsigned char* output, unsigned long) const;

 private:
  void transform(uint32_t& left, uint32_t& right) const;

  // The S-boxes followed by the permutation P, rotated left by one as the halves are in the rounds.
  static const std::array<std::array<uint32_t, 64>, 8> Spbox;  // NOLINT(readability-identifier-naming)

  unsigned char chainBlock[8] = {};
  // A round's eight groups of 6 bits, each in a byte of its own: the 1st, 3rd, 5th and 7th in the first word
  // from the top, the others in the second.
  uint32_t keySchedule[16][2] = {};
};

// target ^= source.
ZU_API void xorbuf(unsigned char* target, const unsigned char* source, unsigned long count);

// The initial permutation of DES on the two halves of a block, which it leaves rotated left by one for the
// rounds, and its inverse.
ZU_API void InitialPermutation(uint32_t& left, uint32_t& right);
ZU_API void FinalPermutation(uint32_t& left, uint32_t& right);

#endif
