#include "zulib/language/zuqueryfile.h"

#include <algorithm>
#include <cerrno>
#include <initializer_list>

#include "zulib/errors/zuerror.h"
#include "zulib/language/internal/querydescription.h"
#include "zulib/language/internal/queryheader.h"
#include "zulib/language/internal/querytext.h"
#include "zulib/language/internal/querywriter.h"
#include "zulib/language/internal/sectioninfo.h"
#include "zulib/language/zuscanner.h"
#include "zulib/os/files/bosfile.h"
#include "zulib/os/files/bospath.h"
#include "zulib/runtime/ram.h"
#include "zulib/runtime/zumessages.h"
#include "zulib/text/strcopy.h"

using zuquery::bytes;

const char* const Sections[kSectionCount] = {"PAGE_LAYOUT", "PARAMETERS", "DEFINITION", "USER COMMANDS"};

namespace {

constexpr unsigned short kTmpCacheSize = 32768;
constexpr unsigned kNoLock = 1;  // a query file belongs to one thread

constexpr unsigned kVersionWithoutHeader = 2;

// A section's text ends in an empty line.
constexpr unsigned long kLineFeedsAfterText = 2;
// What a block for a section's text has beyond its length: the line feeds, and room for a terminator.
constexpr unsigned long kSlack = 10;

// Addresses of the temporary file have 32 bits.
constexpr unsigned long kLongestSection = 0xFFFFFFFE;

unsigned short kindOf(const ZuSubString& name) {
  const auto isName = [&](const char* known) { return name.isEqualCi(bytes(known)); };
  return std::any_of(Sections, Sections + kSectionCount, isName) ? sectionIsKnown : sectionIsOther;
}

// Replaces what `text` holds, which has no block afterwards if `value` is null.
int setText(ZuString& text, const unsigned char* value, unsigned long length) {
  unsigned char* const block = value ? ramAllocStr(value, length) : nullptr;
  if (value && !block) return 1;
  text.unInitialize();
  if (block) text.initializeTakeBuffer(block, length + 1, length);
  return 0;
}

// Appends, and doubles the block when it is full.
int append(ZuString* text, const ZuSubString& view) {
  const unsigned long n = view.getLength();
  if (!text->isEnoughSpace(n) && text->assureSpace(std::max(n, text->getLength()))) return 1;
  return text->concat(view);
}

}  // namespace

// --- opening and closing ------------------------------------------------------------------------------

ZuQueryFile::ZuQueryFile() : tmpFile(kTmpCacheSize, kNoLock) { sections.setDeleteContentsOnDestruct(); }

ZuQueryFile::~ZuQueryFile() { closeFile(); }

int ZuQueryFile::openFile(const unsigned char* name) {
  if (closeFile() || lineReader.openFile(name, zuquery::kLineSize)) return 1;
  ZufAutoClose guard(this);
  unsigned char path[bosPathSize];
  strCopy(path, sizeof path, name);
  if (bosfpath(path, sizeof path)) return 1;
  fileName = ramAllocStr(path);
  if (!fileName || parseHeader() || readNonBlankLine()) return 1;
  ZuScanner scanner(currentLine.asPascalStr(), currentLine.getLength());
  ZuToken token;
  scanner.getToken(token);
  if (token.isEqualCi(bytes("CTZUF"))) {
    hasFormatTag = 1;
    if (readNonBlankLine()) return 1;
    scanner.setScanString(currentLine.asPascalStr(), currentLine.getLength());
    scanner.getToken(token);
  }
  if (token.isEqual(bytes("use"))) {
    scanner.getToken(token);
    if (setText(dbName, token.asPascalStr(), token.getLength()) || readNonBlankLine()) return 1;
  }
  searchedTo = static_cast<unsigned long>(lineReader.getPrevLineOffset());
  if (!isAtEnd()) {
    sqlOffset = searchedTo;
    if (versionMajor == kVersionWithoutHeader && readDefinitionOfVersion2()) return 1;
  }
  guard.disarm();
  return 0;
}

