/* Who this library is. It keeps no state of its own. */
#include <pb/pb_module.hpp>
#include <rfc/rfc.h>

PB_MODULE_DEFINE( rfc, rfcModule, "RFC text rules", "1.0", "pb", nullptr, nullptr, nullptr );
/* Names: rfc___module_record, rfc___module_version_string, rfc___module */
