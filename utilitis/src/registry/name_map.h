// An ordered map from names to small things, in blocks: near each other in memory, and quick to build in order.
#pragma once

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

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
  using key_type = std::string;
  using mapped_type = T;
  using value_type = std::pair<std::string, T>;  // nobody changes the name

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

  bool empty() const noexcept { return size_ == 0; }
  std::size_t size() const noexcept { return size_; }
  iterator begin() noexcept { return {&blocks_, 0, 0}; }
  iterator end() noexcept { return {&blocks_, blocks_.size(), 0}; }
  const_iterator begin() const noexcept { return {&blocks_, 0, 0}; }
  const_iterator end() const noexcept { return {&blocks_, blocks_.size(), 0}; }
  std::reverse_iterator<iterator> rbegin() noexcept { return std::reverse_iterator(end()); }
  std::reverse_iterator<const_iterator> rbegin() const noexcept { return std::reverse_iterator(end()); }

  iterator find(std::string_view name) noexcept {
    const auto [block, place] = PlaceOf(name);
    return IsAt(block, place, name) ? iterator(&blocks_, block, place) : end();
  }
  const_iterator find(std::string_view name) const noexcept {
    const auto [block, place] = PlaceOf(name);
    return IsAt(block, place, name) ? const_iterator(&blocks_, block, place) : end();
  }
  bool contains(std::string_view name) const noexcept { return find(name) != end(); }

  template <class Name, class... Arguments>
  std::pair<iterator, bool> try_emplace(Name&& name, Arguments&&... arguments) {
    if (const std::string_view text = name; size_ != 0 && !(text > blocks_.back().back().first)) {
      const auto [block, place] = PlaceOf(text);
      if (IsAt(block, place, text)) return {iterator(&blocks_, block, place), false};
      return {InsertAt(block, place, std::forward<Name>(name), std::forward<Arguments>(arguments)...), true};
    }
    AppendTo(1, std::forward<Name>(name), std::forward<Arguments>(arguments)...);
    return {std::prev(end()), true};
  }
  template <class Name, class Value>
  std::pair<iterator, bool> insert_or_assign(Name&& name, Value&& value) {
    const auto entry = try_emplace(std::forward<Name>(name), std::forward<Value>(value));
    if (!entry.second) entry.first->second = std::forward<Value>(value);  // not used up then
    return entry;
  }
  /// Puts an entry behind all others if its name belongs there; false, and nothing done, if not. `more` is how many are to
  /// be expected with it, for which no more than a block is set aside.
  bool append(std::size_t more, std::string&& name, T&& value) {
    if (size_ != 0 && name <= blocks_.back().back().first) return false;
    AppendTo(more, std::move(name), std::move(value));
    return true;
  }

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

  // Where the name is, or would be: within or behind a block.
  std::pair<std::size_t, std::size_t> PlaceOf(std::string_view name) const noexcept {
    const auto behind =
        std::upper_bound(blocks_.begin(), blocks_.end(), name,
                         [](std::string_view n, const BLOCK& b) { return n < b.front().first; });
    if (behind == blocks_.begin()) return {0, 0};
    const BLOCK& block = *std::prev(behind);
    const auto place = std::lower_bound(block.begin(), block.end(), name,
                                        [](const value_type& e, std::string_view n) { return e.first < n; });
    return {static_cast<std::size_t>(behind - blocks_.begin()) - 1,
            static_cast<std::size_t>(place - block.begin())};
  }

  bool IsAt(std::size_t block, std::size_t place, std::string_view name) const noexcept {
    return block < blocks_.size() && place < blocks_[block].size() && blocks_[block][place].first == name;
  }

  template <class Name, class... Arguments>
  void AppendTo(std::size_t more, Name&& name, Arguments&&... arguments) {
    if (size_ == 0 || blocks_.back().size() == blockSize) {
      BLOCK fresh;
      fresh.reserve(std::min(more, blockSize));
      blocks_.push_back(std::move(fresh));
    }
    try {
      blocks_.back().emplace_back(std::piecewise_construct, std::forward_as_tuple(std::forward<Name>(name)),
                                  std::forward_as_tuple(std::forward<Arguments>(arguments)...));
    } catch (...) {
      if (blocks_.back().empty()) blocks_.pop_back();
      throw;
    }
    ++size_;
  }

  template <class Name, class... Arguments>
  iterator InsertAt(std::size_t block, std::size_t place, Name&& name, Arguments&&... arguments) {
    value_type entry(std::piecewise_construct, std::forward_as_tuple(std::forward<Name>(name)),
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
