/* Any datagram has an answer in it or none: as offsets into the bytes say, worked out without the decoder. */
#include <cerrno>
#include <cstring>
#include <in/nw/in_nw_rtnetlink_private.hpp>
#include <linux/netlink.h>
#include <span>

namespace {

std::optional<int32_t> expected( std::span<const uint8_t> bytes )
{
    for ( uint64_t offset = 0; offset + sizeof( nlmsghdr ) <= bytes.size(); ) {
        nlmsghdr header;
        std::memcpy( &header, &bytes[offset], sizeof header );
        uint64_t end = offset + header.nlmsg_len;
        if ( header.nlmsg_len < sizeof header || end > bytes.size() )
            break;
        if ( header.nlmsg_type == NLMSG_ERROR ) {
            int32_t code = -EBADMSG;
            if ( header.nlmsg_len >= sizeof header + sizeof code )
                std::memcpy( &code, &bytes[offset + sizeof header], sizeof code );
            return code;
        }
        offset = end + ( 4 - end % 4 ) % 4;
    }
    return {};
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput( const uint8_t *data, size_t size );

extern "C" int LLVMFuzzerTestOneInput( const uint8_t *data, size_t size )
{
    pb::Ref<PB_BUFFER> datagram = pb::adopt( pbBufferCreateFromBytesCopy( data, static_cast<PB_INT>( size ) ) );
    PB_ASSERT( in::findNetlinkAnswer( datagram.get() ) == expected( { data, size } ) );
    return 0;
}
