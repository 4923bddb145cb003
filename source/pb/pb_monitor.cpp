/*
 * Monitors and regions as objects, for those who cannot hold a pb::Monitor or pb::Region as a member. Entering and
 * leaving are separate calls here, so the compiler's lock analysis ends at this border.
 */
#include <pb/pb.hpp>

struct PB_MONITOR : PB_OBJ {
    pb::Monitor monitor;
};

struct PB_REGION : PB_OBJ {
    pb::Region region;
};

PB_CLASS_DEFINE( PB_MONITOR, pbMonitor, pb::destroy<PB_MONITOR>, nullptr, nullptr );
PB_CLASS_DEFINE( PB_REGION, pbRegion, pb::destroy<PB_REGION>, nullptr, nullptr );

PB_MONITOR *pbMonitorCreate( void )
{
    return pb::create<PB_MONITOR>();
}

void pbMonitorEnter( PB_MONITOR *monitor ) PB_NO_THREAD_SAFETY_ANALYSIS
{
    PB_ASSERT( monitor );
    monitor->monitor.enter();
}

void pbMonitorLeave( PB_MONITOR *monitor ) PB_NO_THREAD_SAFETY_ANALYSIS
{
    PB_ASSERT( monitor );
    monitor->monitor.leave();
}

PB_REGION *pbRegionCreate( void )
{
    return pb::create<PB_REGION>();
}

void pbRegionEnterShared( PB_REGION *region ) PB_NO_THREAD_SAFETY_ANALYSIS
{
    PB_ASSERT( region );
    region->region.enterShared();
}

void pbRegionLeaveShared( PB_REGION *region ) PB_NO_THREAD_SAFETY_ANALYSIS
{
    PB_ASSERT( region );
    region->region.leaveShared();
}

void pbRegionEnterExclusive( PB_REGION *region ) PB_NO_THREAD_SAFETY_ANALYSIS
{
    PB_ASSERT( region );
    region->region.enterExclusive();
}

void pbRegionLeaveExclusive( PB_REGION *region ) PB_NO_THREAD_SAFETY_ANALYSIS
{
    PB_ASSERT( region );
    region->region.leaveExclusive();
}
