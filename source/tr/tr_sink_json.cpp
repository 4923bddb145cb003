/*
 * The sink that writes JSON lines. Whoever traces puts the record in a queue; a thread of the sink's own makes the text
 * and writes it, so that a slow disk or reader holds up nobody. `monitor` guards the queue and the counts.
 */
#include <cerrno>
#include <deque>
#include <fcntl.h>
#include <poll.h>
#include <tr/tr_private.h>
#include <unistd.h>

PB_CLASS( TR___JSON_WRITER, tr___JsonWriter )

/** What the sink and its thread share; the thread holds a reference, so it must not be the sink itself. */
struct TR___JSON_WRITER : PB_OBJ {
    pb::Fd fd;
    PB_INT queueLimit = 0;

    pb::Monitor monitor;
    pthread_cond_t changed = PTHREAD_COND_INITIALIZER; // something was queued or written, or it is time to stop
    std::deque<pb::Ref<PB_STORE>> queue PB_GUARDED_BY( monitor );
    PB_INT queued PB_GUARDED_BY( monitor ) = 0;
    PB_INT finished PB_GUARDED_BY( monitor ) = 0; // of those queued
    PB_INT dropped PB_GUARDED_BY( monitor ) = 0;
    PB_INT told PB_GUARDED_BY( monitor ) = 0; // of those dropped
    bool stopping PB_GUARDED_BY( monitor ) = false;

    // the thread's own
    bool midLine = false; // the last line broke off
    int patience = 10;    // how many tenths of a second it waits for a reader once the sink is being released

    ~TR___JSON_WRITER() { pthread_cond_destroy( &changed ); }
};

static void tr___JsonWriterFreeFunc( PB_OBJ *obj )
{
    pb::destroy<TR___JSON_WRITER>( obj );
}

PB_CLASS_DEFINE( TR___JSON_WRITER, tr___JsonWriter, tr___JsonWriterFreeFunc, nullptr, nullptr );

/** Waits until the reader has made room; false when its time is up. */
static bool waitForRoom( TR___JSON_WRITER &writer )
{
    while ( writer.patience > 0 ) {
        pollfd room{ writer.fd.get(), POLLOUT, 0 };
        if ( poll( &room, 1, 100 ) != 0 )
            return true; // or what is wrong shows when writing
        pb::Lock lock( writer.monitor );
        writer.patience -= writer.stopping;
    }
    return false;
}

/** Writes all of it; how much was written before it failed. */
static std::size_t writeAll( TR___JSON_WRITER &writer, std::string_view bytes )
{
    std::size_t done = 0;
    while ( done < bytes.size() ) {
        ssize_t count = write( writer.fd.get(), bytes.data() + done, bytes.size() - done );
        if ( count > 0 )
            done += static_cast<std::size_t>( count );
        else if ( count == 0 || ( errno != EINTR && !( errno == EAGAIN && waitForRoom( writer ) ) ) )
            break;
    }
    return done;
}

/** Writes a record as a line, in one call where the file takes it, so that several programs may append to one file. */
static bool writeLine( TR___JSON_WRITER &writer, PB_STORE *record )
{
    std::string line = pb::text( pb::adopt( pbStoreToString( record ) ).get() ) + '\n';
    if ( writer.midLine )
        line.insert( line.begin(), '\n' );
    std::size_t done = writeAll( writer, line );
    if ( done == line.size() )
        writer.midLine = false;
    else if ( done > 0 )
        writer.midLine = true;
    return done == line.size();
}

/** The next record, null when it is time to stop; `dropped` is how many drops its line is to tell of. */
static pb::Ref<PB_STORE> takeNext( TR___JSON_WRITER &writer, PB_INT &dropped )
{
    pb::Lock lock( writer.monitor );
    while ( writer.queue.empty() && !writer.stopping )
        pthread_cond_wait( &writer.changed, writer.monitor.native() );
    if ( writer.queue.empty() )
        return {};
    pb::Ref<PB_STORE> record = std::move( writer.queue.front() );
    writer.queue.pop_front();
    dropped = writer.dropped - writer.told;
    return record;
}

