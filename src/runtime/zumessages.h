// The numbers of the library's messages and texts, as they stand in its catalog. Parameters of a message
// are given behind it.

#ifndef ZULIB_RUNTIME_ZUMESSAGES_H
#define ZULIB_RUNTIME_ZUMESSAGES_H

enum ZuMessage : unsigned short {
  ZU_MSG_TOKEN_TOO_LONG = 2700,
  ZU_MSG_TOKEN_NOT_CLOSED = 2703,  // the token
  ZU_MSG_BAD_HEX_DIGIT = 2708,
  ZU_MSG_BORROWED_BUFFER_FULL = 2716,
  ZU_MSG_TRUNCATED = 2735,
  ZU_MSG_SUBSTITUTED = 2736,
  ZU_MSG_CONVERSION_FAILED = 2737,
  ZU_MSG_CONVERSION_TABLE_BAD = 2738,
  ZU_MSG_CODE_PAGE_NOT_FOUND = 2739,  // the code page
  ZU_MSG_OUT_OF_MEMORY = 30190,

  ZU_TEXT_ACCELERATOR_MARKERS = 21800,  // each character marks the one behind it as the key of a label
};

#endif
