/* What the tests of processes run: a counting body, a process for it, and the domain that they are in. */
#ifndef TEST_PR_SUBJECT_HPP
#define TEST_PR_SUBJECT_HPP

#include <pb/race.h>
#include <support/processes.hpp>

namespace test {

inline pb::Ref<PR_DOMAIN> domainOf( PB_INT threads )
{
    return pb::adopt( prDomainTryCreate( threads, 3, PB_THREAD_OPTION_NORMAL ) );
}

/** A process whose function counts its runs and does what `reaction` says. */
struct Subject {
    Subject(
        const pb::Ref<PR_DOMAIN> &domain, std::function<void()> reaction = [] {}, PB_INT priority = 1 )
    {
        body->reaction = std::move( reaction );
        process = pb::adopt( prProcessCreateWithPriorityCstr(
            domain.get(), priority, Counter::fire, pb::obj( body.get() ), "subject", -1 ) );
    }
    void schedule() const { prProcessSchedule( process.get() ); }
    int runs() const { return body->fired; }
    bool hasRun( int times ) const
    {
        return eventually( [&] { return runs() >= times; } );
    }
    void end() const
    {
        prProcessHalt( process.get() );
        prProcessHaltWait( process.get() );
    }

    pb::Ref<Counter> body = pb::adopt( pb::create<Counter>() );
    pb::Ref<PR_PROCESS> process;
};

/** Keeps one thread of a domain busy until it is opened. */
class Gate {
public:
    explicit Gate( const pb::Ref<PR_DOMAIN> &domain )
        : subject(
              domain, [this] { pbBarrierPass( barrier.get() ); }, 0 )
    {
        subject.schedule();
        EXPECT_TRUE( subject.hasRun( 1 ) );
    }
    ~Gate()
    {
        open();
        subject.end();
    }
    void open() { pbBarrierUnblock( barrier.get() ); }

private:
    pb::Ref<PB_BARRIER> barrier = pb::adopt( pbBarrierCreate( 1 ) );
    Subject subject;
};

} // namespace test

#endif
