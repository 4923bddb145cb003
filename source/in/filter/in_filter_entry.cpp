/* Filter entries. No state. */
#include <in/base/in_address.h>
#include <in/base/in_settings_private.hpp>
#include <in/dns/in_dns_idna.h>
#include <in/filter/in_filter_entry.h>

static PB_BOOL in___FilterEntryHostOk( PB_STRING *host )
{
    return pb::adopt( inAddressTryCreateFromString( host ) ) || inDnsIdnaDomainNameOk( host );
}

struct IN_FILTER_ENTRY : PB_OBJ {
    pb::Ref<PB_STRING> host; // never null, but while it is restored
    PB_INT flags = 0;        // normalised
    PB_INT addressVersion = -1;
    PB_INT addressMatchingBits = -1;
    pb::Ref<PB_VECTOR> dnsSrvPrefixes;

    static constexpr bool anyFlags( PB_INT ) { return true; }
    static constexpr bool versionOk( PB_INT version ) { return IN_ADDRESS_VERSION_OK( version ); }
    static PB_STRING *tryHost( PB_STRING *text )
    {
        return in___FilterEntryHostOk( text ) ? pbStringRetain( text ) : nullptr;
    }
    static bool prefixOk( PB_STRING *text ) { return inDnsIdnaDomainNameOk( text ); }

    static constexpr auto options()
    {
        using Name = in::NameRow<IN_FILTER_ENTRY>;
        return std::tuple{
            in::TextRow<IN_FILTER_ENTRY, PB_STRING>{ "host", &IN_FILTER_ENTRY::host, pbStringRetain, tryHost },
            Name{ "flags", &IN_FILTER_ENTRY::flags, 0, inFilterEntryFlagsToString, inFilterEntryFlagsFromString,
                anyFlags },
            Name{ "addressVersion", &IN_FILTER_ENTRY::addressVersion, -1, inAddressVersionToString,
                inAddressVersionFromString, versionOk },
            in::OptionalIntRow<IN_FILTER_ENTRY>{ "addressMatchingBits", &IN_FILTER_ENTRY::addressMatchingBits },
            in::VectorRow<IN_FILTER_ENTRY, in::TextItem>{
                "dnsSrvPrefixes", &IN_FILTER_ENTRY::dnsSrvPrefixes, { prefixOk } },
        };
    }
};

static void in___FilterEntryFreeFunc( PB_OBJ *obj )
{
    pb::destroy<IN_FILTER_ENTRY>( obj );
}

static PB_INT in___FilterEntryCompFunc( PB_OBJ *thisObj, PB_OBJ *thatObj )
{
    return in::compareOptions( *inFilterEntryFrom( thisObj ), *inFilterEntryFrom( thatObj ) );
}

PB_CLASS_DEFINE( IN_FILTER_ENTRY, inFilterEntry, in___FilterEntryFreeFunc, in___FilterEntryCompFunc, nullptr );

IN_FILTER_ENTRY *inFilterEntryCreate( PB_STRING *host )
{
    PB_ASSERT( host );
    PB_ASSERT( in___FilterEntryHostOk( host ) );
    IN_FILTER_ENTRY *entry = in::createOptions<IN_FILTER_ENTRY>();
    entry->host = pb::share( host );
    return entry;
}

IN_FILTER_ENTRY *inFilterEntryCreateFrom( IN_FILTER_ENTRY *source )
{
    PB_ASSERT( source );
    return pb::copy( *source );
}

PB_STRING *inFilterEntryHost( IN_FILTER_ENTRY *entry )
{
    PB_ASSERT( entry );
    return entry->host.retained();
}

void inFilterEntrySetHost( IN_FILTER_ENTRY **entry, PB_STRING *host )
{
    IN_ASSERT_HANDLE( entry );
    PB_ASSERT( host );
    PB_ASSERT( in___FilterEntryHostOk( host ) );
    PB_UNSHARE( entry, inFilterEntryCreateFrom ).host = pb::share( host );
}

PB_INT inFilterEntryFlags( IN_FILTER_ENTRY *entry )
{
    PB_ASSERT( entry );
    return entry->flags;
}

void inFilterEntrySetFlags( IN_FILTER_ENTRY **entry, PB_INT flags )
{
    IN_ASSERT_HANDLE( entry );
    PB_UNSHARE( entry, inFilterEntryCreateFrom ).flags = inFilterEntryFlagsNormalize( flags );
}

IN_OPTIONAL_INT_DEFINE(
    IN_FILTER_ENTRY, inFilterEntry, AddressVersion, addressVersion, entry, version, IN_ADDRESS_VERSION_OK( version ) );
IN_OPTIONAL_INT_DEFINE(
    IN_FILTER_ENTRY, inFilterEntry, AddressMatchingBits, addressMatchingBits, entry, bits, bits >= 0 );
IN_ITEMS_DEFINE( IN_FILTER_ENTRY, inFilterEntry, DnsSrvPrefix, DnsSrvPrefixes, dnsSrvPrefixes, PB_STRING, entry, pbs,
    inDnsIdnaDomainNameOk( pbs ) );

PB_STORE *inFilterEntryStore( IN_FILTER_ENTRY *entry )
{
    PB_ASSERT( entry );
    return in::storeOptions( *entry, false );
}

IN_FILTER_ENTRY *inFilterEntryTryRestore( PB_STORE *store )
{
    PB_ASSERT( store );
    pb::Ref<IN_FILTER_ENTRY> entry = pb::adopt( in::restoreOptions<IN_FILTER_ENTRY>( store ) );
    return entry->host ? entry.give() : nullptr;
}

PB_STORE *inFilterEntryCheck( PB_STORE *store )
{
    PB_ASSERT( store );
    return in::checkOptions<IN_FILTER_ENTRY>( store );
}