int ZuQueryFile::parseHeader() {
  lineReader.resetReturnEol();
  if (lineReader.getFirstLine(&currentLine)) return 1;
  zuquery::Header header;
  if (!lineReader.isLineComplete() || !zuquery::parseHeaderLine(currentLine, &header)) {
    addError(ZU_MSG_NOT_A_QUERY_FILE) << fileName;
    return 1;
  }
  versionMajor = header.versionMajor;
  versionMinor = header.versionMinor;
  versionThird = header.versionThird;
  fileWasEncrypted = header.isEncrypted;
  lineReader.setCryptType(header.cryptType);
  return setText(dbType, header.dbType.asPascalStr(), header.dbType.getLength());
}

// The lines after the statement, up to the first header, are the section DEFINITION.
int ZuQueryFile::readDefinitionOfVersion2() {
  ZuString statement;
  if (getSqlStmt(&statement)) return 1;
  lineReader.setSeekOffset(static_cast<long long>(searchedTo));
  if (readNonBlankLine()) return 1;
  if (isAtEnd() || isSectionHeader(nullptr)) return 0;
  SectionInfo* info;
  if (addSectionInfo(ZuSubString(nameOf(sectionDefinition)), &info)) return 1;
  searchedTo = info->fileOffset = static_cast<unsigned long>(lineReader.getPrevLineOffset());
  currentSection = info;
  return 0;
}

int ZuQueryFile::closeFile() {
  const int failed = lineReader.closeFile();
  free(fileName);
  free(writeFileName);
  fileName = writeFileName = nullptr;
  for (ZuString* const text : {&dbType, &sqlStmt, &dbName, &longLine}) text->unInitialize();
  versionMajor = 1;
  versionMinor = versionThird = 0;
  sqlOffset = firstSectionOffset = searchedTo = 0;
  sections.deleteContents();
  currentSection = nullptr;
  dirty = fileWasEncrypted = hasFormatTag = 0;
  return tmpFile.tmpTruncate(0) | failed;
}

int ZuQueryFile::initialize(const unsigned char* type, const unsigned char* sql, unsigned long length) {
  if (closeFile()) return 1;
  ZufAutoClose guard(this);
  if (setDbType(type) || setSqlStmt(sql, length)) return 1;
  guard.disarm();
  return 0;
}

// --- header and statement -----------------------------------------------------------------------------

int ZuQueryFile::setWriteFileName(const unsigned char* name) {
  unsigned char* copy = nullptr;
  if (name) {
    unsigned char path[bosPathSize];
    if (strLen(name) >= sizeof path) {
      bosMapError(ENAMETOOLONG, name);
      return 1;
    }
    strCopy(path, sizeof path, name);
    if (bosfpath(path, sizeof path)) return 1;
    copy = ramAllocStr(path);
    if (!copy) return 1;
  }
  free(writeFileName);
  writeFileName = copy;
  return 0;
}

int ZuQueryFile::setDbName(const unsigned char* name) {
  const unsigned long length = name ? strLen(name) : 0;
  return setText(dbName, length ? name : nullptr, length);
}

int ZuQueryFile::setDbType(const unsigned char* type) {
  if (setText(dbType, type, type ? strLen(type) : 0)) return 1;
  dirty = 1;
  return 0;
}

int ZuQueryFile::setSqlStmt(const unsigned char* text, unsigned long length) {
  if (setText(sqlStmt, text ? text : bytes(""), text ? length : 0)) return 1;
  dirty = 1;
  return 0;
}

int ZuQueryFile::getSqlStmt(ZuString* text) {
  text->clear();
  if (sqlStmt.asPascalStr()) return text->concat(sqlStmt);
  if (!sqlOffset) return 0;
  if (readLines(text, sqlOffset, true)) return 1;
  if (text->removeLineBreaks('\'', '"', '"')) return 1;
  text->rightBlankTrim();
  if (text->getLastChar() == ';') text->removeLastChar();
  return 0;
}

