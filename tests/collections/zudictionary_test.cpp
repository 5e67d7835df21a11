// Both dictionaries, in both widths, against standard maps through random sequences of calls.

#include "zulib/collections/zudictionary.h"

#include <gtest/gtest.h>

#include <map>
#include <unordered_map>

#include "tests/collections/support.h"
#include "tests/support/fault_allocator.h"

namespace {

template <class Char>
struct Width;
template <>
struct Width<unsigned char> {
  using Hashed = ZuDictionary;
  using Sequential = ZuSeqDictionary;
  using Key = ZuSubString;
  using String = ZuString;
};
template <>
struct Width<unsigned short> {
  using Hashed = ZuDictionaryW;
  using Sequential = ZuSeqDictionaryW;
  using Key = ZuSubStringW;
  using String = ZuStringW;
};

template <class Char>
class Dictionaries : public testing::Test {
 protected:
  using Key = typename Width<Char>::Key;
  using Name = std::basic_string<Char>;

  // Many of these are equal except for case, and most have the first five letters in common with another.
  Name randomName() {
    Name name(dice(3) == 0 ? 5 : 0, Char{'p'});
    for (unsigned long n = dice(4); n > 0; --n) name += static_cast<Char>("aAbB"[dice(4)]);
    return name;
  }
  // What equal names have in common.
  Name canonical(Name name) const {
    for (Char& c : name) c = static_cast<Char>(ignoreCase ? c & ~0x20 : c);
    return name;
  }
  static Key* newKey(const Name& name) {
    auto* key = new typename Width<Char>::String;
    EXPECT_EQ(key->initialize(name.data(), name.size()), 0);
    return key;
  }

