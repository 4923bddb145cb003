/* A bare UDP socket of the system's. */
#ifndef TEST_BARE_SOCKET_HPP
#define TEST_BARE_SOCKET_HPP

#include <arpa/inet.h>
#include <support/test_support.h>
#include <sys/socket.h>

namespace test {

/** A socket of the system's, on loopback. */
class BareSocket {
public:
    explicit BareSocket( int wantedPort = 0, const char *address = "127.0.0.1" )
        : fd( socket( AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0 ) )
    {
        sockaddr_in own = sockaddrOf( wantedPort );
        inet_pton( AF_INET, address, &own.sin_addr );
        socklen_t length = sizeof own;
        EXPECT_EQ( bind( fd.get(), reinterpret_cast<sockaddr *>( &own ), length ), 0 );
        EXPECT_EQ( getsockname( fd.get(), reinterpret_cast<sockaddr *>( &own ), &length ), 0 );
        port = ntohs( own.sin_port );
    }
    static sockaddr_in sockaddrOf( PB_INT port )
    {
        sockaddr_in sa{};
        sa.sin_family = AF_INET;
        sa.sin_port = htons( static_cast<uint16_t>( port ) );
        sa.sin_addr.s_addr = htonl( INADDR_LOOPBACK );
        return sa;
    }
    void send( PB_INT to, const std::string &bytes ) const
    {
        sockaddr_in sa = sockaddrOf( to );
        EXPECT_EQ( sendto( fd.get(), bytes.data(), bytes.size(), 0, reinterpret_cast<sockaddr *>( &sa ), sizeof sa ),
            ssize_t( bytes.size() ) );
    }

    pb::Fd fd;
    PB_INT port;
};

} // namespace test

#endif
