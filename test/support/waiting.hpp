/* Waiting for what is told by signals and alerts, and for what is not told at all. */
#ifndef TEST_WAITING_HPP
#define TEST_WAITING_HPP

#include <pb/pb.hpp>

namespace test {

constexpr PB_INT WAIT_LIMIT = 20'000; // milliseconds; reached only by what never comes

/** Something to wait on, a signalable and an alertable: registered by hand. */
class Waiter {
public:
    PB_SIGNALABLE *get() { return signalable.get(); }
    PB_ALERTABLE *alert() { return alertable.get(); }
    /** Whether it was fired since the last question. */
    bool fired()
    {
        if ( !pbBarrierPassTimed( barrier.get(), 0 ) )
            return false;
        pbBarrierBlock( barrier.get() );
        return true;
    }
    /** Waits for it; false when nothing comes. */
    bool wait()
    {
        if ( !pbBarrierPassTimed( barrier.get(), WAIT_LIMIT ) )
            return false;
        pbBarrierBlock( barrier.get() );
        return true;
    }

private:
    pb::Ref<PB_BARRIER> barrier = pb::adopt( pbBarrierCreate( 1 ) );
    pb::Ref<PB_SIGNALABLE> signalable = pb::adopt( pbSignalableCreateBarrier( barrier.get() ) );
    pb::Ref<PB_ALERTABLE> alertable = pb::adopt( pbAlertableCreateBarrier( barrier.get() ) );
};

/** Looks again and again until it is so; false when it never is. */
template <class Condition>
bool eventually( Condition condition )
{
    for ( PB_INT end = pbTimestamp() + WAIT_LIMIT; !condition(); pbSleep( 1 ) )
        if ( pbTimestamp() > end )
            return false;
    return true;
}

} // namespace test

#endif
