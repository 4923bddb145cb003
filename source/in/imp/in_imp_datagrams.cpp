/* Reading datagrams in batches. The reader's thread owns all of it. */
#include <in/imp/in_imp_datagrams_private.hpp>

namespace in {

DatagramReader::DatagramReader()
{
    for ( std::size_t i = 0; i < BATCH_MAX; ++i ) {
        parts[i] = { memory.get() + i * STRIDE, DATAGRAM_MAX };
        messages[i].msg_hdr.msg_name = senders[i].data();
        messages[i].msg_hdr.msg_iov = &parts[i];
        messages[i].msg_hdr.msg_iovlen = 1;
    }
}

std::size_t DatagramReader::read( int fd, std::size_t limit )
{
    std::size_t asked = std::min( limit, BATCH_MAX );
    for ( std::size_t i = 0; i < asked; ++i )
        messages[i].msg_hdr.msg_namelen = sizeof( sockaddr_in6 );
    int count = recvmmsg( fd, messages.data(), static_cast<unsigned>( asked ), 0, nullptr );
    return count > 0 ? static_cast<std::size_t>( count ) : 0;
}

Datagram DatagramReader::at( std::size_t index ) const
{
    const mmsghdr &message = messages[index];
    return { senders[index], message.msg_hdr.msg_namelen, static_cast<const PB_BYTE *>( parts[index].iov_base ),
        message.msg_len };
}

} // namespace in
