/*
 * The update signal of a service object: it is asserted at a change and replaced by a fresh one, so that whoever registers
 * after that waits for the next change. Any thread; the class has a lock of its own, within which nothing else is locked.
 */
#ifndef PB_UPDATE_SIGNAL_HPP
#define PB_UPDATE_SIGNAL_HPP

#include <pb/pb.hpp>

namespace pb {

class UpdateSignal {
public:
    /** The signalable is fired at the next change; registering twice is registering once. */
    void add( PB_SIGNALABLE *signalable ) { pbSignalAddSignalable( current().get(), signalable ); }
    void del( PB_SIGNALABLE *signalable ) { pbSignalDelSignalable( current().get(), signalable ); }
    /**
     * Puts a fresh signal in the place of the present one, which is returned. The caller makes the change and calls this
     * under its own lock, and asserts the returned signal when it has left that.
     */
    [[nodiscard]] Ref<PB_SIGNAL> replace()
    {
        Ref<PB_SIGNAL> replaced = adopt( pbSignalCreate() );
        Lock lock( monitor );
        std::swap( signal, replaced );
        return replaced;
    }

private:
    Ref<PB_SIGNAL> current()
    {
        Lock lock( monitor );
        return signal;
    }

    Monitor monitor{ Rank::leaf };
    Ref<PB_SIGNAL> signal PB_GUARDED_BY( monitor ) = adopt( pbSignalCreate() );
};

} // namespace pb

#endif