/** A line that could not be written counts as dropped too, and what it should have told is told by the next. */
static void finish( TR___JSON_WRITER &writer, bool written, PB_INT told )
{
    pb::Lock lock( writer.monitor );
    ++writer.finished;
    if ( written )
        writer.told += told;
    else
        ++writer.dropped;
    pthread_cond_broadcast( &writer.changed );
}

static void tr___JsonWriterThreadFunc( PB_OBJ *argument )
{
    TR___JSON_WRITER &writer = *tr___JsonWriterFrom( argument );
    PB_INT dropped = 0;
    while ( pb::Ref<PB_STORE> record = takeNext( writer, dropped ) ) {
        if ( dropped > 0 ) // other sinks may hold the record too; the setter sees to that
            pbStoreSetValueIntCstr( record.handle(), "dropped", -1, dropped );
        bool written = writeLine( writer, record.get() );
        finish( writer, written, dropped );
    }
}

namespace {

class JsonOutput : public tr::Output {
public:
    JsonOutput( pb::Ref<TR___JSON_WRITER> sharedWriter, pb::Ref<PB_THREAD> ownThread )
        : writer( std::move( sharedWriter ) ), thread( std::move( ownThread ) )
    {}
    ~JsonOutput() override
    {
        {
            pb::Lock lock( writer->monitor );
            writer->stopping = true;
            pthread_cond_broadcast( &writer->changed );
        }
        pbThreadJoin( thread.get() );
    }
    void write( const pb::Ref<PB_STORE> &record ) override
    {
        pb::Lock lock( writer->monitor );
        if ( writer->queued - writer->finished >= writer->queueLimit ) {
            ++writer->dropped;
            return;
        }
        writer->queue.push_back( record );
        ++writer->queued;
        pthread_cond_broadcast( &writer->changed );
    }
    PB_INT dropped() override
    {
        pb::Lock lock( writer->monitor );
        return writer->dropped;
    }
    void flush() override
    {
        pb::Lock lock( writer->monitor );
        PB_INT goal = writer->queued;
        while ( writer->finished < goal )
            pthread_cond_wait( &writer->changed, writer->monitor.native() );
    }

private:
    pb::Ref<TR___JSON_WRITER> writer;
    pb::Ref<PB_THREAD> thread;
};

} // namespace

static pb::Fd openFile( PB_STRING *path )
{
    if ( pbStringEqualsCstr( path, "stderr", -1 ) )
        return pb::Fd( fcntl( STDERR_FILENO, F_DUPFD_CLOEXEC, 0 ) );
    pb::Ref<PB_BUFFER> name = pb::adopt( pbStringTryToCstr( path ) );
    if ( !name ) {
        errno = EINVAL;
        return {};
    }
    const char *cstr = reinterpret_cast<const char *>( pbBufferBacking( name.get() ) );
    // a pipe without a reader must hold up neither who opens it nor who releases the sink
    return pb::Fd( open( cstr, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, 0644 ) );
}

TR_SINK *trSinkTryCreateJson( PB_STRING *path, PB_INT queueLimit, PB_BOOL highVolume )
{
    PB_ASSERT( path );
    PB_ASSERT( queueLimit > 0 );
    pb::Fd fd = openFile( path );
    if ( !fd )
        return nullptr;
    pb::Ref<TR___JSON_WRITER> writer = pb::adopt( pb::create<TR___JSON_WRITER>() );
    writer->fd = std::move( fd );
    writer->queueLimit = queueLimit;
    pb::Ref<PB_THREAD> thread =
        pb::adopt( pbThreadTrySpawnCstr( "tr json sink", -1, tr___JsonWriterThreadFunc, writer.get(), 1 ) );
    if ( !thread )
        return nullptr;
    return tr___SinkCreate( std::make_unique<JsonOutput>( std::move( writer ), std::move( thread ) ), highVolume );
}
