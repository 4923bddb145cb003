/* What the files of the tracing library share: streams, sinks, records, and the delivery from ones to the others. */
#ifndef TR_PRIVATE_H
#define TR_PRIVATE_H

#include <memory>
#include <pb/pb.hpp>
#include <string>
#include <tr/tr.h>
#include <vector>

namespace tr {

/** A key and its latest value: an object whose text counts, which stands in JSON as it is when `bare`, or a store. */
struct Property {
    std::string key;
    pb::Ref<PB_OBJ> value;
    bool bare;
};

} // namespace tr

// Short texts stand in the stream itself: every service object has one, and there may be many thousand.
struct TR_STREAM : PB_OBJ {
    PB_INT number = 0;
    std::string name;

    pb::Monitor monitor{ pb::Rank::traceStream };
    std::vector<tr::Property> properties PB_GUARDED_BY( monitor ); // in the order in which they were first set
    pb::Ref<PB_STORE> config PB_GUARDED_BY( monitor );
    std::string payloadType PB_GUARDED_BY( monitor ); // empty for none
    bool notable PB_GUARDED_BY( monitor ) = false;

    // The list of living streams; guarded by the lock of the stream's shard.
    TR_STREAM *next = nullptr;
    TR_STREAM *previous = nullptr;
};

namespace tr {

/** What sinks are told. Who traces only copies a payload; its text is made by whoever wants to have it. */
struct Record {
    Record( pb::Ref<PB_STORE> itsStore, pb::Ref<PB_BUFFER> itsPayload = {} )
        : store( std::move( itsStore ) ), payload( std::move( itsPayload ) )
    {}
    /** The record with the text of its payload. */
    pb::Ref<PB_STORE> complete() const;
    /** About how many bytes it takes while it is kept. */
    PB_INT weight() const;

    pb::Ref<PB_STORE> store;    // several sinks may hold it
    pb::Ref<PB_BUFFER> payload; // or none
};

/** Where records go. `write` is called by one thread at a time, under the lock of the delivery, and must not block. */
class Output {
public:
    virtual ~Output() = default;
    virtual void write( const Record &record ) = 0;
    virtual PB_INT dropped() { return 0; }
    virtual void flush() {}
    virtual PB_VECTOR *takeRecords() { return nullptr; }
};

/** A new record: time, stream, name and event; the caller adds what belongs to the event. */
pb::Ref<PB_STORE> record( TR_STREAM &stream, const char *event );

/** All that a sink must know of a stream that it meets: the stream itself, then its state. */
pb::Ref<PB_VECTOR> describeLocked( TR_STREAM &stream ) PB_REQUIRES( stream.monitor );

/** Enters a new stream in the list, takes it out, and tells the sinks so. */
void beginStream( TR_STREAM &stream );
void endStream( TR_STREAM &stream );

/** Gives a record to the sinks that know its stream; a record of high volume only to those that asked for them. */
void deliver( TR_STREAM &stream, const Record &record, bool highVolume = false );

} // namespace tr

struct TR_SINK : PB_OBJ {
    std::unique_ptr<tr::Output> output;
    bool highVolume = false;
};

/** A new sink that is not added yet. */
PB_API TR_SINK *tr___SinkCreate( std::unique_ptr<tr::Output> output, bool highVolume );

PB_API PB_BOOL tr___ModuleStartup( void );
PB_API void tr___ModuleShutdown( void );

#endif
