/* How a broken precondition ends the process: soon, and by its signal, whatever standard error is. */
#include <csignal>
#include <deque>
#include <fcntl.h>
#include <functional>
#include <support/test_support.h>
#include <support/waiting.hpp>
#include <sys/socket.h>
#include <sys/wait.h>
#include <thread>

namespace {

struct Ends {
    pb::Fd read;
    pb::Fd write;
};

Ends fromPipe( int flags = 0 )
{
    int fds[2] = { -1, -1 };
    EXPECT_EQ( pipe2( fds, O_CLOEXEC | flags ), 0 );
    return { pb::Fd( fds[0] ), pb::Fd( fds[1] ) };
}
Ends fromSocket()
{
    int fds[2] = { -1, -1 };
    EXPECT_EQ( socketpair( AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds ), 0 );
    return { pb::Fd( fds[0] ), pb::Fd( fds[1] ) };
}
Ends fromTerminal()
{
    pb::Fd master( posix_openpt( O_RDWR | O_NOCTTY | O_CLOEXEC ) );
    EXPECT_EQ( grantpt( master.get() ) | unlockpt( master.get() ), 0 );
    pb::Fd slave( open( ptsname( master.get() ), O_RDWR | O_NOCTTY | O_CLOEXEC ) );
    EXPECT_TRUE( slave );
    return { std::move( master ), std::move( slave ) };
}
/** Writes until nothing more fits. */
Ends full( Ends ends )
{
    int flags = fcntl( ends.write.get(), F_GETFL );
    fcntl( ends.write.get(), F_SETFL, flags | O_NONBLOCK );
    std::string filling( 4096, 'x' );
    for ( std::size_t size : { filling.size(), std::size_t( 1 ) } )
        while ( write( ends.write.get(), filling.data(), size ) > 0 ) {
        }
    fcntl( ends.write.get(), F_SETFL, flags );
    return ends;
}
Ends unread( Ends ends )
{
    ends.read.close();
    return ends;
}

/** A child that aborts with that standard error, while a thread of it holds the lock of the stream. */
struct Child {
    Ends ends;
    pid_t process = -1;

    Child( Ends standardError, const std::function<void()> &prepare ) : ends( std::move( standardError ) )
    {
        process = fork();
        if ( process )
            return;
        ends.write ? dup2( ends.write.get(), STDERR_FILENO ) : close( STDERR_FILENO );
        prepare();
        std::thread( [] { flockfile( stderr ); } ).join();
        PB_ASSERT_CONTEXT( "context", 1 == 2 );
    }
    /** The signal that ends it; 0 when it ends in another way or not at all. */
    int signal() const
    {
        int status = 0;
        bool ended = test::eventually( [&] { return waitpid( process, &status, WNOHANG ) == process; } );
        if ( !ended ) {
            kill( process, SIGKILL );
            waitpid( process, &status, 0 );
        }
        return ended && WIFSIGNALED( status ) ? WTERMSIG( status ) : 0;
    }
};

void blockAll()
{
    sigset_t all;
    sigfillset( &all );
    pthread_sigmask( SIG_SETMASK, &all, nullptr );
}

TEST( Abort, EndsWhateverStandardErrorIs )
{
    struct Row {
        const char *what;
        std::function<Ends()> make;
        std::function<void()> prepare = [] {};
    };
    const Row rows[] = { { "empty pipe", [] { return fromPipe(); } },
        { "full pipe", [] { return full( fromPipe() ); } },
        { "full pipe, all signals blocked", [] { return full( fromPipe() ); }, blockAll },
        { "full pipe that does not block", [] { return full( fromPipe( O_NONBLOCK ) ); } },
        { "pipe without a reader", [] { return unread( fromPipe() ); } },
        { "full socket", [] { return full( fromSocket() ); } },
        { "terminal that is not read", [] { return full( fromTerminal() ); } }, { "none", [] { return Ends(); } } };
    PB_INT begin = pbTimestamp();
    std::deque<Child> children;
    for ( const Row &row : rows )
        children.emplace_back( row.make(), row.prepare );
    for ( std::size_t i = 0; i < children.size(); ++i )
        EXPECT_EQ( children[i].signal(), SIGILL ) << rows[i].what;
    EXPECT_LT( pbTimestamp() - begin, 10'000 );
}

TEST( Abort, TellsWhereAndWhy )
{
    Child child( fromPipe(), [] {} );
    EXPECT_EQ( child.signal(), SIGILL );
    std::string text( 1000, 0 );
    text.resize( static_cast<std::size_t>( read( child.ends.read.get(), text.data(), text.size() ) ) );
    std::size_t name = text.find( "abort_test.cpp:" );
    ASSERT_NE( name, text.npos ) << text;
    EXPECT_GT( std::stoi( text.substr( name + 15 ) ), 0 );
    EXPECT_EQ( text.substr( text.find( ' ' ) ), " context: 1 == 2\n" );
    EXPECT_DEATH(
        pb___Abort( nullptr, "path", PB_INT_MIN, "expression" ), "^path:-9223372036854775808: expression\n$" );
    std::string longText( 5000, 'x' );
    EXPECT_DEATH( pb___Abort( longText.c_str(), "path", 0, nullptr ), "^path:0: x{1000,}\n$" );
}

} // namespace
