/* Filter entries. No state. */
#include <in/base/in_address.h>
#include <in/dns/in_dns_idna.h>
#include <in/filter/in_filter_entry.h>
#include <in/kit/in_settings_private.hpp>

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

    static constexpr bool versionOk( PB_INT version ) { return IN_ADDRESS_VERSION_OK( version ); }
    static PB_STRING *tryHost( PB_STRING *text )
    {
        return in___FilterEntryHostOk( text ) ? pbStringRetain( text ) : nullptr;
    }
    static bool prefixOk( PB_STRING *text ) { return inDnsIdnaDomainNameOk( text ); }

    void checkWhole( in::Report &report ) const;
    void checkHost( IN_ADDRESS *optionalAddress, in::Report &report ) const;
    void checkBits( IN_ADDRESS *optionalAddress, in::Report &report ) const;
    void checkPrefixes( in::Report &report ) const;

    static constexpr auto options()
    {
        using Name = in::NameRow<IN_FILTER_ENTRY>;
        return std::tuple{
            in::TextRow<IN_FILTER_ENTRY, PB_STRING>{
                "host", &IN_FILTER_ENTRY::host, pbStringRetain, tryHost, in::missing },
            in::FlagsRow<IN_FILTER_ENTRY>{ "flags", &IN_FILTER_ENTRY::flags, inFilterEntryFlagsToString,
                inFilterEntryFlagsFromString, "no flag, so the entry permits nothing" },
            Name{ "addressVersion", &IN_FILTER_ENTRY::addressVersion, -1, inAddressVersionToString,
                inAddressVersionFromString, versionOk },
            in::OptionalIntRow<IN_FILTER_ENTRY>{ "addressMatchingBits", &IN_FILTER_ENTRY::addressMatchingBits },
            in::VectorRow<IN_FILTER_ENTRY, in::TextItem>{
                "dnsSrvPrefixes", &IN_FILTER_ENTRY::dnsSrvPrefixes, { prefixOk } },
        };
    }
};

/** Whether a text can only be meant as an address: a last label of digits is no top-level domain. */
static bool in___FilterEntryLooksLikeAddress( PB_STRING *host )
{
    pb::Chars text = pb::trim( pb::chars( host ) );
    auto lastLabel = std::find( text.rbegin(), text.rend(), PB_CHAR( '.' ) ).base();
    return std::ranges::any_of( text, []( PB_CHAR ch ) { return ch == ':' || ch == '/'; } ) ||
           ( lastLabel != text.end() &&
               std::all_of( lastLabel, text.end(), []( PB_CHAR ch ) { return ch >= '0' && ch <= '9'; } ) );
}

/** What keeps an entry from permitting anything, though each of its keys is good. */
void IN_FILTER_ENTRY::checkWhole( in::Report &report ) const
{
    pb::Ref<IN_ADDRESS> ina = pb::adopt( host ? inAddressTryCreateFromString( host.get() ) : nullptr );
    if ( host )
        checkHost( ina.get(), report );
    checkBits( ina.get(), report );
    checkPrefixes( report );
}

void IN_FILTER_ENTRY::checkHost( IN_ADDRESS *optionalAddress, in::Report &report ) const
{
    bool literal = flags & IN_FILTER_ENTRY_FLAG_ADDRESS;
    std::string quotedHost = in::quoted( pb::chars( host.get() ) );
    if ( optionalAddress ) {
        if ( literal && addressVersion >= 0 && addressVersion != inAddressVersion( optionalAddress ) )
            report.add( "addressVersion", "the host " + quotedHost + " is of the other version" );
    } else if ( flags && ( flags == IN_FILTER_ENTRY_FLAG_ADDRESS || in___FilterEntryLooksLikeAddress( host.get() ) ) ) {
        bool prefix = pbStringFindChar( host.get(), 0, '/' ) >= 0;
        report.add( "host",
            quotedHost + " is no IP address" + ( prefix ? "; the number of bits goes into addressMatchingBits" : "" ) );
    }
}

void IN_FILTER_ENTRY::checkBits( IN_ADDRESS *optionalAddress, in::Report &report ) const
{
    PB_INT version = optionalAddress ? inAddressVersion( optionalAddress ) : addressVersion;
    PB_INT length = version == IN_ADDRESS_VERSION_4 ? 32 : 128;
    if ( addressMatchingBits > length )
        report.add( "addressMatchingBits", std::to_string( addressMatchingBits ) + " is more than the " +
                                               std::to_string( length ) + " bits of an address" );
}

void IN_FILTER_ENTRY::checkPrefixes( in::Report &report ) const
{
    bool queried = flags & IN_FILTER_ENTRY_FLAG_DNS_QUERY_SRV;
    bool there = pbVectorLength( dnsSrvPrefixes.get() ) > 0;
    if ( queried && !there )
        report.add( "dnsSrvPrefixes", "missing, though the flags ask for SRV records" );
    if ( there && !queried )
        report.add( "dnsSrvPrefixes", "without effect, since the flags do not ask for SRV records" );
}

PB_CLASS_DEFINE(
    IN_FILTER_ENTRY, inFilterEntry, pb::destroy<IN_FILTER_ENTRY>, in::compareOptionsObjects<IN_FILTER_ENTRY>, nullptr );

IN_FILTER_ENTRY *inFilterEntryCreate( PB_STRING *host )
{
    PB_ASSERT( host );
    PB_ASSERT( in___FilterEntryHostOk( host ) );
    IN_FILTER_ENTRY *entry = in::createOptions<IN_FILTER_ENTRY>();
    entry->host = pb::share( host );
    return entry;
}

IN_CREATE_FROM_DEFINE( IN_FILTER_ENTRY, inFilterEntry );

IN_GETTER_DEFINE( IN_FILTER_ENTRY, inFilterEntryHost, entry, PB_STRING *, host );

void inFilterEntrySetHost( IN_FILTER_ENTRY **entry, PB_STRING *host )
{
    IN_ASSERT_HANDLE( entry );
    PB_ASSERT( host );
    PB_ASSERT( in___FilterEntryHostOk( host ) );
    PB_UNSHARE( entry, inFilterEntryCreateFrom ).host = pb::share( host );
}

IN_GETTER_DEFINE( IN_FILTER_ENTRY, inFilterEntryFlags, entry, PB_INT, flags );

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
