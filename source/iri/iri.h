/* Internationalized resource identifiers (RFC 3987), as far as host parts go. */
#ifndef IRI_H
#define IRI_H

#include <pb/pb.h>

enum {
    IRI_PART_HOST = 5 /* ihost: an IP literal in brackets, an IPv4 address or a registered name (maybe empty) */
};
#define IRI_PART_OK( part ) ( ( part ) == IRI_PART_HOST )

/**
 * Whether a text is well-formed as that part: RFC 3987 section 2.2, ihost = IP-literal / IPv4address / ireg-name, with
 * IP-literal from RFC 3986 section 3.2.2. Aborts on a kind of part that is not known.
 */
PB_API PB_BOOL iriGensValidatePart( PB_STRING *str, PB_INT part );

/** This library's own descriptor. */
PB_API PB_MODULE *iriModule( void );

#endif
