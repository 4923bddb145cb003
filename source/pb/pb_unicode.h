/* Properties of code points, and byte encodings of text. */
#ifndef PB_UNICODE_H
#define PB_UNICODE_H

#include <pb/pb_buffer.h>
#include <pb/pb_obj.h>

/** 0..15 for an ASCII hexadecimal digit in either case, -1 for anything else. */
PB_API PB_INT pbUnicodeHexadecimalDigitValue( PB_CHAR ch );
/** Unicode White_Space property. */
PB_API PB_BOOL pbUnicodeIsWhiteSpace( PB_CHAR ch );

enum { PB_CHARSET_UTF8 = 0, PB_CHARSET_ASCII = 1 };
#define PB_CHARSET_OK( charset ) ( (uint64_t)( charset ) <= PB_CHARSET_ASCII )
/** Replace what cannot be converted by U+FFFD instead of failing. */
#define PB_CHARSET_FLAG_REPLACE 1

/** The bytes of a buffer as text, a new string; null when they are ill-formed and replacing is not asked for. */
PB_API PB_STRING *pbCharsetTryConvertBufferToStringWithFlags( PB_INT charset, PB_BUFFER *buf, PB_INT flags );

#endif