// --- lines --------------------------------------------------------------------------------------------

// The next line with its line feed. One that does not fit the reader's buffer comes in pieces, unless it may
// be a header.
int ZuQueryFile::readLine() {
  startsLine = nextStartsLine;
  if (lineReader.getNextLine(&currentLine)) return 1;
  nextStartsLine = lineReader.isLineComplete();
  if (nextStartsLine || !startsLine || currentLine[0] != '[') return 0;
  longLine.clear();
  while (true) {
    if (append(&longLine, currentLine)) return 1;
    if (lineReader.isLineComplete()) break;
    if (lineReader.getNextLine(&currentLine)) return 1;
  }
  currentLine = longLine;
  nextStartsLine = true;
  return 0;
}

int ZuQueryFile::readNonBlankLine() {
  startsLine = true;
  lineReader.setReturnEol();
  return lineReader.getNextNonBlankLine(&currentLine);
}

bool ZuQueryFile::isSectionHeader(ZuSubString* name) const {
  ZuSubString line = currentLine;
  line.rightBlankTrim();
  const unsigned long length = line.getLength();
  if (!startsLine || length < 2 || line[0] != '[' || line.getLastChar() != ']') return false;
  if (name) name->initialize(line.asPascalStr(1), length - 2);
  return true;
}

// Notes that no header lies between two places.
void ZuQueryFile::noteRead(unsigned long start, unsigned long end) {
  if (start <= searchedTo) searchedTo = std::max(searchedTo, end);
}

// The lines from `offset` up to the next header, or to the end of the statement.
int ZuQueryFile::readLines(ZuString* text, unsigned long offset, bool stopAtSemicolon) {
  text->clear();
  lineReader.setSeekOffset(static_cast<long long>(offset));
  lineReader.setReturnEol();
  nextStartsLine = true;
  unsigned long end = offset;
  unsigned char last = 0;  // of the line, blanks at its end aside
  while (true) {
    if (readLine()) break;
    if (isAtEnd() || isSectionHeader(nullptr)) {
      noteRead(offset, end);
      return 0;
    }
    end = static_cast<unsigned long>(lineReader.getNextLineOffset());
    const bool isBlankAtStart = text->getLength() == 0 && startsLine && currentLine[0] == '\n';
    if (!isBlankAtStart && append(text, currentLine)) break;
    currentLine.rightBlankTrim();
    if (startsLine || currentLine.getLength()) last = currentLine.getLastChar();
    if (stopAtSemicolon && nextStartsLine && last == ';') {
      noteRead(offset, end);
      return 0;
    }
  }
  text->clear();
  return 1;
}

// --- sections -----------------------------------------------------------------------------------------

SectionInfo* ZuQueryFile::lookUp(const ZuSubString& name) const {
  SectionInfo key;
  key.name.initializeWithBuffer(const_cast<unsigned char*>(name.asPascalStr()), 0, name.getLength());
  unsigned long index;
  return sections.findIndexOf(&key, index) ? static_cast<SectionInfo*>(sections.at(index)) : nullptr;
}

int ZuQueryFile::addSectionInfo(const ZuSubString& name, SectionInfo** info) {
  auto* const added = new SectionInfo;
  // It is still a search key when it is added, so its place is that of its name.
  if (!added || added->name.initialize(name) || sections.add(added)) {
    delete added;
    return 1;
  }
  added->sectionKind = kindOf(name);
  *info = added;
  return 0;
}

void ZuQueryFile::endCurrentSection(unsigned long offset) {
  if (currentSection && !currentSection->tmpOffset)
    currentSection->length = offset - currentSection->fileOffset;
  currentSection = nullptr;
}

