/*
 * Configurations of every options class, filter entry, endpoint and port range: whatever a store holds, restoring takes
 * something from it; what it took is stored, restored and checked without loss or complaint. The input has a line per
 * entry: "key=value"; "key{" begins a store under the key and "key[" an array, where keys do not count; "}" ends either.
 */
#include <algorithm>
#include <cs/cs.h>
#include <cstdint>
#include <in/in.h>
#include <pb/pb.hpp>
#include <pb/pb_module.hpp>
#include <pr/pr.h>
#include <string_view>
#include <tr/tr.h>
#include <utility>

namespace {

using Store = pb::Ref<PB_STORE>;

/** The vocabularies are there once the modules have started. */
bool start()
{
    for ( PB_MODULE *module : { trModule(), prModule(), csModule(), inModule() } )
        PB_ASSERT( !module->startup || module->startup() );
    return true;
}

std::string_view takeLine( std::string_view &rest )
{
    std::string_view line = rest.substr( 0, rest.find( '\n' ) );
    rest.remove_prefix( line.size() < rest.size() ? line.size() + 1 : line.size() );
    return line;
}

Store readStore( std::string_view &rest, bool array, int depth )
{
    Store store = pb::adopt( array ? pbStoreCreateArray() : pbStoreCreate() );
    while ( !rest.empty() ) {
        std::string_view line = takeLine( rest );
        if ( line == "}" )
            break;
        std::size_t end = line.find_first_of( "={[" );
        if ( end == line.npos )
            continue;
        pb::Ref<PB_STRING> key = pb::string( line.substr( 0, end ) );
        if ( line[end] == '=' ) {
            pb::Ref<PB_STRING> value = pb::string( line.substr( end + 1 ) );
            array ? pbStoreAppendValue( store.handle(), value.get() )
                  : pbStoreSetValue( store.handle(), key.get(), value.get() );
        } else if ( depth < 8 ) {
            Store inner = readStore( rest, line[end] == '[', depth + 1 );
            array ? pbStoreAppendStore( store.handle(), inner.get() )
                  : pbStoreSetStore( store.handle(), key.get(), inner.get() );
        }
    }
    return store;
}

/** What was stored is taken again: a check has nothing to say of it but that something has no effect, or another one. */
void checkTaken( PB_STORE *stored, PB_STORE *( *check )(PB_STORE *))
{
    constexpr std::pair<std::string_view, std::string_view> known[] = { { "flags", "permits nothing" },
        { "host", "is no IP address" }, { "host", "goes into addressMatchingBits" },
        { "addressVersion", "is of the other version" }, { "addressMatchingBits", "bits of an address" },
        { "dnsSrvPrefixes", "SRV records" }, { "negativeCacheTimeout", "applied to cacheTimeout" } };
    Store report = pb::adopt( check( stored ) );
    for ( PB_INT i = 0; i < pbStoreLength( report.get() ); ++i ) {
        std::string path = pb::text( pb::adopt( pbStoreKeyAt( report.get(), i ) ).get() );
        std::string words = pb::text( pb::adopt( pbStoreValueAt( report.get(), i ) ).get() );
        PB_ASSERT( std::ranges::any_of( known,
            [&]( const auto &ends ) { return path.ends_with( ends.first ) && words.ends_with( ends.second ); } ) );
    }
}

template <class T>
void checkOptions( PB_STORE *from, T *( *restore )(PB_STORE *), PB_STORE *( *store )( T *, PB_BOOL ),
    PB_STORE *( *check )(PB_STORE *), PB_BOOL ( *equals )( T *, T * ) )
{
    Store report = pb::adopt( check( from ) );
    pb::Ref<T> options = pb::adopt( restore( from ) );
    Store stored = pb::adopt( store( options.get(), false ) );
    pb::Ref<T> again = pb::adopt( restore( stored.get() ) );
    PB_ASSERT( equals( options.get(), again.get() ) );
    PB_ASSERT( pbStoreEquals( stored.get(), pb::adopt( store( again.get(), false ) ).get() ) );
    checkTaken( stored.get(), check );
    Store full = pb::adopt( store( options.get(), true ) );
    checkTaken( full.get(), check );
    PB_ASSERT( pbStoreLength( full.get() ) >= pbStoreLength( stored.get() ) );
}

template <class T>
void checkValue(
    PB_STORE *from, T *( *tryRestore )(PB_STORE *), PB_STORE *( *store )(T *), PB_BOOL ( *equals )( T *, T * ) )
{
    pb::Ref<T> value = pb::adopt( tryRestore( from ) );
    if ( !value )
        return;
    pb::Ref<T> again = pb::adopt( tryRestore( pb::adopt( store( value.get() ) ).get() ) );
    PB_ASSERT( again );
    PB_ASSERT( equals( value.get(), again.get() ) );
}

#define CHECK_OPTIONS( store, prefix ) \
    checkOptions( store, prefix##Restore, prefix##Store, prefix##Check, prefix##Equals )
#define CHECK_VALUE( store, prefix ) checkValue( store, prefix##TryRestore, prefix##Store, prefix##Equals )

} // namespace

extern "C" int LLVMFuzzerTestOneInput( const uint8_t *data, size_t size );

extern "C" int LLVMFuzzerTestOneInput( const uint8_t *data, size_t size )
{
    static bool started = start();
    PB_ASSERT( started );
    std::string_view rest( reinterpret_cast<const char *>( data ), size );
    Store store = readStore( rest, false, 0 );
    CHECK_OPTIONS( store.get(), inDnsOptions );
    CHECK_OPTIONS( store.get(), inTcpOptions );
    CHECK_OPTIONS( store.get(), inUdpOptions );
    CHECK_OPTIONS( store.get(), inQosOptions );
    CHECK_OPTIONS( store.get(), inOptions );
    CHECK_OPTIONS( store.get(), inFilterOptions );
    CHECK_VALUE( store.get(), inFilterEntry );
    CHECK_VALUE( store.get(), inUdpAddress );
    CHECK_VALUE( store.get(), inTcpAddress );
    CHECK_VALUE( store.get(), inRawAddress );
    CHECK_VALUE( store.get(), inUdpPortRange );
    CHECK_VALUE( store.get(), inTcpPortRange );
    return 0;
}
