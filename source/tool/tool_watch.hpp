/* Watching things: what is known of one, and printing what changes, each with the time. */
#ifndef TOOL_WATCH_HPP
#define TOOL_WATCH_HPP

#include <set>
#include <tool/tool.hpp>

namespace tool {

/** Something known of a thing: a single value, or a set of them. */
struct Fact {
    std::string name;
    std::set<std::string> values;
    bool single = true;
    const char *absent = "none"; // what people read where there is no value
};
/** All that is known of a thing; the same names at the same places each time. */
using Facts = std::vector<Fact>;

/** Prints "12:00:00.123 eth0: status down -> up", or as JSON an object a line. */
class ChangePrinter {
public:
    explicit ChangePrinter( const Output &printsTo ) : output( printsTo ) {}

    /** A change of the thing as a whole ("appeared"), and in JSON the thing as it is now. */
    void happened( const std::string &thing, const std::string &change, const Json &details = Json::object() ) const;
    /** What differs between the two. */
    void changed( const std::string &thing, const Facts &before, const Facts &now ) const;

private:
    void single( const std::string &thing, const Fact &before, const Fact &now ) const;
    void several( const std::string &thing, const Fact &before, const Fact &now ) const;
    void print( const std::string &thing, const Json &change, const std::string &text ) const;

    const Output &output;
};

} // namespace tool

#endif