  Dice dice{5};
  bool ignoreCase = false;
};

using Chars = testing::Types<unsigned char, unsigned short>;
TYPED_TEST_SUITE(Dictionaries, Chars);

TYPED_TEST(Dictionaries, HashedBehavesAsAMap) {
  for (const bool ignoreCase : {false, true}) {
    SCOPED_TRACE(ignoreCase);
    this->ignoreCase = ignoreCase;
    typename Width<TypeParam>::Hashed dictionary;
    const auto name = this->randomName();
    const typename Width<TypeParam>::Key unknown(name.data(), name.size());
    EXPECT_FALSE(dictionary.doesExist(&unknown)) << "not initialised";
    ASSERT_EQ(dictionary.initialize(2), 0);
    if (ignoreCase) dictionary.setCaseInsensitive();
    std::map<std::basic_string<TypeParam>, ZuObject*> names;
    std::unordered_map<unsigned long, unsigned long> numbers;
    std::unordered_map<unsigned long, ZuObject*> objects;
    for (int i = 0; i < 3000 && !this->HasFailure(); ++i) {
      const auto wanted = this->randomName();
      const typename Width<TypeParam>::Key key(wanted.data(), wanted.size());
      auto& object = names[this->canonical(wanted)];
      ASSERT_EQ(dictionary.doesExist(&key), object != nullptr);
      ASSERT_EQ(dictionary.getPtrForKey(&key), object);
      if (!object) {
        object = new Item(i);
        ASSERT_EQ(dictionary.addAssoc(this->newKey(wanted), object), 0);
      }
      // The number keys of the two kinds differ; from 2^32 on only the low half of a key is its hash.
      const unsigned long even = (this->dice(500) << 31) + 2;
      ASSERT_EQ(dictionary.doesExist(even), numbers.count(even) == 1);
      ASSERT_EQ(dictionary.getIntForKey(even), numbers.count(even) ? numbers[even] : 0);
      if (!dictionary.doesExist(even)) {
        numbers[even] = static_cast<unsigned long>(i);
        ASSERT_EQ(dictionary.addAssoc(even, numbers[even]), 0);
      }
      const unsigned long odd = 2 * this->dice(500) + 1;
      ASSERT_EQ(dictionary.getPtrForKey(odd), objects.count(odd) ? objects[odd] : nullptr);
      if (!dictionary.doesExist(odd)) {
        objects[odd] = new Item(i);
        ASSERT_EQ(dictionary.addAssoc(odd, objects[odd]), 0);
      }
    }
    EXPECT_EQ(dictionary.getCount(), names.size() + numbers.size() + objects.size());
    dictionary.deleteKeyAndData();
    EXPECT_EQ(Item::alive, 0);
    EXPECT_EQ(dictionary.getCount(), 0u);
    EXPECT_FALSE(dictionary.doesExist(&unknown));
  }
}

TYPED_TEST(Dictionaries, SequentialFindsTheFirstOfEqualKeys) {
  using Name = std::basic_string<TypeParam>;
  for (const bool ignoreCase : {false, true}) {
    this->ignoreCase = ignoreCase;
    typename Width<TypeParam>::Sequential dictionary;
    if (ignoreCase) dictionary.setCaseInsensitive();
    std::vector<std::pair<Name, ZuObject*>>
        model;  // a number key has no name here, and the number as its data
    for (int i = 0; i < 2000 && !this->HasFailure(); ++i) {
      const Name wanted = this->randomName();
      const typename Width<TypeParam>::Key key(wanted.data(), wanted.size());
      size_t at = 0;
      while (at < model.size() && this->canonical(model[at].first) != this->canonical(wanted)) ++at;
      ASSERT_EQ(dictionary.getIndexForKey(&key), at);
      ASSERT_EQ(dictionary.doesExist(&key), at < model.size());
      ASSERT_EQ(dictionary.getPtrForKey(&key), at < model.size() ? model[at].second : nullptr);
      if (at < model.size() && this->dice(4) == 0) {
        delete model[at].second;
        model[at].second = new Item(i);
        dictionary.changeData(&key, model[at].second);
        ASSERT_EQ(dictionary.getPtrDataAtIndex(at), model[at].second);
      }
      if (at < model.size() && this->dice(2) == 0) {
        model.erase(model.begin() + static_cast<long>(at));
        dictionary.deleteKeyAndDataAtIndex(at);
      } else {
        model.emplace_back(wanted, new Item(i));
        ASSERT_EQ(dictionary.addAssoc(this->newKey(wanted), model.back().second), 0);
        ASSERT_TRUE(dictionary.getSubKeyAtIndex(model.size() - 1)->isEqual(wanted.data(), wanted.size()));
      }
      ASSERT_EQ(dictionary.getCount(), model.size());
    }
    dictionary.deleteKeyAndData();
    EXPECT_EQ(Item::alive, 0);
  }
  typename Width<TypeParam>::Sequential numbers;
  Item item(1);
  ASSERT_EQ(numbers.addAssoc(7ul, 70ul), 0);
  ASSERT_EQ(numbers.addAssoc(7ul, 71ul), 0);
  ASSERT_EQ(numbers.addAssoc(8ul, &item), 0);
  numbers.changeData(7ul, 72ul);
  numbers.changeData(9ul, 1ul);
  EXPECT_EQ(numbers.getIntForKey(7ul), 72u);
  EXPECT_EQ(numbers.getIntDataAtIndex(1), 71u);
  EXPECT_EQ(numbers.getIntKeyAtIndex(2), 8u);
  EXPECT_EQ(numbers.getPtrForKey(8ul), &item);
  EXPECT_EQ(numbers.getPtrForKey(7ul), nullptr);
  EXPECT_EQ(numbers.getIndexForKey(9ul), 3u);
}

TYPED_TEST(Dictionaries, AFailedAddLeavesEverythingAsItWas) {
  sweepAllocations([] {
    typename Width<TypeParam>::Hashed hashed;
    typename Width<TypeParam>::Sequential sequential;
    const TypeParam text[] = {'k', 0};
    typename Width<TypeParam>::Key key(text, 1);
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
