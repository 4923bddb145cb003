/*
 * Opening a socket, for every kind of socket: what it is opened with travels as one plan from the channel to the steps, and
 * what fails is named. The options are a table of steps, in the order in which they are applied; a new option is a new row.
 */
#ifndef IN_IMP_OPENING_PRIVATE_HPP
#define IN_IMP_OPENING_PRIVATE_HPP

#include <array>
#include <in/base/in_address.h>
#include <in/imp/in_imp_ports_private.hpp>
#include <in/qos/in_qos_stack.h>
#include <in/tcp/in_tcp_address.h>
#include <in/udp/in_udp_address.h>
#include <netinet/in.h>
#include <optional>
#include <pb/pb.hpp>
#include <sys/socket.h>

namespace in {

/** What a socket is opened with. Objects are lent. */
struct OpenPlan {
    IN_ADDRESS *localAddress;
    PB_INT optionalPort = -1; // -1: one of `ports`, or without these the system's choice
    std::optional<Ports> ports{};
    PB_INT flags = 0; // of the kind of socket
    IN_QOS_STACK *optionalQosStack = nullptr;
    PB_STRING *optionalInterface = nullptr;      // on which a group is joined
    PB_STRING *optionalScopeInterface = nullptr; // on which an IPv6 link-local address is meant
};

/** Why a socket could not be opened: the step that failed, and the system's reason. */
class OpenFailure {
public:
    /** Notes a step that failed for errno; false, for the caller to return. */
    bool failed( const char *failedStep ) { return failed( failedStep, errno ); }
    bool failed( const char *failedStep, int itsError )
    {
        step = failedStep;
        error = itsError;
        return false;
    }
    /** "bind: Permission denied (EACCES)", a new string. */
    pb::Ref<PB_STRING> text() const;

    const char *step = "";
    int error = 0;
};

enum class Need { required, bestEffort };

template <class Plan>
struct SocketStep {
    const char *name;
    Need need;
    int level;
    int option;
    std::optional<int> ( *value )( const Plan &plan ); // none: not asked for
};

/** The value when it is asked for. */
constexpr std::optional<int> when( bool asked, int value )
{
    return asked ? std::optional( value ) : std::nullopt;
}

/** The marks of a QoS stack, for plans that have looked up its options as `qosOptions`, null for no marks. */
template <class Plan>
inline constexpr SocketStep<Plan> typeOfServiceStep{ "IP_TOS", Need::bestEffort, IPPROTO_IP, IP_TOS,
    []( const Plan &plan ) { // the level of IPv4 on IPv6 sockets too: meant
        return plan.qosOptions ? when( true, inQosOptionsLayer3Tos( plan.qosOptions.get() ) & 0xFF ) : std::nullopt;
    } };
/** After IP_TOS, which sets a priority of its own (ip(7)). */
template <class Plan>
inline constexpr SocketStep<Plan> priorityStep{
    "SO_PRIORITY", Need::bestEffort, SOL_SOCKET, SO_PRIORITY, []( const Plan &plan ) {
        return plan.qosOptions ? when( true, static_cast<int>( inQosOptionsLayer2Pcp( plan.qosOptions.get() ) ) )
                               : std::nullopt;
    } };

/** Applies the steps; false when one that is required fails. */
template <class Plan, std::size_t Count>
bool applySteps( int fd, const SocketStep<Plan> ( &steps )[Count], const Plan &plan, OpenFailure &failure )
{
    for ( const SocketStep<Plan> &step : steps ) {
        std::optional<int> value = step.value( plan );
        if ( value && setsockopt( fd, step.level, step.option, &*value, sizeof *value ) != 0 &&
             step.need == Need::required )
            return failure.failed( step.name );
    }
    return true;
}

/** The options of the QoS stack, or null without one. */
pb::Ref<IN_QOS_OPTIONS> qosOptionsOf( IN_QOS_STACK *optionalQosStack );
/** A socket of the address's family, non-blocking and closed on exec; none when the system refuses. */
pb::Fd openSocket( IN_ADDRESS *ina, int type, int protocol, OpenFailure &failure );
/** The index of the interface that is named, 0 when none is; nothing when there is no such interface. */
std::optional<unsigned> interfaceIndex( PB_STRING *optionalName, OpenFailure &failure );

/** The record of a local address, for binding and for joining a group. */
struct LocalRecord {
    LocalRecord( IN_ADDRESS *ina, PB_INT port, unsigned scope );

    const sockaddr *get() const { return reinterpret_cast<const sockaddr *>( bytes.data() ); }

    alignas( sockaddr_in6 ) std::array<PB_BYTE, sizeof( sockaddr_in6 )> bytes{};
    socklen_t length = 0;
};

/**
 * Read back what the socket got; where that is the address in `local` or `remote` already, its parts are shared. An address
 * that is no IP address with a port counts as failed too.
 */
bool readLocalAddress( int fd, pb::Ref<IN_UDP_ADDRESS> &local, OpenFailure &failure );
bool readLocalAddress( int fd, pb::Ref<IN_TCP_ADDRESS> &local, OpenFailure &failure );
bool readRemoteAddress( int fd, pb::Ref<IN_TCP_ADDRESS> &remote, OpenFailure &failure );

/** Binds to a port, 0 for the system's choice. Another port may do when this one is in use, or not for everybody. */
PortAttempt tryBind( int fd, IN_ADDRESS *localAddress, PB_INT port, unsigned scope, OpenFailure &failure );

/**
 * Tries the plan's port; or those of its range, from a random one on, each once, without those that `taken` has already;
 * or with neither the system's choice, 0. Whether one did.
 */
template <class TryPort>
bool tryPorts( const OpenPlan &plan, const LocalPorts &taken, OpenFailure &failure, TryPort tryPort )
{
    if ( plan.optionalPort >= 0 || !plan.ports )
        return tryPort( std::max<PB_INT>( plan.optionalPort, 0 ) ) == PortAttempt::done;
    failure.failed( "port range", EADDRINUSE );
    return choosePort( *plan.ports,
        [&]( PB_INT port ) { return taken.has( plan.localAddress, port ) ? PortAttempt::other : tryPort( port ); } );
}

} // namespace in

#endif
