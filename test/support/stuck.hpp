/* Pipes and what is like them, filled up so that a write to them does not return. */
#ifndef TEST_STUCK_HPP
#define TEST_STUCK_HPP

#include <cstdlib>
#include <fcntl.h>
#include <support/test_support.h>
#include <sys/socket.h>

namespace test {

struct Ends {
    pb::Fd read;
    pb::Fd write;
};

inline Ends pipeEnds( int flags = 0 )
{
    int fds[2] = { -1, -1 };
    EXPECT_EQ( pipe2( fds, O_CLOEXEC | flags ), 0 );
    return { pb::Fd( fds[0] ), pb::Fd( fds[1] ) };
}
inline Ends socketEnds( int flags = 0 )
{
    int fds[2] = { -1, -1 };
    EXPECT_EQ( socketpair( AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | flags, 0, fds ), 0 );
    return { pb::Fd( fds[0] ), pb::Fd( fds[1] ) };
}
inline Ends terminalEnds()
{
    pb::Fd master( posix_openpt( O_RDWR | O_NOCTTY | O_CLOEXEC ) );
    EXPECT_EQ( grantpt( master.get() ) | unlockpt( master.get() ), 0 );
    pb::Fd terminal( open( ptsname( master.get() ), O_RDWR | O_NOCTTY | O_CLOEXEC ) );
    EXPECT_TRUE( terminal );
    return { std::move( master ), std::move( terminal ) };
}

/** Writes until nothing more fits. Whether the descriptor blocks stays as it was. */
inline Ends full( Ends ends )
{
    int flags = fcntl( ends.write.get(), F_GETFL );
    fcntl( ends.write.get(), F_SETFL, flags | O_NONBLOCK );
    const std::string filling( 4096, '.' );
    for ( int quiet = 0; quiet < 10; ++quiet ) { // a terminal makes room once more, a little later
        for ( std::size_t size : { filling.size(), std::size_t( 1 ) } )
            while ( write( ends.write.get(), filling.data(), size ) > 0 )
                quiet = 0;
        pbSleep( 1 );
    }
    fcntl( ends.write.get(), F_SETFL, flags );
    return ends;
}

/** What can be read at once, of that many bytes. */
inline std::string drain( const Ends &ends, std::size_t limit = 1 << 20 )
{
    fcntl( ends.read.get(), F_SETFL, fcntl( ends.read.get(), F_GETFL ) | O_NONBLOCK );
    std::string text( limit, 0 );
    std::size_t length = 0;
    for ( ssize_t count; ( count = read( ends.read.get(), text.data() + length, limit - length ) ) > 0; )
        length += static_cast<std::size_t>( count );
    text.resize( length );
    return text;
}

} // namespace test

#endif
