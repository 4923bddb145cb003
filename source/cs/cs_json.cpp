/*
 * JSON from and to stores. The parser hands over tokens without saying where they stood, so the reader keeps the place
 * itself: from the end of one token it steps over blanks and one separator to the beginning of the next. The same
 * steps tell, when the parser gives up, what stands there and what should. No state, any thread.
 */
#include <algorithm>
#include <cs/cs_json_private.h>
#include <cstdio>
#include <cstring>
#include <nlohmann/json.hpp>
#include <unordered_set>

namespace {

constexpr std::size_t nestingLimit = 64;
constexpr std::size_t quoteLimit = 60;

bool isBlank( char ch )
{
    return ch == ' ' || ch == '\t' || ch == '\n' || ch == '\r';
}

bool isControl( char ch )
{
    return static_cast<unsigned char>( ch ) < 0x20;
}

bool isAlphanumeric( char ch )
{
    return ( ch >= '0' && ch <= '9' ) || ( ch >= 'a' && ch <= 'z' ) || ( ch >= 'A' && ch <= 'Z' );
}

std::string codePointName( unsigned ch )
{
    char name[16];
    std::snprintf( name, sizeof name, "U+%04X", ch );
    return name;
}

/** The bytes of a text by offset; past the end there are zeros. */
struct Text {
    std::string_view bytes;

    char at( std::size_t offset ) const { return offset < bytes.size() ? bytes[offset] : '\0'; }
    std::size_t begin() const { return bytes.starts_with( "\xEF\xBB\xBF" ) ? 3 : 0; }
    std::size_t skipBlanks( std::size_t offset ) const
    {
        while ( isBlank( at( offset ) ) )
            ++offset;
        return offset;
    }
    /** The offset after a well-formed string that begins at `offset`. */
    std::size_t stringEnd( std::size_t offset ) const
    {
        for ( ++offset; offset < bytes.size() && bytes[offset] != '"'; ++offset )
            offset += bytes[offset] == '\\';
        return offset + 1;
    }
    std::string place( std::size_t offset ) const
    {
        std::size_t line = 1;
        std::size_t column = 1;
        for ( std::size_t i = begin(); i < std::min( offset, bytes.size() ); ++i ) {
            bool continuation = ( bytes[i] & 0xC0 ) == 0x80;
            column = bytes[i] == '\n' ? 1 : column + !continuation;
            line += bytes[i] == '\n';
        }
        return "line " + std::to_string( line ) + ", column " + std::to_string( column );
    }
    /** What stands at an offset, in words. */
    std::string found( std::size_t offset ) const
    {
        if ( offset >= bytes.size() )
            return "the end of the text";
        char ch = bytes[offset];
        if ( ch == '{' )
            return "an object";
        if ( ch == '[' )
            return "an array";
        if ( ch == '"' )
            return "a string";
        if ( ch == '-' || ( ch >= '0' && ch <= '9' ) )
            return "a number";
        if ( static_cast<unsigned char>( ch ) >= 0x80 )
            return "a character beyond ASCII";
        if ( isControl( ch ) || ch == 0x7F )
            return codePointName( static_cast<unsigned char>( ch ) );
        std::size_t length = 1;
        while ( length < quoteLimit && isAlphanumeric( ch ) && isAlphanumeric( at( offset + length ) ) )
            ++length;
        return "\"" + std::string( bytes.substr( offset, length ) ) + "\"";
    }
};

struct Problem {
    std::size_t offset;
    std::string words;
};

/** The four hexadecimal digits of an escape as a UTF-16 unit, -1 when there are none. */
int escapedUnit( const Text &text, std::size_t offset )
{
    if ( text.at( offset ) != '\\' || text.at( offset + 1 ) != 'u' )
        return -1;
    int unit = 0;
    for ( std::size_t i = 2; i < 6; ++i ) {
        PB_INT digit = pbUnicodeHexadecimalDigitValue( static_cast<unsigned char>( text.at( offset + i ) ) );
        if ( digit < 0 )
            return -1;
        unit = unit * 16 + static_cast<int>( digit );
    }
    return unit;
}

/** What is wrong with the escape at `offset`, empty when nothing is; otherwise `length` is how long it is. */
std::string escapeProblem( const Text &text, std::size_t offset, std::size_t &length )
{
    length = 2;
    if ( text.at( offset + 1 ) != 'u' ) {
        bool known = text.at( offset + 1 ) && std::strchr( "\"\\/bfnrt", text.at( offset + 1 ) );
        return known ? "" : "a backslash must be followed by one of \" \\ / b f n r t u";
    }
    length = 6;
    int unit = escapedUnit( text, offset );
    if ( unit < 0 )
        return "\\u must be followed by four hexadecimal digits";
    if ( unit < 0xD800 || unit > 0xDFFF )
        return "";
    int low = escapedUnit( text, offset + 6 );
    length = 12;
    return unit <= 0xDBFF && low >= 0xDC00 && low <= 0xDFFF ? "" : "half of a surrogate pair";
}

/** Why the string that begins at `begin` was refused, the byte at `failed` being the last that the parser saw. */
Problem stringProblem( const Text &text, std::size_t begin, std::size_t failed )
{
    std::size_t length = 1;
    for ( std::size_t i = begin + 1; i < text.bytes.size() && i <= failed; i += length ) {
        char ch = text.bytes[i];
        length = 1;
        if ( isControl( ch ) )
            return { i, "control character " + codePointName( static_cast<unsigned char>( ch ) ) + " in a string" };
        if ( ch != '\\' || i + 1 >= text.bytes.size() )
            continue;
        std::string words = escapeProblem( text, i, length );
        if ( !words.empty() )
            return { i, words };
    }
    if ( failed < text.bytes.size() )
        return { failed, "ill-formed UTF-8" };
    return { begin, "the string does not end" };
}

/** Takes the parser's tokens and builds the stores. */
class Reader {
public:
    explicit Reader( std::string_view json ) : text{ json }, end( text.begin() ) {}

