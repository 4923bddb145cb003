/* Whether a TCP port is in use on the host, by the kernel's tables of sockets, proc(5). No state. */
#include <cstring>
#include <fcntl.h>
#include <in/imp/in_imp_tcp_private.h>
#include <unistd.h>

namespace {

constexpr std::size_t BLOCK = 65'536; // bytes of one read

/** An address and a port as the tables print them: groups of four bytes, each group reversed. */
std::string tableKey( IN_ADDRESS *address, PB_INT port )
{
    std::string key;
    for ( PB_INT i = 0; i < inAddressLength( address ); ++i )
        key += pb::text( pb::format( "%^02!16i", inAddressByteAt( address, i ^ 3 ) ).get() );
    return key + pb::text( pb::format( ":%^04!16i", port ).get() );
}

bool contains( std::string_view text, const std::string &key )
{
    return memmem( text.data(), text.size(), key.data(), key.size() ) != nullptr;
}

/** Whether a file holds one of the keys, of the same length; read block by block, each searched with the end of the last. */
bool fileContains( const char *path, const std::string &key, const std::string &otherKey )
{
    pb::Fd fd( open( path, O_RDONLY | O_CLOEXEC ) );
    std::string text( BLOCK + key.size(), 0 );
    std::size_t kept = 0;
    while ( fd ) {
        ssize_t count = read( fd.get(), text.data() + kept, BLOCK );
        if ( count < 0 && errno == EINTR )
            continue;
        if ( count <= 0 )
            break;
        std::string_view filled( text.data(), kept + static_cast<std::size_t>( count ) );
        if ( contains( filled, key ) || contains( filled, otherKey ) )
            return true;
        kept = std::min( filled.size(), key.size() - 1 );
        std::memmove( text.data(), filled.data() + filled.size() - kept, kept );
    }
    return false;
}

} // namespace

PB_BOOL in___ImpTcpPortUsed( IN_ADDRESS *address, PB_INT port )
{
    PB_ASSERT( address );
    PB_ASSERT( port == IN_TCP_PORT_ANY || IN_TCP_PORT_OK( port ) );
    bool isV4 = inAddressIsV4( address );
    pb::Ref<IN_ADDRESS> all = pb::adopt( inAddressTryCreateFromCstr( isV4 ? "0.0.0.0" : "::", -1 ) );
    return fileContains(
        isV4 ? "/proc/net/tcp" : "/proc/net/tcp6", tableKey( all.get(), port ), tableKey( address, port ) );
}
