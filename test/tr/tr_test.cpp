/*
 * Streams, anchors and sinks: what is recorded, what a sink is told that comes late or goes early, alone and under
 * load.
 */
#include <fcntl.h>
#include <malloc.h>
#include <regex>
#include <support/folder.hpp>
#include <support/recording.hpp>
#include <support/stuck.hpp>
#include <sys/stat.h>
#include <tr/tr_private.h>

namespace {

using test::full;
using Stream = pb::Ref<TR_STREAM>;
using Sink = pb::Ref<TR_SINK>;

Stream stream( const char *name = "IN_THING" )
{
    return pb::adopt( trStreamCreateCstr( name, -1 ) );
}

/** A recorder that is told from here to the end of the scope. */
struct Recording : test::Recording {
    using test::Recording::Recording;

    /** The records as lines, less the time; "$n" for the numbers of the streams given. */
    std::string takeText( const std::vector<TR_STREAM *> &streams )
    {
        std::string text;
        for ( const pb::Ref<PB_STORE> &record : take() )
            text += test::textOf( record.get() ) + "\n";
        text = std::regex_replace(
            text, std::regex( "\"time\":\"\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d\\.\\d{3}Z\"," ), "" );
        for ( std::size_t i = 0; i < streams.size(); ++i ) {
            std::string number = std::to_string( trStreamNumber( streams[i] ) );
            text = std::regex_replace(
                text, std::regex( "(\"stream\"|\"to\"):" + number + "\\b" ), "$1:#" + std::to_string( i ) );
        }
        return text;
    }
};

std::string valueOf( PB_STORE *record, const char *key )
{
    return test::take( pbStoreValueCstr( record, key, -1 ) );
}

TEST( Tr, RecordsWhatHappens )
{
    Recording recording( true );
    Stream one = stream(), two = stream( "IN_OTHER" );
    trStreamTextCstr( one.get(), "a \"text\" and more", 8 );
    trStreamTextFormatCstr( one.get(), "[f()] %i %~s", -1, PB_INT_FROM( 5 ), test::str( "x" ).give() );
    trStreamSetPropertyCstr( one.get(), "s", -1, test::str( "5" ).get() );
    trStreamSetPropertyIntCstr( one.get(), "i!", 1, 5 );
    trStreamSetPropertyBoolCstr( one.get(), "b", -1, true );
    pb::Ref<PB_STORE> store = pb::adopt( pbStoreCreate() );
    pbStoreSetValueIntCstr( store.handle(), "n", -1, 1 );
    trStreamSetPropertyStoreCstr( one.get(), "o", -1, store.get() );
    trStreamDelPropertyCstr( one.get(), "b", -1 );
    trStreamDelPropertyCstr( one.get(), "never set", -1 );
    trStreamSetConfiguration( one.get(), store.get() );
    trStreamSetNotable( one.get() );
    trStreamSetNotable( one.get() );
    trStreamDelNotable( one.get() );
    trStreamMessageFormatCstr( one.get(), "\x01\xFF", 2, "%i bytes", -1, PB_INT_FROM( 2 ) );
    trStreamSetPayloadTypeCstr( one.get(), "PB_BUFFER", -1 );
    trStreamMessageFormatCstr( one.get(), nullptr, 0, "none", -1 );
    pb::Ref<TR_ANCHOR> anchor = pb::adopt( trAnchorCreate( one.get(), TR_ANCHOR_KIND_PARENT ) );
    pb::Ref<TR_ANCHOR> named =
        pb::adopt( trAnchorCreateWithAnnotationCstr( one.get(), TR_ANCHOR_KIND_USES, "inStack", -1 ) );
    trAnchorComplete( anchor.get(), two.get() );
    trAnchorComplete( named.get(), two.get() );
    std::vector<TR_STREAM *> streams{ one.get(), two.get() };
    std::string common = R"({"stream":#0,"name":"IN_THING","event":)";
    std::string expected = R"("stream"}
{"stream":#1,"name":"IN_OTHER","event":"stream"}
!"text","text":"a \"text\""}
!"text","text":"[f()] 5 x"}
!"property","key":"s","value":"5"}
!"property","key":"i","value":5}
!"property","key":"b","value":true}
!"property","key":"o","value":{"n":1}}
!"property","key":"b"}
!"configuration","configuration":{"n":1}}
!"notable","notable":true}
!"notable","notable":false}
!"message","text":"2 bytes","payload":"01ff","bytes":2}
!"message","text":"none","payloadType":"PB_BUFFER","payload":"","bytes":0}
!"anchor","kind":18,"to":#1}
!"anchor","kind":9,"annotation":"inStack","to":#1}
)";
    EXPECT_EQ( recording.takeText( streams ), common + std::regex_replace( expected, std::regex( "!" ), common ) );

    // A sink that comes later is told what holds now.
    trStreamSetNotable( one.get() );
    trStreamSetPropertyIntCstr( one.get(), "i", -1, 6 );
    expected = R"("stream"}
