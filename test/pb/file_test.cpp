/* Files, line sources and byte sinks, on real files in a folder of their own. */
#include <support/folder.hpp>
#include <support/test_support.h>
#include <sys/stat.h>

namespace fs = std::filesystem;
using test::str;

namespace {

class File : public testing::Test, public test::Folder {
protected:
    bool replace( const std::string &name, std::string_view content )
    {
        errno = 0;
        return pbFileTryReplace( str( file( name ) ).get(), test::buffer( content ).get() );
    }
};

std::vector<std::string> linesOf( PB_LINE_SOURCE *owned )
{
    pb::Ref<PB_LINE_SOURCE> source = pb::adopt( owned );
    std::vector<std::string> lines;
    while ( pb::Ref<PB_STRING> line = pb::adopt( pbLineSourceTryReadLine( source.get() ) ) )
        lines.push_back( pb::text( line.get() ) );
    EXPECT_EQ( pbLineSourceTryReadLine( source.get() ), nullptr );
    return lines;
}

} // namespace

TEST_F( File, ReadsWholeFiles )
{
    for ( std::size_t size : { 0U, 1U, 65535U, 65536U, 65537U, 1000000U } ) {
        std::string content( size, 'x' );
        for ( std::size_t i = 0; i < size; ++i )
            content[i] = static_cast<char>( i * 7 );
        EXPECT_EQ( test::takeBytes( pbFileReadBuffer( str( write( "file", content ) ).get() ) ), content );
    }
    errno = 0;
    EXPECT_EQ( test::takeBytes( pbFileReadBuffer( str( path.string() ).get() ) ), "(null)" );
    EXPECT_EQ( errno, EISDIR );
    // The kernel gives no size for these, and only a piece with each read.
    std::string mine = test::takeBytes( pbFileReadBufferCstr( "/proc/self/limits", -1 ) );
    EXPECT_NE( mine.find( "Max open files" ), std::string::npos );
    EXPECT_EQ( mine.back(), '\n' );
}

TEST_F( File, IsReplacedWhole )
{
    mode_t mask = umask( 027 );
    EXPECT_TRUE( replace( "file", "first" ) );
    std::ifstream reader( path / "file" ); // who has the old file open goes on reading the old content
    umask( mask );
    EXPECT_EQ( fs::status( path / "file" ).permissions(), fs::perms( 0640 ) );
    fs::permissions( path / "file", fs::perms( 0666 ) );
    EXPECT_TRUE( replace( "file", std::string( 300000, 'x' ) ) );
    EXPECT_EQ( read( "file" ), std::string( 300000, 'x' ) );
    EXPECT_EQ( std::string( std::istreambuf_iterator<char>( reader ), {} ), "first" );
    EXPECT_EQ( fs::status( path / "file" ).permissions(), fs::perms( 0666 ) );
    std::string longest( 255, 'n' );
    EXPECT_TRUE( replace( longest, "" ) );
    EXPECT_EQ( names(), "file " + longest + " " );
}

TEST_F( File, IsReplacedBehindLinks )
{
    fs::create_directory( path / "deep" );
    write( "deep/file", "old" );
    fs::create_symlink( "deep/file", path / "relative" );
    fs::create_symlink( path / "relative", path / "absolute" );
    fs::create_symlink( "deep/none-yet", path / "dangling" );
    for ( const auto &[link, target] : { std::pair( "relative", "deep/file" ), std::pair( "absolute", "deep/file" ),
              std::pair( "dangling", "deep/none-yet" ) } ) {
        EXPECT_TRUE( replace( link, link ) );
        EXPECT_EQ( read( target ), link );
        EXPECT_TRUE( fs::is_symlink( path / link ) );
        EXPECT_TRUE( fs::is_regular_file( fs::symlink_status( path / target ) ) );
    }
    EXPECT_EQ( names(), "absolute dangling deep relative " );
}

TEST_F( File, CannotBeReplaced )
{
    fs::create_directory( path / "folder" );
    fs::create_symlink( "loop", path / "loop" );
    mkfifo( ( path / "pipe" ).c_str(), 0600 );
    write( "file", "old" );
    const std::vector<std::pair<std::string, int>> rows = { { "folder", EISDIR }, { "loop", ELOOP }, { "pipe", EINVAL },
        { "none/file", ENOENT }, { "file/beyond", ENOTDIR }, { std::string( "fi\0le", 5 ), EINVAL },
        { std::string( 256, 'n' ), ENAMETOOLONG } };
    for ( const auto &[name, reason] : rows ) {
        EXPECT_FALSE( replace( name, "new" ) );
        EXPECT_EQ( errno, reason ) << name;
    }
    EXPECT_EQ( names(), "file folder loop pipe " );
    EXPECT_TRUE( fs::is_fifo( path / "pipe" ) );
}

TEST_F( File, Lines )
{
    EXPECT_EQ( pbLineSourceTryCreateFromFileCstr( ( path / "nowhere" ).c_str(), -1 ), nullptr );
    EXPECT_EQ( pbLineSourceTryCreateFromFileCstr( "a\0b", 3 ), nullptr );
    EXPECT_EQ( linesOf( pbLineSourceTryCreateFromFileCstr( path.c_str(), -1 ) ), std::vector<std::string>() );
    const std::string longLine( 1000000, 'y' );
    const std::vector<std::pair<std::string, std::vector<std::string>>> rows = { { "", {} }, { "\n", { "" } },
        { "a", { "a" } }, { "a\n", { "a" } }, { "a\nb", { "a", "b" } }, { "\n\na\n", { "", "", "a" } },
        { "a\r\nb\r", { "a\r", "b\r" } }, { std::string( "a\0b\n", 4 ), { std::string( "a\0b", 3 ) } },
        { "\u00e9\n\xff\xe4\xb8", { "\u00e9", "\ufffd\ufffd" } },
        { std::string( 65535, 'x' ) + "\nz", { std::string( 65535, 'x' ), "z" } },
        { std::string( 65536, 'x' ) + "\nz\n", { std::string( 65536, 'x' ), "z" } },
        { "a\n" + longLine + "\nb\n" + longLine, { "a", longLine, "b", longLine } } };
    for ( const auto &[text, lines] : rows ) {
        EXPECT_EQ( linesOf( pbLineSourceCreateFromBuffer( test::buffer( text ).get() ) ), lines );
        EXPECT_EQ( linesOf( pbLineSourceTryCreateFromFileCstr( write( "file", text ).c_str(), -1 ) ), lines );
    }
}
