/*
 * What signals and alerts have in common: the things that wake up, and the set in which they are kept. The set belongs to
 * its signal or alert, whose monitor guards it. An empty set takes no memory of its own, since services replace signals
 * often; adding and removing take logarithmic time, since a busy one may have thousands of waiters.
 */
#ifndef PB_WAITERS_PRIVATE_HPP
#define PB_WAITERS_PRIVATE_HPP

#include <pb/pb_descriptor_private.hpp>
#include <set>

namespace pb {

/** The body of signalables and alertables: a function and what it is called with. Immutable. */
struct Waker : PB_OBJ {
    using Func = void( PB_OBJ *argument );
    Waker( Func *wakerFunc, PB_OBJ *optionalArgument ) : func( wakerFunc ), argument( share( optionalArgument ) ) {}

    void fire() const { func( argument.get() ); }
    /** What a program's own loop polls, or null when the waker calls a user's function. */
    PB___DESCRIPTOR *optionalDescriptor() const
    {
        bool is = argument && argument->sort == pb___DescriptorSort();
        return is ? pb___DescriptorFrom( argument.get() ) : nullptr;
    }

private:
    Func *func;
    Ref<PB_OBJ> argument;
};

/** The function of wakers that were made for a barrier. */
inline void unblockBarrier( PB_OBJ *barrier )
{
    pbBarrierUnblock( pbBarrierFrom( barrier ) );
}

/** Each waiter once: the same object is the same waiter, whatever its class says of equality. */
class Waiters {
public:
    /** Whether it was not in yet. */
    bool add( PB_OBJ *waiter ) { return set.insert( share( waiter ) ).second; }
    /** The removed waiter's reference, if it was in, for the caller to drop when it has left the monitor. */
    [[nodiscard]] auto remove( PB_OBJ *waiter )
    {
        auto place = set.find( waiter );
        return place == set.end() ? Set::node_type() : set.extract( place );
    }
    void swap( Waiters &other ) noexcept { set.swap( other.set ); }
    auto begin() const { return set.begin(); }
    auto end() const { return set.end(); }

private:
    struct ByIdentity {
        using is_transparent = void;
        static PB_OBJ *object( PB_OBJ *raw ) { return raw; }
        static PB_OBJ *object( const Ref<PB_OBJ> &ref ) { return ref.get(); }
        bool operator()( const auto &a, const auto &b ) const { return std::less<>()( object( a ), object( b ) ); }
    };
    using Set = std::set<Ref<PB_OBJ>, ByIdentity>;
    Set set;
};

} // namespace pb

#endif
