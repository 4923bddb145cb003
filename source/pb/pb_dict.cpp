/*
 * Dictionaries: a balanced tree of references, ordered by pbObjCompare. What a setter takes out is let go when the
 * dictionary is whole again, because the last reference may run any free function.
 */
#include <iterator>
#include <map>
#include <pb/pb_containers_private.hpp>

using Entries = std::map<pb::Ref<PB_OBJ>, pb::Ref<PB_OBJ>, pb::ObjectOrder>;

struct PB_DICT : PB_OBJ {
    Entries entries;

    PB_INT length() const { return static_cast<PB_INT>( entries.size() ); }
};

static PB_INT pb___DictCompFunc( PB_OBJ *thisObj, PB_OBJ *thatObj )
{
    const Entries &thisEntries = static_cast<PB_DICT *>( thisObj )->entries;
    const Entries &thatEntries = static_cast<PB_DICT *>( thatObj )->entries;
    auto that = thatEntries.begin();
    for ( const auto &[key, value] : thisEntries ) {
        if ( that == thatEntries.end() )
            return 1;
        if ( PB_INT order = pb::compareObjects( key.get(), that->first.get() ) )
            return order;
        if ( PB_INT order = pb::compareObjects( value.get(), that->second.get() ) )
            return order;
        ++that;
    }
    return that == thatEntries.end() ? 0 : -1;
}

static PB_STRING *pb___DictToStringFunc( PB_OBJ *obj )
{
    pb::Ref<PB_STRING> text = pb::string( "{" );
    for ( const auto &[key, value] : static_cast<PB_DICT *>( obj )->entries ) {
        if ( pbStringLength( text.get() ) > 1 )
            pbStringAppendCstr( text.handle(), ", ", -1 );
        pb::appendText( text, key.get() );
        pbStringAppendCstr( text.handle(), ": ", -1 );
        pb::appendText( text, value.get() );
    }
    pbStringAppendChar( text.handle(), '}' );
    return text.give();
}

PB_CLASS_DEFINE( PB_DICT, pbDict, pb::destroy<PB_DICT>, pb___DictCompFunc, pb___DictToStringFunc );

PB_DICT *pbDictCreate( void )
{
    return pb::create<PB_DICT>();
}

PB_DICT *pbDictCreateFrom( PB_DICT *source )
{
    PB_ASSERT( source );
    return pb::create<PB_DICT>( source->entries );
}

PB_INT pbDictLength( PB_DICT *dict )
{
    PB_ASSERT( dict );
    return dict->length();
}

PB_BOOL pbDictHas( PB_DICT *dict, PB_OBJ *key )
{
    PB_ASSERT( dict );
    PB_ASSERT( key );
    return dict->entries.find( key ) != dict->entries.end();
}

PB_OBJ *pbDictValue( PB_DICT *dict, PB_OBJ *key )
{
    PB_ASSERT( dict );
    PB_ASSERT( key );
    auto entry = dict->entries.find( key );
    return entry == dict->entries.end() ? nullptr : entry->second.retained();
}

PB_OBJ *pbDictKeyAt( PB_DICT *dict, PB_INT index )
{
    PB_ASSERT( dict );
    PB_ASSERT( index >= 0 );
    PB_ASSERT( index < pbDictLength( dict ) );
    return std::next( dict->entries.begin(), index )->first.retained();
}

PB_OBJ *pbDictValueAt( PB_DICT *dict, PB_INT index )
{
    PB_ASSERT( dict );
    PB_ASSERT( index >= 0 );
    PB_ASSERT( index < pbDictLength( dict ) );
    return std::next( dict->entries.begin(), index )->second.retained();
}

PB_VECTOR *pbDictKeysVector( PB_DICT *dict )
{
    PB_ASSERT( dict );
    pb::Ref<PB_VECTOR> keys = pb::adopt( pbVectorCreate() );
    for ( const auto &entry : dict->entries )
        pbVectorAppend( keys.handle(), entry.first.get() );
    return keys.give();
}

PB_VECTOR *pbDictValuesVector( PB_DICT *dict )
{
    PB_ASSERT( dict );
    pb::Ref<PB_VECTOR> values = pb::adopt( pbVectorCreate() );
    for ( const auto &entry : dict->entries )
        pbVectorAppend( values.handle(), entry.second.get() );
    return values.give();
}

void pbDictSet( PB_DICT **dict, PB_OBJ *key, PB_OBJ *value )
{
    PB_ASSERT( dict );
    PB_ASSERT( *dict );
    PB_ASSERT( key );
    PB_ASSERT( value );
    // Shared first: a dictionary that is entered into itself counts as shared by now, and is copied.
    pb::Ref<PB_OBJ> newKey = pb::share( key );
    pb::Ref<PB_OBJ> newValue = pb::share( value );
    PB_DICT &unshared = PB_UNSHARE( dict, pbDictCreateFrom );
    auto place = unshared.entries.lower_bound( key );
    if ( place != unshared.entries.end() && pb::compareObjects( place->first.get(), key ) == 0 )
        std::swap( place->second, newValue );
    else
        unshared.entries.emplace_hint( place, std::move( newKey ), std::move( newValue ) );
}

void pbDictDel( PB_DICT **dict, PB_OBJ *key )
{
    PB_ASSERT( dict );
    PB_ASSERT( *dict );
    PB_ASSERT( key );
    if ( !pbDictHas( *dict, key ) )
        return;
    PB_DICT &unshared = PB_UNSHARE( dict, pbDictCreateFrom );
    auto removed = unshared.entries.extract( unshared.entries.find( key ) );
}

void pbDictClear( PB_DICT **dict )
{
    PB_ASSERT( dict );
    PB_ASSERT( *dict );
    if ( pb::shared( *dict ) ) {
        pb::Ref<PB_DICT> replaced = pb::adopt( std::exchange( *dict, pbDictCreate() ) );
        return;
    }
    auto removed = std::exchange( ( *dict )->entries, {} );
}
