/* How an address and interfaces are chosen from what the host has. Functions of their arguments alone, any thread. */
#ifndef IN_NW_SELECT_PRIVATE_HPP
#define IN_NW_SELECT_PRIVATE_HPP

#include <in/base/in_options.h>
#include <in/nw/in_nw_interface_state.h>
#include <optional>
#include <pb/pb.hpp>
#include <span>
#include <vector>

namespace in {

/** An interface and its state at one moment. */
struct SeenInterface {
    pb::Ref<PB_STRING> identifier;
    pb::Ref<IN_NW_INTERFACE_STATE> state;
};

/** An address of the host, and what becomes of it. */
struct Candidate {
    pb::Ref<IN_ADDRESS> address;
    std::vector<std::size_t> interfaces; // that carry it: places in what was seen, in the order of identifiers
    const char *droppedBy = nullptr;     // the option that excludes it, or null
    PB_INT score = 0;                    // when it is not excluded
};

/** Every address of the host, once, in the order of addresses, dropped or scored. */
std::vector<Candidate> gatherCandidates(
    IN_OPTIONS *options, IN_ADDRESS *optionalPreviousAddress, std::span<const SeenInterface> seen );
/** The one that wins, the first of the best; null when all are dropped. */
const Candidate *bestCandidate( std::span<const Candidate> candidates );

/** What is chosen; interfaces as places in what was seen. */
struct Selection {
    pb::Ref<IN_ADDRESS> address;         // or null
    std::vector<std::size_t> interfaces; // in the order of identifiers
    std::optional<std::size_t> primary;
};
Selection select( IN_OPTIONS *options, IN_ADDRESS *optionalPreviousAddress, std::optional<std::size_t> previousPrimary,
    std::span<const SeenInterface> seen );

} // namespace in

#endif
