/*
 * The built program, run as people and scripts run it: its output, its errors, its exit codes. What needs hosts runs in
 * namespaces: this process's is one host, a peer across a veth pair the other.
 */
#include <set>
#include <support/bare_socket.hpp>
#include <support/command.hpp>
#include <support/folder.hpp>
#include <support/program.hpp>
#include <support/stuck.hpp>
#include <sys/stat.h>

namespace {

const int loopback = test::addLoopback();

using Json = nlohmann::json;
using namespace test;

/** This host and a peer: 10.9.0.1 and fd00:9::1 on v0, 10.9.0.2 and fd00:9::2 on w0. */
class Tool : public testing::Test {
protected:
    void SetUp() override
    {
        NEEDS_NAMESPACE();
        peer.emplace();
        peer->join( "v0", "w0" );
        sh( "ip address add 10.9.0.1/24 dev v0 && ip -6 address add fd00:9::1/64 dev v0 nodad" );
        peer->run( "ip link set lo up && ip address add 10.9.0.2/24 dev w0" );
        peer->run( "ip -6 address add fd00:9::2/64 dev w0 nodad" );
    }
    void TearDown() override
    {
        if ( peer )
            sh( "ip link delete v0" ); // now; with the peer it would go some time later
    }
    /** The program here, or on the peer. */
    Program here( const std::string &arguments ) { return Program( TOOL " " + arguments ); }
    Program there( const std::string &arguments ) { return Program( peer->prefix() + TOOL " " + arguments ); }

    std::optional<test::Peer> peer;
};

/** What a program prints as one JSON value, when it has ended. */
Json json( Program program )
{
    std::string text = program.rest();
    EXPECT_EQ( program.exitCode(), 0 ) << program.errors();
    return Json::parse( text, nullptr, false );
}

/** The last line of a program that prints lines of JSON. */
Json summary( Program &program )
{
    std::string text = program.rest();
    std::size_t begin = text.find_last_of( '\n', text.size() - 2 );
    return Json::parse( text.substr( begin == text.npos ? 0 : begin + 1 ), nullptr, false );
}

} // namespace

