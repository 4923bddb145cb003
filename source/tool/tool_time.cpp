/* The texts of times. */
#include <fmt/chrono.h>
#include <tool/tool_time.hpp>

namespace {

std::string nowAs( bool inFull )
{
    auto now = std::chrono::system_clock::now();
    auto second = std::chrono::floor<std::chrono::seconds>( now );
    auto milliseconds = std::chrono::floor<std::chrono::milliseconds>( now - second ).count();
    std::time_t time = std::chrono::system_clock::to_time_t( second );
    return inFull ? fmt::format( "{:%FT%T}.{:03}Z", fmt::gmtime( time ), milliseconds )
                  : fmt::format( "{:%T}.{:03}", fmt::localtime( time ), milliseconds );
}

} // namespace

std::string tool::timeOfDay()
{
    return nowAs( false );
}

std::string tool::timeInFull()
{
    return nowAs( true );
}
