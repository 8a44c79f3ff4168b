// From pattern text to the tree of its parts.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "regex/scanner.h"
#include "regex/tree.h"
#include "regex/tree_builder.h"

namespace Qorv::IMPL {

/// Parses one pattern by recursive descent: one level for each group, no deeper than CRegex::maxDepth.
class RegexParser {
 public:
  /// `scanner` stands behind directors and options, which are in `flags` already.
  RegexParser(const Scanner& scanner, std::uint32_t flags) noexcept;
  RegexParser(const RegexParser&) = delete;
  RegexParser& operator=(const RegexParser&) = delete;

  /// To be called once. Nothing if the pattern is invalid or too deep.
  std::optional<Tree> Run();

 private:
  using NodeIndex = std::optional<std::uint32_t>;  // nothing where the pattern is invalid

  enum class Syntax : std::uint8_t { basic, extended, advanced };

  // A constraint takes no quantifier.
  struct Piece {
    NodeIndex node;
    bool isConstraint = false;
  };

  struct Bounds {
    std::uint32_t min = 0;
    std::uint32_t max = Node::unlimited;
    bool isFixed = false;  // one number alone
  };

  static Syntax FindSyntax(std::uint32_t flags) noexcept;
  bool HasFlag(std::uint32_t flag) const noexcept { return (flags_ & flag) != 0; }
  bool IsBasic() const noexcept { return syntax_ == Syntax::basic; }
  bool IsAdvanced() const noexcept { return syntax_ == Syntax::advanced; }

  void SkipIgnored();
  bool SkipComment();
  bool SeesGroupEnd() const noexcept;
  bool SeesBranchEnd() const noexcept;

  NodeIndex ParseLiteral();
  NodeIndex ParseBranches();
  NodeIndex ParseBranch();
  Piece ParsePiece(const std::vector<std::uint32_t>& before);
  Piece ParseBasic(char32_t element, const std::vector<std::uint32_t>& before);
  Piece ParseModern(char32_t element);
  Piece ParseBasicBackslash();
  Piece ParseEscaped();
  Piece ParseBracketed();
  Piece ParseOpening();
  NodeIndex ParseInside();
  NodeIndex ParseCapture();
  Piece ParseLookAhead(bool negated);

  NodeIndex ParseQuantifier(std::uint32_t atom);
  bool TakeBrace() noexcept;
  std::optional<Bounds> ReadBounds();
  std::optional<std::uint32_t> ReadCount();

  std::uint32_t AddElement(std::uint32_t element);
  Piece AddAssertion(Assertion assertion);
  NodeIndex AddBackReference(std::uint32_t group);

  Scanner scanner_;
  const std::uint32_t flags_;
  const Syntax syntax_;
  TreeBuilder builder_;
  std::vector<bool> isClosed_;  // by number of group
  std::uint32_t depth_ = 0;
  std::uint32_t lookAheadDepth_ = 0;
};

}  // namespace Qorv::IMPL
