// What the string classes keep for each thread.
#pragma once

namespace Qorv::IMPL {

/// Frees what the strings of elements of T keep for the calling thread: the pattern that it compiled last.
template <class T>
void ReleaseStringData();

extern template void ReleaseStringData<char>();
extern template void ReleaseStringData<wchar_t>();

}  // namespace Qorv::IMPL
