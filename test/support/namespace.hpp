/*
 * Hosts for tests that need a network: the namespace that in_namespace made for this process is one host; a Peer is
 * another, joined to it by a veth pair.
 */
#ifndef TEST_NAMESPACE_HPP
#define TEST_NAMESPACE_HPP

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <net/ethernet.h>
#include <poll.h>
#include <sched.h>
#include <support/test_support.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace test {

/** Skips the test unless the process is in a namespace of its own. */
#define NEEDS_NAMESPACE()                   \
    if ( !std::getenv( "TEST_NAMESPACE" ) ) \
    GTEST_SKIP() << "the kernel allows no user and network namespaces here"

/** Runs a shell command of the test's own; it must succeed. */
inline void sh( const std::string &command )
{
    ASSERT_EQ( std::system( ( command + " 2>&1" ).c_str() ), 0 ) << command;
}

/** Brings up the loopback interface of a new namespace, before the modules start; call it through a namespace-scope variable. */
inline int addLoopback()
{
    auto up = [] {
        if ( std::getenv( "TEST_NAMESPACE" ) )
            sh( "ip link set lo up" );
    };
    return addFixture( -1, { up, [] {} } );
}

/** A second host: a process in a network namespace of its own, gone with the object, and its interfaces with it. */
class Peer : Pinned {
public:
    Peer()
    {
        int ready[2];
        if ( pipe( ready ) )
            std::abort();
        process = fork();
        if ( process == 0 ) {
            char done = unshare( CLONE_NEWNET ) == 0;
            if ( write( ready[1], &done, 1 ) != 1 )
                _exit( 1 );
            for ( ;; )
                pause();
        }
        char done = 0;
        EXPECT_EQ( read( ready[0], &done, 1 ), 1 );
        EXPECT_EQ( done, 1 );
        close( ready[0] );
        close( ready[1] );
    }
    ~Peer()
    {
        kill( process, SIGKILL );
        waitpid( process, nullptr, 0 );
    }

    /** Joins the two hosts: `here` on this one, `there` on the peer, both without addresses, up. */
    void join( const std::string &here, const std::string &there )
    {
        sh( "ip link add '" + here + "' type veth peer name '" + there + "'" );
        sh( "ip link set '" + there + "' netns " + std::to_string( process ) );
        sh( "ip link set '" + here + "' up" );
        run( "ip link set '" + there + "' up" );
    }
    /** Runs a shell command on the peer. */
    void run( const std::string &command ) { sh( prefix() + "sh -c \"" + command + "\"" ); }
    /** What a command line begins with that is to run there. */
    std::string prefix() const { return "nsenter --target " + std::to_string( process ) + " --net "; }
    /** A socket on the peer, owned by the caller: the thread that opens it goes there for that. */
    int openSocket( int domain, int type, int protocol )
    {
        int fd = -1;
        std::thread( [&] {
            int there = open( ( "/proc/" + std::to_string( process ) + "/ns/net" ).c_str(), O_RDONLY | O_CLOEXEC );
            if ( setns( there, CLONE_NEWNET ) == 0 )
                fd = socket( domain, type | SOCK_CLOEXEC, protocol );
            close( there );
        } ).join();
        EXPECT_GE( fd, 0 );
        return fd;
    }

private:
    pid_t process;
};

/** The type-of-service byte of the IPv4 packet that ends with the payload, off a packet socket; -1 when none comes. */
inline int tosOf( const pb::Fd &packets, const std::string &payload )
{
    std::array<char, 2048> frame;
    for ( pollfd ready{ packets.get(), POLLIN, 0 }; poll( &ready, 1, test::WAIT_LIMIT ) == 1; ) {
        ssize_t count = recv( packets.get(), frame.data(), frame.size(), 0 );
        std::string_view text( frame.data(), static_cast<std::size_t>( std::max<ssize_t>( count, 0 ) ) );
        if ( text.ends_with( payload ) )
            return static_cast<unsigned char>( text[ETH_HLEN + 1] );
    }
    return -1;
}

} // namespace test

#endif
