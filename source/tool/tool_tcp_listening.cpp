/* Serving connections. */
#include <fstream>
#include <iterator>
#include <sys/resource.h>
#include <tool/tool_excerpt.hpp>
#include <tool/tool_reason.hpp>
#include <tool/tool_tcp_listening.hpp>

namespace {

using tool::Json;
using tool::take;

constexpr int BATCH = 64;     // connections that are taken before those there are, and the clock, are looked at
constexpr int READ_BATCH = 8; // reads of a connection before the next one

pb::Ref<PB_BUFFER> contentOf( const std::string &file )
{
    std::ifstream stream( file, std::ios::binary );
    std::string content{ std::istreambuf_iterator<char>( stream ), {} };
    if ( !stream.is_open() || stream.bad() )
        tool::fail( "{} cannot be read; give --answer a file", file );
    return pb::adopt( pbBufferCreateFromBytesCopy( content.data(), static_cast<PB_INT>( content.size() ) ) );
}

/** Each connection takes a descriptor; as many as the host lets this process have. */
void raiseDescriptorLimit()
{
    rlimit limit;
    if ( getrlimit( RLIMIT_NOFILE, &limit ) != 0 )
        return;
    limit.rlim_cur = limit.rlim_max;
    setrlimit( RLIMIT_NOFILE, &limit );
}

[[noreturn]] void failListener( const std::string &why )
{
    bool noDescriptors = why.find( "EMFILE" ) != why.npos || why.find( "ENFILE" ) != why.npos;
    tool::fail( "the listener has failed: {}; {}", why,
        noDescriptors ? "there are no descriptors left for further connections, allow more (ulimit -n)"
                      : "start again" );
}

std::string localOf( IN_TCP_CHANNEL_LISTENER *listener )
{
    return take( inTcpAddressToString( pb::adopt( inTcpChannelListenerLocalAddress( listener ) ).get() ) );
}

Json flowJson( const tool::Flow &received, const tool::Flow &sent )
{
    return {
        { "received", received.bytes() }, { "bitsPerSecond", received.bitsPerSecond() }, { "sent", sent.bytes() } };
}

} // namespace

void tool::TcpListenOptions::addOptions( CLI::App &command )
{
    CLI::Option *echoes = command.add_flag( "--echo", echo,
        "Send everything back; a peer that closes its direction gets no answer to what had not come back by then" );
    CLI::Option *discards = command.add_flag( "--discard", discard, "Take everything, and only count it" );
    CLI::Option *answers = addText( command, "--answer", answerFile, "FILE",
        "Send this file to each peer when its first bytes are there, then close this direction" );
    echoes->excludes( discards )->excludes( answers );
    discards->excludes( answers );
    command.add_flag( "--sum", sum, "Tell a checksum of what came on each connection, as 'tcp send --sum' does" );
    run.addOptions( command, "connections have ended" );
    run.addQuiet( command );
}

tool::TcpListening::TcpListening(
    const Output &printsTo, const Listeners &itsListeners, const TcpListenOptions &itsOptions )
    : output( printsTo ), listeners( itsListeners ), options( itsOptions )
{
    if ( !options.answerFile.empty() )
        answer = contentOf( options.answerFile );
}

void tool::TcpListening::follow( const Wake &wake )
{
    ready.emplace( wake );
    for ( const auto &listener : listeners ) {
        pb::Ref<TOOL_MARK> mark = ready->mark( marks++ );
        PB_OBJ *obj = toolMarkObj( mark.get() );
        inTcpChannelListenerErrorAddSignalable( listener.get(), pb::adopt( pbSignalableCreate( fire, obj ) ).get() );
        inTcpChannelListenerListenAddAlertable( listener.get(), pb::adopt( pbAlertableCreate( fire, obj ) ).get() );
        waiting.push_back( mark );
    }
}

/** The marks of the listeners come first, then those of the peers. */
bool tool::TcpListening::proceed()
{
    for ( uint64_t number : ready->take() ) {
        if ( number < listeners.size() )
            accept( number );
        else if ( auto peer = peers.find( number ); peer != peers.end() ) // it may have fired once more when it ended
            proceedWith( peer );
    }
    return false; // what has more to do has fired its mark
}

