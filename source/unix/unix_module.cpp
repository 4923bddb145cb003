/* Who this library is. It keeps no state of its own. */
#include <pb/pb_module.hpp>
#include <unix/unix.h>

PB_MODULE_DEFINE( unix, unixModule, "Unix host", "1.0", "pb", nullptr, nullptr, nullptr );
/* Names: unix___module_record, unix___module_version_string, unix___module */
