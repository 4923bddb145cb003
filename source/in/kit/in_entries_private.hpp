/*
 * The values of options, and one entry of a store: reading it gives the value or why the entry is passed over. No state.
 */
#ifndef IN_ENTRIES_PRIVATE_HPP
#define IN_ENTRIES_PRIVATE_HPP

#include <in/kit/in_report_private.hpp>
#include <pb/pb.hpp>

namespace in {

/** A value and whether it was left at its default, rather than chosen. A chosen value may equal the default. */
template <class T>
struct Setting {
    T value{};
    bool isDefault = true;
};

/** What a member holds; of a setting, its value. */
template <class T>
const T &valueOf( const T &member )
{
    return member;
}
template <class T>
const T &valueOf( const Setting<T> &member )
{
    return member.value;
}
/** The same, to be changed; a setting counts as chosen from here on. */
template <class T>
T &changed( T &member )
{
    return member;
}
template <class T>
T &changed( Setting<T> &member )
{
    member.isDefault = false;
    return member.value;
}

inline PB_INT compareValues( bool a, bool b )
{
    return pb::order( a, b );
}
inline PB_INT compareValues( PB_INT a, PB_INT b )
{
    return pb::order( a, b );
}
template <class T>
PB_INT compareValues( const pb::Ref<T> &a, const pb::Ref<T> &b )
{
    return pb::compareOptional( pb::obj( a.get() ), pb::obj( b.get() ) );
}

/** Default before chosen, then by value. */
template <class T>
PB_INT compareValues( const Setting<T> &a, const Setting<T> &b )
{
    if ( a.isDefault != b.isDefault )
        return a.isDefault ? -1 : 1;
    return compareValues( a.value, b.value );
}

/** Why an entry that has no value of the wanted type is passed over. */
inline Ignored notRead( PB_STORE *store, const char *key )
{
    pb::Ref<PB_STRING> text = pb::adopt( pbStoreValueCstr( store, key, -1 ) );
    return text ? notParsed( text.get() ) : wrongType;
}
inline Ignored readValue( PB_STORE *store, const char *key, bool &value )
{
    PB_BOOL read;
    if ( !pbStoreValueBoolCstr( store, &read, key, -1 ) )
        return notRead( store, key );
    value = read;
    return {};
}
inline Ignored readValue( PB_STORE *store, const char *key, PB_INT &value )
{
    return pbStoreValueIntCstr( store, &value, key, -1 ) ? Ignored() : notRead( store, key );
}
/** An integer within bounds. */
inline Ignored readWithin( PB_STORE *store, const char *key, PB_INT lowest, PB_INT highest, PB_INT &value )
{
    Ignored reason = readValue( store, key, value );
    return reason || ( value >= lowest && value <= highest ) ? reason : outOfRange( value );
}
/** An object made from a stored text. */
template <class T>
Ignored readObject( pb::Ref<PB_STRING> stored, T *( *tryFrom )( PB_STRING *text ), pb::Ref<T> &object )
{
    if ( !stored )
        return wrongType;
    object = pb::adopt( tryFrom( stored.get() ) );
    return object ? Ignored() : notParsed( stored.get() );
}
/** An object made from a sub-store. */
template <class T>
Ignored readObject( pb::Ref<PB_STORE> stored, T *( *tryFrom )( PB_STORE *store ), pb::Ref<T> &object )
{
    if ( !stored )
        return wrongType;
    object = pb::adopt( tryFrom( stored.get() ) );
    return object ? Ignored() : leftOut;
}
/** An integer that is stored as a name. */
inline Ignored readName( PB_STORE *store, const char *key, PB_STRING *( *toText )( PB_INT value ),
    PB_INT ( *fromText )( PB_STRING *text ), bool ( *valid )( PB_INT value ), PB_INT &value )
{
    pb::Ref<PB_STRING> text = pb::adopt( pbStoreValueCstr( store, key, -1 ) );
    if ( !text )
        return wrongType;
    value = fromText( text.get() );
    return valid( value ) ? Ignored() : unknownName( pb::chars( text.get() ), namesOf( toText, valid ) );
}

inline void writeValue( PB_STORE **store, const char *key, bool value )
{
    pbStoreSetValueBoolCstr( store, key, -1, value );
}
inline void writeValue( PB_STORE **store, const char *key, PB_INT value )
{
    pbStoreSetValueIntCstr( store, key, -1, value );
}
/** Writes a text that is handed over. */
inline void writeText( PB_STORE **store, const char *key, PB_STRING *owned )
{
    pbStoreSetValueCstr( store, key, -1, pb::adopt( owned ).get() );
}
inline void writeStore( PB_STORE **store, const char *key, PB_STORE *owned )
{
    pbStoreSetStoreCstr( store, key, -1, pb::adopt( owned ).get() );
}

inline bool hasEntry( PB_STORE *store, const char *key )
{
    return pbStoreHasValueCstr( store, key, -1 ) || pbStoreHasStoreCstr( store, key, -1 );
}

} // namespace in

#endif
