/*
 * Sockets that have a local port, for every kind: which port, pairs of neighbours, the ports in use, and the look-up by
 * handle. One template over the record of a kind.
 *
 * The monitor of the ports makes opening and closing go one after the other, and guards the table of the ports in use;
 * the engine's own locks are taken under it. Kinds that share their ports share one table.
 *
 * A record is made from a Record::Plan, which has an OpenPlan as `open`, and has these functions:
 *
 *   bool tryOpen( OpenFailure & )     the socket with its options, not bound; again when another port needs another one
 *   unsigned scope()                  what it is bound with, see LocalRecord
 *   PortAttempt tryFinish( OpenFailure & )   what follows the binding, among it reading the local address
 *   bool occupiesPort()               whether its port counts as one in use
 *   pb::Ref<IN_ADDRESS> address(), PB_INT port()   the local ones
 *   void begin( Wakes & )            lets it be watched; it has its slot
 *   void fail( Wakes & )             it has failed for good
 */
#ifndef IN_IMP_PORTED_ENGINE_PRIVATE_HPP
#define IN_IMP_PORTED_ENGINE_PRIVATE_HPP

#include <in/imp/in_imp_opening_private.hpp>
#include <in/imp/in_imp_slot_engine_private.hpp>

namespace in {

/** The right to open and close sockets of a protocol, and the ports that they have. */
struct PortTable {
    pb::Monitor monitor{ pb::Rank::ports };
    LocalPorts ports PB_GUARDED_BY( monitor );
};

template <class Record>
class PortedEngine : public SlotEngine {
public:
    using Plan = typename Record::Plan;

    explicit PortedEngine( PortTable &itsTable ) : table( itsTable ) {}

    /** A handle, or -1 and why. */
    PB_INT tryCreate( const Plan &plan, OpenFailure &failure ) PB_EXCLUDES( table.monitor )
    {
        Wakes wakes; // fire when the monitor has been left: a user's function may open another socket
        pb::Lock lock( table.monitor );
        return tryCreateLocked( plan, failure, wakes );
    }

    /** Takes in a record whose socket is open already; a handle, or -1 and why. */
    PB_INT tryEnter( std::unique_ptr<Record> record, OpenFailure &failure ) PB_EXCLUDES( table.monitor )
    {
        Wakes wakes;
        pb::Lock lock( table.monitor );
        return tryEnterLocked( std::move( record ), failure, wakes );
    }

    /** Two handles on neighbouring ports, the first on the even one; or both -1, and why. The plan names no port. */
    PortPair tryCreatePair( const Plan &plan, OpenFailure &failure ) PB_EXCLUDES( table.monitor )
    {
        Wakes wakes;
        pb::Lock lock( table.monitor );
        auto tryOn = [&]( PB_INT optionalPort ) {
            monitorHeld();
            Plan onPort = plan;
            onPort.open.optionalPort = optionalPort;
            return tryCreateLocked( onPort, failure, wakes );
        };
        auto destroy = [&]( PB_INT handle ) {
            monitorHeld();
            destroyLocked( handle, wakes );
        };
        return findPortPair(
            plan.open.ports.value_or( Ports() ), [&] { return tryOn( -1 ); }, tryOn,
            [this]( PB_INT handle ) { return at( handle ).port(); }, destroy );
    }

    /** Closes it; a handle is destroyed once, when nobody uses it any more. */
    void destroy( PB_INT handle ) PB_EXCLUDES( table.monitor )
    {
        if ( isInherited() ) // no lock: another thread of the parent may have held it
            return at( handle ).fd.close();
        Wakes wakes;
        pb::Lock lock( table.monitor );
        destroyLocked( handle, wakes );
    }

    /** The record of a handle; aborts when that is out of bounds, or its slot is empty. */
    Record &at( PB_INT chan ) const
    {
        const auto &channelArray = slots;
        PB_ASSERT( chan >= 0 );
        PB_ASSERT( chan < PB_SIZEOF_ARRAY( channelArray ) );
        Slot *CHAN = channelArray[static_cast<std::size_t>( chan )].load( std::memory_order_acquire );
        PB_ASSERT( CHAN );
        return static_cast<Record &>( *CHAN );
    }

private:
    /** Tells the lock analysis, which cannot look through a template, that the monitor is held. */
    void monitorHeld() const PB_TS( assert_capability( table.monitor ) ) {}

    PB_INT tryCreateLocked( const Plan &plan, OpenFailure &failure, Wakes &wakes ) PB_REQUIRES( table.monitor )
    {
        if ( !hasRoom( failure ) )
            return -1;
        auto record = std::make_unique<Record>( plan );
        auto tryPort = [&]( PB_INT port ) { return tryOpenOn( *record, plan.open, port, failure ); };
        return tryPorts( plan.open, table.ports, failure, tryPort )
                   ? tryEnterLocked( std::move( record ), failure, wakes )
                   : -1;
    }

    /** Opens a record's socket on a port, 0 for the system's choice. */
    static PortAttempt tryOpenOn( Record &record, const OpenPlan &plan, PB_INT port, OpenFailure &failure )
    {
        if ( !record.fd && !record.tryOpen( failure ) )
            return PortAttempt::failed;
        PortAttempt attempt = tryBind( record.fd.get(), plan.localAddress, port, record.scope(), failure );
        if ( attempt != PortAttempt::done )
            return attempt;
        attempt = record.tryFinish( failure );
        if ( attempt != PortAttempt::done )
            record.fd.close(); // it is bound; another port needs another socket
        return attempt;
    }

    /** Gives an open record its slot. */
    PB_INT tryEnterLocked( std::unique_ptr<Record> record, OpenFailure &failure, Wakes &wakes )
        PB_REQUIRES( table.monitor )
    {
        Record &opened = *record;
        PB_INT handle = tryInsert( std::move( record ) );
        if ( handle < 0 ) {
            failure.failed( "slots", ENFILE );
            return -1;
        }
        if ( opened.occupiesPort() )
            table.ports.add( opened.address().get(), opened.port() );
        opened.begin( wakes );
        return handle;
    }

    void destroyLocked( PB_INT handle, Wakes &wakes ) PB_REQUIRES( table.monitor )
    {
        Record &record = at( handle );
        if ( record.occupiesPort() )
            table.ports.remove( record.address().get(), record.port() );
        record.fail( wakes );
        release( handle, wakes );
    }

    PortTable &table;
};

} // namespace in

#endif
