/* Punycode (RFC 3492): Unicode text as letters, digits and hyphens of ASCII, the encoding of IDNA. Any thread. */
#ifndef IN_DNS_PUNYCODE_H
#define IN_DNS_PUNYCODE_H

#include <pb/pb_string.h>

/**
 * The Punycode of a text, a new string; null when it would be longer than `maxResultLength` code points (-1 for any
 * length, aborts below). Basic code points keep their case. Aborts on U+10FFFF, which is no character.
 */
PB_API PB_STRING *inDnsPunycodeTryEncode( PB_STRING *source, PB_INT maxResultLength );
/**
 * The text that Punycode stands for, a new string; null for what is none (a digit that is none, an integer that is cut
 * short or too large, a code point above U+10FFFF) and for a result longer than `maxResultLength` code points. Digits are
 * read in either case. The result may hold surrogates.
 */
PB_API PB_STRING *inDnsPunycodeTryDecode( PB_STRING *source, PB_INT maxResultLength );

#endif
