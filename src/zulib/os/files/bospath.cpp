#include "zulib/os/files/bospath.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "zulib/errors/zuerror.h"
#include "zulib/os/internal/pathtext.h"
#include "zulib/os/internal/tracing.h"
#include "zulib/runtime/zumessages.h"
#include "zulib/text/strtrim.h"

using zuos::chars;
using zuos::kTracePaths;
using zuos::NarrowName;
using zuos::PathText;
using zuos::traced;

namespace {

int fail(const unsigned char* name) {
  bosMapError(errno, name);
  return 1;
}

bool appendCurrentDirectory(PathText& path) {
  char directory[bosPathSize];
  if (!getcwd(directory, sizeof directory)) return false;
  return path.append(directory).fits();
}

bool makeAbsolute(PathText& path) {
  if (path.text()[0] == '/') return true;
  PathText absolute;
  if (!appendCurrentDirectory(absolute)) return false;
  absolute.append("/").append(path.text());
  if (!absolute.fits()) return false;
  path = absolute;
  return true;
}

// A UTF-16 result has room for as many units as its narrow form has bytes.
int widen(const unsigned char* narrow, unsigned short* out) {
  return zuGetUTF16StrFromANSIStr(narrow, out, strLen(narrow) + 1) < 0 ? 1 : 0;
}

}  // namespace

int bosfpath(unsigned char* path, unsigned long n) {
  PathText absolute(path);
  if (!absolute.fits() || !makeAbsolute(absolute)) return fail(path);
  if (absolute.size() >= n) {
    errno = ENAMETOOLONG;
    return fail(path);
  }
  absolute.copyTo(path);
  return 0;
}

int boshpath(unsigned char* name) {
  PathText path;
  const char* home = secure_getenv("HOME");
  if (!home) home = secure_getenv("ZU");
  if (home) {
    path.append(home);
  } else if (!appendCurrentDirectory(path)) {
    return fail(name);
  }
  path.append("/").append(name);
  if (!path.fits()) return fail(name);
  path.copyTo(name);
  return 0;
}

void bosmpath(unsigned char* path) {
  constexpr unsigned long kAfterDrive = 2;
  PathText current;
  if (!appendCurrentDirectory(current)) return;
  current.endWithSlash();
  unsigned long cut = 0;
  for (unsigned long i = 0; path[i] && path[i] == current.name()[i]; ++i) {
    if (path[i] == ':' || (path[i] == '/' && i != kAfterDrive)) cut = i + 1;
  }
  std::memmove(path, path + cut, strLen(path + cut) + 1);
}

int bospath(unsigned char* out, const unsigned char* dir, const unsigned char* name,
            const unsigned char* defaultExt) {
  if (traced(kTracePaths)) {
    std::printf("BOSPATH: dir:%s name:%s default_ext:%s\n", dir ? chars(dir) : "", chars(name),
                defaultExt ? chars(defaultExt) : "");
  }
  PathText file(name);
  if (!file.fits()) return fail(name);
  unsigned long length = strRightTrim(file.name(), file.size(), zuCPLocale);
  const char* text = file.text();
  if (length > 0 && text[length - 1] == '.' && !(length > 1 && text[length - 2] == '.')) --length;
  file.shorten(length);

  const char* slash = std::strrchr(text, '/');
  const bool hasExtension = std::strchr(slash ? slash : text, '.') != nullptr;
  PathText path;
  if (!slash && dir && *dir) {
    path.append(dir);
    path.endWithSlash();
  }
  path.append(text);
  if (!hasExtension && defaultExt) path.append(".").append(defaultExt);
  if (!path.fits() || !makeAbsolute(path)) return fail(name);
  if (traced(kTracePaths)) std::printf("bospath: after bosfpath path:%s\n", path.text());
  path.copyTo(out);
  return 0;
}

int bospath(unsigned short* out, const unsigned short* dir, const unsigned short* name,
            const unsigned short* defaultExt) {
  const NarrowName narrowDir(dir);
  const NarrowName narrowName(name);
  const NarrowName narrowExt(defaultExt);
  if (!narrowDir.converts() || !narrowName.converts() || !narrowExt.converts()) return 1;
  unsigned char path[bosPathSize];
  if (bospath(path, narrowDir.text(), narrowName.text(), narrowExt.text())) return 1;
  return widen(path, out);
}

int bosParseName(unsigned char* path, unsigned char* base, unsigned char* ext, int report) {
  const char* slash = std::strrchr(chars(path), '/');
  unsigned char* name = slash ? path + (slash + 1 - chars(path)) : path;
  unsigned long length = std::strcspn(chars(name), ".");
  if (length >= bosBaseNameSize) {
    if (report) {
      addError(ZU_MSG_FILE_NAME_TOO_LONG) << name;
      return 1;
    }
  }
  const unsigned char* extension = name + length;
  if (*extension == '.') ++extension;
  strCopy(ext, extension, strnlen(chars(extension), bosExtensionSize - 1));
  if (length >= bosBaseNameSize) length = bosBaseNameSize - 1;
  strCopy(base, name, length);
  *name = 0;
  return 0;
}

int bosParseName(unsigned short* path, unsigned short* base, unsigned short* ext, int report) {
  NarrowName narrow(path);
  if (!narrow.converts()) return 1;
  unsigned char narrowBase[bosBaseNameSize];
  unsigned char narrowExt[bosExtensionSize];
  if (bosParseName(narrow.buffer(), narrowBase, narrowExt, report)) return 1;
  const bool failed = widen(narrowBase, base) || widen(narrowExt, ext);
  return failed || widen(narrow.text(), path) ? 1 : 0;
}

int bosgtcwd(unsigned char* out, int addSlash) {
  PathText directory;
  *out = 0;
  if (!appendCurrentDirectory(directory)) return 1;
  if (addSlash) directory.endWithSlash();
  if (!directory.fits()) return 1;
  directory.copyTo(out);
  return 0;
}

int bosstcwd(const unsigned char* dir, unsigned long n) {
  PathText directory;
  directory.append(chars(dir), strnlen(chars(dir), n));
  if (directory.fits() && chdir(directory.text()) == 0) return 0;
  addError(ZU_MSG_DIRECTORY_NOT_SET) << ZuSubString(dir, strnlen(chars(dir), n));
  return 1;
}
