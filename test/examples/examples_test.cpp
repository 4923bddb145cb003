/* The examples as they are built: each does what it says, and ends in order. */
#include <arpa/inet.h>
#include <future>
#include <support/program.hpp>
#include <sys/socket.h>

namespace {

using Json = nlohmann::json;
using namespace test;

/** The host 10.9.0.1, with a veth pair to nowhere. */
class Examples : public testing::Test {
protected:
    void SetUp() override
    {
        NEEDS_NAMESPACE();
        sh( "ip link set lo up && ip link add v0 type veth peer name w0 && ip address add 10.9.0.1/24 dev v0 && "
            "ip link set v0 up && ip link set w0 up" );
    }
    void TearDown() override
    {
        if ( std::getenv( "TEST_NAMESPACE" ) )
            sh( "ip link delete v0" );
    }
};

/** Ends it with a signal, as its users do: the exit code, and what it wrote on standard error. */
std::pair<int, std::string> end( Program &program, int signal )
{
    program.signal( signal );
    int exitCode = program.exitCode();
    return { exitCode, program.errors() };
}
const std::pair<int, std::string> inOrder{ 0, "" };

/** Sends bytes to a TCP port of the host, more than the ways there take, and reads as many back; whether they are the same. */
bool echoes( const std::string &port, unsigned seed )
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons( static_cast<uint16_t>( std::stoi( port ) ) );
    inet_pton( AF_INET, "10.9.0.1", &address.sin_addr );
    pb::Fd fd( socket( AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0 ) );
    if ( connect( fd.get(), reinterpret_cast<sockaddr *>( &address ), sizeof address ) != 0 )
        return false;
    std::string sent( 20'000'000, '\0' );
    std::minstd_rand random( seed );
    std::ranges::generate( sent, [&] { return char( random() ); } );
    std::string received( sent.size(), '\0' );
    std::thread writer( [&] { (void)!send( fd.get(), sent.data(), sent.size(), MSG_NOSIGNAL ); } );
    std::this_thread::sleep_for( std::chrono::milliseconds( 100 ) ); // meanwhile nobody reads
    ssize_t count = recv( fd.get(), received.data(), received.size(), MSG_WAITALL );
    writer.join();
    return count == ssize_t( sent.size() ) && received == sent;
}

} // namespace

TEST_F( Examples, EchoSendsAllBackAndEndsWhileItIsBusy )
{
    for ( int signal : { SIGINT, SIGTERM } ) {
        Program echo( EXAMPLE "echo 10.9.0.1" );
        std::string port = echo.until( "echo on 10.9.0.1:" ).substr( 17 );
        Program quiet( TOOL " --json udp ping 10.9.0.1 " + port + " --rate 2000 --count 1000" );
        EXPECT_EQ( Json::parse( quiet.rest(), nullptr, false )["lost"], 0 );
        Program busy( TOOL " --json udp ping 10.9.0.1 " + port + " --rate 50000 --duration 1 --wait 0" );
        std::this_thread::sleep_for( std::chrono::milliseconds( 100 ) );
        EXPECT_EQ( end( echo, signal ), inOrder );
    }
    Program late( EXAMPLE "echo 10.9.0.2" );
    sh( "ip address add 10.9.0.2/24 dev v0" );
    EXPECT_NE( late.until( "echo on 10.9.0.2:" ), "" );
    EXPECT_EQ( end( late, SIGTERM ), inOrder );
}

TEST_F( Examples, PollLoopServesAllItsChannels )
{
    Program loop( EXAMPLE "poll-loop 10.9.0.1 3" );
    std::vector<Program> pings;
    std::string port;
    for ( int i = 0; i < 3; ++i ) {
        port = loop.until( "udp echo on 10.9.0.1:" ).substr( 21 );
        pings.emplace_back( TOOL " --json udp ping 10.9.0.1 " + port + " --rate 1000 --count 500" );
    }
    std::string tcpPort = loop.until( "tcp echo on 10.9.0.1:" ).substr( 21 );
    std::vector<std::future<bool>> connections;
    for ( unsigned i = 1; i <= 3; ++i )
        connections.push_back( std::async( std::launch::async, echoes, tcpPort, i ) );
    for ( auto &connection : connections )
        EXPECT_TRUE( connection.get() );
    for ( Program &ping : pings )
        EXPECT_EQ( Json::parse( ping.rest(), nullptr, false )["lost"], 0 );
    Program busy( TOOL " --json udp ping 10.9.0.1 " + port + " --rate 50000 --duration 1 --wait 0" );
    std::this_thread::sleep_for( std::chrono::milliseconds( 100 ) );
    EXPECT_EQ( end( loop, SIGTERM ), inOrder );
}

TEST_F( Examples, WatchSeesEachAddress )
{
    Program watch( EXAMPLE "watch-address v0" );
    EXPECT_EQ( watch.until( "10.9.0.1" ), "10.9.0.1" );
    sh( "ip address add 10.9.1.7/24 dev v0 && ip address delete 10.9.0.1/24 dev v0" );
    EXPECT_EQ( watch.until( "10." ), "10.9.1.7" );
    sh( "ip address flush dev v0" );
    EXPECT_EQ( watch.until( "no" ), "no address" );
    EXPECT_EQ( end( watch, SIGTERM ), inOrder );
}

TEST_F( Examples, RtpPairGetsAllThrough )
{
    Program pair( EXAMPLE "rtp-pair" );
    EXPECT_EQ( pair.rest(), "50 of 50 packets, 1 of 1 report\n" );
    EXPECT_EQ( std::pair( pair.exitCode(), pair.errors() ), inOrder );
}
