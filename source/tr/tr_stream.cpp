/*
 * Streams and anchors: what they keep, and the records that they make of what happens. A stream's monitor guards its
 * state, and is held while a change of state is delivered, so that sinks are told of changes in the order they were
 * made. Texts and messages are no state; they are made and delivered without it.
 */
#include <algorithm>
#include <atomic>
#include <cstdarg>
#include <cstring>
#include <tr/tr_private.h>

static void tr___StreamFreeFunc( PB_OBJ *obj )
{
    tr::endStream( *static_cast<TR_STREAM *>( obj ) );
    pb::destroy<TR_STREAM>( obj );
}

static PB_STRING *tr___StreamToStringFunc( PB_OBJ *obj )
{
    auto *stream = static_cast<TR_STREAM *>( obj );
    return pb::format( "%~s %i", trStreamName( stream ), stream->number ).give();
}

PB_CLASS_DEFINE( TR_STREAM, trStream, tr___StreamFreeFunc, nullptr, tr___StreamToStringFunc );

TR_STREAM *trStreamCreateCstr( const char *name, PB_INT length )
{
    PB_ASSERT( name );
    static constinit std::atomic<PB_INT> lastNumber = 0;
    TR_STREAM *stream = pb::create<TR_STREAM>();
    stream->number = lastNumber.fetch_add( 1, std::memory_order_relaxed ) + 1;
    stream->name = pb::view( name, length );
    tr::beginStream( *stream );
    return stream;
}

PB_STRING *trStreamName( TR_STREAM *stream )
{
    PB_ASSERT( stream );
    return pb::string( stream->name ).give();
}

PB_INT trStreamNumber( TR_STREAM *stream )
{
    PB_ASSERT( stream );
    return stream->number;
}

static pb::Ref<PB_STORE> notableRecord( TR_STREAM &stream, bool notable )
{
    pb::Ref<PB_STORE> record = tr::record( stream, "notable" );
    pbStoreSetValueBoolCstr( record.handle(), "notable", -1, notable );
    return record;
}

static pb::Ref<PB_STORE> configRecord( TR_STREAM &stream, PB_STORE *config )
{
    pb::Ref<PB_STORE> record = tr::record( stream, "configuration" );
    pbStoreSetStoreCstr( record.handle(), "configuration", -1, config );
    return record;
}

/** What is told of a property; one that was deleted has no value. */
static pb::Ref<PB_STORE> propertyRecord( TR_STREAM &stream, std::string_view key )
{
    pb::Ref<PB_STORE> record = tr::record( stream, "property" );
    pbStoreSetValueCstr( record.handle(), "key", -1, pb::string( key ).get() );
    return record;
}

static void setNotable( TR_STREAM &stream, bool notable )
{
    pb::Lock lock( stream.monitor );
    if ( stream.notable == notable )
        return;
    stream.notable = notable;
    if ( trSystemActive() )
        tr::deliver( stream, notableRecord( stream, notable ) );
}

void trStreamSetNotable( TR_STREAM *stream )
{
    PB_ASSERT( stream );
    setNotable( *stream, true );
}

void trStreamDelNotable( TR_STREAM *stream )
{
    PB_ASSERT( stream );
    setNotable( *stream, false );
}

PB_BOOL trStreamNotable( TR_STREAM *stream )
{
    PB_ASSERT( stream );
    pb::Lock lock( stream->monitor );
    return stream->notable;
}

/** Writes a property's value under a key of a store. */
static void writeValue( const tr::Property &property, PB_STORE **store, std::string_view key )
{
    auto length = static_cast<PB_INT>( key.size() );
    if ( property.value->sort == pbStoreSort() )
        return pbStoreSetStoreCstr( store, key.data(), length, pbStoreFrom( property.value.get() ) );
    pbStoreSetValueCstr( store, key.data(), length, pb::adopt( pbObjToString( property.value.get() ) ).get() );
    pbStoreSetBareAt( store, pbStoreLength( *store ) - 1, property.bare ); // the keys are new each time: it is the last
}

static auto findPropertyLocked( TR_STREAM &stream, std::string_view key ) PB_REQUIRES( stream.monitor )
{
    return std::find_if( stream.properties.begin(), stream.properties.end(),
        [key]( const tr::Property &property ) { return property.key == key; } );
}

