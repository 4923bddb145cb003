/* What is traced while a test runs. */
#ifndef TEST_RECORDING_HPP
#define TEST_RECORDING_HPP

#include <support/test_support.h>
#include <tr/tr.h>

namespace test {

/** A recorder that is told from here to the end of the scope. */
struct Recording : Pinned {
    pb::Ref<TR_SINK> sink;
    explicit Recording( bool highVolume = false ) : sink( pb::adopt( trSinkCreateRecorder( highVolume ) ) )
    {
        trSystemAddSink( sink.get() );
    }
    ~Recording() { trSystemDelSink( sink.get() ); }

    /** The records since the last call. */
    std::vector<pb::Ref<PB_STORE>> take() { return takeAll<PB_STORE>( trSinkTakeRecords( sink.get() ) ); }
    /** The same as one text. */
    std::string text()
    {
        std::string all;
        for ( auto &record : take() )
            all += textOf( record.get() ) + "\n";
        return all;
    }
    /** Whether the text comes up in what is traced from the last call on. */
    bool brings( const std::string &wanted )
    {
        std::string all;
        return eventually( [&] { return ( all += text() ).find( wanted ) != all.npos; } );
    }
};

} // namespace test

#endif
