/* Marks, and the chain of those that have fired. */
#include <algorithm>
#include <tool/tool_ready.hpp>

struct TOOL_MARK : PB_OBJ {
    TOOL_MARK( std::shared_ptr<tool::Chain> itsChain, uint64_t itsNumber )
        : chain( std::move( itsChain ) ), number( itsNumber )
    {}
    std::weak_ptr<tool::Chain> chain;
    const uint64_t number;
    std::atomic<bool> chained = false;
    TOOL_MARK *next = nullptr; // its own while it is chained
};
PB_CLASS_DEFINE( TOOL_MARK, toolMark, pb::destroy<TOOL_MARK>, nullptr, nullptr );

namespace {

template <class Call>
void takeAll( std::atomic<TOOL_MARK *> &newest, Call call )
{
    for ( TOOL_MARK *one = newest.exchange( nullptr ); one; ) {
        pb::Ref<TOOL_MARK> mark = pb::adopt( one );
        one = mark->next;
        mark->chained = false; // what fires from here on is taken another time
        call( mark->number );
    }
}

} // namespace

tool::Chain::~Chain()
{
    takeAll( newest, []( uint64_t ) {} );
}

pb::Ref<TOOL_MARK> tool::Ready::mark( uint64_t number ) const
{
    return pb::adopt( pb::create<TOOL_MARK>( chain, number ) );
}

std::vector<uint64_t> tool::Ready::take() const
{
    std::vector<uint64_t> numbers;
    takeAll( chain->newest, [&]( uint64_t number ) { numbers.push_back( number ); } );
    std::ranges::reverse( numbers );
    return numbers;
}

void tool::fire( PB_OBJ *obj )
{
    TOOL_MARK *mark = toolMarkFrom( obj );
    std::shared_ptr<Chain> chain = mark->chain.lock();
    if ( !chain || mark->chained.exchange( true ) )
        return;
    pb::Ref<TOOL_MARK> held = pb::share( mark );
    mark->next = chain->newest;
    while ( !chain->newest.compare_exchange_weak( mark->next, mark ) )
        ;
    (void)held.give();
    pbAlertableAlert( chain->wake.get() );
}
