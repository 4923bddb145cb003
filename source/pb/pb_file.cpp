/* Files read and replaced whole, lines, and byte sinks. Interrupted calls go on; short writes are continued. */
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <dirent.h>
#include <fcntl.h>
#include <filesystem>
#include <memory>
#include <pb/pb.hpp>
#include <string>
#include <string_view>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/xattr.h>

namespace {

constexpr std::size_t blockSize = 65536;
constexpr PB_INT wholeLimit = 64 << 20; // bytes of a file that is read whole

template <class Call>
auto uninterrupted( Call call )
{
    auto result = call();
    while ( result < 0 && errno == EINTR )
        result = call();
    return result;
}

pb::Fd openFile( const std::string &path, int flags, mode_t mode = 0 )
{
    return pb::Fd( uninterrupted( [&] { return ::open( path.c_str(), flags | O_CLOEXEC, mode ); } ) );
}

/** Appends what one read gives; 0 at the end, negative on failure. */
ssize_t readBlock( const pb::Fd &file, std::string &bytes )
{
    std::size_t length = bytes.size();
    bytes.resize( length + blockSize );
    ssize_t count = uninterrupted( [&] { return ::read( file.get(), bytes.data() + length, blockSize ); } );
    bytes.resize( length + static_cast<std::size_t>( count > 0 ? count : 0 ) );
    return count;
}

bool writeAll( const pb::Fd &file, std::string_view bytes )
{
    while ( !bytes.empty() ) {
        ssize_t count = uninterrupted( [&] { return ::write( file.get(), bytes.data(), bytes.size() ); } );
        if ( count <= 0 ) {
            errno = count == 0 ? EIO : errno;
            return false;
        }
        bytes.remove_prefix( static_cast<std::size_t>( count ) );
    }
    return true;
}

std::string_view view( PB_BUFFER *buf )
{
    return {
        reinterpret_cast<const char *>( pbBufferBacking( buf ) ), static_cast<std::size_t>( pbBufferLength( buf ) ) };
}

/** What is no regular file is neither read whole nor replaced: it may never end, or be gone for good. */
bool isRegular( const struct stat &status )
{
    bool regular = S_ISREG( status.st_mode );
    if ( !regular )
        errno = S_ISDIR( status.st_mode ) ? EISDIR : EINVAL;
    return regular;
}

bool fitsWhole( PB_INT length )
{
    bool fits = length <= wholeLimit;
    if ( !fits )
        errno = EFBIG;
    return fits;
}

/** A path for the kernel, which ends it at a zero: one that holds a zero is none (EINVAL). */
bool pathFrom( std::string_view text, std::string &path )
{
    path = text;
    bool valid = path.find( '\0' ) == std::string::npos;
    if ( !valid )
        errno = EINVAL;
    return valid;
}

bool pathFromCstr( const char *text, PB_INT length, std::string &path )
{
    return pathFrom( pb::view( text, length ), path );
}

/** Follows symbolic links to the place of the file itself, which need not be there yet. */
bool followLinks( std::filesystem::path &target )
{
    std::error_code error;
    for ( int links = 0; std::filesystem::is_symlink( target, error ); ++links ) {
        std::filesystem::path next = std::filesystem::read_symlink( target, error );
        if ( error || links == 40 ) {
            errno = error ? error.value() : ELOOP;
            return false;
        }
        target = target.parent_path() / next; // an absolute link replaces the whole
    }
    if ( !error || error == std::errc::no_such_file_or_directory )
        return true;
    errno = error.value(); // a link that cannot be seen as one must not be replaced
    return false;
}

/** The names of new files: that of the file which one is to replace, and sixteen random hexadecimal digits. */
class NewNames {
public:
    explicit NewNames( const std::string &name ) : prefix( "." + name.substr( 0, nameLimit ) + "." ) {}

