/* Writing and reading stamps. */
#include <tool/tool_datagram.hpp>

namespace {

constexpr uint32_t MAGIC = 0x7176696e; // "qvin"

uint8_t *put( uint8_t *to, uint64_t value, unsigned byteCount )
{
    for ( unsigned i = byteCount; i-- > 0; )
        *to++ = static_cast<uint8_t>( value >> ( 8 * i ) );
    return to;
}

bool get( PB_DECODER *decoder, uint64_t &value, unsigned byteCount )
{
    value = 0;
    PB_INT part = 0;
    for ( ; byteCount > 0 && pbDecoderTryReadInt32( decoder, &part ); byteCount -= 4 )
        value = value << 32 | static_cast<uint64_t>( part );
    return byteCount == 0;
}

} // namespace

void tool::Stamp::write( std::vector<uint8_t> &bytes ) const
{
    uint8_t *to = put( bytes.data(), MAGIC, 4 );
    to = put( to, stream, 4 );
    to = put( to, number, 8 );
    put( to, static_cast<uint64_t>( sentAt ), 8 );
}

std::optional<tool::Stamp> tool::Stamp::read( PB_BUFFER *payload )
{
    pb::Ref<PB_DECODER> decoder = pb::adopt( pbDecoderCreate( payload ) );
    uint64_t magic;
    uint64_t stream;
    uint64_t number;
    uint64_t sentAt;
    if ( !get( decoder.get(), magic, 4 ) || magic != MAGIC || !get( decoder.get(), stream, 4 ) ||
         !get( decoder.get(), number, 8 ) || !get( decoder.get(), sentAt, 8 ) )
        return {};
    return Stamp{ static_cast<uint32_t>( stream ), number, static_cast<int64_t>( sentAt ) };
}