static void setProperty( TR_STREAM &stream, std::string_view key, pb::Ref<PB_OBJ> value, bool bare = false )
{
    pb::Lock lock( stream.monitor );
    if ( stream.properties.empty() )
        stream.properties.reserve( 2 ); // what services have
    auto property = findPropertyLocked( stream, key );
    if ( property == stream.properties.end() )
        property = stream.properties.insert( property, { std::string( key ), {}, false } );
    std::swap( property->value, value );
    property->bare = bare;
    if ( !trSystemActive() )
        return;
    pb::Ref<PB_STORE> record = propertyRecord( stream, key );
    writeValue( *property, record.handle(), "value" );
    tr::deliver( stream, record );
}

void trStreamSetPropertyCstr( TR_STREAM *stream, const char *key, PB_INT length, PB_STRING *value )
{
    PB_ASSERT( stream );
    PB_ASSERT( key );
    PB_ASSERT( value );
    setProperty( *stream, pb::view( key, length ), pb::share( pbStringObj( value ) ) );
}

void trStreamSetPropertyIntCstr( TR_STREAM *stream, const char *key, PB_INT length, PB_INT value )
{
    PB_ASSERT( stream );
    PB_ASSERT( key );
    setProperty( *stream, pb::view( key, length ), pb::share( pb::obj( pb::format( "%i", value ).get() ) ), true );
}

void trStreamSetPropertyBoolCstr( TR_STREAM *stream, const char *key, PB_INT length, PB_BOOL value )
{
    PB_ASSERT( stream );
    PB_ASSERT( key );
    setProperty( *stream, pb::view( key, length ), pb::share( pb::obj( pb::format( "%b", value ).get() ) ), true );
}

void trStreamSetPropertyStoreCstr( TR_STREAM *stream, const char *key, PB_INT length, PB_STORE *value )
{
    PB_ASSERT( stream );
    PB_ASSERT( key );
    PB_ASSERT( value );
    setProperty( *stream, pb::view( key, length ), pb::share( pbStoreObj( value ) ) );
}

void trStreamSetPropertyObjCstr( TR_STREAM *stream, const char *key, PB_INT length, PB_OBJ *value )
{
    PB_ASSERT( stream );
    PB_ASSERT( key );
    PB_ASSERT( value );
    setProperty( *stream, pb::view( key, length ), pb::share( value ) );
}

void trStreamDelPropertyCstr( TR_STREAM *stream, const char *key, PB_INT length )
{
    PB_ASSERT( stream );
    PB_ASSERT( key );
    pb::Ref<PB_OBJ> value; // goes after the lock
    pb::Lock lock( stream->monitor );
    auto property = findPropertyLocked( *stream, pb::view( key, length ) );
    if ( property == stream->properties.end() )
        return;
    value = std::move( property->value );
    stream->properties.erase( property );
    if ( trSystemActive() )
        tr::deliver( *stream, propertyRecord( *stream, pb::view( key, length ) ) );
}

PB_STORE *trStreamProperties( TR_STREAM *stream )
{
    PB_ASSERT( stream );
    pb::Ref<PB_STORE> store = pb::adopt( pbStoreCreate() );
    pb::Lock lock( stream->monitor );
    for ( const tr::Property &property : stream->properties )
        writeValue( property, store.handle(), property.key );
    return store.give();
}

void trStreamSetConfiguration( TR_STREAM *stream, PB_STORE *config )
{
    PB_ASSERT( stream );
    PB_ASSERT( config );
    pb::Ref<PB_STORE> shared = pb::share( config );
    pb::Lock lock( stream->monitor );
    std::swap( stream->config, shared ); // the old one goes after the lock
    if ( trSystemActive() )
        tr::deliver( *stream, configRecord( *stream, config ) );
}

void trStreamSetPayloadTypeCstr( TR_STREAM *stream, const char *type, PB_INT length )
{
    PB_ASSERT( stream );
    PB_ASSERT( type );
    pb::Lock lock( stream->monitor );
    stream->payloadType = pb::view( type, length );
}

pb::Ref<PB_VECTOR> tr::describeLocked( TR_STREAM &stream )
{
    pb::Ref<PB_VECTOR> records = pb::adopt( pbVectorCreate() );
    auto add = [&records](
                   const pb::Ref<PB_STORE> &record ) { pbVectorAppend( records.handle(), pb::obj( record.get() ) ); };
    add( tr::record( stream, "stream" ) );
    for ( const tr::Property &property : stream.properties ) {
        pb::Ref<PB_STORE> record = propertyRecord( stream, property.key );
        writeValue( property, record.handle(), "value" );
        add( record );
    }
    if ( stream.config )
        add( configRecord( stream, stream.config.get() ) );
    if ( stream.notable )
        add( notableRecord( stream, true ) );
    return records;
}

