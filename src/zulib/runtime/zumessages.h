// The numbers of the library's messages and texts, as in its catalog (catalog/*/zulib.msg). The comment after
// a number lists the parameters that its text has places for, in their order; "+" marks one that is appended
// to the text. A test compares this list and the catalogs.

#ifndef ZULIB_RUNTIME_ZUMESSAGES_H
#define ZULIB_RUNTIME_ZUMESSAGES_H

enum ZuMessage : unsigned short {
  ZU_MSG_CODE_PAGE_SETUP_FAILED = 4,  // + what failed

  // Files.
  ZU_MSG_FILE_NOT_DELETED = 1502,  // name
  ZU_MSG_SYSTEM_MEMORY = 1503,
  ZU_MSG_DIRECTORY_NOT_SET = 1504,  // directory
  ZU_MSG_DISK_FULL = 1506,          // name
  ZU_MSG_BAD_FILE_HANDLE = 1507,
  ZU_MSG_ACCESS_DENIED = 1508,   // name
  ZU_MSG_FILE_NOT_FOUND = 1509,  // name
  ZU_MSG_FILE_LOCKED = 1512,
  ZU_MSG_NO_LOCKS_LEFT = 1514,
  ZU_MSG_NOT_PERMITTED = 1519,       // name
  ZU_MSG_FILE_EXISTS = 1520,         // name
  ZU_MSG_LOCK_DEADLOCK = 1521,       // name
  ZU_MSG_FILE_IN_USE = 1522,         // name
  ZU_MSG_LIBRARY_NOT_LOADED = 1523,  // path, the loader's words
  ZU_MSG_FILE_NAME_TOO_LONG = 1524,  // name

  // Text, numbers and attribute strings.
  ZU_MSG_TOKEN_TOO_LONG = 2700,
  ZU_MSG_NUMBER_OUT_OF_RANGE = 2701,       // + the text
  ZU_MSG_NOT_A_NUMBER = 2702,              // + the text
  ZU_MSG_TOKEN_NOT_CLOSED = 2703,          // the token
  ZU_MSG_ATTRIBUTES_UNREADABLE = 2704,     // offset
  ZU_MSG_ATTRIBUTES_UNREADABLE_IN = 2705,  // offset, context
  ZU_TEXT_KEYWORD_TWICE = 2706,            // token; appended to one of the two before
  ZU_TEXT_KEYWORDS_EXCLUDE = 2707,         // two keywords; likewise
  ZU_MSG_BAD_HEX_DIGIT = 2708,

  // Sorting, buffers, profile files, query files.
  ZU_MSG_SORT_TOO_DEEP = 2709,
  ZU_MSG_TOO_MANY_SORT_KEYS = 2710,
  ZU_MSG_BORROWED_BUFFER_FULL = 2716,
  ZU_MSG_NO_PROFILE_OPEN = 2717,
  ZU_MSG_PROFILE_TEXT_REFUSED = 2718,  // key, or section
  ZU_MSG_NOT_A_QUERY_FILE = 2720,      // name
  ZU_MSG_QUERY_FILE_NOT_SAVED = 2721,  // name

  // Libraries that are bound at run time.
  ZU_MSG_LIBRARY_NOT_OPENED = 2733,  // library
  ZU_MSG_FUNCTION_MISSING = 2734,    // function, library

  // Conversion.
  ZU_MSG_TRUNCATED = 2735,
  ZU_MSG_SUBSTITUTED = 2736,
  ZU_MSG_CONVERSION_FAILED = 2737,
  ZU_MSG_CONVERSION_TABLE_BAD = 2738,
  ZU_MSG_CODE_PAGE_NOT_FOUND = 2739,  // + the code page

  // Security tokens: the status of the security library, each with its minor status.
  ZU_MSG_GSS_CALL_INACCESSIBLE_READ = 2740,
  ZU_MSG_GSS_CALL_INACCESSIBLE_WRITE = 2741,
  ZU_MSG_GSS_CALL_BAD_STRUCTURE = 2742,
  ZU_MSG_GSS_BAD_MECH = 2743,
  ZU_MSG_GSS_BAD_NAME = 2744,
  ZU_MSG_GSS_BAD_NAMETYPE = 2745,
  ZU_MSG_GSS_BAD_BINDINGS = 2746,
  ZU_MSG_GSS_BAD_STATUS = 2747,
  ZU_MSG_GSS_BAD_SIG = 2748,
  ZU_MSG_GSS_NO_CRED = 2749,
  ZU_MSG_GSS_NO_CONTEXT = 2750,
  ZU_MSG_GSS_DEFECTIVE_TOKEN = 2751,
  ZU_MSG_GSS_DEFECTIVE_CREDENTIAL = 2752,
  ZU_MSG_GSS_CREDENTIALS_EXPIRED = 2753,
  ZU_MSG_GSS_CONTEXT_EXPIRED = 2754,
  ZU_MSG_GSS_FAILURE = 2755,
  ZU_MSG_GSS_BAD_QOP = 2756,
  ZU_MSG_GSS_UNAUTHORIZED = 2757,
  ZU_MSG_GSS_UNAVAILABLE = 2758,
  ZU_MSG_GSS_DUPLICATE_ELEMENT = 2759,
  ZU_MSG_GSS_NAME_NOT_MN = 2760,
  ZU_MSG_GSS_DUPLICATE_TOKEN = 2762,
  ZU_MSG_GSS_OLD_TOKEN = 2763,
  ZU_MSG_GSS_UNSEQ_TOKEN = 2764,
  ZU_MSG_GSS_GAP_TOKEN = 2765,
  ZU_MSG_SECURITY_TOKEN_TOO_LONG = 2766,
  ZU_MSG_NO_SERVICE_NAME = 2767,

  // Network.
  ZU_MSG_NET_ERROR = 7500,  // error number
  ZU_MSG_NET_TIMEOUT = 7501,
  ZU_MSG_NET_CONNECTION_LOST = 7503,
  ZU_MSG_NET_BAD_HANDLE = 7504,
  ZU_MSG_NET_NOT_CONNECTED = 7505,
  ZU_MSG_NET_NO_ADDRESS = 7508,
  ZU_MSG_NET_TLS_EXPECTED = 7509,
  ZU_MSG_NET_TLS_NOT_AVAILABLE = 7511,

  ZU_TEXT_ACCELERATOR_MARKERS = 21800,  // each character marks the next one as the key of a label

  // Files again, and memory.
  ZU_MSG_SHARING_VIOLATION = 30040,  // name
  ZU_MSG_FILE_IO = 30041,            // name
  ZU_MSG_FILE_NOT_RENAMED = 30042,   // old name, new name
  ZU_MSG_TOO_MANY_FILES = 30045,
  ZU_MSG_READ_ONLY_DISK = 30049,      // name
  ZU_TEXT_FILE_ERROR_REASON = 30050,  // the system's explanation, name
  ZU_MSG_OUT_OF_MEMORY = 30190,
};

#endif
