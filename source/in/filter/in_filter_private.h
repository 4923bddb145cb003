/* The binding of filters to the configuration store. */
#ifndef IN_FILTER_PRIVATE_H
#define IN_FILTER_PRIVATE_H

#include <in/filter/in_filter.h>

void in___FilterCsStartup();
void in___FilterCsShutdown();

#endif
