/* Sending and pinging. */
#include <tool/tool_percentiles.hpp>
#include <tool/tool_sending.hpp>

namespace {

using tool::Json;
using tool::take;

} // namespace

tool::Sending::Sending( const Lanes &openLanes, const SendOptions &itsOptions )
    : LaneActivity( openLanes ), options( itsOptions ), bytes( static_cast<std::size_t>( itsOptions.size ) )
{
    pb::Ref<IN_ADDRESS> address = options.target.parsed();
    for ( const Lane &lane : lanes ) {
        PB_INT port = options.target.port + static_cast<PB_INT>( streams.size() );
        auto number = static_cast<uint32_t>( pbRandomNonNegativeIntRange( 0, UINT32_MAX ) );
        streams.push_back( { lane, pb::adopt( inUdpAddressCreate( address.get(), port ) ), number } );
    }
}

/** Of a pair the second lane, that of RTCP, gets one datagram in twenty (RFC 3550 section 6.2: a twentieth of the load). */
tool::Sending::Stream &tool::Sending::nextStream()
{
    return streams.size() > 1 && tried() % 20 == 19 ? streams[1] : streams[0];
}

void tool::Sending::sendNext()
{
    Stream &stream = nextStream();
    IN_UDP_CHANNEL *channel = stream.lane.channel.get();
    Time now = Clock::now();
    Stamp{ stream.number, stream.sent, nanosecondsOf( now ) }.write( bytes );
    PB_INT errorsBefore = inUdpChannelSendErrorCount( channel );
    inUdpChannelSendBytes( channel, stream.target.get(), bytes.data(), options.size );
    if ( inUdpChannelSendErrorCount( channel ) > errorsBefore ) {
        ++notSent; // the next one gets the number
        return;
    }
    ++stream.sent;
    sent.add( now, options.size );
}

tool::Report tool::Sending::report( double seconds ) const
{
    Report report;
    std::string target = take( inUdpAddressToString( streams.front().target.get() ) );
    report.json = { { "event", "summary" }, { "target", target }, { "seconds", seconds }, { "sent", sent.count },
        { "notSent", notSent }, { "bytes", sent.bytes }, { "sentPerSecond", sent.perSecond() },
        { "bitsPerSecond", sent.bitsPerSecond() } };
    report.text = { { "target", target }, { "sent", sent.text() } };
    if ( notSent > 0 )
        report.text["not sent"] = std::to_string( notSent );
    return report;
}

void tool::Sending::checkAllSent() const
{
    if ( notSent > 0 )
        fail( "{} datagram{} not sent; QUELVARIS_TRACE=stderr tells why", notSent, notSent == 1 ? " was" : "s were" );
}

tool::Pinging::Pinging( const Lanes &openLanes, const SendOptions &itsOptions, const Output &printsTo )
    : Sending( openLanes, itsOptions ), output( printsTo )
{
    for ( const Stream &stream : streams )
        inUdpMatchSet( targets.handle(), stream.target.get() );
}

bool tool::Pinging::isEcho( const Stream &stream, IN_UDP_PACKET *pkt, const std::optional<Stamp> &stamp ) const
{
    return stamp && stamp->stream == stream.number && stamp->number < stream.sent &&
           inUdpMatchMatchPacket( targets.get(), pkt );
}

void tool::Pinging::print( const Stamp &stamp, IN_UDP_PACKET *pkt, double milliseconds ) const
{
    std::string from = take( inUdpAddressToString( pb::adopt( inUdpPacketRemoteAddress( pkt ) ).get() ) );
    output.line( { { "event", "echo" }, { "time", timeInFull() }, { "from", from }, { "number", stamp.number },
                     { "milliseconds", milliseconds } },
        fmt::format( "{} {}  #{}  {:.3f} ms", timeOfDay(), from, stamp.number, milliseconds ) );
}

void tool::Pinging::arrived( std::size_t lane, IN_UDP_PACKET *pkt )
{
    Time now = Clock::now();
    std::optional<Stamp> stamp = Stamp::read( pb::adopt( inUdpPacketPayload( pkt ) ).get() );
    if ( !isEcho( streams[lane], pkt, stamp ) ) {
        ++others;
        return;
    }
    if ( streams[lane].echoes.add( stamp->number ) == Sequence::Arrival::duplicate )
        return;
    received.add( now, inUdpPacketPayloadLength( pkt ) );
    int64_t roundTrip = nanosecondsSince( stamp->sentAt, now );
    roundTrips.add( roundTrip );
    if ( printsEchoes() )
        print( *stamp, pkt, double( roundTrip ) / 1e6 );
}

std::string tool::Pinging::progress()
{
    return fmt::format( "sent {}, {} back, {} not yet, p50 {:.3f} ms, p99 {:.3f} ms", sent.text(), received.count,
        lost(), roundTrips.percentile( 0.5 ), roundTrips.percentile( 0.99 ) );
}

uint64_t tool::Pinging::sum( uint64_t ( Sequence::*count )() const ) const
{
    uint64_t all = 0;
    for ( const Stream &stream : streams )
        all += ( stream.echoes.*count )();
    return all;
}

tool::Json tool::Pinging::lanesJson() const
{
    Json all = Json::array();
    for ( const Stream &stream : streams )
        all.push_back( { { "lane", stream.lane.name }, { "sent", stream.sent },
            { "lost", stream.sent - stream.echoes.received() } } );
    return all;
}

tool::Report tool::Pinging::report( double seconds ) const
{
    Report report = Sending::report( seconds );
    uint64_t duplicates = sum( &Sequence::duplicates );
    uint64_t outOfOrder = sum( &Sequence::outOfOrder );
    report.json.update( { { "received", received.count }, { "receivedPerSecond", received.perSecond() },
        { "lost", lost() }, { "lostPercent", lostPercent() }, { "duplicates", duplicates },
        { "outOfOrder", outOfOrder }, { "others", others }, { "roundTripMilliseconds", percentiles( roundTrips ) } } );
    if ( streams.size() > 1 )
        report.json["lanes"] = lanesJson();

    report.text.update(
        { { "received", received.text() }, { "lost", fmt::format( "{} ({:.3g} %)", lost(), lostPercent() ) },
            { "duplicates", std::to_string( duplicates ) }, { "out of order", std::to_string( outOfOrder ) } } );
    if ( others > 0 )
        report.text["no echoes"] = std::to_string( others );
    report.text["round trip"] = percentilesText( roundTrips );
    return report;
}

void tool::send( const Output &output, const Lanes &lanes, const SendOptions &options )
{
    Sending sending( lanes, options );
    Session session( sending, options.run );
    session.run( options.rate, false );
    output.report( sending.report( session.seconds() ) );
    sending.checkAllSent();
}

void tool::ping( const Output &output, const Lanes &lanes, const SendOptions &options )
{
    Pinging pinging( lanes, options, output );
    Session session( pinging, options.run );
    session.run( options.rate, pinging.printsEchoes() );
    output.report( pinging.report( session.seconds() ) );
    pinging.checkAllSent();
    if ( pinging.lost() > 0 )
        fail( "{} datagram{} lost", pinging.lost(), pinging.lost() == 1 ? " was" : "s were" );
}
