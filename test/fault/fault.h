/*
 * Makes calls into the kernel and the resolver fail, one at a time. The calls of system_calls.inc are wrapped by the
 * linker; while a scenario is armed they are counted, on whatever thread they are made, and one of them fails.
 */
#ifndef FAULT_H
#define FAULT_H

#include <support/folder.hpp>

namespace fault {

/** While it lives, calls count and may fail. The rest of a scenario, what it prepares and looks at, is left alone. */
class Armed : test::Pinned {
public:
    Armed();
    ~Armed();
};

/** The name of the call that failed since the scenario began, or "" for none. */
std::string_view failedCall();

/**
 * Runs the scenario again and again: with the first call failing with each of its errors, then the second, and so on,
 * until it passes untouched. What it returns must be one of the outcomes; when no call fails, the first. After each
 * run the numbers of living objects and of open descriptors are what they were, and no child process is left.
 */
void ladder( std::initializer_list<std::string_view> outcomes, const std::function<std::string()> &scenario );

/** Runs the scenario in a child that ends in its first call, then in one that ends in its second, and so on; looks after each. */
void deaths( const std::function<void()> &scenario, const std::function<void( int call )> &look );

/** For scenarios that read and write files: a folder of its own for each test. */
class Files : public testing::Test, public test::Folder {};

} // namespace fault

#endif