TEST( CommandLine, IsAnsweredInOneLine )
{
    struct Case {
        const char *arguments;
        int exitCode;
        const char *error; // what the only line on standard error holds
    };
    const Case cases[] = {
        { "", 2, "a command is missing; there are interfaces, stack, udp" },
        { "interface", 2, "unknown command 'interface'; there are interfaces" },
        { "udp", 2, "a command is missing; there are listen, send, echo, ping (see quelvaris-in udp --help)" },
        { "udp pong", 2, "unknown command 'pong'" },
        { "interfaces --wach", 2, "'--wach' is not expected" },
        { "udp ping", 2, "ADDRESS is required" },
        { "udp ping localhost 7", 2, "'localhost' is not an IP address; write one like" },
        { "udp ping 127.0.0.1 65536", 2, "PORT: '65536' is not a number from 1 to 65535" },
        { "udp ping 127.0.0.1 0x10", 2, "PORT: '0x10' is not a number" },
        { "udp ping 127.0.0.1 7 --wait nan", 2, "--wait: 'nan' is not a number from 0 to 3600" },
        { "udp ping 127.0.0.1 7 --count", 2, "--count needs a value" },
        { "udp ping 127.0.0.1 7 --size 23", 2, "--size" },
        { "udp ping 127.0.0.1 7 --rate 0", 2, "--rate" },
        { "udp ping 127.0.0.1 7 --rtp", 2, "port 7 is odd" },
        { "udp ping 127.0.0.1 7 --loopback --filter 10.0.0.0/33", 2, "not a network; give --filter one like" },
        { "udp ping 127.0.0.1 7 --loopback --filter 10.0.0.0/8 --filter ::1", 1,
            "the filter does not permit 127.0.0.1" },
        { "udp listen --port 7 --port-range 7-8", 2, "--port" },
        { "udp listen --port 7 --port 8", 2, "--port may be given only once" },
        { "udp listen --loopback --port-range 9-8", 2, "'9-8' is not a range of ports" },
        { "udp listen --loopback --port-range 1-65536", 2, "is not a range of ports" },
        { "udp listen --loopback --rtp --port 7007", 2, "7007 is odd" },
        { "udp listen --qos loud", 2, "--qos: loud not in" },
        { "udp listen --address 10", 2, "'10' is not an IP address" },
        { "udp listen --interface ''", 2, "--interface: the value is empty" },
        { "udp listen --interface \"it's\"", 1,
            "no address; this tells why: quelvaris-in stack --interface 'it'\\''s'" },
        { "udp listen --config " HOST_JSON, 2, "choose one with --stack: host, loopback" },
        { "tcp", 2, "a command is missing; there are connect, listen, send, ping" },
        { "tcp listen --echo --discard", 2, "--echo excludes --discard" },
        { "tcp listen --loopback --answer /nonexistent", 1, "/nonexistent cannot be read" },
        { "tcp connect 127.0.0.1 1 --loopback", 1, "127.0.0.1:1: Connection refused (ECONNREFUSED)" },
        { "tcp ping 127.0.0.1 1 --loopback --connect --count 2 --rate 99 --json > /dev/null", 1,
            "2 of 2 connections could not be made: Connection refused (ECONNREFUSED)" },
        { "port 127.0.0.1 65536", 2, "PORT: '65536' is not a number from 0 to 65535" },
        { "stack --name host", 2, "--name requires --config" },
        { "stack --config /nonexistent.json", 1, "/nonexistent.json" },
        { "stack --config " HOST_JSON " --name voice", 1, "has no stack 'voice'; it has host, loopback" },
        { "address 10.0.0.1 foo", 2, "'foo' is not an IP address" },
        { "address \"$( printf '\\033\\n\\302\\233' )x\"", 2, "'\\x1b\\x0a\\x9bx' is not an IP address" },
        { "network 10.0.0.0/33", 2, "'10.0.0.0/33' is not a network" },
        { "network 10.0.0.0/8 --contains foo", 2, "'foo' is not an IP address" },
        { "mac foo", 2, "'foo' is not a hardware address" },
        { "neighbour foo", 2, "'foo' is not an IP address" },
        { "multicast listen 10.9.0.1 7000", 2, "10.9.0.1 is not a multicast group" },
        { "multicast send 10.9.0.1 7000", 2, "10.9.0.1 is not a multicast group" },
        { "multicast listen 239.1.2.3 7000 --interface nosuch", 1,
            "could not be joined on nosuch: interface: No such device (ENODEV)" },
        { "udp send 192.0.2.1 9 --loopback --count 2 --rate 100 --json > /dev/null", 1, "2 datagrams were not sent" },
    };
    for ( const Case &row : cases ) {
        Program program( std::string( TOOL " " ) + row.arguments );
        EXPECT_EQ( program.rest(), "" ) << row.arguments;
        EXPECT_EQ( program.exitCode(), row.exitCode ) << row.arguments;
        std::string error = program.errors();
        EXPECT_EQ( error.find( "quelvaris-in: " ), 0U ) << row.arguments << ": " << error;
        EXPECT_NE( error.find( row.error ), error.npos ) << row.arguments << ": " << error;
        EXPECT_EQ( std::ranges::count( error, '\n' ), 1 ) << row.arguments << ": " << error;
    }
}

TEST( Output, ThatCannotBeWrittenFails )
{
    const std::pair<const char *, const char *> cases[] = {
        { " > /dev/full", "No space left on device" }, { " >&-", "Bad file descriptor" } };
    for ( const char *arguments : { "--help", "--version", "modules", "--json modules", "address ::1",
              "interfaces --watch", "--json stack --watch", "port ::1 1", "tcp listen --loopback",
              "config normalise " HOST_JSON, "udp listen --loopback", "udp ping 127.0.0.1 9 --loopback --count 1",
              "udp send 127.0.0.1 9 --loopback --count 1" } )
        for ( auto [redirection, error] : cases ) {
            Program program( std::string( TOOL " " ) + arguments + redirection );
            EXPECT_EQ( program.exitCode(), 1 ) << arguments << redirection;
            EXPECT_EQ( program.errors(), std::string( "quelvaris-in: standard output: " ) + error + '\n' );
        }
    EXPECT_EQ( Program( TOOL " nosuch 2> /dev/full" ).exitCode(), 2 );
}

