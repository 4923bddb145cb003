/*
 * Punycode, RFC 3492. Numbers have 64 bits: encoding cannot overflow with any text that fits into memory, decoding can.
 * No state.
 */
#include <algorithm>
#include <in/dns/in_dns_punycode.h>
#include <pb/pb_text.hpp>
#include <vector>

namespace {

// RFC 3492 section 5
constexpr PB_INT BASE = 36;
constexpr PB_INT TMIN = 1;
constexpr PB_INT TMAX = 26;
constexpr PB_INT SKEW = 38;
constexpr PB_INT DAMP = 700;
constexpr PB_INT INITIAL_BIAS = 72;
constexpr PB_INT INITIAL_N = 128;
constexpr PB_CHAR DELIMITER = '-';

bool isBasic( PB_CHAR ch )
{
    return ch < INITIAL_N;
}

/** A text whose length is bounded; -1 for no bound. */
class Result {
public:
    explicit Result( PB_INT maxLength ) : limit( maxLength ) {}

    PB_INT length() const { return static_cast<PB_INT>( text.size() ); }
    bool append( PB_CHAR ch ) { return insert( length(), ch ); }
    /** False when there is no room left. */
    bool insert( PB_INT place, PB_CHAR ch )
    {
        if ( length() == limit )
            return false;
        text.insert( text.begin() + place, ch );
        return true;
    }
    bool append( pb::Chars chars )
    {
        return std::all_of( chars.begin(), chars.end(), [this]( PB_CHAR ch ) { return append( ch ); } );
    }
    PB_STRING *toString() const { return pbStringCreateFromCharsCopy( text.data(), length() ); }

private:
    std::vector<PB_CHAR> text;
    PB_INT limit;
};

/** Bias adaptation, section 6.1. */
PB_INT adapt( PB_INT delta, PB_INT pointCount, bool first )
{
    delta /= first ? DAMP : 2;
    delta += delta / pointCount;
    PB_INT k = 0;
    for ( ; delta > ( BASE - TMIN ) * TMAX / 2; k += BASE )
        delta /= BASE - TMIN;
    return k + ( BASE - TMIN + 1 ) * delta / ( delta + SKEW );
}

PB_INT threshold( PB_INT k, PB_INT bias )
{
    return pbIntConstrain( k - bias, TMIN, TMAX );
}

/** a..z for 0..25, 0..9 for 26..35. */
PB_CHAR digitOf( PB_INT value )
{
    return static_cast<PB_CHAR>( value < 26 ? 'a' + value : '0' + value - 26 );
}

/** The value of a digit; BASE for anything else. */
PB_INT valueOf( PB_CHAR digit )
{
    unsigned value = pb::digitValue( digit ); // digits first there
    return value < 10 ? value + 26 : value < 36 ? value - 10 : BASE;
}

/** Appends a generalised variable-length integer, section 3.3; false when there is no room for it. */
bool putInteger( Result &result, PB_INT q, PB_INT bias )
{
    for ( PB_INT k = BASE;; k += BASE ) {
        PB_INT t = threshold( k, bias );
        PB_ASSERT( t >= TMIN && t <= TMAX );
        if ( q < t )
            return result.append( digitOf( q ) );
        PB_ASSERT( t + ( (q-t) % (BASE-t) ) < BASE );
        if ( !result.append( digitOf( t + ( q - t ) % ( BASE - t ) ) ) )
            return false;
        q = ( q - t ) / ( BASE - t );
    }
}

/** Takes such an integer off the input and adds it to `sum`; false when there is none, or the sum is too large. */
bool takeInteger( pb::Chars &input, PB_INT bias, PB_INT &sum )
{
    PB_INT weight = 1;
    for ( PB_INT k = BASE; !input.empty(); k += BASE ) {
        PB_INT digit = valueOf( input.front() );
        input = input.subspan( 1 );
        PB_INT share;
        if ( digit == BASE || __builtin_mul_overflow( digit, weight, &share ) ||
             __builtin_add_overflow( sum, share, &sum ) )
            return false;
        PB_INT t = threshold( k, bias );
        if ( digit < t )
            return true;
        if ( __builtin_mul_overflow( weight, BASE - t, &weight ) )
            return false;
    }
    return false;
}

/** The lowest code point of the text that is not below `n`; there is one. */
PB_INT lowestFrom( pb::Chars text, PB_INT n )
{
    PB_INT lowest = PB_INT_MAX;
    for ( PB_CHAR ch : text )
        if ( ch >= n )
            lowest = std::min<PB_INT>( lowest, ch );
    return lowest;
}

/** Section 6.3, from where the `handled` basic code points have been written. */
bool encodeOthers( pb::Chars input, PB_INT handled, Result &result )
{
    const PB_INT basic = handled;
    PB_INT delta = 0;
    PB_INT bias = INITIAL_BIAS;
    for ( PB_INT n = INITIAL_N; handled < static_cast<PB_INT>( input.size() ); ++n, ++delta ) {
        PB_INT lowest = lowestFrom( input, n );
        delta += ( lowest - n ) * ( handled + 1 );
        n = lowest;
        PB_ASSERT( n < PB_CHAR_MAX );
        for ( PB_CHAR ch : input ) {
            if ( ch < n )
                ++delta;
            if ( ch != n )
                continue;
            if ( !putInteger( result, delta, bias ) )
                return false;
            bias = adapt( delta, handled + 1, handled == basic );
            delta = 0;
            ++handled;
        }
    }
    return true;
}

/** Section 6.2, behind the delimiter. */
bool decodeOthers( pb::Chars input, Result &result )
{
    PB_INT n = INITIAL_N;
    PB_INT bias = INITIAL_BIAS;
    for ( PB_INT i = 0; !input.empty(); ++i ) {
        PB_INT before = i;
        if ( !takeInteger( input, bias, i ) )
            return false;
        PB_INT length = result.length() + 1;
        bias = adapt( i - before, length, before == 0 );
        if ( i / length > PB_CHAR_MAX - n )
            return false;
        n += i / length;
        i %= length;
        if ( !result.insert( i, static_cast<PB_CHAR>( n ) ) )
            return false;
    }
    return true;
}

} // namespace

PB_STRING *inDnsPunycodeTryEncode( PB_STRING *source, PB_INT maxResultLength )
{
    PB_ASSERT( source );
    PB_ASSERT( maxResultLength >= -1 );
    pb::Chars input = pb::chars( source );
    Result result( maxResultLength );
    for ( PB_CHAR ch : input )
        if ( isBasic( ch ) && !result.append( ch ) )
            return nullptr;
    PB_INT basic = result.length();
    if ( basic > 0 && !result.append( DELIMITER ) )
        return nullptr;
    return encodeOthers( input, basic, result ) ? result.toString() : nullptr;
}

PB_STRING *inDnsPunycodeTryDecode( PB_STRING *source, PB_INT maxResultLength )
{
    PB_ASSERT( source );
    PB_ASSERT( maxResultLength >= -1 );
    pb::Chars input = pb::chars( source );
    auto last = std::find( input.rbegin(), input.rend(), DELIMITER );
    std::size_t basic = last == input.rend() ? 0 : static_cast<std::size_t>( input.rend() - last ) - 1;
    Result result( maxResultLength );
    if ( !std::all_of( input.begin(), input.begin() + static_cast<std::ptrdiff_t>( basic ), isBasic ) ||
         !result.append( input.first( basic ) ) )
        return nullptr;
    // a delimiter at the very beginning is none, and so a digit that is none
    return decodeOthers( input.subspan( basic > 0 ? basic + 1 : 0 ), result ) ? result.toString() : nullptr;
}
