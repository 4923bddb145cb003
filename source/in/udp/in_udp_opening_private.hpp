/* What UDP channels and pairs share: what a stack gives to the opening of a socket, and errors of sending. */
#ifndef IN_UDP_OPENING_PRIVATE_HPP
#define IN_UDP_OPENING_PRIVATE_HPP

#include <array>
#include <atomic>
#include <in/base/in_stack_private.h>
#include <in/imp/in_imp_opening_private.hpp>
#include <in/udp/in_udp_options.h>

namespace in {

/** A plan for sockets on a stack, and what the plan lends. Its local address is null when the stack has none. */
struct UdpOpening {
    UdpOpening( IN_STACK *stack, IN_UDP_OPTIONS *options, IN_QOS_STACK *optionalQosStack, PB_INT flags )
        : local( in___StackLocalAddress( stack ) )
    {
        plan.localAddress = local.address.get();
        plan.flags = flags;
        plan.optionalQosStack = optionalQosStack;
        plan.optionalScopeInterface = local.optionalInterface.get();
        if ( auto range = pb::adopt( inUdpOptionsPortRange( options ) ) )
            plan.ports = Ports{ inUdpPortRangeFirstPort( range.get() ), inUdpPortRangeCount( range.get() ) };
    }

    in___StackLocal local;
    OpenPlan plan;
};

/** Traces why a socket could not be opened; `format` has one `%~s` for that. */
inline void traceFailure( TR_STREAM *stream, const char *format, const OpenFailure &failure )
{
    trStreamTextFormatCstr( stream, format, -1, failure.text().give() );
}

/** Counts what could not be sent, and remembers for which reasons. Any thread. */
class SendErrors {
public:
    /** Whether it is the first for that errno. */
    bool add( int error )
    {
        errors.fetch_add( 1, std::memory_order_relaxed );
        auto bit = static_cast<std::size_t>( error ) % ( 64 * seen.size() );
        uint64_t mask = uint64_t( 1 ) << bit % 64;
        return !( seen[bit / 64].fetch_or( mask, std::memory_order_relaxed ) & mask );
    }
    PB_INT count() const { return errors.load( std::memory_order_relaxed ); }

private:
    std::atomic<PB_INT> errors = 0;
    std::array<std::atomic<uint64_t>, 3> seen{}; // a bit for each errno, which are below 134
};

} // namespace in

#endif
