/*
 * Snapshots of the host, and the last one, which is kept for whoever asks next. Any thread asks, most of all the processes
 * of the interfaces, each in its own turn; `turn` is held by the one that asks the kernel, `monitor` guards what is kept and
 * is held for moments only.
 *
 * The host's list costs what the whole host has, some milliseconds with a thousand interfaces, so that it must not be taken
 * by each interface for itself.
 */
#include <algorithm>
#include <bit>
#include <in/imp/in_imp_sockaddr_unix_private.h>
#include <in/nw/in_nw_host_private.hpp>
#include <netinet/in.h>

PB_CLASS_DEFINE( IN___NW_HOST, in___NwHost, pb::destroy<IN___NW_HOST>, nullptr, nullptr );

IN___NW_HOST::IN___NW_HOST( ifaddrs *owned ) : list( owned, freeifaddrs )
{
    for ( const ifaddrs *ifaa = owned; ifaa; ifaa = ifaa->ifa_next ) {
        PB_ASSERT( ifaa->ifa_name );
        entries.push_back( { ifaa->ifa_name, ifaa } );
    }
    std::ranges::stable_sort( entries, {}, &in::HostEntry::name );
}

namespace {

/** How long a snapshot serves: so long that taking them costs a hundredth of a core, within these bounds. In ms. */
constexpr PB_INT lifePerCost = 100;
constexpr PB_INT shortestLife = 100;
constexpr PB_INT longestLife = 500;

/*
 * A snapshot may be used when it was begun after the last change that was reported. Changes are counted. A thread that
 * takes a snapshot notes the count before it asks the kernel. The snapshot is usable only while the count stays the
 * same:
 *
 * - The change came first: it had reached the kernel before it was counted, and the count was noted before the kernel was
 *   asked, so the snapshot shows it.
 * - The change is counted while the snapshot is taken: the snapshot may or may not show it. It serves the thread that
 *   took it, whose question was older than the change, and no other.
 * - The change is counted after that: the snapshot that is kept stops being usable with it.
 *
 * A poll that a change asks for begins after the change was counted, so it finds a snapshot that shows the change, or
 * takes its own. When another thread is taking one at that moment, the poll waits in `turn` and then compares the
 * count.
 *
 * A snapshot that is no longer usable stays until it is replaced: freeing it early would save nothing worth having.
 */
constinit pb::Monitor turn{ pb::Rank::hostTurn };
constinit pb::Monitor monitor{ pb::Rank::host };
constinit uint64_t changes PB_GUARDED_BY( monitor ) = 0;
constinit pb::Global<IN___NW_HOST> last PB_GUARDED_BY( monitor );
constinit uint64_t lastChanges PB_GUARDED_BY( monitor ) = 0; // the count when the last snapshot was begun
constinit PB_INT lastUntil PB_GUARDED_BY( monitor ) = 0;     // when it is too old

/** The snapshot that is kept, if it is usable; else none, and the count. */
pb::Ref<IN___NW_HOST> lookUp( uint64_t &count )
{
    pb::Lock lock( monitor );
    count = changes;
    bool usable = last.optional() && lastChanges == changes && pbTimestamp() < lastUntil;
    return usable ? pb::share( last.optional() ) : nullptr;
}

void keep( const pb::Ref<IN___NW_HOST> &taken, uint64_t count, PB_INT until )
{
    pb::Ref<IN___NW_HOST> replaced; // let go outside the monitor: that takes its time
    pb::Lock lock( monitor );
    replaced = pb::adopt( last.optional() );
    last.set( taken.retained() );
    lastChanges = count;
    lastUntil = until;
}

pb::Ref<IN___NW_HOST> take()
{
    ifaddrs *list;
    return getifaddrs( &list ) == 0 ? pb::adopt( pb::create<IN___NW_HOST>( list ) ) : nullptr;
}

std::span<const in::HostEntry> entriesOf( const IN___NW_HOST &host, std::string_view name )
{
    auto begin = std::ranges::lower_bound( host.entries, name, {}, &in::HostEntry::name );
    return { begin, std::ranges::upper_bound( begin, host.entries.end(), name, {}, &in::HostEntry::name ) };
}

/** The address of a record that has no length beside it, or null when there is none or it is of another family. */
pb::Ref<IN_ADDRESS> toAddress( const sockaddr *record )
{
    pb::Ref<IN_ADDRESS> ina;
    if ( !record || ( record->sa_family != AF_INET && record->sa_family != AF_INET6 ) )
        return ina;
    PB_INT length = record->sa_family == AF_INET ? sizeof( sockaddr_in ) : sizeof( sockaddr_in6 );
    in___ImpSockaddrToAddress( record, length, ina.handle() );
    return ina;
}

} // namespace

pb::Ref<IN___NW_HOST> in::hostSnapshot()
{
    uint64_t count;
    if ( pb::Ref<IN___NW_HOST> kept = lookUp( count ) )
        return kept;
    pb::Lock lock( turn );
    if ( pb::Ref<IN___NW_HOST> takenMeanwhile = lookUp( count ) )
        return takenMeanwhile;
    PB_INT begin = pbTimestamp();
    pb::Ref<IN___NW_HOST> taken = take();
    PB_INT life = pbIntConstrain( lifePerCost * ( pbTimestamp() - begin ), shortestLife, longestLife );
    if ( taken )
        keep( taken, count, begin + life );
    return taken;
}

void in::hostChanged()
{
    pb::Lock lock( monitor );
    ++changes;
}

void in::hostShutdown()
{
    keep( nullptr, 0, 0 );
}

std::span<const in::HostEntry> in::hostEntries( const IN___NW_HOST &host )
{
    return host.entries;
}

PB_INT in::maskPrefixLength( IN_ADDRESS *mask )
{
    PB_INT length = 0;
    bool zeros = false;
    for ( PB_INT i = 0; i < inAddressLength( mask ); ++i ) {
        PB_BYTE byte = inAddressByteAt( mask, i );
        int ones = std::countl_one( byte );
        bool oneAfterZero = zeros ? byte != 0 : static_cast<PB_BYTE>( byte << ones ) != 0;
        if ( oneAfterZero )
            return -1;
        zeros = zeros || ones < 8;
        length += ones;
    }
    return length;
}

std::vector<in::HostAddress> in::hostAddresses( const IN___NW_HOST &host, std::string_view name )
{
    std::vector<HostAddress> addresses;
    for ( const HostEntry &found : entriesOf( host, name ) ) {
        pb::Ref<IN_ADDRESS> address = toAddress( found.entry->ifa_addr );
        if ( !address )
            continue;
        pb::Ref<IN_ADDRESS> mask = toAddress( found.entry->ifa_netmask );
        bool masked = mask && inAddressVersion( mask.get() ) == inAddressVersion( address.get() );
        addresses.push_back( { std::move( address ), masked ? maskPrefixLength( mask.get() ) : -1 } );
    }
    return addresses;
}