    /** Stops at an entry instead, to learn where it begins. */
    void seek( const cs::JsonPath &path, bool ofKey )
    {
        wanted = &path;
        wantedKey = ofKey;
    }
    bool parse()
    {
        const char *bytes = text.bytes.data();
        bool parsed = nlohmann::json::sax_parse( bytes, bytes + text.bytes.size(), this );
        // the parser takes U+0000 for the end of its input
        return parsed && ( text.skipBlanks( end ) == text.bytes.size() || refused( text.bytes.size() ) );
    }
    pb::Ref<PB_STORE> takeRoot() { return std::move( root ); }
    std::string problem() const { return text.place( failure.offset ) + ": " + failure.words; }
    std::string place() const { return text.place( sought ); }

    bool null() { return bareWord( 4 ); }
    bool boolean( bool value ) { return bareWord( value ? 4 : 5 ); }
    // a zero that is not unsigned was written -0
    bool number_integer( int64_t value ) { return bareWord( value ? std::to_string( value ).size() : 2 ); }
    bool number_unsigned( uint64_t value ) { return bareWord( std::to_string( value ).size() ); }
    bool number_float( double, const std::string &written ) { return bareWord( written.size() ); }
    bool string( std::string &value )
    {
        std::size_t begin = next();
        return beginValue( begin ) && enter( value, false, text.stringEnd( begin ) );
    }
    bool binary( nlohmann::json::binary_t & ) { return false; }
    bool start_object( std::size_t ) { return open( false ); }
    bool start_array( std::size_t ) { return open( true ); }
    bool end_object() { return close(); }
    bool end_array() { return close(); }
    bool key( std::string &name );
    bool parse_error( std::size_t position, const std::string &, const nlohmann::json::exception &exception )
    {
        constexpr int numberOverflow = 406;
        return exception.id == numberOverflow ? fail( next(), "the number is out of range" ) : refused( position );
    }

private:
    struct Frame {
        pb::Ref<PB_STORE> store;
        std::string key{}; /* whose value comes next */
        std::unordered_set<std::string> keys{};
    };
    enum class Last { nothing, open, key, value };

    std::size_t next() const
    {
        std::size_t at = text.skipBlanks( end );
        return text.at( at ) == ',' || text.at( at ) == ':' ? text.skipBlanks( at + 1 ) : at;
    }
    bool inArray() const { return pbStoreIsArray( frames.back().store.get() ); }
    bool fail( std::size_t offset, std::string words )
    {
        failure = { offset, std::move( words ) };
        return false;
    }
    bool refused( std::size_t position );
    bool beginValue( std::size_t begin );
    bool bareWord( std::size_t length );
    bool enter( std::string_view value, bool bare, std::size_t newEnd );
    bool open( bool array );
    bool close();
    bool soughtHere() const;
    bool admitsComma() const { return last == Last::value && !frames.empty(); }
    std::string expected( bool separated ) const;

