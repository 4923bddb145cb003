/* Sinks as objects, and the one that keeps what it is told in memory. */
#include <tr/tr_private.h>

PB_CLASS_DEFINE( TR_SINK, trSink, pb::destroy<TR_SINK>, nullptr, nullptr );

TR_SINK *tr___SinkCreate( std::unique_ptr<tr::Output> output, bool highVolume )
{
    return pb::create<TR_SINK>( std::move( output ), highVolume );
}

PB_INT trSinkDropped( TR_SINK *sink )
{
    PB_ASSERT( sink );
    return sink->output->dropped();
}

void trSinkFlush( TR_SINK *sink )
{
    PB_ASSERT( sink );
    sink->output->flush();
}

namespace {

class Recorder : public tr::Output {
public:
    void write( const tr::Record &record ) override
    {
        pb::Lock lock( monitor );
        records.push_back( record );
    }
    PB_VECTOR *takeRecords() override
    {
        pb::Ref<PB_VECTOR> vector = pb::adopt( pbVectorCreate() );
        for ( const tr::Record &record : take() )
            pbVectorAppend( vector.handle(), pb::obj( record.complete().get() ) );
        return vector.give();
    }

private:
    std::vector<tr::Record> take()
    {
        pb::Lock lock( monitor );
        return std::exchange( records, {} );
    }

    pb::Monitor monitor{ pb::Rank::traceSink };
    std::vector<tr::Record> records PB_GUARDED_BY( monitor );
};

} // namespace

TR_SINK *trSinkCreateRecorder( PB_BOOL highVolume )
{
    return tr___SinkCreate( std::make_unique<Recorder>(), highVolume );
}

PB_VECTOR *trSinkTakeRecords( TR_SINK *recorder )
{
    PB_ASSERT( recorder );
    PB_VECTOR *records = recorder->output->takeRecords();
    PB_ASSERT( records );
    return records;
}