!"property","key":"s","value":"5"}
!"property","key":"i","value":6}
!"property","key":"o","value":{"n":1}}
!"configuration","configuration":{"n":1}}
!"notable","notable":true}
)";
    two = nullptr;
    recording.take();
    {
        Recording late;
        trSystemAddSink( late.sink.get() ); // twice is once
        std::string text = late.takeText( { one.get() } );
        EXPECT_EQ( text.substr( 0, text.find( R"({"stream":#0,"name":"IN_THING","event":"anchor")" ) ),
            common + std::regex_replace( expected, std::regex( "!" ), common ) );
    }
    PB_INT number = trStreamNumber( one.get() );
    EXPECT_EQ( test::textOf( one.get() ), "IN_THING " + std::to_string( number ) );
    one = nullptr;
    EXPECT_TRUE( recording.take().empty() ); // the anchors still hold it
    anchor = named = nullptr;
    auto rest = recording.take();
    ASSERT_EQ( rest.size(), 1U );
    EXPECT_EQ( valueOf( rest[0].get(), "event" ), "end" );
    EXPECT_EQ( valueOf( rest[0].get(), "stream" ), std::to_string( number ) );
}

TEST( Tr, WithoutASinkArgumentsAreNotEvaluated )
{
    Stream one = stream();
    int evaluated = 0;
    auto text = [&] { trStreamTextFormatCstr( one.get(), "%i", -1, PB_INT_FROM( ++evaluated ) ); };
    // a message evaluates them, and so must not leave over what it is given to consume
    auto message = [&] { trStreamMessageFormatCstr( one.get(), "", 0, "%~s", -1, test::str( "x" ).give() ); };
    text();
    message();
    EXPECT_EQ( evaluated, 0 );
    Recording recording;
    EXPECT_FALSE( trSystemAcceptsHighVolumeMessages() );
    text();
    message();
    {
        Recording second( true );
        EXPECT_TRUE( trSystemAcceptsHighVolumeMessages() );
        message();
        EXPECT_EQ( second.take().size(), 2U );
    }
    EXPECT_EQ( evaluated, 1 );
    EXPECT_EQ( recording.take().size(), 2U ); // the stream and the text
}

/** A file for a trace. */
struct Path : test::Folder {
    std::string path = file( "trace" );
    Sink sink( PB_INT limit, bool highVolume = false )
    {
        return pb::adopt( trSinkTryCreateJson( test::str( path ).get(), limit, highVolume ) );
    }
    std::string content() { return read( "trace" ); }
    /** Makes it a named pipe; the ends are open already, so that nobody waits for the other. */
    test::Ends makePipe()
    {
        EXPECT_EQ( mkfifo( path.c_str(), 0600 ), 0 );
        pb::Fd readEnd( open( path.c_str(), O_RDWR | O_CLOEXEC ) );
        return { std::move( readEnd ), pb::Fd( open( path.c_str(), O_WRONLY | O_CLOEXEC ) ) };
    }
};

