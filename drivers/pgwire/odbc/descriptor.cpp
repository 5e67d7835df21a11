#include "odbc/descriptor.h"

#include "odbc/handles.h"

namespace pgwire {

std::mutex& Descriptor::lock() { return conn.mutex; }

DescriptorRecord* Descriptor::makeRecord(std::size_t number) {
  while (records.size() < number) {
    if (records.append(DescriptorRecord{})) return nullptr;
  }
  return &records[number - 1];
}

void Descriptor::trim() {
  std::size_t n = records.size();
  while (n > 0 && !records[n - 1].data && !records[n - 1].isBound && !records[n - 1].octetLengthPtr) --n;
  records.shorten(n);
}

void DescriptorRecord::setType(SQLSMALLINT concise) {
  conciseType = concise;
  verbose = verboseType(concise, &subcode);
}

}  // namespace pgwire
