#include "zulib/runtime/zuobject.h"

ZuObject::~ZuObject() = default;

int ZuObject::compare(const ZuObject*) const { return 0; }
