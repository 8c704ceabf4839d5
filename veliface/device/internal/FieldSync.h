#pragma once
// Compare-and-copy of a list of device fields against the values of an enquire record.
//
// A device refresh compares every field its record carries and, when any one differs,
// copies all of them through the device's (virtual) setters. Each device class lists its
// fields once with `field(...)` and hands the list to `syncFields`.

#include <cmath>
#include <type_traits>

namespace veliface::device {

// Readings that arrive in tenths are compared with this tolerance, so that a value that was
// stored through a float setter does not count as a change against the record's.
constexpr double kReadingTolerance = 0.001;

// One field: the device, its getter and setter, and the record's value (already scaled and
// converted to the field's type).
template <class Dev, class Get, class Set, class V>
struct SyncedField {
  Dev* dev;
  Get get;
  Set set;
  V value;

  bool differs() const {
    if constexpr (std::is_floating_point_v<V>) {
      return std::fabs(static_cast<double>((dev->*get)()) - static_cast<double>(value)) >
             kReadingTolerance;
    } else {
      return !((dev->*get)() == value);
    }
  }
  void copy() const { (dev->*set)(value); }
};

template <class Dev, class Get, class Set, class V>
SyncedField<Dev, Get, Set, V> field(Dev* dev, Get get, Set set, V value) {
  return {dev, get, set, value};
}

// True when any field differed; then every field has been copied. Otherwise nothing changes.
template <class... Fields>
bool syncFields(const Fields&... fields) {
  const bool changed = (fields.differs() || ...);
  if (changed) (fields.copy(), ...);
  return changed;
}

}  // namespace veliface::device
