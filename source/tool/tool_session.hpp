/*
 * The loop that listening, echoing, sending and pinging have in common, over UDP channels and multicast receivers: takes
 * what arrives, sends what is due, tells the progress, ends by count, by time or by a signal. One thread.
 */
#ifndef TOOL_SESSION_HPP
#define TOOL_SESSION_HPP

#include <in/in.h>
#include <optional>
#include <tool/tool.hpp>
#include <tool/tool_pace.hpp>
#include <tool/tool_wake.hpp>

namespace tool {

/** One socket: a channel, or a multicast receiver. */
struct Lane {
    std::string name; // "rtp", "rtcp", or empty when there is only one
    pb::Ref<IN_UDP_CHANNEL> channel;
    pb::Ref<IN_UDP_MULTICAST_RECEIVER> receiver;

    std::string localAddress() const;
    void wakes( const Wake &wake ) const;
    bool failed() const;
    pb::Ref<IN_UDP_PACKET> receive() const;
};
using Lanes = std::vector<Lane>;

/** How long a command goes on, and what it says meanwhile. */
struct RunOptions {
    uint64_t count = 0;  // of datagrams; 0: any number
    double duration = 0; // in seconds; 0: until interrupted
    bool quiet = false;
    bool progress = false;

    void addOptions( CLI::App &command );
    /** For commands that print a line for what arrives. */
    void addQuiet( CLI::App &command );
};

/** What a command does with its lanes. */
class Activity {
public:
    virtual ~Activity() = default;

    virtual void arrived( std::size_t lane, IN_UDP_PACKET *pkt ) = 0;
    /** Sends one datagram more. */
    virtual void sendNext() {}
    /** Whether there have been as many as there should be. */
    virtual bool complete() const = 0;
    /** For how many seconds to go on taking what arrives when no more is sent, unless everything is there already. */
    virtual double patience() const { return 0; }
    virtual bool allThere() const { return true; }
    /** What has happened so far, in a line. */
    virtual std::string progress() const = 0;
};

/** Once a second a line on standard error, on a terminal always the same one. */
class Progress {
public:
    /** Printed when asked for; otherwise on a terminal that no other output goes to. */
    Progress( bool wanted, bool linesArePrinted );
    ~Progress();
    Progress( const Progress & ) = delete;
    Progress &operator=( const Progress & ) = delete;

    Time nextTime() const { return next; }
    void show( Time now, const Activity &activity );

private:
    bool overwrites;
    Time start = Clock::now();
    Time next;
    bool shown = false;
};

class Session {
public:
    Session( const Lanes &openLanes, Activity &itsActivity, const RunOptions &itsOptions );
    /** Runs to the end. With a rate, datagrams a second are sent. Progress is not shown between printed lines. */
    void run( double rate, bool linesArePrinted );
    double seconds() const { return secondsBetween( start, Clock::now() ); }

private:
    bool takeArrived();
    void sendDue();
    bool over( Time now );

    const Lanes &lanes;
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
