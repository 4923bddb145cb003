/* Listening and echoing. */
#include <tool/tool_excerpt.hpp>
#include <tool/tool_listening.hpp>

namespace {

using tool::Json;
using tool::take;

std::string remoteOf( IN_UDP_PACKET *pkt )
{
    return take( inUdpAddressToString( pb::adopt( inUdpPacketRemoteAddress( pkt ) ).get() ) );
}

} // namespace

void tool::Listening::noteStream( const Stamp &stamp, IN_UDP_PACKET *pkt, Time now )
{
    auto stream = streams.find( stamp.stream );
    if ( stream == streams.end() ) {
        if ( streams.size() >= STREAMS_MAX )
            return;
        stream = streams.emplace( stamp.stream, Stream{ remoteOf( pkt ), {}, {} } ).first;
    }
    if ( stream->second.sequence.add( stamp.number ) != Sequence::Arrival::duplicate )
        stream->second.jitter.add( stamp.sentAt, now );
}

void tool::Listening::print( std::size_t lane, IN_UDP_PACKET *pkt, const std::optional<Stamp> &stamp ) const
{
    std::string from = remoteOf( pkt );
    PB_INT length = inUdpPacketPayloadLength( pkt );
    Json object{ { "event", "datagram" }, { "time", timeInFull() }, { "from", from }, { "bytes", length } };
    std::string text = fmt::format( "{} {}  {} bytes", timeOfDay(), from, length );
    if ( !lanes[lane].name.empty() ) {
        object["lane"] = lanes[lane].name;
        text += "  " + lanes[lane].name;
    }
    if ( stamp ) {
        object["stream"] = stamp->stream;
        object["number"] = stamp->number;
        text += fmt::format( "  #{}", stamp->number );
    } else {
        pb::Ref<PB_BUFFER> payload = pb::adopt( inUdpPacketPayload( pkt ) );
        text += "  " + addExcerpt( object, { pbBufferBacking( payload.get() ), std::size_t( length ) } );
    }
    output.line( object, text );
}

void tool::Listening::arrived( std::size_t lane, IN_UDP_PACKET *pkt )
{
    if ( does == Does::echo )
        inUdpChannelSend( lanes[lane].channel.get(), pkt );
    Time now = Clock::now();
    meter.add( now, inUdpPacketPayloadLength( pkt ) );
    std::optional<Stamp> stamp = Stamp::read( pb::adopt( inUdpPacketPayload( pkt ) ).get() );
    if ( stamp )
        noteStream( *stamp, pkt, now );
    if ( does == Does::print )
        print( lane, pkt, stamp );
}

std::string tool::Listening::progress()
{
    uint64_t missing = 0;
    for ( const auto &[number, stream] : streams )
        missing += stream.sequence.missing();
    return fmt::format( "received {}, missing {}", meter.text(), missing );
}

tool::Report tool::Listening::report( double seconds ) const
{
    Report report;
    report.json = { { "event", "summary" }, { "seconds", seconds }, { "received", meter.count },
        { "bytes", meter.bytes }, { "perSecond", meter.perSecond() }, { "bitsPerSecond", meter.bitsPerSecond() },
        { "streams", Json::array() } };
    report.text = { { "received", meter.text() } };
    for ( const auto &[number, stream] : streams ) {
        const Sequence &seen = stream.sequence;
        report.json["streams"].push_back( { { "stream", number }, { "from", stream.from },
            { "received", seen.received() }, { "missing", seen.missing() }, { "duplicates", seen.duplicates() },
            { "outOfOrder", seen.outOfOrder() }, { "jitterMilliseconds", stream.jitter.seconds() * 1e3 } } );
        report.text[fmt::format( "stream {:08x}", number )] = fmt::format(
            "from {}: {} received, {} missing, {} duplicates, {} out of order, jitter {:.3f} ms", stream.from,
            seen.received(), seen.missing(), seen.duplicates(), seen.outOfOrder(), stream.jitter.seconds() * 1e3 );
    }
    return report;
}

void tool::listen( const Output &output, const Lanes &lanes, const RunOptions &options, bool echoes )
{
    Listening::Does does = echoes          ? Listening::Does::echo
                           : options.quiet ? Listening::Does::count
                                           : Listening::Does::print;
    Listening listening( output, lanes, does, options.count );
    Session session( listening, options );
    Json local = Json::array();
    std::string text;
    for ( const Lane &lane : lanes ) {
        local.push_back( lane.localAddress() );
        text += ( text.empty() ? "listening on " : " and " ) + lane.localAddress();
    }
    output.line( { { "event", "open" }, { "local", local } }, text );
    session.run( 0, does == Listening::Does::print );
    output.report( listening.report( session.seconds() ) );
}
