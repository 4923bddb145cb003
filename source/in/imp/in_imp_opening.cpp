/* Opening a socket: what does not depend on its kind. No state. */
#include <in/imp/in_imp_opening_private.hpp>
#include <in/imp/in_imp_sockaddr_unix_private.h>
#include <net/if.h>
#include <unix/unix.h>

namespace in {

pb::Ref<PB_STRING> OpenFailure::text() const
{
    return pb::format( "%~s: %~s", pbStringCreateFromCstr( step, -1 ), unixErrorToString( error ) );
}

pb::Ref<IN_QOS_OPTIONS> qosOptionsOf( IN_QOS_STACK *optionalQosStack )
{
    return pb::adopt( optionalQosStack ? inQosStackOptions( optionalQosStack ) : nullptr );
}

pb::Fd openSocket( IN_ADDRESS *ina, int type, int protocol, OpenFailure &failure )
{
    int family = inAddressIsV4( ina ) ? AF_INET : AF_INET6;
    pb::Fd fd( socket( family, type | SOCK_NONBLOCK | SOCK_CLOEXEC, protocol ) );
    if ( !fd )
        failure.failed( "socket" );
    return fd;
}

std::optional<unsigned> interfaceIndex( PB_STRING *optionalName, OpenFailure &failure )
{
    if ( !optionalName )
        return 0;
    pb::Ref<PB_BUFFER> name = pb::adopt( pbStringTryToCstr( optionalName ) );
    errno = ENODEV; // for a name with a U+0000
    unsigned index = name ? if_nametoindex( reinterpret_cast<const char *>( pbBufferBacking( name.get() ) ) ) : 0;
    if ( index != 0 )
        return index;
    failure.failed( "interface" );
    return {};
}

LocalRecord::LocalRecord( IN_ADDRESS *ina, PB_INT port, unsigned scope )
{
    PB_INT size = 0;
    in___ImpSockaddrFromAddressPortAndScope( bytes.data(), &size, ina, port, scope );
    length = static_cast<socklen_t>( size );
}

static bool bindToPort( int fd, const OpenPlan &plan, PB_INT port, unsigned scope, OpenFailure &failure )
{
    LocalRecord record( plan.localAddress, port, scope );
    return bind( fd, record.get(), record.length ) == 0 || failure.failed( "bind" );
}

/** Whether another port may do where this one did not: it is in use, or below those that everybody may have. */
static bool isThePorts( const OpenFailure &failure )
{
    return failure.error == EADDRINUSE || failure.error == EACCES;
}

bool bindTo( int fd, const OpenPlan &plan, unsigned scope, const LocalPorts &taken, OpenFailure &failure )
{
    if ( plan.optionalPort >= 0 )
        return bindToPort( fd, plan, plan.optionalPort, scope, failure );
    if ( !plan.ports )
        return bindToPort( fd, plan, 0, scope, failure );
    failure.failed( "port range", EADDRINUSE );
    return choosePort( *plan.ports, [&]( PB_INT port ) {
        if ( taken.has( plan.localAddress, port ) )
            return PortAttempt::other;
        if ( bindToPort( fd, plan, port, scope, failure ) )
            return PortAttempt::done;
        return isThePorts( failure ) ? PortAttempt::other : PortAttempt::failed;
    } );
}

} // namespace in
