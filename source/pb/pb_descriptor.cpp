/* Moves the event counters of alertables and signalables. Any thread; no lock, as the header explains. */
#include <pb/pb_descriptor_private.hpp>
#include <sys/eventfd.h>

PB_CLASS_DEFINE( PB___DESCRIPTOR, pb___Descriptor, pb::destroy<PB___DESCRIPTOR>, nullptr, nullptr );

/** One call; callers of alerts do not expect that errno changes. */
void PB___DESCRIPTOR::move( bool up ) const noexcept
{
    int reason = errno;
    uint64_t value = 1;
    // a write fails only at the counter's limit, when it is readable anyway, a read only when there is nothing to take
    [[maybe_unused]] ssize_t moved =
        up ? write( fd.get(), &value, sizeof value ) : read( fd.get(), &value, sizeof value );
    errno = reason;
}

void PB___DESCRIPTOR::follow() const noexcept
{
    bool up;
    do {
        if ( pbForkCount() != forks )
            return;
        up = setAlerts > 0;
        move( up );
    } while ( ( setAlerts > 0 ) != up );
}

void PB___DESCRIPTOR::signal() const noexcept
{
    if ( pbForkCount() == forks )
        move( true );
}

pb::Ref<PB___DESCRIPTOR> pb::tryCreateDescriptor()
{
    Fd fd( eventfd( 0, EFD_CLOEXEC | EFD_NONBLOCK ) );
    return fd ? adopt( create<PB___DESCRIPTOR>( std::move( fd ) ) ) : Ref<PB___DESCRIPTOR>();
}
