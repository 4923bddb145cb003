/* Tables of misuse: a row is a call that must end the process, and the condition that the abort must name. */
#ifndef TEST_MISUSE_H
#define TEST_MISUSE_H

#include <support/test_support.h>

namespace test {

struct Misuse {
    std::string condition;
    std::function<void()> call;
};

/** An abort's last line: source, line number, the condition as it is written. */
inline std::string abortPattern( const std::string &condition )
{
    std::string pattern = ":[0-9]+: ";
    for ( char ch : condition ) {
        if ( std::string( "()[]{}*+?.^$|\\" ).find( ch ) != std::string::npos )
            pattern += '\\';
        pattern += ch;
    }
    return pattern + "\n";
}

inline void expectAborts( const std::vector<Misuse> &rows )
{
    for ( const Misuse &row : rows )
        EXPECT_DEATH( row.call(), abortPattern( row.condition ) );
}

} // namespace test

#endif