void tool::TcpListening::accept( uint64_t number )
{
    IN_TCP_CHANNEL_LISTENER *listener = listeners[number].get();
    TracedReason reason( "IN_TCP_CHANNEL_LISTENER" );
    for ( int left = BATCH; left > 0; --left ) {
        pb::Ref<IN_TCP_CHANNEL_PROPOSAL> proposal = pb::adopt( inTcpChannelListenerListen( listener ) );
        if ( !proposal && inTcpChannelListenerError( listener ) ) {
            inTcpChannelListenerListen( listener ); // it may have failed just now: this traces why, if that did not
            failListener( reason.text() );
        }
        if ( !proposal )
            return;
        open( pb::adopt( inTcpChannelProposalAccept( proposal.get() ) ) );
    }
    fire( toolMarkObj( waiting[number].get() ) );
}

void tool::TcpListening::proceedWith( Peers::iterator peer )
{
    if ( serve( peer->second ) )
        fire( toolMarkObj( peer->second.mark.get() ) );
    if ( !inTcpChannelEnd( peer->second.channel.get() ) )
        return;
    close( peer->second );
    peers.erase( peer );
}

void tool::TcpListening::open( pb::Ref<IN_TCP_CHANNEL> channel )
{
    IN_TCP_CHANNEL *chan = channel.get();
    uint64_t number = marks++;
    if ( accepted++ == 0 )
        received = sent = Flow();
    Peer peer{ std::move( channel ), ready->mark( number ),
        take( inTcpAddressToString( pb::adopt( inTcpChannelRemoteAddress( chan ) ).get() ) ),
        take( inTcpAddressToString( pb::adopt( inTcpChannelLocalAddress( chan ) ).get() ) ) };
    PB_OBJ *mark = toolMarkObj( peer.mark.get() );
    pb::Ref<PB_ALERTABLE> alertable = pb::adopt( pbAlertableCreate( fire, mark ) );
    print( peer, "connection", Json::object(), "connected" );
    peers.emplace( number, std::move( peer ) );
    mostAtOnce = std::max( mostAtOnce, peers.size() );
    inTcpChannelReceiveAddAlertable( chan, alertable.get() );
    inTcpChannelEndAddSignalable( chan, pb::adopt( pbSignalableCreate( fire, mark ) ).get() );
    if ( options.echo || answer )
        inTcpChannelSendAddAlertable( chan, alertable.get() );
}

/** Moves bytes, a limited part of them; whether there may be more. */
bool tool::TcpListening::serve( Peer &peer )
{
    for ( int left = READ_BATCH; left > 0; --left )
        if ( !sendPending( peer ) || !takeBytes( peer ) )
            return false;
    return true;
}

/** Whether there is nothing more to send now; if there is, the mark fires when there is room. */
bool tool::TcpListening::sendPending( Peer &peer )
{
    while ( peer.pending && peer.offset < pbBufferLength( peer.pending.get() ) ) {
        PB_INT left = pbBufferLength( peer.pending.get() ) - peer.offset;
        PB_INT count = inTcpChannelSend( peer.channel.get(), peer.pending.get(), peer.offset, left );
        if ( count == 0 )
            return false;
        peer.offset += count;
        Time now = Clock::now();
        peer.sent.add( now, count );
        sent.add( now, count );
    }
    if ( peer.pending && answer )
        inTcpChannelTerminate( peer.channel.get() );
    peer.pending = {};
    return true;
}

/**
 * Takes bytes; whether there were any. To be answered a peer may have closed its direction: so that this does not end the
 * connection, at first only one of its bytes is taken.
 */
