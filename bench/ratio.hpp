/*
 * Ratios in one run: a program registers what it measures and which pairs it compares, and prints both. A time alone says
 * little on another machine; a ratio to the bare system call, or to what users would take instead, says more.
 */
#ifndef BENCH_RATIO_HPP
#define BENCH_RATIO_HPP

#include <benchmark/benchmark.h>
#include <map>
#include <string>
#include <vector>

namespace bench {

/** The time of `subject` is to be at most `aim` times that of `base`; without a base, at most `aim` nanoseconds. */
struct Ratio {
    std::string subject;
    std::string base;
    double aim;
};

/** Keeps the median of each measurement. */
class Medians : public benchmark::ConsoleReporter {
public:
    void ReportRuns( const std::vector<Run> &runs ) override
    {
        for ( const Run &run : runs )
            if ( run.aggregate_name == "median" )
                times[run.run_name.function_name + ( run.run_name.args.empty() ? "" : "/" + run.run_name.args )] =
                    timeOf( run );
        ConsoleReporter::ReportRuns( runs );
    }
    double of( const std::string &name ) const
    {
        auto found = times.find( name );
        return found == times.end() ? 0 : found->second;
    }

private:
    // What runs on one thread is measured in its processor time, so that other work on the machine counts for little.
    static double timeOf( const Run &run )
    {
        bool real = run.run_name.time_type.find( "real_time" ) != std::string::npos;
        return real ? run.GetAdjustedRealTime() : run.GetAdjustedCPUTime();
    }
    std::map<std::string, double> times;
};

inline void printRatios( const Medians &medians, const std::vector<Ratio> &ratios )
{
    std::printf( "\n%-34s %-34s %10s %10s %7s %7s\n", "measured", "against", "ns", "ns", "ratio", "aim" );
    for ( const Ratio &ratio : ratios ) {
        double subject = medians.of( ratio.subject );
        double base = ratio.base.empty() ? 1 : medians.of( ratio.base );
        if ( subject <= 0 || base <= 0 )
            continue;
        std::printf( "%-34s %-34s %10.1f %10.1f %7.2f %7.2f%s\n", ratio.subject.c_str(), ratio.base.c_str(), subject,
            base, subject / base, ratio.aim, subject / base > ratio.aim ? "  missed" : "" );
    }
}

/** The main function of a bench program. */
inline int run( int argc, char **argv, const std::vector<Ratio> &ratios )
{
    // several repetitions, of which the medians count, so that a disturbance of the machine does not
    std::string repetitions = "--benchmark_repetitions=7";
    std::string aggregates = "--benchmark_report_aggregates_only=true";
    std::string time = "--benchmark_min_time=0.1";
    std::vector<char *> arguments{ argv[0], repetitions.data(), aggregates.data(), time.data() };
    arguments.insert( arguments.end(), argv + 1, argv + argc );
    int count = static_cast<int>( arguments.size() );
    benchmark::Initialize( &count, arguments.data() );
    Medians medians;
    benchmark::RunSpecifiedBenchmarks( &medians );
    printRatios( medians, ratios );
    return 0;
}

} // namespace bench

#endif
