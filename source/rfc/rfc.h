/* Text rules that RFCs lay down: nameprep (RFC 3491) and the base encodings (RFC 4648), decoding only. */
#ifndef RFC_H
#define RFC_H

#include <pb/pb.h>

/**
 * The string prepared by the nameprep profile of stringprep (RFC 3491, RFC 3454), a new string; null when it holds what the
 * profile prohibits or breaks the rules for bidirectional text. Unassigned code points (Unicode 3.2) are let through only
 * when `allowUnassigned`.
 */
PB_API PB_STRING *rfcStringprepProfileNameprep( PB_STRING *str, PB_BOOL allowUnassigned );

enum {
    RFC_BASE_16 = 0,    /* RFC 4648 section 8, either case */
    RFC_BASE_32 = 1,    /* section 6, either case */
    RFC_BASE_64 = 2,    /* section 4 */
    RFC_BASE_64_URL = 3 /* section 5 */
};
#define RFC_BASE_OK( base ) ( (uint64_t)( base ) <= RFC_BASE_64_URL )

/**
 * The bytes that a text encodes, a new buffer; null for a character outside the alphabet (white space too), a wrong
 * length, missing or misplaced padding (optional in RFC_BASE_64_URL), or bits that are not zero behind the last byte.
 */
PB_API PB_BUFFER *rfcBaseTryDecode( PB_INT base, PB_STRING *text );

/** This library's own descriptor. */
PB_API PB_MODULE *rfcModule( void );

#endif
