/* Which ranks each thread holds, its own business alone. A lock is noted before it is entered, so that what is told is true. */
#include <array>
#include <pb/pb.hpp>

namespace {

constexpr const char *names[] = { "unranked",
#define PB___RANK( name, guards ) #name,
    PB_LOCK_RANKS( PB___RANK )
#undef PB___RANK
};

struct HeldRanks {
    std::array<pb::Rank, 64> ranks; // in the order in which they were entered
    std::size_t count;
};
constinit thread_local HeldRanks held{};

const char *nameOf( pb::Rank rank )
{
    return names[static_cast<std::size_t>( rank )];
}

/** The shards are held together during a fork, and are entered in the same order then. */
bool mayEnter( pb::Rank rank, pb::Rank innermost )
{
    return rank > innermost || ( rank == innermost && rank == pb::Rank::traceShard );
}

[[noreturn]] void abortAgainstOrder( pb::Rank rank, pb::Rank innermost )
{
    std::array<char, 128> text;
    std::size_t length = 0;
    for ( const char *part : { "entering ", nameOf( rank ), " while holding ", nameOf( innermost ) } )
        for ( ; *part && length + 1 < text.size(); ++part )
            text[length++] = *part;
    text[length] = 0;
    pb___Abort( "lock order", __FILE__, __LINE__, text.data() );
}

} // namespace

void pb___RankEnter( pb::Rank rank )
{
    if ( rank == pb::Rank::unranked )
        return;
    for ( std::size_t i = 0; i < held.count; ++i )
        if ( !mayEnter( rank, held.ranks[i] ) )
            abortAgainstOrder( rank, held.ranks[i] );
    PB_ASSERT( held.count < held.ranks.size() );
    held.ranks[held.count++] = rank;
}

void pb___RankLeave( pb::Rank rank )
{
    for ( std::size_t i = held.count; rank != pb::Rank::unranked && i-- > 0; ) {
        if ( held.ranks[i] != rank )
            continue;
        for ( --held.count; i < held.count; ++i )
            held.ranks[i] = held.ranks[i + 1];
        return;
    }
}
