// Disturb: runs a scenario once for each of its system calls and each fault, and judges the
// outcome.
#include "Disturb.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/wait.h>

#include <cstdio>
#include <iterator>
#include <vector>

namespace faults {

Report& report = *static_cast<Report*>(
    mmap(nullptr, sizeof(Report), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));

void require(bool holds, char const* what) {
    if (holds || *report.problem) return;
    std::snprintf(report.problem, sizeof report.problem, "%s", what);
}

long openDescriptors() {
    std::filesystem::directory_iterator const all("/proc/self/fd");
    return std::distance(begin(all), std::filesystem::directory_iterator());
}

namespace {

constexpr Fault allFaults[] = {
    {"EIO", EIO},
    {"ENOSPC", ENOSPC},
    {"EDQUOT", EDQUOT},
    {"EINTR", EINTR},
    {"EMFILE", EMFILE},
    {"EACCES", EACCES},
    {"ENOLCK", ENOLCK},
    {"nothing", 0, Fault::nothing},
    {"1 byte", 0, Fault::one},
    {"half", 0},
    {"half, then ENOSPC", 0, Fault::half, true},
};

bool writes(Call const& call) {
    return call.number == SYS_write || call.number == SYS_pwrite64;
}

// Without what a removal that failed leaves: the former database under its temporary name, or one
// without content.
Files withoutRest(Files files, Run const& run) {
    if (!run.hits(SYS_unlink)) return files;
    for (auto file = files.begin(); file != files.end();) {
        bool const isRest =
            file->first.rfind("f.obf.", 0) == 0 || (file->first == "f.obf" && file->second.empty());
        file = isRest ? files.erase(file) : std::next(file);
    }
    return files;
}

}  // namespace

bool Fault::applies(Call const& call) const {
    if (error != 0) return true;
    return call.moves() && call.arguments[2] > 1 && (size != nothing || writes(call)) &&
           (!thenFull || writes(call));
}

Change Fault::change(Call const& call) const {
    if (error != 0) return {error};
    auto const asked = static_cast<long long>(call.arguments[2]);
    return {0, size == nothing ? 0 : size == one ? 1 : asked / 2};
}

bool Run::isInterrupted() const {
    bool const makesTemporary = hits(SYS_openat) && (call.arguments[2] & O_EXCL) != 0;
    return fault->error == EINTR && !makesTemporary &&
           (hits(SYS_openat) || hits(SYS_pread64) || hits(SYS_pwrite64) || hits(SYS_fallocate) ||
            hits(SYS_ftruncate) || hits(SYS_fdatasync));
}

void Campaign::play(Scenario const& scenario) {
    scenario_ = &scenario;
    ++scenarios_;
    long const runs = runs_, done = done_, failures = failures_;
    std::vector<Call> calls;
    Run clean = {{-1, -1, {}}, nullptr};
    int const status = runOnce(clean, [&](Call const& call) {
        calls.push_back(call);
        return Change{};
    });
    if (status != 0 || report.outcome != faults::done || *report.problem)
        fail(clean, report.problem);
    for (Call const& call : calls) {
        for (Fault const& fault : allFaults) {
            if (fault.applies(call)) disturb({call, &fault, {}, clean.end});
        }
    }
    std::printf("%-42s %3zu calls, %4ld faults: %4ld done all the same, %4ld refused, %ld wrong\n",
                scenario.name.c_str(), calls.size(), runs_ - runs, done_ - done,
                runs_ - runs - (done_ - done), failures_ - failures);
}

int Campaign::result() const {
    std::printf("%ld scenarios, %ld faults: %ld done all the same, %ld refused, %ld wrong\n",
                scenarios_, runs_, done_, runs_ - done_, failures_);
    return failures_ == 0 ? 0 : 1;
}

int Campaign::runOnce(Run& run, Decide const& decide) {
    report = {};
    wide_ = isFree_ = false;
    if (scenario_->lay) {
        scenario_->lay();
    } else {
        folder_.lay(scenario_->old, modeOfFiles);
    }
    blocksBefore_ = blocks();
    Tracer tracer;
    tracer.decide = [&](Call const& call) {
        int const error = scenario_->always ? scenario_->always(call) : 0;
        return error != 0 ? Change{error} : decide(call);
    };
    tracer.look = [&] {
        wide_ = wide_ || (folder_.widestBeside(mainFile) & ~scenario_->widest) != 0;
    };
    tracer.atEnd = [&] {
        run.end = folder_.files();
        isFree_ = folder_.isFree();
        blocksAtEnd_ = blocks();
    };
    return traced(tracer, scenario_->body);
}

void Campaign::disturb(Run run) {
    ++runs_;
    int hits = 0;
    int const status = runOnce(run, [&](Call const& call) {
        bool const isIt = call.index == run.call.index && call.number == run.call.number;
        bool const fills = run.fault->thenFull && hits == 1 && call.number == run.call.number;
        hits += isIt || fills;
        return isIt ? run.fault->change(call) : Change{fills ? ENOSPC : 0};
    });
    if (report.outcome == done) ++done_;
    if (isVerbose_) {
        std::printf("    %3d %-12s %-18s %s %d\n", run.call.index, nameOf(run.call.number),
                    run.fault->name, report.outcome == done ? "done" : "refused", report.error);
    }
    if (hits == 0) fail(run, "the fault is not met");
    if (status != 0) fail(run, WIFSIGNALED(status) ? "a signal ends it" : "it does not end well");
    if (*report.problem) fail(run, report.problem);
    if (wide_) fail(run, "a file is accessible to more people than the main file");
    if (!isFree_) fail(run, "a lock stays behind");
    judge(run);
}

void Campaign::judge(Run const& run) {
    Files const end = withoutRest(run.end, run);
    if (report.outcome != done) {
        judgeRefusal(run);
    } else if (end != run.fresh && !scenario_->accepts(run)) {
        fail(run, "it is said to be done and is not");
    }
    if (scenario_->endsFresh && withoutRest(folder_.files(), run) != run.fresh) {
        fail(run, "what is done later is not whole");
    }
}

void Campaign::judgeRefusal(Run const& run) {
    // A close that fails comes after all was written.
    bool const isAsBefore = run.end == scenario_->old;
    bool const isKept = run.hits(SYS_close) && run.end == run.fresh;
    if (!isAsBefore && !isKept && !scenario_->accepts(run)) {
        fail(run, "it is refused, and the files are not as before");
    }
    if ((scenario_->goesOnShort && run.isCutShort()) ||
        (scenario_->goesOnInterrupted && run.isInterrupted())) {
        fail(run, "what can be repeated is not");
    }
    if (report.error != run.fault->reported() && !scenario_->acceptsError(run)) {
        fail(run, "the error is another");
    }
    if (isAsBefore && blocksAtEnd_ > blocksBefore_) fail(run, "it is refused and keeps disk space");
}

void Campaign::fail(Run const& run, char const* what) {
    ++failures_;
    std::printf("%s, call %d, %s, %s: %s (outcome %d, error %d)\n", scenario_->name.c_str(),
                run.call.index, nameOf(run.call.number), run.fault ? run.fault->name : "no fault",
                what, report.outcome, report.error);
}

// Of the main file, in units of 512 bytes.
long Campaign::blocks() const {
    struct stat status;
    return stat((folder_ / mainFile).c_str(), &status) == 0 ? static_cast<long>(status.st_blocks)
                                                            : 0;
}

}  // namespace faults
