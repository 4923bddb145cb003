/*
 * An IP address with an optional prefix length. With one, the host bits are always zero. Immutable while shared, so any
 * thread may use one; the only setter copies first. Networks order by address, then by prefix length, none first.
 */
#ifndef IN_NETWORK_H
#define IN_NETWORK_H

#include <in/base/in_address.h>

/** Text form: "10.0.0.0/8"; without a prefix length the address alone. */
PB_CLASS( IN_NETWORK, inNetwork )
/* Names: inNetworkSort, inNetworkObj, inNetworkFrom, inNetworkRetain, inNetworkRelease, inNetworkToString,
   inNetworkCompare, inNetworkEquals */

/**
 * A new network, host bits cleared. `optionalPrefixLength` is in bits, -1 for none; aborts below that, and past 32 (IPv4) or
 * 128 (IPv6).
 */
PB_API IN_NETWORK *inNetworkCreate( IN_ADDRESS *ina, PB_INT optionalPrefixLength );
/** A new, unshared copy. */
PB_API IN_NETWORK *inNetworkCreateFrom( IN_NETWORK *source );
/**
 * A new network from text: an address (inAddressTryCreateFromString), maybe a slash and a decimal prefix length that
 * fits the version. Host bits that are set are cleared. Null for anything else.
 */
PB_API IN_NETWORK *inNetworkTryCreateFromString( PB_STRING *source );

/** The address, a new reference. */
PB_API IN_ADDRESS *inNetworkAddress( IN_NETWORK *net );
PB_API PB_BOOL inNetworkHasPrefixLength( IN_NETWORK *net );
/** In bits, -1 for none. */
PB_API PB_INT inNetworkPrefixLength( IN_NETWORK *net );
/** Sets both, as inNetworkCreate; when the network is shared, *net becomes a changed copy. */
PB_API void inNetworkSetAddressAndPrefixLength( IN_NETWORK **net, IN_ADDRESS *ina, PB_INT optionalPrefixLength );

/**
 * Whether the network contains an address: without a prefix length only the equal one; with one, those that share that
 * many leading bits, so that a prefix length of 0 contains every address of either version.
 */
PB_API PB_BOOL inNetworkContainsAddress( IN_NETWORK *net, IN_ADDRESS *containedAddress );
/** Whether it contains all of another network; one without a prefix length counts as a single address. */
PB_API PB_BOOL inNetworkContainsNetwork( IN_NETWORK *net, IN_NETWORK *containedNetwork );

#endif
