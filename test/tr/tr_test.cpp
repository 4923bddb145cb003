/*
 * Streams, anchors and sinks: what is recorded, what a sink is told that comes late or goes early, alone and under
 * load.
 */
#include <atomic>
#include <fcntl.h>
#include <map>
#include <regex>
#include <support/folder.hpp>
#include <support/recording.hpp>
#include <sys/stat.h>
#include <thread>
#include <tr/tr_private.h>
#include <vector>

namespace {

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
    ASSERT_EQ( mkfifo( path.path.c_str(), 0600 ), 0 );
    pb::Fd reader( open( path.path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC ) );
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
        std::array<char, 65536> bytes;
        while ( lines.find( "\"last\"" ) == std::string::npos || lines.back() != '\n' ) {
            ssize_t count = read( reader.get(), bytes.data(), bytes.size() );
            count > 0 ? void( lines.append( bytes.data(), std::size_t( count ) ) ) : std::this_thread::yield();
        }
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

TEST( TrJson, IsReleasedThoughNobodyReads )
{
    Path path;
    ASSERT_EQ( mkfifo( path.path.c_str(), 0600 ), 0 );
    EXPECT_FALSE( path.sink( 10 ) ) << "a pipe that nobody has opened";
    pb::Fd reader( open( path.path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC ) );
    while ( write( reader.get(), "full", 4 ) > 0 ) {
    }
    Sink json = path.sink( 10 );
    trSystemAddSink( json.get() );
    Stream one = stream();
    for ( int i = 0; i < 10; ++i )
        trStreamTextCstr( one.get(), "text", -1 );
    trSystemDelSink( json.get() );
    PB_INT begin = pbTimestamp();
    json = nullptr;
    EXPECT_GE( pbTimestamp() - begin, 900 ) << "there may still be a reader";
    EXPECT_LT( pbTimestamp() - begin, 9'000 ) << "but not for each line";
}

TEST( TrModule, AddsTheSinkOfTheEnvironment )
{
    Path path;
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
    std::vector<std::thread> threads;
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
    for ( std::thread &thread : threads )
        thread.join();
    EXPECT_EQ( tr___SystemSinks, 0 );
}

} // namespace
