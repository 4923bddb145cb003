/*
 * Stores. A keyed store with many entries has an index from key to serial number; entries stand in the order of their
 * serial numbers, so that the index stays right when one is removed. The index is only written by setters: a shared
 * store may be read by several threads. Stores may be nested deeper than the stack would bear: freeing, comparing and
 * printing keep their own.
 */
#include <algorithm>
#include <pb/pb_text.hpp>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace {

struct Entry {
    uint64_t serial;
    pb::Ref<PB_STRING> key; // null in an array
    pb::Ref<PB_OBJ> content;
    bool bare;

    PB_STRING *value() const { return as<PB_STRING>(); }
    PB_STORE *store() const { return as<PB_STORE>(); }

private:
    template <class T>
    T *as() const
    {
        return content->sort == pb::Class<T>::sort() ? reinterpret_cast<T *>( content.get() ) : nullptr;
    }
};

/** The number of entries at which a store gets its index. */
constexpr std::size_t indexFrom = 16;

/** The code points of a string as bytes, for hashing and comparing; valid while the string is held. */
std::string_view bytes( PB_STRING *str )
{
    pb::Chars chars = pb::chars( str );
    return { reinterpret_cast<const char *>( chars.data() ), chars.size_bytes() };
}

} // namespace

struct PB_STORE : PB_OBJ {
    bool array = false;
    std::vector<Entry> entries;
    std::unordered_map<std::string_view, uint64_t> serials; // all keys, or none while there are few
    uint64_t nextSerial = 0;

    Entry *at( PB_INT index );
    Entry *find( PB_STRING *key );
    void append( PB_STRING *key, pb::Ref<PB_OBJ> content, bool bare );
    Entry remove( Entry *entry );
};

/** The entry at a place, or null past the end. */
Entry *PB_STORE::at( PB_INT index )
{
    auto place = static_cast<std::size_t>( index );
    return place < entries.size() ? &entries[place] : nullptr;
}

Entry *PB_STORE::find( PB_STRING *key )
{
    if ( array )
        return nullptr;
    if ( serials.empty() ) {
        auto isKey = [key]( const Entry &entry ) { return bytes( entry.key.get() ) == bytes( key ); };
        auto place = std::find_if( entries.begin(), entries.end(), isKey );
        return place == entries.end() ? nullptr : &*place;
    }
    auto found = serials.find( bytes( key ) );
    if ( found == serials.end() )
        return nullptr;
    auto before = []( const Entry &entry, uint64_t serial ) { return entry.serial < serial; };
    return &*std::lower_bound( entries.begin(), entries.end(), found->second, before );
}

/** `key` is null in an array. */
void PB_STORE::append( PB_STRING *key, pb::Ref<PB_OBJ> content, bool bare )
{
    entries.push_back( { nextSerial++, pb::share( key ), std::move( content ), bare } );
    if ( !serials.empty() ) // an index that is there stays, also when the store has become small again
        serials.emplace( bytes( key ), entries.back().serial );
    else if ( !array && entries.size() >= indexFrom )
        for ( const Entry &entry : entries )
            serials.emplace( bytes( entry.key.get() ), entry.serial );
}

Entry PB_STORE::remove( Entry *entry )
{
    Entry removed = std::move( *entry );
    if ( removed.key )
        serials.erase( bytes( removed.key.get() ) );
    entries.erase( entries.begin() + ( entry - entries.data() ) );
    return removed;
}

/** Empties each store below that nobody else holds before it is let go, so that freeing does not recurse. */
static void pb___StoreFreeFunc( PB_OBJ *obj )
{
    std::vector<Entry> pending = std::move( static_cast<PB_STORE *>( obj )->entries );
    pb::destroy<PB_STORE>( obj );
    while ( !pending.empty() ) {
        Entry entry = std::move( pending.back() );
        pending.pop_back();
        PB_STORE *store = entry.store();
        if ( !store || pb::shared( store ) )
            continue;
        pending.insert(
            pending.end(), std::move_iterator( store->entries.begin() ), std::move_iterator( store->entries.end() ) );
        store->entries.clear();
    }
}

