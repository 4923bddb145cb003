/* Error texts, and commands: what reaches them, what comes back, and what they must not inherit. */
#include <csignal>
#include <pthread.h>
#include <support/test_support.h>
#include <thread>
#include <unix/unix.h>
#include <vector>

namespace {

TEST( UnixError, Texts )
{
    const std::pair<PB_INT, const char *> rows[] = { { 0, "Success" },
        { ECONNREFUSED, "Connection refused (ECONNREFUSED)" }, { 12345, "Unknown error 12345" },
        { -1, "Unknown error -1" }, { 4294967296 + ECONNREFUSED, "Unknown error 4294967407" } };
    for ( auto [error, text] : rows )
        EXPECT_EQ( test::take( unixErrorToString( error ) ), text );
    EXPECT_EQ( test::take( unixErrorGetaddrinfoToString( -2 ) ), "Name or service not known" ); // EAI_NONAME
    EXPECT_EQ( test::take( unixErrorGetaddrinfoToString( 77 ) ), "Unknown error 77" );
}

std::string run( const std::vector<std::string> &arguments, PB_INT byteLimit = 1'000'000 )
{
    pb::Ref<PB_VECTOR> vector = pb::adopt( pbVectorCreate() );
    for ( const std::string &argument : arguments )
        pbVectorAppend( vector.handle(), pb::obj( test::str( argument ).get() ) );
    return test::takeBytes( unixCommandTryRun( vector.get(), byteLimit ) );
}

TEST( UnixCommand, EachArgumentArrivesAsOne )
{
    std::vector<std::string> command{ "/usr/bin/printf", "%s|" };
    std::string expected;
    for ( std::string text : { "a b", "a;id", "$HOME", "`id`", "\"'", "*", "\\n", "", "a\nb", "--x", "\xC3\xA4" } ) {
        command.push_back( text );
        expected += text + "|";
    }
    EXPECT_EQ( run( command ), expected );
}

TEST( UnixCommand, Output )
{
    struct Row {
        std::vector<std::string> arguments;
        std::string output;
        PB_INT byteLimit = 1'000'000;
    };
    const Row rows[] = { { { "echo", "found along PATH" }, "found along PATH\n" }, { { "no-such-command-here" }, "" },
        { { "/" }, "" }, { { "" }, "" }, { { "false" }, "" }, { { "sh", "-c", "echo before; kill -9 $$" }, "before\n" },
        { { "sh", "-c", "echo out; echo err >&2" }, "out\n" }, { { "sh", "-c", "echo $LC_ALL" }, "C\n" },
        { { "cat" }, "" }, // standard input is empty, not the terminal
        { { "printf", "12345" }, "123", 3 }, { { "printf", "12345" }, "", 0 },
        { { "sh", "-c", "head -c 300000 /dev/zero | tr '\\0' x" }, std::string( 99'999, 'x' ), 99'999 },
        { { "echo", std::string( "a\0b", 3 ) }, "(null)" } };
    for ( const Row &row : rows )
        EXPECT_EQ( run( row.arguments, row.byteLimit ), row.output ) << row.arguments[0];
}

TEST( UnixCommand, SignalsAreAsInANewProcess )
{
    struct sigaction ignored = {};
    struct sigaction before;
    ignored.sa_handler = SIG_IGN;
    sigaction( SIGPIPE, &ignored, &before );
    std::thread thread( [] {
        sigset_t all;
        sigfillset( &all );
        pthread_sigmask( SIG_SETMASK, &all, nullptr );
        unsigned long long blocked = 1, ignoring = 1;
        std::string status = run( { "grep", "-E", "Sig(Blk|Ign)", "/proc/self/status" } );
        EXPECT_EQ( sscanf( status.c_str(), "SigBlk: %llx SigIgn: %llx", &blocked, &ignoring ), 2 ) << status;
        EXPECT_EQ( blocked, 0U );
        EXPECT_EQ( ignoring & 0x7FFFFFFF, 0U ); // 32 and 33 are the C library's own
    } );
    thread.join();
    sigaction( SIGPIPE, &before, nullptr );
}

/** With the lowest descriptors closed, the pipe's own get the numbers that the command's redirections use. */
TEST( UnixCommandDeathTest, RunsWithStandardDescriptorsClosed )
{
    for ( int closed : { 1, 6, 7 } ) { // bit by bit
        auto attempt = [closed] {
            for ( int fd = 0; fd < 3; ++fd )
                if ( closed & 1 << fd )
                    close( fd );
            _exit( run( { "sh", "-c", "cat; echo out; echo err >&2" } ) == "out\n" ? 0 : 1 );
        };
        EXPECT_EXIT( attempt(), testing::ExitedWithCode( 0 ), "" ) << "closed: " << closed;
    }
}

} // namespace
