/* The binding of filters to the configuration store. */
#include <in/filter/in_filter_private.h>
#include <in/kit/in_configured_private.hpp>

IN_CONFIGURED_DEFINE(
    IN_FILTER, inFilter, in___Filter, IN_FILTER_OPTIONS, inFilterOptions, in___FilterOptions, nullptr );
