// ZPropertiesValue: values where they lie, for those who make their own copies.
// Subsystem: properties, layer 5. Test: tests/zproperties_c_test.c
#include "ZPropertiesValue.h"

#include "ZPropertiesNames.h"

namespace z_5_1 {

namespace {

constexpr char const* unit = "src/Z/ZProperties";

}  // namespace

HeldProperties::HeldProperties(ZProperties_5_1 const& properties)
    : properties_(properties), hold_(properties.lockObject()) {}

PropSlice HeldProperties::firstValue(char const* stanza, char const* key, int required) const {
    requireName(unit, stanza);
    requireName(unit, key);
    return properties_.extractValue(*properties_.store_, stanza, key, required);
}

}  // namespace z_5_1
