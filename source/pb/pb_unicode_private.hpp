/*
 * UTF-8 and case folding, a code point at a time, for the library's own files. Readers walk a text and give one code
 * point after the other; they only point at the text, which must stay where it is.
 */
#ifndef PB_UNICODE_PRIVATE_HPP
#define PB_UNICODE_PRIVATE_HPP

#include <array>
#include <cstring>
#include <pb/pb_text.hpp>

namespace pb {

constexpr PB_CHAR charReplacement = 0xFFFD;

/** The bytes of a Cstr argument and its length. */
inline std::string_view cstrView( const char *cstr, PB_INT length )
{
    return { cstr, length < 0 ? std::strlen( cstr ) : static_cast<std::size_t>( length ) };
}

/** What stands at the beginning of a text that does not begin with ASCII. */
struct Utf8Sequence {
    PB_CHAR ch;
    uint16_t length;
    bool wellFormed;
};
Utf8Sequence decodeBeyondAscii( std::string_view utf8 );

/** Reads UTF-8 (RFC 3629). What is ill-formed gives U+FFFD, one for each maximal part of a sequence. */
class Utf8Reader {
public:
    explicit Utf8Reader( std::string_view utf8 ) : rest( utf8 ) {}

    bool next( PB_CHAR &ch )
    {
        if ( rest.empty() )
            return false;
        ch = static_cast<PB_BYTE>( rest.front() );
        std::size_t length = 1;
        if ( ch > 0x7F ) [[unlikely]] {
            Utf8Sequence sequence = decodeBeyondAscii( rest );
            ch = sequence.ch;
            length = sequence.length;
            valid = valid && sequence.wellFormed;
        }
        rest.remove_prefix( length );
        return true;
    }
    /** Whether all that was read so far was well-formed. */
    bool wellFormed() const { return valid; }

private:
    std::string_view rest;
    bool valid = true;
};

/** Reads code points. */
class CharsReader {
public:
    explicit CharsReader( Chars text ) : rest( text ) {}

    bool next( PB_CHAR &ch )
    {
        if ( rest.empty() )
            return false;
        ch = rest.front();
        rest = rest.subspan( 1 );
        return true;
    }

private:
    Chars rest;
};

/** What one code point becomes under full case folding: one to three code points. */
struct CaseFold {
    std::array<PB_CHAR, 4> chars;
    std::size_t count;
};
CaseFold caseFoldBeyondAscii( PB_CHAR ch );

inline PB_CHAR caseFoldAscii( PB_CHAR ch )
{
    return ch >= 'A' && ch <= 'Z' ? ch + ( 'a' - 'A' ) : ch;
}

/** Reads what another reader gives under full case folding. */
template <class Reader>
class CaseFoldReader {
public:
    explicit CaseFoldReader( Reader unfolded ) : source( unfolded ) {}

    bool next( PB_CHAR &ch )
    {
        if ( at < folded.count ) {
            ch = folded.chars[at++];
            return true;
        }
        if ( !source.next( ch ) )
            return false;
        if ( ch <= 0x7F ) [[likely]] {
            ch = caseFoldAscii( ch );
            return true;
        }
        folded = caseFoldBeyondAscii( ch );
        ch = folded.chars[0];
        at = 1;
        return true;
    }

private:
    Reader source;
    CaseFold folded{};
    std::size_t at = 0;
};

/** Whether two readers give the same text. */
template <class ReaderA, class ReaderB>
bool sameText( ReaderA a, ReaderB b )
{
    PB_CHAR charA;
    PB_CHAR charB;
    while ( a.next( charA ) ) {
        if ( !b.next( charB ) || charA != charB )
            return false;
    }
    return !b.next( charB );
}

} // namespace pb

#endif
