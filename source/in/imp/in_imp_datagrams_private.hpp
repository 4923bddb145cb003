/*
 * Datagrams between the thread that reads them and the users who take them: a reader that takes many off a socket in one
 * call, and batches of them, each as large as what it holds.
 *
 * The kernel hands over datagrams of one sender that came right behind one another as one message, when a socket asks for
 * that (UDP_GRO, udp(7)): a train. They stay together until a user takes one.
 */
#ifndef IN_IMP_DATAGRAMS_PRIVATE_HPP
#define IN_IMP_DATAGRAMS_PRIVATE_HPP

#include <array>
#include <cstring>
#include <list>
#include <memory>
#include <netinet/in.h>
#include <pb/pb.hpp>
#include <sys/socket.h>
#include <vector>

namespace in {

/** Datagrams of one sender, back to back; most of the time just one. The bytes belong to who hands it out. */
struct DatagramTrain {
    std::array<PB_BYTE, sizeof( sockaddr_in6 )> sender; // its socket address
    PB_INT senderLength;
    const PB_BYTE *bytes;
    PB_INT byteCount; // of all
    PB_INT size;      // bytes of each; the last one may have fewer

    PB_INT count() const { return byteCount <= size ? 1 : ( byteCount + size - 1 ) / size; }
    /** Takes the first ones off, `datagrams` of them at most. */
    DatagramTrain take( PB_INT datagrams );
};

/** Datagrams in the order in which they came, in one piece of memory. */
class DatagramBatch {
public:
    static std::size_t sizeFor( const DatagramTrain &train )
    {
        return sizeof train + static_cast<std::size_t>( train.byteCount );
    }

    explicit DatagramBatch( std::size_t size ) { memory.reserve( size ); }
    /** How many are left. */
    PB_INT count() const { return left; }
    void append( const DatagramTrain &train );
    /** Takes the first datagram off. Its bytes are valid as long as the batch. */
    DatagramTrain take();

private:
    std::vector<PB_BYTE> memory;
    std::size_t taken = 0;
    PB_INT left = 0;
    DatagramTrain current{}; // the train that is being taken
    PB_INT currentLeft = 0;
};

/** Reads datagrams off sockets, several in one system call. Belongs to one thread, which keeps it. */
class DatagramReader {
public:
    static constexpr std::size_t MESSAGES_MAX = 64;
    static constexpr std::size_t MESSAGE_MAX = 65535; // bytes, of a train too

    DatagramReader();
    /** Reads what is there, at most `limit` messages; how many, 0 for none. errno as recvmmsg leaves it. */
    std::size_t read( int fd, std::size_t limit );
    /** The messages that were read last; valid until the next read. */
    DatagramTrain at( std::size_t index ) const;

private:
    // One cache line more than a power of two, so that the beginnings of the buffers do not compete for the same places
    // in the cache.
    static constexpr std::size_t STRIDE = 65536 + 64;

    struct alignas( cmsghdr ) Control {
        std::array<PB_BYTE, CMSG_SPACE( sizeof( int ) )> bytes;
    };

    std::unique_ptr<PB_BYTE[]> memory = std::make_unique_for_overwrite<PB_BYTE[]>( MESSAGES_MAX * STRIDE );
    std::array<mmsghdr, MESSAGES_MAX> messages{};
    std::array<iovec, MESSAGES_MAX> parts{};
    std::array<std::array<PB_BYTE, sizeof( sockaddr_in6 )>, MESSAGES_MAX> senders{};
    std::array<Control, MESSAGES_MAX> controls{};
    std::size_t used = 0; // messages of the last read
};

/** Asks the kernel for trains, best effort. */
void askForTrains( int fd );

} // namespace in

#endif
