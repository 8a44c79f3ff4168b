// Objects that are there before the program starts and never go.
#pragma once

namespace Qorv::IMPL {

/// A static object whose destructor never runs, for what other static objects may need to their end. Declare it
/// constinit.
template <class T>
union CLasting {
  constexpr CLasting() noexcept : object() {}
  ~CLasting() {}
  T object;
};

}  // namespace Qorv::IMPL
