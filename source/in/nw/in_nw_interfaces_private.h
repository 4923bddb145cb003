/* Starting and stopping the interface monitor: on the thread of the runtime. */
#ifndef IN_NW_INTERFACES_PRIVATE_H
#define IN_NW_INTERFACES_PRIVATE_H

#include <in/nw/in_nw_interfaces.h>

/** Starts it; the present interfaces are known when it returns. */
void in___NwInterfacesStartup();
/** Stops it and waits for the running polls. There are no interfaces then; one still held keeps its last state. */
void in___NwInterfacesShutdown();
/** Frees what is left. */
void in___NwInterfacesShutdownWait();

#endif