TEST( Output, EndsWithItsReader )
{
    for ( const char *arguments : { "interfaces --watch", "udp listen --loopback" } ) {
        std::string pipe = "{ " TOOL " " + std::string( arguments ) + "; echo ended $? >&2; } | head -n 1 > /dev/null";
        Program program( "sh -c '" + pipe + "'" );
        program.rest();
        EXPECT_EQ( program.errors(), "ended 141\n" ) << arguments; // by SIGPIPE, without a word
        Program ignoring( "sh -c 'trap \"\" PIPE; " + pipe + "'" );
        ignoring.rest();
        EXPECT_EQ( ignoring.errors(), "quelvaris-in: standard output: Broken pipe\nended 1\n" ) << arguments;
    }
}

TEST( Configuration, OfTheExampleIsKnownWhole )
{
    Json objects = json( Program( TOOL " --json config check " HOST_JSON ) );
    ASSERT_EQ( objects.size(), 4U );
    for ( const Json &object : objects )
        EXPECT_EQ( object["result"], "ok" ) << object;
}

/** A line for each finding, and what nothing is to be said of; in JSON the same by object. */
TEST( Configuration, IsCheckedKeyByKey )
{
    test::Folder folder;
    std::string file = folder.write( "config.json", R"({"objects": {
        "open": {"sort": "IN_STACK", "config": {"flags": "IN_FLAG_LOPBACK_ONLY", "a\u001b[31m\u009bb": 1,
            "dnsOptions": {"negativeCacheTimeout": 5000}}},
        "none": {"sort": "IN_STACK", "confg": {"flags": "IN_FLAG_LOOPBACK_ONLY"}},
        "peers": {"sort": "IN_FILTER", "config": {"stackName": "opened", "entries": [{"host": "10.0.0.0/8",
            "flags": "IN_FILTER_ENTRY_FLAG_ADDRESS"}, {"flags": ""}]}},
        "on": {"sort": "CS_CONDITION", "config": {"value": true}}, "theirs": {"sort": "IN_OTHER"}}})" );
    Program check( TOOL " config check " + file );
    EXPECT_EQ(
        check.rest(), R"(open (IN_STACK): flags: unknown name "IN_FLAG_LOPBACK_ONLY" (known: IN_FLAG_LOOPBACK_ONLY)
open (IN_STACK): a\x1b[31m\x9bb: unknown key
open (IN_STACK): dnsOptions.negativeCacheTimeout: applied to cacheTimeout
none (IN_STACK): config: missing; "confg" may be meant
peers (IN_FILTER): stackName: the file has no object "opened"
peers (IN_FILTER): entries.0.host: "10.0.0.0/8" is no IP address; the number of bits goes into addressMatchingBits
peers (IN_FILTER): entries.1: left out as a whole
peers (IN_FILTER): entries.1.flags: no flag, so the entry permits nothing
peers (IN_FILTER): entries.1.host: missing
on (CS_CONDITION): ok
theirs (IN_OTHER): kept as it is: no loaded module knows this sort
)" );
    EXPECT_EQ( check.exitCode(), 1 );
    EXPECT_EQ( check.errors(), "quelvaris-in: " + file + ": 9 problems found\n" );
    Json objects = Json::parse( Program( TOOL " --json config check " + file ).rest() );
    ASSERT_EQ( objects.size(), 5U );
    EXPECT_EQ( objects[2]["ignored"].size(), 5U );
    EXPECT_EQ( objects[3]["result"], "ok" );
}

/** Defaults are shown, but never written: the negative time-out would go into the positive one. */
TEST( Configuration, KeepsItsMeaningWhenItIsWritten )
{
    test::Folder folder;
    std::string file = folder.write( "config.json", R"({"objects": {
        "s": {"sort": "IN_STACK", "config": {"dnsOptions": {"cacheTimeout": 7}}}}})" );
    auto dns = [&] { return json( Program( TOOL " --json config show --full " + file ) )[0]["config"]["dnsOptions"]; };
    Json before = dns();
    EXPECT_EQ( before["cacheTimeout"], 7 );
    EXPECT_EQ( before["negativeCacheTimeout"], 60'000 );
    Program refused( TOOL " config normalise --full --write " + file );
    EXPECT_EQ( refused.exitCode(), 2 );
    EXPECT_NE( refused.errors().find( "--full belongs to 'config show'" ), std::string::npos );
    EXPECT_EQ( Program( TOOL " config normalise --write " + file ).exitCode(), 0 );
    EXPECT_EQ( dns(), before );
}

