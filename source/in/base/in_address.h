/*
 * An IPv4 or IPv6 address. Immutable while shared, so any thread may use one; the only setter copies first.
 * IPv4 addresses order before IPv6 ones, addresses of one version by their bytes.
 */
#ifndef IN_ADDRESS_H
#define IN_ADDRESS_H

#include <in/base/in_address_version.h>
#include <pb/pb_buffer.h>
#include <pb/pb_string.h>

/** Text form: inAddressToStringShrink. */
PB_CLASS( IN_ADDRESS, inAddress )
/* Names: inAddressSort, inAddressObj, inAddressFrom, inAddressRetain, inAddressRelease, inAddressToString,
   inAddressCompare, inAddressEquals */

/** A new all-zero address. Aborts unless IN_ADDRESS_VERSION_OK( ver ). */
PB_API IN_ADDRESS *inAddressCreate( PB_INT ver );

/** A new address from 4, or 16, bytes in network order. Aborts on null. */
PB_API IN_ADDRESS *inAddressCreateV4( const PB_BYTE *addr );
PB_API IN_ADDRESS *inAddressCreateV6( const PB_BYTE *addr );

/** A new, unshared copy. */
PB_API IN_ADDRESS *inAddressCreateFrom( IN_ADDRESS *ina );

/**
 * A new IPv6 address with the four bytes at its end and zeros before them: the IPv4-compatible form ::a.b.c.d of RFC 4291
 * section 2.5.5.1, not the mapped one. Aborts unless the address is IPv4.
 */
PB_API IN_ADDRESS *inAddressCreateV6FromV4( IN_ADDRESS *ina );

/**
 * A new address from text, or null when the text is none. White space at both ends is ignored.
 *
 * IPv4: four decimal numbers up to 255, joined by full stops. Leading zeros do not make a number octal.
 *
 * IPv6: RFC 4291 section 2.2, the last four bytes maybe in dotted form. "::" may stand for a single group, also at either
 * end. A group may have leading zeros beyond four digits. No brackets, no zone.
 *
 * Numbers may carry a sign as long as they are not negative. The functions without a version take either.
 */
PB_API IN_ADDRESS *inAddressTryCreateV4FromString( PB_STRING *source );
PB_API IN_ADDRESS *inAddressTryCreateV6FromString( PB_STRING *source );
PB_API IN_ADDRESS *inAddressTryCreateFromString( PB_STRING *source );
/** The same from `count` code points, or from UTF-8 or wide text with a length, -1 for zero-terminated. */
PB_API IN_ADDRESS *inAddressTryCreateFromChars( const PB_CHAR *source, PB_INT count );
PB_API IN_ADDRESS *inAddressTryCreateFromCstr( const char *source, PB_INT length );
PB_API IN_ADDRESS *inAddressTryCreateFromWcstr( const wchar_t *source, PB_INT length );

/**
 * A new address from the host part of a URI (RFC 3986 section 3.2.2): IPv6 in square brackets, IPv4 without. Null for
 * anything else, a name or a bare IPv6 address too.
 */
PB_API IN_ADDRESS *inAddressTryCreateFromHost( PB_STRING *source );

/** A new address from 4 (IPv4) or 16 (IPv6) bytes in network order; null for any other length. */
PB_API IN_ADDRESS *inAddressTryCreateFromBuffer( PB_BUFFER *source );

/** IN_ADDRESS_VERSION_4 or IN_ADDRESS_VERSION_6. */
PB_API PB_INT inAddressVersion( IN_ADDRESS *ina );
PB_API PB_BOOL inAddressIsV4( IN_ADDRESS *ina );
PB_API PB_BOOL inAddressIsV6( IN_ADDRESS *ina );

/** 4 or 16, in bytes. */
PB_API PB_INT inAddressLength( IN_ADDRESS *ina );
/** The bytes in network order, read only, valid as long as the address is neither changed nor freed. */
PB_API const PB_BYTE *inAddressBacking( IN_ADDRESS *ina );
/** One byte; aborts outside 0..inAddressLength - 1. */
PB_API PB_BYTE inAddressByteAt( IN_ADDRESS *ina, PB_INT byteIdx );
/** Sets one byte; when the address is shared, *ina becomes a changed copy. Aborts outside 0..inAddressLength - 1. */
PB_API void inAddressSetByteAt( IN_ADDRESS **ina, PB_INT byteIdx, PB_BYTE byte );
/** A new buffer with the 4 or 16 bytes. */
PB_API PB_BUFFER *inAddressToBuffer( IN_ADDRESS *ina );

/**
 * The short text, a new string: "192.0.2.1", "2001:DB8::1". For IPv6 the longest run of zero groups becomes "::", the
 * first one of equal length, and even a single group is shortened (other than RFC 5952 section 4.2.2 has it); digits
 * are upper case, and no part is ever written in dotted form.
 */
PB_API PB_STRING *inAddressToStringShrink( IN_ADDRESS *ina );
/** The full text, a new string: IPv4 as above, IPv6 with all eight groups of four upper-case digits. */
PB_API PB_STRING *inAddressToStringExpand( IN_ADDRESS *ina );
/** The text for the host part of a URI, a new string: the short text, IPv6 in square brackets. */
PB_API PB_STRING *inAddressToHost( IN_ADDRESS *ina );

/** 0.0.0.0 or :: */
PB_API PB_BOOL inAddressIsAllZero( IN_ADDRESS *ina );
/** 127/8 (RFC 1122 section 3.2.1.3) or ::1 */
PB_API PB_BOOL inAddressIsLoopback( IN_ADDRESS *ina );
/** 10/8, 172.16/12, 192.168/16 (RFC 1918) or fc00::/7 (RFC 4193) */
PB_API PB_BOOL inAddressIsPrivate( IN_ADDRESS *ina );
/** 224/4 (RFC 5771) or ff00::/8 (RFC 4291 section 2.7) */
PB_API PB_BOOL inAddressIsMulticast( IN_ADDRESS *ina );
/** 169.254/16 (RFC 3927) or fe80::/10 (RFC 4291 section 2.5.6) */
PB_API PB_BOOL inAddressIsLinkLocalUnicast( IN_ADDRESS *ina );
/** Neither all zero, nor multicast, link-local or loopback. Private addresses and 255.255.255.255 count. */
PB_API PB_BOOL inAddressIsGlobalUnicast( IN_ADDRESS *ina );
/** Global unicast, link-local unicast or loopback. */
PB_API PB_BOOL inAddressIsUnicast( IN_ADDRESS *ina );

/** How many leading bits two addresses share: 0..32 or 0..128; 0 for different versions. */
PB_API PB_INT inAddressMatchingBits( IN_ADDRESS *inaA, IN_ADDRESS *inaB );

#endif
