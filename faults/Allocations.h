// Allocations: what the scenarios of the campaign `allocations` are made of (see allocations.cpp).
#ifndef Z_FAULTS_ALLOCATIONS_H
#define Z_FAULTS_ALLOCATIONS_H

#include <algorithm>
#include <functional>
#include <memory>
#include <string>
#include <vector>

// A use of the subject `x` that is done when it returns, and one that gives a code.
#define Z_DO(...) \
    [](auto& x) { \
        __VA_ARGS__; \
        return static_cast<void>(x), 0; \
    }
#define Z_CODE(...) [](auto& x) { return static_cast<void>(x), int(__VA_ARGS__); }

namespace faults {

// One use of Z. `act` does it while allocations fail: 0 when it is done, a code below 0 that it
// returned, or what it throws. `state` tells, with memory at hand, all that can be seen of it.
struct Trial {
    std::function<int()> act;
    std::function<std::string()> state;
    std::function<int()> again;  // does it once more, whether or not it failed; null: `act` does
};

// What a failed act may leave.
enum class Left {
    oldOrNew,  // what was there, or what a whole act leaves
    part,      // anything that a repetition puts right
    anything,  // that also by an act that reports nothing
};

// Its variants make a trial anew for each failure.
struct Scenario {
    std::string name;
    std::vector<std::function<Trial()>> variants;
    std::vector<int> failures;  // codes besides std::bad_alloc and that of want of memory
    Left left;
    std::vector<int> failuresToMake;  // likewise, when the first use of Z is that of the subject
    bool endsProcess = false;         // for want of memory it may
    bool endsScattered = false;       // likewise, where an exception and its copy both find none
    long keptByLibrary = 0;           // blocks: of ended threads, modules, the resolver
    bool startsCodesets = false;      // as the first use; all others find the text services started
};

// Adds scenarios whose uses begin with a new Subject; more uses of a name go to its scenario.
template <class Subject>
struct Uses {
    using Use = std::function<int(Subject&)>;

    std::vector<Scenario>& all;
    std::function<std::string(Subject&)> shown = [](Subject&) { return std::string(); };
    std::vector<int> failuresToMake = {};

    Scenario& operator()(char const* name, std::vector<Use> const& uses,
                         std::vector<int> const& failures = {}, Left left = Left::oldOrNew,
                         Use const& again = nullptr) const {
        auto const isIt = [&](Scenario const& scenario) { return scenario.name == name; };
        auto scenario = std::find_if(all.begin(), all.end(), isIt);
        if (scenario == all.end())
            scenario = all.insert(scenario, {name, {}, failures, left, failuresToMake});
        for (Use const& use : uses) {
            scenario->variants.push_back([use, again, show = shown] {
                auto const subject = std::make_shared<Subject>();
                Trial trial{[=] { return use(*subject); }, [=] { return show(*subject); }, nullptr};
                if (again) trial.again = [=] { return again(*subject); };
                return trial;
            });
        }
        return *scenario;
    }
};

void addStrings(std::vector<Scenario>& all);
void addCollections(std::vector<Scenario>& all);
void addProperties(std::vector<Scenario>& all);
void addThreads(std::vector<Scenario>& all);

// Longer than what strings keep in place.
inline std::string const longText(300, 'x');
inline char const* const text = longText.c_str();

// The files of the folder that the trial begins with, empty: it is the working directory. All but
// empty files, which a store that failed may have made.
void put(char const* file, std::string const& content);
std::string files();

}  // namespace faults

#endif
