// Tag names as they are compared, and tables of what is known about them.
#pragma once

#include <array>
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

#include "sdrfile/utilities/tag_table.h"

namespace tarvek {

/// What CheckTable() looks at of a name: its first 32 characters, in upper case, with zero bytes
/// behind a shorter one.
using TagKey = std::array<char, kTagNameSize>;

/// @param name  terminated, or 32 characters.
inline TagKey MakeTagKey(const char* name) {
  TagKey key{};
  for (std::size_t i = 0; i < key.size() && name[i] != '\0'; ++i) {
    key[i] = static_cast<char>(std::toupper(static_cast<unsigned char>(name[i])));
  }
  return key;
}

/// Finds objects by a key in constant time. `T` has a constructor that takes its key, `key`, and
/// `chained`, which is the table's.
template <typename T>
class TagKeyTable {
 public:
  TagKeyTable() = default;
  TagKeyTable(const TagKeyTable&) = delete;
  TagKeyTable& operator=(const TagKeyTable&) = delete;
  ~TagKeyTable() {
    for (std::size_t i = 0; i < bucket_count_; ++i) {
      while (buckets_[i] != nullptr) delete std::exchange(buckets_[i], buckets_[i]->chained);
    }
  }

  /// @return the object of that key, or null.
  T* Find(const TagKey& key) const {
    if (bucket_count_ == 0) return nullptr;
    T* found = *BucketOf(key);
    while (found != nullptr && found->key != key) found = found->chained;
    return found;
  }

  /// @return the object of that key, made if need be and owned by the table; null when memory ran
  ///   out.
  T* FindOrMake(const TagKey& key) {
    if (T* const found = Find(key); found != nullptr) return found;
    if (size_ == bucket_count_ && !Grow()) return nullptr;
    T* const made = new (std::nothrow) T(key);
    if (made == nullptr) return nullptr;
    T** const bucket = BucketOf(key);
    made->chained = std::exchange(*bucket, made);
    ++size_;
    return made;
  }

 private:
  static constexpr std::size_t kFirstBuckets = 16;

  T** BucketOf(const TagKey& key) const { return &buckets_[Hash(key) & (bucket_count_ - 1)]; }

  /// The table's own address is in it, which no script can know: none can be written so that its
  /// names meet in one bucket.
  std::size_t Hash(const TagKey& key) const {
    constexpr std::uint64_t kFirstFactor = 0xFF51AFD7ED558CCDU;  // of MurmurHash3's finalizer
    constexpr std::uint64_t kSecondFactor = 0xC4CEB9FE1A85EC53U;
    constexpr unsigned kShift = 33;
    std::uint64_t hash = reinterpret_cast<std::uintptr_t>(this);
    for (std::size_t at = 0; at < key.size(); at += sizeof(hash)) {
      std::uint64_t part = 0;
      std::memcpy(&part, key.data() + at, sizeof(part));
      hash ^= part;
      hash = (hash ^ (hash >> kShift)) * kFirstFactor;
      hash = (hash ^ (hash >> kShift)) * kSecondFactor;
      hash ^= hash >> kShift;
    }
    return static_cast<std::size_t>(hash);
  }

  bool Grow() {
    const std::size_t old_count = bucket_count_;
    const std::size_t count = old_count == 0 ? kFirstBuckets : 2 * old_count;
    std::unique_ptr<T*[]> grown(new (std::nothrow) T*[count]());
    if (grown == nullptr) return false;
    buckets_.swap(grown);
    bucket_count_ = count;
    for (std::size_t i = 0; i < old_count; ++i) {
      for (T* moved = grown[i]; moved != nullptr;) {
        T* const next = moved->chained;
        T** const bucket = BucketOf(moved->key);
        moved->chained = std::exchange(*bucket, moved);
        moved = next;
      }
    }
    return true;
  }

  std::unique_ptr<T*[]> buckets_;
  std::size_t bucket_count_ = 0;  // a power of two once there are any
  std::size_t size_ = 0;
};

}  // namespace tarvek
