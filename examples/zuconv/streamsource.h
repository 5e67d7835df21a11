#ifndef ZULIB_EXAMPLES_ZUCONV_STREAMSOURCE_H
#define ZULIB_EXAMPLES_ZUCONV_STREAMSOURCE_H

#include <zulib/convert/sources/zudatasource.h>

#include <cstdio>
#include <vector>

// A value that is read from a stream, as a driver's source reads it from the wire. It can be read once. A
// failure of the stream leaves no record: `std::ferror` tells.
class StreamSource : public ZuDataSource {
 public:
  StreamSource(std::FILE* stream, unsigned long piece) : stream(stream), buffer(piece) {}

  int init() override { return 0; }
  int reset() override { return 1; }
  int getData(const void** data, unsigned long* size, int* more) override;
  int getData(void* to, unsigned long max, unsigned long* got, int* more) override;

  unsigned long getBytesRead() const { return bytesRead; }

 private:
  std::FILE* stream;
  std::vector<unsigned char> buffer;
  unsigned long bytesRead = 0;
};

#endif
