/*
 * Vocabularies. Both kinds are a list of names and values in order of value, searched from the front: they have a
 * handful of members. Values, so no lock: a writer holds the only reference.
 */
#include <algorithm>
#include <bit>
#include <pb/pb_text.hpp>
#include <vector>

namespace {

struct Member {
    pb::Ref<PB_STRING> name;
    uint64_t value;
};

/** Names and what they stand for, in order of value; among equal values, of when they were added. */
class Vocabulary {
public:
    void add( const char *name, PB_INT length, PB_INT value )
    {
        Member member{ pb::adopt( pbStringCreateFromCstr( name, length ) ), static_cast<uint64_t>( value ) };
        auto place = std::upper_bound( members.begin(), members.end(), member.value,
            []( uint64_t number, const Member &other ) { return number < other.value; } );
        members.insert( place, std::move( member ) );
    }
    const Member *named( pb::Chars name ) const
    {
        return find(
            [name]( const Member &member ) { return std::ranges::equal( pb::chars( member.name.get() ), name ); } );
    }
    const Member *namedCstr( const char *name, PB_INT length ) const
    {
        return find(
            [name, length]( const Member &member ) { return pbStringEqualsCstr( member.name.get(), name, length ); } );
    }
    const Member *valued( PB_INT value ) const
    {
        return find( [value]( const Member &member ) { return member.value == static_cast<uint64_t>( value ); } );
    }
    PB_INT compare( const Vocabulary &other ) const
    {
        for ( std::size_t at = 0; at < std::min( members.size(), other.members.size() ); ++at ) {
            const Member &a = members[at];
            const Member &b = other.members[at];
            if ( a.value != b.value )
                return pb::order( a.value, b.value );
            if ( PB_INT names = pbStringCompare( a.name.get(), b.name.get() ) )
                return names;
        }
        return pb::order( members.size(), other.members.size() );
    }
    auto begin() const { return members.begin(); }
    auto end() const { return members.end(); }

private:
    template <class Condition>
    const Member *find( Condition condition ) const
    {
        auto found = std::find_if( members.begin(), members.end(), condition );
        return found == members.end() ? nullptr : &*found;
    }
    std::vector<Member> members;
};

template <class T>
PB_INT compareVocabularies( PB_OBJ *thisObj, PB_OBJ *thatObj )
{
    return static_cast<T *>( thisObj )->vocabulary.compare( static_cast<T *>( thatObj )->vocabulary );
}

template <class T>
T *createVocabularyFrom( T *source )
{
    PB_ASSERT( source );
    return pb::copy( *source );
}

/** Whether a name is in an enumeration or a flag set, which aborts call `handle`. */
template <class T>
PB_BOOL hasName( T *object, const char *handle, const char *name, PB_INT length )
{
    if ( !object )
        pb___Abort( nullptr, __FILE__, __LINE__, handle );
    PB_ASSERT( name || length == 0 );
    PB_ASSERT( length >= -1 );
    return object->vocabulary.namedCstr( name, length ) != nullptr;
}

} // namespace

/** What both classes have: the standard functions, Create, CreateFrom, and whether a name is in it. */
#define VOCABULARY_DEFINE( NAME, prefix, handle, Has )                                      \
    struct NAME : PB_OBJ {                                                                  \
        Vocabulary vocabulary;                                                              \
    };                                                                                      \
    PB_CLASS_DEFINE( NAME, prefix, pb::destroy<NAME>, compareVocabularies<NAME>, nullptr ); \
    NAME *prefix##Create( void )                                                            \
    {                                                                                       \
        return pb::create<NAME>();                                                          \
    }                                                                                       \
    NAME *prefix##CreateFrom( NAME *source )                                                \
    {                                                                                       \
        return createVocabularyFrom( source );                                              \
    }                                                                                       \
    PB_BOOL prefix##Has( NAME *handle, const char *name, PB_INT length )                    \
    {                                                                                       \
        return hasName( handle, #handle, name, length );                                    \
    }                                                                                       \
    static_assert( true )

VOCABULARY_DEFINE( PB_ENUM, pbEnum, enm, HasCstr );
VOCABULARY_DEFINE( PB_FLAGSET, pbFlagset, set, HasFlagCstr );

void pbEnumAddCstr( PB_ENUM **enm, const char *name, PB_INT length, PB_INT value )
{
    PB_ASSERT( enm );
    PB_ASSERT( *enm );
    PB_ASSERT( value >= 0 );
    PB_ASSERT( !pbEnumHasCstr( *enm, name, length ) );
    PB_ASSERT( !( *enm )->vocabulary.valued( value ) );
    PB_ENUM &unshared = PB_UNSHARE( enm, pbEnumCreateFrom );
    unshared.vocabulary.add( name, length, value );
}

PB_INT pbEnumParse( PB_ENUM *enm, PB_STRING *text )
{
    PB_ASSERT( enm );
    PB_ASSERT( text );
    const Member *member = enm->vocabulary.named( pb::chars( text ) );
    return member ? static_cast<PB_INT>( member->value ) : -1;
}

PB_STRING *pbEnumGenerate( PB_ENUM *enm, PB_INT value )
{
    PB_ASSERT( enm );
    const Member *member = enm->vocabulary.valued( value );
    PB_ASSERT( member );
    return member->name.retained();
}

void pbFlagsetAddFlagCstr( PB_FLAGSET **set, const char *name, PB_INT length, PB_INT value )
{
    PB_ASSERT( set );
    PB_ASSERT( *set );
    PB_ASSERT( std::has_single_bit( static_cast<uint64_t>( value ) ) );
    PB_ASSERT( !pbFlagsetHasFlagCstr( *set, name, length ) );
    PB_FLAGSET &unshared = PB_UNSHARE( set, pbFlagsetCreateFrom );
    unshared.vocabulary.add( name, length, value );
}

PB_INT pbFlagsetParse( PB_FLAGSET *set, PB_STRING *text )
{
    PB_ASSERT( set );
    PB_ASSERT( text );
    uint64_t flags = 0;
    pb::Chars rest = pb::chars( text );
    pb::Chars piece;
    for ( bool more = true; more; ) {
        more = pb::takePiece( rest, '|', piece );
        if ( const Member *member = set->vocabulary.named( pb::trim( more ? piece : rest ) ) )
            flags |= member->value;
    }
    return static_cast<PB_INT>( flags );
}

/** Of several names for one flag only the first is written. */
PB_STRING *pbFlagsetGenerate( PB_FLAGSET *set, PB_INT flags )
{
    PB_ASSERT( set );
    auto rest = static_cast<uint64_t>( flags );
    pb::Ref<PB_STRING> text = pb::adopt( pbStringCreate() );
    for ( const Member &member : set->vocabulary ) {
        if ( !( rest & member.value ) )
            continue;
        if ( pbStringLength( text.get() ) > 0 )
            pbStringAppendChar( text.handle(), '|' );
        pbStringAppend( text.handle(), member.name.get() );
        rest &= ~member.value;
    }
    return text.give();
}
