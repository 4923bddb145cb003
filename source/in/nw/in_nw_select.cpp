/* The rules of selection: one table, for choosing and for telling why. No state. */
#include <algorithm>
#include <in/nw/in_nw_select_private.hpp>

namespace {

using Seen = std::span<const in::SeenInterface>;

/** An option that may exclude a candidate. */
struct Rule {
    const char *option;
    bool ( *drops )( IN_OPTIONS *options, const in::Candidate &candidate, Seen seen );
};

bool isOn( const in::Candidate &candidate, Seen seen, PB_STRING *identifier )
{
    return std::ranges::any_of( candidate.interfaces,
        [&]( std::size_t place ) { return pbStringEquals( seen[place].identifier.get(), identifier ); } );
}

/** In the order in which they are tried. */
constexpr Rule rules[] = {
    { "interface",
        []( IN_OPTIONS *options, const in::Candidate &candidate, Seen seen ) {
            pb::Ref<PB_STRING> identifier = pb::adopt( inOptionsInterface( options ) );
            return identifier && !isOn( candidate, seen, identifier.get() );
        } },
    { "addressVersion",
        []( IN_OPTIONS *options, const in::Candidate &candidate, Seen ) {
            PB_INT version = inOptionsAddressVersion( options );
            return IN_ADDRESS_VERSION_OK( version ) && version != inAddressVersion( candidate.address.get() );
        } },
    { "network",
        []( IN_OPTIONS *options, const in::Candidate &candidate, Seen ) {
            pb::Ref<IN_NETWORK> network = pb::adopt( inOptionsNetwork( options ) );
            return network && !inNetworkContainsAddress( network.get(), candidate.address.get() );
        } },
    { "address",
        []( IN_OPTIONS *options, const in::Candidate &candidate, Seen ) {
            pb::Ref<IN_ADDRESS> address = pb::adopt( inOptionsAddress( options ) );
            return address && !inAddressEquals( address.get(), candidate.address.get() );
        } },
    { "flags",
        []( IN_OPTIONS *options, const in::Candidate &candidate, Seen ) {
            bool loopbackOnly = ( inOptionsFlags( options ) & IN_FLAG_LOOPBACK_ONLY ) != 0;
            return loopbackOnly && !inAddressIsLoopback( candidate.address.get() );
        } },
};

PB_INT scoreOf( IN_ADDRESS *ina, IN_ADDRESS *optionalPreviousAddress )
{
    PB_INT previous = optionalPreviousAddress && inAddressEquals( ina, optionalPreviousAddress ) ? 1 : 0;
    if ( inAddressIsLoopback( ina ) )
        return 2 + previous;
    return ( inAddressIsLinkLocalUnicast( ina ) ? 4 : 8 ) + previous;
}

/** The places of what was seen, in the order of identifiers. */
std::vector<std::size_t> inOrder( Seen seen )
{
    std::vector<std::size_t> places( seen.size() );
    for ( std::size_t i = 0; i < places.size(); ++i )
        places[i] = i;
    std::ranges::sort( places, [&]( std::size_t a, std::size_t b ) {
        return pbStringCompare( seen[a].identifier.get(), seen[b].identifier.get() ) < 0;
    } );
    return places;
}

/** Every pair of an address and an interface that carries it, by address, then by identifier. */
std::vector<std::pair<pb::Ref<IN_ADDRESS>, std::size_t>> addressesOf( Seen seen )
{
    std::vector<std::pair<pb::Ref<IN_ADDRESS>, std::size_t>> pairs;
    for ( std::size_t place : inOrder( seen ) ) {
        pb::Ref<PB_VECTOR> addresses =
            pb::adopt( inNwInterfaceStateLayer3UnicastAddressesVector( seen[place].state.get() ) );
        for ( PB_INT i = 0; i < pbVectorLength( addresses.get() ); ++i )
            pairs.emplace_back( pb::adoptAs<IN_ADDRESS>( pbVectorObjAt( addresses.get(), i ) ), place );
    }
    std::ranges::stable_sort(
        pairs, []( const auto &a, const auto &b ) { return inAddressCompare( a.first.get(), b.first.get() ) < 0; } );
    return pairs;
}

void judge( in::Candidate &candidate, IN_OPTIONS *options, IN_ADDRESS *optionalPreviousAddress, Seen seen )
{
    for ( const Rule &rule : rules ) {
        if ( rule.drops( options, candidate, seen ) ) {
            candidate.droppedBy = rule.option;
            return;
        }
    }
    candidate.score = scoreOf( candidate.address.get(), optionalPreviousAddress );
}

/** The place of the interface that the options name, if they do and it exists. */
std::optional<std::size_t> namedInterface( IN_OPTIONS *options, Seen seen )
{
    pb::Ref<PB_STRING> identifier = pb::adopt( inOptionsInterface( options ) );
    if ( !identifier )
        return {};
    auto found = std::ranges::find_if( seen,
        [&]( const in::SeenInterface &one ) { return pbStringEquals( one.identifier.get(), identifier.get() ); } );
    return found == seen.end() ? std::nullopt : std::optional( static_cast<std::size_t>( found - seen.begin() ) );
}

} // namespace

std::vector<in::Candidate> in::gatherCandidates(
    IN_OPTIONS *options, IN_ADDRESS *optionalPreviousAddress, std::span<const SeenInterface> seen )
{
    std::vector<Candidate> candidates;
    for ( auto &[address, place] : addressesOf( seen ) ) {
        if ( candidates.empty() || !inAddressEquals( candidates.back().address.get(), address.get() ) )
            candidates.push_back( { std::move( address ), {} } );
        candidates.back().interfaces.push_back( place );
    }
    for ( Candidate &candidate : candidates )
        judge( candidate, options, optionalPreviousAddress, seen );
    return candidates;
}

const in::Candidate *in::bestCandidate( std::span<const Candidate> candidates )
{
    // a dropped one has the score 0, below all others
    auto best = std::ranges::max_element( candidates, {}, &Candidate::score );
    return best == candidates.end() || best->score == 0 ? nullptr : &*best;
}

in::Selection in::select( IN_OPTIONS *options, IN_ADDRESS *optionalPreviousAddress,
    std::optional<std::size_t> previousPrimary, std::span<const SeenInterface> seen )
{
    Selection selection;
    std::vector<Candidate> candidates = gatherCandidates( options, optionalPreviousAddress, seen );
    if ( const Candidate *best = bestCandidate( candidates ) ) {
        selection.address = best->address;
        selection.interfaces = best->interfaces;
    }
    selection.primary = namedInterface( options, seen );
    if ( selection.primary ) {
        // In the result whether it has the address or not; without an address it is the only one.
        if ( selection.interfaces.empty() )
            selection.interfaces.push_back( *selection.primary );
        return selection;
    }
    if ( previousPrimary && std::ranges::count( selection.interfaces, *previousPrimary ) )
        selection.primary = previousPrimary;
    else if ( !selection.interfaces.empty() )
        selection.primary = selection.interfaces.front();
    return selection;
}