/** Orders two entries by key, kind and text; two stores are 0 here. */
static PB_INT compareEntries( const Entry &thisEntry, const Entry &thatEntry )
{
    if ( thisEntry.key )
        if ( PB_INT order = pbStringCompare( thisEntry.key.get(), thatEntry.key.get() ) )
            return order;
    if ( PB_INT order = pb::order( thisEntry.store() != nullptr, thatEntry.store() != nullptr ) )
        return order;
    return thisEntry.store() ? 0 : pbStringCompare( thisEntry.value(), thatEntry.value() );
}

static PB_INT pb___StoreCompFunc( PB_OBJ *thisObj, PB_OBJ *thatObj )
{
    struct Level {
        PB_STORE *thisStore;
        PB_STORE *thatStore;
        std::size_t next = 0;
    };
    std::vector<Level> path{ { static_cast<PB_STORE *>( thisObj ), static_cast<PB_STORE *>( thatObj ) } };
    while ( !path.empty() ) {
        auto [thisStore, thatStore, next] = path.back();
        if ( thisStore->array != thatStore->array )
            return thisStore->array ? -1 : 1;
        if ( thisStore == thatStore || next == std::min( thisStore->entries.size(), thatStore->entries.size() ) ) {
            if ( PB_INT order = pb::order( thisStore->entries.size(), thatStore->entries.size() ) )
                return order;
            path.pop_back();
            continue;
        }
        ++path.back().next;
        const Entry &thisEntry = thisStore->entries[next];
        const Entry &thatEntry = thatStore->entries[next];
        if ( PB_INT order = compareEntries( thisEntry, thatEntry ) )
            return order;
        if ( thisEntry.store() )
            path.push_back( { thisEntry.store(), thatEntry.store() } );
    }
    return 0;
}

namespace {

/** Collects JSON text (RFC 8259). */
struct JsonWriter {
    std::vector<PB_CHAR> text;

    void put( std::string_view ascii ) { text.insert( text.end(), ascii.begin(), ascii.end() ); }
    void put( pb::Chars chars ) { text.insert( text.end(), chars.begin(), chars.end() ); }
    void quoted( pb::Chars chars );
    void escaped( PB_CHAR ch );
    void open( const PB_STORE &store ) { put( store.array ? "[" : "{" ); }
    void close( const PB_STORE &store ) { put( store.array ? "]" : "}" ); }
    void value( const Entry &entry );
};

void JsonWriter::quoted( pb::Chars chars )
{
    put( "\"" );
    for ( PB_CHAR ch : chars )
        escaped( ch );
    put( "\"" );
}

/** RFC 8259 section 7: the quotation mark, the backslash and what is below U+0020 must be escaped. */
void JsonWriter::escaped( PB_CHAR ch )
{
    static constexpr std::string_view plain = "\"\\\b\f\n\r\t";
    static constexpr std::string_view letters = "\"\\bfnrt";
    static constexpr std::string_view digits = "0123456789abcdef";
    if ( ch >= 0x20 && ch != '"' && ch != '\\' )
        return text.push_back( ch );
    put( "\\" );
    auto place = plain.find( static_cast<char>( ch ) );
    if ( place != std::string_view::npos )
        return put( letters.substr( place, 1 ) );
    put( "u00" );
    put( digits.substr( ch >> 4, 1 ) );
    put( digits.substr( ch & 15, 1 ) );
}

void JsonWriter::value( const Entry &entry )
{
    if ( entry.bare )
        put( pb::chars( entry.value() ) );
    else
        quoted( pb::chars( entry.value() ) );
}

} // namespace

static PB_STRING *pb___StoreToStringFunc( PB_OBJ *obj )
{
    struct Level {
        PB_STORE *store;
        std::size_t next = 0;
    };
    std::vector<Level> path{ { static_cast<PB_STORE *>( obj ) } };
    JsonWriter json;
    json.open( *path.back().store );
    while ( !path.empty() ) {
        auto [store, next] = path.back();
        if ( next == store->entries.size() ) {
            json.close( *store );
            path.pop_back();
            continue;
        }
        ++path.back().next;
        const Entry &entry = store->entries[next];
        if ( next > 0 )
            json.put( "," );
        if ( entry.key ) {
            json.quoted( pb::chars( entry.key.get() ) );
            json.put( ":" );
        }
        if ( entry.store() ) {
            json.open( *entry.store() );
            path.push_back( { entry.store() } );
        } else {
            json.value( entry );
        }
    }
    return pbStringCreateFromCharsCopy( json.text.data(), static_cast<PB_INT>( json.text.size() ) );
}