/** Whatever a path leads to, the answer is one line, and the file stays as it is. */
TEST( Configuration, ThatHurtsIsRefused )
{
    using namespace std::literals;
    test::Folder folder;
    std::filesystem::create_directory( folder.file( "folder" ) );
    ASSERT_EQ( mkfifo( folder.file( "pipe" ).c_str(), 0600 ), 0 );
    struct Case {
        std::string path;
        std::string_view content;
        const char *error;
    };
    const Case cases[] = {
        { folder.file( "folder" ), "", ": Is a directory" },
        { folder.file( "pipe" ), "", ": not a regular file" },
        { folder.file( "nowhere" ), "", ": No such file or directory" },
        { "/dev/full", "", "/dev/full: not a regular file" },
        { "/proc/self/mem", "", "/proc/self/mem: " },
        { folder.file( "a" ), "{\n\"a\": \0}"sv, ": line 2, column 6: expected a value, found U+0000" },
        { folder.file( "a" ), "{\"objects\": {\"s\\u001b[31m\": {}}}",
            ": line 1, column 14: \"s\\u001b[31m\" cannot name an object" },
    };
    for ( const Case &row : cases ) {
        if ( row.path.ends_with( "/a" ) )
            folder.write( "a", row.content );
        for ( const char *command : { " config check ", " config show ", " config normalise --write " } ) {
            Program program( TOOL + ( command + row.path ) );
            EXPECT_EQ( program.rest(), "" ) << row.path;
            EXPECT_EQ( program.exitCode(), 1 ) << row.path;
            std::string error = program.errors();
            EXPECT_NE( error.find( row.error ), error.npos ) << error;
            EXPECT_EQ( std::ranges::count( error, '\n' ), 1 ) << error;
        }
        EXPECT_EQ( folder.read( "a" ), row.path.ends_with( "/a" ) ? row.content : "" );
    }
    EXPECT_EQ( folder.names(), "a folder pipe " );
    EXPECT_EQ( Program( TOOL " config check " + folder.write( "a", "\xEF\xBB\xBF{}" ) ).rest(), "no objects\n" );
}

