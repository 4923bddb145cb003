/*
 * The loop that listening, echoing, sending and pinging have in common: takes what has arrived, sends what is due, tells the
 * progress, ends by count, by time or by a signal. One thread.
 */
#ifndef TOOL_SESSION_HPP
#define TOOL_SESSION_HPP

#include <functional>
#include <optional>
#include <tool/tool.hpp>
#include <tool/tool_pace.hpp>
#include <tool/tool_wake.hpp>

namespace tool {

/** How long a command goes on, and what it says meanwhile. */
struct RunOptions {
    uint64_t count = 0;  // of what the command counts; 0: any number
    double duration = 0; // in seconds; 0: until interrupted
    bool quiet = false;
    bool progress = false;

    /** `counted` is what --count counts; with null there is no such option. */
    void addOptions( CLI::App &command, const char *counted );
    /** For commands that print a line for what arrives. */
    void addQuiet( CLI::App &command );
};

/** What a command does. */
class Activity {
public:
    virtual ~Activity() = default;

    /** Everything that the command follows is to fire this, from now on. */
    virtual void follow( const Wake &wake ) = 0;
    /** Takes what has arrived, and does what can be done, a limited part of it: whether there may be more. */
    virtual bool proceed() = 0;
    /** Sends one piece more. */
    virtual void sendNext() {}
    /** Whether there has been as much as there should be. */
    virtual bool complete() const = 0;
    /** No more is to be sent. */
    virtual void finish() {}
    /** For how many seconds to go on with what arrives when no more is sent, unless everything is there already. */
    virtual double patience() const { return 0; }
    virtual bool allThere() const { return true; }
    /** What has happened so far, in a line. */
    virtual std::string progress() = 0;
};

/** Once a second a line on standard error, on a terminal always the same one. */
class Progress {
public:
    /** Printed when asked for; otherwise on a terminal that no other output goes to. */
    Progress( bool wanted, bool linesArePrinted );
    /** Printed only when asked for. */
    explicit Progress( bool wanted );
    ~Progress();
    Progress( const Progress & ) = delete;
    Progress &operator=( const Progress & ) = delete;

    Time nextTime() const { return next; }
    void show( Time now, const std::function<std::string()> &text );

private:
    bool overwrites;
    Time start = Clock::now();
    Time next;
    bool shown = false;
};

class Session {
public:
    Session( Activity &itsActivity, const RunOptions &itsOptions );
    /** Runs to the end. With a rate, so many pieces a second are sent. Progress is not shown between printed lines. */
    void run( double rate, bool linesArePrinted );
    double seconds() const { return secondsBetween( start, Clock::now() ); }

private:
    void sendDue();
    bool over( Time now );

    Activity &activity;
    const RunOptions &options;
    Wake wake;
    Interrupt interrupt{ wake };
    Time start = Clock::now();
    Time end;
    std::optional<Pace> pace;
    bool ending = false;
};

} // namespace tool

#endif