PB_CLASS_DEFINE( PB_STORE, pbStore, pb___StoreFreeFunc, pb___StoreCompFunc, pb___StoreToStringFunc );

PB_STORE *pbStoreCreate( void )
{
    return pb::create<PB_STORE>();
}

PB_STORE *pbStoreCreateArray( void )
{
    PB_STORE *store = pbStoreCreate();
    store->array = true;
    return store;
}

PB_STORE *pbStoreCreateFrom( PB_STORE *source )
{
    PB_ASSERT( source );
    return pb::create<PB_STORE>( source->array, source->entries, source->serials, source->nextSerial );
}

PB_BOOL pbStoreIsArray( PB_STORE *store )
{
    PB_ASSERT( store );
    return store->array;
}

PB_INT pbStoreLength( PB_STORE *store )
{
    PB_ASSERT( store );
    return static_cast<PB_INT>( store->entries.size() );
}

static pb::Ref<PB_STRING> keyFrom( const char *key, PB_INT length )
{
    PB_ASSERT( key );
    return pb::adopt( pbStringCreateFromCstr( key, length ) );
}

/** Enters content, that the caller has retained already: a store that is set into itself is shared by now, and copied. */
static void setContent( PB_STORE **store, PB_STRING *key, pb::Ref<PB_OBJ> content, bool bare )
{
    PB_ASSERT( !pbStoreIsArray( *store ) );
    PB_STORE &unshared = PB_UNSHARE( store, pbStoreCreateFrom );
    Entry *entry = unshared.find( key );
    if ( !entry )
        return unshared.append( key, std::move( content ), bare );
    entry->bare = bare;
    std::swap( entry->content, content ); // what was there goes when the store is whole again
}

static void setContentAt( PB_STORE **store, PB_INT index, pb::Ref<PB_OBJ> content )
{
    PB_ASSERT( index >= 0 );
    PB_ASSERT( index < pbStoreLength( *store ) );
    PB_STORE &unshared = PB_UNSHARE( store, pbStoreCreateFrom );
    Entry *entry = unshared.at( index );
    entry->bare = false;
    std::swap( entry->content, content );
}

static void appendContent( PB_STORE **store, pb::Ref<PB_OBJ> content )
{
    PB_ASSERT( pbStoreIsArray( *store ) );
    PB_STORE &unshared = PB_UNSHARE( store, pbStoreCreateFrom );
    unshared.append( nullptr, std::move( content ), false );
}

PB_STRING *pbStoreValueCstr( PB_STORE *store, const char *key, PB_INT length )
{
    return pbStoreValue( store, keyFrom( key, length ).get() );
}

PB_STORE *pbStoreStoreCstr( PB_STORE *store, const char *key, PB_INT length )
{
    return pbStoreStore( store, keyFrom( key, length ).get() );
}

static bool parseInt( pb::Chars text, PB_INT &value )
{
    if ( text.size() > 2 && text[0] == '0' && text[1] == 'x' && pb::digitValue( text[2] ) < 16 ) // no sign here
        return pb::scanWhole( text.subspan( 2 ), 16, PB_INT_MAX, value );
    pb::Scan scan = pb::scanInt( text, 10 );
    if ( !scan.ok || scan.length != text.size() )
        return false;
    value = scan.value;
    return true;
}

PB_BOOL pbStoreValueIntCstr( PB_STORE *store, PB_INT *value, const char *key, PB_INT length )
{
    PB_ASSERT( value );
    pb::Ref<PB_STRING> text = pb::adopt( pbStoreValueCstr( store, key, length ) );
    return text && parseInt( pb::chars( text.get() ), *value );
}

