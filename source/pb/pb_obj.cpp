/*
 * Objects: memory, the last release, comparing and printing across sorts, and the count of living objects.
 *
 * The count is kept a thread at a time, so that making an object costs no locked instruction: each thread adds to a cell
 * of its own, and whoever asks adds up the cells under the lock. A thread that ends leaves its balance in `endedThreads`.
 */
#include <cstdlib>
#include <cstring>
#include <pb/pb.hpp>

namespace {

/** One thread's balance of objects made and freed; written by that thread alone, read by any. */
struct LiveCell {
    std::atomic<int64_t> balance{ 0 };
    LiveCell *next = nullptr;
    LiveCell *previous = nullptr;

    LiveCell();
    ~LiveCell();
    void add( int64_t difference )
    {
        balance.store( balance.load( std::memory_order_relaxed ) + difference, std::memory_order_relaxed );
    }
};

constinit pb::Monitor cellsMonitor{ pb::Rank::objects };
LiveCell *cells PB_GUARDED_BY( cellsMonitor ) = nullptr;
int64_t endedThreads PB_GUARDED_BY( cellsMonitor ) = 0;

LiveCell::LiveCell()
{
    pb::Lock lock( cellsMonitor );
    next = cells;
    if ( next )
        next->previous = this;
    cells = this;
}

LiveCell::~LiveCell()
{
    pb::Lock lock( cellsMonitor );
    endedThreads += balance.load( std::memory_order_relaxed );
    ( previous ? previous->next : cells ) = next;
    if ( next )
        next->previous = previous;
}

// The pointer is what the fast path reads: it needs neither a guard nor a destructor of its own.
__attribute__( ( tls_model( "initial-exec" ) ) ) constinit thread_local LiveCell *threadCell = nullptr;

/** Adds to the count from a thread that has no cell: one that is new, or one that is ending and has left its cell. */
__attribute__( ( noinline, cold ) ) void countLiveSlowly( int64_t difference )
{
    static thread_local bool ending = false;
    struct Owner {
        LiveCell cell;
        Owner() { threadCell = &cell; }
        ~Owner()
        {
            threadCell = nullptr;
            ending = true;
        }
    };
    if ( ending ) {
        pb::Lock lock( cellsMonitor );
        endedThreads += difference;
        return;
    }
    static thread_local Owner owner;
    owner.cell.add( difference );
}

inline void countLive( int64_t difference )
{
    if ( threadCell ) [[likely]]
        threadCell->add( difference );
    else
        countLiveSlowly( difference );
}

} // namespace

PB_OBJ *pb___ObjCreate( PB_INT size, const PB_SORT *sort )
{
    PB_ASSERT( size >= PB_INT( sizeof( PB_OBJ ) ) );
    PB_ASSERT( sort );
    void *memory = std::malloc( static_cast<std::size_t>( size ) );
    PB_ASSERT( memory );
    countLive( 1 );
    return ::new ( memory ) PB_OBJ{ sort, {} };
}

void pb___ObjFree( PB_OBJ *obj )
{
    if ( obj->sort->freeFunc )
        obj->sort->freeFunc( obj );
    countLive( -1 );
    std::free( obj );
}

const PB_SORT *pbObjSort( PB_OBJ *obj )
{
    PB_ASSERT( obj );
    return obj->sort;
}

PB_OBJ *pbObjRetain( PB_OBJ *obj )
{
    PB_ASSERT( obj );
    pb::retain( obj );
    return obj;
}

void pbObjRelease( PB_OBJ *obj )
{
    PB_ASSERT( obj );
    pb::release( obj );
}

PB_INT pbObjCompare( PB_OBJ *objA, PB_OBJ *objB )
{
    if ( objA == objB )
        return 0;
    PB_ASSERT( objA );
    PB_ASSERT( objB );
    if ( objA->sort != objB->sort ) {
        int names = std::strcmp( objA->sort->name, objB->sort->name );
        return names ? pb::order( names, 0 ) : pb::order( objA->sort, objB->sort );
    }
    if ( objA->sort->compFunc )
        return objA->sort->compFunc( objA, objB );
    return pb::order( reinterpret_cast<uintptr_t>( objA ), reinterpret_cast<uintptr_t>( objB ) );
}

PB_BOOL pbObjEquals( PB_OBJ *objA, PB_OBJ *objB )
{
    return pbObjCompare( objA, objB ) == 0;
}

PB_STRING *pbObjToString( PB_OBJ *obj )
{
    PB_ASSERT( obj );
    if ( obj->sort->toStringFunc )
        return obj->sort->toStringFunc( obj );
    PB_STRING *name = pbStringCreateFromCstr( obj->sort->name, -1 );
    return pb::format( "%~s 0x%!16i", name, reinterpret_cast<uintptr_t>( obj ) ).give();
}

const char *pbSortName( const PB_SORT *sort )
{
    PB_ASSERT( sort );
    return sort->name;
}

PB_INT pbObjLiveCount( void )
{
    pb::Lock lock( cellsMonitor );
    int64_t count = endedThreads;
    for ( LiveCell *cell = cells; cell; cell = cell->next )
        count += cell->balance.load( std::memory_order_relaxed );
    return count;
}
