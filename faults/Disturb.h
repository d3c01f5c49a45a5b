// Disturb: runs a scenario once for each of its system calls and each fault, and judges the
// outcome.
//
// A clean run gives the calls and the files that the scenario leaves. Then, for each call and each
// fault, the files are laid anew and a child runs the scenario with that one fault.
#ifndef Z_FAULTS_DISTURB_H
#define Z_FAULTS_DISTURB_H

#include <Z/ZException.h>

#include <cerrno>
#include <functional>
#include <string>

#include "Files.h"
#include "Stores.h"
#include "Traced.h"

namespace faults {

// ---- what the child reports, in memory that the parent sees ----

enum Outcome { none, done, refused, told };  // told: by a result, not by an exception

struct Report {
    Outcome outcome;
    int error;
    int step;  // for the scenario's use
    char problem[200];
};
extern Report& report;

void require(bool holds, char const* what);
long openDescriptors();

// Runs what is traced: an act that throws, or returns an error, and what is called after a throw.
template <class Act>
void attempt(
    Act act, std::function<void()> const& recover = [] {}) {
    long const before = openDescriptors();
    auto fails = [&](int error) {
        report.outcome = refused;
        report.error = error;
        recover();
    };
    begin();
    try {
        report.error = act();
        report.outcome = report.error == 0 ? done : told;
    } catch (ZPropertiesIOException_5_1& e) {
        fails(e.excerrno());
    } catch (ZResourceException_5_1& e) {
        fails(e.rc());
    } catch (ZException_5_1& e) {
        require(false, e.name());
    }
    end();
    require(openDescriptors() == before, "a descriptor stays open");
}

// ---- what is run and how it is judged ----

struct Fault {
    char const* name;
    int error;  // 0: the call is cut short
    enum Size { nothing, one, half } size = half;
    bool thenFull = false;  // and the next of its kind fails for want of room

    bool applies(Call const& call) const;
    Change change(Call const& call) const;
    // What the scenario is to report when it cannot go on.
    int reported() const { return thenFull ? ENOSPC : error != 0 ? error : EIO; }
};

struct Run {
    Call call;
    Fault const* fault;
    Files end = {};    // at the end of what was traced
    Files fresh = {};  // at that of the clean run

    bool hits(long number) const { return call.number == number; }
    bool isCutShort() const {
        return fault->error == 0 && fault->size != Fault::nothing && !fault->thenFull;
    }
    // One of the calls that are made again when a signal interrupts them.
    bool isInterrupted() const;
};

struct Scenario {
    std::string name;
    Files old;
    std::function<void()> body;  // in the child: attempt(), checks, and the same without a fault
    // The files that are right besides those as they were (not done) or as they are to be (done).
    std::function<bool(Run const&)> accepts = [](Run const&) { return false; };
    // Errors that are right besides the injected one.
    std::function<bool(Run const&)> acceptsError = [](Run const&) { return false; };
    std::function<void()> lay = {};  // the files, if there is more to it
    int (*always)(Call const&) = nullptr;
    mode_t widest = modeOfFiles & 077;  // of the files beside the main file
    bool goesOnShort = true;            // when fewer bytes are moved than were asked for
    bool goesOnInterrupted = true;      // when a call is interrupted
    bool endsFresh = true;              // the body leaves the files of a clean run in the end
};

class Campaign {
public:
    Campaign(Folder const& folder, bool isVerbose) : folder_(folder), isVerbose_(isVerbose) {}

    void play(Scenario const& scenario);
    // Prints the figures; 0 when no promise was broken.
    int result() const;

private:
    using Decide = std::function<Change(Call const&)>;

    int runOnce(Run& run, Decide const& decide);
    void disturb(Run run);
    void judge(Run const& run);
    void judgeRefusal(Run const& run);
    void fail(Run const& run, char const* what);
    long blocks() const;

    Folder const& folder_;
    bool isVerbose_;
    Scenario const* scenario_ = nullptr;
    long scenarios_ = 0, runs_ = 0, done_ = 0, failures_ = 0;
    // Seen while the last child ran.
    bool wide_ = false, isFree_ = false;
    long blocksBefore_ = 0, blocksAtEnd_ = 0;
};

}  // namespace faults

#endif
