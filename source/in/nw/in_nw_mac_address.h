/*
 * The hardware address of an interface: six bytes. Immutable while shared, so any thread may use one; the only setter copies
 * first.
 */
#ifndef IN_NW_MAC_ADDRESS_H
#define IN_NW_MAC_ADDRESS_H

#include <pb/pb_buffer.h>
#include <pb/pb_string.h>

/** Order: bytewise. Text form: six groups of two upper-case hexadecimal digits, "02:53:00:0A:0B:0C". */
PB_CLASS( IN_NW_MAC_ADDRESS, inNwMacAddress )
/* Names: inNwMacAddressSort, inNwMacAddressObj, inNwMacAddressFrom, inNwMacAddressRetain, inNwMacAddressRelease,
   inNwMacAddressToString, inNwMacAddressCompare, inNwMacAddressEquals */

/** A new address, all zero. */
PB_API IN_NW_MAC_ADDRESS *inNwMacAddressCreate( void );
/** A new address from six bytes. Aborts on null. */
PB_API IN_NW_MAC_ADDRESS *inNwMacAddressCreateFromBytes( const PB_BYTE *bytes );
/** A new, unshared copy. */
PB_API IN_NW_MAC_ADDRESS *inNwMacAddressCreateFrom( IN_NW_MAC_ADDRESS *source );
/** A new address from a buffer of six bytes; null for any other length. */
PB_API IN_NW_MAC_ADDRESS *inNwMacAddressTryCreateFromBuffer( PB_BUFFER *buf );
/**
 * A new address from six hexadecimal numbers up to FF, in either case, joined by colons, or all by hyphens. Null for
 * anything else.
 */
PB_API IN_NW_MAC_ADDRESS *inNwMacAddressTryCreateFromString( PB_STRING *source );

/** One byte; aborts outside 0..5. */
PB_API PB_BYTE inNwMacAddressByteAt( IN_NW_MAC_ADDRESS *nwma, PB_INT byteIdx );
/** Sets one byte; when the address is shared, *nwma becomes a changed copy. Aborts outside 0..5. */
PB_API void inNwMacAddressSetByteAt( IN_NW_MAC_ADDRESS **nwma, PB_INT byteIdx, PB_BYTE byte );
/** 6, in bytes. */
PB_API PB_INT inNwMacAddressLength( IN_NW_MAC_ADDRESS *nwma );
/** The bytes as they go on the wire, read only, valid as long as the address is neither changed nor freed. */
PB_API const PB_BYTE *inNwMacAddressBacking( IN_NW_MAC_ADDRESS *nwma );
/** A new buffer with the six bytes. */
PB_API PB_BUFFER *inNwMacAddressToBuffer( IN_NW_MAC_ADDRESS *nwma );

#endif
