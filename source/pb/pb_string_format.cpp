/*
 * Formatted strings. The text is collected on the stack and becomes a string in one allocation; a long one spills. A
 * malformed directive ends the reading, since what its argument is cannot be known. No state, any thread.
 */
#include <algorithm>
#include <pb/pb_unicode_private.hpp>

namespace {

/** Collects code points. */
class Output {
public:
    void put( PB_CHAR ch )
    {
        if ( used == local.size() )
            spill();
        local[used++] = ch;
    }
    void put( pb::Chars text )
    {
        for ( PB_CHAR ch : text )
            put( ch );
    }
    void put( std::string_view utf8 )
    {
        pb::Utf8Reader reader( utf8 );
        for ( PB_CHAR ch; reader.next( ch ); )
            put( ch );
    }
    void fill( PB_CHAR ch, std::size_t length, std::size_t width )
    {
        for ( ; length < width; ++length )
            put( ch );
    }
    PB_STRING *give()
    {
        if ( !spilled )
            return pbStringCreateFromCharsCopy( local.data(), PB_INT_FROM( used ) );
        spill();
        return spilled.give();
    }

private:
    void spill()
    {
        if ( !spilled )
            spilled = pb::adopt( pbStringCreate() );
        pbStringAppendChars( spilled.handle(), local.data(), PB_INT_FROM( used ) );
        used = 0;
    }
    std::array<PB_CHAR, 256> local;
    std::size_t used = 0;
    pb::Ref<PB_STRING> spilled;
};

constexpr unsigned widthMax = 999;

/** What stands between the per cent sign and the letter. */
struct Directive {
    bool consume = false;
    bool upper = false;
    bool zeros = false;
    unsigned width = 0;
    unsigned radix = 0;
    char letter = 0;
};

bool take( std::string_view &text, char ch )
{
    if ( !text.starts_with( ch ) )
        return false;
    text.remove_prefix( 1 );
    return true;
}

/** A decimal number without leading zeros, 0 when there is none; above the largest width it stops growing. */
unsigned takeNumber( std::string_view &text )
{
    unsigned number = 0;
    while ( !text.empty() && text[0] >= ( number ? '0' : '1' ) && text[0] <= '9' ) {
        number = std::min( number * 10 + static_cast<unsigned>( text[0] - '0' ), widthMax + 1 );
        text.remove_prefix( 1 );
    }
    return number;
}

/** Whether the letter is one, and goes with what stands before it. */
bool fits( const Directive &directive )
{
    switch ( directive.letter ) {
    case 'i':
        return !directive.consume;
    case 's':
    case 'o':
        return !directive.upper && !directive.zeros && !directive.radix;
    case 'b':
    case 'c':
        return !directive.consume && !directive.upper && !directive.zeros && !directive.radix;
    default:
        return false;
    }
}

bool takeDirective( std::string_view &text, Directive &directive )
{
    directive.consume = take( text, '~' );
    directive.upper = take( text, '^' );
    directive.zeros = take( text, '0' );
    directive.width = takeNumber( text );
    if ( directive.width > widthMax || ( directive.zeros && !directive.width ) )
        return false;
    if ( take( text, '!' ) ) {
        directive.radix = takeNumber( text );
        if ( directive.radix < 2 || directive.radix > 36 )
            return false;
    }
    if ( text.empty() )
        return false;
    directive.letter = text.front();
    text.remove_prefix( 1 );
    return fits( directive );
}

/** Zeros come after the sign and make up the number of digits; blanks come before it and count it. */
void putInt( Output &output, const Directive &directive, PB_INT value )
{
    auto magnitude = static_cast<uint64_t>( value );
    bool negative = value < 0;
    pb::CharWriter<64> digits;
    digits.number( negative ? 0 - magnitude : magnitude, directive.radix ? directive.radix : 10, 1, directive.upper );
    std::size_t length = digits.chars().size();
    if ( !directive.zeros )
        output.fill( ' ', length + negative, directive.width );
    if ( negative )
        output.put( PB_CHAR{ '-' } );
    if ( directive.zeros )
        output.fill( '0', length, directive.width );
    output.put( digits.chars() );
}

/** Any other text, code points or ASCII. */
template <class Text>
void putText( Output &output, const Directive &directive, Text text )
{
    output.fill( ' ', text.size(), directive.width );
    output.put( text );
}

void putObj( Output &output, const Directive &directive, PB_OBJ *argument )
{
    pb::Ref<PB_OBJ> consumed;
    if ( directive.consume )
        consumed = pb::adopt( argument );
    if ( !argument )
        return putText( output, directive, std::string_view( "null" ) );
    pb::Ref<PB_STRING> text = pb::adopt( pbObjToString( argument ) );
    putText( output, directive, pb::chars( text.get() ) );
}

/** Reads the arguments of one call. */
class Formatter {
public:
    explicit Formatter( va_list list ) { va_copy( arguments, list ); }
    ~Formatter() { va_end( arguments ); }
    Formatter( const Formatter & ) = delete;
    Formatter &operator=( const Formatter & ) = delete;

    PB_STRING *format( std::string_view rest )
    {
        while ( true ) {
            std::size_t sign = rest.find( '%' );
            output.put( rest.substr( 0, sign ) );
            if ( sign == std::string_view::npos )
                return output.give();
            rest.remove_prefix( sign + 1 );
            if ( take( rest, '%' ) )
                output.put( PB_CHAR{ '%' } );
            else if ( Directive directive; takeDirective( rest, directive ) )
                putArgument( directive );
            else
                return nullptr;
        }
    }

private:
    void putArgument( const Directive &directive )
    {
        switch ( directive.letter ) {
        case 'i':
            return putInt( output, directive, va_arg( arguments, PB_INT ) );
        case 'b': // PB_BOOL is passed as an int
            return putText( output, directive, std::string_view( va_arg( arguments, int ) ? "true" : "false" ) );
        case 'c': {
            PB_CHAR ch = va_arg( arguments, PB_CHAR );
            return putText( output, directive, pb::Chars( &ch, 1 ) );
        }
        default:
            return putObj( output, directive, va_arg( arguments, PB_OBJ * ) );
        }
    }

    Output output;
    va_list arguments;
};

} // namespace

PB_STRING *pbStringCreateFromFormatCstr( const char *format, PB_INT length, ... )
{
    va_list arguments;
    va_start( arguments, length );
    PB_STRING *str = pbStringCreateFromFormatCstrVa( format, length, arguments );
    va_end( arguments );
    return str;
}

PB_STRING *pbStringCreateFromFormatCstrVa( const char *format, PB_INT length, va_list arguments )
{
    PB_ASSERT( format || length == 0 );
    PB_ASSERT( length >= -1 );
    return Formatter( arguments ).format( pb::cstrView( format, length ) );
}
