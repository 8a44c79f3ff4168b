// Trees for tests, and what a tree is as text.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <qorv/registry.h>

namespace TestSupport {

/// The whole tree, line by line: paths, names, types and raw bytes, with whatever is unprintable as numbers.
std::string TreeText(const Qorv::CFakeRegistry& root);

/// A tree from the seed, with values of all types, names that are empty, long or made of the elements given, and the same
/// for texts. `keys` is how many keys it has at most.
Qorv::CFakeRegistry RandomTree(std::uint32_t seed, int keys = 12, std::string_view elements = {});

/// Changes about every fourth value and key of a tree.
void ChangeTree(Qorv::CFakeRegistry& root, std::uint32_t seed);

/// A chain of keys, each with a value: the deepest one is called `depth` levels below the root.
Qorv::CFakeRegistry DeepTree(std::size_t depth);

}  // namespace TestSupport
