#pragma once
/// \file The reading half of the wire contract: a static `create` over a byte block.

#include <mavcommon/ByteStream.h>
#include <mavcommon/MavTypes.h>

/// Mix-in base that gives `T` a static `create` over a byte block. `T` must provide
/// `static T* deserialize(ByteStream*)`; which class is read for which code is decided by
/// the processors' dispatch, not by a registry.
template <typename T>
class DeserializationFactory {
 public:
  /// Reads a new `T` from `count` bytes at `data`; the caller owns the result.
  /// An exception from `T::deserialize` passes on after the stream is destroyed.
  static T* create(const uint8* data, uint64 count) {
    ByteStream stream(data, count);
    return T::deserialize(&stream);
  }

 protected:
  DeserializationFactory() = default;
  ~DeserializationFactory() = default;
};