/** A malformed format is no reason to end the process: the text says what was meant. */
static pb::Ref<PB_STRING> formatted( const char *format, PB_INT length, va_list arguments )
{
    pb::Ref<PB_STRING> text = pb::adopt( pbStringCreateFromFormatCstrVa( format, length, arguments ) );
    return text ? std::move( text ) : pb::adopt( pbStringCreateFromCstr( format, length ) );
}

static void writeText( TR_STREAM &stream, PB_STRING *text )
{
    pb::Ref<PB_STORE> record = tr::record( stream, "text" );
    pbStoreSetValueCstr( record.handle(), "text", -1, text );
    tr::deliver( stream, record );
}

void tr___StreamText( TR_STREAM *stream, const char *text, PB_INT length )
{
    PB_ASSERT( stream );
    PB_ASSERT( text );
    pb::Ref<PB_STRING> str = pb::adopt( pbStringCreateFromCstr( text, length ) );
    writeText( *stream, str.get() );
}

void tr___StreamTextFormat( TR_STREAM *stream, const char *format, PB_INT length, ... )
{
    PB_ASSERT( stream );
    PB_ASSERT( format );
    va_list arguments;
    va_start( arguments, length );
    pb::Ref<PB_STRING> text = formatted( format, length, arguments );
    va_end( arguments );
    writeText( *stream, text.get() );
}

/**
 * Whether a format has a directive that consumes its argument, so that it must be carried out even if nobody reads it.
 */
static bool consumes( const char *format, PB_INT length )
{
    std::size_t count = length < 0 ? std::strlen( format ) : static_cast<std::size_t>( length );
    return memmem( format, count, "%~", 2 ) != nullptr;
}

void trStreamMessageFormatCstr(
    TR_STREAM *stream, const void *bytes, PB_INT byteCount, const char *format, PB_INT length, ... )
{
    PB_ASSERT( stream );
    PB_ASSERT( bytes || byteCount == 0 );
    PB_ASSERT( byteCount >= 0 );
    PB_ASSERT( format );
    bool wanted = trSystemAcceptsHighVolumeMessages();
    if ( !wanted && !consumes( format, length ) )
        return;
    va_list arguments;
    va_start( arguments, length );
    pb::Ref<PB_STRING> text = formatted( format, length, arguments );
    va_end( arguments );
    if ( !wanted )
        return;

    pb::Ref<PB_STORE> record = tr::record( *stream, "message" );
    pbStoreSetValueCstr( record.handle(), "text", -1, text.get() );
    std::string payloadType;
    {
        pb::Lock lock( stream->monitor );
        payloadType = stream->payloadType;
    }
    if ( !payloadType.empty() )
        pbStoreSetValueCstr( record.handle(), "payloadType", -1, pb::string( payloadType ).get() );
    tr::deliver( *stream, { record, pb::adopt( pbBufferCreateFromBytesCopy( bytes, byteCount ) ) }, true );
}

/** Immutable. */
struct TR_ANCHOR : PB_OBJ {
    pb::Ref<TR_STREAM> stream;
    PB_INT kind = 0;
    pb::Ref<PB_STRING> annotation; // or none
};

PB_CLASS_DEFINE( TR_ANCHOR, trAnchor, pb::destroy<TR_ANCHOR>, nullptr, nullptr );

TR_ANCHOR *trAnchorCreate( TR_STREAM *stream, PB_INT kind )
{
    PB_ASSERT( stream );
    return pb::create<TR_ANCHOR>( pb::share( stream ), kind, pb::Ref<PB_STRING>() );
}

TR_ANCHOR *trAnchorCreateWithAnnotationCstr( TR_STREAM *stream, PB_INT kind, const char *annotation, PB_INT length )
{
    PB_ASSERT( stream );
    PB_ASSERT( annotation );
    return pb::create<TR_ANCHOR>(
        pb::share( stream ), kind, pb::adopt( pbStringCreateFromCstr( annotation, length ) ) );
}

void trAnchorComplete( TR_ANCHOR *anchor, TR_STREAM *stream )
{
    PB_ASSERT( anchor );
    PB_ASSERT( stream );
    if ( !trSystemActive() )
        return;
    pb::Ref<PB_STORE> record = tr::record( *anchor->stream, "anchor" );
    pbStoreSetValueIntCstr( record.handle(), "kind", -1, anchor->kind );
    if ( anchor->annotation )
        pbStoreSetValueCstr( record.handle(), "annotation", -1, anchor->annotation.get() );
    pbStoreSetValueIntCstr( record.handle(), "to", -1, stream->number );
    tr::deliver( *anchor->stream, record );
}
