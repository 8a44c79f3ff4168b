// An ordered map from names to small things, in blocks: near each other in memory, and quick to build in order.
#pragma once

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <string_view>
#include <utility>
#include <vector>

#include "registry/compact_bytes.h"

namespace Qorv::IMPL {

/// What it has of std::map's operations does the same, except that every change of what names there are makes all iterators
/// and references invalid. The order is that of the bytes as unsigned numbers, the shorter first where one name begins with
/// the other.
///
/// Entries stand in blocks of up to `blockSize`, none of which is empty. Names that come in order fill one after the other;
/// one that comes between them moves half a block at most, or cuts a full block in two.
template <class T>
class CNameMap {
 public:
  using mapped_type = T;
  using value_type = std::pair<CRegName, T>;  // nobody changes the name

 private:
  using BLOCK = std::vector<value_type>;
  using BLOCKS = std::vector<BLOCK>;

  template <class Blocks, class Entry>
  class ITERATOR {
   public:
    using iterator_category = std::bidirectional_iterator_tag;
    using value_type = CNameMap::value_type;
    using difference_type = std::ptrdiff_t;
    using pointer = Entry*;
    using reference = Entry&;

    ITERATOR() noexcept = default;
    operator ITERATOR<const BLOCKS, const value_type>() const noexcept { return {blocks_, block_, place_}; }

    Entry& operator*() const noexcept { return (*blocks_)[block_][place_]; }
    Entry* operator->() const noexcept { return &**this; }
    ITERATOR& operator++() noexcept {
      if (++place_ == (*blocks_)[block_].size()) {
        ++block_;
        place_ = 0;
      }
      return *this;
    }
    ITERATOR& operator--() noexcept {
      if (place_ == 0) place_ = (*blocks_)[--block_].size();
      --place_;
      return *this;
    }
    ITERATOR operator++(int) noexcept {
      const ITERATOR before = *this;
      ++*this;
      return before;
    }
    ITERATOR operator--(int) noexcept {
      const ITERATOR before = *this;
      --*this;
      return before;
    }
    bool operator==(const ITERATOR&) const noexcept = default;

   private:
    friend class CNameMap;
    template <class, class>
    friend class ITERATOR;
    ITERATOR(Blocks* blocks, std::size_t block, std::size_t place)
    noexcept : blocks_(blocks), block_(block), place_(place) {}

    Blocks* blocks_ = nullptr;
    std::size_t block_ = 0;
    std::size_t place_ = 0;
  };

 public:
  using iterator = ITERATOR<BLOCKS, value_type>;
  using const_iterator = ITERATOR<const BLOCKS, const value_type>;

  /// The entry of that number, below the size, by steps of a block.
  const value_type& At(std::size_t index) const noexcept {
    auto block = blocks_.begin();
    for (; index >= block->size(); ++block)
      index -= block->size();
    return (*block)[index];
  }

  bool empty() const noexcept { return size_ == 0; }
  std::size_t size() const noexcept { return size_; }
  iterator begin() noexcept { return {&blocks_, 0, 0}; }
  iterator end() noexcept { return {&blocks_, blocks_.size(), 0}; }
  const_iterator begin() const noexcept { return {&blocks_, 0, 0}; }
  const_iterator end() const noexcept { return {&blocks_, blocks_.size(), 0}; }
  std::reverse_iterator<iterator> rbegin() noexcept { return std::reverse_iterator(end()); }
  std::reverse_iterator<const_iterator> rbegin() const noexcept { return std::reverse_iterator(end()); }

  /// Calls `take` with each entry, in their order: the way for many of them.
  template <class Take>
  void ForEach(Take take) const {
    for (const BLOCK& block : blocks_)
      for (const value_type& entry : block)
        take(entry);
  }

  iterator find(std::string_view name) noexcept {
    const auto [block, place, isThere] = PlaceOf(CNameProbe(name));
    return isThere ? iterator(&blocks_, block, place) : end();
  }
  const_iterator find(std::string_view name) const noexcept {
    const auto [block, place, isThere] = PlaceOf(CNameProbe(name));
    return isThere ? const_iterator(&blocks_, block, place) : end();
  }
  bool contains(std::string_view name) const noexcept { return find(name) != end(); }

  template <class... Arguments>
  std::pair<iterator, bool> try_emplace(std::string_view name, Arguments&&... arguments) {
    const CNameProbe probe(name);
    if (IsLast(probe)) {
      AppendTo(1, probe, std::forward<Arguments>(arguments)...);
      return {std::prev(end()), true};
    }
    const auto [block, place, isThere] = PlaceOf(probe);
    if (isThere) return {iterator(&blocks_, block, place), false};
    return {InsertAt(block, place, probe, std::forward<Arguments>(arguments)...), true};
  }
  template <class Value>
  std::pair<iterator, bool> insert_or_assign(std::string_view name, Value&& value) {
    const auto entry = try_emplace(name, std::forward<Value>(value));
    if (!entry.second) entry.first->second = std::forward<Value>(value);  // not used up then
    return entry;
  }
  /// Puts an entry behind all others if its name belongs there, and returns its value; null, and nothing done, if not.
  /// `more` is how many are to be expected with it, for which no more than a block is set aside.
  T* append(std::size_t more, std::string_view name) {
    const CNameProbe probe(name);
    if (!IsLast(probe)) return nullptr;
    AppendTo(more, probe);
    return &blocks_.back().back().second;
  }
  void pop_back() noexcept { erase(std::prev(end())); }

