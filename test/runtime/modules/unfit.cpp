/* A module that is in order but for the one thing that the build breaks by a macro. It must never be started. */
#include <cstdlib>
#include <pb/pb_module.hpp>

#ifndef UNIT_LAYOUT
#define UNIT_LAYOUT PB_MODULE_RECORD_LAYOUT
#endif
#ifndef UNIT_PRODUCT
#define UNIT_PRODUCT PB_MODULE_PRODUCT
#endif
#ifndef UNIT_NAME
#define UNIT_NAME PB___TEXT( UNIT )
#endif
#ifndef UNIT_VERSION
#define UNIT_VERSION "1.0"
#endif
#ifndef UNIT_REQUIRED
#define UNIT_REQUIRED ""
#endif
#ifndef UNIT_SORT
#define UNIT_SORT pb___sort_PB_MODULE
#endif
#define UNIT_RECORD PB___CONCAT( UNIT, ___module_, record )
#define UNIT_DESCRIPTOR PB___CONCAT( UNIT, ___, module )
#ifndef UNIT_RECORD_OF_DESCRIPTOR
#define UNIT_RECORD_OF_DESCRIPTOR UNIT_RECORD
#endif

PB_API const PB_MODULE_RECORD pb___module_record;

[[maybe_unused]] static const PB_SORT strangeSort = { "PB_MODULE", nullptr, nullptr, nullptr };

[[maybe_unused]] static bool startup()
{
    std::abort();
}

#ifndef UNIT_NO_RECORD
PB_API const PB_MODULE_RECORD UNIT_RECORD;
const PB_MODULE_RECORD UNIT_RECORD = {
    UNIT_LAYOUT, UNIT_PRODUCT, "", 1, 0, 0, "", "", "", UNIT_NAME, "Unit", UNIT_VERSION, UNIT_REQUIRED, "" };
#ifndef UNIT_NO_DESCRIPTOR
PB_API PB_MODULE UNIT_DESCRIPTOR;
PB_MODULE UNIT_DESCRIPTOR = { { &UNIT_SORT, {} }, startup, nullptr, nullptr, nullptr, &UNIT_RECORD_OF_DESCRIPTOR };
#endif
#endif
