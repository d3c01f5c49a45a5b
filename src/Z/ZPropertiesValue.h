// ZPropertiesValue: values where they lie, for those who make their own copies.
// Subsystem: properties, layer 5. Test: tests/zproperties_c_test.c
//
// Internal.
#ifndef Z_ZPROPERTIESVALUE_H
#define Z_ZPROPERTIESVALUE_H

#include "ZLock.h"
#include "ZProperties.h"
#include "ZPropertiesImpl.h"

namespace z_5_1 {

// Holds the instance's lock while it lives.
class HeldProperties {
public:
    explicit HeldProperties(ZProperties_5_1 const& properties);

    // Finds and throws what getValue() without a default does; empty, maybe with null chars, where
    // that gives the empty text. Valid until the lock is released or something changes.
    PropSlice firstValue(char const* stanza, char const* key, int required) const;

private:
    ZProperties_5_1 const& properties_;
    ZResourceLock_5_1 hold_;
};

}  // namespace z_5_1

#endif
