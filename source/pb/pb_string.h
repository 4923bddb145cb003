/*
 * Text: a sequence of Unicode code points (UTF-32), copy-on-write. Functions that take PB_STRING ** are setters: they
 * abort on a null handle or string, replace *str by a copy first when it is shared, and change that.
 *
 * Functions that end in Cstr take UTF-8 text and its length in bytes, -1 for zero-terminated. Bytes that are not
 * well-formed UTF-8 (RFC 3629) become U+FFFD, one for each maximal part of a sequence.
 * Out-of-range offsets and counts abort.
 */
#ifndef PB_STRING_H
#define PB_STRING_H

#include <pb/pb_buffer.h>
#include <pb/pb_obj.h>
#include <pb/pb_vector.h>
#include <stdarg.h>
#include <wchar.h>

PB_CLASS( PB_STRING, pbString ) /* order: by code points, a prefix first; text form: the string itself */
/* Names: pbStringSort, pbStringObj, pbStringFrom, pbStringRetain, pbStringRelease, pbStringToString, pbStringCompare,
   pbStringEquals */

/** A new empty string. */
PB_API PB_STRING *pbStringCreate( void );
PB_API PB_STRING *pbStringCreateFromCstr( const char *cstr, PB_INT length );
/** From wide characters, -1 for zero-terminated; what is no code point becomes U+FFFD. */
PB_API PB_STRING *pbStringCreateFromWcstr( const wchar_t *wcstr, PB_INT length );
/** From `count` code points, copied; aborts on a value above PB_CHAR_MAX. */
PB_API PB_STRING *pbStringCreateFromCharsCopy( const PB_CHAR *chars, PB_INT count );
/** A new, unshared copy. */
PB_API PB_STRING *pbStringCreateFrom( PB_STRING *source );
/** A part of a string as a new string. */
PB_API PB_STRING *pbStringCreateInner( PB_STRING *source, PB_INT offset, PB_INT count );
PB_API PB_STRING *pbStringCreateLeading( PB_STRING *source, PB_INT count );
PB_API PB_STRING *pbStringCreateTrailing( PB_STRING *source, PB_INT count );

/**
 * A new string from a format, null when the format is malformed. Directives: `%i` a PB_INT, `%s` a PB_STRING *, `%o` any
 * object (its text), `%b` a PB_BOOL ("true", "false"), `%c` a PB_CHAR, `%%` a per cent sign. Between the sign and the
 * letter may stand, in this order: `~` (the call consumes the argument's reference; s and o only), `^` (upper-case
 * digits), `0` and a width (pad with zeros to that many digits) or a width alone (pad with blanks), `!` and a radix from 2
 * to 36 (default 10). Upper case, zeros and a radix go with i only; a width is at most 999. Integers must be passed as
 * PB_INT: PB_INT_FROM( 1 ). A null string or object prints "null".
 * A malformed directive ends the reading: references that directives before it consume are gone, the others are not.
 */
PB_API PB_STRING *pbStringCreateFromFormatCstr( const char *format, PB_INT length, ... );
PB_API PB_STRING *pbStringCreateFromFormatCstrVa( const char *format, PB_INT length, va_list arguments );

/** Number of code points. */
PB_API PB_INT pbStringLength( PB_STRING *str );
/** The code points, read only, valid while the string is neither changed nor freed; not zero-terminated. */
PB_API const PB_CHAR *pbStringBacking( PB_STRING *str );
PB_API PB_CHAR pbStringCharAt( PB_STRING *str, PB_INT index );
/** The string as UTF-8 bytes, a new buffer without a terminator. Surrogates, which UTF-8 cannot hold, become U+FFFD. */
PB_API PB_BUFFER *pbStringToUtf8( PB_STRING *str );
/** The string as UTF-8 bytes with a terminating zero, a new buffer; null when the string holds U+0000. */
PB_API PB_BUFFER *pbStringTryToCstr( PB_STRING *str );

PB_API void pbStringAppend( PB_STRING **str, PB_STRING *tail );
PB_API void pbStringAppendChar( PB_STRING **str, PB_CHAR ch );
PB_API void pbStringAppendChars( PB_STRING **str, const PB_CHAR *chars, PB_INT count );
PB_API void pbStringAppendCstr( PB_STRING **str, const char *cstr, PB_INT length );
PB_API void pbStringClear( PB_STRING **str );
PB_API void pbStringDelInner( PB_STRING **str, PB_INT offset, PB_INT count );
PB_API void pbStringDelLeading( PB_STRING **str, PB_INT count );
PB_API void pbStringDelTrailing( PB_STRING **str, PB_INT count );
/** Removes Unicode white space (White_Space property) from both ends, or from the beginning. */
PB_API void pbStringTrim( PB_STRING **str );
PB_API void pbStringTrimLeading( PB_STRING **str );

/**
 * A new vector of the pieces between the separators, at least one. With `limit` (at least 1; -1 for none) there are at
 * most that many pieces, and the last one holds the rest, separators included.
 */
PB_API PB_VECTOR *pbStringSplitChar( PB_STRING *str, PB_CHAR separator, PB_INT limit );
/** A new vector of the runs of characters that are not white space; empty for blank text. */
PB_API PB_VECTOR *pbStringSplitWhiteSpace( PB_STRING *str );
/** The strings of a vector joined with the text between each two, a new string. */
PB_API PB_STRING *pbStringJoinCstr( PB_VECTOR *strings, const char *separator, PB_INT length );

/**
 * Scans an integer at `offset`: an optional sign and ASCII digits of `base` (2..36), nothing else; letters in either
 * case. True when there was at least one digit and the value fits; *optionalEnd is the offset after the last digit
 * (`offset` itself when there is none, then *value is untouched).
 */
PB_API PB_BOOL pbStringScanInt( PB_STRING *str, PB_INT offset, PB_INT base, PB_INT *value, PB_INT *optionalEnd );

/** The first place at or after `offset` where the text stands, -1 when there is none. An empty text stands anywhere. */
PB_API PB_INT pbStringFind( PB_STRING *str, PB_INT offset, PB_STRING *text );
PB_API PB_INT pbStringFindCstr( PB_STRING *str, PB_INT offset, const char *cstr, PB_INT length );
PB_API PB_INT pbStringFindChar( PB_STRING *str, PB_INT offset, PB_CHAR ch );
PB_API PB_BOOL pbStringBeginsWithChar( PB_STRING *str, PB_CHAR ch );
PB_API PB_BOOL pbStringBeginsWithCstr( PB_STRING *str, const char *cstr, PB_INT length );
PB_API PB_BOOL pbStringEndsWithChar( PB_STRING *str, PB_CHAR ch );

PB_API PB_BOOL pbStringEqualsCstr( PB_STRING *str, const char *cstr, PB_INT length );
/** Equality under full Unicode case folding (CaseFolding C and F). */
PB_API PB_BOOL pbStringEqualsCaseFold( PB_STRING *strA, PB_STRING *strB );
PB_API PB_BOOL pbStringEqualsCaseFoldCstr( PB_STRING *str, const char *cstr, PB_INT length );
/** The string under full Unicode case folding, a new string. */
PB_API PB_STRING *pbStringToCaseFold( PB_STRING *str );

#endif
