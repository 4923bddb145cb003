/* How a broken precondition ends the process: soon, and by its signal, whatever standard error is. */
#include <csignal>
#include <deque>
#include <support/stuck.hpp>
#include <sys/wait.h>

namespace {

using namespace test;

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
    const Row rows[] = { { "empty pipe", [] { return pipeEnds(); } },
        { "full pipe", [] { return full( pipeEnds() ); } },
        { "full pipe, all signals blocked", [] { return full( pipeEnds() ); }, blockAll },
        { "full pipe that does not block", [] { return full( pipeEnds( O_NONBLOCK ) ); } },
        { "pipe without a reader", [] { return unread( pipeEnds() ); } },
        { "full socket", [] { return full( test::socketEnds() ); } },
        { "terminal that is not read", [] { return full( test::terminalEnds() ); } },
        { "none", [] { return Ends(); } } };
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
    Child child( pipeEnds(), [] {} );
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
