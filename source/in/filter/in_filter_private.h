/* The binding of filters to the configuration store. */
#ifndef IN_FILTER_PRIVATE_H
#define IN_FILTER_PRIVATE_H

#include <in/filter/in_filter.h>

void in___FilterCsStartup();
void in___FilterCsShutdown();
/** Aborts while filters are held: their processes would outlive the domain that runs them. */
void in___FilterShutdownWait();

#endif
