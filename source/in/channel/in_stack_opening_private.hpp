/* What a stack gives to the opening of a socket, and how it is told that the socket could not be opened. */
#ifndef IN_STACK_OPENING_PRIVATE_HPP
#define IN_STACK_OPENING_PRIVATE_HPP

#include <in/base/in_stack_private.h>
#include <in/imp/in_imp_opening_private.hpp>
#include <in/tcp/in_tcp_options.h>
#include <in/udp/in_udp_options.h>

namespace in {

/** The TCP options of a stack. */
inline pb::Ref<IN_TCP_OPTIONS> tcpOptionsOf( IN_STACK *stack )
{
    return pb::adopt( inOptionsTcpOptions( pb::adopt( inStackOptions( stack ) ).get() ) );
}

/** The ports of a range; none without one. */
inline std::optional<Ports> portsOf( const pb::Ref<IN_UDP_PORT_RANGE> &range )
{
    return range ? std::optional( Ports{ inUdpPortRangeFirstPort( range.get() ), inUdpPortRangeCount( range.get() ) } )
                 : std::nullopt;
}
inline std::optional<Ports> portsOf( const pb::Ref<IN_TCP_PORT_RANGE> &range )
{
    return range ? std::optional( Ports{ inTcpPortRangeFirstPort( range.get() ), inTcpPortRangeCount( range.get() ) } )
                 : std::nullopt;
}

/** A plan for sockets on a stack, and what the plan lends. Its local address is null when the stack has none. */
struct StackOpening {
    StackOpening( IN_STACK *stack, std::optional<Ports> ports, IN_QOS_STACK *optionalQosStack, PB_INT flags )
        : local( in___StackLocalAddress( stack ) )
    {
        plan.localAddress = local.address.get();
        plan.ports = ports;
        plan.flags = flags;
        plan.optionalQosStack = optionalQosStack;
        plan.optionalScopeInterface = local.optionalInterface.get();
    }

    in___StackLocal local;
    OpenPlan plan;
};

/** Traces why a socket could not be opened; `format` has one `%~s` for that. */
inline void traceFailure( TR_STREAM *stream, const char *format, const OpenFailure &failure )
{
    trStreamTextFormatCstr( stream, format, -1, failure.text().give() );
}

} // namespace in

#endif