  void erase(iterator at) noexcept {
    BLOCK& block = blocks_[at.block_];
    block.erase(block.begin() + static_cast<std::ptrdiff_t>(at.place_));
    if (block.empty()) blocks_.erase(blocks_.begin() + static_cast<std::ptrdiff_t>(at.block_));
    --size_;
  }
  void clear() noexcept {
    BLOCKS().swap(blocks_);
    size_ = 0;
  }
  void swap(CNameMap& other) noexcept {
    blocks_.swap(other.blocks_);
    std::swap(size_, other.size_);
  }

 private:
  static constexpr std::size_t blockSize = 64;

  struct PLACE {
    std::size_t block;
    std::size_t place;
    bool isThere;
  };

  // How many of `size` elements, which are in order, `isBefore` tells of. The answers are numbers and no branches, which
  // could not be foreseen, and while there are many three are had at once.
  template <class Element, class IsBefore>
  static std::size_t CountBefore(const Element* elements, std::size_t size, IsBefore isBefore) noexcept {
    std::size_t before = 0;
    const auto count = [&](std::size_t place) { return std::size_t{isBefore(elements[before + place])}; };
    std::size_t left = size;
    for (; left >= 4; left -= 3 * (left / 4)) {
      const std::size_t part = left / 4;
      before += part * (count(part - 1) + count(2 * part - 1) + count(3 * part - 1));
    }
    std::size_t rest = 0;
    for (std::size_t i = 0; i < left; ++i)
      rest += count(i);
    return before + rest;
  }

  // Where the name is, or would be: within or behind a block.
  PLACE PlaceOf(const CNameProbe& name) const noexcept {
    if (size_ == 0) return {0, 0, false};
    // The last block that does not begin behind the name, or the first one.
    const std::size_t block = CountBefore(blocks_.data() + 1, blocks_.size() - 1,
                                          [&](const BLOCK& b) { return b.front().first <= name; });
    const BLOCK& entries = blocks_[block];
    const std::size_t place = CountBefore(entries.data(), entries.size(),
                                          [&](const value_type& entry) { return entry.first < name; });
    return {block, place, place != entries.size() && entries[place].first == name};
  }

  // True if it belongs behind all others.
  bool IsLast(const CNameProbe& name) const noexcept {
    return size_ == 0 || blocks_.back().back().first < name;
  }

  template <class... Arguments>
  void AppendTo(std::size_t more, const CNameProbe& name, Arguments&&... arguments) {
    if (size_ == 0 || blocks_.back().size() == blockSize) {
      BLOCK fresh;
      fresh.reserve(std::min(more, blockSize));
      blocks_.push_back(std::move(fresh));
    }
    try {
      blocks_.back().emplace_back(std::piecewise_construct, std::forward_as_tuple(name),
                                  std::forward_as_tuple(std::forward<Arguments>(arguments)...));
    } catch (...) {
      if (blocks_.back().empty()) blocks_.pop_back();
      throw;
    }
    ++size_;
  }

  template <class... Arguments>
  iterator InsertAt(std::size_t block, std::size_t place, const CNameProbe& name, Arguments&&... arguments) {
    value_type entry(std::piecewise_construct, std::forward_as_tuple(name),
                     std::forward_as_tuple(std::forward<Arguments>(arguments)...));
    if (blocks_[block].size() == blockSize) {
      Split(block);
      if (place > blocks_[block].size()) place -= blocks_[block++].size();
    }
    BLOCK& target = blocks_[block];
    target.insert(target.begin() + static_cast<std::ptrdiff_t>(place), std::move(entry));
    ++size_;
    return {&blocks_, block, place};
  }

  // The second half becomes a block of its own.
  void Split(std::size_t block) {
    BLOCK half;
    half.reserve(blockSize);
    const auto next =
        blocks_.insert(blocks_.begin() + static_cast<std::ptrdiff_t>(block) + 1, std::move(half));
    BLOCK& full = *std::prev(next);
    const auto middle = full.begin() + static_cast<std::ptrdiff_t>(blockSize / 2);
    std::move(middle, full.end(), std::back_inserter(*next));
    full.erase(middle, full.end());
  }

  BLOCKS blocks_;
  std::size_t size_ = 0;
};

}  // namespace Qorv::IMPL
