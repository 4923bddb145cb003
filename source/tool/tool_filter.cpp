/* Making filters from texts, and waiting for their first table. */
#include <tool/tool_filter.hpp>
#include <tool/tool_wake.hpp>

namespace {

/** An entry that permits a network, or without a prefix length an address. */
pb::Ref<IN_FILTER_ENTRY> entryOf( const std::string &text )
{
    pb::Ref<IN_NETWORK> network = tool::parse(
        text, inNetworkTryCreateFromString, "a network; give --filter one like 192.0.2.0/24 or 192.0.2.1" );
    pb::Ref<PB_STRING> host = pb::adopt( inAddressToString( pb::adopt( inNetworkAddress( network.get() ) ).get() ) );
    pb::Ref<IN_FILTER_ENTRY> entry = pb::adopt( inFilterEntryCreate( host.get() ) );
    inFilterEntrySetFlags( entry.handle(), IN_FILTER_ENTRY_FLAG_ADDRESS );
    if ( inNetworkHasPrefixLength( network.get() ) )
        inFilterEntrySetAddressMatchingBits( entry.handle(), inNetworkPrefixLength( network.get() ) );
    return entry;
}

/** The address of the first entry: once that is permitted, the table is ready. */
pb::Ref<IN_ADDRESS> addressOf( IN_FILTER_OPTIONS *options )
{
    pb::Ref<IN_FILTER_ENTRY> entry = pb::adopt( inFilterOptionsEntryAt( options, 0 ) );
    return pb::adopt( inAddressTryCreateFromString( pb::adopt( inFilterEntryHost( entry.get() ) ).get() ) );
}

/** The live filter of that name, or null. */
pb::Ref<IN_FILTER> filterOfStore( const std::string &name )
{
    pb::Ref<PB_OBJ> object = pb::adopt( csStoreObject( pb::string( name ).get() ) );
    if ( !object || pbObjSort( object.get() ) != inFilterSort() )
        return {};
    return pb::adoptAs<IN_FILTER>( object.give() );
}

/** Whether the filter comes to permit an address within some seconds. It tells nobody when its table is ready. */
bool comesToPermit( IN_FILTER *filter, IN_ADDRESS *address, double seconds )
{
    tool::Wake never;
    for ( tool::Time end = tool::later( tool::Clock::now(), seconds ); !inFilterCheck( filter, address ); )
        if ( tool::Clock::now() >= end )
            return false;
        else
            never.wait( tool::later( tool::Clock::now(), 0.001 ) );
    return true;
}

} // namespace

pb::Ref<IN_FILTER> tool::makeFilter( const std::vector<std::string> &texts, IN_ADDRESS *optionalPeer )
{
    pb::Ref<IN_FILTER> filter = texts.size() == 1 ? filterOfStore( texts.front() ) : nullptr;
    bool ready = false;
    if ( !filter ) {
        pb::Ref<IN_FILTER_OPTIONS> options = pb::adopt( inFilterOptionsCreate() );
        for ( const std::string &text : texts )
            inFilterOptionsAppendEntry( options.handle(), entryOf( text ).get() );
        filter = pb::adopt( inFilterCreate( options.get(), nullptr ) );
        ready = comesToPermit( filter.get(), addressOf( options.get() ).get(), 10 );
    }
    // a filter of the store may have to ask a name server first
    if ( optionalPeer && !comesToPermit( filter.get(), optionalPeer, ready ? 0 : 5 ) )
        fail( "the filter does not permit {}", take( inAddressToString( optionalPeer ) ) );
    return filter;
}
