/* Stacks, channels, listeners and bare sockets on loopback for the tests of TCP. */
#ifndef TCP_SUPPORT_HPP
#define TCP_SUPPORT_HPP

#include <in/udp_support.hpp>

namespace test {

inline pb::Ref<IN_TCP_ADDRESS> tcpAddress( const char *text, PB_INT port )
{
    return pb::adopt( inTcpAddressCreate( address( text ).get(), port ) );
}
inline pb::Ref<IN_TCP_CHANNEL> connectTo(
    IN_STACK *stack, IN_TCP_ADDRESS *remote, PB_INT flags = 0, IN_FILTER *filter = nullptr, PB_INT port = -1 )
{
    return pb::adopt( inTcpChannelTryCreate( stack, nullptr, nullptr, filter, remote, port, flags, nullptr ) );
}
inline pb::Ref<IN_TCP_CHANNEL_LISTENER> listenOn(
    IN_STACK *stack, PB_INT port = -1, PB_INT flags = 0, IN_FILTER *filter = nullptr )
{
    return pb::adopt( inTcpChannelListenerTryCreate( stack, nullptr, nullptr, filter, port, flags, nullptr ) );
}
inline pb::Ref<IN_TCP_ADDRESS> localOf( const pb::Ref<IN_TCP_CHANNEL_LISTENER> &lsn )
{
    return pb::adopt( inTcpChannelListenerLocalAddress( lsn.get() ) );
}

/** The next connection, waited for; null when none comes. */
inline pb::Ref<IN_TCP_CHANNEL_PROPOSAL> proposalOf( IN_TCP_CHANNEL_LISTENER *lsn )
{
    Waiter waiter;
    inTcpChannelListenerListenAddAlertable( lsn, waiter.alert() );
    pb::Ref<IN_TCP_CHANNEL_PROPOSAL> prop = pb::adopt( inTcpChannelListenerListen( lsn ) );
    while ( !prop && waiter.wait() )
        prop = pb::adopt( inTcpChannelListenerListen( lsn ) );
    inTcpChannelListenerListenDelAlertable( lsn, waiter.alert() );
    return prop;
}
inline pb::Ref<IN_TCP_CHANNEL> acceptOn( IN_TCP_CHANNEL_LISTENER *lsn )
{
    pb::Ref<IN_TCP_CHANNEL_PROPOSAL> prop = proposalOf( lsn );
    return pb::adopt( prop ? inTcpChannelProposalAccept( prop.get() ) : nullptr );
}

/** A channel as a thread sees it that blocks: waits on its alerts and signals, by nothing else. One thread only. */
class Stream : Pinned {
public:
    explicit Stream( pb::Ref<IN_TCP_CHANNEL> channel ) : chan( std::move( channel ) )
    {
        inTcpChannelSendAddAlertable( chan.get(), waiter.alert() );
        inTcpChannelReceiveAddAlertable( chan.get(), waiter.alert() );
        inTcpChannelEndAddSignalable( chan.get(), waiter.get() );
        inTcpChannelActiveAddSignalable( chan.get(), waiter.get() );
    }
    ~Stream()
    {
        inTcpChannelSendDelAlertable( chan.get(), waiter.alert() );
        inTcpChannelReceiveDelAlertable( chan.get(), waiter.alert() );
        inTcpChannelEndDelSignalable( chan.get(), waiter.get() );
        inTcpChannelActiveDelSignalable( chan.get(), waiter.get() );
    }
    /** Whether the connection was made. */
    bool connected()
    {
        while ( !inTcpChannelActive( chan.get() ) && waiter.wait() )
            ;
        return inTcpChannelActive( chan.get() ) && !inTcpChannelError( chan.get() );
    }
    /** Sends all; false when the channel ends before. */
    bool send( const std::string &bytes )
    {
        pb::Ref<PB_BUFFER> buf = buffer( bytes );
        PB_INT length = pbBufferLength( buf.get() );
        for ( PB_INT at = 0; at < length; ) {
            PB_INT sent = inTcpChannelSend( chan.get(), buf.get(), at, length - at );
            at += sent;
            if ( sent == 0 && ( inTcpChannelEnd( chan.get() ) || !waiter.wait() ) )
                return false;
        }
        return true;
    }
    /** At least so many bytes, or what came before the end. */
    std::string receive( std::size_t count )
    {
        std::string all;
        while ( all.size() < count ) {
            std::string some = take();
            all += some;
            if ( some.empty() && ( inTcpChannelEnd( chan.get() ) || !waiter.wait() ) )
                break;
        }
        return all;
    }
    /** All until the end. */
    std::string rest() { return receive( SIZE_MAX ); }
    /** What waits, up to that many bytes, without waiting. */
    std::string take( PB_INT limit = 65'536 )
    {
        pb::Ref<PB_BUFFER> buf = pb::adopt( pbBufferCreateWithCapacity( limit ) );
        inTcpChannelReceive( chan.get(), buf.handle(), -1 );
        return bytesOf( buf.get() );
    }
    /** Waits for the next change. */
    bool wait() { return waiter.wait(); }
    bool ended()
    {
        return eventually( [&] { return inTcpChannelEnd( chan.get() ); } );
    }
    bool failed()
    {
        return eventually( [&] { return inTcpChannelError( chan.get() ); } );
    }

    pb::Ref<IN_TCP_CHANNEL> chan;

private:
    Waiter waiter;
};

/** A TCP socket of the system's, blocking, on loopback. */
class BareTcp {
public:
    explicit BareTcp( int owned ) : fd( owned ) {}
    /** Connected to a port, from an address and a port, 0 for any. */
    static BareTcp connectedTo( PB_INT port, const char *from = "127.0.0.1", PB_INT fromPort = 0 )
    {
        BareTcp peer( socket( AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0 ) );
        int on = 1;
        EXPECT_EQ( setsockopt( peer.fd.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on ), 0 );
        sockaddr_in own = BareSocket::sockaddrOf( fromPort );
        inet_pton( AF_INET, from, &own.sin_addr );
        EXPECT_EQ( bind( peer.fd.get(), reinterpret_cast<sockaddr *>( &own ), sizeof own ), 0 );
        sockaddr_in sa = BareSocket::sockaddrOf( port );
        EXPECT_EQ( connect( peer.fd.get(), reinterpret_cast<sockaddr *>( &sa ), sizeof sa ), 0 );
        return peer;
    }
    static BareTcp listening( int backlog = 16 )
    {
        BareTcp listener( socket( AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0 ) );
        sockaddr_in sa = BareSocket::sockaddrOf( 0 );
        EXPECT_EQ( bind( listener.fd.get(), reinterpret_cast<sockaddr *>( &sa ), sizeof sa ), 0 );
        EXPECT_EQ( listen( listener.fd.get(), backlog ), 0 );
        return listener;
    }
    BareTcp accepted() const { return BareTcp( accept4( fd.get(), nullptr, nullptr, SOCK_CLOEXEC ) ); }
    pb::Ref<IN_TCP_ADDRESS> address() const
    {
        sockaddr_in sa{};
        socklen_t length = sizeof sa;
        EXPECT_EQ( getsockname( fd.get(), reinterpret_cast<sockaddr *>( &sa ), &length ), 0 );
        return tcpAddress( "127.0.0.1", ntohs( sa.sin_port ) );
    }
    void send( const std::string &bytes ) const
    {
        EXPECT_EQ( ::send( fd.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL ), ssize_t( bytes.size() ) );
    }
    std::string rest() const
    {
        std::string all;
        std::array<char, 65'536> some;
        for ( ssize_t count; ( count = recv( fd.get(), some.data(), some.size(), 0 ) ) > 0; )
            all.append( some.data(), std::size_t( count ) );
        return all;
    }
    /** Closes by a reset. */
    void reset()
    {
        linger at{ 1, 0 };
        EXPECT_EQ( setsockopt( fd.get(), SOL_SOCKET, SO_LINGER, &at, sizeof at ), 0 );
        fd.close();
    }
    void shutdown() const { EXPECT_EQ( ::shutdown( fd.get(), SHUT_WR ), 0 ); }

    pb::Fd fd;
};

/** Two channels, connected with each other through a listener. */
struct StreamPair {
    explicit StreamPair( IN_STACK *stack, PB_INT flags = 0 )
        : listener( listenOn( stack, -1, flags ) ), near( connectTo( stack, localOf( listener ).get(), flags ) ),
          far( acceptOn( listener.get() ) )
    {
        EXPECT_TRUE( near.connected() );
    }
    pb::Ref<IN_TCP_CHANNEL_LISTENER> listener;
    Stream near;
    Stream far;
};

} // namespace test

#endif
