/*
 * The sink that writes JSON lines. Whoever traces puts the record in a queue; a thread of the sink's own makes the text
 * and writes it, so that a slow disk or reader holds up nobody. `monitor` guards the queue and the counts.
 *
 * What the file is decides how long a write takes: a pipe, a terminal or a disk may never let it return, and that a
 * descriptor blocks is often not ours to change, since other programs share it. So nobody waits for the thread without a
 * limit. Whoever releases the sink gives it a second, and then leaves it behind: what waits is thrown away, and the
 * thread ends by itself when its write returns. Until then it keeps the writer and its descriptor alive, nothing else.
 */
#include <cerrno>
#include <deque>
#include <fcntl.h>
#include <optional>
#include <poll.h>
#include <tr/tr_private.h>
#include <unistd.h>

PB_CLASS( TR___JSON_WRITER, tr___JsonWriter )

namespace {

constexpr PB_INT waitingLimit = 16 << 20; // bytes
constexpr PB_INT patience = 1'000;        // ms that the thread gets to write what waits

struct Waiting {
    tr::Record record;
    PB_INT weight;
};

} // namespace

/** What the sink and its thread share; the thread holds a reference, so it must not be the sink itself. */
struct TR___JSON_WRITER : PB_OBJ {
    pb::Fd fd;
    PB_INT queueLimit = 0;

    pb::Monitor monitor{ pb::Rank::traceSink };
    pb::Condition due;      // something was queued, or it is time to stop
    pb::Condition progress; // a record is finished, or the thread ended
    std::deque<Waiting> queue PB_GUARDED_BY( monitor );
    PB_INT weight PB_GUARDED_BY( monitor ) = 0; // of all that was queued and is not finished
    PB_INT queued PB_GUARDED_BY( monitor ) = 0;
    PB_INT finished PB_GUARDED_BY( monitor ) = 0; // of those queued
    PB_INT dropped PB_GUARDED_BY( monitor ) = 0;
    PB_INT told PB_GUARDED_BY( monitor ) = 0; // of those dropped
    bool stopping PB_GUARDED_BY( monitor ) = false;
    bool leftBehind PB_GUARDED_BY( monitor ) = false;
    bool ended PB_GUARDED_BY( monitor ) = false;

    bool midLine = false; // the last line broke off; the thread's own
};

PB_CLASS_DEFINE( TR___JSON_WRITER, tr___JsonWriter, pb::destroy<TR___JSON_WRITER>, nullptr, nullptr );

static bool isLeftBehind( TR___JSON_WRITER &writer )
{
    pb::Lock lock( writer.monitor );
    return writer.leftBehind;
}

/** Waits until the reader has made room; false when nobody cares any more. */
static bool waitForRoom( TR___JSON_WRITER &writer )
{
    while ( !isLeftBehind( writer ) ) {
        pollfd room{ writer.fd.get(), POLLOUT, 0 };
        if ( poll( &room, 1, 100 ) != 0 )
            return true; // or what is wrong shows when writing
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

/** The next record, or nothing when it is time to stop; `dropped` is how many drops its line is to tell of. */
static std::optional<Waiting> takeNext( TR___JSON_WRITER &writer, PB_INT &dropped )
{
    pb::Lock lock( writer.monitor );
    while ( writer.queue.empty() && !writer.stopping )
        writer.due.wait( writer.monitor );
    if ( writer.queue.empty() )
        return {};
    Waiting next = std::move( writer.queue.front() );
    writer.queue.pop_front();
    dropped = writer.dropped - writer.told;
    return next;
}

/** A line that could not be written counts as dropped too, and what it should have told is told by the next. */
static void finish( TR___JSON_WRITER &writer, PB_INT weight, bool written, PB_INT told )
{
    pb::Lock lock( writer.monitor );
    ++writer.finished;
    writer.weight -= weight;
    if ( written )
        writer.told += told;
    else
        ++writer.dropped;
    writer.progress.wakeAll();
}

static void tr___JsonWriterThreadFunc( PB_OBJ *argument )
{
    TR___JSON_WRITER &writer = *tr___JsonWriterFrom( argument );
    PB_INT dropped = 0;
    while ( std::optional<Waiting> next = takeNext( writer, dropped ) ) {
        pb::Ref<PB_STORE> record = next->record.complete();
        if ( dropped > 0 ) // other sinks may hold the record too; the setter sees to that
            pbStoreSetValueIntCstr( record.handle(), "dropped", -1, dropped );
        bool written = writeLine( writer, record.get() );
        finish( writer, next->weight, written, dropped );
    }
    writer.fd.close(); // on some disks that is when writing happens
    pb::Lock lock( writer.monitor );
    writer.ended = true;
    writer.progress.wakeAll();
}

/** Tells the thread to write what waits and end. Whether it did; if not, what waits is gone. */
static bool endThread( TR___JSON_WRITER &writer )
{
    std::deque<Waiting> rest; // goes after the lock
    PB_INT until = pb::timeAfter( patience );
    pb::Lock lock( writer.monitor );
    writer.stopping = true;
    writer.due.wakeAll();
    while ( !writer.ended && pb::now() < until )
        writer.progress.waitUntil( writer.monitor, until );
    writer.leftBehind = !writer.ended;
    rest.swap( writer.queue );
    return writer.ended;
}

namespace {

class JsonOutput : public tr::Output {
public:
    JsonOutput( pb::Ref<TR___JSON_WRITER> sharedWriter, pb::Ref<PB_THREAD> ownThread )
        : writer( std::move( sharedWriter ) ), thread( std::move( ownThread ) )
    {}
    ~JsonOutput() override
    {
        if ( endThread( *writer ) )
            pbThreadJoin( thread.get() );
        else
            pbThreadDetach( thread.get() );
    }
    void write( const tr::Record &record ) override
    {
        PB_INT weight = record.weight();
        pb::Lock lock( writer->monitor );
        if ( writer->queued - writer->finished >= writer->queueLimit || writer->weight + weight > waitingLimit ) {
            ++writer->dropped;
            return;
        }
        writer->queue.push_back( { record, weight } );
        writer->weight += weight;
        ++writer->queued;
        writer->due.wakeOne();
    }
    PB_INT dropped() override
    {
        pb::Lock lock( writer->monitor );
        return writer->dropped;
    }
    void flush() override
    {
        PB_INT until = pb::timeAfter( patience );
        pb::Lock lock( writer->monitor );
        PB_INT goal = writer->queued;
        while ( writer->finished < goal && pb::now() < until )
            writer->progress.waitUntil( writer->monitor, until );
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
    // Opening a pipe without a reader must not block. The mode: a trace may be confidential.
    return pb::Fd( open( cstr, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, 0600 ) );
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
