/*
 * Tracing. A stream tells the life of one object: texts, properties, messages with a payload, and a notable mark when
 * something went wrong. Anchors link streams: an anchor is made on one stream, handed to whoever makes the next object,
 * and completed by that object's stream. Sinks take what is written. Without a sink a text costs a load and a branch,
 * and its arguments are not evaluated.
 *
 * All functions may be called on any thread, under any lock: a sink never calls back and never blocks.
 */
#ifndef TR_H
#define TR_H

#include <pb/pb.h>

PB_CLASS( TR_STREAM, trStream )
PB_CLASS( TR_ANCHOR, trAnchor )
PB_CLASS( TR_SINK, trSink )
/* Names: trStreamSort, trStreamObj, trStreamFrom, trStreamRetain, trStreamRelease, trStreamToString, trStreamCompare,
   trStreamEquals, trAnchorSort, trAnchorObj, trAnchorFrom, trAnchorRetain, trAnchorRelease, trAnchorToString,
   trAnchorCompare, trAnchorEquals, trSinkSort, trSinkObj, trSinkFrom, trSinkRetain, trSinkRelease, trSinkToString,
   trSinkCompare, trSinkEquals */

/** A new stream, named after the class of its object. Text form: name and number. */
PB_API TR_STREAM *trStreamCreateCstr( const char *name, PB_INT length );
PB_API PB_STRING *trStreamName( TR_STREAM *stream );
/** A number that no other stream of the process has. */
PB_API PB_INT trStreamNumber( TR_STREAM *stream );

/** Marks the stream as one where something went wrong, until it is cleared. */
PB_API void trStreamSetNotable( TR_STREAM *stream );
PB_API void trStreamDelNotable( TR_STREAM *stream );
PB_API PB_BOOL trStreamNotable( TR_STREAM *stream );

/** Properties: the latest value of a key counts. They are kept, so that a sink added later is told of them. */
PB_API void trStreamSetPropertyCstr( TR_STREAM *stream, const char *key, PB_INT length, PB_STRING *value );
PB_API void trStreamSetPropertyIntCstr( TR_STREAM *stream, const char *key, PB_INT length, PB_INT value );
PB_API void trStreamSetPropertyBoolCstr( TR_STREAM *stream, const char *key, PB_INT length, PB_BOOL value );
PB_API void trStreamSetPropertyStoreCstr( TR_STREAM *stream, const char *key, PB_INT length, PB_STORE *value );
/** The text of an object, made when somebody reads it: for values that do not change, since the stream keeps the object. */
PB_API void trStreamSetPropertyObjCstr( TR_STREAM *stream, const char *key, PB_INT length, PB_OBJ *value );
PB_API void trStreamDelPropertyCstr( TR_STREAM *stream, const char *key, PB_INT length );
/** All properties of the stream, a new store. */
PB_API PB_STORE *trStreamProperties( TR_STREAM *stream );
/** The configuration of the stream's object. */
PB_API void trStreamSetConfiguration( TR_STREAM *stream, PB_STORE *config );
/** What the payloads of the stream's messages are: "PB_BUFFER". */
PB_API void trStreamSetPayloadTypeCstr( TR_STREAM *stream, const char *type, PB_INT length );

/** Writes a text; `...FormatCstr` takes the format and arguments of pbStringCreateFromFormatCstr. */
#define trStreamTextCstr( stream, text, length ) \
    ( trSystemActive() ? tr___StreamText( ( stream ), ( text ), ( length ) ) : (void)0 )
#define trStreamTextFormatCstr( stream, ... ) \
    ( trSystemActive() ? tr___StreamTextFormat( ( stream ), __VA_ARGS__ ) : (void)0 )
PB_API void tr___StreamText( TR_STREAM *stream, const char *text, PB_INT length );
PB_API void tr___StreamTextFormat( TR_STREAM *stream, const char *format, PB_INT length, ... );

/** Writes a text with bytes that belong to it; only while trSystemAcceptsHighVolumeMessages. The bytes are copied. */
PB_API void trStreamMessageFormatCstr(
    TR_STREAM *stream, const void *bytes, PB_INT byteCount, const char *format, PB_INT length, ... );

/** What links two streams. Kinds that are in use: */
enum {
    TR_ANCHOR_KIND_USES = 9,   /* the completing stream's object is used by this one */
    TR_ANCHOR_KIND_PARENT = 18 /* the completing stream's object carries this one */
};
/** An anchor on a stream, not complete yet; `annotation` says what the link is for. */
PB_API TR_ANCHOR *trAnchorCreate( TR_STREAM *stream, PB_INT kind );
PB_API TR_ANCHOR *trAnchorCreateWithAnnotationCstr(
    TR_STREAM *stream, PB_INT kind, const char *annotation, PB_INT length );
/** Completes it with the other end. An anchor may be completed several times; each is a link. */
PB_API void trAnchorComplete( TR_ANCHOR *anchor, TR_STREAM *stream );

/** The number of sinks; read it through trSystemActive. */
PB_API PB_INT tr___SystemSinks;
/** Whether there is a sink. */
static inline PB_BOOL trSystemActive( void )
{
    return __atomic_load_n( &tr___SystemSinks, __ATOMIC_RELAXED ) != 0;
}
/** Whether some sink wants a line for each packet. */
PB_API PB_BOOL trSystemAcceptsHighVolumeMessages( void );

/** Begins and ends telling a sink. A new sink is first told of all living streams and their properties. */
PB_API void trSystemAddSink( TR_SINK *sink );
/** After the call returns the sink is told nothing more. */
PB_API void trSystemDelSink( TR_SINK *sink );

/**
 * A sink that writes JSON lines to a file ("stderr" for standard error) from a thread of its own. A new file belongs to its
 * owner alone (mode 0600). At most `queueLimit` records and about 16 MiB wait; what comes on top is dropped and counted,
 * and the next line that gets through says how many. Null when the file cannot be opened (errno); a named pipe must have a
 * reader. `highVolume` asks for packet lines too.
 * Releasing it writes what waits. That takes a second at most, whatever the file is; then the rest is thrown away. A
 * thread that is still within a write then, which may be for ever, ends when that returns.
 * At start-up of the module one is added when QUELVARIS_TRACE is set to "stderr" or a path; QUELVARIS_TRACE_HIGH_VOLUME=1
 * asks it for packet lines. Set-user-ID programs and the like do not look at these variables.
 */
PB_API TR_SINK *trSinkTryCreateJson( PB_STRING *path, PB_INT queueLimit, PB_BOOL highVolume );
/** Records that a JSON sink had to drop. */
PB_API PB_INT trSinkDropped( TR_SINK *sink );
/** Waits until everything written before the call has reached the file, a second at most. */
PB_API void trSinkFlush( TR_SINK *sink );

/** A sink that keeps everything in memory, for tests. */
PB_API TR_SINK *trSinkCreateRecorder( PB_BOOL highVolume );
/** What was recorded since the last call: a new vector of stores, each as one JSON line would be. */
PB_API PB_VECTOR *trSinkTakeRecords( TR_SINK *recorder );

/** This library's own descriptor. */
PB_API PB_MODULE *trModule( void );

#endif
