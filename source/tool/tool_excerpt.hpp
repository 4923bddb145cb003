/* The beginning of what arrived, as a command shows it. */
#ifndef TOOL_EXCERPT_HPP
#define TOOL_EXCERPT_HPP

#include <span>
#include <tool/tool.hpp>

namespace tool {

/** Adds it as "text" when it is plain text, else as "hex"; what people read. */
std::string addExcerpt( Json &object, std::span<const uint8_t> bytes );

} // namespace tool

#endif