// Searches on to the next header, whose section becomes the current one; null at the end of the file.
int ZuQueryFile::nextSection(SectionInfo** info) {
  *info = nullptr;
  if (!isFileOpen()) return 0;
  lineReader.setSeekOffset(static_cast<long long>(searchedTo));
  lineReader.setReturnEol();
  nextStartsLine = true;
  unsigned long start;
  unsigned long end = searchedTo;
  ZuSubString name;
  do {
    start = end;
    if (nextStartsLine) searchedTo = start;
    if (readLine()) return 1;
    if (isAtEnd()) {
      endCurrentSection(start);
      return 0;
    }
    end = static_cast<unsigned long>(lineReader.getNextLineOffset());
  } while (!isSectionHeader(&name));
  SectionInfo* found = lookUp(name);
  if (!found && addSectionInfo(name, &found)) return 1;
  endCurrentSection(start);
  if (!firstSectionOffset) firstSectionOffset = start;
  found->fileOffset = searchedTo = end;
  if (!found->tmpOffset) found->length = 0;
  *info = currentSection = found;
  return 0;
}

// Searches the rest of the file, up to the section or (`scanAll`) to its end. Null if it is not there.
int ZuQueryFile::findSection(const ZuSubString& name, SectionInfo** info, bool scanAll) {
  SectionInfo* found = nullptr;
  do {
    if (nextSection(&found)) return 1;
    if (found && found->name.isEqual(name)) *info = found;
  } while (found && (scanAll || !*info));
  return 0;
}

// The section of the name; null if there is none or it was removed.
int ZuQueryFile::getSectionInfo(const unsigned char* name, bool scanAll, SectionInfo** info) {
  const ZuSubString view(name);
  *info = lookUp(view);
  if (!*info && findSection(view, info, scanAll)) return 1;
  if (*info && (*info)->removed) *info = nullptr;
  return 0;
}

// Reads by pointers into the pages: a read that has to write another page first, and cannot, would give that
// page up, and with it a part of a section.
int ZuQueryFile::readTmp(const SectionInfo& info, ZuString* text) {
  if (text->assureSpace(info.length)) return 1;
  while (text->getLength() < info.length) {
    void* page;
    unsigned short room;
    if (tmpFile.tmpPointer(info.tmpOffset + text->getLength(), &page, &room, 0)) return 1;
    const unsigned long n = std::min(info.length - text->getLength(), static_cast<unsigned long>(room));
    if (text->concat(static_cast<unsigned char*>(page), n)) return 1;
  }
  return 0;
}

int ZuQueryFile::readSection(const SectionInfo& info, ZuString* text) {
  text->clear();
  const bool failed =
      info.tmpOffset ? readTmp(info, text) : info.fileOffset && readLines(text, info.fileOffset, false);
  if (!failed && (text->getLength() == 0 || text->forceEol(kLineFeedsAfterText) == 0)) return 0;
  text->clear();
  return 1;
}

int ZuQueryFile::getSectionChunk(const unsigned char* name, ZuString* text) {
  text->clear();
  SectionInfo* info;
  if (getSectionInfo(name, false, &info)) return 1;
  return info ? readSection(*info, text) : 0;
}

int ZuQueryFile::getHugeSectionChunk(const unsigned char* name, unsigned char** data, unsigned long* length) {
  *data = nullptr;
  *length = 0;
  SectionInfo* info;
  if (getSectionInfo(name, true, &info)) return 1;
  if (!info) return 0;
  SectionInfo* next;
  if (info == currentSection && nextSection(&next)) return 1;
  const unsigned long size = info->length + kSlack;
  AFPU8 block;
  block = static_cast<unsigned char*>(ramAlloc(size));
  if (!block) return 1;
  ZuString text;
  text.initializeWithBuffer(block, size, 0);
  if (readSection(*info, &text)) return 1;
  *length = text.getLength();
  if (*length == 0) return 0;
  *data = block;
  block = nullptr;
  return 0;
}

