/* The ladder under the sink that writes JSON lines from its own thread. */
#include <fault/fault.h>
#include <tr/tr.h>

namespace {

using FaultTrace = fault::Files;

constexpr int TEXTS = 3;

/** Traces a few texts into a file; null when there is no sink. */
pb::Ref<TR_SINK> trace( const std::string &path )
{
    fault::Armed armed;
    pb::Ref<TR_SINK> sink = pb::adopt( trSinkTryCreateJson( pb::string( path ).get(), 100, false ) );
    if ( !sink )
        return sink;
    trSystemAddSink( sink.get() );
    {
        pb::Ref<TR_STREAM> stream = pb::adopt( trStreamCreateCstr( "FAULT", -1 ) );
        for ( int i = 0; i < TEXTS; ++i ) {
            trStreamTextCstr( stream.get(), "text", -1 );
            trSinkFlush( sink.get() );
        }
    }
    trSystemDelSink( sink.get() );
    trSinkFlush( sink.get() );
    return sink;
}

TEST_F( FaultTrace, WritesWholeLinesAndCountsTheRest )
{
    PB_INT records = 0; // how many lines the file has when nothing fails
    fault::ladder( { "complete", "counted", "null" }, [&] {
        std::filesystem::remove( file( "trace" ) );
        pb::Ref<TR_SINK> sink = trace( file( "trace" ) );
        if ( !sink )
            return "null";
        std::string text = read( "trace" );
        PB_INT lines = std::count( text.begin(), text.end(), '\n' );
        PB_INT dropped = trSinkDropped( sink.get() );
        records = std::max( records, lines );
        EXPECT_GE( records, TEXTS );
        return lines + dropped != records ? "lost" : dropped ? "counted" : "complete";
    } );
}

} // namespace