bool tool::TcpListening::takeBytes( Peer &peer )
{
    bool first = answer && !peer.answered;
    pbBufferClear( buffer.handle() );
    PB_INT count = inTcpChannelReceive( peer.channel.get(), buffer.handle(), first ? 1 : -1 );
    if ( count == 0 )
        return false;
    Time now = Clock::now();
    peer.received.add( now, count );
    received.add( now, count );
    if ( options.sum )
        peer.sum.add( { pbBufferBacking( buffer.get() ), static_cast<std::size_t>( count ) } );
    if ( first ) {
        peer.answered = true;
        peer.pending = answer;
    }
    if ( options.echo ) {
        peer.pending = buffer;
        peer.offset = 0;
        if ( !sendPending( peer ) )
            buffer = pb::adopt( pbBufferCreateWithCapacity( BUFFER_SIZE ) ); // that one is the peer's now
    } else if ( prints() ) {
        printBytes( peer );
    }
    return true;
}

void tool::TcpListening::print(
    const Peer &peer, const char *event, const Json &details, const std::string &text ) const
{
    if ( options.run.quiet )
        return;
    Json object{ { "event", event }, { "time", timeInFull() }, { "peer", peer.remote }, { "local", peer.local } };
    object.update( details );
    output.line( object, fmt::format( "{} {}  {}", timeOfDay(), peer.remote, text ) );
}

void tool::TcpListening::printBytes( const Peer &peer ) const
{
    auto length = static_cast<std::size_t>( pbBufferLength( buffer.get() ) );
    Json details{ { "bytes", length } };
    std::string excerpt = addExcerpt( details, { pbBufferBacking( buffer.get() ), length } );
    print( peer, "bytes", details, fmt::format( "{} bytes  {}", length, excerpt ) );
}

/** The peer has closed the connection, or it has failed. */
void tool::TcpListening::close( Peer &peer )
{
    ++ended;
    bool isError = inTcpChannelError( peer.channel.get() );
    failed += isError;
    std::string reason = isError ? whyFailed( peer.channel ) : "";
    uint64_t unsent = peer.pending ? static_cast<uint64_t>( pbBufferLength( peer.pending.get() ) - peer.offset ) : 0;
    Json details = flowJson( peer.received, peer.sent );
    details.update( { { "unsent", unsent }, { "error", isError ? Json( reason ) : Json() } } );
    std::string text = ( isError ? "failed: " + reason : "closed" ) + ", received " + peer.received.text();
    if ( peer.sent.bytes() > 0 || unsent > 0 )
        text += fmt::format( ", sent {} bytes", peer.sent.bytes() );
    if ( unsent > 0 )
        text += fmt::format( ", could not send {}", unsent );
    if ( options.sum ) {
        details["sum"] = peer.sum.text();
        text += ", sum " + peer.sum.text();
    }
    print( peer, "end", details, text );
}

std::string tool::TcpListening::progress()
{
    return fmt::format( "{} connections open, {} ended, received {}", peers.size(), ended, received.text() );
}

tool::Report tool::TcpListening::report( double seconds ) const
{
    Report report;
    report.json = { { "event", "summary" }, { "seconds", seconds }, { "connections", accepted },
        { "mostAtOnce", mostAtOnce }, { "open", peers.size() }, { "failed", failed } };
    report.json.update( flowJson( received, sent ) );
    report.text = {
        { "connections", fmt::format( "{}, at most {} at once, {} still open, {} failed", accepted, mostAtOnce,
                             peers.size(), failed ) },
        { "received", received.text() },
    };
    if ( sent.bytes() > 0 )
        report.text["sent"] = sent.text();
    return report;
}

void tool::listen( const Output &output, const Listeners &listeners, const TcpListenOptions &options )
{
    raiseDescriptorLimit();
    TcpListening listening( output, listeners, options );
    Session session( listening, options.run );
    Json local = Json::array();
    std::string text;
    for ( const auto &listener : listeners ) {
        local.push_back( localOf( listener.get() ) );
        text += ( text.empty() ? "listening on " : " and " ) + localOf( listener.get() );
    }
    output.line( { { "event", "open" }, { "local", local } }, text );
    session.run( 0, listening.prints() );
    output.report( listening.report( session.seconds() ) );
}
