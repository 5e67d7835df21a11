#include "zulib/convert/converters/zudataconverter.h"

#include "zulib/convert/internal/report.h"

ZuDataConverter::~ZuDataConverter() {
  replaceSource(nullptr);
  replaceSink(nullptr);
}

void ZuDataConverter::calculateSinkBytes(unsigned long, unsigned long) {}

int ZuDataConverter::calculateSinkBytes(ZuTmpFileSink*, ZuTmpFileSource*, ZuDataSource**) {
  return zuconvert::reportFailure();
}

void ZuDataConverter::replaceSource(ZuDataSource* newSource) {
  if (source != newSource && !sourceNotOwned) delete source;
  source = newSource;
}

void ZuDataConverter::replaceSink(ZuDataSink* newSink) {
  if (sink && sink != newSink && !sink->isNotOwned()) delete sink;
  sink = newSink;
}
