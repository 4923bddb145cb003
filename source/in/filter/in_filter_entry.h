/*
 * One entry of a filter's options: a host, how it becomes addresses, and which peers such an address permits. A value:
 * immutable while shared, any thread; setters take the address of the caller's handle, abort when it or its object is null,
 * and copy first. Order: by host, flags, address version, matching bits, prefixes, an absent part before a present one.
 */
#ifndef IN_FILTER_ENTRY_H
#define IN_FILTER_ENTRY_H

#include <in/base/in_address_version.h>
#include <in/base/in_settings.h>
#include <in/filter/in_filter_entry_flags.h>
#include <pb/pb_vector.h>

PB_CLASS( IN_FILTER_ENTRY, inFilterEntry )
/* Names: inFilterEntrySort, inFilterEntryObj, inFilterEntryFrom, inFilterEntryRetain, inFilterEntryRelease,
   inFilterEntryToString, inFilterEntryCompare, inFilterEntryEquals */

/** A new entry without flags, version, matching bits and prefixes. Aborts on a host that could not be set. */
PB_API IN_FILTER_ENTRY *inFilterEntryCreate( PB_STRING *host );
/** A new, unshared copy. */
PB_API IN_FILTER_ENTRY *inFilterEntryCreateFrom( IN_FILTER_ENTRY *source );

/** The host, a new reference; setting another than an address or a domain name (inDnsIdnaDomainNameOk) aborts. Key "host". */
PB_API PB_STRING *inFilterEntryHost( IN_FILTER_ENTRY *entry );
PB_API void inFilterEntrySetHost( IN_FILTER_ENTRY **entry, PB_STRING *host );
/** How the host becomes addresses, at first not at all; undefined bits are dropped. Key "flags", flag names. */
PB_API PB_INT inFilterEntryFlags( IN_FILTER_ENTRY *entry );
PB_API void inFilterEntrySetFlags( IN_FILTER_ENTRY **entry, PB_INT flags );
/** Takes only addresses of that version; aborts unless IN_ADDRESS_VERSION_OK. Key "addressVersion", its name. */
IN_OPTIONAL_INT( IN_FILTER_ENTRY, inFilterEntry, AddressVersion );
/* Names: inFilterEntryAddressVersion, inFilterEntryHasAddressVersion, inFilterEntrySetAddressVersion,
   inFilterEntryDelAddressVersion */
/**
 * How many leading bits a peer is to share with an address, from 0 (any peer of that version) on; more than the version
 * has permit nobody. When absent a peer must equal it. Aborts below 0. Key "addressMatchingBits".
 */
IN_OPTIONAL_INT( IN_FILTER_ENTRY, inFilterEntry, AddressMatchingBits );
/* Names: inFilterEntryAddressMatchingBits, inFilterEntryHasAddressMatchingBits, inFilterEntrySetAddressMatchingBits,
   inFilterEntryDelAddressMatchingBits */
/** What goes before the host, and a full stop, in an SRV query: "_sip._udp"; domain names, aborts on others. An array. */
IN_ITEMS( IN_FILTER_ENTRY, inFilterEntry, DnsSrvPrefix, DnsSrvPrefixes, PB_STRING );
/* Names: inFilterEntryDnsSrvPrefixesLength, inFilterEntryDnsSrvPrefixesVector, inFilterEntryDnsSrvPrefixAt,
   inFilterEntrySetDnsSrvPrefixAt, inFilterEntryDelDnsSrvPrefixAt, inFilterEntryAppendDnsSrvPrefix,
   inFilterEntryPrependDnsSrvPrefix, inFilterEntryInsertDnsSrvPrefix, inFilterEntryClearDnsSrvPrefixes,
   inFilterEntrySetDnsSrvPrefixesVector */

/** A new store with the host, the flags and what is present. */
PB_API PB_STORE *inFilterEntryStore( IN_FILTER_ENTRY *entry );
/** A new entry from a store, null without a good "host"; other keys that are bad are passed over. */
PB_API IN_FILTER_ENTRY *inFilterEntryTryRestore( PB_STORE *store );
/**
 * What inFilterEntryTryRestore passes over, and what keeps the entry from permitting anything, a new store: paths of keys
 * lead to reasons.
 */
PB_API PB_STORE *inFilterEntryCheck( PB_STORE *store );

#endif
