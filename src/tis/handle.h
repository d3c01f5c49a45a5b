// handle: what a codeset handle of the public interface points to.
// Subsystem: tis, layer 0. Test: tests/tis_test.cpp
#ifndef TIS_HANDLE_H
#define TIS_HANDLE_H

#include "codeset.h"

// Every handle is an object of its own, also where the codeset is shared: callers tell codesets
// apart by comparing handles.
struct tis_cs {
    tis::Codeset const* codeset;
};

namespace tis {

inline Codeset const& codesetOf(tis_cs const* cs) {
    return cs == nullptr ? plainBytes : *cs->codeset;
}

}  // namespace tis

#endif
