/* Who this library is. It keeps no state of its own. */
#include <pb/pb_module.hpp>
#include <rfc/rfc.h>

PB_MODULE_DEFINE( rfc, rfcModule, "RFC text rules", "1.0", "pb", nullptr, nullptr, nullptr );
