/* Files, line sources and byte sinks, on real files in a folder of their own. */
#include <fcntl.h>
#include <grp.h>
#include <support/folder.hpp>
#include <support/test_support.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <sys/xattr.h>

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

TEST_F( File, ReadsWholeFiles )
{
    for ( std::size_t size : { 0U, 1U, 65535U, 65536U, 65537U, 1000000U } ) {
        std::string content( size, 'x' );
        for ( std::size_t i = 0; i < size; ++i )
            content[i] = static_cast<char>( i * 7 );
        EXPECT_EQ( test::takeBytes( pbFileReadBuffer( str( write( "file", content ) ).get() ) ), content );
    }
    // What may never end is not begun: nobody writes to the pipe, and the file is longer than the disk.
    mkfifo( ( path / "pipe" ).c_str(), 0600 );
    fs::resize_file( write( "long", "" ), std::uintmax_t( 1 ) << 42 );
    for ( auto [name, reason] : { std::pair( "", EISDIR ), std::pair( "/dev/full", EINVAL ),
              std::pair( "pipe", EINVAL ), std::pair( "long", EFBIG ) } ) {
        errno = 0;
        EXPECT_EQ( test::takeBytes( pbFileReadBuffer( str( file( name ) ).get() ) ), "(null)" );
        EXPECT_EQ( errno, reason ) << name;
    }
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

/** What a killed saver left behind is removed; what another one has under way, and what only looks like it, stays. */
TEST_F( File, IsReplacedWithoutLeftovers )
{
    write( ".file.0123456789abcdef", "left" );
    write( ".file.0123456789abcde", "shorter" );
    write( ".file.0123456789ABCDEF", "of somebody else" );
    write( ".other.0123456789abcdef", "of another file" );
    mkfifo( ( path / ".file.fedcba9876543210" ).c_str(), 0600 );
    pb::Fd underWay( open( write( ".file.00000000000000ff", "" ).c_str(), O_WRONLY | O_CLOEXEC ) );
    ASSERT_EQ( flock( underWay.get(), LOCK_EX ), 0 );
    EXPECT_TRUE( replace( "file", "new" ) );
    EXPECT_EQ( names(), ".file.00000000000000ff .file.0123456789ABCDEF .file.0123456789abcde .file.fedcba9876543210 "
                        ".other.0123456789abcdef file " );
}

TEST_F( File, IsReplacedByManyAtATime )
{
    test::onThreads( 4, [this]( int index ) {
        for ( int i = 0; i < 100; ++i )
            EXPECT_TRUE( replace( "file", std::string( 1000, "abcd"[index] ) ) ) << strerror( errno );
    } );
    EXPECT_EQ( read( "file" ), std::string( 1000, read( "file" )[0] ) );
    EXPECT_EQ( names(), "file " );
}

constexpr uid_t service = 12'345, other = 12'346;

/** Runs a function in a process of another user and group, which belongs to one more group; its result. */
bool runAs( uid_t user, gid_t more, const std::function<bool()> &function )
{
    pid_t child = fork();
    if ( child == 0 ) {
        bool become = setgroups( 1, &more ) == 0 && setgid( user ) == 0 && setuid( user ) == 0;
        _exit( become && function() ? 0 : 1 );
    }
    int status = 0;
    return waitpid( child, &status, 0 ) == child && status == 0;
}

TEST_F( File, KeepsOwnerAndRights )
{
    if ( geteuid() != 0 || chown( write( "probe", "" ).c_str(), service, other ) != 0 )
        GTEST_SKIP() << "only root can give files away";
    fs::remove( path / "probe" );
    fs::permissions( path, fs::perms( 0777 ) );
    struct Row {
        uid_t owner, group;
        mode_t mode;
        uid_t user, more; // who replaces
        bool replaced;
        uid_t newOwner, newGroup;
    };
    const Row rows[] = {
        { service, other, 0640, 0, 0, true, service, other }, // root gives it back
        { service, service, 0600, service, 0, true, service, service },
        { service, other, 0660, service, other, true, service, other },
        { other, service, 0664, service, 0, true, service, service }, // whoever shares the group loses nothing
        { other, service, 0644, service, 0, false, other, service },  // the owner could no longer write
        { service, other, 0640, service, 0, false, service, other },  // the group could no longer read
        { service, other, 0604, service, 0, false, service, other },  // the group could
        { other, other, 0666, service, 0, true, service, service },
    };
    for ( const Row &row : rows ) {
        std::string name = write( "file", "old" );
        ASSERT_TRUE( chown( name.c_str(), row.owner, row.group ) == 0 && chmod( name.c_str(), row.mode ) == 0 );
        EXPECT_EQ(
            runAs( row.user, row.more, [&] { return replace( "file", "new" ) || errno != EPERM; } ), row.replaced )
            << std::oct << row.mode;
        struct stat status;
        ASSERT_EQ( stat( name.c_str(), &status ), 0 );
        EXPECT_EQ( read( "file" ), row.replaced ? "new" : "old" );
        EXPECT_EQ( status.st_uid, row.newOwner ) << std::oct << row.mode;
        EXPECT_EQ( status.st_gid, row.newGroup ) << std::oct << row.mode;
        EXPECT_EQ( status.st_mode & 07777, row.mode );
        EXPECT_EQ( names(), "file " );
        fs::remove( path / "file" );
    }
}

TEST_F( File, KeepsItsAccessList )
{
    struct Entry {
        uint16_t kind, rights;
        uint32_t who;
    };
    struct List {
        uint32_t version;
        Entry entries[5];
        std::string_view bytes() const { return { reinterpret_cast<const char *>( this ), sizeof *this }; }
    };
    // owner rw, one user r, group nothing, mask r, others nothing; and a folder that hands down another user
    const List list{ 2, { { 1, 6, ~0U }, { 2, 4, service }, { 4, 0, ~0U }, { 16, 4, ~0U }, { 32, 0, ~0U } } };
    const List down{ 2, { { 1, 7, ~0U }, { 2, 7, other }, { 4, 0, ~0U }, { 16, 7, ~0U }, { 32, 0, ~0U } } };
    const char *key = "system.posix_acl_access";
    auto listOf = [&] {
        std::string found( 1024, '\0' );
        ssize_t length = getxattr( file( "file" ).c_str(), key, found.data(), found.size() );
        return length < 0 ? "none" : found.substr( 0, std::size_t( length ) );
    };
    write( "file", "old" );
    if ( setxattr( file( "file" ).c_str(), key, &list, sizeof list, 0 ) != 0 )
        GTEST_SKIP() << "the folder for temporary files has no access lists: " << strerror( errno );
    EXPECT_TRUE( replace( "file", "new" ) );
    EXPECT_EQ( listOf(), list.bytes() );
    ASSERT_EQ( removexattr( file( "file" ).c_str(), key ), 0 );
    ASSERT_EQ( chmod( file( "file" ).c_str(), 0640 ), 0 );
    ASSERT_EQ( setxattr( path.c_str(), "system.posix_acl_default", &down, sizeof down, 0 ), 0 );
    EXPECT_TRUE( replace( "file", "newer" ) );
    EXPECT_EQ( listOf(), "none" );
    EXPECT_EQ( fs::status( path / "file" ).permissions(), fs::perms( 0640 ) );
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

} // namespace
