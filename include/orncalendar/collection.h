// The ordered, 1-based collection of the object model. Entries may carry a
// unique text key; keys compare without regard to letter case (ASCII), as
// the automation collection does. Collections handed out by the object model
// are shared: the pointer you get is the live collection, not a copy.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "orncalendar/error.h"

namespace orncal {

template <class T>
class Collection {
 public:
  using value_type = T;
  using const_iterator = typename std::vector<T>::const_iterator;

  Collection() = default;

  int32_t Count() const noexcept { return static_cast<int32_t>(values_.size()); }
  bool Empty() const noexcept { return values_.empty(); }
  // Changes with every addition and removal, so that what was worked out
  // from the collection can tell whether it still holds.
  uint64_t Version() const noexcept { return version_; }
  // Makes room for at least `count` entries in all (with `keyed`, for their
  // keys too). Room grows at least twofold, so that reserving a little more
  // again and again stays cheap.
  void Reserve(size_t count, bool keyed = false) {
    if (count > values_.capacity()) values_.reserve(std::max(count, 2 * values_.capacity()));
    if (keyed) {
      if (count > keys_.capacity()) keys_.reserve(std::max(count, 2 * keys_.capacity()));
      index_.reserve(count);
    }
  }

  // Appends an entry without a key.
  void Add(T item) {
    values_.push_back(std::move(item));
    if (!keys_.empty()) keys_.emplace_back();
    ++version_;
  }

  // Appends an entry under a key; a key already in use raises error 457.
  // An empty key means no key.
  void Add(T item, std::string_view key) {
    if (key.empty()) return Add(std::move(item));
    std::string folded = Fold(key);
    auto [pos, inserted] = index_.try_emplace(std::move(folded), values_.size());
    if (!inserted) throw Error(ErrorNumber::kDuplicateKey);
    keys_.resize(values_.size());  // the entries before had none
    keys_.push_back(pos->first);
    values_.push_back(std::move(item));
    ++version_;
  }

  // The entry at a 1-based position; an unknown position raises error 9.
  const T& Item(int32_t index) const { return values_[CheckedPosition(index)]; }

  // The entry under a key; an unknown key raises error 5.
  const T& Item(std::string_view key) const {
    const T* found = Find(key);
    if (!found) throw Error(ErrorNumber::kInvalidProcedureCall);
    return *found;
  }

  // The entry under a key, or nullptr.
  const T* Find(std::string_view key) const {
    auto it = index_.find(Fold(key));
    return it == index_.end() ? nullptr : &values_[it->second];
  }
  bool Exists(std::string_view key) const { return Find(key) != nullptr; }

  // Removes the entry at a 1-based position (error 9 when there is none).
  void Remove(int32_t index) { Erase(CheckedPosition(index)); }

  // Removes the entry under a key (error 5 when there is none).
  void Remove(std::string_view key) {
    auto it = index_.find(Fold(key));
    if (it == index_.end()) throw Error(ErrorNumber::kInvalidProcedureCall);
    Erase(it->second);
  }

  void Clear() {
    values_.clear();
    keys_.clear();
    index_.clear();
    ++version_;
  }

  const_iterator begin() const { return values_.begin(); }
  const_iterator end() const { return values_.end(); }

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
    values_.erase(values_.begin() + static_cast<std::ptrdiff_t>(pos));
    if (keys_.empty()) return;
    if (!keys_[pos].empty()) index_.erase(keys_[pos]);
    keys_.erase(keys_.begin() + static_cast<std::ptrdiff_t>(pos));
    for (size_t i = pos; i < keys_.size(); ++i) {
      if (!keys_[i].empty()) index_[keys_[i]] = i;
    }
  }

  std::vector<T> values_;
  // The folded key of each entry ("" for none), kept only once an entry
  // has a key: lists without keys (query results) do without.
  std::vector<std::string> keys_;
  std::unordered_map<std::string, size_t> index_;
  uint64_t version_ = 0;
};

}  // namespace orncal
