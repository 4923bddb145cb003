/* The ladder under files and threads. */
#include <fault/fault.h>

namespace {

using FaultFiles = fault::Files;

const std::string longText( 200000, 'x' );

TEST_F( FaultFiles, ReadsWholeOrNot )
{
    write( "file", longText );
    fault::ladder( { "whole", "null" }, [&] {
        pb::Ref<PB_BUFFER> buf;
        {
            fault::Armed armed;
            buf = pb::adopt( pbFileReadBufferCstr( file( "file" ).c_str(), -1 ) );
        }
        if ( !buf )
            return "null";
        return pbBufferLength( buf.get() ) == PB_INT( longText.size() ) ? "whole" : "cut short";
    } );
}

TEST_F( FaultFiles, ReplacesWholeWhereALinkLeadsOrNot )
{
    fault::ladder( { "new", "old" }, [&]() -> std::string {
        write( "file", "old" );
        write( ".file.0123456789abcdef", "of a saver that was killed" );
        std::filesystem::permissions( file( "file" ), std::filesystem::perms( 0640 ) );
        std::filesystem::remove( file( "link" ) );
        std::filesystem::create_symlink( "file", file( "link" ) );
        pb::Ref<PB_BUFFER> buf = pb::adopt( pbStringToUtf8( pb::string( longText ).get() ) );
        bool replaced;
        {
            fault::Armed armed;
            replaced = pbFileTryReplace( pb::string( file( "link" ) ).get(), buf.get() );
        }
        EXPECT_EQ( read( "file" ), replaced ? longText : "old" );
        EXPECT_EQ( std::filesystem::status( file( "file" ) ).permissions(), std::filesystem::perms( 0640 ) );
        EXPECT_TRUE( std::filesystem::is_symlink( file( "link" ) ) ) << "after " << fault::failedCall();
        std::filesystem::remove( file( ".file.0123456789abcdef" ) ); // which need not be gone when a call failed
        EXPECT_EQ( names(), "file link " ) << "another file is left after " << fault::failedCall();
        return replaced ? "new" : "old";
    } );
}

TEST_F( FaultFiles, SinkTellsWhatItCouldNotWrite )
{
    auto writeLines = [this] {
        fault::Armed armed;
        pb::Ref<PB_BYTE_SINK> sink = pb::adopt( pbByteSinkTryCreateFile( pb::string( file( "sink" ) ).get() ) );
        for ( int i = 0; sink && i < 3; ++i )
            pbByteSinkWriteBytes( sink.get(), "line\n", 5 );
        return sink;
    };
    fault::ladder( { "written", "error", "null" }, [&] {
        pb::Ref<PB_BYTE_SINK> sink = writeLines();
        if ( !sink )
            return "null";
        if ( pbByteSinkError( sink.get() ) )
            return "error";
        return read( "sink" ) == "line\nline\nline\n" ? "written" : "lost";
    } );
}

TEST_F( FaultFiles, LinesEndEarlyAtMost )
{
    write( "lines", "one\ntwo\nthree" );
    auto isStart = []( const std::string &lines ) { return std::string_view( "one,two,three," ).starts_with( lines ); };
    fault::ladder( { "all", "some", "null" }, [&] {
        fault::Armed armed;
        pb::Ref<PB_LINE_SOURCE> source = pb::adopt( pbLineSourceTryCreateFromFileCstr( file( "lines" ).c_str(), -1 ) );
        if ( !source )
            return "null";
        std::string lines;
        while ( pb::Ref<PB_STRING> line = pb::adopt( pbLineSourceTryReadLine( source.get() ) ) )
            lines += pb::text( line.get() ) + ",";
        if ( lines == "one,two,three," )
            return "all";
        return isStart( lines ) ? "some" : "mixed up";
    } );
}

TEST( FaultDescriptor, IsThereOrNot )
{
    fault::ladder( { "there", "null" }, [&] {
        fault::Armed armed;
        errno = 0;
        pb::Ref<PB_SIGNALABLE> signalable = pb::adopt( pbSignalableTryCreateDescriptor() );
        pb::Ref<PB_ALERTABLE> alertable = pb::adopt( signalable ? pbAlertableTryCreateDescriptor() : nullptr );
        return alertable ? "there" : errno == EMFILE ? "null" : "null, but not why";
    } );
}

void assertSignal( PB_OBJ *signal )
{
    pbSignalAssert( pbSignalFrom( signal ) );
}

TEST( FaultThread, RunsOrIsNotThere )
{
    for ( PB_INT option : { 0, 2, 4 } )
        fault::ladder( { "ran", "null" }, [&] {
            fault::Armed armed;
            pb::Ref<PB_SIGNAL> signal = pb::adopt( pbSignalCreate() );
            pb::Ref<PB_THREAD> thread =
                pb::adopt( pbThreadTrySpawnCstr( "fault", -1, assertSignal, pbSignalObj( signal.get() ), option ) );
            if ( !thread )
                return "null";
            pbThreadJoin( thread.get() );
            return pbSignalAsserted( signal.get() ) ? "ran" : "did not run";
        } );
}

} // namespace
