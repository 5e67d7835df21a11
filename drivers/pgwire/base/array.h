// A growable array of plain values. Its memory is of the `ram` family: an operation that needs more returns 1
// if there is none, with the array as it was and the thread's error list marked.
//
// Thread safety: none; one thread at a time.

#ifndef PGWIRE_BASE_ARRAY_H
#define PGWIRE_BASE_ARRAY_H

#include <zulib/runtime/ram.h>

#include <cstdlib>
#include <cstring>
#include <string_view>
#include <type_traits>
#include <utility>

namespace pgwire {

template <class T>
class Array {
  static_assert(std::is_trivially_copyable_v<T>);

 public:
  Array() = default;
  Array(const Array&) = delete;
  Array& operator=(const Array&) = delete;
  ~Array() { std::free(items); }

  [[nodiscard]] int reserve(std::size_t n) {
    if (n <= room) return 0;
    const std::size_t wanted = n < 2 * room ? 2 * room : n;
    void* block = items;
    if (block ? ramResize(&block, wanted * sizeof(T)) : !(block = ramAlloc(wanted * sizeof(T)))) return 1;
    items = static_cast<T*>(block);
    room = wanted;
    return 0;
  }
  // New elements are zero-filled.
  [[nodiscard]] int resize(std::size_t n) {
    if (reserve(n)) return 1;
    if (n > count) std::memset(static_cast<void*>(items + count), 0, (n - count) * sizeof(T));
    count = n;
    return 0;
  }
  [[nodiscard]] int append(const T* from, std::size_t n) {
    if (reserve(count + n)) return 1;
    if (n > 0) std::memcpy(static_cast<void*>(items + count), from, n * sizeof(T));
    count += n;
    return 0;
  }
  [[nodiscard]] int append(const T& item) { return append(&item, 1); }
  void clear() { count = 0; }
  void shorten(std::size_t n) { count = n; }
  void swap(Array& other) {
    std::swap(items, other.items);
    std::swap(count, other.count);
    std::swap(room, other.room);
  }

  std::size_t size() const { return count; }
  bool empty() const { return count == 0; }
  T* data() { return items; }
  const T* data() const { return items; }
  T& operator[](std::size_t i) { return items[i]; }
  const T& operator[](std::size_t i) const { return items[i]; }
  T* begin() { return items; }
  T* end() { return items + count; }
  const T* begin() const { return items; }
  const T* end() const { return items + count; }

 private:
  T* items = nullptr;
  std::size_t count = 0;
  std::size_t room = 0;
};

// Text in UTF-8, without a terminator unless `terminated` adds one.
class Text : public Array<char> {
 public:
  using Array::append;
  [[nodiscard]] int append(std::string_view text) { return Array::append(text.data(), text.size()); }
  [[nodiscard]] int assign(std::string_view text) {
    clear();
    return append(text);
  }
  std::string_view view() const { return {data(), size()}; }
  // The text with a zero after it that does not count; null if there is no memory.
  const char* terminated() {
    if (append('\0')) return nullptr;
    shorten(size() - 1);
    return data();
  }
};

}  // namespace pgwire

#endif
