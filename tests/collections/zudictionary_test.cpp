// Both dictionaries, in both widths: failures, numbers, equal keys. Random sequences are in models_test.cpp.

#include "zulib/collections/zudictionary.h"

#include <gtest/gtest.h>

#include "tests/collections/support.h"
#include "tests/support/fault_allocator.h"

namespace {

template <class Kinds>
class Dictionaries : public testing::Test {};

template <class Char, class Hash, class Seq>
struct Kinds {
  using Letter = Char;
  using Hashed = Hash;
  using Sequential = Seq;
};
using Widths = testing::Types<Kinds<unsigned char, ZuDictionary, ZuSeqDictionary>,
                              Kinds<unsigned short, ZuDictionaryW, ZuSeqDictionaryW>>;
TYPED_TEST_SUITE(Dictionaries, Widths);

TYPED_TEST(Dictionaries, AFailedAddLeavesEverythingAsItWas) {
  sweepAllocations([] {
    typename TypeParam::Hashed hashed;
    typename TypeParam::Sequential sequential;
    const typename TypeParam::Letter text[] = {'k', 0};
    typename TypeParam::Hashed::Key key(text, 1);
    bool all = hashed.initialize(1) == 0;
    for (unsigned long i = 1; i <= 20; ++i) {
      const unsigned long before = hashed.getCount() + sequential.getCount();
      const int failures = (hashed.addAssoc(i, i) != 0) + (sequential.addAssoc(i, &hashed) != 0);
      EXPECT_EQ(hashed.getCount() + sequential.getCount(), before + 2 - static_cast<unsigned long>(failures));
      EXPECT_EQ(failures == 0, hashed.doesExist(i) && sequential.doesExist(i));
      all &= failures == 0;
    }
    all &= hashed.addAssoc(&key, nullptr) == 0 && sequential.addAssoc(&key, nullptr) == 0;
    return all;
  });
}

TYPED_TEST(Dictionaries, NumbersInTheOrderOfInsertion) {
  typename TypeParam::Sequential numbers;
  Item item(1);
  ASSERT_EQ(numbers.addAssoc(7ul, 70ul) | numbers.addAssoc(7ul, 71ul) | numbers.addAssoc(8ul, &item), 0);
  numbers.changeData(7ul, 72ul);
  numbers.changeData(9ul, 1ul);
  EXPECT_EQ(numbers.getIntForKey(7ul), 72u);
  EXPECT_EQ(numbers.getIntDataAtIndex(1), 71u);
  EXPECT_EQ(numbers.getIntKeyAtIndex(2), 8u);
  EXPECT_EQ(numbers.getPtrForKey(8ul), &item);
  EXPECT_EQ(numbers.getPtrForKey(7ul), nullptr);
  EXPECT_EQ(numbers.getIndexForKey(9ul), 3u);
}

TYPED_TEST(Dictionaries, CaseIsIgnoredFromTheCallOn) {
  const typename TypeParam::Letter text[] = {'a', 'B'}, other[] = {'A', 'b'};
  typename TypeParam::Hashed::Key key(text, 2), wanted(other, 2);
  typename TypeParam::Hashed dictionary;
  ASSERT_EQ(dictionary.initialize(4) | dictionary.addAssoc(&key, &key), 0);
  EXPECT_FALSE(dictionary.doesExist(&wanted));
  dictionary.setCaseInsensitive();
  EXPECT_TRUE(dictionary.doesExist(&wanted) && dictionary.doesExist(&key));
}

TEST(Dictionary, AnEqualKeyTakesTheCellOfTheOldOne) {
  ZuDictionary dictionary;
  ASSERT_EQ(dictionary.initialize(10), 0);
  ASSERT_EQ(dictionary.addAssoc(5ul, 1ul), 0);
  auto* old = static_cast<ZuAssociation*>(dictionary.at(dictionary.getIndexForKey(5)));
  ASSERT_EQ(dictionary.addAssoc(5ul, 2ul), 0);
  EXPECT_EQ(dictionary.getCount(), 2u);
  EXPECT_EQ(dictionary.getIntForKey(5), 2u);
  delete old;
}

}  // namespace
