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

/** `ask` is getsockname or getpeername, `update` takes a record into an address. */
template <class Address>
static bool readAddress( int fd, const char *step, int ( *ask )( int, sockaddr *, socklen_t * ),
    PB_BOOL ( *update )( const void *, PB_INT, Address ** ), pb::Ref<Address> &address, OpenFailure &failure )
{
    std::array<PB_BYTE, sizeof( sockaddr_in6 )> record{};
    socklen_t length = record.size();
    if ( ask( fd, reinterpret_cast<sockaddr *>( record.data() ), &length ) != 0 )
        return failure.failed( step );
    return update( record.data(), length, address.handle() ) || failure.failed( step, EAFNOSUPPORT );
}

bool readLocalAddress( int fd, pb::Ref<IN_UDP_ADDRESS> &local, OpenFailure &failure )
{
    return readAddress( fd, "getsockname", getsockname, in___ImpSockaddrUpdateUdpAddress, local, failure );
}

bool readLocalAddress( int fd, pb::Ref<IN_TCP_ADDRESS> &local, OpenFailure &failure )
{
    return readAddress( fd, "getsockname", getsockname, in___ImpSockaddrUpdateTcpAddress, local, failure );
}

bool readRemoteAddress( int fd, pb::Ref<IN_TCP_ADDRESS> &remote, OpenFailure &failure )
{
    return readAddress( fd, "getpeername", getpeername, in___ImpSockaddrUpdateTcpAddress, remote, failure );
}

PortAttempt tryBind( int fd, IN_ADDRESS *localAddress, PB_INT port, unsigned scope, OpenFailure &failure )
{
    LocalRecord record( localAddress, port, scope );
    if ( bind( fd, record.get(), record.length ) == 0 )
        return PortAttempt::done;
    failure.failed( "bind" );
    bool isThePorts = failure.error == EADDRINUSE || failure.error == EACCES; // in use, or below those for everybody
    return isThePorts ? PortAttempt::other : PortAttempt::failed;
}

} // namespace in
