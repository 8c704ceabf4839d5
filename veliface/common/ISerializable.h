#pragma once
/// \file The writing half of the wire contract shared by every wire object.

#include <mavcommon/MavTypes.h>

/// A wire object that can write itself.
class ISerializable {
 public:
  /// Writes the object's wire form starting at `buf` (not at `buf + *len`) and adds the
  /// number of bytes written to `*len`. The caller supplies a large enough buffer.
  virtual void serialize(uint64* len, uint8* buf) const = 0;
  /// Virtual: wire objects are owned through their bases.
  virtual ~ISerializable() = default;
};
