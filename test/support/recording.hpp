/* What the library traces while the recording lives. */
#ifndef TEST_RECORDING_HPP
#define TEST_RECORDING_HPP

#include <support/test_support.h>
#include <tr/tr.h>

namespace test {

class Recording {
public:
    explicit Recording( bool highVolume = false ) : sink( pb::adopt( trSinkCreateRecorder( highVolume ) ) )
    {
        trSystemAddSink( sink.get() );
    }
    ~Recording() { trSystemDelSink( sink.get() ); }
    Recording( const Recording & ) = delete;
    Recording &operator=( const Recording & ) = delete;

    /** The lines since the last call. */
    std::vector<pb::Ref<PB_STORE>> records()
    {
        pb::Ref<PB_VECTOR> taken = pb::adopt( trSinkTakeRecords( sink.get() ) );
        std::vector<pb::Ref<PB_STORE>> stores;
        for ( PB_INT i = 0; i < pbVectorLength( taken.get() ); ++i )
            stores.push_back( pb::adoptAs<PB_STORE>( pbVectorObjAt( taken.get(), i ) ) );
        return stores;
    }
    /** The same as one text. */
    std::string text()
    {
        std::string all;
        for ( auto &record : records() )
            all += textOf( record.get() ) + "\n";
        return all;
    }

private:
    pb::Ref<TR_SINK> sink;
};

} // namespace test

#endif
