// Arrays that keep their elements in order.
//
// ZuSortedArray orders objects by their virtual `compare`, of whose result the low 16 bits count, read as a
// signed number. `compare` must be one consistent order among all elements, none of which is null. Equal
// elements stay in the order in which they were added.
//
// A bulk load does not sort at every `add`: after `stopSort` or `sortOnRequest` elements are appended, and
// `resort` sorts them once. Until then only `seqFindIndexOf` finds.
//
// ZuSortedArrayZUSIZE_T does the same for values, always in order.
//
// Thread safety: one thread at a time, or under a lock of the caller.

#ifndef ZULIB_COLLECTIONS_ZUSORTED_H
#define ZULIB_COLLECTIONS_ZUSORTED_H

#include "zulib/collections/zuarray.h"

class ZU_API ZuSortedArray : public ZuArray {
 public:
  using ZuArray::ZuArray;
  ~ZuSortedArray() override;

  // Stores `obj` in its place, after elements equal to it; appends while sorting is stopped or on request.
  // 0, or 1 with the array as it was.
  [[nodiscard]] int add(ZuObject* obj);

  // 1 and the index of an element equal to `obj`, not always the first; or 0 and the index at which `obj`
  // would go.
  int findIndexOf(const ZuObject* obj, unsigned long& index) const;

  // 1 and the index of the first element equal to `obj`, in any order of elements; or 0 and count.
  int seqFindIndexOf(const ZuObject* obj, unsigned long& index) const;

  // Moves `index`, which is that of an element equal to `obj`, to the last of the equal elements after it.
  void findIndexOfLastKey(const ZuObject* obj, unsigned long& index) const;

  // From here on `add` appends: until `resort`, or for good.
  void stopSort() { setFlag(sortingStopped, 1); }
  void sortOnRequest() { setFlag(sortingOnRequest, 1); }

  // Sorts all elements; equal ones end in any order. Ends `stopSort` but not `sortOnRequest`.
  [[nodiscard]] int resort();

  // Deletes, or only removes, each element equal to the one before it. The array must be sorted.
  void deleteDuplicates();
  void removeDuplicates();

 private:
  unsigned long dropDuplicates(bool destroy);
};

class ZU_API ZuSortedArrayZUSIZE_T : public ZuArrayZUSIZE_T {
 public:
  using ZuArrayZUSIZE_T::ZuArrayZUSIZE_T;
  ~ZuSortedArrayZUSIZE_T() override;

  // The order of the values: below 0, 0 or above 0. Ascending here.
  using ZuObject::compare;
  virtual int compare(ZUSIZE_T a, ZUSIZE_T b) const;

  // As their namesakes above.
  [[nodiscard]] int add(ZUSIZE_T value);
  int findIndexOf(ZUSIZE_T value, unsigned long& index) const;
  void findIndexOfLastKey(ZUSIZE_T value, unsigned long& index) const;
};

#endif
