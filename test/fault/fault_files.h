/* A folder of its own for each test, for the scenarios that read and write files. */
#ifndef FAULT_FILES_H
#define FAULT_FILES_H

#include <support/folder.hpp>
#include <support/test_support.h>

namespace fault {

class Files : public testing::Test, public test::Folder {};

} // namespace fault

#endif
