/*
 * The socket for ioctls about interfaces. Any thread; the monitor guards which socket it is. The kernel serves the
 * ioctls of several threads on one socket side by side, so the monitor is not held during an ioctl. The calling thread
 * holds a reference, which keeps the descriptor open.
 */
#include <in/nw/in_nw_socket_private.hpp>
#include <sys/socket.h>

PB_CLASS_DEFINE( IN___NW_SOCKET, in___NwSocket, pb::destroy<IN___NW_SOCKET>, nullptr, nullptr );

namespace {

constinit pb::Monitor monitor{ pb::Rank::hostSocket };
constinit pb::Global<IN___NW_SOCKET> opened PB_GUARDED_BY( monitor );

} // namespace

pb::Ref<IN___NW_SOCKET> in::hostSocket()
{
    pb::Lock lock( monitor );
    if ( opened.optional() )
        return pb::share( opened.optional() );
    pb::Fd fd( socket( AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0 ) );
    if ( fd )
        opened.set( pb::create<IN___NW_SOCKET>( std::move( fd ) ) );
    return pb::share( opened.optional() );
}

void in::hostSocketShutdown()
{
    pb::Ref<IN___NW_SOCKET> closed; // outside the monitor
    pb::Lock lock( monitor );
    closed = pb::adopt( opened.optional() );
    opened.set( nullptr );
}
