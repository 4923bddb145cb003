/*
 * How local ports are chosen, for every kind of socket: one from a range, and an even and odd pair of neighbours (RFC 3550
 * section 11: RTP on the even port, RTCP on the next). The caller holds the lock that guards its table of local addresses.
 */
#ifndef IN_IMP_PORTS_PRIVATE_HPP
#define IN_IMP_PORTS_PRIVATE_HPP

#include <algorithm>
#include <array>
#include <in/base/in_address.h>
#include <map>
#include <memory>
#include <pb/pb.hpp>
#include <vector>

namespace in {

constexpr PB_INT PORT_MAX = 65535;
constexpr std::size_t PAIR_ATTEMPTS = 101;

/**
 * The local ports in use, by address, and how many sockets share each: accepted connections share their listener's. The
 * counts of an address stand in pages that are made when they are needed, since there may be thousands on one address.
 */
class LocalPorts {
public:
    bool has( IN_ADDRESS *ina, PB_INT port ) const
    {
        auto ports = byAddress.find( ina );
        return ports != byAddress.end() && ports->second.count( port ) > 0;
    }
    void add( IN_ADDRESS *ina, PB_INT port ) { byAddress[pb::share( ina )].add( port ); }
    void remove( IN_ADDRESS *ina, PB_INT port )
    {
        auto ports = byAddress.find( ina );
        PB_ASSERT( ports != byAddress.end() );
        if ( ports->second.remove( port ) )
            byAddress.erase( ports );
    }

private:
    class Counts {
    public:
        uint32_t count( PB_INT port ) const
        {
            const auto &page = pages[place( port ) / PAGE_SIZE];
            return page ? ( *page )[place( port ) % PAGE_SIZE] : 0;
        }
        void add( PB_INT port )
        {
            auto &page = pages[place( port ) / PAGE_SIZE];
            if ( !page )
                page = std::make_unique<Page>();
            ++( *page )[place( port ) % PAGE_SIZE];
            ++sockets;
        }
        /** Whether that was the last one on the address. */
        bool remove( PB_INT port )
        {
            PB_ASSERT( count( port ) > 0 );
            --( *pages[place( port ) / PAGE_SIZE] )[place( port ) % PAGE_SIZE];
            return --sockets == 0;
        }

    private:
        static constexpr std::size_t PAGE_SIZE = 256;
        using Page = std::array<uint32_t, PAGE_SIZE>;
        static std::size_t place( PB_INT port ) { return static_cast<std::size_t>( port ); }

        std::array<std::unique_ptr<Page>, ( PORT_MAX + 1 ) / PAGE_SIZE> pages;
        PB_INT sockets = 0;
    };
    struct Order {
        using is_transparent = void;
        static IN_ADDRESS *object( IN_ADDRESS *lent ) { return lent; }
        static IN_ADDRESS *object( const pb::Ref<IN_ADDRESS> &ref ) { return ref.get(); }
        bool operator()( const auto &a, const auto &b ) const
        {
            return inAddressCompare( object( a ), object( b ) ) < 0;
        }
    };
    std::map<pb::Ref<IN_ADDRESS>, Counts, Order> byAddress;
};

/** A port range as its class tells it. `firstPort` may be 0, for a range that was changed so; that is no port. */
struct Ports {
    PB_INT firstPort = 1;
    PB_INT count = PORT_MAX;

    bool contains( PB_INT port ) const
    {
        return port >= 1 && port <= PORT_MAX && port >= firstPort && port <= firstPort + count - 1;
    }
};

/** What came of trying a port. */
enum class PortAttempt {
    done,
    other, // another port may do
    failed // no port will do
};

/**
 * Tries the ports of the range in turn, from a random one on and from the last to the first, each once. Whether one did.
 */
template <class TryPort>
bool choosePort( const Ports &ports, TryPort tryPort )
{
    PB_INT last = std::min( ports.firstPort + ports.count - 1, PORT_MAX );
    PB_INT first = std::max<PB_INT>( ports.firstPort, 1 );
    if ( ports.count == 0 || first > last )
        return false;
    PB_INT port = pbRandomNonNegativeIntRange( first, last );
    for ( PB_INT untried = last - first + 1; untried > 0; --untried ) {
        PortAttempt attempt = tryPort( port );
        if ( attempt != PortAttempt::other )
            return attempt == PortAttempt::done;
        port = port < last ? port + 1 : first;
    }
    return false;
}

/** Two handles on neighbouring ports, the even one first; both -1 when there is none. */
struct PortPair {
    PB_INT even = -1;
    PB_INT odd = -1;
};

/**
 * Finds a pair: `tryAny` opens a handle on some port, `portOf` tells which, `tryPort` opens one on the port that is asked
 * for, `destroy` closes. What was opened without a partner is kept open until the end, so that no later attempt gets the
 * same port again.
 */
template <class TryAny, class TryPort, class PortOf, class Destroy>
PortPair findPortPair( const Ports &ports, TryAny tryAny, TryPort tryPort, PortOf portOf, Destroy destroy )
{
    PortPair pair;
    std::vector<PB_INT> rejected;
    while ( pair.even < 0 && rejected.size() < PAIR_ATTEMPTS ) {
        PB_INT first = tryAny();
        if ( first < 0 )
            break;
        PB_INT port = portOf( first );
        PB_INT partnerPort = port % 2 == 0 ? port + 1 : port - 1;
        PB_INT partner = ports.contains( partnerPort ) ? tryPort( partnerPort ) : -1;
        if ( partner < 0 )
            rejected.push_back( first );
        else
            pair = port % 2 == 0 ? PortPair{ first, partner } : PortPair{ partner, first };
    }
    for ( PB_INT handle : rejected )
        destroy( handle );
    return pair;
}

} // namespace in

#endif
