/*
 * Datagrams between the thread that reads them and the users who take them: a reader that takes many off a socket in one
 * call, and batches of them, each as large as what it holds.
 */
#ifndef IN_IMP_DATAGRAMS_PRIVATE_HPP
#define IN_IMP_DATAGRAMS_PRIVATE_HPP

#include <array>
#include <cstring>
#include <memory>
#include <netinet/in.h>
#include <pb/pb.hpp>
#include <sys/socket.h>
#include <vector>

namespace in {

/** One datagram: its sender's socket address, and its bytes, which belong to who hands it out. */
struct Datagram {
    std::array<PB_BYTE, sizeof( sockaddr_in6 )> sender;
    PB_INT senderLength;
    const PB_BYTE *bytes;
    PB_INT byteCount;
};

/** Datagrams in the order in which they came, back to back in one piece of memory. */
class DatagramBatch {
public:
    static std::size_t sizeFor( PB_INT byteCount )
    {
        return sizeof( Datagram ) + static_cast<std::size_t>( byteCount );
    }

    explicit DatagramBatch( std::size_t size ) { memory.reserve( size ); }
    bool empty() const { return taken == memory.size(); }
    void append( const Datagram &datagram )
    {
        auto *header = reinterpret_cast<const PB_BYTE *>( &datagram );
        memory.insert( memory.end(), header, header + sizeof datagram );
        memory.insert( memory.end(), datagram.bytes, datagram.bytes + datagram.byteCount );
    }
    /** Takes the first one off. Its bytes are valid as long as the batch. */
    Datagram take()
    {
        Datagram datagram;
        std::memcpy( &datagram, memory.data() + taken, sizeof datagram );
        datagram.bytes = memory.data() + taken + sizeof datagram;
        taken += sizeFor( datagram.byteCount );
        return datagram;
    }

private:
    std::vector<PB_BYTE> memory;
    std::size_t taken = 0;
};

/** Reads datagrams off sockets, several in one system call. Belongs to one thread, which keeps it. */
class DatagramReader {
public:
    static constexpr std::size_t BATCH_MAX = 64;
    static constexpr std::size_t DATAGRAM_MAX = 65535; // bytes

    DatagramReader();
    /** Reads what is there, at most `limit` datagrams; how many, 0 for none. errno as recvmmsg leaves it. */
    std::size_t read( int fd, std::size_t limit );
    /** The datagrams that were read last; valid until the next read. */
    Datagram at( std::size_t index ) const;

private:
    // One cache line more than a power of two, so that the beginnings of the buffers do not compete for the same places
    // in the cache.
    static constexpr std::size_t STRIDE = 65536 + 64;

    std::unique_ptr<PB_BYTE[]> memory = std::make_unique_for_overwrite<PB_BYTE[]>( BATCH_MAX * STRIDE );
    std::array<mmsghdr, BATCH_MAX> messages{};
    std::array<iovec, BATCH_MAX> parts{};
    std::array<std::array<PB_BYTE, sizeof( sockaddr_in6 )>, BATCH_MAX> senders{};
};

} // namespace in

#endif