    Text text;
    std::size_t end; /* of the last token */
    Last last = Last::nothing;
    std::vector<Frame> frames;
    pb::Ref<PB_STORE> root;
    Problem failure{};
    const cs::JsonPath *wanted = nullptr;
    bool wantedKey = false;
    std::size_t sought = 0;
};

bool Reader::soughtHere() const
{
    return wanted && frames.size() == wanted->size() &&
           std::equal( frames.begin(), frames.end(), wanted->begin(),
               []( const Frame &frame, const std::string &key ) { return frame.key == key; } );
}

bool Reader::beginValue( std::size_t begin )
{
    if ( frames.empty() && text.at( begin ) != '{' )
        return fail( begin, "expected an object, found " + text.found( begin ) );
    if ( wantedKey || !soughtHere() )
        return true;
    sought = begin;
    return false;
}

bool Reader::key( std::string &name )
{
    std::size_t begin = next();
    Frame &frame = frames.back();
    if ( !frame.keys.insert( name ).second )
        return fail( begin, "the key " + cs::jsonQuote( pb::string( name ).get() ) + " stands twice" );
    frame.key = name;
    end = text.stringEnd( begin );
    last = Last::key;
    if ( !wantedKey || !soughtHere() )
        return true;
    sought = begin;
    return false;
}

bool Reader::bareWord( std::size_t length )
{
    std::size_t begin = next();
    return beginValue( begin ) && enter( text.bytes.substr( begin, length ), true, begin + length );
}

bool Reader::enter( std::string_view value, bool bare, std::size_t newEnd )
{
    Frame &frame = frames.back();
    pb::Ref<PB_STRING> str = pb::string( value );
    if ( inArray() )
        pbStoreAppendValue( frame.store.handle(), str.get() );
    else
        pbStoreSetValueCstr( frame.store.handle(), frame.key.data(), PB_INT_FROM( frame.key.size() ), str.get() );
    if ( bare )
        pbStoreSetBareAt( frame.store.handle(), pbStoreLength( frame.store.get() ) - 1, true );
    end = newEnd;
    last = Last::value;
    return true;
}

bool Reader::open( bool array )
{
    std::size_t begin = next();
    if ( !beginValue( begin ) )
        return false;
    if ( frames.size() == nestingLimit )
        return fail( begin, "nested deeper than " + std::to_string( nestingLimit ) + " levels" );
    frames.push_back( { pb::adopt( array ? pbStoreCreateArray() : pbStoreCreate() ) } );
    end = begin + 1;
    last = Last::open;
    return true;
}

bool Reader::close()
{
    end = next() + 1;
    last = Last::value;
    pb::Ref<PB_STORE> store = std::move( frames.back().store );
    frames.pop_back();
    if ( frames.empty() ) {
        root = std::move( store );
        return true;
    }
    Frame &frame = frames.back();
    if ( inArray() )
        pbStoreAppendStore( frame.store.handle(), store.get() );
    else
        pbStoreSetStoreCstr( frame.store.handle(), frame.key.data(), PB_INT_FROM( frame.key.size() ), store.get() );
    return true;
}

/** What should stand after the last token, or after the separator that follows it. */
std::string Reader::expected( bool separated ) const
{
    switch ( last ) {
    case Last::nothing:
        return "an object";
    case Last::open:
        return inArray() ? "a value or \"]\"" : "a key or \"}\"";
    case Last::key:
        return separated ? "a value" : "a colon";
    case Last::value:
        break;
    }
    if ( frames.empty() )
        return "the end of the text";
    if ( separated )
        return inArray() ? "a value" : "a key";
    return inArray() ? "a comma or \"]\"" : "a comma or \"}\"";
}

/** Finds words for why the parser gave up after so many bytes. */
bool Reader::refused( std::size_t position )
{
    std::size_t begin = text.skipBlanks( end );
    bool separated = ( text.at( begin ) == ',' && admitsComma() ) || ( text.at( begin ) == ':' && last == Last::key );
    if ( separated )
        begin = text.skipBlanks( begin + 1 );

    // What is of the right kind was refused for what it holds.
    std::string should = expected( separated );
    char ch = text.at( begin );
    bool admitsValue = should.starts_with( "a value" );
    if ( ch == '"' && ( admitsValue || should.starts_with( "a key" ) ) ) {
        failure = stringProblem( text, begin, position - 1 );
        return false;
    }
    if ( admitsValue && ( ch == '-' || ( ch >= '0' && ch <= '9' ) ) )
        return fail( begin, "malformed number" );
    return fail( begin, "expected " + should + ", found " + text.found( begin ) );
}

/** Whether a text may stand in JSON without quotes. */
bool isBareWord( const std::string &text )
{
    return std::all_of( text.begin(), text.end(), []( char ch ) { return ch > ' '; } ) &&
           text.find_first_of( "\"{[" ) == std::string::npos && nlohmann::json::accept( text );
}

void appendQuoted( std::string &out, std::string_view utf8 )
{
    constexpr std::string_view letters = "\b\f\n\r\t\"\\";
    out += '"';
    for ( char ch : utf8 ) {
        std::size_t letter = letters.find( ch );
        if ( letter != std::string_view::npos ) {
            out += '\\';
            out += "bfnrt\"\\"[letter];
        } else if ( isControl( ch ) ) {
            char escape[8];
            std::snprintf( escape, sizeof escape, "\\u%04x", static_cast<unsigned>( ch ) );
            out += escape;
        } else {
            out += ch;
        }
    }
    out += '"';
}

/** Writes a store level by level, since stores may be nested deeper than the stack would bear. */
class Writer {
public:
    explicit Writer( PB_STORE *store )
    {
        begin( pb::share( store ) );
        while ( !levels.empty() )
            step();
        out += '\n';
    }
    std::string out;

private:
    struct Level {
        pb::Ref<PB_STORE> store;
        PB_INT next = 0;
    };