int ZuQueryFile::setHugeSectionChunk(const unsigned char* name, const void* data, unsigned long length) {
  if (length > kLongestSection) {
    bosMapError(EFBIG, fileName);
    return 1;
  }
  unsigned long address;
  if (tmpFile.tmpFindSpace(length, &address)) return 1;
  const ZuSubString view(name);
  SectionInfo* info = lookUp(view);
  if (tmpFile.writeHuge(address, data, length) || (!info && addSectionInfo(view, &info))) {
    tmpFile.tmpFreeSpace(address, length);
    return 1;
  }
  if (info->tmpOffset) tmpFile.tmpFreeSpace(info->tmpOffset, info->length);
  info->tmpOffset = address;
  info->length = length;
  info->removed = 0;
  dirty = 1;
  return 0;
}

int ZuQueryFile::doesSectionExist(const unsigned char* name, unsigned* exists) {
  *exists = 0;
  SectionInfo* info;
  if (getSectionInfo(name, false, &info)) return 1;
  *exists = info != nullptr;
  return 0;
}

int ZuQueryFile::removeSection(const unsigned char* name) {
  SectionInfo* info;
  if (getSectionInfo(name, false, &info)) return 1;
  if (!info) return 0;
  info->removed = 1;
  dirty = 1;
  return 0;
}

int ZuQueryFile::getLines(const unsigned char* name, ZuArray* lines) {
  ZuString text;
  return getSectionChunk(name, &text) || text.getLines(lines);
}

int ZuQueryFile::getFirstSectionOffset(unsigned long* offset) {
  SectionInfo* info;
  if (!firstSectionOffset && nextSection(&info)) return 1;
  *offset = firstSectionOffset;
  return 0;
}

// --- parameters and description -----------------------------------------------------------------------

int ZuQueryFile::getParams(ZuArray* params) {
  ZuArray lines;
  lines.setDeleteContentsOnDestruct();
  if (getLines(sectionParameters, &lines)) return 1;
  for (unsigned long i = 1; i < lines.getCount(); ++i) {
    auto* const param = new ZufParam;
    if (!param || param->initialize(*static_cast<ZuString*>(lines.at(i))) || params->add(param)) {
      delete param;
      return 1;
    }
  }
  return 0;
}

int ZuQueryFile::setParams(const ZuArray* params) {
  ZuString text;
  if (text.concat(bytes("PARAMETER.CLEAR ()\n"))) return 1;
  for (unsigned long i = 0; i < params->getCount(); ++i) {
    if (static_cast<ZufParam*>(params->at(i))->getParamLine(&text)) return 1;
  }
  return setSectionChunk(sectionParameters, text);
}

int ZuQueryFile::getDescription(ZuString* text) {
  text->clear();
  ZuString definition;
  return getSectionChunk(sectionDefinition, &definition) || zuquery::getDescription(definition, text);
}

int ZuQueryFile::setDescription(const ZuString* text) {
  ZuString definition;
  ZuString changed;
  if (getSectionChunk(sectionDefinition, &definition)) return 1;
  if (zuquery::setDescription(definition, *text, &changed)) return 1;
  return setSectionChunk(sectionDefinition, changed);
}

// --- saving -------------------------------------------------------------------------------------------

int ZuQueryFile::save() {
  AFPU8 path;
  const bool isOther = writeFileName != nullptr;
  if (saveName()) {
    path = ramAllocStr(saveName());
    if (!path) return 1;
  }
  if (saveAs(path) == 0) return 0;
  // The name stays for the next attempt, also if it was the opening of the new file that failed.
  if (isOther && !writeFileName) {
    writeFileName = path;
    path = nullptr;
  }
  return 1;
}

int ZuQueryFile::saveAndClose() { return saveToFile(saveName()) || closeFile(); }

int ZuQueryFile::saveAs(const unsigned char* path) {
  if (saveToFile(path)) return 1;
  const int closed = closeFile();
  return openFile(path) | closed;
}

int ZuQueryFile::saveToFile(const unsigned char* path) {
  if (!path) {
    addError(ZU_MSG_BAD_FILE_HANDLE);
    return 1;
  }
  ZuString header;
  if (buildHeader(&header, path)) return 1;
  if (bosexist(path) ? replaceFile(path, &header) : writeNewFile(path, &header)) return 1;
  dirty = 0;
  return 0;
}

