/*
 * A 48-bit hardware (MAC) address, EUI-48 of IEEE 802. Immutable, so any thread may use one. Addresses order as unsigned
 * numbers.
 */
#ifndef IN_EUI48_ADDRESS_H
#define IN_EUI48_ADDRESS_H

#include <in/base/in_address.h>

/** Text form: inEui48AddressToStringExpand with ":". */
PB_CLASS( IN_EUI48_ADDRESS, inEui48Address )
/* Names: inEui48AddressSort, inEui48AddressObj, inEui48AddressFrom, inEui48AddressRetain, inEui48AddressRelease,
   inEui48AddressToString, inEui48AddressCompare, inEui48AddressEquals */

/** A new address from its value: the first octet on the wire is bits 47..40. Aborts outside 0..0xffffffffffff. */
PB_API IN_EUI48_ADDRESS *inEui48AddressCreate( PB_INT source );
/** A new address from 6 bytes, the first one on the wire first. Aborts on null. */
PB_API IN_EUI48_ADDRESS *inEui48AddressCreateFromBytes( const PB_BYTE *source );
/** A new address from the first 6 bytes of a buffer; null when it is shorter. */
PB_API IN_EUI48_ADDRESS *inEui48AddressTryCreateFromBuffer( PB_BUFFER *buf );
/**
 * A new address from text with twelve hexadecimal digits, or null. Meant to be lenient: what stands before the first
 * digit is skipped; after it "-" and ":" are, wherever they stand, and anything else ends the address.
 */
PB_API IN_EUI48_ADDRESS *inEui48AddressTryCreateFromString( PB_STRING *source );

PB_API PB_INT inEui48AddressValue( IN_EUI48_ADDRESS *inea );
/** The top 24 bits, which name the manufacturer of a globally unique address. */
PB_API PB_INT inEui48AddressOui( IN_EUI48_ADDRESS *inea );
/** The group bit of the first octet: clear, or set. */
PB_API PB_BOOL inEui48AddressUnicast( IN_EUI48_ADDRESS *inea );
PB_API PB_BOOL inEui48AddressMulticast( IN_EUI48_ADDRESS *inea );
/** ff:ff:ff:ff:ff:ff, which is multicast too. */
PB_API PB_BOOL inEui48AddressBroadcast( IN_EUI48_ADDRESS *inea );
/** The local bit of the first octet: clear, or set. */
PB_API PB_BOOL inEui48AddressGloballyUnique( IN_EUI48_ADDRESS *inea );
PB_API PB_BOOL inEui48AddressLocallyAdministered( IN_EUI48_ADDRESS *inea );

/** New strings of two-digit octets, lower case: the first three, or all six, without separators. */
PB_API PB_STRING *inEui48AddressManufacturerPrefix( IN_EUI48_ADDRESS *inea );
PB_API PB_STRING *inEui48AddressToStringShrink( IN_EUI48_ADDRESS *inea );
/** All six joined by the separator. Aborts unless PB_CHAR_OK( separator ). */
PB_API PB_STRING *inEui48AddressToStringExpand( IN_EUI48_ADDRESS *inea, PB_CHAR separator );

/**
 * The hardware address of a neighbour, a new reference, or null when none is found; `optionalInterface` is the name of
 * the interface to look on, null for any. Sends one echo request with the host's `ping` and reads the kernel's neighbour
 * table. Blocks for up to a second, for IPv6 up to eleven; two and 17 seconds at most when the host's commands hang. A
 * name that no shell-safe interface could have (blanks, quotes, a leading dash and the like) finds nothing, and nothing is
 * run. Look-ups on several threads are independent.
 */
PB_API IN_EUI48_ADDRESS *inEui48AddressTryLookup( IN_ADDRESS *ina, PB_STRING *optionalInterface );

#endif
