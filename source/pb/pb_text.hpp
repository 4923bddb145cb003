/*
 * Reading and writing short texts without an allocation: views of code points that are trimmed, split and scanned in
 * place, and a writer into a fixed array. The string class and the parsers of address texts are built on these.
 */
#ifndef PB_TEXT_HPP
#define PB_TEXT_HPP

#include <algorithm>
#include <array>
#include <cstddef>
#include <pb/pb.hpp>
#include <span>

namespace pb {

/** A view of code points. */
using Chars = std::span<const PB_CHAR>;

inline Chars chars( PB_STRING *str )
{
    return { pbStringBacking( str ), static_cast<std::size_t>( pbStringLength( str ) ) };
}

inline bool isWhiteSpace( PB_CHAR ch )
{
    return ch <= 0x7F ? ch == ' ' || ( ch >= 0x09 && ch <= 0x0D ) : pbUnicodeIsWhiteSpace( ch );
}

inline Chars trimLeading( Chars text )
{
    while ( !text.empty() && isWhiteSpace( text.front() ) )
        text = text.subspan( 1 );
    return text;
}

inline Chars trim( Chars text )
{
    text = trimLeading( text );
    while ( !text.empty() && isWhiteSpace( text.back() ) )
        text = text.first( text.size() - 1 );
    return text;
}

/** Takes the piece before the next separator, and the separator, off the text; false when there is none. */
inline bool takePiece( Chars &text, PB_CHAR separator, Chars &piece )
{
    auto end = std::find( text.begin(), text.end(), separator );
    if ( end == text.end() )
        return false;
    auto length = static_cast<std::size_t>( end - text.begin() );
    piece = text.first( length );
    text = text.subspan( length + 1 );
    return true;
}

/** The pieces of a text between separators: at most `Limit`, the last one holds the rest. */
template <std::size_t Limit>
struct Pieces {
    std::array<Chars, Limit> at{};
    std::size_t count = 0;
};

template <std::size_t Limit>
Pieces<Limit> split( Chars text, PB_CHAR separator )
{
    Pieces<Limit> pieces;
    while ( pieces.count + 1 < Limit && takePiece( text, separator, pieces.at[pieces.count] ) )
        ++pieces.count;
    pieces.at[pieces.count++] = text;
    return pieces;
}

/** 0..35 for an ASCII digit or letter, 36 for anything else. */
inline unsigned digitValue( PB_CHAR ch )
{
    if ( ch >= '0' && ch <= '9' )
        return ch - '0';
    PB_CHAR lower = ch | 0x20;
    return lower >= 'a' && lower <= 'z' && ch <= 0x7F ? lower - 'a' + 10 : 36;
}

/** What scanning an integer found: whether there was one that fits, its value, and how many characters it took. */
struct Scan {
    bool ok = false;
    PB_INT value = 0;
    std::size_t length = 0;
};

/** Scans an optional sign and digits of the base at the beginning of the text. */
inline Scan scanInt( Chars text, unsigned base )
{
    std::size_t at = 0;
    bool negative = !text.empty() && text[0] == '-';
    if ( negative || ( !text.empty() && text[0] == '+' ) )
        at = 1;
    std::size_t firstDigit = at;
    bool fits = true;
    PB_INT value = 0;
    for ( unsigned digit; at < text.size() && ( digit = digitValue( text[at] ) ) < base; ++at ) {
        PB_INT step = negative ? -PB_INT( digit ) : PB_INT( digit );
        fits = fits && !__builtin_mul_overflow( value, PB_INT( base ), &value ) &&
               !__builtin_add_overflow( value, step, &value );
    }
    if ( at == firstDigit )
        return {};
    return { fits, value, at };
}

/** Scans an integer that must be the whole text; an unsigned value above `max` (so any negative one) is none. */
inline bool scanWhole( Chars text, unsigned base, uint64_t max, PB_INT &value )
{
    Scan scan = scanInt( text, base );
    if ( !scan.ok || scan.length != text.size() || static_cast<uint64_t>( scan.value ) > max )
        return false;
    value = scan.value;
    return true;
}

/** Collects at most `Capacity` code points and makes a string of them in one allocation. */
template <std::size_t Capacity>
class CharWriter {
public:
    void put( PB_CHAR ch ) { text[length++] = ch; }
    /** Digits in a base, at least `width` of them, zeros in front; lower case unless `upper`. */
    void number( uint64_t value, unsigned base, unsigned width = 1, bool upper = false )
    {
        const char *digits = upper ? "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ" : "0123456789abcdefghijklmnopqrstuvwxyz";
        std::array<PB_CHAR, 64> reversed;
        unsigned count = 0;
        for ( ; value || count < width; value /= base )
            reversed[count++] = static_cast<PB_CHAR>( digits[value % base] );
        while ( count )
            put( reversed[--count] );
    }
    Chars chars() const { return { text.data(), length }; }
    PB_STRING *toString() const { return pbStringCreateFromCharsCopy( text.data(), static_cast<PB_INT>( length ) ); }

private:
    std::array<PB_CHAR, Capacity> text;
    std::size_t length = 0;
};

} // namespace pb

#endif
