/*
 * The descriptor observer. Each step runs under its monitor; who waits on its condition variable sleeps until somebody
 * broadcasts, and then looks again.
 */

inline broadcast() { asleep[0] = false; asleep[1] = false; asleep[USERS] = false }

inline sleepWhile( condition )
{
    do
    :: condition -> asleep[_pid] = true; !asleep[_pid]
    :: else -> break
    od
}

inline closeReport()
{
    openFd = NONE;
    if
#ifndef NO_BROADCAST
    :: setters > 0 -> broadcast()
#endif
    :: else
    fi
}

inline passReport( descriptor )
{
    if
#ifndef NO_REPORT_WAIT
    :: openFd == descriptor ->
        setters++;
        sleepWhile( openFd == descriptor );
        setters--;
        if
        :: setters == 0 -> broadcast()
        :: else
        fi
#endif
    :: else
    fi
}

/* Opens a report of the event of a descriptor in the batch, if the event still holds. */
inline takeEvent( descriptor )
{
    conds = event[descriptor];
    event[descriptor] = 0;
    if
#ifdef NO_GENERATION
    :: registered[descriptor] -> openFd = descriptor
#else
    :: registered[descriptor] && !( conds & STALE ) -> openFd = descriptor
#endif
    :: else -> eventOwner[descriptor] = NONE; conds = 0
    fi
}