    std::string next() const
    {
        return prefix + pb::text( pb::format( "%016!16i", pbRandomNonNegativeIntRange( 0, PB_INT_MAX ) ).get() );
    }
    bool has( std::string_view name ) const
    {
        auto isDigit = []( char ch ) { return ( ch >= '0' && ch <= '9' ) || ( ch >= 'a' && ch <= 'f' ); };
        return name.size() == prefix.size() + 16 && name.starts_with( prefix ) &&
               std::all_of( name.begin() + static_cast<std::ptrdiff_t>( prefix.size() ), name.end(), isDigit );
    }

private:
    static constexpr std::size_t nameLimit = 200; // of the 255 bytes that a name may have
    std::string prefix;
};

/**
 * A new file on its way to take another one's place: it is unlinked again unless it gets there. While it is on its way
 * it is locked, so that the next save can tell it from one whose saver was killed, and removes that.
 */
struct NewFile {
    std::filesystem::path target;
    pb::Fd folder;
    pb::Fd file;
    std::string path;

    ~NewFile() { remove(); }
    bool open();
    bool finish( std::string_view content );

private:
    std::string inFolder( std::string_view name ) const { return ( target.parent_path() / name ).string(); }
    void sweep( const NewNames &names ) const;
    bool create( mode_t mode );
    bool claim();
    bool keepOwner( const struct stat &old ) const;
    bool keepAccessList() const;
    void remove();
};

void NewFile::remove()
{
    int reason = errno;
    if ( !path.empty() )
        ::unlink( path.c_str() );
    path.clear();
    errno = reason;
}

/** Opens the folder and a file in it, with the owner and the rights of the one that it is to replace. */
bool NewFile::open()
{
    std::filesystem::path folderPath = target.parent_path();
    folder = openFile( folderPath.empty() ? "." : folderPath.string(), O_RDONLY | O_DIRECTORY );
    if ( !folder )
        return false;
    struct stat old;
    if ( ::stat( target.c_str(), &old ) < 0 )
        return errno == ENOENT && create( 0666 );
    return isRegular( old ) && create( 0600 ) && keepOwner( old ) && keepAccessList() &&
           ::fchmod( file.get(), old.st_mode & 0777 ) == 0;
}

/** Removes the new files of savers that were killed. Where there are no locks, all are left alone. */
void NewFile::sweep( const NewNames &names ) const
{
    std::unique_ptr<DIR, int ( * )( DIR * )> entries( ::opendir( inFolder( "." ).c_str() ), ::closedir );
    while ( const dirent *entry = entries ? ::readdir( entries.get() ) : nullptr ) {
        if ( !names.has( entry->d_name ) || ( entry->d_type != DT_REG && entry->d_type != DT_UNKNOWN ) )
            continue;
        std::string left = inFolder( entry->d_name );
        pb::Fd stale = openFile( left, O_RDONLY | O_NOFOLLOW | O_NONBLOCK );
        if ( stale && ::flock( stale.get(), LOCK_EX | LOCK_NB ) == 0 )
            ::unlink( left.c_str() );
    }
}

bool NewFile::create( mode_t mode )
{
    NewNames names( target.filename().string() );
    sweep( names );
    for ( int attempt = 0; attempt < 100; ++attempt ) {
        std::string candidate = inFolder( names.next() );
        file = openFile( candidate, O_WRONLY | O_CREAT | O_EXCL, mode );
        if ( !file && errno != EEXIST )
            return false;
        if ( !file )
            continue;
        path = candidate;
        if ( claim() )
            return true;
        remove();
    }
    return false;
}

/** Locks the new file; false when another saver, that sweeps, was faster and took it for one that was left. */
bool NewFile::claim()
{
    if ( ::flock( file.get(), LOCK_EX | LOCK_NB ) < 0 && errno == EWOULDBLOCK )
        return false;
    struct stat status;
    return ::fstat( file.get(), &status ) == 0 && status.st_nlink > 0;
}

/**
 * Keeps owner and group. A process that may not keep them may still replace a file when that locks nobody out and lets
 * nobody in: a group that has no other rights than everybody can go, and an owner whose rights the group or everybody
 * has too.
 */
bool NewFile::keepOwner( const struct stat &old ) const
{
    struct stat mine;
    if ( ::fstat( file.get(), &mine ) < 0 )
        return false;
    bool groupKept = mine.st_gid == old.st_gid || ::fchown( file.get(), uid_t( -1 ), old.st_gid ) == 0;
    bool ownerKept = mine.st_uid == old.st_uid || ::fchown( file.get(), old.st_uid, gid_t( -1 ) ) == 0;
    mode_t owner = old.st_mode >> 6 & 7;
    mode_t group = old.st_mode >> 3 & 7;
    mode_t everybody = old.st_mode & 7;
    bool ok = ( groupKept || group == everybody ) &&
              ( ownerKept || ( groupKept && ( owner & ~group ) == 0 ) || ( owner & ~everybody ) == 0 );
    if ( !ok )
        errno = EPERM;
    return ok;
}

/** Copies the access list; where the old file has none, what the folder hands down must not widen the mode. */
bool NewFile::keepAccessList() const
{
    const char *name = "system.posix_acl_access";
    auto none = [] { return errno == ENODATA || errno == EOPNOTSUPP; };
    std::string list( blockSize, '\0' );
    ssize_t length = ::getxattr( target.c_str(), name, list.data(), list.size() );
    if ( length >= 0 )
        return ::fsetxattr( file.get(), name, list.data(), static_cast<std::size_t>( length ), 0 ) == 0;
    return none() && ( ::fremovexattr( file.get(), name ) == 0 || none() );
}

/**
 * The content must be on the disk before the name leads to it. The folder's synchronisation at the end only decides how
 * soon a crash keeps the new content; the file has been replaced by then, so its failure is none of the whole.
 */
bool NewFile::finish( std::string_view content )
{
    if ( !writeAll( file, content ) || uninterrupted( [&] { return ::fsync( file.get() ); } ) < 0 )
        return false;
    if ( ::rename( path.c_str(), target.c_str() ) < 0 )
        return false;
    path.clear();
    uninterrupted( [&] { return ::fsync( folder.get() ); } );
    return true;
}

} // namespace

