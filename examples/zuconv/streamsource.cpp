#include "streamsource.h"

int StreamSource::getData(const void** data, unsigned long* size, int* more) {
  *data = buffer.data();
  return getData(buffer.data(), buffer.size(), size, more);
}

int StreamSource::getData(void* to, unsigned long max, unsigned long* got, int* more) {
  *got = std::fread(to, 1, max, stream);
  bytesRead += *got;
  *more = std::feof(stream) == 0;
  return std::ferror(stream) ? 1 : 0;
}
