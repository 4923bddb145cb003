/*
 * What a loop of the program's own polls: an event counter of the kernel, behind an alertable or a signalable. Nothing that
 * waits on it has a thread of ours.
 *
 * The descriptor of a signalable is written to when that is fired, and that is all. The descriptor of an alertable has to
 * be readable exactly while one of its alerts is set. How many are set is counted here; an alert changes the count under
 * its own monitor, together with its level. The two calls that move the kernel's counter are made later, under no lock, by
 * the thread that took the count from 0 to 1 or from 1 to 0: it looks at the count, writes or reads, and looks again, until
 * the count still says what it did. So whatever the order in which threads come to their calls:
 *
 *   - The last call agrees with the last count. The thread that made it looked at the count afterwards and found it
 *     agreeing. If the count moved to or from 0 after that look, the thread that moved it makes a call too, and that would
 *     be a later one.
 *   - A thread that set an alert and comes late, when the alert has been unset again, finds the count at 0 and does not
 *     write. If it found the count at 1, writes, and the unsetting thread's read came before that, it finds 0 after the
 *     write and reads. The descriptor was readable for that moment: one wake-up too many, never one too few.
 *
 * The looks and the calls keep their order because the kernel changes the counter under a lock of its own: a thread whose
 * call comes second there sees the count that the thread whose call came first had written before.
 *
 * Under a lock the calls would be right as well. But the write wakes the polling thread, which takes what there is and unsets
 * the alert: on one core it would at once wait for the lock of the thread that it has just displaced.
 */
#ifndef PB_DESCRIPTOR_PRIVATE_HPP
#define PB_DESCRIPTOR_PRIVATE_HPP

#include <pb/pb.hpp>

PB_CLASS( PB___DESCRIPTOR, pb___Descriptor )

struct PB___DESCRIPTOR : PB_OBJ {
    explicit PB___DESCRIPTOR( pb::Fd owned ) : fd( std::move( owned ) ) {}

    int get() const noexcept { return fd.get(); }
    /** One set alert more, or less; whether that was the first, or the last: the caller then calls follow, under no lock. */
    bool raise() noexcept { return setAlerts.fetch_add( 1 ) == 0; }
    bool lower() noexcept { return setAlerts.fetch_sub( 1 ) == 1; }
    /** Makes the descriptor readable, or not, as the count says. */
    void follow() const noexcept;
    /** Makes it readable, whatever the count says. */
    void signal() const noexcept;

private:
    void move( bool up ) const noexcept;

    pb::Fd fd;
    std::atomic<PB_INT> setAlerts{ 0 };
    PB_INT forks = pbForkCount(); // a forked child shares the counter with its parent, who still needs it
};

namespace pb {

/** A descriptor that is not readable, or null when the system refuses; errno says why. */
[[nodiscard]] Ref<PB___DESCRIPTOR> tryCreateDescriptor();

} // namespace pb

#endif
