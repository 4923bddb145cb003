/* What a histogram of times comes to, for programs and for people. */
#ifndef TOOL_PERCENTILES_HPP
#define TOOL_PERCENTILES_HPP

#include <tool/tool.hpp>
#include <tool/tool_statistics.hpp>

namespace tool {

/** Milliseconds by name; null when there are none. */
inline Json percentiles( const Histogram &times )
{
    if ( times.count() == 0 )
        return nullptr;
    return { { "min", times.lowest() }, { "avg", times.average() }, { "p50", times.percentile( 0.5 ) },
        { "p90", times.percentile( 0.9 ) }, { "p99", times.percentile( 0.99 ) }, { "max", times.highest() } };
}

/** "min 0.051, avg 0.060, p50 ... ms" */
inline std::string percentilesText( const Histogram &times )
{
    if ( times.count() == 0 )
        return "none";
    std::string text;
    const Json named = percentiles( times );
    for ( const auto &[name, value] : named.items() )
        text += fmt::format( "{}{} {:.3f}", text.empty() ? "" : ", ", name, value.get<double>() );
    return text + " ms";
}

} // namespace tool

#endif