PB_BOOL pbStoreValueBoolCstr( PB_STORE *store, PB_BOOL *value, const char *key, PB_INT length )
{
    PB_ASSERT( value );
    pb::Ref<PB_STRING> text = pb::adopt( pbStoreValueCstr( store, key, length ) );
    bool isTrue = text && pbStringEqualsCstr( text.get(), "true", -1 );
    bool isFalse = text && pbStringEqualsCstr( text.get(), "false", -1 );
    if ( isTrue || isFalse )
        *value = isTrue;
    return isTrue || isFalse;
}

PB_BOOL pbStoreHasValueCstr( PB_STORE *store, const char *key, PB_INT length )
{
    return bool( pb::adopt( pbStoreValueCstr( store, key, length ) ) );
}

PB_BOOL pbStoreHasStoreCstr( PB_STORE *store, const char *key, PB_INT length )
{
    return bool( pb::adopt( pbStoreStoreCstr( store, key, length ) ) );
}

void pbStoreSetValueCstr( PB_STORE **store, const char *key, PB_INT length, PB_STRING *value )
{
    pbStoreSetValue( store, keyFrom( key, length ).get(), value );
}

void pbStoreSetValueIntCstr( PB_STORE **store, const char *key, PB_INT length, PB_INT value )
{
    PB_ASSERT( store );
    PB_ASSERT( *store );
    pb::Ref<PB_STRING> text = pb::format( "%i", value );
    setContent( store, keyFrom( key, length ).get(), pb::share( pb::obj( text.get() ) ), true );
}

void pbStoreSetValueBoolCstr( PB_STORE **store, const char *key, PB_INT length, PB_BOOL value )
{
    PB_ASSERT( store );
    PB_ASSERT( *store );
    pb::Ref<PB_STRING> text = pb::string( value ? "true" : "false" );
    setContent( store, keyFrom( key, length ).get(), pb::share( pb::obj( text.get() ) ), true );
}

void pbStoreSetStoreCstr( PB_STORE **store, const char *key, PB_INT length, PB_STORE *value )
{
    pbStoreSetStore( store, keyFrom( key, length ).get(), value );
}

void pbStoreDelCstr( PB_STORE **store, const char *key, PB_INT length )
{
    pbStoreDel( store, keyFrom( key, length ).get() );
}

PB_STRING *pbStoreKeyAt( PB_STORE *store, PB_INT index )
{
    PB_ASSERT( store );
    PB_ASSERT( index >= 0 );
    Entry *entry = store->at( index );
    return entry ? entry->key.retained() : nullptr;
}

PB_STRING *pbStoreValueAt( PB_STORE *store, PB_INT index )
{
    PB_ASSERT( store );
    PB_ASSERT( index >= 0 );
    Entry *entry = store->at( index );
    return entry ? pb::share( entry->value() ).give() : nullptr;
}

PB_STORE *pbStoreStoreAt( PB_STORE *store, PB_INT index )
{
    PB_ASSERT( store );
    PB_ASSERT( index >= 0 );
    Entry *entry = store->at( index );
    return entry ? pb::share( entry->store() ).give() : nullptr;
}

void pbStoreSetValueAt( PB_STORE **store, PB_INT index, PB_STRING *value )
{
    PB_ASSERT( store );
    PB_ASSERT( *store );
    PB_ASSERT( value );
    setContentAt( store, index, pb::share( pb::obj( value ) ) );
}

void pbStoreSetStoreAt( PB_STORE **store, PB_INT index, PB_STORE *value )
{
    PB_ASSERT( store );
    PB_ASSERT( *store );
    PB_ASSERT( value );
    setContentAt( store, index, pb::share( pb::obj( value ) ) );
}

void pbStoreDelAt( PB_STORE **store, PB_INT index )
{
    PB_ASSERT( store );
    PB_ASSERT( *store );
    PB_ASSERT( index >= 0 );
    PB_ASSERT( index < pbStoreLength( *store ) );
    PB_STORE &unshared = PB_UNSHARE( store, pbStoreCreateFrom );
    Entry removed = unshared.remove( unshared.at( index ) );
}

