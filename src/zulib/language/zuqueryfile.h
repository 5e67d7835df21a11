// ZuQueryFile: a text file with one saved query: the database that it was made for, its statement, and named
// sections.
//
//   ZuQueryFile query;
//   if (query.openFile(path)) return 1;
//   if (query.getSqlStmt(&statement)) return 1;
//   if (query.setSectionChunk(sectionDefinition, text, length)) return 1;
//   if (query.save()) return 1;
//
// The file, in lines that end in a line feed:
//
//   ZUK 7.0 for TYPE (2)       header: ZUK or ZAK, in any case; a version of up to three numbers, or none;
//                              the type of the database; "(2)" if all lines after it are scrambled
//                              (zuscramble.h)
//   CTZUF                      may be there
//   use NAME;                  may be there: the database, one token
//   select ...                 the statement, up to the first line that ends in ";", in lines of about 79
//   ... ;                      characters that are broken at blanks outside quotes
//   [NAME]                     the header of a section: "[" at the start of a line, "]" at its end
//   ...                        its text, up to the next header, without blank lines at its start
//
// A file of major version 2 begins with the text of the section DEFINITION, without a header for it.
//
// Opening reads no further than the beginning of the statement. The rest is searched for headers as sections
// are asked for, each line once; of two sections of one name, the one that is found last counts. Texts that
// were set lie in a temporary file until they are saved.
//
// What the format cannot hold does not come back as it was: a line feed in a name, a ";" at the end of a line
// inside a statement, a line inside a text that looks like a header, in a scrambled file the byte 0xF5.
//
// A save writes a new file and replaces an existing one only when all of the new one is written, so after a
// failure the old file and the unsaved changes are both still there. A saved file has version 7.0.
//
// Names of sections are compared exactly. Operations return 0, or 1 with an error recorded; on failure a text
// that was to be read is empty.
//
// Thread safety: none; one thread at a time.

#ifndef ZULIB_LANGUAGE_ZUQUERYFILE_H
#define ZULIB_LANGUAGE_ZUQUERYFILE_H

#include "zulib/collections/zusorted.h"
#include "zulib/language/zufparam.h"
#include "zulib/os/files/zufilebyline.h"
#include "zulib/storage/tmp.h"

class SectionInfo;

enum SectionType {
  sectionPageLayout = 0,
  sectionParameters = 1,
  sectionDefinition = 2,
  sectionUserCommands = 3,
};

// The names of the known sections, by their type: PAGE_LAYOUT, PARAMETERS, DEFINITION, USER COMMANDS.
constexpr unsigned kSectionCount = 4;
extern ZU_API const char* const Sections[kSectionCount];

class ZU_API ZuQueryFile : public ZuObject {
 public:
  ZuQueryFile();
  ZuQueryFile(const ZuQueryFile&) = delete;
  ZuQueryFile& operator=(const ZuQueryFile&) = delete;
  ~ZuQueryFile() override;

  // Opens a file, after closing the one that is open. Error 2720 with the name if its first line is not a
  // header. The object is closed after a failure.
  [[nodiscard]] int openFile(const unsigned char* name);
  // Forgets everything, unsaved changes too, except whether saved files are scrambled.
  int closeFile();
  // A new query without a file.
  [[nodiscard]] int initialize(const unsigned char* dbType, const unsigned char* sql, unsigned long length);

  // The file that the next save writes, once; null for the one that was opened.
  [[nodiscard]] int setWriteFileName(const unsigned char* name);
  // Whether saved files are scrambled from here on. They are not, unless this says so.
  void setEncryptOnWrite(unsigned on = 1) { encryptOnWrite = on; }

  // Null or an empty name for none.
  [[nodiscard]] int setDbName(const unsigned char* name);
  [[nodiscard]] int setDbType(const unsigned char* type);
  [[nodiscard]] int setSqlStmt(const unsigned char* text, unsigned long length);
  // The statement in one line, as far as its quotes allow, without its ";".
  [[nodiscard]] int getSqlStmt(ZuString* text);

  // Null if there is none. Valid until the file is closed or the text is set.
  const unsigned char* getDbName() const { return dbName.asPascalStr(); }
  const unsigned char* getDbType() const { return dbType.asPascalStr(); }
  unsigned long getVersionMajor() const { return versionMajor; }
  unsigned long getVersionMinor() const { return versionMinor; }
  unsigned long getVersionThird() const { return versionThird; }
  bool isFileOpen() const { return lineReader.isFileOpen(); }
  // Changed since it was opened, initialized or saved. A database name alone is no change.
  bool isDirty() const { return dirty; }
  bool wasEncrypted() const { return fileWasEncrypted; }
  bool isFormatTagged() const { return hasFormatTag; }

  // The text of a section, ending in at least two line feeds; empty if there is no such section.
  [[nodiscard]] int getSectionChunk(const unsigned char* name, ZuString* text);
  [[nodiscard]] int getSectionChunk(SectionType type, ZuString* text) {
    return getSectionChunk(nameOf(type), text);
  }
  // The same in a new block, which the caller frees; null and 0 if there is no section or no text.
  [[nodiscard]] int getHugeSectionChunk(const unsigned char* name, unsigned char** data,
                                        unsigned long* length);
  [[nodiscard]] int getHugeSectionChunk(SectionType type, unsigned char** data, unsigned long* length) {
    return getHugeSectionChunk(nameOf(type), data, length);
  }

