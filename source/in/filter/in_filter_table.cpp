/* Filter tables: from rows to ranges. No state. */
#include <in/filter/in_filter_table_private.hpp>

namespace {

template <class Number>
Number numberOf( IN_ADDRESS *ina )
{
    const PB_BYTE *bytes = inAddressBacking( ina );
    Number number = 0;
    for ( std::size_t i = 0; i < sizeof( Number ); ++i )
        number = static_cast<Number>( number << 8 | bytes[i] );
    return number;
}

/** Adds what a row permits; nothing when it wants more bits to match than there are. */
template <class Number>
void addRow( std::vector<in::Range<Number>> &ranges, IN_ADDRESS *ina, PB_INT bits )
{
    constexpr PB_INT length = sizeof( Number ) * 8;
    if ( bits > length )
        return;
    PB_INT freeBits = bits < 0 ? 0 : length - bits;
    Number free = freeBits == length ? ~Number( 0 ) : static_cast<Number>( ( Number( 1 ) << freeBits ) - 1 );
    auto number = numberOf<Number>( ina );
    ranges.push_back( { static_cast<Number>( number & ~free ), number | free } );
}

} // namespace

in::FilterTable::FilterTable( pb::Ref<PB_VECTOR> addresses, pb::Ref<PB_VECTOR> matchingBits )
    : addressesVector( std::move( addresses ) ), matchingBitsVector( std::move( matchingBits ) )
{
    PB_INT count = pbVectorLength( addressesVector.get() );
    PB_ASSERT( pbVectorLength( matchingBitsVector.get() ) == count );
    std::vector<Range<uint32_t>> permitted4;
    std::vector<Range<Number6>> permitted6;
    for ( PB_INT i = 0; i < count; ++i ) {
        auto ina = pb::adoptAs<IN_ADDRESS>( pbVectorObjAt( addressesVector.get(), i ) );
        auto bits = pb::adoptAs<PB_BOXED_INT>( pbVectorObjAt( matchingBitsVector.get(), i ) );
        if ( inAddressIsV4( ina.get() ) )
            addRow( permitted4, ina.get(), pbBoxedIntValue( bits.get() ) );
        else
            addRow( permitted6, ina.get(), pbBoxedIntValue( bits.get() ) );
    }
    ranges4 = RangeSet<uint32_t>( std::move( permitted4 ) );
    ranges6 = RangeSet<Number6>( std::move( permitted6 ) );
}

bool in::FilterTable::permits( IN_ADDRESS *ina ) const
{
    return inAddressIsV4( ina ) ? ranges4.has( numberOf<uint32_t>( ina ) ) : ranges6.has( numberOf<Number6>( ina ) );
}