/** Without waiting at the opening: a pipe that nobody writes to is no regular file either. */
static PB_BUFFER *readWhole( const std::string &path )
{
    pb::Fd file = openFile( path, O_RDONLY | O_NONBLOCK | O_NOCTTY );
    struct stat status;
    if ( !file || ::fstat( file.get(), &status ) < 0 || !isRegular( status ) || !fitsWhole( status.st_size ) )
        return nullptr;
    pb::Ref<PB_BUFFER> content = pb::adopt( pbBufferCreate() );
    std::string block;
    ssize_t count;
    while ( ( count = readBlock( file, block ) ) > 0 ) {
        pbBufferAppendBytes( content.handle(), block.data(), count );
        if ( !fitsWhole( pbBufferLength( content.get() ) ) )
            return nullptr;
        block.clear();
    }
    return count == 0 ? content.give() : nullptr;
}

PB_BUFFER *pbFileReadBuffer( PB_STRING *path )
{
    PB_ASSERT( path );
    std::string name;
    return pathFrom( pb::text( path ), name ) ? readWhole( name ) : nullptr;
}

PB_BUFFER *pbFileReadBufferCstr( const char *path, PB_INT length )
{
    PB_ASSERT( path );
    PB_ASSERT( length >= -1 );
    std::string name;
    return pathFromCstr( path, length, name ) ? readWhole( name ) : nullptr;
}

PB_BOOL pbFileTryReplace( PB_STRING *path, PB_BUFFER *content )
{
    PB_ASSERT( path );
    PB_ASSERT( content );
    std::string name;
    if ( !pathFrom( pb::text( path ), name ) )
        return false;
    NewFile newFile;
    newFile.target = name;
    return followLinks( newFile.target ) && newFile.open() && newFile.finish( view( content ) );
}

/** Either the buffer or the file is there; of a file, `block` holds what was read and `at` is where the next line begins. */
struct PB_LINE_SOURCE : PB_OBJ {
    pb::Ref<PB_BUFFER> buf;
    pb::Fd file;
    std::string block;
    std::size_t at = 0;

    std::string_view rest() const
    {
        std::string_view whole = buf ? view( buf.get() ) : std::string_view( block );
        return whole.substr( at );
    }
    bool refill();
    PB_STRING *take( std::size_t length, std::size_t withLineFeed );
};