  [[nodiscard]] int setHugeSectionChunk(const unsigned char* name, const void* data, unsigned long length);
  [[nodiscard]] int setHugeSectionChunk(SectionType type, const void* data, unsigned long length) {
    return setHugeSectionChunk(nameOf(type), data, length);
  }
  [[nodiscard]] int setSectionChunk(SectionType type, const unsigned char* data, unsigned long length) {
    return setHugeSectionChunk(type, data, length);
  }
  [[nodiscard]] int setSectionChunk(SectionType type, const ZuSubString& text) {
    return setHugeSectionChunk(type, text.asPascalStr(), text.getLength());
  }

  [[nodiscard]] int doesSectionExist(const unsigned char* name, unsigned* exists);
  [[nodiscard]] int doesSectionExist(SectionType type, unsigned* exists) {
    return doesSectionExist(nameOf(type), exists);
  }
  [[nodiscard]] int removeSection(const unsigned char* name);
  [[nodiscard]] int removeSection(SectionType type) { return removeSection(nameOf(type)); }

  // Appends a new ZuString for each line that is not empty. Items so far stay after a failure.
  [[nodiscard]] int getLines(const unsigned char* name, ZuArray* lines);
  [[nodiscard]] int getLines(SectionType type, ZuArray* lines) { return getLines(nameOf(type), lines); }

  // The parameters, each a ZufParam. Getting appends new ones; those before a failure stay.
  [[nodiscard]] int getParams(ZuArray* params);
  [[nodiscard]] int setParams(const ZuArray* params);

  // The text in the line SET.QUERY.DESCRIPTION ('text') of the section DEFINITION, in which quotes are not
  // doubled; 1 without an error if there is no such line. Longer ones than 255 characters do not come back.
  [[nodiscard]] int getDescription(ZuString* text);
  [[nodiscard]] int setDescription(const ZuString* text);

  // Where the first header is in the file; 0 if there is none.
  [[nodiscard]] int getFirstSectionOffset(unsigned long* offset);

  // Write the query and open the new file, or close. Error 2721 with the name if the old file cannot be
  // deleted, 2720 if the type of the database cannot stand in a header, 1507 if there is no name to save to.
  //
  // A file that exists is written under its name with "$" in place of the last character, deleted, and
  // replaced by the new one. If it is deleted and the new one cannot be renamed (30042), the new one stays
  // under the name with "$".
  [[nodiscard]] int save();
  [[nodiscard]] int saveAndClose();
  [[nodiscard]] int saveAs(const unsigned char* path);

 private:
  static const unsigned char* nameOf(SectionType type) {
    return reinterpret_cast<const unsigned char*>(Sections[type]);
  }
  int readLine();
  int readNonBlankLine();
  bool isAtEnd() const { return lineReader.isEndOfFile(); }
  bool isSectionHeader(ZuSubString* name) const;
  int parseHeader();
  int readDefinitionOfVersion2();
  void noteRead(unsigned long start, unsigned long end);
  int readLines(ZuString* text, unsigned long offset, bool stopAtSemicolon);
  int readTmp(const SectionInfo& info, ZuString* text);
  int readSection(const SectionInfo& info, ZuString* text);

  int nextSection(SectionInfo** info);
  void endCurrentSection(unsigned long offset);
  int findSection(const ZuSubString& name, SectionInfo** info, bool scanAll);
  SectionInfo* lookUp(const ZuSubString& name) const;
  int addSectionInfo(const ZuSubString& name, SectionInfo** info);
  int getSectionInfo(const unsigned char* name, bool scanAll, SectionInfo** info);

  const unsigned char* saveName() const { return writeFileName ? writeFileName : fileName; }
  int saveToFile(const unsigned char* path);
  int buildHeader(ZuString* header, const unsigned char* path);
  int replaceFile(const unsigned char* path, ZuString* header);
  int writeNewFile(const unsigned char* path, ZuString* header);
  int writeTo(int handle, ZuString* header);
  int sortedSections(ZuSortedArray* sorted);

  ZuFileByLine lineReader;
  ZuSubString currentLine;            // or a piece of a line
  ZuString longLine;                  // a line that fills more than the reader's buffer and may be a header
  ZuTmpFile tmpFile;                  // the sections that were set
  unsigned char* fileName = nullptr;  // owned; a full path
  unsigned char* writeFileName = nullptr;  // owned; null for none
  unsigned long versionMajor = 1;
  unsigned long versionMinor = 0;
  unsigned long versionThird = 0;
  ZuString dbType;  // these three have no block while they are not set
  ZuString sqlStmt;
  ZuString dbName;
  unsigned long sqlOffset = 0;            // 0: the file has no statement
  unsigned long firstSectionOffset = 0;   // 0: not yet known
  unsigned long searchedTo = 0;           // every header before this place in the file is known
  ZuSortedArray sections;                 // of SectionInfo, by name; owned
  SectionInfo* currentSection = nullptr;  // the last one found, whose end is not known yet
  unsigned dirty = 0;
  unsigned encryptOnWrite = 0;
  unsigned fileWasEncrypted = 0;
  unsigned hasFormatTag = 0;
  bool startsLine = true;      // the current piece begins a line
  bool nextStartsLine = true;  // and the one that is read next
};

// Closes the file at the end of the scope while it is armed, which it is from the start.
class ZufAutoClose {
 public:
  explicit ZufAutoClose(ZuQueryFile* file) : file(file) {}
  ZufAutoClose(const ZufAutoClose&) = delete;
  ZufAutoClose& operator=(const ZufAutoClose&) = delete;
  ~ZufAutoClose() {
    if (armed) file->closeFile();
  }

  void disarm() { armed = false; }

 private:
  ZuQueryFile* file;  // not owned
  bool armed = true;
};

#endif
