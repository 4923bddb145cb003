/*
 * The exchange with the kernel over a netlink socket of its own for each request. Runs on the caller's thread, no state. The
 * kernel answers a request within sendmsg, so that receiving does not wait.
 */
#include <algorithm>
#include <cstring>
#include <in/nw/in_nw_rtnetlink_private.hpp>
#include <in/nw/in_nw_trace_private.hpp>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

namespace {

constexpr PB_INT align( PB_INT length )
{
    return ( length + NLMSG_ALIGNTO - 1 ) / NLMSG_ALIGNTO * NLMSG_ALIGNTO;
}

/** Reads a record in the byte order of the host. */
template <class T>
bool tryRead( PB_DECODER *dec, T &record )
{
    return pbDecoderTryReadBytes( dec, reinterpret_cast<PB_BYTE *>( &record ), sizeof record );
}

/** A netlink socket with an address that the kernel chooses, or none. */
pb::Fd tryOpen( TR_STREAM *stream )
{
    pb::Fd fd( socket( AF_NETLINK, SOCK_DGRAM | SOCK_CLOEXEC, 0 ) );
    if ( !fd ) {
        in::traceErrno( stream, "[in___NwInterfaceImpRtnetlinkTalk()] socket(): %~s" );
        return {};
    }
    sockaddr_nl address{};
    address.nl_family = AF_NETLINK;
    if ( bind( fd.get(), reinterpret_cast<const sockaddr *>( &address ), sizeof address ) != 0 ) {
        in::traceErrno( stream, "[in___NwInterfaceImpRtnetlinkTalk()] bind(): %~s" );
        return {};
    }
    return fd;
}

bool trySend( TR_STREAM *stream, const pb::Fd &fd, std::span<const PB_BYTE> request )
{
    sockaddr_nl kernel{};
    kernel.nl_family = AF_NETLINK;
    iovec bytes{ const_cast<PB_BYTE *>( request.data() ), request.size() };
    msghdr message{};
    message.msg_name = &kernel;
    message.msg_namelen = sizeof kernel;
    message.msg_iov = &bytes;
    message.msg_iovlen = 1;
    if ( sendmsg( fd.get(), &message, 0 ) >= 0 )
        return true;
    in::traceErrno( stream, "[in___NwInterfaceImpRtnetlinkTalk()] sendmsg(): %~s" );
    return false;
}

/** The next datagram, whole, or null. */
pb::Ref<PB_BUFFER> tryReceive( TR_STREAM *stream, const pb::Fd &fd )
{
    std::array<PB_BYTE, 2048> datagram;
    iovec bytes{ datagram.data(), datagram.size() };
    msghdr message{};
    message.msg_iov = &bytes;
    message.msg_iovlen = 1;
    ssize_t count = recvmsg( fd.get(), &message, MSG_WAITALL );
    if ( count < 0 ) {
        in::traceErrno( stream, "[in___NwInterfaceImpRtnetlinkTalk()] recvmsg(): %~s" );
        return {};
    }
    if ( message.msg_flags & MSG_TRUNC ) {
        trStreamTextCstr( stream, "[in___NwInterfaceImpRtnetlinkTalk()] MSG_TRUNC", -1 );
        return {};
    }
    return pb::adopt( pbBufferCreateFromBytesCopy( datagram.data(), count ) );
}

} // namespace

in::AddressRequest::AddressRequest(
    uint16_t type, uint16_t flags, uint8_t family, uint8_t prefixLength, uint32_t interfaceIndex )
    : length( NLMSG_LENGTH( sizeof( ifaddrmsg ) ) )
{
    nlmsghdr header{};
    header.nlmsg_len = static_cast<uint32_t>( length );
    header.nlmsg_type = type;
    header.nlmsg_flags = static_cast<uint16_t>( flags | NLM_F_REQUEST | NLM_F_ACK );
    ifaddrmsg body{};
    body.ifa_family = family;
    body.ifa_prefixlen = prefixLength;
    body.ifa_index = interfaceIndex;
    std::memcpy( buffer.data(), &header, sizeof header );
    std::memcpy( buffer.data() + NLMSG_HDRLEN, &body, sizeof body );
}

bool in::AddressRequest::tryAddAttribute( uint16_t type, std::span<const PB_BYTE> data )
{
    if ( data.size() > UINT16_MAX )
        return false;
    rtattr attribute{ static_cast<uint16_t>( RTA_LENGTH( data.size() ) ), type };
    std::size_t begin = RTA_ALIGN( length );
    std::size_t end = begin + RTA_ALIGN( RTA_LENGTH( data.size() ) );
    if ( end > buffer.size() )
        return false;
    std::memcpy( buffer.data() + begin, &attribute, sizeof attribute );
    std::ranges::copy( data, buffer.data() + begin + RTA_LENGTH( 0 ) );
    length = end;
    auto total = static_cast<uint32_t>( length );
    std::memcpy( buffer.data() + offsetof( nlmsghdr, nlmsg_len ), &total, sizeof total );
    return true;
}

std::optional<int32_t> in::findNetlinkAnswer( PB_BUFFER *datagram )
{
    pb::Ref<PB_DECODER> dec = pb::adopt( pbDecoderCreate( datagram ) );
    nlmsghdr header;
    while ( tryRead( dec.get(), header ) ) {
        PB_INT body = PB_INT_FROM( header.nlmsg_len ) - PB_INT_FROM( sizeof header );
        if ( body < 0 || body > pbDecoderRemaining( dec.get() ) )
            return {};
        if ( header.nlmsg_type == NLMSG_ERROR ) {
            int32_t code;
            return body >= PB_INT_FROM( sizeof code ) && tryRead( dec.get(), code ) ? code : -EBADMSG;
        }
        // The last message of a datagram need not be padded.
        pbDecoderTrySkip( dec.get(), std::min( align( body ), pbDecoderRemaining( dec.get() ) ) );
    }
    return {};
}

std::optional<int32_t> in::rtnetlinkTalk( TR_STREAM *stream, std::span<const PB_BYTE> request )
{
    pb::Fd fd = tryOpen( stream );
    if ( !fd || !trySend( stream, fd, request ) )
        return {};
    while ( pb::Ref<PB_BUFFER> datagram = tryReceive( stream, fd ) ) {
        if ( std::optional<int32_t> answer = findNetlinkAnswer( datagram.get() ) )
            return answer;
    }
    return {};
}
