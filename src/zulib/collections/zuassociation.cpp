#include "zulib/collections/zuassociation.h"

ZuAssociation::~ZuAssociation() = default;

bool ZuAssociation::isEqualCi(const ZuAssociation*) const { return false; }
bool ZuAssociation::isEqual(const ZuSubStringW*) const { return false; }
bool ZuAssociation::isEqualCi(const ZuSubStringW*) const { return false; }
bool ZuAssociation::isEqual(const ZuSubString*) const { return false; }
bool ZuAssociation::isEqualCi(const ZuSubString*) const { return false; }
bool ZuAssociation::isEqual(unsigned long) const { return false; }

unsigned long ZuAssociation::getIntKey() const { return 0; }
unsigned long ZuAssociation::getIntData() const { return 0; }
ZuSubString* ZuAssociation::getSubKey() const { return nullptr; }
ZuSubStringW* ZuAssociation::getSubKeyW() const { return nullptr; }
ZuObject* ZuAssociation::getPtrData() const { return nullptr; }

void ZuAssociation::changeData(unsigned long) {}
void ZuAssociation::changeData(ZuObject*) {}

ZuIntKey::~ZuIntKey() = default;
ZuIntIntKey::~ZuIntIntKey() = default;
ZuIntPtrKey::~ZuIntPtrKey() = default;
ZuSubPtrKey::~ZuSubPtrKey() = default;
ZuSubPtrKeyW::~ZuSubPtrKeyW() = default;

void ZuIntPtrKey::deleteKeyAndData() {
  delete data;
  data = nullptr;
}

void ZuSubPtrKey::deleteKeyAndData() {
  delete key;
  delete data;
  key = nullptr;
  data = nullptr;
}

void ZuSubPtrKeyW::deleteKeyAndData() {
  delete key;
  delete data;
  key = nullptr;
  data = nullptr;
}
