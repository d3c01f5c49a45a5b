// FullDisk: stores on a small file system that is really full.
#ifndef Z_FAULTS_FULLDISK_H
#define Z_FAULTS_FULLDISK_H

#include <string>

namespace faults {

// Mounts it on `place`, seen by a process of its own alone, and prints the figures. 0 when no
// promise was broken, or when this process may not mount, which it says.
int fullDisk(std::string const& place);

}  // namespace faults

#endif