void pbStoreAppendValue( PB_STORE **store, PB_STRING *value )
{
    PB_ASSERT( store );
    PB_ASSERT( *store );
    PB_ASSERT( value );
    appendContent( store, pb::share( pb::obj( value ) ) );
}

void pbStoreAppendStore( PB_STORE **store, PB_STORE *value )
{
    PB_ASSERT( store );
    PB_ASSERT( *store );
    PB_ASSERT( value );
    appendContent( store, pb::share( pb::obj( value ) ) );
}

PB_STRING *pbStoreValue( PB_STORE *store, PB_STRING *key )
{
    PB_ASSERT( store );
    PB_ASSERT( key );
    Entry *entry = store->find( key );
    return entry ? pb::share( entry->value() ).give() : nullptr;
}

PB_STORE *pbStoreStore( PB_STORE *store, PB_STRING *key )
{
    PB_ASSERT( store );
    PB_ASSERT( key );
    Entry *entry = store->find( key );
    return entry ? pb::share( entry->store() ).give() : nullptr;
}

void pbStoreSetValue( PB_STORE **store, PB_STRING *key, PB_STRING *value )
{
    PB_ASSERT( store );
    PB_ASSERT( *store );
    PB_ASSERT( key );
    PB_ASSERT( value );
    setContent( store, key, pb::share( pb::obj( value ) ), false );
}

void pbStoreSetStore( PB_STORE **store, PB_STRING *key, PB_STORE *value )
{
    PB_ASSERT( store );
    PB_ASSERT( *store );
    PB_ASSERT( key );
    PB_ASSERT( value );
    setContent( store, key, pb::share( pb::obj( value ) ), false );
}

void pbStoreDel( PB_STORE **store, PB_STRING *key )
{
    PB_ASSERT( store );
    PB_ASSERT( *store );
    PB_ASSERT( key );
    PB_ASSERT( !pbStoreIsArray( *store ) );
    if ( !( *store )->find( key ) )
        return;
    PB_STORE &unshared = PB_UNSHARE( store, pbStoreCreateFrom );
    Entry removed = unshared.remove( unshared.find( key ) );
}

/** Takes away digits at the beginning; whether there were any. */
static bool skipDigits( pb::Chars &text )
{
    std::size_t length = text.size();
    while ( !text.empty() && text[0] >= '0' && text[0] <= '9' )
        text = text.subspan( 1 );
    return text.size() < length;
}

static bool skipAnyOf( pb::Chars &text, std::string_view ascii )
{
    if ( text.empty() || text[0] > 0x7F || ascii.find( static_cast<char>( text[0] ) ) == std::string_view::npos )
        return false;
    text = text.subspan( 1 );
    return true;
}

/** RFC 8259 section 6. */
static bool isJsonNumber( pb::Chars text )
{
    skipAnyOf( text, "-" );
    if ( !skipAnyOf( text, "0" ) && !skipDigits( text ) )
        return false;
    if ( skipAnyOf( text, "." ) && !skipDigits( text ) )
        return false;
    if ( skipAnyOf( text, "eE" ) ) {
        skipAnyOf( text, "+-" );
        if ( !skipDigits( text ) )
            return false;
    }
    return text.empty();
}

static bool mayBeBare( const Entry &entry )
{
    PB_STRING *value = entry.value();
    if ( !value )
        return false;
    for ( const char *word : { "true", "false", "null" } )
        if ( pbStringEqualsCstr( value, word, -1 ) )
            return true;
    return isJsonNumber( pb::chars( value ) );
}

PB_BOOL pbStoreIsBareAt( PB_STORE *store, PB_INT index )
{
    PB_ASSERT( store );
    PB_ASSERT( index >= 0 );
    Entry *entry = store->at( index );
    return entry && entry->bare;
}

void pbStoreSetBareAt( PB_STORE **store, PB_INT index, PB_BOOL bare )
{
    PB_ASSERT( store );
    PB_ASSERT( *store );
    PB_ASSERT( index >= 0 );
    PB_ASSERT( index < pbStoreLength( *store ) );
    PB_STORE &unshared = PB_UNSHARE( store, pbStoreCreateFrom );
    Entry *entry = unshared.at( index );
    entry->bare = bare && mayBeBare( *entry );
}
