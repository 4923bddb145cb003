/* The commands that look at values: address, network, mac. */
#include <in/in.h>
#include <tool/tool.hpp>

namespace {

using tool::Json;
using tool::take;

std::string hexBytes( IN_ADDRESS *ina )
{
    std::string bytes;
    for ( PB_INT i = 0; i < inAddressLength( ina ); ++i )
        bytes += fmt::format( "{}{:02x}", i ? " " : "", inAddressByteAt( ina, i ) );
    return bytes;
}

/** A predicate of a class and how people call it. */
template <class T>
struct Trait {
    PB_BOOL ( *holds )( T *object );
    const char *name;
};

template <class T, std::size_t Count>
Json traitsOf( T *object, const Trait<T> ( &traits )[Count] )
{
    Json names = Json::array();
    for ( const Trait<T> &trait : traits )
        if ( trait.holds( object ) )
            names.push_back( trait.name );
    return names;
}

constexpr Trait<IN_ADDRESS> addressTraits[] = {
    { inAddressIsAllZero, "all zero" },
    { inAddressIsLoopback, "loopback" },
    { inAddressIsPrivate, "private" },
    { inAddressIsMulticast, "multicast" },
    { inAddressIsLinkLocalUnicast, "link-local unicast" },
    { inAddressIsGlobalUnicast, "global unicast" },
    { inAddressIsUnicast, "unicast" },
};

constexpr Trait<IN_EUI48_ADDRESS> macTraits[] = {
    { inEui48AddressUnicast, "unicast" },
    { inEui48AddressMulticast, "multicast" },
    { inEui48AddressBroadcast, "broadcast" },
    { inEui48AddressGloballyUnique, "globally unique" },
    { inEui48AddressLocallyAdministered, "locally administered" },
};

const char *versionName( IN_ADDRESS *ina )
{
    return inAddressIsV4( ina ) ? "IPv4" : "IPv6";
}

Json describeAddress( IN_ADDRESS *ina )
{
    return {
        { "version", versionName( ina ) },
        { "short", take( inAddressToStringShrink( ina ) ) },
        { "full", take( inAddressToStringExpand( ina ) ) },
        { "host", take( inAddressToHost( ina ) ) },
        { "class", traitsOf( ina, addressTraits ) },
        { "bytes", hexBytes( ina ) },
    };
}

Json describeNetwork( IN_NETWORK *net )
{
    pb::Ref<IN_ADDRESS> ina = pb::adopt( inNetworkAddress( net ) );
    Json item{ { "network", take( inNetworkToString( net ) ) }, { "version", versionName( ina.get() ) },
        { "address", take( inAddressToString( ina.get() ) ) } };
    if ( inNetworkHasPrefixLength( net ) )
        item["prefixLength"] = inNetworkPrefixLength( net );
    item["class"] = traitsOf( ina.get(), addressTraits );
    return item;
}

Json describeMac( IN_EUI48_ADDRESS *inea )
{
    return {
        { "address", take( inEui48AddressToString( inea ) ) },
        { "plain", take( inEui48AddressToStringShrink( inea ) ) },
        { "manufacturer", take( inEui48AddressManufacturerPrefix( inea ) ) },
        { "class", traitsOf( inea, macTraits ) },
    };
}

Json networks( const std::vector<std::string> &texts, const std::string &contained )
{
    pb::Ref<IN_ADDRESS> ina;
    if ( !contained.empty() )
        ina =
            tool::parse( contained, inAddressTryCreateFromString, "an IP address; give --contains one like 192.0.2.1" );
    return tool::describeAll<IN_NETWORK>( texts, "a network; write one like 192.0.2.0/24 or 2001:db8::/32",
        inNetworkTryCreateFromString, [&]( IN_NETWORK *net ) {
            Json item = describeNetwork( net );
            if ( ina )
                item["contains " + contained] = inNetworkContainsAddress( net, ina.get() );
            return item;
        } );
}

} // namespace

void tool::addValueCommands( CLI::App &app, Output &output )
{
    static std::vector<std::string> texts;
    static std::string contained;

    CLI::App *address = app.add_subcommand( "address", "Show the forms, the class and the bytes of IP addresses" );
    addText( *address, "TEXT", texts, "", "IPv4 or IPv6 addresses" )->required();
    address->callback( [&] {
        output.print( describeAll<IN_ADDRESS>( texts, "an IP address; write one like 192.0.2.1 or 2001:db8::1",
            inAddressTryCreateFromString, describeAddress ) );
    } );

    CLI::App *network = app.add_subcommand( "network", "Show IP networks, and whether they contain an address" );
    addText( *network, "TEXT", texts, "", "Networks, each an address with an optional prefix length: 192.0.2.0/24" )
        ->required();
    addText( *network, "--contains", contained, "ADDRESS", "Say whether each network contains this address" );
    network->callback( [&] { output.print( networks( texts, contained ) ); } );

    CLI::App *mac = app.add_subcommand( "mac", "Show the forms and the class of hardware (EUI-48) addresses" );
    addText( *mac, "TEXT", texts, "", "Hardware addresses, of twelve hexadecimal digits each" )->required();
    mac->callback( [&] {
        output.print( describeAll<IN_EUI48_ADDRESS>( texts, "a hardware address; write one like 00:53:00:12:34:56",
            inEui48AddressTryCreateFromString, describeMac ) );
    } );
}
