/* Clocks, civil time, sleeping, random numbers. */
#ifndef PB_TIME_H
#define PB_TIME_H

#include <pb/pb_string.h>

/** Milliseconds of the monotonic clock; never goes back, says nothing about the time of day. */
PB_API PB_INT pbTimestamp( void );
/** Lets the calling thread sleep for that many milliseconds, not less. */
PB_API void pbSleep( PB_INT milliseconds );
/** A uniformly distributed integer from `low` to `high`, both included; aborts unless 0 <= low <= high. Any thread. */
PB_API PB_INT pbRandomNonNegativeIntRange( PB_INT low, PB_INT high );

PB_CLASS( PB_TIME, pbTime ) /* UTC to the second; order: in time; text form "2026-02-28 23:59:59" */
/* Names: pbTimeSort, pbTimeObj, pbTimeFrom, pbTimeRetain, pbTimeRelease, pbTimeToString, pbTimeCompare, pbTimeEquals */

/** The current time. */
PB_API PB_TIME *pbTimeNow( void );
/** A civil time (proleptic Gregorian, UTC); null when there is no such day or second of the day. Year 1..9999. */
PB_API PB_TIME *pbTimeTryCreate( PB_INT year, PB_INT month, PB_INT day, PB_INT hour, PB_INT minute, PB_INT second );
/** Whole seconds from `from` to `to`, negative when `to` is the earlier. */
PB_API PB_INT pbTimeSecondsBetween( PB_TIME *from, PB_TIME *to );

#endif
