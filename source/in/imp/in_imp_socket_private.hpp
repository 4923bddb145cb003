/*
 * Opening a socket, for every kind of socket: the options as a table of steps, in the order in which they are applied. A
 * new option is a new row.
 */
#ifndef IN_IMP_SOCKET_PRIVATE_HPP
#define IN_IMP_SOCKET_PRIVATE_HPP

#include <cstddef>
#include <in/base/in_address.h>
#include <optional>
#include <pb/pb.hpp>
#include <sys/socket.h>

namespace in {

enum class Need { required, bestEffort };

template <class Plan>
struct SocketStep {
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

/** Applies the steps; false, with errno, when one that is required fails. */
template <class Plan, std::size_t Count>
bool applySteps( int fd, const SocketStep<Plan> ( &steps )[Count], const Plan &plan )
{
    for ( const SocketStep<Plan> &step : steps ) {
        std::optional<int> value = step.value( plan );
        if ( value && setsockopt( fd, step.level, step.option, &*value, sizeof *value ) != 0 &&
             step.need == Need::required )
            return false;
    }
    return true;
}

/** A socket of the address's family, non-blocking and closed on exec; none, with errno, when the system refuses. */
inline pb::Fd openSocket( IN_ADDRESS *ina, int type, int protocol )
{
    int family = inAddressIsV4( ina ) ? AF_INET : AF_INET6;
    return pb::Fd( socket( family, type | SOCK_NONBLOCK | SOCK_CLOEXEC, protocol ) );
}

} // namespace in

#endif
