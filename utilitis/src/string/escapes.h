// What the escapes of html, xml and json write, and their restorers read.
#pragma once

#include <span>
#include <string_view>

namespace Qorv::IMPL {

/// An element and the ASCII text that stands for it: for an entity with both of its markers.
struct ESCAPE {
  char element;
  std::string_view text;
};

inline constexpr ESCAPE xmlEscapes[] = {
    {'<', "&lt;"}, {'>', "&gt;"}, {'&', "&amp;"}, {'"', "&quot;"}, {'\'', "&apos;"},
};
/// The same without the apostrophe.
inline constexpr auto htmlEscapes = std::span(xmlEscapes).first<4>();

inline constexpr ESCAPE jsonEscapes[] = {
    {'\r', "\\r"}, {'\n', "\\n"}, {'\t', "\\t"}, {'"', "\\\""}, {'\\', "\\\\"}, {'\b', "\\b"}, {'\f', "\\f"},
};

}  // namespace Qorv::IMPL
