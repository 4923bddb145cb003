/*
 * The update signal of a service object, written once: it is asserted at a change and replaced by a fresh one, so that who
 * registers after that waits for the next change. Guarded by the owner's monitor; the signal that was taken out is asserted
 * after the monitor has been left.
 */
#ifndef IN_UPDATE_SIGNAL_PRIVATE_HPP
#define IN_UPDATE_SIGNAL_PRIVATE_HPP

#include <pb/pb.hpp>

namespace in {

class UpdateSignal {
public:
    /** The signal that the next change asserts. Add a signalable to it, or take one away, outside the monitor. */
    pb::Ref<PB_SIGNAL> current() const { return signal; }
    /** Puts a fresh signal in its place; the caller asserts the one that it gets. */
    [[nodiscard]] pb::Ref<PB_SIGNAL> replace()
    {
        pb::Ref<PB_SIGNAL> replaced = pb::adopt( pbSignalCreate() );
        std::swap( signal, replaced );
        return replaced;
    }

private:
    pb::Ref<PB_SIGNAL> signal = pb::adopt( pbSignalCreate() );
};

} // namespace in

#endif
