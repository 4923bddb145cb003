/*
 * What a check of a stored configuration says, and in which words: why restoring passes an entry over, and what is taken
 * but has no effect.
 */
#ifndef IN_REPORT_PRIVATE_HPP
#define IN_REPORT_PRIVATE_HPP

#include <algorithm>
#include <cs/cs.h>
#include <pb/pb_text.hpp>
#include <string>
#include <vector>

namespace in {

/** Why a stored entry is passed over by restoring; no words when it is taken. */
struct Ignored {
    Ignored() = default;
    Ignored( std::nullptr_t ) = delete;
    Ignored( const char *reason ) : words( reason ) {}
    Ignored( std::string reason ) : words( std::move( reason ) ) {}
    explicit operator bool() const { return !words.empty(); }

    std::string words;
};

constexpr const char *wrongType = "wrong type";
constexpr const char *missing = "missing";
/** Of an entry that is a store: what is wrong within it is told under its own keys. */
constexpr const char *leftOut = "left out as a whole";

/** A text as it is shown in a reason: in quotes, on one line, cut when it is long. */
inline std::string quoted( pb::Chars text )
{
    constexpr std::size_t limit = 60;
    std::vector<PB_CHAR> shown( text.begin(), text.begin() + std::ptrdiff_t( std::min( text.size(), limit ) ) );
    std::ranges::replace_if(
        shown, []( PB_CHAR ch ) { return ch < 0x20 || ( ch >= 0x7F && ch < 0xA0 ); }, 0xFFFD );
    pb::Ref<PB_STRING> str = pb::adopt( pbStringCreateFromCharsCopy( shown.data(), PB_INT_FROM( shown.size() ) ) );
    return "\"" + pb::text( str.get() ) + ( text.size() > limit ? "\"..." : "\"" );
}

inline Ignored notParsed( PB_STRING *text )
{
    return quoted( pb::chars( text ) ) + " does not parse";
}

inline Ignored outOfRange( PB_INT value )
{
    return std::to_string( value ) + " is out of range";
}

/** The names of an enumeration that counts from 0. */
inline std::string namesOf( PB_STRING *( *toText )( PB_INT value ), bool ( *valid )( PB_INT value ) )
{
    std::string names;
    for ( PB_INT value = 0; valid( value ); ++value )
        names += ( value ? ", " : "" ) + pb::text( pb::adopt( toText( value ) ).get() );
    return names;
}

inline std::string unknownName( pb::Chars name, const std::string &names )
{
    return "unknown name " + quoted( name ) + " (known: " + names + ")";
}

/** The report of a check: the path of each key that there is something to say about leads to what there is. */
class Report {
public:
    /** `file`, if any, is where to look up what a configuration refers to. */
    explicit Report( CS_CONFIG *optionalFile = nullptr ) : file( optionalFile ) {}

    void add( PB_STRING *path, const std::string &words )
    {
        pb::Ref<PB_STRING> former = pb::adopt( pbStoreValue( entries.get(), path ) );
        std::string all = ( former ? pb::text( former.get() ) + "; " : "" ) + words;
        pbStoreSetValue( entries.handle(), path, pb::string( all ).get() );
    }
    void add( const char *path, const std::string &words ) { add( pb::string( path ).get(), words ); }
    /** Adds what a report on the sub-store under `key` holds. */
    void addAll( const char *key, PB_STORE *inner )
    {
        for ( PB_INT i = 0; i < pbStoreLength( inner ); ++i ) {
            pb::Ref<PB_STRING> path = pb::format( "%~s.%~s", pb::string( key ).give(), pbStoreKeyAt( inner, i ) );
            add( path.get(), pb::text( pb::adopt( pbStoreValueAt( inner, i ) ).get() ) );
        }
    }
    PB_STORE *give() { return entries.give(); }

    CS_CONFIG *const file;

private:
    pb::Ref<PB_STORE> entries = pb::adopt( pbStoreCreate() );
};

} // namespace in

#endif
