/*
 * How users are told, by an object that has a lock of its own: its state changes under the lock, and what wakes somebody is
 * kept until every lock has been left. Signals and alerts are made when somebody asks for them; most objects never need
 * them.
 */
#ifndef IN_WAKES_PRIVATE_HPP
#define IN_WAKES_PRIVATE_HPP

#include <array>
#include <memory>
#include <pb/pb.hpp>
#include <pb/pb_sync.h>
#include <vector>

namespace in {

/** What a table holds, and frees by a Wakes. */
struct Record {
    Record() = default;
    Record( const Record & ) = delete;
    Record &operator=( const Record & ) = delete;
    virtual ~Record() = default;
};

/**
 * What is to be told and freed when every lock has been left: declared before the locks, it does so when the scope ends. It
 * owns what it fires, so the object may be gone by then.
 */
class Wakes {
public:
    Wakes() = default;
    Wakes( const Wakes & ) = delete;
    Wakes &operator=( const Wakes & ) = delete;
    ~Wakes()
    {
        for ( std::size_t i = 0; i < signalCount; ++i )
            pbSignalAssert( signals[i].get() );
        for ( std::size_t i = 0; i < alertCount; ++i )
            pbAlertFireDeferred( alerts[i] );
    }

    void assertSignal( pb::Ref<PB_SIGNAL> signal )
    {
        PB_ASSERT( signalCount < signals.size() );
        signals[signalCount++] = std::move( signal );
    }
    /** Takes over what pbAlertSetDeferred gave; null for nothing. */
    void fire( PB_OBJ *optionalDeferred )
    {
        if ( !optionalDeferred )
            return;
        PB_ASSERT( alertCount < alerts.size() );
        alerts[alertCount++] = optionalDeferred;
    }
    /** Frees a record that was taken out of its table. */
    void free( std::unique_ptr<Record> record ) { records.push_back( std::move( record ) ); }

private:
    std::vector<std::unique_ptr<Record>> records; // freed last
    std::array<pb::Ref<PB_SIGNAL>, 3> signals;
    std::array<PB_OBJ *, 3> alerts{};
    std::size_t signalCount = 0;
    std::size_t alertCount = 0;
};

/** A state that becomes true once, and the signal that stands for it. The owner's lock guards both. */
class WantedSignal {
public:
    /** The state is true from now on. */
    void assertBy( Wakes &wakes )
    {
        if ( !std::exchange( asserted, true ) && optionalSignal )
            wakes.assertSignal( optionalSignal );
    }
    pb::Ref<PB_SIGNAL> get()
    {
        if ( !optionalSignal ) {
            optionalSignal = pb::adopt( pbSignalCreate() );
            if ( asserted )
                pbSignalAssert( optionalSignal.get() ); // nobody waits for it yet
        }
        return optionalSignal;
    }

private:
    pb::Ref<PB_SIGNAL> optionalSignal; // null while nobody has asked
    bool asserted = false;
};

/** The alert that stands for a state. The owner's lock guards it. */
class WantedAlert {
public:
    /** Sets the alert now and fires it later, or unsets it. */
    void level( Wakes &wakes, bool set )
    {
        if ( !optionalAlert )
            return;
        if ( set )
            wakes.fire( pbAlertSetDeferred( optionalAlert.get() ) );
        else
            pbAlertUnset( optionalAlert.get() );
    }
    void unset()
    {
        if ( optionalAlert )
            pbAlertUnset( optionalAlert.get() );
    }
    /** The alert; `set` is the state now. */
    pb::Ref<PB_ALERT> get( bool set )
    {
        if ( !optionalAlert ) {
            optionalAlert = pb::adopt( pbAlertCreate() );
            if ( set )
                pbAlertSet( optionalAlert.get() ); // nobody waits for it yet
        }
        return optionalAlert;
    }

private:
    pb::Ref<PB_ALERT> optionalAlert; // null while nobody has asked
};

} // namespace in

#endif
