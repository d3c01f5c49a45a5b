// Stress: how long the tests that look for races run.
#ifndef Z_TESTS_STRESS_H
#define Z_TESTS_STRESS_H

#include <cstdlib>

namespace ztest {

// `rounds`, multiplied by the number in the environment variable Z_STRESS, if it holds one.
inline unsigned stressed(unsigned rounds) {
    char const* const factor = std::getenv("Z_STRESS");
    long const times = factor ? std::atol(factor) : 1;
    return times > 1 ? rounds * static_cast<unsigned>(times) : rounds;
}

}  // namespace ztest

#endif
