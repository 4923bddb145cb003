/* Error texts, and commands: what reaches them, what comes back, and what they must not inherit. */
#include <csignal>
#include <fcntl.h>
#include <fstream>
#include <netdb.h>
#include <pthread.h>
#include <sstream>
#include <support/test_support.h>
#include <sys/wait.h>
#include <unix/unix.h>

namespace {

TEST( UnixError, Texts )
{
    const std::pair<PB_INT, const char *> rows[] = { { 0, "Success" },
        { ECONNREFUSED, "Connection refused (ECONNREFUSED)" }, { 12345, "Unknown error 12345" },
        { -1, "Unknown error -1" }, { 4294967296 + ECONNREFUSED, "Unknown error 4294967407" } };
    for ( auto [error, text] : rows )
        EXPECT_EQ( test::take( unixErrorToString( error ) ), text );
    // the texts of the C library as it has them in English, which this program speaks
    for ( int code : { EAI_BADFLAGS, EAI_NONAME, EAI_AGAIN, EAI_FAIL, EAI_NODATA, EAI_FAMILY, EAI_SOCKTYPE, EAI_SERVICE,
              EAI_ADDRFAMILY, EAI_MEMORY, EAI_SYSTEM, EAI_IDN_ENCODE } )
        EXPECT_EQ( test::take( unixErrorGetaddrinfoToString( code ) ), gai_strerror( code ) );
    for ( PB_INT code : { PB_INT( 0 ), PB_INT( 77 ), PB_INT( 4294967296 + EAI_NONAME ) } )
        EXPECT_EQ( test::take( unixErrorGetaddrinfoToString( code ) ), "Unknown error " + std::to_string( code ) );
}

constexpr PB_INT LONG = 60'000; // ms; not reached

std::string run( const std::vector<std::string> &arguments, PB_INT byteLimit = 1'000'000, PB_INT milliseconds = LONG )
{
    pb::Ref<PB_VECTOR> vector = pb::adopt( pbVectorCreate() );
    for ( const std::string &argument : arguments )
        pbVectorAppend( vector.handle(), pb::obj( test::str( argument ).get() ) );
    return test::takeBytes( unixCommandTryRun( vector.get(), byteLimit, milliseconds ) );
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

/** What the program does with the ends of its children, and undoes again. */
struct Children {
    void ( *handler )( int );
    int flags;
};
void waitForAll( int )
{
    int before = errno;
    while ( waitpid( -1, nullptr, WNOHANG ) > 0 ) {
    }
    errno = before;
}
class Handling {
public:
    explicit Handling( Children children )
    {
        struct sigaction action {};
        action.sa_handler = children.handler;
        action.sa_flags = children.flags;
        sigaction( SIGCHLD, &action, &before );
    }
    ~Handling() { sigaction( SIGCHLD, &before, nullptr ); }

private:
    struct sigaction before;
};

/** Whether the processes whose numbers stand in the text are gone, or zombies that their new parent has not noticed. */
bool allGone( const std::string &numbers )
{
    std::istringstream stream( numbers );
    for ( std::string number, text; stream >> number; ) {
        std::ifstream status( "/proc/" + number + "/stat" );
        std::getline( status, text );
        if ( status && text.find( ") Z " ) == text.npos )
            return false;
    }
    return true;
}

struct Late {
    const char *script; // prints the numbers of the processes that must be gone
    PB_INT limit = 300; // LONG when it ends by itself
};

void checkLate( const Late &row )
{
    PB_INT begin = pbTimestamp();
    std::string numbers = run( { "sh", "-c", row.script }, 1000, row.limit );
    PB_INT took = pbTimestamp() - begin;
    EXPECT_NE( numbers, "" ) << row.script;
    EXPECT_EQ( took >= row.limit, row.limit != LONG ) << row.script << ": " << took;
    EXPECT_LT( took, 20'000 ) << row.script;
    EXPECT_TRUE( test::eventually( [&] { return allGone( numbers ); } ) ) << row.script;
}

/** Commands that do not end, or leave something behind, side by side, whatever the program does with its children. */
TEST( UnixCommand, EndsAtItsLimit )
{
    const Late rows[] = { { "echo $$; exec sleep 1000" }, { "trap '' TERM INT HUP; echo $$; while :; do :; done" },
        { "echo $$; kill -STOP $$" }, { "echo $$; exec >&-; sleep 1000" }, { "echo $$; exec yes ''" },
        { "sleep 1000 & echo $! $$; sleep 1000 & echo $!; wait" }, { "sleep 1000 & echo $!" },
        { "(sleep 1000 & echo $!) &" }, { "sleep 0.1 & echo $!; exec >&-; wait", LONG },
        { "(sleep 0.1; echo $$) &", LONG } };
    const Children hosts[] = { { SIG_DFL, 0 }, { SIG_IGN, 0 }, { SIG_DFL, SA_NOCLDWAIT }, { waitForAll, 0 } };
    for ( const Children &host : hosts ) {
        Handling handling( host );
        std::vector<std::jthread> threads;
        for ( const Late &row : rows )
            threads.emplace_back( checkLate, row );
        threads.clear(); // waits for them
        EXPECT_EQ( waitpid( -1, nullptr, WNOHANG ), -1 ) << "a child is left";
    }
}

/** What has left the group is not waited for, although it holds the output open. */
TEST( UnixCommand, LeavesAloneWhatHasLeft )
{
    std::string number = run( { "setsid", "sh", "-c", "echo $$; exec sleep 1000" }, 1000, 300 );
    EXPECT_FALSE( allGone( number ) );
    kill( std::stoi( number ), SIGKILL );
}

TEST( UnixCommand, InheritsNoDescriptors )
{
    pb::Fd low( dup( STDERR_FILENO ) ), high( fcntl( low.get(), F_DUPFD, 300 ) );
    EXPECT_EQ( run( { "ls", "/proc/self/fd" } ), "0\n1\n2\n3\n" ); // the last one is the folder that it reads
}

/** The status of a child of the program's own is left for whoever waits for it. */
TEST( UnixCommand, TakesNoOtherStatus )
{
    pid_t own = fork();
    if ( own == 0 )
        _exit( 7 );
    EXPECT_EQ( run( { "echo", "x" } ), "x\n" );
    int status = 0;
    EXPECT_EQ( waitpid( own, &status, 0 ), own );
    EXPECT_EQ( WEXITSTATUS( status ), 7 );
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
