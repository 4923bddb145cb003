/*
 * How local ports are chosen, for every kind of socket: one from a range, and an even and odd pair of neighbours (RFC 3550
 * section 11: RTP on the even port, RTCP on the next). The caller holds the lock that guards its table of local addresses.
 */
#ifndef IN_IMP_PORTS_PRIVATE_HPP
#define IN_IMP_PORTS_PRIVATE_HPP

#include <algorithm>
#include <bitset>
#include <in/base/in_address.h>
#include <map>
#include <pb/pb.hpp>
#include <vector>

namespace in {

constexpr PB_INT PORT_MAX = 65535;
constexpr std::size_t PAIR_ATTEMPTS = 101;

/** The local ports in use, by address: a bit for each, since there may be thousands on one address. */
class LocalPorts {
public:
    bool has( IN_ADDRESS *ina, PB_INT port ) const
    {
        auto ports = byAddress.find( ina );
        return ports != byAddress.end() && ports->second.taken[static_cast<std::size_t>( port )];
    }
    void add( IN_ADDRESS *ina, PB_INT port ) { byAddress[pb::share( ina )].set( port, true ); }
    void remove( IN_ADDRESS *ina, PB_INT port )
    {
        auto ports = byAddress.find( ina );
        if ( ports == byAddress.end() )
            return;
        ports->second.set( port, false );
        if ( ports->second.count == 0 )
            byAddress.erase( ports );
    }

private:
    struct Taken {
        std::bitset<PORT_MAX + 1> taken;
        PB_INT count = 0;

        void set( PB_INT port, bool value )
        {
            auto bit = taken[static_cast<std::size_t>( port )];
            count += PB_INT( value ) - PB_INT( bool( bit ) );
            bit = value;
        }
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
    std::map<pb::Ref<IN_ADDRESS>, Taken, Order> byAddress;
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

/**
 * Tries `count` ports in turn from a random one of the range on, going on from the last to the first; `tryPort` gives a
 * handle, or -1. The first handle, or -1.
 */
template <class TryPort>
PB_INT choosePort( const Ports &ports, TryPort tryPort )
{
    if ( ports.count == 0 )
        return -1;
    PB_INT last = std::min( ports.firstPort + ports.count - 1, PORT_MAX );
    PB_INT port = pbRandomNonNegativeIntRange( ports.firstPort, last );
    for ( PB_INT tried = 0; tried < ports.count; ++tried ) {
        PB_INT handle = port >= 1 ? tryPort( port ) : -1;
        if ( handle >= 0 )
            return handle;
        port = port < last ? port + 1 : ports.firstPort;
    }
    return -1;
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
