/*
 * The program over TCP, run as people and scripts run it: against peers of the test's own, against programs of others, and
 * against itself. All on loopback.
 */
#include <arpa/inet.h>
#include <netinet/in.h>
#include <support/folder.hpp>
#include <support/program.hpp>
#include <sys/socket.h>

namespace {

using Json = nlohmann::json;
using namespace test;

/** Listens on a port of its own, and serves one connection on a thread. */
class Server {
public:
    explicit Server( void ( *serve )( int fd ) )
    {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl( INADDR_LOOPBACK );
        socklen_t length = sizeof address;
        auto *generic = reinterpret_cast<sockaddr *>( &address );
        EXPECT_EQ( bind( listener.get(), generic, length ), 0 );
        EXPECT_EQ( listen( listener.get(), 1 ), 0 );
        EXPECT_EQ( getsockname( listener.get(), generic, &length ), 0 );
        port = std::to_string( ntohs( address.sin_port ) );
        thread = std::jthread( [this, serve] {
            pb::Fd fd( accept4( listener.get(), nullptr, nullptr, SOCK_CLOEXEC ) );
            if ( fd )
                serve( fd.get() );
        } );
    }
    ~Server() { shutdown( listener.get(), SHUT_RDWR ); }
    Server( const Server & ) = delete;
    Server &operator=( const Server & ) = delete;

