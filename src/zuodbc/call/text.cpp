#include "zuodbc/call/text.h"

#include <cstring>

namespace dm {
namespace {

std::string_view wideUntilZero(const SQLWCHAR* text) {
  size_t length = 0;
  while (text[length]) ++length;
  return {reinterpret_cast<const char*>(text), length * sizeof *text};
}

}  // namespace

CodePage pageOf(const DMConn* conn, Form form) noexcept {
  if (form == Form::Wide) return kUtf16;
  if (form == Form::Utf8 || !conn || !conn->state) return kUtf8;
  return form == Form::Internal && conn->state->isWide ? kUtf8 : conn->state->codePage;
}

std::string_view bytesOf(const void* text, SQLLEN length, bool isWide, bool inBytes) noexcept {
  if (!text) return {};
  const auto* bytes = static_cast<const char*>(text);
  if (length == SQL_NTS) return isWide ? wideUntilZero(static_cast<const SQLWCHAR*>(text)) : bytes;
  if (length < 0) return {};
  const auto given = static_cast<size_t>(length);
  if (!isWide) return {bytes, given};
  return {bytes, inBytes ? given / sizeof(SQLWCHAR) * sizeof(SQLWCHAR) : given * sizeof(SQLWCHAR)};
}

bool readText(DMHandle& handle, const void* text, SQLLEN length, Form form, bool inBytes, std::string& out) {
  if (length < 0 && length != SQL_NTS) {
    postError(handle, "HY090");
    return false;
  }
  const std::string_view given = bytesOf(text, length, form == Form::Wide, inBytes);
  if (form != Form::Wide) {
    out = given;
    return true;
  }
  HeldText held;
  if (!convertText(nullptr, kUtf16, kUtf8, given, held)) {
    postError(handle, "HY000", "The text is not UTF-16");
    return false;
  }
  out = held.view();
  return true;
}

Copied copyText(DMConn* conn, std::string_view text, CodePage page, CodePage outPage, OutBytes out,
                size_t& fullSize) {
  HeldText converted;
  bool whole = true;
  if (page != outPage) {
    whole = convertText(conn, page, outPage, text, converted);
    text = converted.view();
  }
  fullSize = text.size();
  if (!out.buffer) return Copied::Whole;
  const size_t zero = outPage == kUtf16 ? sizeof(SQLWCHAR) : sizeof(SQLCHAR);
  if (out.size < static_cast<SQLLEN>(zero)) return Copied::Cut;
  const size_t fits = wholeCharacters(conn, outPage, text, static_cast<size_t>(out.size) - zero);
  if (fits != 0) std::memcpy(out.buffer, text.data(), fits);
  std::memset(static_cast<char*>(out.buffer) + fits, 0, zero);
  if (fits != text.size()) return Copied::Cut;
  return whole ? Copied::Whole : Copied::Substituted;
}

void copyState(const char* sqlstate, const StateOut& out) noexcept {
  if (!out.buffer) return;
  for (int i = 0; i < 6; ++i) {
    if (out.form == Form::Wide) {
      static_cast<SQLWCHAR*>(out.buffer)[i] = static_cast<unsigned char>(sqlstate[i]);
    } else {
      static_cast<char*>(out.buffer)[i] = sqlstate[i];
    }
  }
}

}  // namespace dm
