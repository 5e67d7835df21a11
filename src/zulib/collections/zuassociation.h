// One key and its data: what dictionaries store.
//
//   class           key               data
//   ZuIntIntKey     unsigned long     unsigned long
//   ZuIntPtrKey     unsigned long     ZuObject*
//   ZuSubPtrKey     ZuSubString*      ZuObject*
//   ZuSubPtrKeyW    ZuSubStringW*     ZuObject*
//
// An association owns nothing by its destructor; only `deleteKeyAndData` releases the two. The order of the
// virtual functions is part of the interface: drivers derive their own associations.

#ifndef ZULIB_COLLECTIONS_ZUASSOCIATION_H
#define ZULIB_COLLECTIONS_ZUASSOCIATION_H

#include <cstdint>

#include "zulib/runtime/zuapi.h"
#include "zulib/runtime/zuobject.h"
#include "zulib/text/zustring.h"
#include "zulib/text/zustringw.h"

class ZU_API ZuAssociation : public ZuObject {
 public:
  ~ZuAssociation() override;

  // Equality of two keys, and of the key and one that is asked for. A key of another kind is never equal.
  virtual bool isEqual(const ZuAssociation* other) const = 0;
  virtual bool isEqualCi(const ZuAssociation* other) const;
  virtual bool isEqual(const ZuSubStringW* key) const;
  virtual bool isEqualCi(const ZuSubStringW* key) const;
  virtual bool isEqual(const ZuSubString* key) const;
  virtual bool isEqualCi(const ZuSubString* key) const;
  virtual bool isEqual(unsigned long key) const;

  // What the association holds; 0 or null for what it does not.
  virtual unsigned long getIntKey() const;
  virtual unsigned long getIntData() const;
  virtual ZuSubString* getSubKey() const;
  virtual ZuSubStringW* getSubKeyW() const;
  virtual ZuObject* getPtrData() const;

  // Replaces the data; the old data is not released. No effect on an association with the other kind of data.
  virtual void changeData(unsigned long data);
  virtual void changeData(ZuObject* data);

  virtual std::uint32_t hash() const = 0;

  // Deletes those of key and data that are objects. The association must not be asked for them afterwards.
  virtual void deleteKeyAndData() = 0;
};

// Number keys have no case: `isEqualCi` is `isEqual`.
class ZU_API ZuIntKey : public ZuAssociation {
 public:
  explicit ZuIntKey(unsigned long key) : key(key) {}
  ~ZuIntKey() override;

  using ZuAssociation::isEqual;
  using ZuAssociation::isEqualCi;
  bool isEqual(const ZuAssociation* other) const override { return other->isEqual(key); }
  bool isEqualCi(const ZuAssociation* other) const override { return other->isEqual(key); }
  bool isEqual(unsigned long number) const override { return key == number; }
  unsigned long getIntKey() const override { return key; }
  std::uint32_t hash() const override { return static_cast<std::uint32_t>(key); }

 private:
  unsigned long key;
};

class ZU_API ZuIntIntKey : public ZuIntKey {
 public:
  ZuIntIntKey(unsigned long key, unsigned long data) : ZuIntKey(key), data(data) {}
  ~ZuIntIntKey() override;

  unsigned long getIntData() const override { return data; }
  using ZuAssociation::changeData;
  void changeData(unsigned long newData) override { data = newData; }
  void deleteKeyAndData() override {}

 private:
  unsigned long data;
};

class ZU_API ZuIntPtrKey : public ZuIntKey {
 public:
  ZuIntPtrKey(unsigned long key, ZuObject* data) : ZuIntKey(key), data(data) {}
  ~ZuIntPtrKey() override;

  ZuObject* getPtrData() const override { return data; }
  using ZuAssociation::changeData;
  void changeData(ZuObject* newData) override { data = newData; }
  void deleteKeyAndData() override;

 private:
  ZuObject* data;
};

class ZU_API ZuSubPtrKey : public ZuAssociation {
 public:
  ZuSubPtrKey(ZuSubString* key, ZuObject* data) : key(key), data(data) {}
  ~ZuSubPtrKey() override;

  using ZuAssociation::isEqual;
  using ZuAssociation::isEqualCi;
  bool isEqual(const ZuAssociation* other) const override { return other->isEqual(key); }
  bool isEqualCi(const ZuAssociation* other) const override { return other->isEqualCi(key); }
  bool isEqual(const ZuSubString* text) const override { return key->isEqual(*text); }
  bool isEqualCi(const ZuSubString* text) const override { return key->isEqualCi(*text); }
  ZuSubString* getSubKey() const override { return key; }
  ZuObject* getPtrData() const override { return data; }
  using ZuAssociation::changeData;
  void changeData(ZuObject* newData) override { data = newData; }
  std::uint32_t hash() const override { return key->hash(); }
  void deleteKeyAndData() override;

 private:
  ZuSubString* key;
  ZuObject* data;
};

class ZU_API ZuSubPtrKeyW : public ZuAssociation {
 public:
  ZuSubPtrKeyW(ZuSubStringW* key, ZuObject* data) : key(key), data(data) {}
  ~ZuSubPtrKeyW() override;

  using ZuAssociation::isEqual;
  using ZuAssociation::isEqualCi;
  bool isEqual(const ZuAssociation* other) const override { return other->isEqual(key); }
  bool isEqualCi(const ZuAssociation* other) const override { return other->isEqualCi(key); }
  bool isEqual(const ZuSubStringW* text) const override { return key->isEqual(*text); }
  bool isEqualCi(const ZuSubStringW* text) const override { return key->isEqualCi(*text); }
  ZuSubStringW* getSubKeyW() const override { return key; }
  ZuObject* getPtrData() const override { return data; }
  using ZuAssociation::changeData;
  void changeData(ZuObject* newData) override { data = newData; }
  std::uint32_t hash() const override { return key->hash(); }
  void deleteKeyAndData() override;

 private:
  ZuSubStringW* key;
  ZuObject* data;
};

#endif
