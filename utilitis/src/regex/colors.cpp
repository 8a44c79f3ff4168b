#include "regex/colors.h"

#include <algorithm>
#include <limits>
#include <numeric>
#include <unordered_map>

namespace Qorv::IMPL {
namespace {

// The elements where some set begins or has just ended.
std::vector<std::uint32_t> FindBounds(const std::vector<CharSet>& sets) {
  std::vector<std::uint32_t> bounds{0};
  for (const CharSet& set : sets) {
    for (const CharSet::Span& span : set.spans) {
      bounds.push_back(span.first);
      if (span.last != std::numeric_limits<std::uint32_t>::max()) bounds.push_back(span.last + 1);
    }
  }
  std::ranges::sort(bounds);
  bounds.erase(std::unique(bounds.begin(), bounds.end()), bounds.end());
  return bounds;
}

}  // namespace

RegexColors::RegexColors(const std::vector<CharSet>& sets) : firsts_(FindBounds(sets)) {
  constexpr std::uint64_t most = std::uint64_t{1} << 20;  // steps
  if (sets.size() * firsts_.size() <= most) {
    Split(sets);
  } else {
    colors_.resize(firsts_.size());
    std::iota(colors_.begin(), colors_.end(), 0U);
    samples_ = firsts_;
  }
  for (std::uint32_t element = 0; element < low_.size(); ++element)
    low_[element] = Search(element);
}

// Starts with one colour for all and splits the colours by one set after the other.
void RegexColors::Split(const std::vector<CharSet>& sets) {
  colors_.assign(firsts_.size(), 0);
  std::vector<std::uint32_t> sizes{static_cast<std::uint32_t>(firsts_.size())};  // runs of each colour
  for (const CharSet& set : sets) {
    std::unordered_map<std::uint32_t, std::vector<std::size_t>> inside;  // runs of the set, by colour
    for (const CharSet::Span& span : set.spans) {
      for (auto run =
               static_cast<std::size_t>(std::ranges::lower_bound(firsts_, span.first) - firsts_.begin());
           run < firsts_.size() && firsts_[run] <= span.last; ++run)
        inside[colors_[run]].push_back(run);
    }
    for (const auto& [color, runs] : inside) {
      if (runs.size() == sizes[color]) continue;
      for (const std::size_t run : runs)
        colors_[run] = static_cast<std::uint32_t>(sizes.size());
      sizes[color] -= static_cast<std::uint32_t>(runs.size());
      sizes.push_back(static_cast<std::uint32_t>(runs.size()));
    }
  }
  samples_.resize(sizes.size());
  for (std::size_t run = 0; run < firsts_.size(); ++run)
    samples_[colors_[run]] = firsts_[run];
}

std::uint32_t RegexColors::Search(std::uint32_t element) const noexcept {
  const auto next = std::ranges::upper_bound(firsts_, element);
  return colors_[static_cast<std::size_t>(next - firsts_.begin()) - 1];
}

}  // namespace Qorv::IMPL
