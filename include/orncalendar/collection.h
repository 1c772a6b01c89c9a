// The ordered, 1-based collection of the object model. Entries may carry a
// unique text key; keys compare without regard to letter case (ASCII), as
// the automation collection does. Collections handed out by the object model
// are shared: the pointer you get is the live collection, not a copy.
#pragma once

#include <cstdint>
#include <iterator>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "orncalendar/error.h"

namespace orncal {

template <class T>
class Collection {
  struct Slot {
    T value;
    std::string key;  // folded to lower case; empty when the entry has none
  };

 public:
  using value_type = T;

  class const_iterator {
   public:
    using iterator_category = std::forward_iterator_tag;
    using value_type = T;
    using difference_type = std::ptrdiff_t;
    using pointer = const T*;
    using reference = const T&;

    const_iterator() = default;
    reference operator*() const { return it_->value; }
    pointer operator->() const { return &it_->value; }
    const_iterator& operator++() {
      ++it_;
      return *this;
    }
    const_iterator operator++(int) { return const_iterator(it_++); }
    const_iterator& operator--() {
      --it_;
      return *this;
    }
    difference_type operator-(const const_iterator& other) const { return it_ - other.it_; }
    const_iterator operator+(difference_type n) const { return const_iterator(it_ + n); }
    bool operator==(const const_iterator& other) const = default;

   private:
    friend class Collection;
    using Base = typename std::vector<Slot>::const_iterator;
    explicit const_iterator(Base it) : it_(it) {}
    Base it_{};
  };

  Collection() = default;

  int32_t Count() const noexcept { return static_cast<int32_t>(slots_.size()); }
  bool Empty() const noexcept { return slots_.empty(); }
  // Changes with every addition and removal, so that what was worked out
  // from the collection can tell whether it still holds.
  uint64_t Version() const noexcept { return version_; }

  // Appends an entry without a key.
  void Add(T item) {
    slots_.push_back(Slot{std::move(item), {}});
    ++version_;
  }

  // Appends an entry under a key; a key already in use raises error 457.
  // An empty key means no key.
  void Add(T item, std::string_view key) {
    if (key.empty()) return Add(std::move(item));
    std::string folded = Fold(key);
    auto [pos, inserted] = index_.try_emplace(folded, slots_.size());
    if (!inserted) throw Error(ErrorNumber::kDuplicateKey);
    slots_.push_back(Slot{std::move(item), pos->first});
    ++version_;
  }

  // The entry at a 1-based position; an unknown position raises error 9.
  const T& Item(int32_t index) const { return slots_[CheckedPosition(index)].value; }

  // The entry under a key; an unknown key raises error 5.
  const T& Item(std::string_view key) const {
    const T* found = Find(key);
    if (!found) throw Error(ErrorNumber::kInvalidProcedureCall);
    return *found;
  }

  // The entry under a key, or nullptr.
  const T* Find(std::string_view key) const {
    auto it = index_.find(Fold(key));
    return it == index_.end() ? nullptr : &slots_[it->second].value;
  }
  bool Exists(std::string_view key) const { return Find(key) != nullptr; }

  // 1-based position of the entry under a key, or 0.
  int32_t PositionOf(std::string_view key) const {
    auto it = index_.find(Fold(key));
    return it == index_.end() ? 0 : static_cast<int32_t>(it->second) + 1;
  }

  // Removes the entry at a 1-based position (error 9 when there is none).
  void Remove(int32_t index) { Erase(CheckedPosition(index)); }

  // Removes the entry under a key (error 5 when there is none).
  void Remove(std::string_view key) {
    auto it = index_.find(Fold(key));
    if (it == index_.end()) throw Error(ErrorNumber::kInvalidProcedureCall);
    Erase(it->second);
  }

  void Clear() {
    slots_.clear();
    index_.clear();
    ++version_;
  }

  const_iterator begin() const { return const_iterator(slots_.begin()); }
  const_iterator end() const { return const_iterator(slots_.end()); }

 private:
  static std::string Fold(std::string_view key) {
    std::string folded(key);
    for (char& c : folded) {
      if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    return folded;
  }

  size_t CheckedPosition(int32_t index) const {
    if (index < 1 || index > Count()) throw Error(ErrorNumber::kSubscriptOutOfRange);
    return static_cast<size_t>(index - 1);
  }

  void Erase(size_t pos) {
    ++version_;
    if (!slots_[pos].key.empty()) index_.erase(slots_[pos].key);
    slots_.erase(slots_.begin() + static_cast<std::ptrdiff_t>(pos));
    for (size_t i = pos; i < slots_.size(); ++i) {
      if (!slots_[i].key.empty()) index_[slots_[i].key] = i;
    }
  }

  std::vector<Slot> slots_;
  std::unordered_map<std::string, size_t> index_;
  uint64_t version_ = 0;
};

}  // namespace orncal