    std::string port;

private:
    pb::Fd listener{ socket( AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0 ) };
    std::jthread thread;
};

void echo( int fd )
{
    std::vector<char> bytes( 100'000 );
    for ( ssize_t count; ( count = recv( fd, bytes.data(), bytes.size(), 0 ) ) > 0; )
        for ( ssize_t sent = 0, more = 0; sent < count && more >= 0; sent += more )
            more = send( fd, bytes.data() + sent, static_cast<std::size_t>( count - sent ), MSG_NOSIGNAL );
}

void reset( int fd )
{
    char bytes[1000];
    recv( fd, bytes, sizeof bytes, 0 );
    linger now{ 1, 0 };
    setsockopt( fd, SOL_SOCKET, SO_LINGER, &now, sizeof now );
}

/** Closes its direction, and reads nothing, to the end of the program. */
void endEarly( int fd )
{
    shutdown( fd, SHUT_WR );
    pollfd gone{ fd, POLLRDHUP, 0 };
    poll( &gone, 1, 10'000 );
}

void greet( int fd )
{
    send( fd, "hello\n", 6, MSG_NOSIGNAL );
    shutdown( fd, SHUT_WR );
    char bytes[1000];
    while ( recv( fd, bytes, sizeof bytes, 0 ) > 0 )
        ;
}

std::string connectTo( const std::string &port )
{
    return TOOL " tcp connect 127.0.0.1 " + port + " --loopback ";
}

/** A listener of the program, and the first port that it got. */
std::pair<Program, std::string> listening( const std::string &options )
{
    Program program( TOOL " --json tcp listen --loopback " + options );
    std::string local = Json::parse( program.until( "open" ), nullptr, false )["local"][0];
    return { std::move( program ), local.substr( local.find( ':' ) + 1 ) };
}

Json lastLine( Program &program )
{
    std::string text = program.rest();
    std::size_t begin = text.find_last_of( '\n', text.size() - 2 );
    return Json::parse( text.substr( begin == text.npos ? 0 : begin + 1 ), nullptr, false );
}

} // namespace

/** 100 MB there and back; the end of the input closes one direction, and what is on its way still comes. */
TEST( TcpConnect, LosesNothing )
{
    Folder folder;
    std::string file = folder.file( "input" );
    sh( "head -c 100000000 /dev/urandom > " + file );
    Server server( echo );
    Program relay( "sh -c '" + connectTo( server.port ) + "< " + file + " | cmp - " + file + "'" );
    EXPECT_EQ( relay.rest(), "" );
    EXPECT_EQ( relay.exitCode(), 0 ) << relay.errors();
}

TEST( TcpConnect, EndsAsItsPeerAndItsDescriptorsDo )
{
    struct Case {
        void ( *serve )( int fd );
        const char *redirection;
        int exitCode;
        const char *output;
        const char *error; // what the only line on standard error holds
    };
    const Case cases[] = {
        { greet, "< /dev/null", 0, "hello\n", "" },
        { greet, "<&-", 0, "hello\n", "" },
        { echo, "< /", 1, nullptr, "standard input: Is a directory" },
        { greet, "< /dev/null > /dev/full", 1, "", "standard output: No space left on device" },
        { greet, "< /dev/null >&-", 1, "", "standard output: Bad file descriptor" },
        { reset, "< /etc/passwd", 1, "", "has failed: Connection reset by peer (ECONNRESET)" },
        { endEarly, "< " TOOL, 1, nullptr, "has closed the connection before all of the input was sent" },
    };
    for ( const Case &row : cases ) {
        Server server( row.serve );
        Program relay( connectTo( server.port ) + row.redirection );
        std::string output = relay.rest();
        EXPECT_EQ( output, row.output ? row.output : output ) << row.redirection;
        EXPECT_EQ( relay.exitCode(), row.exitCode ) << row.redirection;
        std::string error = relay.errors();
        EXPECT_NE( error.find( row.error ), error.npos ) << row.redirection << ": " << error;
        EXPECT_EQ( std::ranges::count( error, '\n' ), row.exitCode ) << error;
    }
}

/** A pair of listeners, a sender to each: both ends tell the same sum. */
TEST( TcpSend, ArrivesWhole )
{
    auto [listener, port] = listening( "--rtp --port-range 20000-30000 --discard --sum --count 2" );
    std::map<std::string, Json> sent;
    for ( const std::string &to : { port, std::to_string( std::stoi( port ) + 1 ) } ) {
        Program sender( TOOL " --json tcp send 127.0.0.1 " + to + " --loopback --sum --bytes 50000001" +
                        ( sent.empty() ? "" : " --rate 8000" ) );
        sent["127.0.0.1:" + to] = lastLine( sender );
        EXPECT_EQ( sender.exitCode(), 0 ) << sender.errors();
    }
    for ( int i = 0; i < 2; ++i ) {
        Json end = Json::parse( listener.until( "\"end\"" ), nullptr, false );
        EXPECT_EQ( end["received"], 50'000'001 );
        EXPECT_EQ( end["sum"], sent[end["local"]]["sum"] );
    }
    EXPECT_EQ( lastLine( listener )["received"], 100'000'002 );
    EXPECT_EQ( listener.exitCode(), 0 ) << listener.errors();
}

TEST( TcpPing, TakesTheTimeOfMessagesAndConnections )
{
    auto [listener, port] = listening( "--echo --count 21" );
    for ( const char *options : { " --rate 2000 --count 500 --size 5000", " --rate 100 --count 20 --connect" } ) {
        Program ping( TOOL " --json tcp ping --quiet --loopback 127.0.0.1 " + port + options );
        Json result = lastLine( ping );
        EXPECT_EQ( ping.exitCode(), 0 ) << ping.errors();
        EXPECT_EQ( result["lost"], 0 ) << result;
        EXPECT_GT( result["roundTripMilliseconds"]["p50"], 0 );
    }
    Json echoed = lastLine( listener );
    EXPECT_EQ( echoed["sent"], 500 * 5000 );
    EXPECT_EQ( echoed["connections"], 21 );
}

/** The request is closed behind its last byte; it is answered nevertheless. */
TEST( TcpListen, Answers )
{
    Folder folder;
    auto [listener, port] =
        listening( "--count 2 --answer " + folder.write( "answer", "HTTP/1.0 200 OK\r\n\r\ngood morning\n" ) );
    EXPECT_EQ( Program( "curl -s http://127.0.0.1:" + port ).rest(), "good morning\n" );
    EXPECT_EQ( Program( "sh -c \"printf 'GET /' | socat - TCP:127.0.0.1:" + port + " | tail -n 1\"" ).rest(),
        "good morning\n" );
    EXPECT_NE( listener.until( "\"text\":\"ET /\"" ), "" );
    listener.rest();
    EXPECT_EQ( listener.exitCode(), 0 ) << listener.errors();
}

TEST( TcpListen, SaysThatDescriptorsRanOut )
{
#ifdef __has_feature
#if __has_feature( address_sanitizer )
    GTEST_SKIP() << "the sanitizer needs descriptors of its own";
#endif
#endif
    Program listener( "sh -c 'ulimit -n 40; exec " TOOL " --json tcp listen --loopback --discard'" );
    std::string local = Json::parse( listener.until( "open" ), nullptr, false )["local"][0];
    sockaddr_in address{ AF_INET, htons( static_cast<uint16_t>( std::stoi( local.substr( local.find( ':' ) + 1 ) ) ) ),
        { htonl( INADDR_LOOPBACK ) }, {} };
    std::vector<pb::Fd> clients;
    for ( int i = 0; i < 40; ++i ) {
        clients.emplace_back( socket( AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0 ) );
        ASSERT_EQ( connect( clients.back().get(), reinterpret_cast<sockaddr *>( &address ), sizeof address ), 0 );
    }
    listener.rest();
    EXPECT_EQ( listener.exitCode(), 1 );
    EXPECT_NE( listener.errors().find( "EMFILE" ), std::string::npos ) << listener.errors();
    EXPECT_NE( listener.errors().find( "ulimit -n" ), std::string::npos ) << listener.errors();
}

TEST( Port, IsInUseOrNot )
{
    std::optional<Server> server( greet );
    std::string port = server->port;
    EXPECT_EQ( Program( TOOL " port 127.0.0.1 " + port ).exitCode(), 0 );
    Program watching( TOOL " port 127.0.0.1 --watch --interval 0.01 " + port );
    EXPECT_NE( watching.until( "in use" ), "" );
    server.reset();
    EXPECT_NE( watching.until( "in use -> not in use" ), "" );
    Program free( TOOL " --json port 127.0.0.1 " + port );
    EXPECT_EQ( Json::parse( free.rest(), nullptr, false )["used"], false );
    EXPECT_EQ( free.exitCode(), 3 );
    watching.signal( SIGINT );
    EXPECT_EQ( watching.exitCode(), 0 );
}