TEST( TrJson, WritesTheLinesThatARecorderKeeps )
{
    Path path;
    path.write( "trace", "{}\n" ); // a file that is there is continued
    Recording recording;
    Sink json = path.sink( 10'000 );
    trSystemAddSink( json.get() );
    Stream one = stream( "line\nfeed" );
    for ( int i = 0; i < 500; ++i )
        trStreamTextFormatCstr( one.get(), "%i", -1, PB_INT_FROM( i ) );
    trSystemDelSink( json.get() );
    json = nullptr; // what waits is written
    std::string expected = "{}\n";
    for ( const pb::Ref<PB_STORE> &record : recording.take() )
        expected += test::textOf( record.get() ) + "\n";
    EXPECT_EQ( path.content(), expected );
}

/** Nobody reads the pipe, so it fills up, then the queue; whoever traces is not held up. What was lost is told. */
TEST( TrJson, DropsAndTells )
{
    Path path;
    test::Ends ends = path.makePipe();
    Sink json = path.sink( 10 );
    ASSERT_TRUE( json );
    trSystemAddSink( json.get() );
    Stream one = stream();
    PB_INT written = 1;
    while ( trSinkDropped( json.get() ) < 100 ) {
        trStreamTextCstr( one.get(), "text", -1 );
        ++written;
    }
    std::string lines;
    std::thread drain( [&] {
        while ( lines.find( "\"last\"" ) == std::string::npos || lines.back() != '\n' )
            lines += test::drain( ends );
    } );
    trSinkFlush( json.get() );
    PB_INT dropped = trSinkDropped( json.get() );
    trStreamTextCstr( one.get(), "last", -1 );
    drain.join();
    trSystemDelSink( json.get() );
    PB_INT told = 0;
    const std::regex drops( "\"dropped\":(\\d+)" );
    for ( std::sregex_iterator found( lines.begin(), lines.end(), drops ), end; found != end; ++found )
        told += std::stoll( ( *found )[1] );
    EXPECT_EQ( told, dropped );
    EXPECT_EQ( std::count( lines.begin(), lines.end(), '\n' ), written + 1 - dropped );
}

/** A sink that writes to standard error, which is that descriptor at the moment. */
Sink sinkToStandardError( const pb::Fd &standardError )
{
    pb::Fd before( fcntl( STDERR_FILENO, F_DUPFD_CLOEXEC, 0 ) );
    dup2( standardError.get(), STDERR_FILENO );
    Sink sink = pb::adopt( trSinkTryCreateJson( test::str( "stderr" ).get(), 10'000, false ) );
    dup2( before.get(), STDERR_FILENO );
    return sink;
}

/** Milliseconds that it takes. */
template <class Function>
PB_INT timed( Function function )
{
    PB_INT begin = pbTimestamp();
    function();
    return pbTimestamp() - begin;
}

/** Nobody is held up for longer than a second by a file that takes nothing, whatever it is. */
TEST( TrJson, IsReleasedThoughNobodyReads )
{
    struct Row {
        const char *what;
        test::Ends ends;
        Sink sink = sinkToStandardError( ends.write );
        std::string text = {};
    };
    PB_INT objects = pbObjLiveCount();
    Path path;
    path.makePipe();
    EXPECT_FALSE( path.sink( 10 ) ) << "a pipe that nobody has open";
    std::filesystem::remove( path.path );
    std::vector<Row> rows;
    rows.push_back( { "pipe", full( test::pipeEnds() ) } );
    rows.push_back( { "pipe that does not block", full( test::pipeEnds( O_NONBLOCK ) ) } );
    rows.push_back( { "socket", full( test::socketEnds() ) } );
    rows.push_back( { "terminal", full( test::terminalEnds() ) } );
    rows.push_back( { "named pipe", full( path.makePipe() ) } ); // gets its sink when it is there
    rows.back().sink = path.sink( 10 );
    for ( Row &row : rows )
        trSystemAddSink( row.sink.get() );
    for ( int i = 0; i < 20; ++i )
        trStreamTextCstr( stream().get(), "text", -1 );

    std::vector<std::jthread> threads;
    for ( Row &row : rows )
        threads.emplace_back( [&row] {
            trSystemDelSink( row.sink.get() );
            for ( PB_INT took :
                { timed( [&] { trSinkFlush( row.sink.get() ); } ), timed( [&] { row.sink = nullptr; } ) } ) {
                EXPECT_GE( took, 900 ) << row.what << ": there may still be a reader";
                EXPECT_LT( took, 5'000 ) << row.what;
            }
        } );
    threads.clear(); // waits for them
    // Once somebody reads, the threads that were left behind end. They finish their line at most.
    EXPECT_TRUE( test::eventually( [&] {
        for ( Row &row : rows )
            row.text += test::drain( row.ends );
        return pbObjLiveCount() == objects;
    } ) );
    for ( Row &row : rows )
        EXPECT_LE( std::count( row.text.begin(), row.text.end(), '{' ), 1 ) << row.what;
}

/** A reader that is slow gets what fits into the second, one that comes within the second gets all. */
TEST( TrJson, GivesTheReaderASecond )
{
    for ( bool slow : { false, true } ) {
        Path path;
        test::Ends ends = full( path.makePipe() );
        Sink json = path.sink( 10'000 );
        trSystemAddSink( json.get() );
        Stream one = stream();
        for ( int i = 0; i < 5'000; ++i )
            trStreamTextCstr( one.get(), "text", -1 );
        trSystemDelSink( json.get() );
        std::atomic<bool> stop = false;
        std::string text;
        std::thread reader( [&] {
            for ( pbSleep( 300 ); !stop; pbSleep( 20 ) )
                text += test::drain( ends, slow ? 4096 : 1 << 20 );
        } );
        PB_INT took = timed( [&] { json = nullptr; } );
        stop = true;
        reader.join();
        text += test::drain( ends );
        PB_INT lines = std::count( text.begin(), text.end(), '\n' );
        EXPECT_EQ( lines == 5'001, !slow ) << lines;
        EXPECT_LT( took, 5'000 );
    }
}

/** However large what is traced is, only about 16 MiB of it wait, and nobody but the sink's thread makes texts of bytes. */
TEST( TrJson, KeepsLittleInMemory )
{
    Stream one = stream();
    const std::string bytes( 60'000, 'b' ), text( 1'000'000, 't' );
    pb::Ref<PB_STORE> nested = pb::adopt( pbStoreCreateArray() );
    pbStoreAppendValue( nested.handle(), test::str( text ).get() );
    for ( int i = 0; i < 10'000; ++i ) {
        pb::Ref<PB_STORE> outer = pb::adopt( pbStoreCreateArray() );
        pbStoreAppendStore( outer.handle(), nested.get() );
        nested = std::move( outer );
    }
    struct Row {
        PB_INT size;
        std::function<void()> trace;
    };
    const Row rows[] = {
        { 1'300, [&] { trStreamTextCstr( one.get(), "a text of the usual length", -1 ); } },
        { 60'000, [&] { trStreamMessageFormatCstr( one.get(), bytes.data(), PB_INT_FROM( bytes.size() ), "m", -1 ); } },
        { 4'000'000, [&] { trStreamTextCstr( one.get(), text.data(), PB_INT_FROM( text.size() ) ); } },
        { 8'000'000, [&] { trStreamSetConfiguration( one.get(), nested.get() ); } },
    };
    for ( const Row &row : rows ) {
        Path path;
        test::Ends ends = full( path.makePipe() );
        Sink json = path.sink( 100'000, true );
        trSystemAddSink( json.get() );
        std::size_t before = mallinfo2().uordblks;
        PB_INT traced = 0;
        for ( ; trSinkDropped( json.get() ) == 0 && traced < 100'000; ++traced )
            row.trace();
        EXPECT_NEAR( double( traced - 1 ) * double( row.size ), 1 << 24, double( row.size ) + 2'000'000 );
        EXPECT_LT( mallinfo2().uordblks, before + ( 18 << 20 ) );
        trSystemDelSink( json.get() );
        ends.read.close(); // what waits cannot be written any more
    }
}

TEST( TrModule, AddsTheSinkOfTheEnvironment )
{
    Path path;
    mode_t mask = umask( 0 );
    setenv( "QUELVARIS_TRACE_HIGH_VOLUME", "1", 1 );
    for ( std::string name : { path.path.c_str(), "/no/such/folder/x", "" } ) {
        setenv( "QUELVARIS_TRACE", name.c_str(), 1 );
        EXPECT_TRUE( tr___ModuleStartup() );
        EXPECT_EQ( trSystemActive(), name == path.path );
        EXPECT_EQ( trSystemAcceptsHighVolumeMessages(), name == path.path );
        trStreamTextCstr( stream().get(), "text", -1 );
        tr___ModuleShutdown();
        EXPECT_FALSE( trSystemActive() );
    }
    EXPECT_NE( path.content().find( "IN_THING" ), std::string::npos );
    EXPECT_EQ( std::filesystem::status( path.path ).permissions(), std::filesystem::perms( 0600 ) );
    umask( mask );
    unsetenv( "QUELVARIS_TRACE" );
    unsetenv( "QUELVARIS_TRACE_HIGH_VOLUME" );
}

/** Each stream begins with its description, counts up from there without a gap, and is silent after its end. */
void checkOrder( const std::vector<pb::Ref<PB_STORE>> &records )
{
    std::map<PB_INT, PB_INT> lastValue; // by stream; -1: described, no value yet
    for ( const pb::Ref<PB_STORE> &record : records ) {
        PB_INT number = 0, value = 0;
        pbStoreValueIntCstr( record.get(), &number, "stream", -1 );
        std::string event = valueOf( record.get(), "event" );
        auto known = lastValue.find( number );
        ASSERT_EQ( known == lastValue.end(), event == "stream" ) << test::textOf( record.get() );
        if ( event == "stream" ) {
            lastValue[number] = -1;
        } else if ( event == "end" ) {
            lastValue.erase( known );
        } else if ( pbStoreValueIntCstr( record.get(), &value, "value", -1 ) ) {
            ASSERT_TRUE( known->second == -1 || known->second + 1 == value ) << test::textOf( record.get() );
            known->second = value;
        }
    }
}

TEST( Tr, SinksComeAndGoWhileStreamsLive )
{
    std::atomic<bool> stop = false;
    std::vector<std::jthread> threads;
    Stream shared = stream( "SHARED" );
    for ( int i = 0; i < 4; ++i )
        threads.emplace_back( [&] {
            while ( !stop ) {
                Stream own = stream( "OWN" );
                for ( PB_INT value = 0; value < 10; ++value ) {
                    trStreamSetPropertyIntCstr( own.get(), "n", -1, value );
                    trStreamTextFormatCstr( shared.get(), "%o", -1, pb::obj( own.get() ) );
                }
            }
        } );
    Path path;
    for ( int i = 0; i < 30; ++i ) {
        Sink json = path.sink( 50 );
        Recording recorder;
        trSystemAddSink( json.get() );
        pbSleep( 1 );
        trSystemDelSink( recorder.sink.get() );
        checkOrder( recorder.take() );
        trSystemDelSink( json.get() );
        EXPECT_TRUE( recorder.take().empty() );
    }
    stop = true;
    threads.clear(); // waits for them
    EXPECT_EQ( tr___SystemSinks, 0 );
}

} // namespace