    void begin( pb::Ref<PB_STORE> store )
    {
        out += pbStoreIsArray( store.get() ) ? '[' : '{';
        levels.push_back( { std::move( store ) } );
    }
    void line()
    {
        out += '\n';
        out.append( 4 * levels.size(), ' ' );
    }
    void end()
    {
        pb::Ref<PB_STORE> store = std::move( levels.back().store );
        levels.pop_back();
        if ( pbStoreLength( store.get() ) > 0 )
            line();
        out += pbStoreIsArray( store.get() ) ? ']' : '}';
    }
    void step();

    std::vector<Level> levels;
};

/** Writes the next entry of the innermost store, or its end. */
void Writer::step()
{
    PB_STORE *store = levels.back().store.get();
    PB_INT index = levels.back().next++;
    if ( index == pbStoreLength( store ) ) {
        end();
        return;
    }
    if ( index > 0 )
        out += ',';
    line();
    if ( pb::Ref<PB_STRING> key = pb::adopt( pbStoreKeyAt( store, index ) ) ) {
        appendQuoted( out, pb::text( key.get() ) );
        out += ": ";
    }
    if ( pb::Ref<PB_STORE> inner = pb::adopt( pbStoreStoreAt( store, index ) ) ) {
        begin( std::move( inner ) );
        return;
    }
    std::string value = pb::text( pb::adopt( pbStoreValueAt( store, index ) ).get() );
    if ( pbStoreIsBareAt( store, index ) && isBareWord( value ) )
        out += value;
    else
        appendQuoted( out, value );
}

} // namespace

pb::Ref<PB_STORE> cs::jsonTryDecode( std::string_view json, std::string &problem ) noexcept
{
    Reader reader( json );
    if ( reader.parse() )
        return reader.takeRoot();
    problem = reader.problem();
    return {};
}

std::string cs::jsonPlace( std::string_view json, const JsonPath &path, bool ofKey ) noexcept
{
    Reader reader( json );
    reader.seek( path, ofKey );
    reader.parse();
    return reader.place();
}

std::string cs::jsonEncode( PB_STORE *store )
{
    return std::move( Writer( store ).out );
}

std::string cs::jsonQuote( PB_STRING *str )
{
    bool cut = pbStringLength( str ) > PB_INT_FROM( quoteLimit );
    pb::Ref<PB_STRING> shown = cut ? pb::adopt( pbStringCreateLeading( str, quoteLimit ) ) : pb::share( str );
    std::string out;
    appendQuoted( out, pb::text( shown.get() ) );
    return cut ? out + "..." : out;
}