/** Moves what is left to the beginning and reads on; false at the end of the file, and where it cannot be read further. */
bool PB_LINE_SOURCE::refill()
{
    if ( !file )
        return false;
    block.erase( 0, std::exchange( at, 0 ) );
    return readBlock( file, block ) > 0;
}

PB_STRING *PB_LINE_SOURCE::take( std::size_t length, std::size_t withLineFeed )
{
    PB_STRING *line = pbStringCreateFromCstr( rest().data(), static_cast<PB_INT>( length ) );
    at += withLineFeed;
    return line;
}

PB_CLASS_DEFINE( PB_LINE_SOURCE, pbLineSource, pb::destroy<PB_LINE_SOURCE>, nullptr, nullptr );

PB_LINE_SOURCE *pbLineSourceCreateFromBuffer( PB_BUFFER *buf )
{
    PB_ASSERT( buf );
    PB_LINE_SOURCE *source = pb::create<PB_LINE_SOURCE>();
    source->buf = pb::share( buf );
    return source;
}

PB_LINE_SOURCE *pbLineSourceTryCreateFromFileCstr( const char *path, PB_INT length )
{
    PB_ASSERT( path );
    PB_ASSERT( length >= -1 );
    std::string name;
    if ( !pathFromCstr( path, length, name ) )
        return nullptr;
    pb::Fd file = openFile( name, O_RDONLY );
    if ( !file )
        return nullptr;
    PB_LINE_SOURCE *source = pb::create<PB_LINE_SOURCE>();
    source->file = std::move( file );
    return source;
}

PB_STRING *pbLineSourceTryReadLine( PB_LINE_SOURCE *source )
{
    PB_ASSERT( source );
    std::size_t searched = 0; // a long line is not searched again with each block
    do {
        std::size_t end = source->rest().find( '\n', searched );
        if ( end != std::string_view::npos )
            return source->take( end, end + 1 );
        searched = source->rest().size();
    } while ( source->refill() );
    return searched > 0 ? source->take( searched, searched ) : nullptr;
}

/** Either the buffer or the file is there. */
struct PB_BYTE_SINK : PB_OBJ {
    pb::Ref<PB_BUFFER> buffer;
    pb::Fd file;
    bool error = false;
};

PB_CLASS_DEFINE( PB_BYTE_SINK, pbByteSink, pb::destroy<PB_BYTE_SINK>, nullptr, nullptr );

PB_BYTE_SINK *pbByteSinkCreateBuffer( void )
{
    PB_BYTE_SINK *sink = pb::create<PB_BYTE_SINK>();
    sink->buffer = pb::adopt( pbBufferCreate() );
    return sink;
}

PB_BUFFER *pbByteSinkBuffer( PB_BYTE_SINK *sink )
{
    PB_ASSERT( sink );
    PB_ASSERT( sink->buffer );
    return sink->buffer.retained();
}

PB_BYTE_SINK *pbByteSinkTryCreateFile( PB_STRING *path )
{
    PB_ASSERT( path );
    std::string name;
    if ( !pathFrom( pb::text( path ), name ) )
        return nullptr;
    pb::Fd file = openFile( name, O_WRONLY | O_CREAT | O_TRUNC, 0666 );
    if ( !file )
        return nullptr;
    PB_BYTE_SINK *sink = pb::create<PB_BYTE_SINK>();
    sink->file = std::move( file );
    return sink;
}

void pbByteSinkWriteBytes( PB_BYTE_SINK *sink, const void *bytes, PB_INT count )
{
    PB_ASSERT( sink );
    PB_ASSERT( count >= 0 );
    PB_ASSERT( bytes || !count );
    if ( sink->error || count == 0 )
        return;
    if ( sink->buffer )
        pbBufferAppendBytes( sink->buffer.handle(), bytes, count );
    else
        sink->error =
            !writeAll( sink->file, { static_cast<const char *>( bytes ), static_cast<std::size_t>( count ) } );
}

PB_BOOL pbByteSinkError( PB_BYTE_SINK *sink )
{
    PB_ASSERT( sink );
    return sink->error;
}
