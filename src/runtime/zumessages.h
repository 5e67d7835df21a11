// The numbers of the library's messages and texts, as they stand in its catalog. Parameters of a message
// are given behind it.

#ifndef ZULIB_RUNTIME_ZUMESSAGES_H
#define ZULIB_RUNTIME_ZUMESSAGES_H

enum ZuMessage : unsigned short {
  ZU_MSG_FILE_NOT_DELETED = 1502,  // the file
  ZU_MSG_SYSTEM_MEMORY = 1503,
  ZU_MSG_DIRECTORY_NOT_SET = 1504,  // the directory
  ZU_MSG_DISK_FULL = 1506,          // the file, where it is known
  ZU_MSG_BAD_FILE_HANDLE = 1507,
  ZU_MSG_ACCESS_DENIED = 1508,   // the file
  ZU_MSG_FILE_NOT_FOUND = 1509,  // the file
  ZU_MSG_FILE_LOCKED = 1512,
  ZU_MSG_NO_LOCKS_LEFT = 1514,
  ZU_MSG_NOT_PERMITTED = 1519,       // the file
  ZU_MSG_FILE_EXISTS = 1520,         // the file
  ZU_MSG_LOCK_DEADLOCK = 1521,       // the file
  ZU_MSG_FILE_NAME_TOO_LONG = 1524,  // the name
  ZU_MSG_TOKEN_TOO_LONG = 2700,
  ZU_MSG_TOKEN_NOT_CLOSED = 2703,  // the token
  ZU_MSG_BAD_HEX_DIGIT = 2708,
  ZU_MSG_BORROWED_BUFFER_FULL = 2716,
  ZU_MSG_TRUNCATED = 2735,
  ZU_MSG_SUBSTITUTED = 2736,
  ZU_MSG_CONVERSION_FAILED = 2737,
  ZU_MSG_CONVERSION_TABLE_BAD = 2738,
  ZU_MSG_CODE_PAGE_NOT_FOUND = 2739,  // the code page
  ZU_MSG_FILE_IO = 30041,             // the file, where it is known
  ZU_MSG_FILE_NOT_RENAMED = 30042,    // the old and the new name
  ZU_MSG_TOO_MANY_FILES = 30045,
  ZU_MSG_READ_ONLY_DISK = 30049,  // the file
  ZU_MSG_OUT_OF_MEMORY = 30190,

  ZU_TEXT_FILE_ERROR_REASON = 30050,    // the system's explanation, the file
  ZU_TEXT_ACCELERATOR_MARKERS = 21800,  // each character marks the one behind it as the key of a label
};

#endif
