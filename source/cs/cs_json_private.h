/*
 * JSON text (RFC 8259, UTF-8) to stores and back. Objects become keyed stores in the order of their keys, arrays become
 * array stores, strings values; numbers, true, false and null become bare values with the very text that stood there.
 */
#ifndef CS_JSON_PRIVATE_H
#define CS_JSON_PRIVATE_H

#include <pb/pb.hpp>
#include <string>
#include <string_view>
#include <vector>

namespace cs {

/** The keys that lead from the top of a text to an entry. */
using JsonPath = std::vector<std::string>;

/**
 * The store that a text stands for, which must be an object; null when it does not parse, then `problem` is one line,
 * "line 3, column 7: expected a colon, found a number". Lines and columns count from 1, columns in code points.
 * A key must stand once in its object, nesting is limited to 64. A byte order mark at the beginning is skipped.
 */
pb::Ref<PB_STORE> jsonTryDecode( std::string_view json, std::string &problem ) noexcept;
/** Where in a text that decodes an entry begins, or its key: "line 3, column 7". */
std::string jsonPlace( std::string_view json, const JsonPath &path, bool ofKey ) noexcept;
/** The text of a store: four blanks a level, a line feed at the end. */
std::string jsonEncode( PB_STORE *store );
/** A text as a JSON string, for error lines: a long one is cut. */
std::string jsonQuote( PB_STRING *str );

} // namespace cs

#endif