TEST_F( Tool, InterfacesAreThoseThatTheSystemShows )
{
    sh( "ip link add unused type veth peer name idle && ip link set v0 mtu 1400 && ip link add empty type bridge" );
    std::map<std::string, Json> seen;
    for ( const Json &interface : json( here( "--json interfaces" ) ) )
        seen[interface["name"]] = interface;
    Json host = json( Program( "ip -j address" ) );
    ASSERT_EQ( seen.size(), host.size() );
    EXPECT_TRUE( seen["empty"].contains( "layer2SpeedReceive" ) );
    EXPECT_EQ( seen["empty"]["layer2SpeedReceive"], nullptr ) << "of a bridge without ports no speed is known";
    EXPECT_EQ( seen["v0"]["layer2SpeedTransmit"], 10'000'000'000 );
    for ( const Json &link : host ) {
        Json interface = seen[link["ifname"]];
        bool up = std::ranges::count( link["flags"], "UP" ) > 0;
        EXPECT_EQ( interface["status"], std::string( "IN_NW_INTERFACE_STATUS_" ) + ( up ? "UP" : "DOWN" ) ) << link;
        EXPECT_EQ( interface["layer2Mtu"], link["mtu"] ) << link;
        bool ether = link["link_type"] == "ether";
        EXPECT_EQ( ether ? test::lower( interface["layer2Addresses"][0]["mac"] ) : "", ether ? link["address"] : "" );
        std::set<std::string> addresses, seenAddresses;
        for ( const Json &address : link["addr_info"] )
            addresses.insert( address["local"] );
        for ( const Json &address : interface["layer3UnicastAddresses"] )
            seenAddresses.insert( test::lower( address ) );
        EXPECT_EQ( seenAddresses, addresses ) << link;
    }
}

TEST_F( Tool, StackTellsWhatItChoseAndWhy )
{
    Json stack = json( here( "--json stack --interface v0" ) )[0];
    EXPECT_EQ( stack["up"], true );
    EXPECT_EQ( stack["address"], "10.9.0.1" );
    EXPECT_EQ( stack["primaryInterface"], "v0" );
    EXPECT_EQ( stack["tcpBlacklist"], Json::array() );
    std::map<std::string, std::string> candidates;
    for ( const Json &candidate : stack["candidates"] )
        candidates[candidate["address"]] =
            candidate.contains( "droppedBy" ) ? candidate["droppedBy"].get<std::string>() : candidate["score"].dump();
    EXPECT_EQ( candidates["10.9.0.1"], "9" );
    EXPECT_EQ( candidates["FD00:9::1"], "8" );
    EXPECT_EQ( candidates["127.0.0.1"], "interface" );

    Json stacks = json( here( "--json stack --config " HOST_JSON ) );
    ASSERT_EQ( stacks.size(), 2U );
    EXPECT_EQ( stacks[0]["address"], "10.9.0.1" );
    EXPECT_EQ( stacks[1]["address"], "127.0.0.1" );
}

TEST_F( Tool, WatchingSeesWhatComesAndGoes )
{
    Program interfaces = here( "interfaces --watch" );
    Program stack = here( "--json stack --interface v0 --watch" );
    interfaces.until( "v0" );
    stack.until( "present" );
    sh( "ip address add 10.9.1.1/24 dev v0 && ip link add later type veth peer name latest" );
    const std::vector<std::string> none;
    EXPECT_EQ( interfaces.untilAll( { "v0: + 10.9.1.1", "later: appeared", "later: status none -> down" } ), none );
    sh( "ip address delete 10.9.0.1/24 dev v0 && ip link delete later && ip link set v0 down" );
    EXPECT_EQ( interfaces.untilAll( { "v0: - 10.9.0.1", "later: gone", "v0: status up -> down" } ), none );
    Json change = Json::parse( stack.until( "chosen address" ), nullptr, false );
    EXPECT_EQ( change["from"], "10.9.0.1" );
    EXPECT_EQ( change["to"], "10.9.1.1" );
    for ( Program *program : { &interfaces, &stack } ) {
        program->signal( SIGINT );
        program->rest();
        EXPECT_EQ( program->exitCode(), 0 ) << program->errors();
    }
}

TEST_F( Tool, PingsThroughAFilterInPairs )
{
    for ( const char *address : { "10.9.0.2", "fd00:9::2" } ) {
        Program echo = there( "--json udp echo --address " + std::string( address ) +
                              " --rtp --port 7000 --qos signaling --filter 10.9.0.1 --filter fd00:9::/64" );
        echo.until( "open" );
        Program ping = here( std::string( "--json udp ping " ) + address +
                             " 7000 --interface v0 --rtp --rate 2000 --count 2000 --filter " + address );
        Json result = json( std::move( ping ) );
        EXPECT_EQ( result["sent"], 2000 );
        EXPECT_EQ( result["received"], 2000 );
        EXPECT_EQ( result["lost"], 0 );
        EXPECT_NEAR( result["sentPerSecond"].get<double>(), 2000, 20 );
        EXPECT_EQ( result["lanes"][1]["lane"], "rtcp" );
        EXPECT_EQ( result["lanes"][1]["sent"], 100 );
        EXPECT_GT( result["roundTripMilliseconds"]["min"], 0 );
        EXPECT_GE( result["roundTripMilliseconds"]["p99"], result["roundTripMilliseconds"]["p50"] );
        echo.signal( SIGTERM );
        Json echoed = summary( echo );
        EXPECT_EQ( echo.exitCode(), 0 ) << echo.errors();
        EXPECT_EQ( echoed["received"], 2000 );
        EXPECT_EQ( echoed["streams"].size(), 2U );
    }
}

TEST_F( Tool, FilterKeepsStrangersOut )
{
    Program echo = there( "udp echo --port 7000 --address 10.9.0.2 --filter 10.9.0.3/32" );
    echo.until( "listening" );
    Program ping = here( "--json udp ping 10.9.0.2 7000 --rate 100 --count 5 --wait 0.3" );
    EXPECT_EQ( summary( ping )["lost"], 5 );
    EXPECT_EQ( ping.exitCode(), 1 );
    EXPECT_EQ( ping.errors(), "quelvaris-in: 5 datagrams were lost\n" );
    echo.signal( SIGINT );
    EXPECT_EQ( echo.rest(), "received  0 (0 bytes)\n" );
}

/** An echo of the test's own that loses the datagram 3, sends 5 twice and 8 before 7. */
static void echoBadly( int fd, int count )
{
    char kept[2048];
    ssize_t keptLength = 0;
    for ( int i = 0; i < count; ++i ) {
        char bytes[2048];
        sockaddr_in from;
        socklen_t length = sizeof from;
        ssize_t received = recvfrom( fd, bytes, sizeof bytes, 0, reinterpret_cast<sockaddr *>( &from ), &length );
        auto answer = [&]( const char *data, ssize_t size ) {
            sendto( fd, data, static_cast<std::size_t>( size ), 0, reinterpret_cast<sockaddr *>( &from ), length );
        };
        if ( i == 7 )
            std::memcpy( kept, bytes, static_cast<std::size_t>( keptLength = received ) );
        else if ( i != 3 )
            answer( bytes, received );
        if ( i == 5 )
            answer( bytes, received );
        if ( i == 8 )
            answer( kept, keptLength );
        if ( i == 9 )
            answer( "stranger", 8 );
    }
}

TEST( Ping, TellsWhatABadEchoDoes )
{
    test::BareSocket echo;
    Program ping( TOOL " --json udp ping 127.0.0.1 " + std::to_string( echo.port ) +
                  " --loopback --rate 200 --count 20 --wait 0.3" );
    echoBadly( echo.fd.get(), 20 );
    Json result = summary( ping );
    EXPECT_EQ( ping.exitCode(), 1 );
    EXPECT_EQ( result["sent"], 20 );
    for ( const char *fault : { "lost", "duplicates", "outOfOrder", "others" } )
        EXPECT_EQ( result[fault], 1 ) << fault;
}

TEST_F( Tool, SpeaksWithPeersOfOthers )
{
    Program listener = there( "udp listen --address 10.9.0.2 --port 7000 --count 2" );
    listener.until( "listening" );
    sh( "printf 'good morning\\n' | socat - UDP:10.9.0.2:7000" );
    sh( "printf '\\000\\377' | socat - UDP:10.9.0.2:7000" );
    EXPECT_NE( listener.until( "13 bytes  \"good morning\"" ), "" );
    EXPECT_NE( listener.until( "2 bytes  00ff" ), "" );
    listener.rest();
    EXPECT_EQ( listener.exitCode(), 0 );

    Program echo = there( "udp echo --address fd00:9::2 --port 7001 --count 1" );
    echo.until( "listening" );
    Program socat( "sh -c \"printf 'and back\\n' | socat -t 1 - UDP:[fd00:9::2]:7001,shut-none\"" );
    EXPECT_EQ( socat.until( "and back" ), "and back" );
    echo.rest();
    EXPECT_EQ( echo.exitCode(), 0 );

    Program marks( peer->prefix() + "socat -u UDP4-RECVFROM:7002,ip-recvtos SYSTEM:'echo TOS $SOCAT_IP_TOS >&2'" );
    sh( "while ! " + peer->prefix() + "ss -Hlun sport = :7002 | grep -q 7002; do sleep 0.01; done" );
    json( here( "--json udp send 10.9.0.2 7002 --count 1 --qos voice" ) );
    marks.rest();
    EXPECT_NE( marks.errors().find( "TOS 184" ), std::string::npos ) << marks.errors();
}

TEST_F( Tool, MulticastReachesEveryReceiver )
{
    std::vector<Program> receivers;
    for ( int i = 0; i < 2; ++i ) {
        receivers.push_back( there( "--json multicast listen 239.1.2.3 7000 --interface w0 --count 50" ) );
        receivers.back().until( "open" );
    }
    json( here( "--json multicast send 239.1.2.3 7000 --interface v0 --rate 1000 --count 50" ) );
    for ( Program &receiver : receivers ) {
        Json stream = summary( receiver )["streams"][0];
        EXPECT_EQ( stream["received"], 50 );
        EXPECT_EQ( stream["missing"], 0 );
        EXPECT_EQ( stream["from"].get<std::string>().find( "10.9.0.1:" ), 0U );
    }
}

TEST_F( Tool, SignalsEndWhatIsRunning )
{
    struct Case {
        const char *arguments;
        const char *begins;
        const char *ends; // what the last line holds
    };
    const Case cases[] = {
        { "interfaces --watch --json", "present", "present" },
        { "stack --watch", "CANDIDATE", "score" },
        { "udp listen --loopback", "listening", "received  0" },
        { "udp echo --loopback --rtp", "listening", "received  0" },
        { "tcp listen --loopback --rtp", "listening", "0 still open" },
        { "port 127.0.0.1 1 --watch", "not in use", "" },
        { "udp ping 127.0.0.1 7003 --loopback --wait 5", "#0", "round trip" },
        { "multicast listen 239.1.2.3 7000 --interface v0", "listening", "received  0" },
    };
    Program echo = here( "udp echo --loopback --port 7003" );
    echo.until( "listening" );
    for ( const Case &row : cases )
        for ( int signal : { SIGINT, SIGTERM } ) {
            Program program = here( row.arguments );
            EXPECT_NE( program.until( row.begins ), "" ) << row.arguments << ": " << program.errors();
            program.signal( signal );
            std::string end = program.rest();
            EXPECT_EQ( program.exitCode(), 0 ) << row.arguments << ": " << program.errors();
            EXPECT_NE( end.find( row.ends ), end.npos ) << row.arguments << ": " << end;
        }
    Program twice = here( "udp ping 10.9.0.2 9 --wait 3600 --count 1 --quiet --progress 2>&1" );
    EXPECT_NE( twice.until( "sent 1" ), "" );
    twice.signal( SIGINT ); // now it would wait for the echo
    twice.signal( SIGTERM );
    EXPECT_EQ( twice.exitCode(), 128 + SIGTERM ) << "the second signal ends it at once";
}

/** A trace that nobody reads does not keep the program from ending. */
TEST_F( Tool, EndsThoughNobodyReadsItsTrace )
{
    test::Folder folder;
    std::string pipe = folder.file( "pipe" );
    ASSERT_EQ( mkfifo( pipe.c_str(), 0600 ), 0 );
    pb::Fd held( open( pipe.c_str(), O_RDWR | O_CLOEXEC ) );
    test::Ends ends = test::full( { std::move( held ), pb::Fd( open( pipe.c_str(), O_WRONLY | O_CLOEXEC ) ) } );
    Program program( "env QUELVARIS_TRACE=stderr " TOOL " interfaces --watch --json 2> " + pipe );
    EXPECT_NE( program.until( "present" ), "" );
    PB_INT begin = pbTimestamp();
    program.signal( SIGTERM );
    program.rest();
    EXPECT_EQ( program.exitCode(), 0 );
    EXPECT_LT( pbTimestamp() - begin, 10'000 );
}

/** A group that this process may give to a program, other than its own; nothing when there is none. */
std::optional<gid_t> otherGroup()
{
    std::vector<gid_t> groups( 1000 );
    int count = getgroups( static_cast<int>( groups.size() ), groups.data() );
    groups.resize( static_cast<std::size_t>( std::max( count, 0 ) ) );
    groups.push_back( 1 ); // root may give any
    std::erase( groups, getgid() );
    return groups.empty() ? std::nullopt : std::optional( groups.front() );
}

/** A program with more rights than its user neither writes what the user's environment asks for, nor runs his commands. */
TEST( Privileged, DoesNotObeyTheEnvironment )
{
    test::Command ping( "ping", "touch \"$0.ran\"" );
    std::string program = ping.file( "program" );
    std::filesystem::copy_file( TOOL, program );
    std::string command = "env QUELVARIS_TRACE=" + ping.file( "trace" ) + " " + program + " neighbour 127.0.0.1";
    for ( bool privileged : { false, true } ) {
        if ( privileged && ( chown( program.c_str(), -1U, otherGroup().value_or( getgid() ) ) != 0 ||
                               chmod( program.c_str(), 02755 ) != 0 ) )
            GTEST_SKIP() << "no program can be given another group: " << strerror( errno );
        Program run( command );
        run.rest();
        EXPECT_EQ( run.exitCode(), 1 ) << run.errors();
        for ( const char *written : { "ping.ran", "trace" } )
            EXPECT_EQ( std::filesystem::remove( ping.file( written ) ), !privileged ) << written;
    }
}
