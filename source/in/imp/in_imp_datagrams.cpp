/* Reading datagrams in batches. The reader's thread owns all of it. */
#include <algorithm>
#include <in/imp/in_imp_datagrams_private.hpp>
#include <netinet/udp.h>

namespace in {

DatagramTrain DatagramTrain::take( PB_INT datagrams )
{
    DatagramTrain first = *this;
    first.byteCount = std::min( byteCount, datagrams * size );
    bytes += first.byteCount;
    byteCount -= first.byteCount;
    return first;
}

void DatagramBatch::append( const DatagramTrain &train )
{
    const auto *header = reinterpret_cast<const PB_BYTE *>( &train );
    memory.insert( memory.end(), header, header + sizeof train );
    memory.insert( memory.end(), train.bytes, train.bytes + train.byteCount );
    left += train.count();
}

DatagramTrain DatagramBatch::take()
{
    if ( currentLeft == 0 ) {
        std::memcpy( &current, memory.data() + taken, sizeof current );
        current.bytes = memory.data() + taken + sizeof current;
        taken += sizeFor( current );
        currentLeft = current.count();
    }
    --currentLeft;
    --left;
    return current.take( 1 );
}

DatagramReader::DatagramReader()
{
    for ( std::size_t i = 0; i < MESSAGES_MAX; ++i ) {
        parts[i] = { memory.get() + i * STRIDE, MESSAGE_MAX };
        messages[i].msg_hdr.msg_name = senders[i].data();
        messages[i].msg_hdr.msg_iov = &parts[i];
        messages[i].msg_hdr.msg_iovlen = 1;
        messages[i].msg_hdr.msg_control = &controls[i];
    }
    used = MESSAGES_MAX;
}

std::size_t DatagramReader::read( int fd, std::size_t limit )
{
    for ( std::size_t i = 0; i < used; ++i ) { // the kernel has written over these
        messages[i].msg_hdr.msg_namelen = sizeof( sockaddr_in6 );
        messages[i].msg_hdr.msg_controllen = sizeof( Control );
    }
    int count = recvmmsg( fd, messages.data(), static_cast<unsigned>( std::min( limit, MESSAGES_MAX ) ), 0, nullptr );
    used = count > 0 ? static_cast<std::size_t>( count ) : 0;
    return used;
}

/** How long each datagram of a message is, where the kernel says so: where there are several. */
static PB_INT segmentSize( const mmsghdr &message )
{
    int size = 0;
    const cmsghdr *control = CMSG_FIRSTHDR( &message.msg_hdr );
    if ( control && control->cmsg_level == SOL_UDP && control->cmsg_type == UDP_GRO )
        std::memcpy( &size, CMSG_DATA( control ), sizeof size );
    return size > 0 ? size : message.msg_len;
}

DatagramTrain DatagramReader::at( std::size_t index ) const
{
    const mmsghdr &message = messages[index];
    return { senders[index], message.msg_hdr.msg_namelen, static_cast<const PB_BYTE *>( parts[index].iov_base ),
        message.msg_len, segmentSize( message ) };
}

void askForTrains( int fd )
{
    int on = 1;
    (void)setsockopt( fd, SOL_UDP, UDP_GRO, &on, sizeof on );
}

} // namespace in