int ZuQueryFile::replaceFile(const unsigned char* path, ZuString* header) {
  AFPU8 newPath;
  newPath = ramAllocStr(path);
  if (!newPath) return 1;
  // A name that has the "$" already must not be its own new file.
  unsigned char& last = newPath[strLen(path) - 1];
  last = last == '$' ? '~' : '$';
  if (bosFileDelete(newPath) || writeNewFile(newPath, header)) return 1;
  const ZuError* const before = ZuErrorKeeper::getLastError();
  if (bosFileDelete(path) == 0) return bosrname(newPath, path);
  if (ZuErrorKeeper::getLastError() != before) ZuErrorKeeper::clearLastError();
  bosFileDelete(newPath);
  addError(ZU_MSG_QUERY_FILE_NOT_SAVED) << path;
  return 1;
}

// Writes the whole query to a file that is not there, which is deleted if that fails; or to something that is
// no file, as a device.
int ZuQueryFile::writeNewFile(const unsigned char* path, ZuString* header) {
  const bool isNew = bosfattr(path) & bosAttrNotFound;
  int handle;
  if (bosFileOpen(path, isNew ? bosOpenCreate | bosOpenExclusive : bosOpenCreate, &handle)) return 1;
  ZuFileHandle guard(handle, path);
  guard.setClose();
  if (isNew) guard.setDelete();
  if (writeTo(handle, header)) return 1;
  guard.setHandle(0);
  if (bosFileClose(handle)) return 1;
  guard.resetCloseDelete();
  return 0;
}

int ZuQueryFile::writeTo(int handle, ZuString* header) {
  ZuString text;
  zuquery::Writer writer(handle);
  if (writer.write(header)) return 1;
  if (encryptOnWrite) writer.scramble();
  if (dbName.getLength() &&
      (text.concat(bytes("use ")) || text.concat(dbName) || text.concat(bytes(";\n")) || writer.write(&text)))
    return 1;
  if (getSqlStmt(&text) || (text.getLastChar() != ';' && text.concat(';')) ||
      text.insertLineBreaks(zuquery::kLineWidth, '\'', '"', '"') || text.forceEol(kLineFeedsAfterText) ||
      writer.write(&text))
    return 1;
  ZuSortedArray sorted;
  if (sortedSections(&sorted)) return 1;
  for (unsigned long i = 0; i < sorted.getCount(); ++i) {
    const auto& info = *static_cast<SectionInfo*>(sorted.at(i));
    ZuString head;
    if (head.concat('[') || head.concat(info.name) || head.concat(bytes("]\n")) || writer.write(&head) ||
        readSection(info, &text) || text.forceEol(1) || writer.write(&text))
      return 1;
  }
  return 0;
}

// The header, if it would be read back.
int ZuQueryFile::buildHeader(ZuString* header, const unsigned char* path) {
  if (header->concat(bytes("ZUK 7.0 for ")) || header->concat(dbType) ||
      (encryptOnWrite && header->concat(bytes(" (2)"))))
    return 1;
  zuquery::Header read;
  if (dbType.isCharInStr('\n') || !zuquery::parseHeaderLine(*header, &read) ||
      read.isEncrypted != (encryptOnWrite != 0)) {
    addError(ZU_MSG_NOT_A_QUERY_FILE) << path;
    return 1;
  }
  return header->forceEol(kLineFeedsAfterText);
}

// All sections that are to be saved, in their order.
int ZuQueryFile::sortedSections(ZuSortedArray* sorted) {
  SectionInfo* next;
  do {
    if (nextSection(&next)) return 1;
  } while (next);
  sorted->sortOnRequest();
  for (unsigned long i = 0; i < sections.getCount(); ++i) {
    auto* const info = static_cast<SectionInfo*>(sections.at(i));
    if (!info->removed && sorted->add(info)) return 1;
  }
  return sorted->resort();
}
